#pragma once
// The print templates and the records they print, as kept in the database:
// the default template rows of a bill kind (tblBillPrint), the rows of a
// template's view for one bill, the field list of the view (tblViewDesc),
// and replacing a template row when the designer saves it.
#include "report/ReportData.h"

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QVariant>

class Connection;

// The statement of the default templates of a bill kind.
QString defaultTemplateSql(int billTypeId);
// The statement that feeds the report: the view's rows of one bill, in the
// stored order or, when there is none, " order by forderid ".
QString fetchRecordSql(const QString &viewName, qint32 interId, const QString &orderSql);
// Reads those rows on an open connection into `data`, one record per row with
// every column under its own name. Throws DbError.
void readBillRecords(Connection &conn, const QString &viewName, qint32 interId, const QString &orderSql,
                     report::ReportData &data);

// The kept columns of a template row, as read before the row is replaced.
struct TemplateRow {
    bool found = false;
    qint32 key = 0; // the row's key after the save
    QVariant viewName;
    QVariant fileName;
    QVariant orderSql;
    QVariant reportName;
    QVariant isDefault;
};
// What a template saved for a bill kind without a template row is stored
// with, so that printing finds it: the print view, the file name and the
// report's name. It becomes the bill kind's default template.
struct NewTemplate {
    QString viewName;
    QString fileName;
    QString reportName;
};
// Replaces the template row `key` on an open connection: reads its kept
// columns, deletes it and adds it again with bill kind `billTypeId`, the same
// key and `content`. A key without a row (0: the designer found no default
// template) is stored as a new default template with the columns of `fresh`,
// under the next free key when `key` is 0; a kept row without a view gets
// the view of `fresh`. One transaction, so a failure
// leaves the old row. Returns what was kept. Throws DbError.
TemplateRow replaceTemplateRow(Connection &conn, int billTypeId, qint32 key, const QByteArray &content,
                               const NewTemplate &fresh = {});
// The print view of a bill kind whose bills are read from `billView`: the
// same name followed by "Print" (vPurFP: vPurFPPrint).
QString printViewOf(const QString &billView);
// The field list of the print view: "description<TAB>field name" per row of
// tblViewDesc for the bill kind, the full-width colon taken out of the
// description. Throws DbError.
QStringList fieldDescriptionLines(Connection &conn, int billTypeId);
