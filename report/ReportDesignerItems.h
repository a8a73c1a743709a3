#pragma once
// Inside the band designer: the undo command and the scene items that stand
// for bands and report items. Only the designer's own files include this.
#include "report/ReportDesigner.h"
#include "report/ReportFont.h"
#include "report/ReportLayout.h"
#include "report/ReportPainter.h"

#include <QGraphicsRectItem>
#include <QGraphicsSceneMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QUndoCommand>

namespace report {

inline constexpr int CaptionHeight = 50; // caption bar above each band, normal view
inline constexpr int HandleHeight = 16;  // drag strip under each band, normal view
inline constexpr int HandleSize = 24;    // resize corner of a selected item
inline constexpr int MinItemSize = 10;
inline constexpr int KeyMerge = 1;       // consecutive arrow-key steps are one undo step

inline const QColor SelectionColor(0, 120, 215);

// ---------------------------------------------------------------- commands

class TemplateCommand : public QUndoCommand {
public:
    TemplateCommand(ReportDesigner *designer, ReportTemplate before, ReportTemplate after,
                    QVector<ReportDesigner::ItemRef> selBefore, QVector<ReportDesigner::ItemRef> selAfter,
                    const QString &text, int mergeId)
        : QUndoCommand(text), m_designer(designer), m_before(std::move(before)), m_after(std::move(after)),
          m_selBefore(std::move(selBefore)), m_selAfter(std::move(selAfter)), m_mergeId(mergeId)
    {
    }
    void redo() override { m_designer->apply(m_after, m_selAfter); }
    void undo() override { m_designer->apply(m_before, m_selBefore); }
    int id() const override { return m_mergeId; }
    bool mergeWith(const QUndoCommand *other) override
    {
        auto *o = static_cast<const TemplateCommand *>(other);
        if (o->m_selAfter != m_selAfter)
            return false;
        m_after = o->m_after;
        return true;
    }

private:
    ReportDesigner *m_designer;
    ReportTemplate m_before;
    ReportTemplate m_after;
    QVector<ReportDesigner::ItemRef> m_selBefore;
    QVector<ReportDesigner::ItemRef> m_selAfter;
    int m_mergeId;
};

// ---------------------------------------------------------------- scene items

// One report item on its band strip; position relative to the band.
class DesignerItem : public QGraphicsItem {
public:
    DesignerItem(ReportDesigner *designer, BandKind band, int index, const ReportItem &item)
        : m_designer(designer), m_band(band), m_index(index), m_item(item), m_size(item.geometry.size())
    {
        setFlags(ItemIsSelectable | ItemIsMovable | ItemSendsGeometryChanges | ItemIsFocusable);
        setPos(item.geometry.topLeft());
        setZValue(1);
    }

    ReportDesigner::ItemRef ref() const { return {m_band, m_index}; }
    QRect geometry() const { return QRect(pos().toPoint(), m_size); }

    QRectF boundingRect() const override
    {
        return QRectF(0, 0, m_size.width(), m_size.height()).adjusted(-HandleSize, -HandleSize, HandleSize, HandleSize);
    }

    // What the mouse hits: the item's box (a band around a line), and the
    // resize corner while selected; never the neighbour's room.
    QPainterPath shape() const override
    {
        QPainterPath path;
        path.setFillRule(Qt::WindingFill); // the corner overlaps the box
        QRectF r(0, 0, m_size.width(), m_size.height());
        if (m_item.kind == ItemKind::Line)
            r.adjust(-8, -8, 8, 8);
        path.addRect(r);
        if (isSelected())
            path.addRect(handleRect());
        return path;
    }

    void paint(QPainter *painter, const QStyleOptionGraphicsItem *, QWidget *widget) override
    {
        const QRectF r(0, 0, m_size.width(), m_size.height());
        const ReportTemplate &tpl = m_designer->reportTemplate();
        painter->save();
        switch (m_item.kind) {
        case ItemKind::Text: {
            if (!m_item.fillColor.isEmpty())
                painter->fillRect(r, QColor(m_item.fillColor));
            const QFont font = itemFont(tpl, m_item);
            painter->setFont(fontForTenths(font, itemFontSize(tpl, m_item), widget ? widget : painter->device()));
            painter->setPen(QColor(m_item.color));
            int flags = m_item.align == HAlign::Left ? Qt::AlignLeft
                        : m_item.align == HAlign::Center ? Qt::AlignHCenter : Qt::AlignRight;
            flags |= m_item.valign == VAlign::Top ? Qt::AlignTop
                     : m_item.valign == VAlign::Center ? Qt::AlignVCenter : Qt::AlignBottom;
            if (m_item.wordWrap || m_item.canGrow)
                flags |= Qt::TextWordWrap;
            painter->setClipRect(r);
            painter->drawText(r.adjusted(TextPaddingX, TextPaddingY, -TextPaddingX, -TextPaddingY), flags, m_item.text);
            painter->setClipping(false);
            const Frame &f = m_item.frame;
            QPen pen(QColor(m_item.color), std::max(1, f.width));
            painter->setPen(pen);
            if (f.top) painter->drawLine(r.topLeft(), r.topRight());
            if (f.bottom) painter->drawLine(r.bottomLeft(), r.bottomRight());
            if (f.left) painter->drawLine(r.topLeft(), r.bottomLeft());
            if (f.right) painter->drawLine(r.topRight(), r.bottomRight());
            if (!f.any()) {
                // An outline so that an unframed item can be found.
                painter->setPen(QPen(QColor(180, 180, 180), 0, Qt::DotLine));
                painter->drawRect(r);
            }
            break;
        }
        case ItemKind::Line:
            painter->setPen(itemLinePen(m_item));
            painter->drawLine(r.topLeft(), r.bottomRight());
            break;
        case ItemKind::Rect:
            if (!m_item.fillColor.isEmpty())
                painter->fillRect(r, QColor(m_item.fillColor));
            painter->setPen(m_item.lineWidth > 0 ? itemLinePen(m_item) : QPen(Qt::NoPen));
            painter->drawRect(r);
            break;
        case ItemKind::Image: {
            const QImage image = QImage::fromData(m_item.png, "PNG");
            if (image.isNull()) {
                painter->setPen(QPen(Qt::gray, 0, Qt::DashLine));
                painter->drawRect(r);
                painter->drawLine(r.topLeft(), r.bottomRight());
            } else if (m_item.keepAspect) {
                QRectF target(QPointF(), QSizeF(image.size()).scaled(r.size(), Qt::KeepAspectRatio));
                target.moveCenter(r.center());
                painter->drawImage(target, image);
            } else {
                painter->drawImage(r, image);
            }
            break;
        }
        }
        if (isSelected()) {
            painter->setPen(QPen(SelectionColor, 0, Qt::DashLine));
            painter->setBrush(Qt::NoBrush);
            painter->drawRect(r);
            painter->fillRect(handleRect(), SelectionColor);
        }
        painter->restore();
    }

protected:
    QRectF handleRect() const
    {
        return QRectF(m_size.width() - HandleSize / 2.0, m_size.height() - HandleSize / 2.0, HandleSize, HandleSize);
    }

