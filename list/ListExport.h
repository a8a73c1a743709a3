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

// One line per grid row, cells separated by tabs, UTF-8. Tabs and line breaks
// inside a cell become blanks so that every row stays one line.
bool writeTabText(const QString &path, const QList<QStringList> &rows, QString *error = nullptr);
