#include "platform/Amount.h"

#include <algorithm>
#include <cmath>
#include <limits>

Amount Amount::fromInt(std::int64_t whole)
{
    std::int64_t units;
    if (__builtin_mul_overflow(whole, Scale, &units))
        return outOfRange();
    return fromUnits(units);
}

Amount Amount::fromDouble(double value)
{
    // Scaling and rounding is exact enough for 0.1 + 0.2 (0.30000000000000004)
    // to become 0.3 and 33.33 to stay 33.33, except close to a half unit or
    // beyond 2^53 units, where the decimal text of the double decides.
    const double scaled = value * double(Scale);
    if (!std::isfinite(scaled) || std::fabs(scaled) >= 9.3e18)
        return outOfRange();
    if (std::fabs(scaled) < 9.0e15) {
        const double nearest = std::round(scaled);
        if (std::fabs(std::fabs(scaled - nearest) - 0.5) > 1e-6)
            return fromUnits(std::int64_t(nearest));
    }
    // The text of a finite double is always a number: only its size can fail.
    return parse(QString::number(value, 'f', 10)).value_or(outOfRange());
}

std::optional<Amount> Amount::parse(const QString &input, bool *outOfRange)
{
    if (outOfRange)
        *outOfRange = false;
    const QString text = input.trimmed();
    if (text.isEmpty())
        return std::nullopt;
    int i = 0;
    bool negative = false;
    if (text[i] == u'+' || text[i] == u'-') {
        negative = text[i] == u'-';
        ++i;
    }
    std::int64_t whole = 0;
    std::int64_t fraction = 0;
    int fractionDigits = 0;
    bool roundUp = false;
    bool anyDigit = false;
    bool inFraction = false;
    bool tooLarge = false; // the text is read to its end: it may still be malformed
    for (; i < text.size(); ++i) {
        const QChar c = text[i];
        if (c.isDigit() && c.unicode() < 128) {
            anyDigit = true;
            const int d = c.unicode() - '0';
            if (!inFraction) {
                if (__builtin_mul_overflow(whole, 10, &whole) || __builtin_add_overflow(whole, d, &whole))
                    tooLarge = true;
            } else if (fractionDigits < Decimals) {
                fraction = fraction * 10 + d;
                ++fractionDigits;
            } else if (fractionDigits == Decimals) {
                roundUp = d >= 5;
                ++fractionDigits;
            }
        } else if (c == u'.' && !inFraction) {
            inFraction = true;
        } else if (c == u',' && !inFraction && anyDigit) {
            continue;
        } else {
            return std::nullopt;
        }
    }
    if (!anyDigit)
        return std::nullopt;
    for (int k = std::min(fractionDigits, Decimals); k < Decimals; ++k)
        fraction *= 10;
    std::int64_t units = 0;
    if (tooLarge || __builtin_mul_overflow(whole, Scale, &units)
        || __builtin_add_overflow(units, fraction + (roundUp ? 1 : 0), &units)) {
        if (outOfRange)
            *outOfRange = true;
        return std::nullopt;
    }
    return fromUnits(negative ? -units : units);
}

Amount Amount::fromVariant(const QVariant &value)
{
    if (value.isNull() || !value.isValid())
        return Amount();
    switch (value.typeId()) {
    case QMetaType::Double:
    case QMetaType::Float:
        return fromDouble(value.toDouble());
    case QMetaType::Int:
    case QMetaType::LongLong:
    case QMetaType::UInt:
        return fromInt(value.toLongLong());
    case QMetaType::ULongLong:
        return value.toULongLong() > quint64(INT64_MAX) ? outOfRange() : fromInt(value.toLongLong());
    case QMetaType::Bool:
        return fromInt(value.toBool() ? 1 : 0);
    default: {
        bool beyond = false;
        const std::optional<Amount> parsed = parse(value.toString(), &beyond);
        return parsed ? *parsed : beyond ? outOfRange() : Amount();
    }
    }
}

