// Filling the bill list: the statement runs on the engine itself (through
// EngineRows, on the handle of the connection's driver) and only the columns
// the list keeps are read. When the engine's handle cannot take the
// statement, it goes through the connection as any other, which reports the
// engine's refusal (or reconnects to a server that dropped an idle session).
#include "list/BillListModel.h"

#include "platform/Connection.h"
#include "platform/DbError.h"
#include "platform/EngineRows.h"
#include "platform/Recordset.h"
#include "platform/SqlDialect.h"

#include <QSet>
#include <QSqlField>
#include <QSqlQuery>
#include <QSqlRecord>

#include <algorithm>
#include <cmath>
#include <memory>

// One cell as the engine hands it over; `text` stays valid until the next row.
struct ListCell {
    ListColumnValues::Kind kind = ListColumnValues::Null;
    qint64 integer = 0;
    double real = 0;
    const char *text = nullptr;
    size_t size = 0;
    QByteArrayView bytes() const { return QByteArrayView(text, qsizetype(size)); }
};

// The rows of a statement, one at a time.
class ListRowSource {
public:
    virtual ~ListRowSource() = default;
    int columnIndex(const QString &field) const
    {
        for (int i = 0; i < int(m_names.size()); ++i)
            if (m_names[size_t(i)].compare(field, Qt::CaseInsensitive) == 0)
                return i;
        return -1;
    }
    bool isDecimal(int column) const { return m_decimal[size_t(column)]; }
    // Moves to the next row; false after the last. Throws DbError.
    virtual bool next() = 0;
    virtual ListCell cell(int column) = 0;

protected:
    std::vector<QString> m_names;
    std::vector<bool> m_decimal; // the engine calls the column a decimal number
};

namespace {

static_assert(int(EngineRows::Null) == ListColumnValues::Null && int(EngineRows::Integer) == ListColumnValues::Integer
              && int(EngineRows::Real) == ListColumnValues::Real && int(EngineRows::Text) == ListColumnValues::Text);

// The engine's own rows; a PostgreSQL boolean as the driver shows it.
class EngineListRows final : public ListRowSource {
public:
    explicit EngineListRows(std::unique_ptr<EngineRows> rows)
        : m_rows(std::move(rows))
    {
        for (int i = 0; i < m_rows->columnCount(); ++i) {
            m_names.push_back(m_rows->columnName(i));
            m_decimal.push_back(m_rows->isDecimal(i));
            m_boolean.push_back(m_rows->columnType(i) == EngineRows::Boolean);
        }
    }

    bool next() override { return m_rows->next(); }

    ListCell cell(int column) override
    {
        const EngineRows::Cell e = m_rows->cell(column);
        ListCell c;
        c.kind = ListColumnValues::Kind(e.kind);
        c.integer = e.integer;
        c.real = e.real;
        c.text = e.text;
        c.size = e.size;
        if (c.kind == ListColumnValues::Text && m_boolean[size_t(column)]) {
            const bool on = c.size > 0 && c.text[0] == 't';
            c.text = on ? "true" : "false";
            c.size = on ? 4 : 5;
        }
        return c;
    }

private:
    std::unique_ptr<EngineRows> m_rows;
    std::vector<bool> m_boolean;
};

// Any engine through Qt's driver.
class DriverRows final : public ListRowSource {
public:
    explicit DriverRows(QSqlQuery query)
        : m_query(std::move(query))
    {
        const QSqlRecord record = m_query.record();
        for (int i = 0; i < record.count(); ++i) {
            m_names.push_back(record.fieldName(i));
            const int type = record.field(i).metaType().id();
            m_decimal.push_back(type == QMetaType::Double || type == QMetaType::Float);
        }
        m_texts.resize(size_t(record.count()));
    }

    bool next() override
    {
        if (m_query.next())
            return true;
        if (m_query.lastError().isValid())
            throw DbError(sqlErrorText(m_query.lastError()));
        return false;
    }

