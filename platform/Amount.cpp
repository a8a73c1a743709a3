#include "platform/Amount.h"

#include <cmath>

Amount Amount::fromDouble(double value)
{
    // Scaling and rounding is exact enough for 0.1 + 0.2 (0.30000000000000004)
    // to become 0.3 and 33.33 to stay 33.33, except close to a half unit or
    // beyond 2^53 units, where the decimal text of the double decides.
    const double scaled = value * double(Scale);
    if (std::isfinite(scaled) && std::fabs(scaled) < 9.0e15) {
        const double nearest = std::round(scaled);
        if (std::fabs(std::fabs(scaled - nearest) - 0.5) > 1e-6)
            return fromUnits(std::int64_t(nearest));
    }
    return parse(QString::number(value, 'f', 10)).value_or(Amount());
}

std::optional<Amount> Amount::parse(const QString &input)
{
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
    for (; i < text.size(); ++i) {
        const QChar c = text[i];
        if (c.isDigit() && c.unicode() < 128) {
            anyDigit = true;
            const int d = c.unicode() - '0';
            if (!inFraction) {
                if (whole > (INT64_MAX / Scale - 9) / 10)
                    return std::nullopt; // out of range
                whole = whole * 10 + d;
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
    std::int64_t units = whole * Scale + fraction + (roundUp ? 1 : 0);
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
    case QMetaType::ULongLong:
        return fromInt(value.toLongLong());
    case QMetaType::Bool:
        return fromInt(value.toBool() ? 1 : 0);
    default:
        return parse(value.toString()).value_or(Amount());
    }
}

QString Amount::toString() const
{
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
    decimals = std::clamp(decimals, 0, Decimals);
    std::int64_t divisor = 1;
    for (int k = decimals; k < Decimals; ++k)
        divisor *= 10;
    std::int64_t magnitude = m_units < 0 ? -m_units : m_units;
    std::int64_t rounded = (magnitude + divisor / 2) / divisor; // half away from zero
    std::int64_t scale = 1;
    for (int k = 0; k < decimals; ++k)
        scale *= 10;
    QString s = QString::number(rounded / scale);
    if (decimals > 0)
        s += u'.' + QString::number(rounded % scale).rightJustified(decimals, u'0');
    if (m_units < 0 && rounded != 0)
        s.prepend(u'-');
    return s;
}
