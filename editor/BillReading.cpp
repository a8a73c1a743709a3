// Reading a saved bill and the stock-in bills offered for it.
#include "editor/BillStore.h"

#include "editor/SqlValues.h"
#include "modules/StockBillLedger.h"
#include "platform/Connection.h"
#include "platform/RowReader.h"

#include <QRegularExpression>
#include <QSet>

namespace {
// A date column as grid text. Dates come as dates (PostgreSQL) or as the
// 'yyyy-MM-dd' text they are stored as (SQLite); the text is taken as it
// stands rather than parsed, which for a thousand rows is what loading a
// bill would otherwise spend most of its time on.
QString dateCellText(const QVariant &value)
{
    if (value.isNull())
        return {};
    if (value.typeId() == QMetaType::QDate)
        return value.toDate().toString(Qt::ISODate);
    if (value.typeId() == QMetaType::QDateTime)
        return value.toDateTime().date().toString(Qt::ISODate);
    return value.toString().trimmed().left(10);
}
} // namespace

QString billHeaderSql(const QString &viewName, int interId)
{
    return QStringLiteral(" select * from ") + viewName + QStringLiteral(" where finterid=") + QString::number(interId);
}

QString billEntriesSql(int interId)
{
    return QStringLiteral("select a.fHXAmount1,isnull(b.fbillno,'') as fbillno,b.finterid,b.fdate,isnull(b.fAllAmount,0) as fAllAmount,isnull(b.fKPAmount,0) as fKPAmount from ")
        + QStringLiteral(" (select fHXAmount as fHXAmount1,isnull(fStockInterId,0) as fStockInterId,fentryid from tblFPEntry where fInterId=")
        + QString::number(interId) + QStringLiteral(") as a left outer join icstockbill as b on ")
        + QStringLiteral("   a.fStockInterId=b.finterid ") + QStringLiteral(" order by a.fentryid ");
}

QString openStockBillsSql(const QString &supplierId, const QString &excludedIds)
{
    QString sql = QStringLiteral("select finterid,fbillno,isnull(fAllAmount,0) as fAllAmount,isnull(fKPAmount,0) as fKPAmount,fdate from icstockbill where fsupplyid=")
        + supplierId + openStockBillCondition() + QStringLiteral("  ");
    if (!excludedIds.isEmpty())
        sql += QStringLiteral(" and finterid not in (") + excludedIds + QStringLiteral(")");
    sql += QStringLiteral("  order by fdate ");
    return sql;
}

std::optional<LoadedBill> BillStore::loadBill(int interId, const HeaderLayout &layout)
{
    const Recordset head = m_conn.openRecordset(billHeaderSql(m_settings.viewName, interId));
    if (head.eof())
        return std::nullopt;

    LoadedBill bill;
    bill.interId = interId;
    bill.billNo = head.text(QStringLiteral("fbillno"));
    bill.date = head.date(QStringLiteral("fdate"));
    bill.amountText = head.isNull(QStringLiteral("fAmount")) ? QString() : head.amount(QStringLiteral("fAmount")).toString();
    bill.billerName = head.text(QStringLiteral("fOperatorName"));
    bill.checkerName = head.text(QStringLiteral("fCheckerName"));
    if (head.hasField(QStringLiteral("fchecker")))
        bill.checkerId = head.text(QStringLiteral("fchecker"));
    bill.status = int(head.toInt(QStringLiteral("fstatus")));
    if (head.hasField(QStringLiteral("fcancellation")))
        bill.cancellation = int(head.toInt(QStringLiteral("fcancellation")));
    bill.rob = int(head.toInt(QStringLiteral("frob")));

    auto optionalText = [&](const QString &name) { return head.hasField(name) ? head.text(name) : QString(); };
    for (const HeaderFieldDef &def : layout.fields) {
        HeaderValue v;
        v.fieldName = def.fieldName;
        v.lookup = def.isLookup();
        if (def.fieldName.isEmpty()) {
            bill.fields.push_back(v);
            continue;
        }
        if (v.lookup) {
            const QString number = optionalText(def.fieldName + QStringLiteral("Number"));
            v.value = lookupValue(number, optionalText(def.fieldName));
            v.text = v.value.isEmpty() ? QString() : number;
            v.name = v.value.isEmpty() ? QString() : optionalText(def.fieldName + QStringLiteral("Name"));
        } else {
            v.text = optionalText(def.fieldName);
        }
        bill.fields.push_back(v);
    }

    // Read row by row: a bill may have thousands of entries.
    RowReader lines = m_conn.readRows(billEntriesSql(interId));
    const int cHX = lines.fieldIndex(QStringLiteral("fHXAmount1"));
    const int cNo = lines.fieldIndex(QStringLiteral("fbillno"));
    const int cId = lines.fieldIndex(QStringLiteral("finterid"));
    const int cDate = lines.fieldIndex(QStringLiteral("fdate"));
    const int cAll = lines.fieldIndex(QStringLiteral("fAllAmount"));
    const int cKP = lines.fieldIndex(QStringLiteral("fKPAmount"));
    while (lines.next()) {
        const Amount own = Amount::fromVariant(lines.value(cHX));
        const Amount all = Amount::fromVariant(lines.value(cAll));
        const Amount others = Amount::fromVariant(lines.value(cKP)) - own;
        EntryRow &row = bill.rows.emplace_back();
        row.stockId = Recordset::variantText(lines.value(cId));
        // Columns 1 to 6, in their order.
        row.cells = {Recordset::variantText(lines.value(cNo)), dateCellText(lines.value(cDate)), all.toString(), others.toString(),
                     (all - others).toString(), own.toString()};
    }
    return bill;
}

