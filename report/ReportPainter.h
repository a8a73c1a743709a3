#pragma once
// Painting of laid-out pages. Screen preview, printer, PDF and page images all
// go through PagePainter, so they show the same thing.
#include "report/ReportLayout.h"
#include "report/ReportPainterGrid.h"

#include <QHash>
#include <QImage>
#include <QPageLayout>
#include <QPen>

class QPainter;
class QPaintDevice;
class QPagedPaintDevice;
class QPrinter;

namespace report {

// The paper of the template with no margins: the painting places everything
// itself, measured from the paper's corner.
QPageLayout pageLayoutFor(const PageSettings &page);

// The pen of a line or a rectangle's outline: colour, width and style.
QPen itemLinePen(const ReportItem &item);

// Maps tenths of a millimetre to the device's pixels.
void scaleToTenths(QPainter &painter, const QPaintDevice *device);

class PagePainter {
public:
    PagePainter(const ReportLayout &layout, const QPaintDevice *device);
    // The painter must already be scaled with scaleToTenths().
    void paint(QPainter &painter, int page);

private:
    void paintBand(QPainter &painter, const PlacedBand &band, GridLines &grid);
    void paintText(QPainter &painter, const ReportItem &item, const PlacedItem &placed, int key);
    const QFont &fontFor(const ReportItem &item, int key);
    const FramePen &framePenFor(const ReportItem &item, int key);

    const ReportLayout &m_layout;
    const QPaintDevice *m_device;
    QHash<int, QFont> m_fonts;
    QHash<int, QImage> m_images;
    QHash<int, FramePen> m_framePens;
};

// The pages (from 0) a printer asks for: those of its page range (from and
// to count from 1; a range beyond the report is cut to it), or all pages.
QList<int> requestedPages(const QPrinter &printer, int pageCount);
// Paints the requested pages onto a printer (or print preview); returns the
// number of pages painted, 0 when none was asked for or the painter could
// not start.
int printLayout(const ReportLayout &layout, QPrinter *printer);
// Writes a PDF; fonts are embedded. `resolution` in dots per inch.
bool writePdf(const ReportLayout &layout, const QString &path, const QString &title, QString *error = nullptr,
              int resolution = 1200);
// One page as a picture on white.
QImage renderPageImage(const ReportLayout &layout, int page, int dpi);

} // namespace report
