#include "list/BillListModel.h"

#include "platform/Connection.h"
#include "platform/DbError.h"
#include "platform/Recordset.h"

#include <QFont>
#include <QSet>
#include <QSqlError>
#include <QSqlField>
#include <QSqlQuery>
#include <QSqlRecord>

#include <algorithm>
#include <cmath>

namespace {
const QString kInterIdField = QStringLiteral("finterid");
const QString kBillNoField = QStringLiteral("fbillno");

// ------------------------------------------------------------- formatting

bool isDateFormat(const QString &format)
{
    for (QChar c : format) {
        const QChar l = c.toLower();
        if (l == u'y' || l == u'd')
            return true;
    }
    return false;
}

// Date formats are written with "m" or "M" for the month; Qt needs "M".
QString qtDateFormat(const QString &format)
{
    QString out = format;
    for (QChar &c : out) {
        if (c == u'm')
            c = u'M';
        else if (c == u'D')
            c = u'd';
        else if (c == u'Y')
            c = u'y';
    }
    return out;
}

struct NumberFormat {
    QString prefix;
    QString suffix;
    int minIntegerDigits = 0;
    int requiredDecimals = 0;
    int optionalDecimals = 0;
    bool thousands = false;
    bool valid = false;
};

bool isPlaceholder(QChar c)
{
    return c == u'0' || c == u'#' || c == u'.' || c == u',';
}

NumberFormat parseNumberFormat(const QString &whole)
{
    NumberFormat f;
    // Only the section for positive numbers; the sign is written as "-".
    const QString format = whole.section(u';', 0, 0);
    qsizetype first = -1;
    qsizetype last = -1;
    for (qsizetype i = 0; i < format.size(); ++i) {
        if (isPlaceholder(format[i])) {
            if (first < 0)
                first = i;
            last = i;
        }
    }
    if (first < 0)
        return f;
    f.prefix = format.left(first);
    f.suffix = format.mid(last + 1);
    const QString body = format.mid(first, last - first + 1);
    const qsizetype point = body.indexOf(u'.');
    const QString integer = point < 0 ? body : body.left(point);
    const QString decimals = point < 0 ? QString() : body.mid(point + 1);
    f.thousands = integer.contains(u',');
    f.minIntegerDigits = int(integer.count(u'0'));
    f.requiredDecimals = int(decimals.count(u'0'));
    f.optionalDecimals = int(decimals.count(u'#'));
    f.valid = body.contains(u'0') || body.contains(u'#');
    return f;
}

QString groupThousands(const QString &digits)
{
    QString out;
    out.reserve(digits.size() + digits.size() / 3);
    const qsizetype n = digits.size();
    for (qsizetype i = 0; i < n; ++i) {
        if (i > 0 && (n - i) % 3 == 0)
            out += u',';
        out += digits[i];
    }
    return out;
}

QString formatNumber(const Amount &amount, const NumberFormat &f)
{
    const int decimals = f.requiredDecimals + f.optionalDecimals;
    QString text = amount.toFixed(std::min(decimals, Amount::Decimals));
    bool negative = false;
    if (text.startsWith(u'-')) {
        negative = true;
        text.remove(0, 1);
    }
    const qsizetype point = text.indexOf(u'.');
    QString integer = point < 0 ? text : text.left(point);
    QString fraction = point < 0 ? QString() : text.mid(point + 1);
    while (fraction.size() < decimals)
        fraction += u'0';
    // Optional places drop their trailing zeros.
    while (fraction.size() > f.requiredDecimals && fraction.endsWith(u'0'))
        fraction.chop(1);
    if (integer == u"0" && f.minIntegerDigits == 0)
        integer.clear();
    while (integer.size() < f.minIntegerDigits)
        integer.prepend(u'0');
    if (f.thousands)
        integer = groupThousands(integer);
    QString out = f.prefix + integer;
    if (!fraction.isEmpty())
        out += u'.' + fraction;
    out += f.suffix;
    return negative ? u'-' + out : out;
}

bool isNumericType(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::Double:
    case QMetaType::Float:
    case QMetaType::Int:
    case QMetaType::LongLong:
    case QMetaType::UInt:
    case QMetaType::ULongLong:
        return true;
    default:
        return false;
    }
}

std::optional<Amount> numberOf(const QVariant &value)
{
    if (value.isNull())
        return std::nullopt;
    if (isNumericType(value))
        return Amount::fromVariant(value);
    if (value.typeId() == QMetaType::QString)
        return Amount::parse(value.toString());
    return std::nullopt;
}

QString plainText(const QVariant &value)
{
    return Recordset::variantText(value);
}