    ListCell cell(int column) override
    {
        ListCell c;
        const QVariant v = m_query.value(column);
        if (v.isNull())
            return c;
        switch (v.typeId()) {
        case QMetaType::Int:
        case QMetaType::LongLong:
        case QMetaType::UInt:
            c.kind = ListColumnValues::Integer;
            c.integer = v.toLongLong();
            return c;
        default:
            break;
        }
        QByteArray &text = m_texts[size_t(column)];
        text = Recordset::variantText(v).toUtf8();
        c.kind = ListColumnValues::Text;
        c.text = text.constData();
        c.size = size_t(text.size());
        return c;
    }

private:
    QSqlQuery m_query;
    std::vector<QByteArray> m_texts;
};

QString textOf(const ListCell &c)
{
    return QString::fromUtf8(c.text, qsizetype(c.size));
}

// A whole number written in plain digits with an optional minus sign.
bool plainInteger(const ListCell &c, qint64 *value)
{
    size_t i = c.size > 0 && c.text[0] == '-' ? 1 : 0;
    if (c.size == i || c.size - i > 18)
        return false;
    qint64 n = 0;
    for (size_t k = i; k < c.size; ++k) {
        if (c.text[k] < '0' || c.text[k] > '9')
            return false;
        n = n * 10 + (c.text[k] - '0');
    }
    *value = i ? -n : n;
    return true;
}

// Audited, red: the value 1.
bool isOne(const ListCell &c)
{
    if (c.kind == ListColumnValues::Integer)
        return c.integer == 1;
    if (c.kind == ListColumnValues::Real)
        return qRound64(c.real) == 1;
    if (c.kind != ListColumnValues::Text)
        return false;
    qint64 n = 0;
    if (plainInteger(c, &n))
        return n == 1;
    bool ok = false;
    n = textOf(c).toLongLong(&ok);
    return ok ? n == 1 : textOf(c).trimmed() == u"1";
}

// Void: 1, -1 or true.
bool isVoid(const ListCell &c)
{
    if (c.kind == ListColumnValues::Integer)
        return c.integer == 1 || c.integer == -1;
    if (c.kind == ListColumnValues::Real)
        return QString::number(c.real) == u"1" || QString::number(c.real) == u"-1";
    if (c.kind != ListColumnValues::Text)
        return false;
    const QString text = textOf(c).trimmed().toLower();
    return text == u"1" || text == u"-1" || text == u"true";
}

// An amount as exact decimals: reals with at most four places
// arithmetically, text as the engine's decimal text.
Amount exactAmount(const ListCell &c)
{
    switch (c.kind) {
    case ListColumnValues::Null:
        return Amount();
    case ListColumnValues::Integer:
        return Amount::fromInt(c.integer);
    case ListColumnValues::Real: {
        const double scaled = c.real * double(Amount::Scale);
        if (std::isfinite(scaled) && std::fabs(scaled) < 1e15) {
            const double nearest = std::nearbyint(scaled);
            if (std::fabs(scaled - nearest) <= 1e-3)
                return Amount::fromUnits(std::int64_t(nearest));
        }
        return Amount::fromDouble(c.real);
    }
    case ListColumnValues::Text:
        break;
    }
    return Amount::fromDecimalText(c.bytes());
}

std::unique_ptr<ListRowSource> openRows(Connection &conn, const QString &statement)
{
    if (conn.isOpen())
        if (std::unique_ptr<EngineRows> rows = EngineRows::open(conn, translateSql(statement, conn.engine())))
            return std::make_unique<EngineListRows>(std::move(rows));
    return std::make_unique<DriverRows>(conn.forwardQuery(statement));
}

} // namespace

