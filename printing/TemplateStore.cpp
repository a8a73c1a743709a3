#include "printing/TemplateStore.h"

#include "platform/Connection.h"
#include "platform/Transaction.h"

QString defaultTemplateSql(int billTypeId)
{
    return QStringLiteral("select * from tblBillPrint where ftypeid=") + QString::number(billTypeId)
        + QStringLiteral(" and isnull(fisdefault,1)=1 ");
}

QString fetchRecordSql(const QString &viewName, qint32 interId, const QString &orderSql)
{
    QString sql = QStringLiteral("select * from ") + viewName + QStringLiteral(" where finterid=") + QString::number(interId);
    if (orderSql.isEmpty())
        sql += QStringLiteral(" order by forderid ");
    else
        sql += orderSql;
    return sql;
}

void readBillRecords(Connection &conn, const QString &viewName, qint32 interId, const QString &orderSql,
                     report::ReportData &data)
{
    Recordset rs = conn.openRecordset(fetchRecordSql(viewName, interId, orderSql));
    const QStringList names = rs.fieldNames();
    for (; !rs.eof(); rs.moveNext()) {
        report::ReportRecord record;
        for (int c = 0; c < names.size(); ++c)
            record.setValue(names[c], rs.value(c));
        data.append(record);
    }
}

TemplateRow replaceTemplateRow(Connection &conn, int billTypeId, qint32 key, const QByteArray &content,
                               const NewTemplate &fresh)
{
    TemplateRow kept;
    Transaction transaction(conn);
    {
        Recordset rs = conn.openRecordset(QStringLiteral("select * from tblbillprint where finterid=") + QString::number(key));
        if (!rs.eof()) {
            kept.found = true;
            kept.viewName = rs.value(QStringLiteral("fViewName"));
            kept.fileName = rs.value(QStringLiteral("fFileName"));
            kept.orderSql = rs.value(QStringLiteral("fOrderSQL"));
            kept.reportName = rs.value(QStringLiteral("fReportName"));
            kept.isDefault = rs.value(QStringLiteral("fIsDefault"));
        }
    }
    if (!kept.found) {
        // No row to keep: a row without a view would break every print of
        // the bill kind, so the new one names the print view and is the
        // default.
        if (key == 0) {
            Recordset rs = conn.openRecordset(QStringLiteral("select max(finterid) as fmax from tblBillPrint"));
            key = qint32(rs.eof() ? 1 : rs.toInt(QStringLiteral("fmax")) + 1);
        }
        kept.viewName = fresh.viewName;
        kept.fileName = fresh.fileName;
        kept.reportName = fresh.reportName;
        kept.isDefault = 1;
    }
    if (kept.viewName.toString().trimmed().isEmpty() && !fresh.viewName.isEmpty())
        kept.viewName = fresh.viewName; // a row saved without a view is mended
    kept.key = key;
    conn.execute(QStringLiteral("delete from tblbillprint where finterid=") + QString::number(key));
    conn.addRow(QStringLiteral("tblBillPrint"), {
                                                    {QStringLiteral("ftypeid"), billTypeId},
                                                    {QStringLiteral("finterid"), key},
                                                    {QStringLiteral("fViewName"), kept.viewName},
                                                    {QStringLiteral("fFileName"), kept.fileName},
                                                    {QStringLiteral("fOrderSQL"), kept.orderSql},
                                                    {QStringLiteral("fReportName"), kept.reportName},
                                                    {QStringLiteral("fIsDefault"), kept.isDefault},
                                                    {QStringLiteral("fcontent"), content},
                                                });
    transaction.commit();
    return kept;
}

QString printViewOf(const QString &billView)
{
    return billView + QStringLiteral("Print");
}

QStringList fieldDescriptionLines(Connection &conn, int billTypeId)
{
    QStringList lines;
    Recordset rs = conn.openRecordset(QStringLiteral("select * from tblViewDesc where fTypeid=") + QString::number(billTypeId));
    for (; !rs.eof(); rs.moveNext()) {
        QString description = rs.text(QStringLiteral("fFieldDesc"));
        description.replace(QStringLiteral("："), QString());
        lines << description + u'\t' + rs.text(QStringLiteral("fFieldName"));
    }
    return lines;
}