bool isVoidValue(const QVariant &value)
{
    if (value.isNull())
        return false;
    if (value.typeId() == QMetaType::Bool)
        return value.toBool();
    if (value.typeId() == QMetaType::LongLong || value.typeId() == QMetaType::Int) {
        const qint64 n = value.toLongLong();
        return n == 1 || n == -1;
    }
    const QString text = Recordset::variantText(value).trimmed().toLower();
    return text == u"1" || text == u"-1" || text == u"true";
}

bool isOne(const QVariant &value)
{
    if (value.isNull())
        return false;
    bool ok = false;
    const qint64 n = value.toLongLong(&ok);
    if (ok)
        return n == 1;
    return Recordset::variantText(value).trimmed() == u"1";
}

// An amount as exact decimals. Doubles with at most four decimals (all that
// the database keeps) are converted arithmetically; anything else goes
// through the exact text conversion.
Amount exactAmount(const QVariant &value)
{
    if (value.typeId() == QMetaType::Double) {
        const double scaled = value.toDouble() * double(Amount::Scale);
        if (std::isfinite(scaled) && std::fabs(scaled) < 1e15) {
            const double nearest = std::nearbyint(scaled);
            if (std::fabs(scaled - nearest) <= 1e-3)
                return Amount::fromUnits(std::int64_t(nearest));
        }
    }
    return Amount::fromVariant(value);
}

Qt::Alignment alignmentOf(int align)
{
    switch (align) {
    case 1: return Qt::AlignHCenter | Qt::AlignVCenter;
    case 2: return Qt::AlignRight | Qt::AlignVCenter;
    default: return Qt::AlignLeft | Qt::AlignVCenter;
    }
}
} // namespace

QString formatListValue(const QVariant &value, const QString &format)
{
    if (value.isNull())
        return {};
    if (format.trimmed().isEmpty())
        return plainText(value);
    if (isDateFormat(format)) {
        const QDate date = Recordset::variantDate(value);
        return date.isValid() ? date.toString(qtDateFormat(format)) : plainText(value);
    }
    const NumberFormat f = parseNumberFormat(format);
    if (!f.valid)
        return plainText(value);
    const std::optional<Amount> number = numberOf(value);
    return number ? formatNumber(*number, f) : plainText(value);
}

QString listTitleLine(int bills, int rows, double seconds)
{
    const double rounded = std::round(seconds * 100.0) / 100.0;
    return QStringLiteral("共计:") + QString::number(bills) + QStringLiteral("张单据,") + QString::number(rows)
        + QStringLiteral("条信息(取数时间") + QString::number(rounded, 'f', 3) + QStringLiteral("秒)");
}

QString listColumnsStatement(int billTypeId)
{
    return QStringLiteral("select * from tblFindInfoEntry where ftypeid=") + QString::number(billTypeId)
        + QStringLiteral(" order by fentryid ");
}

QString hiddenFieldsStatement(const QString &userId, int billTypeId)
{
    return QStringLiteral("select fFieldName,ftype from tblUserVisible where fUserid=") + userId
        + QStringLiteral(" and fType in (3) and fbilltypeid=") + QString::number(billTypeId);
}

QList<ListColumn> readListColumns(Connection &conn, int billTypeId, const QString &userId, bool isAdmin)
{
    QSet<QString> hidden;
    if (!isAdmin) {
        Recordset rs = conn.openRecordset(hiddenFieldsStatement(userId, billTypeId));
        for (; !rs.eof(); rs.moveNext())
            hidden.insert(rs.text(QStringLiteral("fFieldName")).trimmed().toLower());
    }

    ListColumn interId{kInterIdField, QStringLiteral("内码"), 2, {}, false, false};
    ListColumn billNo{kBillNoField, QStringLiteral("单据编号"), 0, {}, false, false};
    QList<ListColumn> others;
    Recordset rs = conn.openRecordset(listColumnsStatement(billTypeId));
    for (; !rs.eof(); rs.moveNext()) {
        ListColumn c;
        c.field = rs.text(QStringLiteral("fFieldname")).trimmed();
        c.title = rs.text(QStringLiteral("fTitleName"));
        c.align = int(rs.toInt(QStringLiteral("fAlign")));
        c.format = rs.text(QStringLiteral("fDataFormat"));
        c.merge = rs.toInt(QStringLiteral("fIsMerge")) == 1;
        c.sum = rs.toInt(QStringLiteral("fIsSum")) == 1;
        const QString key = c.field.toLower();
        if (key == kInterIdField)
            interId = c;
        else if (key == kBillNoField)
            billNo = c;
        else if (!c.field.isEmpty() && !hidden.contains(key))
            others << c;
    }
    QList<ListColumn> columns{interId, billNo};
    columns << others;
    return columns;
}

