#include "list/ListExport.h"

#include "list/BillListModel.h"

#include <QFile>
#include <QSaveFile>

#include <xlsxwriter.h>

QList<QStringList> listGridTexts(const BillListModel &model)
{
    QList<QStringList> rows;
    const int columns = model.columnCount();
    const int count = model.rowCount();
    rows.reserve(count + 1);
    QStringList header;
    for (int c = 0; c < columns; ++c)
        header << model.headerText(c);
    rows << header;
    for (int r = 0; r < count; ++r) {
        QStringList cells;
        cells.reserve(columns);
        for (int c = 0; c < columns; ++c)
            cells << model.cellText(r, c);
        rows << cells;
    }
    return rows;
}

bool writeXlsx(const QString &path, const QList<QStringList> &rows, QString *error)
{
    const QByteArray fileName = QFile::encodeName(path);
    lxw_workbook *workbook = workbook_new(fileName.constData());
    if (!workbook) {
        if (error)
            *error = QStringLiteral("无法创建文件 ") + path;
        return false;
    }
    lxw_worksheet *sheet = workbook_add_worksheet(workbook, nullptr);
    lxw_format *textFormat = workbook_add_format(workbook);
    format_set_num_format(textFormat, "@");

    lxw_error failure = LXW_NO_ERROR;
    for (int r = 0; r < rows.size() && failure == LXW_NO_ERROR; ++r) {
        const QStringList &cells = rows[r];
        for (int c = 0; c < cells.size() && failure == LXW_NO_ERROR; ++c) {
            const QByteArray text = cells[c].toUtf8();
            failure = text.isEmpty() ? worksheet_write_blank(sheet, lxw_row_t(r), lxw_col_t(c), textFormat)
                                     : worksheet_write_string(sheet, lxw_row_t(r), lxw_col_t(c), text.constData(), textFormat);
        }
    }
    // The workbook is written on close, which also frees it.
    const lxw_error closed = workbook_close(workbook);
    if (failure == LXW_NO_ERROR)
        failure = closed;
    if (failure != LXW_NO_ERROR) {
        if (error)
            *error = QString::fromUtf8(lxw_strerror(failure));
        return false;
    }
    return true;
}

bool writeTabText(const QString &path, const QList<QStringList> &rows, QString *error)
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        if (error)
            *error = file.errorString();
        return false;
    }
    QByteArray out;
    for (const QStringList &cells : rows) {
        QStringList clean;
        clean.reserve(cells.size());
        for (QString cell : cells) {
            cell.replace(u'\t', u' ').replace(u'\r', u' ').replace(u'\n', u' ');
            clean << cell;
        }
        out += clean.join(u'\t').toUtf8();
        out += '\n';
    }
    file.write(out);
    if (!file.commit()) {
        if (error)
            *error = file.errorString();
        return false;
    }
    return true;
}
