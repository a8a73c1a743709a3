#pragma once
// Text-to-value conversions with the strictness of the settings that the host
// writes: a value that does not convert is an error, not a silent zero.
#include <QString>

#include <cstdint>
#include <stdexcept>

class ConversionError : public std::runtime_error {
public:
    explicit ConversionError(const QString &text) : std::runtime_error(text.toStdString()), m_text(text) {}
    const QString &text() const { return m_text; }
private:
    QString m_text;
};

namespace VbConvert {
// Decimal text (blanks around it allowed, decimals rounded half to even) to a
// 16-bit integer. Non-numeric text throws "类型不匹配", out of range "溢出".
std::int16_t toInt16(const QString &text);
std::int32_t toInt32(const QString &text);
double toDouble(const QString &text);
// "true"/"false" in any case, or a number (0 = false).
bool toBool(const QString &text);
// True when the text, trimmed, is a number (sign, decimals, thousands separators).
bool isNumeric(const QString &text);
}
