#include "list/ListCommands.h"

#include "modules/Session.h"
#include "list/BillListModel.h"
#include "list/ListSelection.h"
#include "modules/ConnectionRoutines.h"
#include "platform/DbError.h"
#include "platform/Prompt.h"
#include "platform/VbConvert.h"

#include <QSet>

std::optional<ListMessage> fillBillList(Session &s, BillListModel &model, const QString &statement)
{
    ConnectionScope scope(s);
    try {
        OpenConnection(s);
        Connection &conn = *s.gConn;
        const QList<ListColumn> columns = readListColumns(conn, s.gBillTypeId, s.gLoginUserId, s.IsAdmin == 1);
        if (columns != model.columns())
            model.setColumns(columns);
        model.fill(conn, statement);
    } catch (const DbError &e) {
        return ListMessage{e.description(), Prompt::Critical};
    }
    return std::nullopt;
}

ListGridState listGridState(const BillListModel &model, const std::vector<bool> &selectedRows, int currentRow)
{
    ListGridState grid;
    const int rows = model.rowCount();
    grid.rows.reserve(size_t(rows));
    for (int r = 0; r < rows; ++r)
        grid.rows.push_back({model.interIdText(r), size_t(r) < selectedRows.size() && selectedRows[size_t(r)]});
    grid.currentRow = currentRow >= 0 && currentRow < rows ? currentRow + 1 : -1;
    return grid;
}

QStringList listBillIds(const BillListModel &model)
{
    QStringList ids;
    QSet<QString> seen;
    for (int r = 0; r < model.dataRowCount(); ++r) {
        const QString id = model.interIdText(r);
        if (id.isEmpty() || seen.contains(id))
            continue;
        seen.insert(id);
        ids << id;
    }
    return ids;
}

std::optional<SelectionReturn> selectionReturn(const BillListModel &model, const std::vector<bool> &selectedRows)
{
    QString ids;
    QString numbers;
    QSet<QString> seen;
    // Rows under the header up to the last but one: the last is the totals row.
    for (int r = 0; r < model.dataRowCount(); ++r) {
        if (size_t(r) >= selectedRows.size() || !selectedRows[size_t(r)])
            continue;
        const QString id = model.interIdText(r);
        if (id.isEmpty() || seen.contains(id))
            continue;
        seen.insert(id);
        ids += u',' + id;
        numbers += u',' + model.cellText(r, 1);
    }
    if (ids.size() < 2)
        return std::nullopt;
    auto strip = [](QString text) {
        while (text.startsWith(u','))
            text.remove(0, 1);
        while (text.endsWith(u','))
            text.chop(1);
        return text;
    };
    return SelectionReturn{strip(ids), strip(numbers)};
}

std::optional<int> lockedColumnCount(const QString &answer, int gridColumnCount)
{
    const QString text = answer.trimmed();
    if (!VbConvert::isNumeric(text))
        return std::nullopt;
    int count = 0;
    try {
        count = VbConvert::toInt32(text);
    } catch (const ConversionError &) {
        return std::nullopt;
    }
    if (count <= 0 || count + 2 >= gridColumnCount)
        return std::nullopt;
    return count;
}

QList<qint32> selectedBillIds(const BillListModel &model, const std::vector<bool> &selectedRows)
{
    QList<qint32> ids;
    if (const std::optional<SelectionReturn> chosen = selectionReturn(model, selectedRows)) {
        for (const QString &id : chosen->ids.split(u','))
            ids << qint32(id.toLongLong());
    }
    return ids;
}
