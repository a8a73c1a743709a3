#include "list/UninvoicedBills.h"

#include "modules/StockBillLedger.h"
#include "platform/Connection.h"
#include "platform/Recordset.h"
#include "platform/RowReader.h"
#include "query/QuerySql.h"

namespace {
QString dateText(const QVariant &value)
{
    if (value.isNull())
        return {};
    if (value.typeId() == QMetaType::QDate || value.typeId() == QMetaType::QDateTime)
        return value.toDate().toString(Qt::ISODate);
    return value.toString().trimmed().left(10);
}

QString money(Amount a)
{
    return a.toFixed(2);
}

QByteArray csvField(const QString &text)
{
    if (!text.contains(u',') && !text.contains(u'"') && !text.contains(u'\n') && !text.contains(u'\r'))
        return text.toUtf8();
    QString quoted = text;
    quoted.replace(u'"', QStringLiteral("\"\""));
    return '"' + quoted.toUtf8() + '"';
}
} // namespace

QString uninvoicedSql(const UninvoicedFilter &filter)
{
    QString sql = QStringLiteral(
        "select b.fsupplyid,isnull(s.fnumber,'') as fnumber,isnull(s.fname,'') as fname,b.finterid,isnull(b.fbillno,'') as fbillno,"
        "b.fdate,isnull(b.fAllAmount,0) as fAllAmount,isnull(b.fKPAmount,0) as fKPAmount"
        " from icstockbill b left outer join tblItem s on s.fitemid=b.fsupplyid where 1=1")
        + openStockBillCondition(QStringLiteral("b."));
    if (filter.asOf.isValid())
        sql += QStringLiteral(" and b.fdate<='") + sqlDateText(filter.asOf) + u'\'';
    if (!filter.supplierNumber.trimmed().isEmpty())
        // By the supplier's id, so that the stock bills are found through
        // their supplier index rather than by reading them all.
        sql += QStringLiteral(" and b.fsupplyid in (select fitemid from tblItem where fnumber='") + sqlTextValue(filter.supplierNumber.trimmed())
            + QStringLiteral("')");
    sql += QStringLiteral(" order by fnumber,b.fsupplyid,b.fdate,fbillno,b.finterid");
    return sql;
}

UninvoicedReport readUninvoiced(Connection &conn, const UninvoicedFilter &filter)
{
    UninvoicedReport report;
    RowReader rows = conn.readRows(uninvoicedSql(filter));
    const int cSupplier = rows.fieldIndex(QStringLiteral("fsupplyid"));
    const int cNumber = rows.fieldIndex(QStringLiteral("fnumber"));
    const int cName = rows.fieldIndex(QStringLiteral("fname"));
    const int cId = rows.fieldIndex(QStringLiteral("finterid"));
    const int cBillNo = rows.fieldIndex(QStringLiteral("fbillno"));
    const int cDate = rows.fieldIndex(QStringLiteral("fdate"));
    const int cAll = rows.fieldIndex(QStringLiteral("fAllAmount"));
    const int cKP = rows.fieldIndex(QStringLiteral("fKPAmount"));
    while (rows.next()) {
        const QString supplierId = Recordset::variantText(rows.value(cSupplier));
        if (report.suppliers.empty() || report.suppliers.back().supplierId != supplierId) {
            UninvoicedSupplier &s = report.suppliers.emplace_back();
            s.supplierId = supplierId;
            s.number = Recordset::variantText(rows.value(cNumber));
            s.name = Recordset::variantText(rows.value(cName));
        }
        UninvoicedSupplier &s = report.suppliers.back();
        UninvoicedBill &b = s.bills.emplace_back();
        b.stockBillId = Recordset::variantText(rows.value(cId));
        b.billNo = Recordset::variantText(rows.value(cBillNo));
        b.date = dateText(rows.value(cDate));
        b.amount = Amount::fromVariant(rows.value(cAll));
        b.invoiced = Amount::fromVariant(rows.value(cKP));
        s.amount += b.amount;
        s.invoiced += b.invoiced;
        s.open += b.open();
        ++report.billCount;
    }
    for (const UninvoicedSupplier &s : report.suppliers) {
        report.amount += s.amount;
        report.invoiced += s.invoiced;
        report.open += s.open;
    }
    return report;
}

QStringList uninvoicedHeader()
{
    return {QStringLiteral("供应商代码"), QStringLiteral("供应商名称"), QStringLiteral("入库单号"), QStringLiteral("日期"),
            QStringLiteral("金额"), QStringLiteral("已开票金额"), QStringLiteral("未开票金额")};
}

QByteArray uninvoicedCsv(const UninvoicedReport &report)
{
    QByteArray out = uninvoicedHeader().join(u',').toUtf8() + "\n";
    for (const UninvoicedSupplier &s : report.suppliers) {
        const QByteArray supplier = csvField(s.number) + ',' + csvField(s.name) + ',';
        for (const UninvoicedBill &b : s.bills)
            out += supplier + csvField(b.billNo) + ',' + b.date.toUtf8() + ',' + money(b.amount).toUtf8() + ','
                + money(b.invoiced).toUtf8() + ',' + money(b.open()).toUtf8() + "\n";
    }
    return out;
}

std::vector<UninvoicedLine> uninvoicedLines(const UninvoicedReport &report)
{
    std::vector<UninvoicedLine> lines;
    lines.reserve(size_t(report.billCount) + report.suppliers.size() + 1);
    for (size_t i = 0; i < report.suppliers.size(); ++i) {
        const UninvoicedSupplier &s = report.suppliers[i];
        for (size_t j = 0; j < s.bills.size(); ++j) {
            const UninvoicedBill &b = s.bills[j];
            lines.push_back({{s.number, s.name, b.billNo, b.date, money(b.amount), money(b.invoiced), money(b.open())}, int(i), int(j)});
        }
        lines.push_back({{s.number, s.name, QStringLiteral("小计"), QString(), money(s.amount), money(s.invoiced), money(s.open)}, int(i), -1});
    }
    lines.push_back({{QStringLiteral("合计"), QString(), QString::number(report.billCount) + QStringLiteral(" 张"), QString(),
                      money(report.amount), money(report.invoiced), money(report.open)},
                     -1, -1});
    return lines;
}
