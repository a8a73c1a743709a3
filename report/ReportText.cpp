#include "report/ReportText.h"

#include "report/ReportData.h"

#include <QDate>
#include <QDateTime>
#include <QStringList>

namespace report {

namespace {

TextSegment literal(const QString &text) { return TextSegment{TextSegment::Literal, text, QString()}; }

// The inside of "[...]" (without the brackets); `whole` is the reference as
// written, used when the function is unknown.
TextSegment parseReference(const QString &inside, const QString &whole)
{
    QString body = inside;
    QString format;
    const int bar = body.indexOf(u'|');
    if (bar >= 0) {
        format = body.mid(bar + 1);
        body = body.left(bar);
    }
    body = body.trimmed();
    if (!body.startsWith(u'#'))
        return TextSegment{TextSegment::Field, fieldKey(body), format};

    QString name = body.mid(1).trimmed();
    QString argument;
    const int open = name.indexOf(u'(');
    if (open >= 0) {
        if (!name.endsWith(u')'))
            return literal(whole);
        argument = name.mid(open + 1, name.size() - open - 2).trimmed();
        name = name.left(open).trimmed();
    }
    struct Function {
        const char *name;
        TextSegment::Kind kind;
        bool takesField;
    };
    static const Function functions[] = {
        {"page", TextSegment::Page, false},    {"pages", TextSegment::Pages, false},
        {"sum", TextSegment::Sum, true},       {"pagesum", TextSegment::PageSum, true},
        {"count", TextSegment::Count, false},  {"row", TextSegment::Row, false},
        {"title", TextSegment::Title, false},  {"date", TextSegment::Date, false},
    };
    const QString folded = name.toCaseFolded();
    for (const Function &f : functions) {
        if (folded != QLatin1String(f.name))
            continue;
        if (f.takesField != (open >= 0) || (f.takesField && argument.isEmpty()))
            return literal(whole);
        return TextSegment{f.kind, f.takesField ? fieldKey(argument) : QString(), format};
    }
    return literal(whole);
}

void appendLiteral(QVector<TextSegment> &segments, const QString &text)
{
    if (text.isEmpty())
        return;
    if (!segments.isEmpty() && segments.last().kind == TextSegment::Literal)
        segments.last().text += text;
    else
        segments.append(literal(text));
}

struct NumberSection {
    QString prefix;
    QString suffix;
    bool grouping = false;
    bool percent = false;
    int minInt = 0;
    int minDec = 0;
    int maxDec = 0;
};

NumberSection parseSection(const QString &pattern)
{
    NumberSection s;
    int start = -1, end = -1;
    for (int i = 0; i < pattern.size(); ++i) {
        if (pattern[i] == u'0' || pattern[i] == u'#') {
            if (start < 0)
                start = i;
            end = i;
        }
    }
    if (start < 0) {
        s.prefix = pattern;
    } else {
        if (start > 0 && pattern[start - 1] == u'.')
            --start;
        s.prefix = pattern.left(start);
        s.suffix = pattern.mid(end + 1);
        const QString area = pattern.mid(start, end - start + 1);
        const int point = area.indexOf(u'.');
        const QString intPart = point < 0 ? area : area.left(point);
        const QString decPart = point < 0 ? QString() : area.mid(point + 1);
        s.grouping = intPart.contains(u',');
        s.minInt = int(intPart.count(u'0'));
        s.minDec = int(decPart.count(u'0'));
        s.maxDec = s.minDec + int(decPart.count(u'#'));
    }
    s.percent = s.prefix.contains(u'%') || s.suffix.contains(u'%');
    s.prefix.remove(u'"');
    s.suffix.remove(u'"');
    return s;
}

// `value` is not negative.
QString formatSection(const NumberSection &s, Amount value)
{
    if (s.percent)
        value = value * 100;
    if (value.isOutOfRange())
        return {}; // nothing rather than a wrong figure
    const int places = std::min(s.maxDec, Amount::Decimals);
    QString fixed = value.toFixed(places);
    QString intDigits = fixed;
    QString decDigits;
    const int point = fixed.indexOf(u'.');
    if (point >= 0) {
        intDigits = fixed.left(point);
        decDigits = fixed.mid(point + 1);
    }
    decDigits = decDigits.leftJustified(s.maxDec, u'0');
    while (decDigits.size() > s.minDec && decDigits.endsWith(u'0'))
        decDigits.chop(1);
    while (intDigits.startsWith(u'0'))
        intDigits.remove(0, 1);
    intDigits = intDigits.rightJustified(s.minInt, u'0');
    if (s.grouping) {
        for (int i = int(intDigits.size()) - 3; i > 0; i -= 3)
            intDigits.insert(i, u',');
    }
    QString text = s.prefix + intDigits;
    if (!decDigits.isEmpty())
        text += u'.' + decDigits;
    return text + s.suffix;
}

// The number in s[at, at + n) when those are all ASCII digits, else -1.
int digitsAt(const QString &s, int at, int n)
{
    int v = 0;
    for (int i = at; i < at + n; ++i) {
        const char16_t c = s[i].unicode();
        if (c < u'0' || c > u'9')
            return -1;
        v = v * 10 + (c - u'0');
    }
    return v;
}

// The forms a database gives dates in, "yyyy-MM-dd" with an optional
// " HH:mm:ss" or "THH:mm:ss", read without a format parser. The value is
// taken as written (no time zone to look up): formatting shows the same
// fields. No value for anything else.
std::optional<QDateTime> isoDateTime(const QString &s)
{
    if ((s.size() != 10 && s.size() != 19) || s[4] != u'-' || s[7] != u'-')
        return std::nullopt;
    const QDate date(digitsAt(s, 0, 4), digitsAt(s, 5, 2), digitsAt(s, 8, 2));
    if (!date.isValid())
        return std::nullopt;
    if (s.size() == 10)
        return QDateTime(date, QTime(0, 0), Qt::UTC);
    if ((s[10] != u' ' && s[10] != u'T') || s[13] != u':' || s[16] != u':')
        return std::nullopt;
    const QTime time(digitsAt(s, 11, 2), digitsAt(s, 14, 2), digitsAt(s, 17, 2));
    if (!time.isValid())
        return std::nullopt;
    return QDateTime(date, time, Qt::UTC);
}

std::optional<QDateTime> dateFromVariant(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::QDate:
        return QDateTime(value.toDate(), QTime(0, 0), Qt::UTC);
    case QMetaType::QDateTime:
        return value.toDateTime();
    case QMetaType::QString: {
        const QString s = value.toString().trimmed();
        if (const auto dt = isoDateTime(s))
            return dt;
        static const char *const formats[] = {"yyyy-MM-dd", "yyyy-MM-dd HH:mm:ss", "yyyy-MM-ddTHH:mm:ss",
                                              "yyyy-MM-dd HH:mm:ss.zzz", "yyyy/M/d", "yyyy/M/d H:mm:ss",
                                              "yyyyMMdd"};
        for (const char *f : formats) {
            const QDateTime dt = QDateTime::fromString(s, QLatin1String(f));
            if (dt.isValid())
                return dt;
            const QDate d = QDate::fromString(s, QLatin1String(f));
            if (d.isValid())
                return QDateTime(d, QTime(0, 0));
        }
        return std::nullopt;
    }
    default:
        return std::nullopt;
    }
}

QString plainText(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::Double:
    case QMetaType::Float:
        return QString::number(value.toDouble(), 'g', 15);
    case QMetaType::QDate:
        return value.toDate().toString(QStringLiteral("yyyy-MM-dd"));
    case QMetaType::QDateTime: {
        const QDateTime dt = value.toDateTime();
        return dt.time() == QTime(0, 0) ? dt.date().toString(QStringLiteral("yyyy-MM-dd"))
                                         : dt.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"));
    }
    default:
        return value.toString();
    }
}

} // namespace

