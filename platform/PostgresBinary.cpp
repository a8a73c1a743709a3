#include "platform/PostgresBinary.h"

#include <charconv>
#include <limits>

namespace PostgresBinary {

qint64 bigEndian(const char *p, int bytes)
{
    quint64 v = 0;
    for (int i = 0; i < bytes; ++i)
        v = (v << 8) | uchar(p[i]);
    const int unused = 64 - 8 * bytes; // sign-extended from the top byte
    return unused ? qint64(v << unused) >> unused : qint64(v);
}

Numeric::Numeric(const char *p)
    : groups(int(bigEndian(p, 2))), weight(int(bigEndian(p + 2, 2))), places(int(bigEndian(p + 6, 2))), sign(quint16(bigEndian(p + 4, 2))),
      digits(p + 8)
{
}

int Numeric::group(int power) const
{
    const int index = weight - power;
    return index >= 0 && index < groups ? int(bigEndian(digits + 2 * index, 2)) : 0;
}

std::optional<qint64> Numeric::scaled() const
{
    if (special() || groups > 9 || places > 18)
        return std::nullopt;
    __int128 value = 0;
    for (int i = 0; i < groups; ++i)
        value = value * 10000 + bigEndian(digits + 2 * i, 2);
    if (value != 0) {
        // value holds the groups down to 10000^(weight - groups + 1).
        int shift = places + 4 * (weight - groups + 1);
        for (; shift > 0; --shift)
            if ((value *= 10) > std::numeric_limits<qint64>::max())
                return std::nullopt;
        for (; shift < 0; ++shift)
            value /= 10; // zeros past the places shown
    }
    if (value > std::numeric_limits<qint64>::max())
        return std::nullopt;
    return qint64(negative() ? -value : value);
}

void Numeric::text(std::string &out) const
{
    out.clear();
    if (special()) {
        out = sign == 0xC000 ? "NaN" : sign == 0xD000 ? "Infinity" : "-Infinity";
        return;
    }
    if (negative())
        out += '-';
    char buffer[8];
    if (weight < 0)
        out += '0';
    for (int power = weight; power >= 0; --power) {
        const int g = group(power);
        if (power == weight) {
            out.append(buffer, std::to_chars(buffer, buffer + sizeof buffer, g).ptr);
        } else {
            for (int d = 1000; d > 0; d /= 10)
                out += char('0' + g / d % 10);
        }
    }
    if (places > 0)
        out += '.';
    for (int written = 0, power = -1; written < places; --power)
        for (int d = 1000; d > 0 && written < places; d /= 10, ++written)
            out += char('0' + group(power) / d % 10);
}

void dateText(qint32 days, std::string &out)
{
    out.clear();
    if (days == std::numeric_limits<qint32>::max() || days == std::numeric_limits<qint32>::min()) {
        out = days > 0 ? "infinity" : "-infinity";
        return;
    }
    // The day's parts by the civil calendar's 400-year eras, counted from
    // 0000-03-01, without a QDate per row.
    const qint64 z = qint64(days) + 10957 + 719468;
    const qint64 era = (z >= 0 ? z : z - 146096) / 146097;
    const qint64 dayOfEra = z - era * 146097;
    const qint64 yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const qint64 dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const qint64 shiftedMonth = (5 * dayOfYear + 2) / 153; // from March
    const int day = int(dayOfYear - (153 * shiftedMonth + 2) / 5 + 1);
    const int month = int(shiftedMonth < 10 ? shiftedMonth + 3 : shiftedMonth - 9);
    const qint64 year = yearOfEra + era * 400 + (month <= 2 ? 1 : 0);
    const qint64 shown = year > 0 ? year : 1 - year;
    char buffer[40];
    char *p = buffer;
    for (qint64 d = 1000; d > shown && d > 1; d /= 10)
        *p++ = '0';
    p = std::to_chars(p, buffer + 24, shown).ptr;
    *p++ = '-';
    *p++ = char('0' + month / 10);
    *p++ = char('0' + month % 10);
    *p++ = '-';
    *p++ = char('0' + day / 10);
    *p++ = char('0' + day % 10);
    out.assign(buffer, p);
    if (year <= 0)
        out += " BC";
}

} // namespace PostgresBinary
