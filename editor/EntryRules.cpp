#include "editor/EntryRules.h"

#include "platform/VbConvert.h"

#include <algorithm>
#include <cmath>

namespace {
// Column 5 of a stock bill row: total minus the amount already invoiced.
Amount openAmount(Amount allAmount, Amount invoiced)
{
    // A difference beyond what an amount holds has no text, and an empty
    // amount cell counts as 0.
    const Amount open = allAmount - invoiced;
    return open.isOutOfRange() ? Amount() : open;
}
} // namespace

QString EntryRow::stockId() const
{
    return m_stockIsNumber ? QString::number(m_stockNumber) : m_stockText;
}

void EntryRow::setStockId(const QString &id)
{
    bool ok = false;
    const qint64 number = id.toLongLong(&ok);
    if (ok && QString::number(number) == id) {
        setStockId(number);
        return;
    }
    m_stockIsNumber = false;
    m_stockText = id;
}

void EntryRow::setStockId(qint64 id)
{
    m_stockIsNumber = true;
    m_stockNumber = id;
    m_stockText = QString();
}

QString EntryRow::cell(int column) const
{
    if (column == ColStockBillNo)
        return m_billNoLength < 0 ? m_billNo : stockBillNo().toString();
    if (column == ColStockDate)
        return m_date;
    if (const std::optional<Amount> held = heldAmount(column))
        return held->toString();
    const qsizetype at = column - kFirstAmount;
    return column <= kEntryColumnCount && at >= 0 && at < m_texts.size() ? m_texts[at] : QString();
}

void EntryRow::setCell(int column, const QString &text)
{
    if (column < 1 || column > kEntryColumnCount)
        return;
    if (column == ColStockBillNo) {
        m_billNo = text;
        m_billNoLength = -1;
        return;
    }
    if (column == ColStockDate) {
        m_date = text;
        return;
    }
    if (column <= kLastAmount) {
        // An amount's own text is kept as the amount.
        const std::optional<Amount> a = Amount::parse(text);
        if (a && a->toString() == text) {
            setAmount(column, *a);
            return;
        }
        m_held &= ~(1u << (column - kFirstAmount));
    }
    const qsizetype at = column - kFirstAmount;
    if (at >= m_texts.size()) {
        if (text.isEmpty())
            return; // unset cells already read as ""
        m_texts.resize(at + 1);
    }
    m_texts[at] = text;
}

void EntryRow::setStockBillNo(const QString &texts, qsizetype from, qsizetype length)
{
    if (length <= 0) {
        setCell(ColStockBillNo, QString());
        return;
    }
    m_billNo = texts;
    m_billNoFrom = from;
    m_billNoLength = length;
}

QStringView EntryRow::stockBillNo() const
{
    return m_billNoLength < 0 ? QStringView(m_billNo) : QStringView(m_billNo).sliced(m_billNoFrom, m_billNoLength);
}

void EntryRow::setAmount(int column, Amount amount)
{
    if (column < kFirstAmount || column > kLastAmount)
        return;
    const int bit = column - kFirstAmount;
    if (bit < m_texts.size())
        m_texts[bit] = QString();
    if (amount.isOutOfRange()) {
        m_held &= ~(1u << bit);
        return;
    }
    m_amounts[bit] = amount;
    m_held |= 1u << bit;
}

std::optional<Amount> EntryRow::heldAmount(int column) const
{
    if (column < kFirstAmount || column > kLastAmount || !(m_held >> (column - kFirstAmount) & 1))
        return std::nullopt;
    return m_amounts[column - kFirstAmount];
}

std::optional<Amount> EntryRow::amount(int column) const
{
    if (const std::optional<Amount> held = heldAmount(column))
        return held;
    return cellAmount(cell(column));
}

EntryRow EntryRow::fromStockBill(const QString &stockId, const QString &billNo, const QString &date, Amount allAmount,
                                 Amount invoiced)
{
    EntryRow row;
    row.setStockId(stockId);
    row.setCell(ColStockBillNo, billNo);
    row.setCell(ColStockDate, date);
    row.setAmount(ColAllAmount, allAmount);
    row.setAmount(ColInvoiced, invoiced);
    row.setAmount(ColOpenAmount, openAmount(allAmount, invoiced));
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

namespace {
Amount cellOrZero(const EntryRow &row, int column)
{
    return row.amount(column).value_or(Amount());
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
        // A held amount is its text's number; only other texts are read.
        std::optional<Amount> amount = row.heldAmount(ColThisAmount);
        if (amount && !amount->isEnterable())
            amount = Amount::outOfRange();
        if (!amount) {
            const QString amountText = row.cell(ColThisAmount);
            amount = amountText.trimmed().isEmpty() ? Amount() : enteredAmount(amountText);
        }
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
