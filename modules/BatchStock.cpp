#include "modules/BatchStock.h"

#include "platform/Amount.h"
#include "platform/Connection.h"

QString batchListSql(const QString &itemId)
{
    return QStringLiteral("select a.fqty,iif(isnull(a.fbatchno)=true,'',a.fbatchno) as fbatchno,b.fname as fUnitName from tblTimeStock as a")
        + QStringLiteral(" left  join tblMeasureUnit as b on a.funitid=b.fitemid ")
        + QStringLiteral(" where a.fitemid=") + itemId + QStringLiteral(" order by a.fbatchno ");
}

std::vector<BatchRow> readBatchRows(Connection &conn, const QString &itemId)
{
    Recordset rs = conn.openRecordset(batchListSql(itemId));
    std::vector<BatchRow> rows;
    rows.reserve(size_t(rs.recordCount()));
    for (; !rs.eof(); rs.moveNext()) {
        BatchRow row;
        row.batchNo = rs.text(QStringLiteral("fbatchno"));
        row.batch = row.batchNo;
        row.unitName = rs.text(QStringLiteral("fUnitName"));
        const QVariant qty = rs.value(QStringLiteral("fqty"));
        // Quantities are shown as their shortest exact decimal text ("12.5",
        // not the engine's "12.5000").
        row.qty = qty.isNull() ? QString() : Amount::fromVariant(qty).toString();
        rows.push_back(std::move(row));
    }
    return rows;
}

int findBatchRow(const std::vector<BatchRow> &rows, const QString &text)
{
    for (size_t i = 0; i < rows.size(); ++i) {
        // Binary comparison: "p1" does not find "P1".
        if (text.isEmpty() || rows[i].batch.contains(text, Qt::CaseSensitive))
            return int(i) + 1;
    }
    return 0;
}
