#include "list/UninvoicedBills.h"

#include "modules/StockBillLedger.h"
#include "platform/Connection.h"
#include "platform/EngineRows.h"
#include "platform/Recordset.h"
#include "platform/RowReader.h"
#include "platform/SqlDialect.h"
#include "query/QuerySql.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <map>
#include <memory>
#include <optional>

namespace {

// integer / 10^scale as an amount, as Amount::fromDecimalText reads its
// text: more than four decimals rounded half away from zero by the fifth,
// beyond the range out of range.
Amount decimalAmount(qint64 integer, int scale)
{
    const quint64 magnitude = integer < 0 ? 0 - quint64(integer) : quint64(integer);
    quint64 units = magnitude;
    for (int k = scale; k < Amount::Decimals; ++k)
        if (__builtin_mul_overflow(units, quint64(10), &units))
            return Amount::outOfRange();
    if (scale > Amount::Decimals) {
        quint64 fifth = magnitude; // the digits down to the fifth decimal
        for (int k = scale; k > Amount::Decimals + 1; --k)
            fifth /= 10;
        units = fifth / 10 + (fifth % 10 >= 5 ? 1 : 0);
    }
    if (units > quint64(Amount::MaxUnits))
        return Amount::outOfRange();
    return Amount::fromUnits(integer < 0 ? -qint64(units) : qint64(units));
}

// An amount as the engine hands it over: whole numbers and reals directly
// (a real rounded to four places, as SQLite keeps a decimal), text as a
// decimal number.
Amount cellAmount(const EngineRows::Cell &c)
{
    switch (c.kind) {
    case EngineRows::Null:
        return Amount();
    case EngineRows::Integer:
        return Amount::fromInt(c.integer);
    case EngineRows::Real:
        return Amount::fromDouble(c.real);
    case EngineRows::Fixed:
        return decimalAmount(c.integer, c.scale);
    case EngineRows::Text:
        break;
    }
    return Amount::fromDecimalText(c.bytes());
}

// The rows of one of the report's statements, through the engine's own API
// on the connection's handle, or through the connection when the handle
// cannot take the statement. Cells are read by position.
class ReportRows {
public:
    ReportRows(Connection &conn, const QString &sql)
    {
        m_texts.reserve(8);
        if (conn.isOpen())
            m_engine = EngineRows::open(conn, translateSql(sql, conn.engine()));
        if (!m_engine)
            m_reader.emplace(conn.readRows(sql));
    }
    // The statement run once for each set of values bound to its
    // placeholders; nextSet() moves from one set's rows to the next.
    ReportRows(Connection &conn, const QString &sql, std::vector<QVariantList> sets)
        : m_conn(&conn), m_sql(sql)
    {
        m_texts.reserve(8);
        if (conn.isOpen())
            m_engine = EngineRows::openEach(conn, translateSql(sql, conn.engine()), sets);
        if (!m_engine)
            m_sets = std::move(sets);
    }

    void nextSet()
    {
        if (m_engine) {
            m_engine->nextSet();
            return;
        }
        m_set.emplace(m_conn->openRecordset(m_sql, m_sets[m_nextSet++]));
        m_set->setPosition(-1);
    }
    bool next()
    {
        if (m_engine)
            return m_engine->next();
        m_texts.clear();
        if (m_set) {
            m_set->moveNext();
            return !m_set->eof();
        }
        return m_reader->next();
    }
    // A whole number: an id; none when null.
    std::optional<qint64> id(int column)
    {
        if (m_engine) {
            const EngineRows::Cell c = m_engine->cell(column);
            if (c.kind == EngineRows::Null)
                return std::nullopt;
            return c.kind == EngineRows::Integer ? c.integer : c.bytes().trimmed().toLongLong();
        }
        const QVariant v = value(column);
        return v.isNull() ? std::nullopt : std::optional<qint64>(v.toLongLong());
    }
    QByteArrayView text(int column)
    {
        if (m_engine)
            return m_engine->text(column);
        const QVariant v = value(column);
        const QString text = v.typeId() == QMetaType::QDate || v.typeId() == QMetaType::QDateTime ? v.toDate().toString(Qt::ISODate)
                                                                                                   : Recordset::variantText(v);
        return m_texts.emplace_back(text.toUtf8());
    }
    Amount amount(int column) const
    {
        return m_engine ? cellAmount(m_engine->cell(column)) : Amount::fromVariant(value(column));
    }
    // None when null.
    std::optional<Amount> optionalAmount(int column) const
    {
        const bool null = m_engine ? m_engine->cell(column).kind == EngineRows::Null : value(column).isNull();
        return null ? std::nullopt : std::optional<Amount>(amount(column));
    }

private:
    // A cell through the connection.
    QVariant value(int column) const { return m_set ? m_set->value(column) : m_reader->value(column); }

