#pragma once
// Fonts of text items, and text measurement on the reference device that the
// layout uses for every output.
#include "report/ReportModel.h"

#include <QFont>
#include <QFontMetricsF>
#include <QImage>
#include <QStringList>

namespace report {

// The face a template's font family is drawn with. Noto's CJK faces draw a
// character and its Kangxi radical form with one glyph (示 and ⽰, 页 and
// ⻚), and a PDF maps that glyph back to the radical: text copied or searched
// in the PDF would not be what was printed. Their Sans faces are drawn with
// WenQuanYi Micro Hei and their Serif faces with AR PL UMing, which keep the
// two apart, where the machine has them; other families stay as they are.
QString printableFamily(const QString &family);

// The item's font at its size in points, hinting off so that glyph advances
// scale linearly with the resolution.
QFont itemFont(const ReportTemplate &tpl, const ReportItem &item);
double itemFontSize(const ReportTemplate &tpl, const ReportItem &item);

// The same font sized so that, on `device` and with the painter scaled from
// tenths of a millimetre to the device's pixels, it prints at its size.
QFont fontForTenths(const QFont &font, double pointSize, const QPaintDevice *device);

// Measures text at a fixed 1200 dpi, whatever the output device is.
class TextMeasurer {
public:
    TextMeasurer();
    // Line spacing in tenths.
    double lineHeight(const QFont &font) const;
    // Breaks text into lines no wider than `width` tenths: at line feeds,
    // between words, and inside a word that is wider than the whole line.
    QStringList wrap(const QString &text, const QFont &font, double width) const;
    double textWidth(const QString &text, const QFont &font) const;

private:
    QImage m_device;
};

} // namespace report
