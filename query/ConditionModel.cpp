#include "query/ConditionModel.h"

#include "modules/Session.h"
#include "modules/ConnectionRoutines.h"
#include "platform/Clock.h"
#include "platform/DbError.h"
#include "platform/Recordset.h"

namespace {
const QString kNone = QStringLiteral("无");

// The kind cell as a number; 0 when it holds none.
int kindOf(const QString &text)
{
    bool ok = false;
    const int kind = text.trimmed().toInt(&ok);
    return ok ? kind : 0;
}
} // namespace

QStringList operatorNames(int kind)
{
    switch (kind) {
    case int(ValueKind::Number):
        return {QStringLiteral("大于"), QStringLiteral("大于等于"), QStringLiteral("等于"),
                QStringLiteral("小于"), QStringLiteral("小于等于"), QStringLiteral("不等于")};
    case int(ValueKind::Text):
        return {QStringLiteral("等于"), QStringLiteral("包含"), QStringLiteral("不包含"), QStringLiteral("不等于"),
                QStringLiteral("为空"), QStringLiteral("不为空"), QStringLiteral("大于等于"), QStringLiteral("小于等于")};
    case int(ValueKind::Date):
        return {QStringLiteral("等于"), QStringLiteral("不等于"), QStringLiteral("大于"),
                QStringLiteral("大于等于"), QStringLiteral("小于"), QStringLiteral("小于等于")};
    default:
        return {};
    }
}

QStringList operatorSymbols(int kind)
{
    switch (kind) {
    case int(ValueKind::Number):
        return {QStringLiteral(">"), QStringLiteral(">="), QStringLiteral("="),
                QStringLiteral("<"), QStringLiteral("<="), QStringLiteral("<>")};
    case int(ValueKind::Text):
        // " is not  null" keeps its odd blanks: text symbols never reach the SQL.
        return {QStringLiteral("="), QStringLiteral("Like"), QStringLiteral("Not like"), QStringLiteral("<>"),
                QStringLiteral("Is null"), QStringLiteral(" is not  null"), QStringLiteral(">="), QStringLiteral("<=")};
    case int(ValueKind::Date):
        return {QStringLiteral("="), QStringLiteral("<>"), QStringLiteral(">"),
                QStringLiteral(">="), QStringLiteral("<"), QStringLiteral("<=")};
    default:
        return {};
    }
}

// ---------------------------------------------------------------- catalogue

QString FieldCatalogue::statement(int billTypeId)
{
    return QStringLiteral("select a.*,isnull(b.fItemType,0) as fItemType from tblFindInfoentry2 as a ")
        + QStringLiteral(" left outer join tblItemclass as b on a.fitemclassid=b.fitemclassid ")
        + QStringLiteral(" where a.ftypeid=") + QString::number(billTypeId) + QStringLiteral(" order by a.fentryid");
}

FieldCatalogue::FieldCatalogue()
{
    clear();
}

void FieldCatalogue::clear()
{
    for (auto &array : m_arrays)
        array.fill(QString());
    m_arrays[Caption][0] = kNone;
    m_count = 0;
}

void FieldCatalogue::fill(Recordset &rs)
{
    clear();
    for (; !rs.eof() && m_count < kMaxFields; rs.moveNext()) {
        addField(rs.text(QStringLiteral("fTitlename")), rs.text(QStringLiteral("fFieldName")),
                 rs.text(QStringLiteral("fNumType")), rs.text(QStringLiteral("fItemclassid")),
                 rs.text(QStringLiteral("fNumberName")), rs.text(QStringLiteral("fItemType")));
    }
}

bool FieldCatalogue::addField(const QString &caption, const QString &fieldName, const QString &numType,
                              const QString &itemClassId, const QString &numberName, const QString &itemType)
{
    if (m_count >= kMaxFields)
        return false;
    const int i = ++m_count;
    m_arrays[Caption][i] = caption;
    m_arrays[FieldName][i] = fieldName;
    m_arrays[NumType][i] = numType;
    m_arrays[ItemClassId][i] = itemClassId;
    m_arrays[NumberName][i] = numberName;
    m_arrays[ItemType][i] = itemType;
    return true;
}

QString FieldCatalogue::value(Column column, int index) const
{
    if (column < 0 || column >= ColumnCount || index < 0 || index >= kSize)
        return {};
    return m_arrays[column][index];
}

QStringList FieldCatalogue::list(Column column) const
{
    QStringList items;
    if (column < 0 || column >= ColumnCount)
        return items;
    for (int i = 0; i < kSize; ++i) {
        if (!m_arrays[Caption][i].isEmpty())
            items << m_arrays[column][i];
    }
    return items;
}

QString FieldCatalogue::tabList(Column column) const
{
    return list(column).join(u'\t');
}

std::optional<FieldCatalogue> loadFieldCatalogue(Session &s, int billTypeId, QString *error)
{
    ConnectionScope scope(s);
    try {
        OpenConnection(s);
    } catch (const DbError &) {
        return std::nullopt;
    }
    try {
        Recordset rs = s.gConn->openRecordset(FieldCatalogue::statement(billTypeId));
        FieldCatalogue catalogue;
        catalogue.fill(rs);
        return catalogue;
    } catch (const DbError &e) {
        if (error)
            *error = e.description();
        return std::nullopt;
    }
}

// ------------------------------------------------------------ fixed filters