// ------------------------------------------------------------------ model

BillListModel::BillListModel(QObject *parent)
    : QAbstractTableModel(parent)
{
}

void BillListModel::setColumns(const QList<ListColumn> &columns)
{
    beginResetModel();
    m_columns = columns;
    m_cells.clear();
    m_flags.clear();
    m_totals.assign(size_t(m_columns.size()), Amount());
    m_numeric.clear();
    m_rows = 0;
    m_bills = 0;
    m_filled = false;
    endResetModel();
}

void BillListModel::clearRows()
{
    setColumns(m_columns);
}

void BillListModel::fill(Connection &conn, const QString &statement)
{
    // Read straight from the engine into the rows: a forward-only query
    // holds one row at a time, where a recordset would keep a second copy of
    // the whole result. The statement runs before the rows are dropped, so
    // one the engine refuses leaves the list as it was.
    QSqlQuery query = conn.forwardQuery(statement);

    beginResetModel();
    m_cells.clear();
    m_cells.shrink_to_fit();
    m_flags.clear();
    m_flags.shrink_to_fit();
    m_totals.assign(size_t(m_columns.size()), Amount());
    m_rows = 0;
    m_bills = 0;
    m_filled = false;

    try {
        const QSqlRecord record = query.record();
        const int columnCount = int(m_columns.size());
        std::vector<int> source(size_t(columnCount), -1);
        std::vector<int> summed;
        m_numeric.assign(size_t(columnCount), false);
        for (int c = 0; c < columnCount; ++c) {
            source[size_t(c)] = record.indexOf(m_columns[c].field);
            if (source[size_t(c)] >= 0) {
                const int type = record.field(source[size_t(c)]).metaType().id();
                m_numeric[size_t(c)] = type == QMetaType::Double || type == QMetaType::Float;
            }
            if (m_columns[c].sum && source[size_t(c)] >= 0)
                summed.push_back(c);
        }
        const int statusColumn = record.indexOf(QStringLiteral("fstatus"));
        const int voidColumn = record.indexOf(QStringLiteral("fcancellation"));
        const int redColumn = record.indexOf(QStringLiteral("frob"));
        const int idColumn = record.indexOf(kInterIdField);

        // Bill ids, to count the bills: lines of one bill follow each other,
        // so each id is noted once per run and duplicates removed at the end.
        std::vector<qint64> bills;
        bills.reserve(size_t(kMaxRows));
        QSet<QString> textBills; // ids that are not whole numbers
        qint64 previousId = 0;
        bool havePrevious = false;
        // finterid is column 0 of every list; its value is taken from there.
        const bool idIsFirstColumn = columnCount > 0 && source[0] == idColumn;
        // The statement asks for at most kMaxRows rows; the untouched part
        // of the reservation costs no memory and is given back below.
        m_cells.reserve(size_t(kMaxRows) * size_t(columnCount));
        m_flags.reserve(size_t(kMaxRows));
        while (m_rows < kMaxRows && query.next()) {
            for (int c = 0; c < columnCount; ++c) {
                const int s = source[size_t(c)];
                m_cells.push_back(s >= 0 ? query.value(s) : QVariant());
            }
            quint8 flags = 0;
            if (statusColumn >= 0 && isOne(query.value(statusColumn)))
                flags |= Audited;
            if (voidColumn >= 0 && isVoidValue(query.value(voidColumn)))
                flags |= Void;
            if (redColumn >= 0 && isOne(query.value(redColumn)))
                flags |= Red;
            m_flags.push_back(flags);
            if (idColumn >= 0) {
                const size_t rowStart = m_cells.size() - size_t(columnCount);
                const QVariant id = idIsFirstColumn ? m_cells[rowStart] : query.value(idColumn);
                bool ok = false;
                const qint64 n = id.toLongLong(&ok);
                if (ok) {
                    if (!havePrevious || n != previousId)
                        bills.push_back(n);
                    previousId = n;
                    havePrevious = true;
                } else
                    textBills.insert(id.toString());
            }
            const size_t rowStart = m_cells.size() - size_t(columnCount);
            for (int c : summed)
                m_totals[size_t(c)] += exactAmount(m_cells[rowStart + size_t(c)]);
            ++m_rows;
        }
        if (query.lastError().isValid())
            throw DbError(sqlErrorText(query.lastError()));
        m_cells.shrink_to_fit();
        m_flags.shrink_to_fit();
        std::sort(bills.begin(), bills.end());
        m_bills = int(std::unique(bills.begin(), bills.end()) - bills.begin()) + int(textBills.size());
        m_filled = true;
    } catch (...) {
        m_cells.clear();
        m_flags.clear();
        m_totals.assign(size_t(m_columns.size()), Amount());
        m_rows = 0;
        m_bills = 0;
        m_filled = false;
        endResetModel();
        throw;
    }
    endResetModel();
}