QVector<TextSegment> parseItemText(const QString &text)
{
    QVector<TextSegment> segments;
    QString pending;
    int i = 0;
    while (i < text.size()) {
        const QChar c = text[i];
        if (c != u'[') {
            pending += c;
            ++i;
            continue;
        }
        if (i + 1 < text.size() && text[i + 1] == u'[') {
            pending += u'[';
            i += 2;
            continue;
        }
        const int close = text.indexOf(u']', i + 1);
        if (close < 0) {
            pending += text.mid(i);
            break;
        }
        const QString whole = text.mid(i, close - i + 1);
        const TextSegment segment = parseReference(text.mid(i + 1, close - i - 1), whole);
        if (segment.kind == TextSegment::Literal) {
            pending += segment.text;
        } else {
            appendLiteral(segments, pending);
            pending.clear();
            segments.append(segment);
        }
        i = close + 1;
    }
    appendLiteral(segments, pending);
    return segments;
}

bool isNumberFormat(const QString &format)
{
    return format.contains(u'0') || format.contains(u'#') || format.trimmed() == amountInWordsFormat();
}

QString amountInWords(Amount value)
{
    if (value.isOutOfRange())
        return QString();
    static const QString digits = QStringLiteral("零壹贰叁肆伍陆柒捌玖");
    static const QString places[] = {QString(), QStringLiteral("拾"), QStringLiteral("佰"), QStringLiteral("仟")};
    // Groups of four digits from the yuan upwards.
    static const QString groups[] = {QString(), QStringLiteral("万"), QStringLiteral("亿"), QStringLiteral("万亿")};
    constexpr std::int64_t UnitsPerFen = Amount::Scale / 100;
    const std::int64_t units = value.units() < 0 ? -value.units() : value.units();
    const std::int64_t fenTotal = units / UnitsPerFen + (units % UnitsPerFen >= UnitsPerFen / 2 ? 1 : 0);
    std::int64_t yuan = fenTotal / 100;
    const int jiao = int(fenTotal / 10 % 10);
    const int fen = int(fenTotal % 10);
    if (fenTotal == 0)
        return QStringLiteral("零元整");

    int groupValues[4] = {0, 0, 0, 0};
    for (int g = 0; g < 4; ++g) {
        groupValues[g] = int(yuan % 10000);
        yuan /= 10000;
    }
    QString text;
    bool zeroPending = false; // places skipped since the last digit written
    for (int g = 3; g >= 0; --g) {
        int group = groupValues[g];
        if (group == 0) {
            zeroPending = !text.isEmpty();
            continue;
        }
        for (int place = 3; place >= 0; --place) {
            int divisor = 1;
            for (int i = 0; i < place; ++i)
                divisor *= 10;
            const int digit = group / divisor % 10;
            if (digit == 0) {
                zeroPending = zeroPending || !text.isEmpty();
                continue;
            }
            if (zeroPending)
                text += digits[0];
            zeroPending = false;
            text += digits[digit] + places[place];
        }
        text += groups[g];
    }
    const bool hasYuan = !text.isEmpty();
    if (hasYuan)
        text += u'元';
    if (jiao == 0 && fen == 0) {
        text += u'整';
    } else {
        if (jiao > 0)
            text += digits[jiao] + u'角';
        if (fen > 0)
            text += (jiao == 0 && hasYuan ? QString(digits[0]) : QString()) + digits[fen] + u'分';
    }
    return value.isNegative() ? u'负' + text : text;
}

