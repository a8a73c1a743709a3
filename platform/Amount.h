#pragma once
// Fixed-point money amount with four decimals. Amounts are parsed from and
// printed to text exactly, so sums of values like 33.33 never drift the way
// binary floating point does.
//
// Arithmetic never wraps around: a result beyond what an amount holds (or an
// operand that already was) gives the out-of-range amount, which stays so
// through every further operation, as a NaN does. isOutOfRange() tells it;
// it prints as empty text and converts to a NaN double, so that it is never
// shown or stored as if it were a number.
#include <QByteArrayView>
#include <QString>
#include <QVariant>
#include <compare>
#include <cstdint>
#include <optional>

class Amount {
public:
    static constexpr int Decimals = 4;
    static constexpr std::int64_t Scale = 10000;
    // The largest magnitude in units: INT64_MIN is kept as the out-of-range
    // marker, so negation and abs of any amount in range stay in range.
    static constexpr std::int64_t MaxUnits = INT64_MAX;
    // The largest magnitude a clerk may enter, 99,999,999,999.9999. Up to it
    // the double that SQLite keeps for a numeric column is within 2e-5 of the
    // decimal value, well inside half a unit, so it reads back as the same
    // amount; PostgreSQL's numeric(19,4) holds it exactly.
    static constexpr std::int64_t MaxEnteredUnits = 999'999'999'999'999;

    constexpr Amount() = default;
    // INT64_MIN units is the out-of-range amount.
    static constexpr Amount fromUnits(std::int64_t units) { Amount a; a.m_units = units; return a; }
    static constexpr Amount outOfRange() { return fromUnits(OutOfRangeUnits); }
    static Amount fromInt(std::int64_t whole);
    // Rounds half away from zero to four decimals. Infinities, NaN and
    // values beyond the range give the out-of-range amount.
    static Amount fromDouble(double value);
    // Accepts an optional sign, digits, one decimal point, and thousands
    // separators (","); blanks around the text are ignored. More than four
    // decimals are rounded half away from zero. Empty or malformed text gives
    // no value, and so does a number beyond the range; `outOfRange`, when
    // given, tells the latter (true) from the former (false).
    static std::optional<Amount> parse(const QString &text, bool *outOfRange = nullptr);
    // Database value: null and empty read as 0; strings are parsed exactly,
    // doubles rounded to four decimals. A number beyond the range gives the
    // out-of-range amount, text that is no number 0.
    static Amount fromVariant(const QVariant &value);
    // A number as an engine hands it over in text (UTF-8), read as
    // fromVariant reads a text value; plain decimal text, what an engine
    // writes for a numeric column, without making a QString. A number in
    // exponent form (what SQLite writes for a large or tiny real) is read
    // through the double, as a driver hands a real over.
    static Amount fromDecimalText(QByteArrayView text);

    std::int64_t units() const { return m_units; }
    double toDouble() const;
    bool isZero() const { return m_units == 0; }
    bool isNegative() const { return m_units < 0 && !isOutOfRange(); }
    bool isOutOfRange() const { return m_units == OutOfRangeUnits; }
    // Within what a clerk may enter (and so what both engines store exactly).
    bool isEnterable() const { return !isOutOfRange() && (m_units < 0 ? -m_units : m_units) <= MaxEnteredUnits; }

    // Shortest exact text: "12.5", "-3", "0.0001". Suitable inside SQL.
    // Empty for the out-of-range amount.
    QString toString() const;
    // Text with exactly `decimals` places (rounded half away from zero).
    // Empty for the out-of-range amount.
    QString toFixed(int decimals) const;

    Amount abs() const { return m_units < 0 ? -*this : *this; }
    Amount operator-() const { return isOutOfRange() ? *this : fromUnits(-m_units); }
    Amount operator+(Amount o) const
    {
        std::int64_t sum;
        const bool overflowed = __builtin_add_overflow(m_units, o.m_units, &sum);
        return result(o, overflowed, sum);
    }
    Amount operator-(Amount o) const
    {
        std::int64_t difference;
        const bool overflowed = __builtin_sub_overflow(m_units, o.m_units, &difference);
        return result(o, overflowed, difference);
    }
    Amount &operator+=(Amount o) { return *this = *this + o; }
    Amount &operator-=(Amount o) { return *this = *this - o; }
    // Times a whole number.
    Amount operator*(std::int64_t factor) const;
    // The product of two amounts rounded half away from zero to `decimals`
    // places (0 to 4).
    Amount times(Amount o, int decimals = Decimals) const;
    // The out-of-range amount orders below every other.
    auto operator<=>(const Amount &) const = default;

private:
    static constexpr std::int64_t OutOfRangeUnits = INT64_MIN;
    // The result of an operation on *this and `operand` whose units are
    // `units` unless it overflowed; out of range when either operand was.
    Amount result(Amount operand, bool overflowed, std::int64_t units) const
    {
        if (overflowed || isOutOfRange() || operand.isOutOfRange())
            return outOfRange();
        return fromUnits(units); // INT64_MIN itself is out of range too
    }

    std::int64_t m_units = 0;
};