    std::unique_ptr<EngineRows> m_engine;
    std::optional<RowReader> m_reader;
    Connection *m_conn = nullptr;     // for the sets' statements through the connection
    QString m_sql;
    std::vector<QVariantList> m_sets;
    size_t m_nextSet = 0;
    std::optional<Recordset> m_set;   // the current set's rows through the connection
    std::vector<QByteArray> m_texts;  // the fallback's texts of the current row
};

QByteArrayView dateOf(QByteArrayView cell)
{
    return cell.trimmed().first(std::min<qsizetype>(cell.trimmed().size(), 10));
}

QString money(Amount a)
{
    return a.toFixed(2);
}

} // namespace

namespace {

// Amount::toFixed(2) into `p`, which has room for 24 characters; returns
// the end. Nothing for the out-of-range amount.
char *writeAmount(char *p, Amount a)
{
    if (a.isOutOfRange())
        return p;
    const std::int64_t units = a.units();
    const std::uint64_t magnitude = units < 0 ? 0 - std::uint64_t(units) : std::uint64_t(units);
    const std::uint64_t cents = (magnitude + 50) / 100; // half away from zero
    if (units < 0 && cents != 0)
        *p++ = '-';
    p = std::to_chars(p, p + 20, cents / 100).ptr;
    *p++ = '.';
    *p++ = char('0' + cents % 100 / 10);
    *p++ = char('0' + cents % 10);
    return p;
}

} // namespace

void appendUninvoicedAmount(QByteArray &out, Amount a)
{
    char buffer[24];
    out.append(buffer, writeAmount(buffer, a) - buffer);
}

namespace {

void appendCsvField(QByteArray &out, QByteArrayView text)
{
    bool plain = true;
    for (char c : text)
        if (c == ',' || c == '"' || c == '\n' || c == '\r') {
            plain = false;
            break;
        }
    if (plain) {
        out.append(text);
        return;
    }
    out += '"';
    for (char c : text) {
        if (c == '"')
            out += '"';
        out += c;
    }
    out += '"';
}

} // namespace

namespace {
// The filter's day and supplier as conditions.
QString filterCondition(const UninvoicedFilter &filter)
{
    QString where;
    if (filter.asOf.isValid())
        where += QStringLiteral(" and fdate<='") + sqlDateText(filter.asOf) + u'\'';
    if (!filter.supplierNumber.trimmed().isEmpty())
        where += QStringLiteral(" and fsupplyid in (select fitemid from tblItem where fnumber='") + sqlTextValue(filter.supplierNumber.trimmed())
            + QStringLiteral("')");
    return where;
}
} // namespace