QString BillListModel::cellText(int row, int column) const
{
    if (column < 0 || column >= m_columns.size() || row < 0)
        return {};
    if (isTotalsRow(row)) {
        if (column == 0)
            return kTotalsCaption;
        if (m_columns[column].sum)
            return formatListValue(QVariant(m_totals[size_t(column)].toString()), m_columns[column].format);
        return {};
    }
    if (row >= m_rows)
        return {};
    const QVariant &value = at(row, column);
    // Exact decimals may come from the engine as text with trailing zeros
    // ("12.5000"); without a format they read as the number they are.
    if (m_columns[column].format.trimmed().isEmpty() && value.typeId() == QMetaType::QString
        && size_t(column) < m_numeric.size() && m_numeric[size_t(column)]) {
        if (const std::optional<Amount> number = Amount::parse(value.toString()))
            return number->toString();
    }
    return formatListValue(value, m_columns[column].format);
}

QString BillListModel::headerText(int column) const
{
    return column >= 0 && column < m_columns.size() ? m_columns[column].title : QString();
}

QVariant BillListModel::cellValue(int row, int column) const
{
    if (row < 0 || row >= m_rows || column < 0 || column >= m_columns.size())
        return {};
    return at(row, column);
}

QString BillListModel::interIdText(int row) const
{
    if (row < 0 || row >= m_rows || m_columns.isEmpty())
        return {};
    return Recordset::variantText(at(row, 0));
}

Amount BillListModel::total(int column) const
{
    return column >= 0 && size_t(column) < m_totals.size() ? m_totals[size_t(column)] : Amount();
}

BillListModel::RowState BillListModel::rowState(int row) const
{
    if (row < 0 || row >= m_rows)
        return {};
    const quint8 f = m_flags[size_t(row)];
    return {(f & Audited) != 0, (f & Void) != 0, (f & Red) != 0};
}

bool BillListModel::continuesMerge(int row, int column) const
{
    if (row <= 0 || row >= m_rows || column < 0 || column >= m_columns.size() || !m_columns[column].merge)
        return false;
    const QVariant &value = at(row, column);
    return !value.isNull() && value == at(row - 1, column);
}

qint64 BillListModel::approximateBytes() const
{
    qint64 bytes = qint64(m_cells.capacity() * sizeof(QVariant)) + qint64(m_flags.capacity());
    for (const QVariant &v : m_cells) {
        if (v.typeId() == QMetaType::QString)
            bytes += 16 + 2 * (v.toString().capacity() + 1); // shared block header and characters
    }
    return bytes;
}

int BillListModel::rowCount(const QModelIndex &parent) const
{
    if (parent.isValid())
        return 0;
    return m_filled ? m_rows + 1 : 0;
}

int BillListModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_columns.size());
}

QVariant BillListModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid())
        return {};
    const int row = index.row();
    const int column = index.column();
    switch (role) {
    case Qt::DisplayRole:
        if (continuesMerge(row, column))
            return QString();
        return cellText(row, column);
    case Qt::ToolTipRole:
        if (continuesMerge(row, column))
            return cellText(row, column);
        return {};
    case Qt::TextAlignmentRole:
        if (column >= 0 && column < m_columns.size())
            return QVariant::fromValue(alignmentOf(m_columns[column].align));
        return {};
    case Qt::BackgroundRole:
        if (isTotalsRow(row))
            return kTotalsBackground;
        return rowState(row).audited ? kAuditedBackground : kOpenBackground;
    case Qt::ForegroundRole: {
        if (isTotalsRow(row))
            return {};
        const RowState state = rowState(row);
        if (state.isVoid)
            return kVoidForeground;
        if (state.red)
            return kRedForeground;
        return {};
    }
    case Qt::FontRole: {
        if (isTotalsRow(row)) {
            QFont font;
            font.setBold(true);
            return font;
        }
        if (rowState(row).isVoid) {
            QFont font;
            font.setStrikeOut(true);
            return font;
        }
        return {};
    }
    default:
        return {};
    }
}

QVariant BillListModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation == Qt::Horizontal) {
        if (role == Qt::DisplayRole)
            return headerText(section);
        if (role == Qt::TextAlignmentRole)
            return QVariant::fromValue(Qt::Alignment(Qt::AlignCenter));
        return {};
    }
    if (role == Qt::DisplayRole)
        return section + 1;
    return {};
}
