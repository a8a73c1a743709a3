#pragma once
// The frames of a page's text items drawn as joined lines. A table of N rows
// and M columns has 4·N·M frame sides, most of them lying end to end or on top
// of a neighbour's; drawn one by one they make the PDF (and the printer's job)
// many times bigger and slower than the grid they show. The sides of a page
// are collected, and collinear sides with the same pen that touch or overlap
// are drawn as one line: the same positions, widths and colours. The lines
// are drawn after the page's fills and text, so that no neighbour's fill
// covers half of a shared border.
#include "report/ReportModel.h"

#include <QColor>
#include <QPen>
#include <QLineF>
#include <QRectF>
#include <QVector>

class QPainter;

namespace report {

// The pen of a frame side. Only solid sides are joined: a dash pattern would
// restart at every side.
struct FramePen {
    QRgb color = 0xff000000;
    int width = 0; // tenths
    int style = int(Qt::SolidLine);
    bool operator==(const FramePen &) const = default;
    auto operator<=>(const FramePen &) const = default;
};

// The pen of the item's frame (its text colour, the frame's width).
FramePen framePenOf(const ReportItem &item);

struct GridLine {
    FramePen pen;
    QLineF line; // horizontal or vertical, from the smaller coordinate
};

class GridLines {
public:
    // The sides of the item's frame at `rect` (page coordinates).
    void addFrame(const FramePen &pen, const Frame &frame, const QRectF &rect);
    bool isEmpty() const { return m_sides.isEmpty(); }
    int sideCount() const { return int(m_sides.size()); }
    // The sides joined, grouped by pen.
    QVector<GridLine> joined() const;
    // Draws the joined lines and forgets the sides.
    void paint(QPainter &painter);

private:
    struct Side {
        FramePen pen;
        bool vertical;
        double at;          // y of a horizontal side, x of a vertical one
        double from, to;    // along the side, from <= to
    };
    QVector<Side> m_sides;
};

// The pen frame sides and line items are drawn with.
QPen reportPen(const QColor &color, double width, Qt::PenStyle style = Qt::SolidLine);

} // namespace report
