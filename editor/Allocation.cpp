#include "editor/Allocation.h"

#include "editor/EntryGridModel.h"
#include "platform/Prompt.h"

#include <QDate>

#include <algorithm>
#include <numeric>

namespace {
// Whether a row may take an amount of the invoice's direction: something is
// open on it in that direction, and its total does not point the other way.
bool takesDirection(const EntryRow &row, bool red)
{
    const Amount open = row.amount(ColOpenAmount).value_or(Amount());
    const Amount all = row.amount(ColAllAmount).value_or(Amount());
    return red ? open < Amount() && all <= Amount() : open > Amount() && all >= Amount();
}

// Oldest first: by the stock bill's date, then its number; rows whose date
// does not read come last; equal rows keep the grid's order.
std::vector<size_t> fillOrder(const std::vector<EntryRow> &rows)
{
    std::vector<size_t> order(rows.size());
    std::iota(order.begin(), order.end(), size_t(0));
    std::vector<QDate> dates;
    dates.reserve(rows.size());
    for (const EntryRow &row : rows)
        dates.push_back(QDate::fromString(row.cell(ColStockDate).trimmed().left(10), Qt::ISODate));
    std::stable_sort(order.begin(), order.end(), [&](size_t a, size_t b) {
        if (dates[a].isValid() != dates[b].isValid())
            return dates[a].isValid();
        if (dates[a] != dates[b])
            return dates[a] < dates[b];
        return rows[a].stockBillNo() < rows[b].stockBillNo();
    });
    return order;
}

QString shown(Amount a)
{
    return EntryGridModel::displayAmount(a.toString());
}
} // namespace

Allocation allocate(Amount total, bool red, const std::vector<EntryRow> &rows)
{
    Allocation result;
    result.amounts.assign(rows.size(), Amount());
    Amount remaining = total;
    for (size_t i : fillOrder(rows)) {
        if (!takesDirection(rows[i], red))
            continue;
        const Amount open = rows[i].amount(ColOpenAmount).value_or(Amount()).abs();
        const Amount take = std::min(remaining, open);
        remaining -= take;
        result.shortfall += open - take;
        result.amounts[i] = red ? -take : take;
        result.allocated += result.amounts[i];
    }
    result.leftover = remaining;
    return result;
}

AllocationOutcome allocateTotal(const QString &totalText, bool red, const std::vector<EntryRow> &rows)
{
    AllocationOutcome out;
    out.icon = Prompt::Exclamation;
    const QString text = totalText.trimmed();
    const std::optional<Amount> total = text.isEmpty() ? std::nullopt : numericAmount(text);
    if (!total) {
        out.message = QStringLiteral("金额必须录入数字！");
        return out;
    }
    if (!total->isEnterable()) {
        out.message = QStringLiteral("金额超出允许的范围！");
        return out;
    }
    if (*total <= Amount()) {
        out.message = QStringLiteral("分配金额必须大于零！");
        return out;
    }
    if (std::none_of(rows.begin(), rows.end(), [red](const EntryRow &row) { return takesDirection(row, red); })) {
        out.message = red ? QStringLiteral("没有可分配金额的红字入库单！") : QStringLiteral("没有可分配金额的蓝字入库单！");
        return out;
    }

    Allocation a = allocate(*total, red, rows);
    out.invoiceTotal = red ? -*total : *total;
    // The grid's bounds hold for every filled cell; should a row carry cells
    // the check refuses, the clerk hears of it and the grid stays as it was.
    std::vector<EntryRow> filled = rows;
    for (size_t i = 0; i < filled.size(); ++i)
        filled[i].setCell(ColThisAmount, a.amounts[i].isZero() ? QString() : a.amounts[i].toString());
    if (const std::optional<EntryRefusal> refusal = checkEntries({}, out.invoiceTotal.toString(), filled)) {
        out.message = refusal->message;
        return out;
    }

    out.icon = Prompt::Information;
    out.message = QStringLiteral("已分配金额 ") + shown(a.allocated);
    if (!a.leftover.isZero()) {
        out.icon = Prompt::Exclamation;
        out.message += QStringLiteral("，尚余 ") + shown(a.leftover) + QStringLiteral(" 没有入库单可分配。");
    } else if (!a.shortfall.isZero()) {
        out.message += QStringLiteral("，入库单尚有 ") + shown(a.shortfall) + QStringLiteral(" 未分配开票。");
    } else {
        out.message += QStringLiteral("，正好分配完毕。");
    }
    out.allocation = std::move(a);
    return out;
}
