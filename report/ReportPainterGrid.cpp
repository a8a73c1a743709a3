#include "report/ReportPainterGrid.h"

#include <QPainter>

#include <algorithm>
#include <tuple>

namespace report {

QPen reportPen(const QColor &color, double width, Qt::PenStyle style)
{
    QPen pen(color);
    pen.setWidthF(width);
    pen.setStyle(style);
    pen.setCapStyle(Qt::SquareCap);
    pen.setJoinStyle(Qt::MiterJoin);
    return pen;
}

FramePen framePenOf(const ReportItem &item)
{
    FramePen pen;
    pen.color = QColor(item.color.isEmpty() ? QStringLiteral("#000000") : item.color).rgba();
    pen.width = item.frame.width;
    return pen;
}

void GridLines::addFrame(const FramePen &pen, const Frame &frame, const QRectF &r)
{
    if (!frame.any() || pen.width <= 0)
        return;
    // QRectF's right and bottom are x + width and y + height: the sides
    // run exactly where the item's lines were drawn one by one.
    if (frame.top)
        m_sides.append({pen, false, r.top(), r.left(), r.right()});
    if (frame.bottom)
        m_sides.append({pen, false, r.bottom(), r.left(), r.right()});
    if (frame.left)
        m_sides.append({pen, true, r.left(), r.top(), r.bottom()});
    if (frame.right)
        m_sides.append({pen, true, r.right(), r.top(), r.bottom()});
}

QVector<GridLine> GridLines::joined() const
{
    QVector<Side> sides = m_sides;
    auto key = [](const Side &s) { return std::tie(s.pen, s.vertical, s.at, s.from, s.to); };
    std::sort(sides.begin(), sides.end(), [&](const Side &a, const Side &b) { return key(a) < key(b); });
    QVector<GridLine> lines;
    auto add = [&lines](const Side &s) {
        lines.append({s.pen, s.vertical ? QLineF(s.at, s.from, s.at, s.to) : QLineF(s.from, s.at, s.to, s.at)});
    };
    for (int i = 0; i < sides.size();) {
        Side run = sides[i++];
        // Sorted by start, a side joins the run while it starts before or
        // where the run ends. With square caps both ends of every side
        // reach half a width further, so the joined line covers the same.
        const bool solid = run.pen.style == int(Qt::SolidLine);
        while (i < sides.size() && solid && sides[i].pen == run.pen && sides[i].vertical == run.vertical
               && sides[i].at == run.at && sides[i].from <= run.to) {
            run.to = std::max(run.to, sides[i].to);
            ++i;
        }
        add(run);
    }
    return lines;
}

void GridLines::paint(QPainter &painter)
{
    if (m_sides.isEmpty())
        return;
    const QVector<GridLine> lines = joined();
    m_sides.clear();
    QVector<QLineF> batch;
    for (int i = 0; i < lines.size();) {
        const FramePen &pen = lines[i].pen;
        batch.clear();
        for (; i < lines.size() && lines[i].pen == pen; ++i)
            batch.append(lines[i].line);
        painter.setPen(reportPen(QColor::fromRgba(pen.color), pen.width, Qt::PenStyle(pen.style)));
        painter.drawLines(batch.constData(), int(batch.size()));
    }
}

} // namespace report
