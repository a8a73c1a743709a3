#include "modules/StockBillLedger.h"

#include "platform/Connection.h"
#include "platform/DbError.h"

#include <QStringList>

// The coalesce test is implied by the isnull one (amounts that differ once
// rounded differ as stored); with the two before it, it is the condition of
// the index ix_icstockbill_open, which holds the open stock-in bills alone.
QString openStockBillIndexCondition(const QString &alias)
{
    return QStringLiteral(" and %1ftrantype=1 and %1fcancellation=0 and coalesce(%1fAllAmount,0)<>coalesce(%1fKPAmount,0)").arg(alias);
}

QString openStockBillCondition(const QString &alias)
{
    return openStockBillIndexCondition(alias)
        + QStringLiteral(" and isnull(%1fAllAmount,0)<>isnull(%1fKPAmount,0) and isnull(%1fISKP,1)=1").arg(alias);
}

bool completesOpenStockBill(const Amount &all, const Amount &invoiced, const std::optional<Amount> &invoiceable)
{
    return all != invoiced && (!invoiceable || *invoiceable == Amount::fromInt(1));
}

std::map<qint64, LockedStockBill> lockStockBills(Connection &conn, const StockAmounts &ids)
{
    std::map<qint64, LockedStockBill> bills;
    if (ids.empty())
        return bills;
    QStringList list;
    for (const auto &entry : ids)
        list << QString::number(entry.first);
    const QString in = list.join(u',');
    // PostgreSQL takes the row locks in the order the rows are returned.
    Recordset rs = conn.engine() == DbEngine::PostgreSQL
        ? conn.openRecordsetNative(QStringLiteral("select finterid,fbillno,coalesce(fAllAmount,0) as fallamount,coalesce(fKPAmount,0) as fkpamount "
                                                  "from icstockbill where finterid in (")
                                   + in + QStringLiteral(") order by finterid for no key update"))
        : conn.openRecordset(QStringLiteral("select finterid,fbillno,isnull(fAllAmount,0) as fallamount,isnull(fKPAmount,0) as fkpamount "
                                            "from icstockbill where finterid in (")
                             + in + QStringLiteral(") order by finterid"));
    for (; !rs.eof(); rs.moveNext())
        bills[rs.value(QStringLiteral("finterid")).toLongLong()] = LockedStockBill{
            rs.text(QStringLiteral("fbillno")), rs.amount(QStringLiteral("fallamount")), rs.amount(QStringLiteral("fkpamount"))};
    return bills;
}

bool fitsStockBill(const Amount &invoiced, const Amount &all)
{
    if (invoiced.isZero())
        return true;
    return invoiced.abs() <= all.abs() && invoiced.isNegative() == all.isNegative();
}

bool isTransientConflict(const DbError &error)
{
    static const QStringList codes{
        QStringLiteral("40001"), QStringLiteral("40P01"), // PostgreSQL: serialization failure, deadlock
        QStringLiteral("5"), QStringLiteral("517"),       // SQLite: busy, busy snapshot
    };
    return codes.contains(error.code());
}