namespace FixedFilters {

QList<FilterItem> items(int list, bool withPeriod)
{
    switch (list) {
    case Matching:
        return {{QStringLiteral("未钩稽"), 0}, {QStringLiteral("部分钩稽"), 1},
                {QStringLiteral("全部钩稽"), 2}, {QStringLiteral("全部"), 10}};
    case DateRange:
        if (withPeriod)
            return {{QStringLiteral("今天"), 1}, {QStringLiteral("本期"), 20}, {QStringLiteral("本月"), 2},
                    {QStringLiteral("今年"), 3}, {QStringLiteral("全部"), 10}};
        return {{QStringLiteral("今天"), 1}, {QStringLiteral("本月"), 2},
                {QStringLiteral("今年"), 3}, {QStringLiteral("全部"), 10}};
    case Audit:
        return {{QStringLiteral("审核"), 1}, {QStringLiteral("未审核"), 2}, {QStringLiteral("全部"), 10}};
    case Cancellation:
        return {{QStringLiteral("作废"), 1}, {QStringLiteral("正常"), 2}, {QStringLiteral("全部"), 10}};
    case RedBlue:
        // Red is 1 and blue 0, against the list order; the SQL relies on it.
        return {{QStringLiteral("红字"), 1}, {QStringLiteral("蓝字"), 0}, {QStringLiteral("全部"), 10}};
    default:
        return {};
    }
}

int allIndex(int list, bool withPeriod)
{
    return int(items(list, withPeriod).size()) - 1;
}

int validIndex(int list, int index, bool withPeriod)
{
    const int count = int(items(list, withPeriod).size());
    return index >= 0 && index < count ? index : count - 1;
}

int codeAt(int list, int index, bool withPeriod)
{
    const QList<FilterItem> all = items(list, withPeriod);
    return index >= 0 && index < all.size() ? all[index].code : kNoSelection;
}

} // namespace FixedFilters

// ---------------------------------------------------------- condition table

QString ConditionTable::cell(int row, int column) const
{
    return validCell(row, column) ? m_cells[row - 1][column - 1] : QString();
}

void ConditionTable::setCell(int row, int column, const QString &text)
{
    if (validCell(row, column))
        m_cells[row - 1][column - 1] = text;
}

QStringList ConditionTable::rowTexts(int row) const
{
    QStringList texts;
    for (int c = 1; c <= kColumns; ++c)
        texts << cell(row, c);
    return texts;
}

void ConditionTable::setRowTexts(int row, const QStringList &texts)
{
    for (int c = 1; c <= kColumns; ++c)
        setCell(row, c, texts.value(c - 1));
}

int ConditionTable::lastUsedRow() const
{
    for (int r = kRows; r >= 1; --r) {
        for (const QString &text : m_cells[r - 1]) {
            if (!text.isEmpty())
                return r;
        }
    }
    return 0;
}

void ConditionTable::clear()
{
    for (auto &row : m_cells)
        row.fill(QString());
}

bool ConditionTable::hasCodeClass(const QString &classId)
{
    const QString id = classId.trimmed();
    if (id.isEmpty())
        return false;
    bool ok = false;
    const double number = id.toDouble(&ok);
    return !ok || number != 0;
}

ValueCell ConditionTable::chooseCaption(int row, int listIndex, const FieldCatalogue &catalogue)
{
    const QStringList captions = catalogue.list(FieldCatalogue::Caption);
    if (row < 1 || row > kRows || listIndex < 0 || listIndex >= captions.size())
        return {};
    setCell(row, ColCaption, captions[listIndex]);
    setCell(row, ColFieldName, catalogue.list(FieldCatalogue::FieldName)[listIndex]);
    setCell(row, ColKind, catalogue.list(FieldCatalogue::NumType)[listIndex]);
    setCell(row, ColClassId, catalogue.list(FieldCatalogue::ItemClassId)[listIndex]);
    setCell(row, ColNumberName, catalogue.list(FieldCatalogue::NumberName)[listIndex]);
    setCell(row, ColItemType, catalogue.list(FieldCatalogue::ItemType)[listIndex]);
    setCell(row, ColValue, QString());
    return applyKindSetup(row);
}

ValueCell ConditionTable::applyKindSetup(int row)
{
    if (row < 1 || row > kRows)
        return {};
    const int kind = kindOf(cell(row, ColKind));
    // The operator already chosen stays when the new field's kind has it, and
    // its symbol is the one of that kind; otherwise the row waits for a new
    // operator. A row never shows an operator without the symbol that goes
    // into the statement.
    const qsizetype chosen = operatorNames(kind).indexOf(cell(row, ColOperator));
    if (chosen >= 0) {
        setCell(row, ColSymbol, operatorSymbols(kind)[chosen]);
    } else {
        setCell(row, ColOperator, QString());
        setCell(row, ColSymbol, QString());
    }
    switch (kind) {
    case int(ValueKind::Number):
        return {ValueCell::Number, {}};
    case int(ValueKind::Text):
        setCell(row, ColValue, QString());
        return {hasCodeClass(cell(row, ColClassId)) ? ValueCell::CodedDropDown : ValueCell::Text, {}};
    case int(ValueKind::Date): {
        const QDate start = Clock::today();
        setCell(row, ColValue, start.toString(QStringLiteral("yyyy-MM-dd")));
        return {ValueCell::Date, start};
    }
    default:
        return {};
    }
}

bool ConditionTable::chooseOperator(int row, int listIndex)
{
    if (row < 1 || row > kRows)
        return false;
    const int kind = kindOf(cell(row, ColKind));
    const QStringList names = operatorNames(kind);
    if (listIndex < 0 || listIndex >= names.size())
        return false;
    setCell(row, ColOperator, names[listIndex]);
    setCell(row, ColSymbol, operatorSymbols(kind)[listIndex]);
    return true;
}
