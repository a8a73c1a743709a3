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

namespace {
// One worksheet with the text number format "@" on a new workbook; false
// when the file cannot be made.
bool openWorkbook(const QString &path, bool constantMemory, lxw_workbook **workbook, lxw_worksheet **sheet, lxw_format **format)
{
    const QByteArray fileName = QFile::encodeName(path);
    lxw_workbook_options options{};
    options.constant_memory = constantMemory ? LXW_TRUE : LXW_FALSE;
    *workbook = workbook_new_opt(fileName.constData(), &options);
    if (!*workbook)
        return false;
    *sheet = workbook_add_worksheet(*workbook, nullptr);
    *format = workbook_add_format(*workbook);
    format_set_num_format(*format, "@");
    return true;
}

lxw_error writeRow(lxw_worksheet *sheet, lxw_format *format, int row, const QStringList &cells)
{
    lxw_error failure = LXW_NO_ERROR;
    for (int c = 0; c < cells.size() && failure == LXW_NO_ERROR; ++c) {
        const QByteArray text = cells[c].toUtf8();
        failure = text.isEmpty() ? worksheet_write_blank(sheet, lxw_row_t(row), lxw_col_t(c), format)
                                 : worksheet_write_string(sheet, lxw_row_t(row), lxw_col_t(c), text.constData(), format);
    }
    return failure;
}

// Writes the workbook (which frees it); the first failure decides.
bool closeWorkbook(lxw_workbook *workbook, lxw_error failure, QString *error)
{
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

QString cannotCreate(const QString &path)
{
    return QStringLiteral("无法创建文件 ") + path;
}
} // namespace

bool writeXlsx(const QString &path, const QList<QStringList> &rows, QString *error)
{
    lxw_workbook *workbook = nullptr;
    lxw_worksheet *sheet = nullptr;
    lxw_format *format = nullptr;
    if (!openWorkbook(path, false, &workbook, &sheet, &format)) {
        if (error)
            *error = cannotCreate(path);
        return false;
    }
    lxw_error failure = LXW_NO_ERROR;
    for (int r = 0; r < rows.size() && failure == LXW_NO_ERROR; ++r)
        failure = writeRow(sheet, format, r, rows[r]);
    return closeWorkbook(workbook, failure, error);
}

XlsxRowWriter::XlsxRowWriter(const QString &path) : m_path(path)
{
    openWorkbook(path, true, &m_workbook, &m_sheet, &m_format);
}

XlsxRowWriter::~XlsxRowWriter()
{
    if (m_workbook)
        workbook_close(m_workbook);
}

void XlsxRowWriter::add(const QStringList &cells)
{
    if (m_workbook && m_failure == LXW_NO_ERROR)
        m_failure = writeRow(m_sheet, m_format, m_row++, cells);
}

bool XlsxRowWriter::close(QString *error)
{
    if (!m_workbook) {
        if (error)
            *error = cannotCreate(m_path);
        return false;
    }
    lxw_workbook *workbook = m_workbook;
    m_workbook = nullptr;
    return closeWorkbook(workbook, lxw_error(m_failure), error);
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