QString uninvoicedTotalsSql(const UninvoicedFilter &filter, DbEngine engine, bool amounts)
{
    const QString where = openStockBillCondition() + filterCondition(filter);
    if (!amounts)
        // From one supplier to the next through the index, a seek each,
        // rather than through every bill; then null when some bill has none.
        return QStringLiteral("with recursive s(id) as (select min(fsupplyid) from icstockbill where 1=1") + where
            + QStringLiteral(" union all select (select min(fsupplyid) from icstockbill where fsupplyid>s.id") + where
            + QStringLiteral(") from s where s.id is not null) select id as fsupplyid from s where id is not null"
                             " union all select null where exists (select 1 from icstockbill where fsupplyid is null")
            + where + QStringLiteral(")");
    // PostgreSQL sums its exact decimals itself. SQLite reads the rows in
    // supplier order straight from the index, under the index's part of the
    // condition; the reader tests the rest (completesOpenStockBill), which
    // costs less than SQLite calling a function for each term of each row.
    if (engine == DbEngine::PostgreSQL)
        return QStringLiteral("select fsupplyid,count(*) as fcount,sum(isnull(fAllAmount,0)) as fAllAmount,sum(isnull(fKPAmount,0)) as fKPAmount"
                              " from icstockbill where 1=1")
            + where + QStringLiteral(" group by fsupplyid");
    return QStringLiteral("select fsupplyid,1 as fcount,fAllAmount,fKPAmount,fISKP from icstockbill where 1=1") + openStockBillIndexCondition()
        + filterCondition(filter) + QStringLiteral(" order by fsupplyid");
}

QString uninvoicedNamesSql(const QStringList &supplierIds)
{
    return QStringLiteral("select fitemid,isnull(fnumber,'') as fnumber,isnull(fname,'') as fname from tblItem where fitemid in (")
        + supplierIds.join(u',') + QStringLiteral(") order by fnumber,fitemid");
}

QString uninvoicedBillsSql(bool ofSupplier, const QDate &asOf, DbEngine engine)
{
    // The index's order: the number as stored (a bill without one comes
    // before those with one on SQLite, after them on PostgreSQL).
    // On SQLite under the index's part of the condition, the reader testing
    // the rest; PostgreSQL tests all of it in the scan of the index, which
    // costs less than sending the rows it leaves out and their flag.
    const bool postgres = engine == DbEngine::PostgreSQL;
    QString sql = QStringLiteral("select finterid,fbillno,fdate,fAllAmount,fKPAmount") + (postgres ? QString() : QStringLiteral(",fISKP"))
        + QStringLiteral(" from icstockbill where ") + (ofSupplier ? QStringLiteral("fsupplyid=?") : QStringLiteral("fsupplyid is null"))
        + (postgres ? openStockBillCondition() : openStockBillIndexCondition());
    if (asOf.isValid())
        sql += QStringLiteral(" and fdate<='") + sqlDateText(asOf) + u'\'';
    return sql + QStringLiteral(" order by fdate,fbillno,finterid");
}

