#pragma once
// The report template: page settings, bands and the items inside them.
// Every length is an integer number of tenths of a millimetre ("tenths"), so a
// template means the same on screen, on paper and in a PDF, and two templates
// can be compared exactly.
#include <QByteArray>
#include <QRect>
#include <QString>
#include <QVector>

namespace report {

// Tenths of a millimetre per millimetre and per inch.
constexpr int TenthsPerMm = 10;
constexpr double TenthsPerInch = 254.0;
// Points (1/72 inch) to tenths of a millimetre.
constexpr double TenthsPerPoint = TenthsPerInch / 72.0;

inline const char *defaultFontFamily() { return "Noto Sans CJK SC"; }

enum class Orientation { Portrait, Landscape };

struct Margins {
    int left = 100;
    int top = 100;
    int right = 100;
    int bottom = 100;
    bool operator==(const Margins &) const = default;
};

struct PageSettings {
    // A name for the paper ("A4", "A5", "B5", "Letter", or anything else for
    // a custom size). Width and height are the paper's portrait dimensions.
    QString paper = QStringLiteral("A4");
    int width = 2100;
    int height = 2970;
    Orientation orientation = Orientation::Portrait;
    Margins margins;

    // The sheet as it is printed: width and height swapped in landscape.
    int pageWidth() const { return orientation == Orientation::Landscape ? height : width; }
    int pageHeight() const { return orientation == Orientation::Landscape ? width : height; }
    // The area inside the margins, in page coordinates.
    QRect contentRect() const
    {
        return QRect(margins.left, margins.top, pageWidth() - margins.left - margins.right,
                     pageHeight() - margins.top - margins.bottom);
    }
    bool operator==(const PageSettings &) const = default;
};

struct FontSpec {
    QString family;        // empty: the template's default family
    double size = 0;       // points; 0: the template's default size
    bool bold = false;
    bool italic = false;
    bool underline = false;
    bool operator==(const FontSpec &) const = default;
};

struct Frame {
    bool left = false;
    bool top = false;
    bool right = false;
    bool bottom = false;
    int width = 2; // line width in tenths
    bool any() const { return left || top || right || bottom; }
    static Frame box(int width = 2) { return Frame{true, true, true, true, width}; }
    bool operator==(const Frame &) const = default;
};

enum class HAlign { Left, Center, Right };
enum class VAlign { Top, Center, Bottom };

enum class ItemKind { Text, Line, Rect, Image };

// How lines and rectangle outlines are drawn.
enum class LineStyle { Solid, Dash, Dot };

struct ReportItem {
    ItemKind kind = ItemKind::Text;
    QString name;
    // Position inside the band and size. A line runs from the top-left corner
    // to the bottom-right corner of this box (height 0: horizontal, width 0:
    // vertical).
    QRect geometry;

    // Text items: static text with embedded references such as "[fname]",
    // "[#Page]", "[#Pages]" or "[#Sum(fAmount)]"; "[[" writes a "[".
    QString text;
    // Format applied to every value the text refers to: "#,##0.00",
    // "0.####", "yyyy-MM-dd", ... (empty: values as they are).
    QString format;
    FontSpec font;
    HAlign align = HAlign::Left;
    VAlign valign = VAlign::Center;
    Frame frame;
    bool wordWrap = false;
    // The item, and with it its band, grows downwards when the text needs
    // more room than the item has. Implies word wrap.
    bool canGrow = false;

    // Pen colour of text, line and rectangle; fill of rectangles and the
    // background of text items (empty: none). Colours are "#rrggbb".
    QString color = QStringLiteral("#000000");
    QString fillColor;
    int lineWidth = 2; // lines and rectangles, tenths
    LineStyle lineStyle = LineStyle::Solid; // lines and rectangles

    // Image items: the PNG file's bytes.
    QByteArray png;
    bool keepAspect = true;

    bool operator==(const ReportItem &) const = default;
};

enum class BandKind { ReportHeader, PageHeader, DetailHeader, Detail, Summary, PageFooter };
constexpr int BandKindCount = 6;

struct Band {
    BandKind kind = BandKind::Detail;
    int height = 0; // a band of height 0 prints nothing
    QVector<ReportItem> items;
    bool operator==(const Band &) const = default;
};

struct ReportTemplate {
    QString title;
    PageSettings page;
    QString fontFamily = QString::fromLatin1(defaultFontFamily());
    double fontSize = 9; // points
    // One band of every kind, in BandKind order.
    QVector<Band> bands;

    ReportTemplate();
    Band &band(BandKind kind) { return bands[int(kind)]; }
    const Band &band(BandKind kind) const { return bands[int(kind)]; }
    bool operator==(const ReportTemplate &) const = default;
};

// Names used in the file and shown in the designer.
// Grows every band (of those switched on) to hold its items and moves an item that lies above its
// band's top down to it: what lies outside a band is never printed, so an
// item dragged past the edge would vanish from the print.
void keepItemsInBands(ReportTemplate &tpl);

QString bandKindKey(BandKind kind);      // "reportHeader", ...
QString bandKindCaption(BandKind kind);  // "报表头", ...
QString itemKindKey(ItemKind kind);      // "text", "line", "rect", "image"
QString lineStyleKey(LineStyle style);   // "solid", "dash", "dot"

// Standard paper sizes in tenths (portrait); false for an unknown name.
bool standardPaperSize(const QString &name, int *width, int *height);
QStringList standardPaperNames();

} // namespace report
