#include "report/ReportPainter.h"

#include "report/ReportFont.h"

#include <QCoreApplication>
#include <QPainter>
#include <QPdfWriter>
#include <QPrinter>

#include <algorithm>

namespace report {

namespace {

int itemKey(BandKind kind, int item) { return int(kind) << 24 | item; }

Qt::Alignment alignmentOf(const ReportItem &item)
{
    Qt::Alignment a;
    switch (item.align) {
    case HAlign::Left: a = Qt::AlignLeft; break;
    case HAlign::Center: a = Qt::AlignHCenter; break;
    case HAlign::Right: a = Qt::AlignRight; break;
    }
    switch (item.valign) {
    case VAlign::Top: a |= Qt::AlignTop; break;
    case VAlign::Center: a |= Qt::AlignVCenter; break;
    case VAlign::Bottom: a |= Qt::AlignBottom; break;
    }
    return a;
}

QPen penOf(const QString &color, int width)
{
    return reportPen(QColor(color.isEmpty() ? QStringLiteral("#000000") : color), width);
}

} // namespace

QPen itemLinePen(const ReportItem &item)
{
    QPen pen = penOf(item.color, item.lineWidth);
    // Dash lengths are in pen widths; these keep dashes and dots the same
    // length on paper whatever the line's width.
    const double w = std::max(1, item.lineWidth);
    switch (item.lineStyle) {
    case LineStyle::Solid:
        break;
    case LineStyle::Dash:
        pen.setCapStyle(Qt::FlatCap);
        pen.setDashPattern({30.0 / w, 15.0 / w});
        break;
    case LineStyle::Dot:
        pen.setCapStyle(Qt::FlatCap);
        pen.setDashPattern({1.0, std::max(w, 10.0) / w});
        break;
    }
    return pen;
}

namespace {

// The frame drawn side by side, inside a band that is clipped.
void paintFrame(QPainter &painter, const FramePen &pen, const Frame &f, const QRectF &r)
{
    if (!f.any() || pen.width <= 0)
        return;
    painter.setPen(reportPen(QColor::fromRgba(pen.color), pen.width, Qt::PenStyle(pen.style)));
    if (f.top)
        painter.drawLine(r.topLeft(), r.topRight());
    if (f.bottom)
        painter.drawLine(r.bottomLeft(), r.bottomRight());
    if (f.left)
        painter.drawLine(r.topLeft(), r.bottomLeft());
    if (f.right)
        painter.drawLine(r.topRight(), r.bottomRight());
}

} // namespace

QPageLayout pageLayoutFor(const PageSettings &page)
{
    const int w = page.pageWidth();
    const int h = page.pageHeight();
    const QSizeF portrait(std::min(w, h) / double(TenthsPerMm), std::max(w, h) / double(TenthsPerMm));
    const QPageSize size(portrait, QPageSize::Millimeter, page.paper, QPageSize::ExactMatch);
    return QPageLayout(size, w > h ? QPageLayout::Landscape : QPageLayout::Portrait, QMarginsF(0, 0, 0, 0),
                       QPageLayout::Millimeter);
}

void scaleToTenths(QPainter &painter, const QPaintDevice *device)
{
    painter.resetTransform();
    painter.scale(device->logicalDpiX() / TenthsPerInch, device->logicalDpiY() / TenthsPerInch);
}

PagePainter::PagePainter(const ReportLayout &layout, const QPaintDevice *device) : m_layout(layout), m_device(device)
{
}

const QFont &PagePainter::fontFor(const ReportItem &item, int key)
{
    auto it = m_fonts.find(key);
    if (it == m_fonts.end()) {
        const QFont font = itemFont(m_layout.tpl, item);
        it = m_fonts.insert(key, fontForTenths(font, itemFontSize(m_layout.tpl, item), m_device));
    }
    return *it;
}

const FramePen &PagePainter::framePenFor(const ReportItem &item, int key)
{
    auto it = m_framePens.find(key);
    if (it == m_framePens.end())
        it = m_framePens.insert(key, framePenOf(item));
    return *it;
}

void PagePainter::paint(QPainter &painter, int page)
{
    if (page < 0 || page >= m_layout.pageCount())
        return;
    painter.setRenderHint(QPainter::Antialiasing, true);
    painter.setRenderHint(QPainter::TextAntialiasing, true);
    GridLines grid;
    for (const PlacedBand &band : m_layout.pages[page].bands)
        paintBand(painter, band, grid);
    grid.paint(painter);
}

void PagePainter::paintBand(QPainter &painter, const PlacedBand &band, GridLines &grid)
{
    const Band &model = m_layout.tpl.band(band.kind);
    if (band.clip) {
        painter.save();
        painter.setClipRect(band.rect, Qt::IntersectClip);
    }
    for (const PlacedItem &placed : band.items) {
        const ReportItem &item = model.items[placed.item];
        const int key = itemKey(band.kind, placed.item);
        const QRectF &r = placed.rect;
        switch (item.kind) {
        case ItemKind::Text:
            paintText(painter, item, placed, key);
            // Frames join the page's grid, except in a clipped band, whose
            // lines must stop at its edge.
            if (band.clip)
                paintFrame(painter, framePenFor(item, key), item.frame, r);
            else
                grid.addFrame(framePenFor(item, key), item.frame, r);
            break;
        case ItemKind::Line:
            if (item.lineWidth > 0) {
                painter.setPen(itemLinePen(item));
                painter.drawLine(r.topLeft(), r.bottomRight());
            }
            break;
        case ItemKind::Rect:
            if (!item.fillColor.isEmpty())
                painter.fillRect(r, QColor(item.fillColor));
            if (item.lineWidth > 0) {
                painter.setPen(itemLinePen(item));
                painter.setBrush(Qt::NoBrush);
                painter.drawRect(r);
            }
            break;
        case ItemKind::Image: {
            auto it = m_images.find(key);
            if (it == m_images.end())
                it = m_images.insert(key, QImage::fromData(item.png, "PNG"));
            const QImage &image = *it;
            if (image.isNull() || r.isEmpty())
                break;
            QRectF target = r;
            if (item.keepAspect) {
                const QSizeF fitted = QSizeF(image.size()).scaled(r.size(), Qt::KeepAspectRatio);
                target = QRectF(QPointF(), fitted);
                target.moveCenter(r.center());
            }
            painter.drawImage(target, image);
            break;
        }
        }
    }
    if (band.clip)
        painter.restore();
}

void PagePainter::paintText(QPainter &painter, const ReportItem &item, const PlacedItem &placed, int key)
{
    const QRectF &r = placed.rect;
    if (!item.fillColor.isEmpty())
        painter.fillRect(r, QColor(item.fillColor));
    if (!placed.text.isEmpty()) {
        painter.setFont(fontFor(item, key));
        painter.setPen(QColor(item.color.isEmpty() ? QStringLiteral("#000000") : item.color));
        const QRectF inner = r.adjusted(TextPaddingX, TextPaddingY, -TextPaddingX, -TextPaddingY);
        const Qt::Alignment align = alignmentOf(item);
        if (!placed.wrapped) {
            // Qt clips the text to the rectangle only when it does not fit.
            painter.drawText(inner, int(align), placed.text);
        } else {
            const double total = placed.lines.size() * placed.lineHeight;
            double y = inner.top();
            if (item.valign == VAlign::Center)
                y += (inner.height() - total) / 2;
            else if (item.valign == VAlign::Bottom)
                y += inner.height() - total;
            const bool overflows = total > inner.height() + 0.5;
            if (overflows) {
                y = inner.top();
                painter.save();
                painter.setClipRect(r, Qt::IntersectClip);
            }
            const int lineAlign = int((align & Qt::AlignHorizontal_Mask) | Qt::AlignVCenter);
            for (const QString &line : placed.lines) {
                if (y >= r.bottom())
                    break;
                if (!line.isEmpty())
                    painter.drawText(QRectF(inner.left(), y, inner.width(), placed.lineHeight), lineAlign, line);
                y += placed.lineHeight;
            }
            if (overflows)
                painter.restore();
        }
    }
}

QList<int> requestedPages(const QPrinter &printer, int pageCount)
{
    int first = 1;
    int last = pageCount;
    if (printer.printRange() == QPrinter::PageRange && printer.fromPage() > 0) {
        first = std::max(first, printer.fromPage());
        last = std::min(last, printer.toPage() > 0 ? printer.toPage() : pageCount);
    }
    QList<int> pages;
    for (int page = first; page <= last; ++page)
        pages << page - 1;
    return pages;
}

int printLayout(const ReportLayout &layout, QPrinter *printer)
{
    printer->setFullPage(true);
    printer->setPageLayout(pageLayoutFor(layout.tpl.page));
    const QList<int> wanted = requestedPages(*printer, layout.pageCount());
    if (wanted.isEmpty())
        return 0;
    QPainter painter;
    if (!painter.begin(printer))
        return 0;
    PagePainter pages(layout, printer);
    for (int i = 0; i < wanted.size(); ++i) {
        if (i > 0)
            printer->newPage();
        scaleToTenths(painter, printer);
        pages.paint(painter, wanted[i]);
    }
    painter.end();
    return int(wanted.size());
}

bool writePdf(const ReportLayout &layout, const QString &path, const QString &title, QString *error, int resolution)
{
    QPdfWriter writer(path);
    writer.setResolution(resolution);
    writer.setTitle(title);
    writer.setCreator(QCoreApplication::applicationName()); // the program that printed
    writer.setPageLayout(pageLayoutFor(layout.tpl.page));
    QPainter painter;
    if (!painter.begin(&writer)) {
        if (error)
            *error = QStringLiteral("无法写入 PDF 文件：%1").arg(path);
        return false;
    }
    PagePainter pages(layout, &writer);
    for (int i = 0; i < layout.pageCount(); ++i) {
        if (i > 0)
            writer.newPage();
        scaleToTenths(painter, &writer);
        pages.paint(painter, i);
    }
    if (!painter.end()) {
        if (error)
            *error = QStringLiteral("无法写入 PDF 文件：%1").arg(path);
        return false;
    }
    return true;
}

QImage renderPageImage(const ReportLayout &layout, int page, int dpi)
{
    const PageSettings &p = layout.tpl.page;
    const QSize size(qRound(p.pageWidth() * dpi / TenthsPerInch), qRound(p.pageHeight() * dpi / TenthsPerInch));
    QImage image(size, QImage::Format_RGB32);
    const int dotsPerMeter = qRound(dpi / 0.0254);
    image.setDotsPerMeterX(dotsPerMeter);
    image.setDotsPerMeterY(dotsPerMeter);
    image.fill(Qt::white);
    QPainter painter(&image);
    // The image's resolution is rounded to whole dots per metre; scale by
    // the resolution asked for so that the page fills the image exactly.
    painter.scale(dpi / TenthsPerInch, dpi / TenthsPerInch);
    PagePainter pages(layout, &image);
    pages.paint(painter, page);
    return image;
}

} // namespace report
