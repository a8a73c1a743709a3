#include "editor/EntryTotalsModel.h"

namespace {
bool isSummed(int gridColumn)
{
    return gridColumn >= ColAllAmount && gridColumn <= ColThisAmount;
}
} // namespace

EntryTotalsModel::EntryTotalsModel(EntryGridModel *entries, QObject *parent)
    : QAbstractTableModel(parent), m_entries(entries)
{
    connect(entries, &QAbstractItemModel::modelReset, this, &EntryTotalsModel::entriesChanged);
    connect(entries, &QAbstractItemModel::rowsInserted, this, &EntryTotalsModel::entriesChanged);
    connect(entries, &QAbstractItemModel::rowsRemoved, this, &EntryTotalsModel::entriesChanged);
    connect(entries, &QAbstractItemModel::dataChanged, this,
            [this](const QModelIndex &, const QModelIndex &, const QList<int> &roles) {
                if (roles.isEmpty() || roles.contains(Qt::DisplayRole) || roles.contains(Qt::EditRole))
                    entriesChanged();
                else if (roles.contains(Qt::ForegroundRole)) // red or blue
                    emit dataChanged(index(0, 0), index(0, kEntryColumnCount - 1), {Qt::ForegroundRole});
            });
}

void EntryTotalsModel::entriesChanged()
{
    m_stale = true;
    emit dataChanged(index(0, 0), index(0, kEntryColumnCount - 1), {Qt::DisplayRole});
}

void EntryTotalsModel::recompute() const
{
    m_totals.fill(Amount());
    for (const EntryRow &row : m_entries->rows())
        for (int c = ColAllAmount; c <= ColThisAmount; ++c)
            if (const std::optional<Amount> a = row.amount(c))
                m_totals[size_t(c - 1)] += *a;
    m_stale = false;
}

Amount EntryTotalsModel::total(int gridColumn) const
{
    if (!isSummed(gridColumn))
        return Amount();
    if (m_stale)
        recompute();
    return m_totals[size_t(gridColumn - 1)];
}

int EntryTotalsModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : 1;
}

int EntryTotalsModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : kEntryColumnCount;
}

QVariant EntryTotalsModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid())
        return {};
    const int column = index.column() + 1;
    switch (role) {
    case Qt::DisplayRole:
        return isSummed(column) ? EntryGridModel::displayAmount(total(column).toString()) : QString();
    case Qt::TextAlignmentRole:
        return QVariant(Qt::AlignRight | Qt::AlignVCenter);
    case Qt::ForegroundRole:
        return m_entries->foreground();
    default:
        return {};
    }
}

QVariant EntryTotalsModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (role == Qt::DisplayRole && orientation == Qt::Vertical && section == 0)
        return QStringLiteral("合计");
    return m_entries->headerData(section, orientation, role);
}
