#pragma once
// Fixed-point money amount with four decimals. Amounts are parsed from and
// printed to text exactly, so sums of values like 33.33 never drift the way
// binary floating point does.
#include <QString>
#include <QVariant>
#include <compare>
#include <cstdint>
#include <optional>

class Amount {
public:
    static constexpr int Decimals = 4;
    static constexpr std::int64_t Scale = 10000;

    constexpr Amount() = default;
    static constexpr Amount fromUnits(std::int64_t units) { Amount a; a.m_units = units; return a; }
    static Amount fromInt(std::int64_t whole) { return fromUnits(whole * Scale); }
    // Rounds half away from zero to four decimals.
    static Amount fromDouble(double value);
    // Accepts an optional sign, digits, one decimal point, and thousands
    // separators (","); blanks around the text are ignored. More than four
    // decimals are rounded half away from zero. Empty or malformed text gives
    // no value.
    static std::optional<Amount> parse(const QString &text);
    // Database value: null and empty read as 0; strings are parsed exactly,
    // doubles rounded to four decimals.
    static Amount fromVariant(const QVariant &value);

    std::int64_t units() const { return m_units; }
    double toDouble() const { return double(m_units) / Scale; }
    bool isZero() const { return m_units == 0; }
    bool isNegative() const { return m_units < 0; }

    // Shortest exact text: "12.5", "-3", "0.0001". Suitable inside SQL.
    QString toString() const;
    // Text with exactly `decimals` places (rounded half away from zero).
    QString toFixed(int decimals) const;

    Amount abs() const { return fromUnits(m_units < 0 ? -m_units : m_units); }
    Amount operator-() const { return fromUnits(-m_units); }
    Amount operator+(Amount o) const { return fromUnits(m_units + o.m_units); }
    Amount operator-(Amount o) const { return fromUnits(m_units - o.m_units); }
    Amount &operator+=(Amount o) { m_units += o.m_units; return *this; }
    Amount &operator-=(Amount o) { m_units -= o.m_units; return *this; }
    auto operator<=>(const Amount &) const = default;

private:
    std::int64_t m_units = 0;
};