std::vector<EntryRow> BillStore::openStockBills(const QString &supplierId, const std::vector<EntryRow> &grid)
{
    QStringList inGrid;
    QSet<QString> known;
    for (const EntryRow &row : grid) {
        const QString id = row.stockId.trimmed();
        if (id.isEmpty())
            continue;
        const QString sqlId = idText(id);
        if (!known.contains(sqlId)) {
            known.insert(sqlId);
            inGrid << sqlId;
        }
    }
    Recordset rs = m_conn.openRecordset(openStockBillsSql(idText(supplierId), inGrid.join(u',')));
    std::vector<EntryRow> rows;
    for (; !rs.eof(); rs.moveNext()) {
        const QString id = rs.text(QStringLiteral("finterid"));
        if (known.contains(idText(id)))
            continue;
        known.insert(idText(id));
        rows.push_back(EntryRow::fromStockBill(id, rs.text(QStringLiteral("fbillno")), dateCellText(rs.value(QStringLiteral("fdate"))),
                                               rs.amount(QStringLiteral("fAllAmount")), rs.amount(QStringLiteral("fKPAmount"))));
    }
    return rows;
}

std::optional<ItemText> BillStore::itemText(const QString &itemId)
{
    const Recordset rs = m_conn.openRecordset(QStringLiteral("select fnumber,fname from tblItem where fitemid=") + itemId);
    if (rs.eof())
        return std::nullopt;
    return ItemText{rs.text(QStringLiteral("fnumber")), rs.text(QStringLiteral("fname"))};
}

std::optional<QString> BillStore::sameInvoiceNumber(const QString &supplierId, const QString &invoiceNo, int exceptInterId)
{
    QString plain = invoiceNo.toUpper();
    plain.remove(QRegularExpression(QStringLiteral("[\\s\\x{3000}]")));
    bool numeric = false;
    supplierId.toLongLong(&numeric);
    if (plain.isEmpty() || !numeric)
        return std::nullopt;
    const Recordset rs = m_conn.openRecordset(
        QStringLiteral("select fbillno from tblFP where fSupplyId=") + supplierId
            + QStringLiteral(" and finterid<>") + QString::number(exceptInterId)
            + QStringLiteral(" and isnull(fcancellation,0) not in (1,-1)"
                             " and upper(replace(replace(fInvoiceNo,' ',''),'　',''))=? order by finterid"),
        {plain});
    if (rs.eof())
        return std::nullopt;
    return rs.text(QStringLiteral("fbillno"));
}
