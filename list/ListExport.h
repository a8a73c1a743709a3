#pragma once
// Exporting the bill list: the grid's texts, header row first and the totals
// row last, to a spreadsheet workbook (every cell stored as text, so amounts
// keep the list's formatting) or to a tab-separated text file.
#include <QList>
#include <QString>
#include <QStringList>

class BillListModel;

// Grid row 0 (the headers), then every model row as the grid holds it.
QList<QStringList> listGridTexts(const BillListModel &model);

// Writes one worksheet; every cell carries the text number format "@".
// False, with the reason in `error`, when the file cannot be written.
bool writeXlsx(const QString &path, const QList<QStringList> &rows, QString *error = nullptr);

// The same worksheet written a row at a time in constant memory (each row
// goes to a temporary file as the next begins, strings in place rather than
// shared): for an export of hundreds of thousands of rows that are read as
// they are written.
class XlsxRowWriter {
public:
    explicit XlsxRowWriter(const QString &path);
    ~XlsxRowWriter();
    XlsxRowWriter(const XlsxRowWriter &) = delete;
    XlsxRowWriter &operator=(const XlsxRowWriter &) = delete;

    // Adds the next row; after a failure the rest are ignored.
    void add(const QStringList &cells);
    // Writes the file. False, with the reason in `error`, when the file could
    // not be made or a row not written.
    bool close(QString *error = nullptr);

private:
    QString m_path;
    struct lxw_workbook *m_workbook = nullptr;
    struct lxw_worksheet *m_sheet = nullptr;
    struct lxw_format *m_format = nullptr;
    int m_row = 0;
    int m_failure = 0; // lxw_error
};

// One line per grid row, cells separated by tabs, UTF-8. Tabs and line breaks
// inside a cell become blanks so that every row stays one line.
bool writeTabText(const QString &path, const QList<QStringList> &rows, QString *error = nullptr);
