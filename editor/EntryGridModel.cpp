#include "editor/EntryGridModel.h"

#include <QLineEdit>
#include <QRegularExpressionValidator>

namespace {
bool isAmountColumn(int gridColumn)
{
    return gridColumn >= ColAllAmount && gridColumn <= ColThisAmount;
}

// Two decimals unless the amount carries more.
QString shownAmount(Amount a)
{
    return a.units() % (Amount::Scale / 100) == 0 ? a.toFixed(2) : a.toString();
}

const char16_t *const kCaptions[kEntryColumnCount] = {
    u"入库单号", u"入库日期", u"入库金额", u"已开票金额", u"应开总额", u"本次开票金额", u"备用1", u"备用2", u"备用3", u"备用4",
};
} // namespace

EntryGridModel::EntryGridModel(QObject *parent)
    : QAbstractTableModel(parent)
{
}

void EntryGridModel::setRows(std::vector<EntryRow> rows)
{
    beginResetModel();
    m_rows = std::move(rows);
    endResetModel();
}

void EntryGridModel::appendRows(const std::vector<EntryRow> &rows)
{
    if (rows.empty())
        return;
    const int first = int(m_rows.size());
    beginInsertRows({}, first, first + int(rows.size()) - 1);
    m_rows.insert(m_rows.end(), rows.begin(), rows.end());
    endInsertRows();
}

void EntryGridModel::clear()
{
    setRows({});
}

QString EntryGridModel::cellText(int gridRow, int gridColumn) const
{
    if (gridRow < 1 || gridRow > gridRowCount())
        return {};
    return m_rows[size_t(gridRow - 1)].cell(gridColumn);
}

void EntryGridModel::setCellText(int gridRow, int gridColumn, const QString &text)
{
    if (gridRow < 1 || gridRow > gridRowCount() || gridColumn < 1 || gridColumn > kEntryColumnCount)
        return;
    m_rows[size_t(gridRow - 1)].setCell(gridColumn, text);
    const QModelIndex at = index(gridRow - 1, gridColumn - 1);
    emit dataChanged(at, at);
}

QString EntryGridModel::rowTag(int gridRow) const
{
    if (gridRow < 1 || gridRow > gridRowCount())
        return {};
    return m_rows[size_t(gridRow - 1)].stockId();
}

void EntryGridModel::setLocked(bool locked)
{
    m_locked = locked;
}

void EntryGridModel::setForeground(const QColor &colour)
{
    m_foreground = colour;
    if (!m_rows.empty())
        emit dataChanged(index(0, 0), index(int(m_rows.size()) - 1, kEntryColumnCount - 1), {Qt::ForegroundRole});
}

QString EntryGridModel::displayAmount(const QString &text)
{
    const std::optional<Amount> a = text.trimmed().isEmpty() ? std::nullopt : numericAmount(text);
    return a ? shownAmount(*a) : text;
}

int EntryGridModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_rows.size());
}

int EntryGridModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : kEntryColumnCount;
}

QVariant EntryGridModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= int(m_rows.size()))
        return {};
    const EntryRow &row = m_rows[size_t(index.row())];
    const int column = index.column() + 1;
    switch (role) {
    case Qt::DisplayRole:
        if (!isAmountColumn(column))
            return row.cell(column);
        if (const std::optional<Amount> held = row.heldAmount(column))
            return shownAmount(*held);
        return displayAmount(row.cell(column));
    case Qt::EditRole:
        return row.cell(column);
    case Qt::UserRole:
        return column == ColStockBillNo ? QVariant(row.stockId()) : QVariant();
    case Qt::TextAlignmentRole:
        return isAmountColumn(column) ? QVariant(Qt::AlignRight | Qt::AlignVCenter) : QVariant(Qt::AlignLeft | Qt::AlignVCenter);
    case Qt::ForegroundRole:
        return m_foreground;
    default:
        return {};
    }
}

bool EntryGridModel::setData(const QModelIndex &index, const QVariant &value, int role)
{
    if (role != Qt::EditRole || !(flags(index) & Qt::ItemIsEditable))
        return false;
    const QString text = value.toString().trimmed();
    EntryRow &row = m_rows[size_t(index.row())];
    const int column = index.column() + 1;
    if (row.cell(column) == text)
        return true;
    row.setCell(column, text);
    emit dataChanged(index, index);
    emit edited(index.row() + 1, column);
    return true;
}

Qt::ItemFlags EntryGridModel::flags(const QModelIndex &index) const
{
    if (!index.isValid())
        return Qt::NoItemFlags;
    Qt::ItemFlags f = Qt::ItemIsSelectable | Qt::ItemIsEnabled;
    if (!m_locked && index.column() + 1 == ColThisAmount)
        f |= Qt::ItemIsEditable;
    return f;
}

QVariant EntryGridModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (role == Qt::DisplayRole) {
        if (orientation == Qt::Horizontal && section >= 0 && section < kEntryColumnCount)
            return QString::fromUtf16(kCaptions[section]);
        if (orientation == Qt::Vertical)
            return section + 1;
    }
    return QAbstractTableModel::headerData(section, orientation, role);
}

QWidget *AmountDelegate::createEditor(QWidget *parent, const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    Q_UNUSED(option);
    Q_UNUSED(index);
    auto *edit = new QLineEdit(parent);
    edit->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    edit->setFrame(false);
    static const QRegularExpression pattern(QStringLiteral(R"(^\s*[+-]?(\d{1,3}(,\d{3})+|\d*)(\.\d{0,4})?\s*$)"));
    edit->setValidator(new QRegularExpressionValidator(pattern, edit));
    return edit;
}
