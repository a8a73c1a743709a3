#include "list/BillListModel.h"

#include "platform/Connection.h"
#include "platform/Recordset.h"

#include <QFont>
#include <QSet>

#include <algorithm>
#include <cmath>
#include <cstring>

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
    dropRows();
    m_numeric.clear();
    endResetModel();
}

void BillListModel::dropRows()
{
    m_values.assign(size_t(m_columns.size()), ListColumnValues());
    m_flags.clear();
    m_flags.shrink_to_fit();
    m_totals.assign(size_t(m_columns.size()), Amount());
    m_rows = 0;
    m_bills = 0;
    m_filled = false;
}

QVariant BillListModel::at(int row, int column) const
{
    const ListColumnValues &values = m_values[size_t(column)];
    switch (values.kind(row)) {
    case ListColumnValues::Null:
        return {};
    case ListColumnValues::Integer:
        return values.integer(row);
    case ListColumnValues::Real:
        return values.real(row);
    case ListColumnValues::Text:
        break;
    }
    const QByteArrayView bytes = values.bytes(row);
    return QString::fromUtf8(bytes.data(), bytes.size());
}

void BillListModel::clearRows()
{
    setColumns(m_columns);
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
    const QVariant value = at(row, column);
    // Exact decimals may come from the engine as text with trailing zeros
    // ("12.5000"); without a format they read as the number they are.
    const bool numeric = size_t(column) < m_numeric.size() && m_numeric[size_t(column)];
    if (m_columns[column].format.trimmed().isEmpty() && value.typeId() == QMetaType::QString && numeric) {
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
    const ListColumnValues &ids = m_values[0];
    if (ids.kind(row) == ListColumnValues::Integer)
        return QString::number(ids.integer(row));
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
    const ListColumnValues &values = m_values[size_t(column)];
    const ListColumnValues::Kind kind = values.kind(row);
    return kind != ListColumnValues::Null && kind == values.kind(row - 1) && values.bytes(row) == values.bytes(row - 1);
}

qint64 BillListModel::approximateBytes() const
{
    qint64 bytes = qint64(m_flags.capacity());
    for (const ListColumnValues &values : m_values)
        bytes += values.byteSize();
    return bytes;
}

// ------------------------------------------------------- column values

void ListColumnValues::shrink()
{
    m_kinds.shrink_to_fit();
    m_ends.shrink_to_fit();
    m_bytes.shrink_to_fit();
}

void ListColumnValues::reserve(size_t rows)
{
    m_kinds.reserve(rows);
    m_ends.reserve(rows);
}

void ListColumnValues::addBytes(const void *data, size_t size)
{
    const char *from = static_cast<const char *>(data);
    m_bytes.insert(m_bytes.end(), from, from + size);
    m_ends.push_back(quint32(m_bytes.size()));
}

void ListColumnValues::addNull()
{
    m_kinds.push_back(Null);
    m_ends.push_back(quint32(m_bytes.size()));
}

void ListColumnValues::addInteger(qint64 value)
{
    m_kinds.push_back(Integer);
    addBytes(&value, sizeof value);
}

void ListColumnValues::addReal(double value)
{
    m_kinds.push_back(Real);
    addBytes(&value, sizeof value);
}

void ListColumnValues::addText(const char *utf8, size_t size)
{
    m_kinds.push_back(Text);
    addBytes(utf8, size);
}

QByteArrayView ListColumnValues::bytes(int row) const
{
    const size_t begin = row > 0 ? m_ends[size_t(row) - 1] : 0;
    return QByteArrayView(m_bytes.data() + begin, qsizetype(m_ends[size_t(row)] - begin));
}

qint64 ListColumnValues::integer(int row) const
{
    qint64 value = 0;
    std::memcpy(&value, bytes(row).data(), sizeof value);
    return value;
}

double ListColumnValues::real(int row) const
{
    double value = 0;
    std::memcpy(&value, bytes(row).data(), sizeof value);
    return value;
}

qint64 ListColumnValues::byteSize() const
{
    return qint64(m_kinds.capacity() + m_ends.capacity() * sizeof(quint32) + m_bytes.capacity());
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
