#include "report/ReportFont.h"

#include <QFontDatabase>
#include <QPaintDevice>
#include <QTextLayout>
#include <QTextOption>

namespace report {

namespace {
constexpr int MeasureDpi = 1200;
constexpr double TenthsPerMeasurePixel = TenthsPerInch / MeasureDpi;
}

double itemFontSize(const ReportTemplate &tpl, const ReportItem &item)
{
    return item.font.size > 0 ? item.font.size : (tpl.fontSize > 0 ? tpl.fontSize : 9);
}

QString printableFamily(const QString &family)
{
    QString stand;
    if (family.startsWith(QLatin1String("Noto Sans CJK")) || family.startsWith(QLatin1String("Noto Sans Mono CJK")))
        stand = QStringLiteral("WenQuanYi Micro Hei");
    else if (family.startsWith(QLatin1String("Noto Serif CJK")))
        stand = QStringLiteral("AR PL UMing CN");
    else
        return family;
    static const QStringList installed = QFontDatabase::families();
    return installed.contains(stand) ? stand : family;
}

QFont itemFont(const ReportTemplate &tpl, const ReportItem &item)
{
    QString family = item.font.family.isEmpty() ? tpl.fontFamily : item.font.family;
    if (family.isEmpty())
        family = QString::fromLatin1(defaultFontFamily());
    QFont font(printableFamily(family));
    font.setPointSizeF(itemFontSize(tpl, item));
    font.setBold(item.font.bold);
    font.setItalic(item.font.italic);
    font.setUnderline(item.font.underline);
    font.setHintingPreference(QFont::PreferNoHinting);
    font.setKerning(false);
    // Glyphs straight from the font's character map: a PDF can map every
    // glyph back to its character (text search and copy), and CJK and Latin
    // text need no shaping.
    font.setStyleStrategy(QFont::PreferNoShaping);
    return font;
}

QFont fontForTenths(const QFont &font, double pointSize, const QPaintDevice *device)
{
    // Qt turns points into pixels with the device's resolution; the painter
    // then scales tenths to pixels by dpi / 254. Undo the first so that only
    // the painter's scale applies.
    QFont f(font);
    const int dpi = device ? device->logicalDpiY() : 96;
    f.setPointSizeF(pointSize * TenthsPerInch / dpi);
    return f;
}

TextMeasurer::TextMeasurer() : m_device(1, 1, QImage::Format_ARGB32_Premultiplied)
{
    const int dotsPerMeter = qRound(MeasureDpi / 0.0254);
    m_device.setDotsPerMeterX(dotsPerMeter);
    m_device.setDotsPerMeterY(dotsPerMeter);
}

double TextMeasurer::lineHeight(const QFont &font) const
{
    return QFontMetricsF(font, &m_device).lineSpacing() * TenthsPerMeasurePixel;
}

double TextMeasurer::textWidth(const QString &text, const QFont &font) const
{
    return QFontMetricsF(font, &m_device).horizontalAdvance(text) * TenthsPerMeasurePixel;
}

QStringList TextMeasurer::wrap(const QString &text, const QFont &font, double width) const
{
    QStringList lines;
    const double widthPixels = std::max(1.0, width / TenthsPerMeasurePixel);
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    const QStringList paragraphs = QString(text).replace(QStringLiteral("\r\n"), QStringLiteral("\n")).split(u'\n');
    for (const QString &paragraph : paragraphs) {
        if (paragraph.isEmpty()) {
            lines.append(QString());
            continue;
        }
        QTextLayout layout(paragraph, font, &m_device);
        layout.setTextOption(option);
        layout.beginLayout();
        for (;;) {
            QTextLine line = layout.createLine();
            if (!line.isValid())
                break;
            line.setLineWidth(widthPixels);
            QString piece = paragraph.mid(line.textStart(), line.textLength());
            while (!piece.isEmpty() && piece.back().isSpace())
                piece.chop(1);
            lines.append(piece);
        }
        layout.endLayout();
    }
    return lines;
}

} // namespace report