UninvoicedTotals readUninvoicedTotals(Connection &conn, const UninvoicedFilter &filter, bool amounts)
{
    UninvoicedTotals totals;
    std::vector<UninvoicedSupplier> byId;
    {
        ReportRows rows(conn, uninvoicedTotalsSql(filter, conn.engine(), amounts));
        std::optional<qint64> previous; // the id of the last row; none when null
        const bool grouped = conn.engine() == DbEngine::PostgreSQL;
        const bool tested = amounts && conn.engine() != DbEngine::PostgreSQL; // rows under the index's part only
        while (rows.next()) {
            if (tested && !completesOpenStockBill(rows.amount(2), rows.amount(3), rows.optionalAmount(4)))
                continue;
            const std::optional<qint64> id = rows.id(0);
            if (byId.empty() || id != previous) {
                byId.emplace_back().supplierId = id ? QString::number(*id) : QString();
                previous = id;
            }
            UninvoicedSupplier &s = byId.back();
            const int count = !amounts ? 0 : grouped ? int(rows.text(1).toLongLong()) : 1;
            const Amount amount = amounts ? rows.amount(2) : Amount();
            const Amount invoiced = amounts ? rows.amount(3) : Amount();
            s.billCount += count;
            s.amount += amount;
            s.invoiced += invoiced;
            totals.billCount += count;
            totals.amount += amount;
            totals.invoiced += invoiced;
        }
    }
    if (byId.empty())
        return totals;
    totals.open = totals.amount - totals.invoiced;
    for (UninvoicedSupplier &s : byId)
        s.open = s.amount - s.invoiced;

    // By code, then id, as the engine orders the codes; bills whose
    // supplier is not there have an empty code, which comes first.
    std::map<QString, size_t> unnamed;
    QStringList ids;
    for (size_t i = 0; i < byId.size(); ++i)
        if (!byId[i].supplierId.isEmpty()) {
            unnamed[byId[i].supplierId] = i;
            ids << byId[i].supplierId;
        }
    std::vector<UninvoicedSupplier> named;
    std::vector<bool> isNamed(byId.size(), false); // moved into `named`
    if (!ids.isEmpty()) {
        ReportRows rows(conn, uninvoicedNamesSql(ids));
        while (rows.next()) {
            const auto found = unnamed.find(QString::number(rows.id(0).value_or(0)));
            if (found == unnamed.end())
                continue;
            isNamed[found->second] = true;
            UninvoicedSupplier &s = named.emplace_back(std::move(byId[found->second]));
            s.number = QString::fromUtf8(rows.text(1));
            s.name = QString::fromUtf8(rows.text(2));
            unnamed.erase(found);
        }
    }
    size_t emptyCodes = 0;
    while (emptyCodes < named.size() && named[emptyCodes].number.isEmpty())
        ++emptyCodes;
    std::vector<UninvoicedSupplier> &out = totals.suppliers;
    out.reserve(byId.size());
    for (size_t i = 0; i < emptyCodes; ++i)
        out.push_back(std::move(named[i]));
    for (size_t i = 0; i < byId.size(); ++i)
        if (!isNamed[i])
            out.push_back(std::move(byId[i]));
    // Among the empty codes by id; bills without a supplier sort as the
    // engine sorts a null.
    const bool nullsFirst = conn.engine() == DbEngine::SQLite;
    std::stable_sort(out.begin(), out.end(), [nullsFirst](const UninvoicedSupplier &a, const UninvoicedSupplier &b) {
        if (a.supplierId.isEmpty() != b.supplierId.isEmpty())
            return a.supplierId.isEmpty() == nullsFirst;
        return a.supplierId.toLongLong() < b.supplierId.toLongLong();
    });
    for (size_t i = emptyCodes; i < named.size(); ++i)
        out.push_back(std::move(named[i]));
    return totals;
}

void readUninvoicedRows(Connection &conn, const std::vector<UninvoicedSupplier> &suppliers, const QDate &asOf,
                        const std::function<void(size_t, const UninvoicedRow &)> &take, const std::function<void(size_t)> &done)
{
    UninvoicedRow row;
    const bool flagged = conn.engine() != DbEngine::PostgreSQL; // rows under the index's part of the condition
    for (size_t from = 0; from < suppliers.size();) {
        // The suppliers with an id up to the next without, one statement
        // for all of them; that without one has a statement of its own.
        const bool ofSupplier = !suppliers[from].supplierId.isEmpty();
        std::vector<QVariantList> sets;
        size_t to = from;
        for (; to < suppliers.size() && suppliers[to].supplierId.isEmpty() != ofSupplier; ++to)
            sets.push_back(ofSupplier ? QVariantList{suppliers[to].supplierId.toLongLong()} : QVariantList());
        ReportRows rows(conn, uninvoicedBillsSql(ofSupplier, asOf, conn.engine()), std::move(sets));
        for (; from < to; ++from) {
            rows.nextSet();
            while (rows.next()) {
                row.amount = rows.amount(3);
                row.invoiced = rows.amount(4);
                if (flagged && !completesOpenStockBill(row.amount, row.invoiced, rows.optionalAmount(5)))
                    continue;
                row.stockBillId = rows.id(0).value_or(0);
                row.billNo = rows.text(1);
                row.date = dateOf(rows.text(2));
                take(from, row);
            }
            if (done)
                done(from);
        }
    }
}

