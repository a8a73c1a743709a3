// Reading a saved bill and the stock-in bills offered for it.
#include "editor/BillStore.h"

#include "editor/SqlValues.h"
#include "modules/StockBillLedger.h"
#include "platform/Connection.h"
#include "platform/EngineRows.h"
#include "platform/RowReader.h"
#include "platform/SqlDialect.h"

#include <QRegularExpression>
#include <QSet>

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>

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

// One value of a row as the engine hands it over, which is what Qt's drivers
// turn into the values the rest of the store reads: null; a whole number
// (SQLite); a real (SQLite) together with the text the engine writes for it;
// or a text in UTF-8 (on PostgreSQL every value, dates as yyyy-MM-dd). In an
// amount column a real that is a whole number of ten-thousandths, as stored
// amounts are, comes as that number of units alone: its text would read as
// the same amount, and writing it is what reading a real costs most.
struct EngineCell {
    enum Kind { Null, Integer, Real, Text, Date } kind = Null; // Date: a PostgreSQL date's text
    qint64 number = 0; // Integer: the value; Real without text: the units
    QByteArrayView text;
};
using EngineRow = std::function<void(const EngineCell *)>;

// Reads every row of `sql` (translated) with `columns` columns through the
// engine's own API, without a value object per cell: a bill's thousand
// entries are read at the engine's own speed. Bit c of `amountColumns` marks
// column c as an amount. With `names`, any number of columns is taken and
// their names are put there; on PostgreSQL only columns of the types a
// bill's header has (whole numbers, decimals, texts, dates). False, with
// nothing passed on, when the engine's handle cannot take the statement (see
// EngineRows::open) or the columns are not those asked for; the caller then
// reads through the connection. A failure while stepping throws DbError.
bool readEngineRows(Connection &conn, const QString &sql, int columns, unsigned amountColumns, const EngineRow &row,
                    QStringList *names = nullptr)
{
    const std::unique_ptr<EngineRows> rows = EngineRows::open(conn, sql);
    if (!rows || (!names && rows->columnCount() != columns))
        return false;
    columns = rows->columnCount();
    const bool postgres = conn.engine() == DbEngine::PostgreSQL;
    std::vector<char> dates(static_cast<size_t>(columns));
    for (int c = 0; c < columns; ++c) {
        const EngineRows::ColumnType type = rows->columnType(c);
        if (names && postgres && type != EngineRows::Whole && type != EngineRows::Decimal && type != EngineRows::Character
            && type != EngineRows::Date)
            return false;
        dates[size_t(c)] = type == EngineRows::Date;
    }
    for (int c = 0; names && c < columns; ++c)
        *names << rows->columnName(c);
    std::vector<EngineCell> cells(static_cast<size_t>(columns));
    std::vector<EngineRows::Cell> values(static_cast<size_t>(columns));
    while (rows->next()) {
        rows->row(values.data());
        for (int c = 0; c < columns; ++c) {
            const EngineRows::Cell &value = values[size_t(c)];
            EngineCell &cell = cells[size_t(c)];
            cell.text = {};
            switch (value.kind) {
            case EngineRows::Null:
                cell.kind = EngineCell::Null;
                break;
            case EngineRows::Integer:
                cell.kind = EngineCell::Integer;
                cell.number = value.integer;
                break;
            case EngineRows::Real: {
                cell.kind = EngineCell::Real;
                const double scaled = value.real * double(Amount::Scale);
                const double units = std::round(scaled);
                if ((amountColumns >> c & 1) && std::fabs(scaled) < 1e15 && std::fabs(scaled - units) < 1e-6)
                    cell.number = qint64(units);
                else
                    cell.text = rows->text(c);
                break;
            }
            case EngineRows::Fixed: // binary rows only (openEach): as its text
            case EngineRows::Text:
                cell.kind = dates[size_t(c)] ? EngineCell::Date : EngineCell::Text;
                cell.text = value.kind == EngineRows::Text ? value.bytes() : rows->text(c);
            }
        }
        row(cells.data());
    }
    return true;
}

QString cellText(const EngineCell &cell)
{
    if (cell.kind == EngineCell::Integer)
        return QString::number(cell.number);
    return cell.kind == EngineCell::Null ? QString() : QString::fromUtf8(cell.text);
}

// Text that is a whole number written as QString::number writes it (no
// sign but a minus, no leading zero): PostgreSQL's text of an id.
std::optional<qint64> plainWholeNumber(QByteArrayView t)
{
    const qsizetype from = t.startsWith('-') ? 1 : 0;
    if (t.size() == from || t.size() - from > 18 || (t[from] == '0' && t.size() > 1))
        return std::nullopt;
    qint64 n = 0;
    for (qsizetype i = from; i < t.size(); ++i) {
        if (t[i] < '0' || t[i] > '9')
            return std::nullopt;
        n = n * 10 + (t[i] - '0');
    }
    return from ? -n : n;
}

// An amount column as Amount::fromVariant reads the driver's value; text
// (what PostgreSQL writes for an amount) is read without a QString between.
Amount cellAmount(const EngineCell &cell)
{
    switch (cell.kind) {
    case EngineCell::Null:
        return Amount();
    case EngineCell::Integer:
        return Amount::fromInt(cell.number);
    case EngineCell::Real:
        if (cell.text.isEmpty())
            return Amount::fromUnits(cell.number);
        break;
    case EngineCell::Text:
    case EngineCell::Date:
        break;
    }
    return Amount::fromDecimalText(cell.text);
}