Amount Amount::fromDecimalText(QByteArrayView t)
{
    // An optional minus, 1 to 14 whole digits, a point and up to four
    // decimals: read here. Such a number is always within the range.
    auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
    qsizetype i = !t.isEmpty() && t[0] == '-' ? 1 : 0;
    const qsizetype digitsFrom = i;
    std::int64_t whole = 0;
    while (i < t.size() && i - digitsFrom < 14 && isDigit(t[i]))
        whole = whole * 10 + (t[i++] - '0');
    std::int64_t fraction = 0;
    int places = 0;
    if (i > digitsFrom && i < t.size() && t[i] == '.') {
        for (++i; i < t.size() && places < Decimals && isDigit(t[i]); ++places)
            fraction = fraction * 10 + (t[i++] - '0');
    }
    if (i > digitsFrom && i == t.size()) {
        for (int k = places; k < Decimals; ++k)
            fraction *= 10;
        const std::int64_t units = whole * Scale + fraction;
        return fromUnits(digitsFrom ? -units : units);
    }
    // Anything else as the exact parser reads it; failing that, a number
    // with an exponent through the double.
    const QString text = QString::fromUtf8(t);
    bool beyond = false;
    if (const std::optional<Amount> parsed = parse(text, &beyond))
        return *parsed;
    if (beyond)
        return outOfRange();
    const QString plain = text.trimmed();
    const bool exponent = plain.contains(u'e', Qt::CaseInsensitive)
        && std::all_of(plain.begin(), plain.end(), [](QChar c) { return (c >= u'0' && c <= u'9') || QStringView(u"+-.eE").contains(c); });
    bool isDouble = false;
    const double value = exponent ? plain.toDouble(&isDouble) : 0.0;
    return isDouble ? fromDouble(value) : Amount();
}

double Amount::toDouble() const
{
    return isOutOfRange() ? std::numeric_limits<double>::quiet_NaN() : double(m_units) / Scale;
}

Amount Amount::operator*(std::int64_t factor) const
{
    std::int64_t product;
    const bool overflowed = __builtin_mul_overflow(m_units, factor, &product);
    return result(*this, overflowed, product);
}

Amount Amount::times(Amount o, int decimals) const
{
    if (isOutOfRange() || o.isOutOfRange())
        return outOfRange();
    // The exact product has eight decimals; round it half away from zero to
    // the asked places, then scale back to four.
    decimals = std::clamp(decimals, 0, Decimals);
    __int128 raw = __int128(m_units) * o.m_units;
    __int128 divisor = Scale;
    for (int k = decimals; k < Decimals; ++k)
        divisor *= 10;
    const bool negative = raw < 0;
    if (negative)
        raw = -raw;
    __int128 rounded = (raw + divisor / 2) / divisor * (divisor / Scale);
    if (negative)
        rounded = -rounded;
    if (rounded > MaxUnits || rounded < -MaxUnits)
        return outOfRange();
    return fromUnits(std::int64_t(rounded));
}

QString Amount::toString() const
{
    if (isOutOfRange())
        return QString();
    // Digits written backwards into a small buffer: this runs for every
    // amount cell of a loaded bill.
    char buffer[32];
    char *end = buffer + sizeof buffer;
    char *p = end;
    std::uint64_t magnitude = m_units < 0 ? 0 - std::uint64_t(m_units) : std::uint64_t(m_units);
    std::uint64_t fraction = magnitude % Scale;
    std::uint64_t whole = magnitude / Scale;
    int places = Decimals;
    while (places > 0 && fraction % 10 == 0) {
        fraction /= 10;
        --places;
    }
    for (int k = 0; k < places; ++k) {
        *--p = char('0' + fraction % 10);
        fraction /= 10;
    }
    if (places > 0)
        *--p = '.';
    do {
        *--p = char('0' + whole % 10);
        whole /= 10;
    } while (whole != 0);
    if (m_units < 0)
        *--p = '-';
    return QString::fromLatin1(p, end - p);
}

QString Amount::toFixed(int decimals) const
{
    if (isOutOfRange())
        return QString();
    decimals = std::clamp(decimals, 0, Decimals);
    std::int64_t divisor = 1;
    for (int k = decimals; k < Decimals; ++k)
        divisor *= 10;
    // Unsigned: INT64_MAX units plus half a divisor must not wrap.
    const std::uint64_t magnitude = m_units < 0 ? 0 - std::uint64_t(m_units) : std::uint64_t(m_units);
    const std::uint64_t rounded = (magnitude + std::uint64_t(divisor) / 2) / std::uint64_t(divisor); // half away from zero
    std::uint64_t scale = 1;
    for (int k = 0; k < decimals; ++k)
        scale *= 10;
    QString s = QString::number(rounded / scale);
    if (decimals > 0)
        s += u'.' + QString::number(rounded % scale).rightJustified(decimals, u'0');
    if (m_units < 0 && rounded != 0)
        s.prepend(u'-');
    return s;
}
