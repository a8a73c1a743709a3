#pragma once
// Pagination. The layout places band instances on pages in template units
// (tenths of a millimetre, page coordinates with the origin at the paper's
// top-left corner). Text is measured on a fixed high-resolution reference
// device and wrapped here, never at paint time, so the pages come out the
// same on screen, on any printer and in a PDF.
//
// Page structure: the report header opens page 1, then every page gets the
// page header and the detail header; detail bands follow one per record; the
// summary comes after the last record; the page footer sits on the bottom
// margin of every page and its height is kept free on every page. A band
// that does not fit in what is left of a page moves to the next page; a band
// taller than an empty page is cut off at the footer (clipped) instead.
#include "report/ReportData.h"
#include "report/ReportModel.h"

#include <QRectF>
#include <QStringList>

namespace report {

struct PlacedItem {
    int item = -1;     // index into the band's items
    QRectF rect;       // page coordinates
    // Text items: the text with every reference replaced. Wrapped text also
    // has its lines, drawn one below the other `lineHeight` apart.
    QString text;
    QStringList lines;
    double lineHeight = 0;
    bool wrapped = false;
};

struct PlacedBand {
    BandKind kind = BandKind::Detail;
    int record = -1;       // the record a detail band prints
    QRectF rect;           // page coordinates; the band's full width
    bool clipped = false;  // cut short: taller than the room on an empty page
    bool clip = false;     // paint only inside rect (cut short, or items stick out)
    QVector<PlacedItem> items;
};

struct LayoutPage {
    QVector<PlacedBand> bands;
    int firstRecord = -1; // detail records on the page, -1 when none
    int lastRecord = -1;
};

struct ReportLayout {
    ReportTemplate tpl;
    QVector<LayoutPage> pages;
    int pageCount() const { return int(pages.size()); }
};

// Lays out the records; `title` is what [#Title] prints.
ReportLayout layoutReport(const ReportTemplate &tpl, const ReportData &data, const QString &title);

// Horizontal and vertical room kept between a text item's edge and its text.
constexpr double TextPaddingX = 8;
constexpr double TextPaddingY = 2;

} // namespace report