// The whole result of `sql` as Recordset holds what Qt's drivers give
// (whole numbers of SQLite as numbers, dates of PostgreSQL as dates, any
// other value as its text), read as readEngineRows reads; none when the
// handle cannot take it.
std::optional<Recordset> readEngineRecordset(Connection &conn, const QString &sql)
{
    QStringList names;
    std::vector<QVariant> values;
    const bool read = readEngineRows(conn, translateSql(sql, conn.engine()), 0, 0, [&](const EngineCell *c) {
        for (qsizetype i = 0; i < names.size(); ++i) {
            switch (c[i].kind) {
            case EngineCell::Null:
                values.emplace_back();
                break;
            case EngineCell::Integer:
                values.emplace_back(c[i].number);
                break;
            case EngineCell::Date:
                values.emplace_back(QDate::fromString(QString::fromLatin1(c[i].text), Qt::ISODate));
                break;
            default:
                values.emplace_back(QString::fromUtf8(c[i].text));
            }
        }
    }, &names);
    if (!read)
        return std::nullopt;
    return Recordset(names, std::move(values));
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
    // Read through the index ix_icstockbill_open (see openStockBillCondition):
    // the supplier's bills that are fully invoiced or void are never read.
    QString sql = QStringLiteral("select finterid,fbillno,isnull(fAllAmount,0) as fAllAmount,isnull(fKPAmount,0) as fKPAmount,fdate from icstockbill where fsupplyid=")
        + supplierId + openStockBillCondition() + QStringLiteral("  ");
    if (!excludedIds.isEmpty())
        sql += QStringLiteral(" and finterid not in (") + excludedIds + QStringLiteral(")");
    sql += QStringLiteral("  order by fdate ");
    return sql;
}

std::optional<LoadedBill> BillStore::loadBill(int interId, const HeaderLayout &layout)
{
    const QString headSql = billHeaderSql(m_settings.viewName, interId);
    std::optional<Recordset> engineHead = readEngineRecordset(m_conn, headSql);
    const Recordset head = engineHead ? std::move(*engineHead) : m_conn.openRecordset(headSql);
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

    // Columns: own amount, stock bill number, id, date, amount, invoiced.
    // The amounts and the id are kept as numbers (see EntryRow), the stock
    // bill numbers in one text that the rows share once all are read; the
    // date of the row before is shared rather than made again, as entries
    // follow the fill, oldest stock bill first.
    QByteArray lastDate;
    QString lastDateText;
    QString numbers;
    std::vector<qsizetype> numberEnds;
    auto addRow = [&](const EngineCell *c) {
        const Amount own = cellAmount(c[0]);
        const Amount all = cellAmount(c[4]);
        const Amount others = cellAmount(c[5]) - own;
        EntryRow &row = bill.rows.emplace_back();
        if (c[2].kind == EngineCell::Integer)
            row.setStockId(c[2].number);
        else if (const std::optional<qint64> id = c[2].kind == EngineCell::Text ? plainWholeNumber(c[2].text) : std::nullopt)
            row.setStockId(*id);
        else
            row.setStockId(cellText(c[2]));
        if (c[3].kind == EngineCell::Null || c[3].text != lastDate) {
            lastDate = c[3].kind == EngineCell::Null ? QByteArray() : c[3].text.toByteArray();
            lastDateText = cellText(c[3]).trimmed().left(10);
        }
        const QByteArrayView number = c[1].text;
        if (c[1].kind == EngineCell::Text && std::all_of(number.begin(), number.end(), [](char b) { return uchar(b) < 0x80; }))
            numbers.append(QLatin1StringView(number));
        else
            numbers.append(cellText(c[1]));
        numberEnds.push_back(numbers.size());
        row.setCell(ColStockDate, lastDateText);
        row.setAmount(ColAllAmount, all);
        row.setAmount(ColInvoiced, others);
        row.setAmount(ColOpenAmount, all - others);
        row.setAmount(ColThisAmount, own);
    };
    const QString linesSql = billEntriesSql(interId);
    if (!readEngineRows(m_conn, translateSql(linesSql, m_conn.engine()), 6, 0b110001, addRow)) {
        RowReader lines = m_conn.readRows(linesSql);
        QByteArray texts[6];
        EngineCell cells[6];
        while (lines.next()) {
            for (int i = 0; i < 6; ++i) {
                const QVariant value = lines.value(i);
                cells[i].kind = value.isNull() ? EngineCell::Null : EngineCell::Text;
                texts[i] = i == 3 ? dateCellText(value).toUtf8() : value.toString().toUtf8();
                cells[i].text = texts[i];
            }
            addRow(cells);
        }
    }
    for (size_t r = 0; r < bill.rows.size(); ++r) {
        const qsizetype from = r ? numberEnds[r - 1] : 0;
        bill.rows[r].setStockBillNo(numbers, from, numberEnds[r] - from);
    }
    return bill;
}

std::vector<EntryRow> BillStore::openStockBills(const QString &supplierId, const std::vector<EntryRow> &grid)
{
    QStringList inGrid;
    QSet<QString> known;
    for (const EntryRow &row : grid) {
        const QString id = row.stockId().trimmed();
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