void readUninvoicedRows(Connection &conn, const UninvoicedSupplier &supplier, const QDate &asOf,
                        const std::function<void(const UninvoicedRow &)> &take)
{
    readUninvoicedRows(conn, {supplier}, asOf, [&take](size_t, const UninvoicedRow &row) { take(row); });
}

std::vector<UninvoicedBill> readUninvoicedBills(Connection &conn, const UninvoicedSupplier &supplier, const QDate &asOf)
{
    std::vector<UninvoicedBill> bills;
    bills.reserve(size_t(std::max(0, supplier.billCount)));
    readUninvoicedRows(conn, supplier, asOf, [&](const UninvoicedRow &r) {
        bills.push_back({QString::number(r.stockBillId), QString::fromUtf8(r.billNo), QString::fromUtf8(r.date), r.amount, r.invoiced});
    });
    return bills;
}

QStringList uninvoicedHeader()
{
    return {QStringLiteral("供应商代码"), QStringLiteral("供应商名称"), QStringLiteral("入库单号"), QStringLiteral("日期"),
            QStringLiteral("金额"), QStringLiteral("已开票金额"), QStringLiteral("未开票金额")};
}

QByteArray uninvoicedCsvHeader()
{
    return uninvoicedHeader().join(u',').toUtf8() + '\n';
}

QByteArray uninvoicedCsvSupplier(const UninvoicedSupplier &supplier)
{
    QByteArray out;
    appendCsvField(out, supplier.number.toUtf8());
    out += ',';
    appendCsvField(out, supplier.name.toUtf8());
    out += ',';
    return out;
}

void appendUninvoicedCsv(QByteArray &out, QByteArrayView supplierFields, const UninvoicedRow &bill)
{
    out.append(supplierFields);
    appendCsvField(out, bill.billNo);
    // Date and amounts written in one piece.
    char tail[3 * 24 + 16];
    char *p = tail;
    *p++ = ',';
    const QByteArrayView date = bill.date.first(std::min<qsizetype>(bill.date.size(), 10));
    p = std::copy(date.begin(), date.end(), p);
    *p++ = ',';
    p = writeAmount(p, bill.amount);
    *p++ = ',';
    p = writeAmount(p, bill.invoiced);
    *p++ = ',';
    p = writeAmount(p, bill.amount - bill.invoiced);
    *p++ = '\n';
    out.append(tail, p - tail);
}

QStringList uninvoicedSupplierCells(const UninvoicedSupplier &s)
{
    return {s.number, s.name, QString::number(s.billCount) + QStringLiteral(" 张"), QString(), money(s.amount), money(s.invoiced), money(s.open)};
}

QStringList uninvoicedBillCells(const UninvoicedSupplier &s, const UninvoicedBill &b)
{
    return {s.number, s.name, b.billNo, b.date, money(b.amount), money(b.invoiced), money(b.open())};
}

QStringList uninvoicedSubtotalCells(const UninvoicedSupplier &s)
{
    return {s.number, s.name, QStringLiteral("小计"), QString(), money(s.amount), money(s.invoiced), money(s.open)};
}

QStringList uninvoicedTotalCells(const UninvoicedTotals &t)
{
    return {QStringLiteral("合计"), QString(), QString::number(t.billCount) + QStringLiteral(" 张"), QString(),
            money(t.amount), money(t.invoiced), money(t.open)};
}

void uninvoicedSheetRows(Connection &conn, const UninvoicedTotals &totals, const QDate &asOf,
                         const std::function<void(const QStringList &)> &take)
{
    take(uninvoicedHeader());
    const std::vector<UninvoicedSupplier> &suppliers = totals.suppliers;
    readUninvoicedRows(
        conn, suppliers, asOf,
        [&](size_t i, const UninvoicedRow &r) {
            take({suppliers[i].number, suppliers[i].name, QString::fromUtf8(r.billNo), QString::fromUtf8(r.date), money(r.amount),
                  money(r.invoiced), money(r.amount - r.invoiced)});
        },
        [&](size_t i) { take(uninvoicedSubtotalCells(suppliers[i])); });
    take(uninvoicedTotalCells(totals));
}