bool isDateFormat(const QString &format)
{
    if (isNumberFormat(format))
        return false;
    for (const QChar c : format) {
        if (c == u'y' || c == u'M' || c == u'd' || c == u'H' || c == u'h' || c == u'm' || c == u's')
            return true;
    }
    return false;
}

QString formatAmount(Amount value, const QString &format)
{
    if (format.isEmpty())
        return value.toString();
    if (format.trimmed() == amountInWordsFormat())
        return amountInWords(value);
    const QStringList sections = format.split(u';');
    if (sections.size() >= 3 && value.isZero())
        return formatSection(parseSection(sections[2]), value);
    if (sections.size() >= 2 && value.isNegative())
        return formatSection(parseSection(sections[1]), value.abs());
    const QString text = formatSection(parseSection(sections[0]), value.abs());
    if (!value.isNegative())
        return text;
    // No sign on a value that rounds to zero at the places shown.
    const NumberSection first = parseSection(sections[0]);
    const Amount shown = first.percent ? value * 100 : value;
    const std::optional<Amount> rounded = Amount::parse(shown.abs().toFixed(std::min(first.maxDec, Amount::Decimals)));
    if (!rounded || rounded->isZero())
        return text;
    return u'-' + text;
}

QString formatValue(const QVariant &value, const QString &format)
{
    if (!value.isValid() || value.isNull())
        return QString();
    if (format.isEmpty())
        return plainText(value);
    if (isNumberFormat(format)) {
        switch (value.typeId()) {
        case QMetaType::Double:
        case QMetaType::Float:
        case QMetaType::Int:
        case QMetaType::UInt:
        case QMetaType::LongLong:
        case QMetaType::ULongLong:
            return formatAmount(Amount::fromVariant(value), format);
        case QMetaType::QString: {
            const auto amount = Amount::parse(value.toString());
            return amount ? formatAmount(*amount, format) : value.toString();
        }
        default:
            return plainText(value);
        }
    }
    if (isDateFormat(format)) {
        const auto dt = dateFromVariant(value);
        return dt ? dt->toString(format) : plainText(value);
    }
    return plainText(value);
}

} // namespace report
