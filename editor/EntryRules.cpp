#include "editor/EntryRules.h"

#include "platform/VbConvert.h"

#include <algorithm>
#include <cmath>

const QString &EntryRow::cell(int column) const
{
    static const QString none;
    if (column < 1 || column > cells.size())
        return none;
    return cells[column - 1];
}

void EntryRow::setCell(int column, const QString &text)
{
    if (column < 1 || column > kEntryColumnCount)
        return;
    if (column > cells.size()) {
        if (text.isEmpty())
            return; // unset cells already read as ""
        cells.resize(column);
    }
    cells[column - 1] = text;
}

EntryRow EntryRow::fromStockBill(const QString &stockId, const QString &billNo, const QString &date, Amount allAmount,
                                 Amount invoiced)
{
    EntryRow row;
    row.stockId = stockId;
    row.cells = {billNo, date, allAmount.toString(), invoiced.toString(), openAmountText(allAmount, invoiced)};
    return row;
}

std::optional<Amount> numericAmount(const QString &text)
{
    if (std::optional<Amount> exact = Amount::parse(text))
        return exact;
    // Forms the exact parser does not take ("1e3", "+.5e1") but the numeric
    // test does: go through the double, within what an amount can hold.
    if (!VbConvert::isNumeric(text))
        return std::nullopt;
    const double value = VbConvert::toDouble(text);
    if (!std::isfinite(value) || std::fabs(value) >= 1e14)
        return std::nullopt;
    return Amount::fromDouble(value);
}

std::optional<Amount> cellAmount(const QString &text)
{
    if (text.trimmed().isEmpty())
        return Amount();
    return numericAmount(text);
}

QString openAmountText(Amount allAmount, Amount invoiced)
{
    // The difference goes through its text and back, so the cell holds
    // exactly what the text shows.
    const QString text = (allAmount - invoiced).toString();
    return Amount::parse(text).value_or(Amount()).toString();
}

namespace {
Amount cellOrZero(const EntryRow &row, int column)
{
    return cellAmount(row.cell(column)).value_or(Amount());
}

// A typed amount as the save check reads it: no value when the text is not a
// number; out of range when it is one beyond what may be entered.
std::optional<Amount> enteredAmount(const QString &text)
{
    if (const std::optional<Amount> a = numericAmount(text))
        return a->isEnterable() ? *a : Amount::outOfRange();
    if (VbConvert::isNumeric(text))
        return Amount::outOfRange();
    return std::nullopt;
}

const QString kOutOfRange = QStringLiteral("超出允许的范围！");
} // namespace

std::optional<EntryRefusal> checkEntries(const std::vector<HeaderLabel> &labels, const QString &amountText,
                                         const std::vector<EntryRow> &rows)
{
    for (const HeaderLabel &label : labels) {
        if (label.required && label.text.trimmed().isEmpty())
            return EntryRefusal{label.caption + QStringLiteral("不能为空"), false};
    }

    const QString total = amountText.trimmed();
    if (total.isEmpty())
        return EntryRefusal{QStringLiteral("请录入金额！"), true};
    const std::optional<Amount> totalAmount = enteredAmount(total);
    if (!totalAmount)
        return EntryRefusal{QStringLiteral("金额必须录入数字！"), true};
    if (totalAmount->isOutOfRange())
        return EntryRefusal{QStringLiteral("金额") + kOutOfRange, true};

    Amount sum;
    for (size_t i = 0; i < rows.size(); ++i) {
        const EntryRow &row = rows[i];
        const QString rowText = QString::number(i + 1);
        const QString &amountText = row.cell(ColThisAmount);
        const std::optional<Amount> amount = amountText.trimmed().isEmpty() ? Amount() : enteredAmount(amountText);
        if (!amount)
            return EntryRefusal{QStringLiteral("第") + rowText + QStringLiteral("行本次开票金额必须录入数字！"), false};
        if (amount->isOutOfRange())
            return EntryRefusal{QStringLiteral("第") + rowText + QStringLiteral("行本次开票金额") + kOutOfRange, false};
        const Amount open = cellOrZero(row, ColOpenAmount);
        const Amount all = cellOrZero(row, ColAllAmount);
        if (amount->abs() > open.abs())
            return EntryRefusal{QStringLiteral("第") + rowText + QStringLiteral("行本次开票金额不能超出应开总额！"), false};
        if ((*amount > Amount() && all < Amount()) || (*amount < Amount() && all > Amount()))
            return EntryRefusal{QStringLiteral("第") + rowText + QStringLiteral("行开票金额与总金额必须方向一致！"), false};
        sum += *amount;
    }
    // Each row is within the range, but thousands of them may not sum so.
    if (!sum.isEnterable())
        return EntryRefusal{QStringLiteral("明细开票金额") + kOutOfRange, false};

    if (sum.abs() > totalAmount->abs()) {
        if (sum > Amount())
            return EntryRefusal{QStringLiteral("明细开票金额不能大于发票总额！"), false};
        return EntryRefusal{QStringLiteral("明细开票金额不能小于发票总额！"), false};
    }
    return std::nullopt;
}

std::optional<int> frozenEntryColumns(const QString &answer)
{
    const QString text = answer.trimmed();
    bool ok = false;
    const int count = text.toInt(&ok);
    if (!ok || count < 0 || count >= ColThisAmount)
        return std::nullopt;
    return count;
}