void BillListModel::fill(Connection &conn, const QString &statement)
{
    // The statement runs before the rows are dropped, so one the engine
    // refuses leaves the list as it was.
    const std::unique_ptr<ListRowSource> rows = openRows(conn, statement);
    beginResetModel();
    dropRows();
    try {
        takeRows(*rows);
    } catch (...) {
        dropRows();
        endResetModel();
        throw;
    }
    endResetModel();
}

void BillListModel::takeRows(ListRowSource &source)
{
    const int columnCount = int(m_columns.size());
    std::vector<int> from(size_t(columnCount), -1);
    std::vector<int> summed;
    m_numeric.assign(size_t(columnCount), false);
    for (int c = 0; c < columnCount; ++c) {
        from[size_t(c)] = source.columnIndex(m_columns[c].field);
        if (from[size_t(c)] >= 0) {
            m_numeric[size_t(c)] = source.isDecimal(from[size_t(c)]);
            if (m_columns[c].sum)
                summed.push_back(c);
        }
        m_values[size_t(c)].reserve(size_t(kMaxRows));
    }
    const int statusColumn = source.columnIndex(QStringLiteral("fstatus"));
    const int voidColumn = source.columnIndex(QStringLiteral("fcancellation"));
    const int redColumn = source.columnIndex(QStringLiteral("frob"));
    const int idColumn = source.columnIndex(QStringLiteral("finterid"));
    // finterid is column 0 of every list; its value is taken from there.
    const bool idIsFirstColumn = columnCount > 0 && from[0] == idColumn;

    // Bill ids, to count the bills: lines of one bill follow each other, so
    // each id is noted once per run and duplicates removed at the end.
    std::vector<qint64> bills;
    bills.reserve(size_t(kMaxRows));
    QSet<QString> textBills; // ids that are not whole numbers
    qint64 previousId = 0;
    bool havePrevious = false;
    std::vector<ListCell> row(static_cast<size_t>(columnCount));
    m_flags.reserve(size_t(kMaxRows));
    while (m_rows < kMaxRows && source.next()) {
        for (int c = 0; c < columnCount; ++c) {
            const int s = from[size_t(c)];
            ListCell &cell = row[size_t(c)];
            cell = s >= 0 ? source.cell(s) : ListCell();
            ListColumnValues &values = m_values[size_t(c)];
            switch (cell.kind) {
            case ListColumnValues::Null: values.addNull(); break;
            case ListColumnValues::Integer: values.addInteger(cell.integer); break;
            case ListColumnValues::Real: values.addReal(cell.real); break;
            case ListColumnValues::Text: values.addText(cell.text, cell.size); break;
            }
        }
        quint8 flags = 0;
        if (statusColumn >= 0 && isOne(source.cell(statusColumn)))
            flags |= Audited;
        if (voidColumn >= 0 && isVoid(source.cell(voidColumn)))
            flags |= Void;
        if (redColumn >= 0 && isOne(source.cell(redColumn)))
            flags |= Red;
        m_flags.push_back(flags);
        if (idColumn >= 0) {
            const ListCell id = idIsFirstColumn ? row[0] : source.cell(idColumn);
            qint64 n = id.kind == ListColumnValues::Real ? qRound64(id.real) : id.integer;
            if (id.kind == ListColumnValues::Integer || id.kind == ListColumnValues::Real
                || (id.kind == ListColumnValues::Text && plainInteger(id, &n))) {
                if (!havePrevious || n != previousId)
                    bills.push_back(n);
                previousId = n;
                havePrevious = true;
            } else {
                textBills.insert(id.kind == ListColumnValues::Text ? textOf(id) : QString());
            }
        }
        for (int c : summed)
            m_totals[size_t(c)] += exactAmount(row[size_t(c)]);
        ++m_rows;
    }
    for (ListColumnValues &values : m_values)
        values.shrink();
    m_flags.shrink_to_fit();
    std::sort(bills.begin(), bills.end());
    m_bills = int(std::unique(bills.begin(), bills.end()) - bills.begin()) + int(textBills.size());
    m_filled = true;
}
