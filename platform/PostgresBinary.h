#pragma once
// The binary forms in which PostgreSQL hands over whole numbers, decimals
// and dates (a result asked for in binary), read without the server writing
// them out as text and the reader parsing the text back; and their text as
// the server would write it.
#include <QtGlobal>

#include <optional>
#include <string>

namespace PostgresBinary {

// A big-endian whole number of 2, 4 or 8 bytes.
qint64 bigEndian(const char *p, int bytes);

// A numeric: digit groups of base 10000, the first at 10000^weight, a sign,
// the decimal places shown.
struct Numeric {
    int groups = 0, weight = 0, places = 0;
    quint16 sign = 0;
    const char *digits = nullptr;

    explicit Numeric(const char *p);
    // The group at 10000^power; 0 beyond those stored.
    int group(int power) const;
    bool negative() const { return sign == 0x4000; }
    bool special() const { return sign != 0 && sign != 0x4000; } // NaN, infinities
    // The value times 10^places when that is a 64-bit whole number.
    std::optional<qint64> scaled() const;
    void text(std::string &out) const;
};

// A date, days from 2000-01-01, in ISO style: the year of the proleptic
// Gregorian calendar (years before 1 as years BC), "infinity" at the ends.
void dateText(qint32 days, std::string &out);

} // namespace PostgresBinary
