#include "platform/VbConvert.h"

#include <cmath>
#include <limits>

namespace {
const QString kTypeMismatch = QStringLiteral("类型不匹配");
const QString kOverflow = QStringLiteral("溢出");

bool parseNumber(const QString &input, double *out)
{
    QString text = input.trimmed();
    if (text.isEmpty())
        return false;
    // Thousands separators are accepted between digits of the whole part.
    const qsizetype point = text.indexOf(u'.');
    const QString whole = point < 0 ? text : text.left(point);
    if (whole.contains(u',')) {
        if (whole.startsWith(u',') || whole.endsWith(u','))
            return false;
        text = QString(whole).remove(u',') + (point < 0 ? QString() : text.mid(point));
    }
    bool ok = false;
    const double value = text.toDouble(&ok);
    if (!ok || !std::isfinite(value))
        return false;
    *out = value;
    return true;
}

template <typename T>
T toInteger(const QString &text)
{
    double value = 0;
    if (!parseNumber(text, &value))
        throw ConversionError(kTypeMismatch);
    const double rounded = std::nearbyint(value); // half to even under the default rounding mode
    if (rounded < double(std::numeric_limits<T>::min()) || rounded > double(std::numeric_limits<T>::max()))
        throw ConversionError(kOverflow);
    return T(rounded);
}
} // namespace

std::int16_t VbConvert::toInt16(const QString &text) { return toInteger<std::int16_t>(text); }
std::int32_t VbConvert::toInt32(const QString &text) { return toInteger<std::int32_t>(text); }

double VbConvert::toDouble(const QString &text)
{
    double value = 0;
    if (!parseNumber(text, &value))
        throw ConversionError(kTypeMismatch);
    return value;
}

bool VbConvert::toBool(const QString &text)
{
    const QString t = text.trimmed();
    if (t.compare(u"true", Qt::CaseInsensitive) == 0)
        return true;
    if (t.compare(u"false", Qt::CaseInsensitive) == 0)
        return false;
    double value = 0;
    if (!parseNumber(t, &value))
        throw ConversionError(kTypeMismatch);
    return value != 0;
}

bool VbConvert::isNumeric(const QString &text)
{
    double value = 0;
    return parseNumber(text, &value);
}