    QVariant itemChange(GraphicsItemChange change, const QVariant &value) override
    {
        if (change == ItemPositionChange && !m_designer->m_rebuilding) {
            QPointF p = value.toPointF();
            return QPointF(std::max(0, m_designer->snap(qRound(p.x()))), std::max(0, m_designer->snap(qRound(p.y()))));
        }
        if (change == ItemSelectedHasChanged && !m_designer->m_rebuilding)
            emit m_designer->selectionChanged();
        return QGraphicsItem::itemChange(change, value);
    }

    void mousePressEvent(QGraphicsSceneMouseEvent *event) override
    {
        m_pressGeometry = geometry();
        m_resizing = isSelected() && handleRect().contains(event->pos()) && event->button() == Qt::LeftButton;
        if (m_resizing) {
            event->accept();
            return;
        }
        QGraphicsItem::mousePressEvent(event);
    }

    void mouseMoveEvent(QGraphicsSceneMouseEvent *event) override
    {
        if (!m_resizing) {
            QGraphicsItem::mouseMoveEvent(event);
            return;
        }
        const bool line = m_item.kind == ItemKind::Line;
        int w = m_designer->snap(qRound(event->pos().x()));
        int h = m_designer->snap(qRound(event->pos().y()));
        w = std::max(line ? 0 : MinItemSize, w);
        h = std::max(line ? 0 : MinItemSize, h);
        prepareGeometryChange();
        m_size = QSize(w, h);
        update();
    }

    void mouseReleaseEvent(QGraphicsSceneMouseEvent *event) override
    {
        if (!m_resizing)
            QGraphicsItem::mouseReleaseEvent(event);
        m_resizing = false;
        if (geometry() != m_pressGeometry)
            m_designer->itemDragged(this, geometry());
    }

private:
    ReportDesigner *m_designer;
    BandKind m_band;
    int m_index;
    ReportItem m_item;
    QSize m_size;
    QRect m_pressGeometry;
    bool m_resizing = false;
};

// The strip under a band in normal view; dragging it sets the band's height.
class DesignerBandHandle : public QGraphicsRectItem {
public:
    DesignerBandHandle(ReportDesigner *designer, BandKind band, double top, double width)
        : QGraphicsRectItem(0, 0, width, HandleHeight), m_designer(designer), m_band(band), m_top(top)
    {
        setPos(0, top + designer->reportTemplate().band(band).height);
        setBrush(QColor(225, 225, 225));
        setPen(QPen(QColor(160, 160, 160), 0));
        setCursor(Qt::SizeVerCursor);
        setZValue(2);
        setAcceptedMouseButtons(Qt::LeftButton);
    }

protected:
    void mousePressEvent(QGraphicsSceneMouseEvent *event) override
    {
        m_grab = event->scenePos().y() - pos().y();
        event->accept();
    }
    void mouseMoveEvent(QGraphicsSceneMouseEvent *event) override
    {
        const int height = std::max(0, m_designer->snap(qRound(event->scenePos().y() - m_grab - m_top)));
        setPos(0, m_top + height);
    }
    void mouseReleaseEvent(QGraphicsSceneMouseEvent *) override
    {
        m_designer->bandDragged(m_band, qRound(pos().y() - m_top));
    }

private:
    ReportDesigner *m_designer;
    BandKind m_band;
    double m_top;
    double m_grab = 0; // where in the strip the mouse took hold
};

// Background of a band with grid dots.
class BandStrip : public QGraphicsRectItem {
public:
    BandStrip(const QRectF &r, int grid) : QGraphicsRectItem(r), m_grid(grid)
    {
        setBrush(Qt::white);
        setPen(QPen(QColor(190, 190, 190), 0, Qt::DashLine));
        setFlag(ItemClipsChildrenToShape, false);
    }
    void paint(QPainter *painter, const QStyleOptionGraphicsItem *option, QWidget *widget) override
    {
        QGraphicsRectItem::paint(painter, option, widget);
        // Dots every 5 grid steps keep the strip readable when zoomed out.
        const int step = m_grid * 5;
        painter->setPen(QPen(QColor(200, 200, 200), 0));
        const QRectF r = rect();
        for (double y = r.top() + step; y < r.bottom(); y += step) {
            for (double x = r.left() + step; x < r.right(); x += step)
                painter->drawPoint(QPointF(x, y));
        }
    }

private:
    int m_grid;
};

} // namespace report
