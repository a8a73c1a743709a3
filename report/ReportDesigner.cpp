#include "report/ReportDesigner.h"

#include "report/Report.h"
#include "report/ReportFile.h"
#include "report/ReportFont.h"
#include "report/ReportLayout.h"
#include "report/ReportPainter.h"
#include "report/ReportText.h"

#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QFontComboBox>
#include <QFormLayout>
#include <QGraphicsRectItem>
#include <QGraphicsScene>
#include <QGraphicsSceneMouseEvent>
#include <QGraphicsView>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPageSetupDialog>
#include <QPainter>
#include <QPainterPath>
#include <QPrinter>
#include <QSpinBox>
#include <QSplitter>
#include <QStyleOptionGraphicsItem>
#include <QToolBar>
#include <QUndoCommand>
#include <QUndoStack>
#include <QVBoxLayout>
#include <QWheelEvent>

namespace report {

namespace {

constexpr int CaptionHeight = 50; // caption bar above each band, normal view
constexpr int HandleHeight = 16;  // drag strip under each band, normal view
constexpr int HandleSize = 24;    // resize corner of a selected item
constexpr int MinItemSize = 10;
constexpr int KeyMerge = 1;       // consecutive arrow-key steps are one undo step

const QColor SelectionColor(0, 120, 215);

} // namespace

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

// ---------------------------------------------------------------- designer

ReportDesigner::ReportDesigner(QWidget *parent) : QWidget(parent)
{
    m_undo = new QUndoStack(this);
    m_scene = new QGraphicsScene(this);
    m_view = new QGraphicsView(m_scene);
    m_view->setObjectName(QStringLiteral("designerView"));
    m_view->setDragMode(QGraphicsView::RubberBandDrag);
    m_view->setBackgroundBrush(QColor(160, 160, 160));
    m_view->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    m_view->setRenderHint(QPainter::Antialiasing);
    m_view->installEventFilter(this);
    m_view->viewport()->installEventFilter(this);

    m_toolbar = new QToolBar(this);
    m_toolbar->setObjectName(QStringLiteral("designerToolbar"));
    auto add = [this](const QString &name, const QString &text, auto slot) {
        QAction *a = m_toolbar->addAction(text);
        a->setObjectName(name);
        connect(a, &QAction::triggered, this, slot);
        return a;
    };
    add(QStringLiteral("InsertText"), QStringLiteral("文字"), [this] { insertItem(ItemKind::Text, QStringLiteral("文字")); });
    m_fieldList = new QComboBox;
    m_fieldList->setObjectName(QStringLiteral("fieldList"));
    m_fieldList->setEditable(true);
    m_fieldList->setMinimumContentsLength(12);
    m_toolbar->addWidget(m_fieldList);
    add(QStringLiteral("InsertField"), QStringLiteral("插入字段"), [this] {
        const QString name = m_fieldList->currentText().trimmed();
        insertField(name.isEmpty() ? QStringLiteral("字段") : name);
    });
    add(QStringLiteral("InsertLine"), QStringLiteral("线"), [this] { insertItem(ItemKind::Line); });
    add(QStringLiteral("InsertBox"), QStringLiteral("框"), [this] { insertItem(ItemKind::Rect); });
    add(QStringLiteral("Delete"), QStringLiteral("删除"), [this] { deleteSelected(); });
    m_toolbar->addSeparator();
    QAction *undo = m_undo->createUndoAction(this, QStringLiteral("撤销"));
    undo->setObjectName(QStringLiteral("actUndo"));
    undo->setShortcuts({QKeySequence(Qt::CTRL | Qt::Key_Z)});
    undo->setToolTip(QStringLiteral("撤销上一步修改 (Ctrl+Z)"));
    QAction *redo = m_undo->createRedoAction(this, QStringLiteral("重做"));
    redo->setObjectName(QStringLiteral("actRedo"));
    redo->setShortcuts({QKeySequence(Qt::CTRL | Qt::Key_Y), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_Z)});
    redo->setToolTip(QStringLiteral("重做撤销的修改 (Ctrl+Y)"));
    m_toolbar->addAction(undo);
    m_toolbar->addAction(redo);
    m_actions.insert(undo->objectName(), undo);
    m_actions.insert(redo->objectName(), redo);
    m_toolbar->addSeparator();
    m_normalView = add(QStringLiteral("NormalView"), QStringLiteral("普通视图"), [this] { setViewMode(ViewMode::Normal); });
    m_pageView = add(QStringLiteral("PageView"), QStringLiteral("页面视图"), [this] { setViewMode(ViewMode::Page); });
    m_normalView->setCheckable(true);
    m_pageView->setCheckable(true);
    m_normalView->setChecked(true);
    QAction *snapAction = add(QStringLiteral("SnapToGrid"), QStringLiteral("对齐网格"), [this](bool on) { m_snap = on; });
    snapAction->setCheckable(true);
    snapAction->setChecked(true);
    m_toolbar->addSeparator();
    add(QStringLiteral("Preview"), QStringLiteral("预览"), [this] { preview(); });
    add(QStringLiteral("PrintSetup"), QStringLiteral("页面设置"), [this] { printerSetup(); });

    // Property panel.
    m_panel = new QWidget;
    m_panel->setObjectName(QStringLiteral("propertyPanel"));
    auto *form = new QFormLayout(m_panel);
    m_panelTitle = new QLabel(QStringLiteral("未选择对象"));
    form->addRow(m_panelTitle);
    m_text = new QLineEdit;
    m_text->setObjectName(QStringLiteral("propText"));
    form->addRow(QStringLiteral("文字"), m_text);
    m_field = new QComboBox;
    m_field->setObjectName(QStringLiteral("propField"));
    m_field->setEditable(true);
    form->addRow(QStringLiteral("字段"), m_field);
    m_format = new QComboBox;
    m_format->setObjectName(QStringLiteral("propFormat"));
    m_format->setEditable(true);
    m_format->addItems({QString(), QStringLiteral("#,##0.00"), QStringLiteral("0.00"), QStringLiteral("#,##0"),
                        QStringLiteral("0.####"), QStringLiteral("#,##0.00;-#,##0.00;"), QStringLiteral("yyyy-MM-dd"),
                        QStringLiteral("yyyy年MM月dd日"), amountInWordsFormat()});
    form->addRow(QStringLiteral("格式"), m_format);
    m_fontFamily = new QFontComboBox;
    m_fontFamily->setObjectName(QStringLiteral("propFontFamily"));
    form->addRow(QStringLiteral("字体"), m_fontFamily);
    m_fontSize = new QDoubleSpinBox;
    m_fontSize->setObjectName(QStringLiteral("propFontSize"));
    m_fontSize->setRange(0, 200);
    m_fontSize->setDecimals(1);
    m_fontSize->setSpecialValueText(QStringLiteral("默认"));
    form->addRow(QStringLiteral("字号"), m_fontSize);
    m_bold = new QCheckBox(QStringLiteral("粗体"));
    m_bold->setObjectName(QStringLiteral("propBold"));
    form->addRow(m_bold);
    m_align = new QComboBox;
    m_align->setObjectName(QStringLiteral("propAlign"));
    m_align->addItems({QStringLiteral("左对齐"), QStringLiteral("居中"), QStringLiteral("右对齐")});
    form->addRow(QStringLiteral("对齐"), m_align);
    auto *frameRow = new QWidget;
    auto *frameLayout = new QHBoxLayout(frameRow);
    frameLayout->setContentsMargins(0, 0, 0, 0);
    const QString frameNames[4] = {QStringLiteral("左"), QStringLiteral("上"), QStringLiteral("右"), QStringLiteral("下")};
    const char *frameKeys[4] = {"propFrameLeft", "propFrameTop", "propFrameRight", "propFrameBottom"};
    for (int i = 0; i < 4; ++i) {
        m_frame[i] = new QCheckBox(frameNames[i]);
        m_frame[i]->setObjectName(QString::fromLatin1(frameKeys[i]));
        frameLayout->addWidget(m_frame[i]);
    }
    form->addRow(QStringLiteral("边框"), frameRow);
    m_wordWrap = new QCheckBox(QStringLiteral("自动换行"));
    m_wordWrap->setObjectName(QStringLiteral("propWordWrap"));
    m_canGrow = new QCheckBox(QStringLiteral("自动伸展"));
    m_canGrow->setObjectName(QStringLiteral("propCanGrow"));
    form->addRow(m_wordWrap);
    form->addRow(m_canGrow);
    const QString geometryNames[4] = {QStringLiteral("左 (0.1mm)"), QStringLiteral("顶 (0.1mm)"),
                                      QStringLiteral("宽 (0.1mm)"), QStringLiteral("高 (0.1mm)")};
    const char *geometryKeys[4] = {"propX", "propY", "propWidth", "propHeight"};
    for (int i = 0; i < 4; ++i) {
        m_geometry[i] = new QSpinBox;
        m_geometry[i]->setObjectName(QString::fromLatin1(geometryKeys[i]));
        m_geometry[i]->setRange(i < 2 ? 0 : 0, 100000);
        form->addRow(geometryNames[i], m_geometry[i]);
    }

    connect(m_text, &QLineEdit::editingFinished, this, &ReportDesigner::panelEdited);
    connect(m_field, &QComboBox::textActivated, this, [this](const QString &name) {
        if (m_updatingPanel || name.isEmpty())
            return;
        m_text->setText(u'[' + name + u']');
        panelEdited();
    });
    connect(m_format, &QComboBox::currentTextChanged, this, &ReportDesigner::panelEdited);
    connect(m_fontFamily, &QFontComboBox::currentFontChanged, this, &ReportDesigner::panelEdited);
    connect(m_fontSize, &QDoubleSpinBox::valueChanged, this, &ReportDesigner::panelEdited);
    connect(m_align, &QComboBox::currentIndexChanged, this, &ReportDesigner::panelEdited);
    for (QCheckBox *box : {m_bold, m_frame[0], m_frame[1], m_frame[2], m_frame[3], m_wordWrap, m_canGrow})
        connect(box, &QCheckBox::toggled, this, &ReportDesigner::panelEdited);
    for (QSpinBox *spin : m_geometry)
        connect(spin, &QSpinBox::valueChanged, this, &ReportDesigner::panelEdited);

    auto *splitter = new QSplitter;
    splitter->addWidget(m_view);
    splitter->addWidget(m_panel);
    splitter->setStretchFactor(0, 1);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_toolbar);
    buildFormatActions();
    layout->addWidget(m_formatBar);
    layout->addWidget(splitter);

    connect(m_undo, &QUndoStack::cleanChanged, this, [this](bool clean) { emit modifiedChanged(!clean); });
    connect(this, &ReportDesigner::selectionChanged, this, &ReportDesigner::updatePanel);
    connect(this, &ReportDesigner::selectionChanged, this, &ReportDesigner::updateActions);
    setZoom(100);
    rebuildScene();
    updatePanel();
    updateActions();
}

ReportDesigner::~ReportDesigner()
{
    // The undo stack is a child and goes later, in the base class's
    // destructor, clearing itself: what it signals then must not reach this
    // designer, which no longer exists by that time.
    disconnect(m_undo, nullptr, this, nullptr);
    // Scene items call back into the designer while they go.
    m_rebuilding = true;
    m_scene->clear();
}

void ReportDesigner::setReportTemplate(const ReportTemplate &tpl)
{
    m_undo->clear();
    apply(tpl, {});
    m_undo->setClean();
    emit modifiedChanged(false);
}

bool ReportDesigner::loadFile(const QString &path, QString *error)
{
    auto tpl = loadTemplate(path, error);
    if (!tpl)
        return false;
    setReportTemplate(*tpl);
    return true;
}

bool ReportDesigner::saveFile(const QString &path, QString *error)
{
    if (!saveTemplate(m_tpl, path, error))
        return false;
    m_undo->setClean();
    return true;
}

bool ReportDesigner::isModified() const { return !m_undo->isClean(); }

void ReportDesigner::setModified(bool modified)
{
    if (modified)
        m_undo->resetClean();
    else
        m_undo->setClean();
}

void ReportDesigner::setViewMode(ViewMode mode)
{
    m_mode = mode;
    m_normalView->setChecked(mode == ViewMode::Normal);
    m_pageView->setChecked(mode == ViewMode::Page);
    apply(m_tpl, selectedItems());
}

void ReportDesigner::setFieldNames(const QStringList &names)
{
    m_fields = names;
    m_updatingPanel = true;
    m_field->clear();
    m_field->addItems(names);
    m_fieldList->clear();
    m_fieldList->addItems(names);
    m_updatingPanel = false;
}

QVector<ReportDesigner::ItemRef> ReportDesigner::selectedItems() const
{
    QVector<ItemRef> refs;
    for (QGraphicsItem *g : m_scene->selectedItems()) {
        if (auto *item = dynamic_cast<DesignerItem *>(g))
            refs.append(item->ref());
    }
    std::sort(refs.begin(), refs.end(), [](const ItemRef &a, const ItemRef &b) {
        return std::pair(int(a.band), a.index) < std::pair(int(b.band), b.index);
    });
    return refs;
}

void ReportDesigner::selectItem(BandKind band, int index)
{
    selectItems({ItemRef{band, index}});
}

void ReportDesigner::selectItems(const QVector<ItemRef> &refs)
{
    m_rebuilding = true;
    m_scene->clearSelection();
    DesignerItem *focus = nullptr;
    for (QGraphicsItem *g : m_scene->items()) {
        auto *item = dynamic_cast<DesignerItem *>(g);
        if (!item || !refs.contains(item->ref()))
            continue;
        item->setSelected(true);
        if (item->ref() == refs.last())
            focus = item;
    }
    if (focus) {
        m_view->setFocus();
        m_scene->setFocusItem(focus);
    }
    m_rebuilding = false;
    emit selectionChanged();
}

void ReportDesigner::clearSelection()
{
    m_scene->clearSelection();
    emit selectionChanged();
}

std::optional<ReportDesigner::ItemRef> ReportDesigner::anchor() const
{
    // The item clicked or selected last has the focus.
    if (auto *focus = dynamic_cast<DesignerItem *>(m_scene->focusItem()); focus && focus->isSelected())
        return focus->ref();
    const auto refs = selectedItems();
    if (refs.isEmpty())
        return std::nullopt;
    return refs.first();
}

int ReportDesigner::snap(int value) const
{
    if (!m_snap)
        return value;
    return int(std::lround(double(value) / m_grid)) * m_grid;
}

BandKind ReportDesigner::targetBand() const
{
    const auto selected = selectedItems();
    return selected.isEmpty() ? BandKind::Detail : selected.first().band;
}

void ReportDesigner::change(const ReportTemplate &edited, const QString &text, int mergeId)
{
    ReportTemplate after = edited;
    keepItemsInBands(after);
    if (after == m_tpl)
        return;
    const QVector<ItemRef> before = selectedItems();
    const QVector<ItemRef> selectAfter = m_pendingSelection.isEmpty() ? before : m_pendingSelection;
    m_pendingSelection.clear();
    m_undo->push(new TemplateCommand(this, m_tpl, after, before, selectAfter, text, mergeId));
}

void ReportDesigner::apply(const ReportTemplate &tpl, const QVector<ItemRef> &select)
{
    m_tpl = tpl;
    rebuildScene();
    m_rebuilding = true;
    for (QGraphicsItem *g : m_scene->items()) {
        if (auto *item = dynamic_cast<DesignerItem *>(g); item && select.contains(item->ref()))
            item->setSelected(true);
    }
    m_rebuilding = false;
    emit selectionChanged();
}

QRectF ReportDesigner::bandRect(BandKind band) const { return m_bandRects[int(band)]; }

void ReportDesigner::rebuildScene()
{
    m_rebuilding = true;
    m_scene->clear();
    const PageSettings &page = m_tpl.page;
    const QRect content = page.contentRect();
    const double width = content.width();
    for (QRectF &r : m_bandRects)
        r = QRectF();

    if (m_mode == ViewMode::Page) {
        auto *paper = m_scene->addRect(0, 0, page.pageWidth(), page.pageHeight(), QPen(Qt::black, 0), Qt::white);
        paper->setZValue(-2);
        m_scene->addRect(QRectF(content), QPen(QColor(120, 160, 220), 0, Qt::DotLine))->setZValue(-1);
    }
    double y = m_mode == ViewMode::Page ? content.top() : 0;
    const double x = m_mode == ViewMode::Page ? content.left() : 0;
    for (int k = 0; k < BandKindCount; ++k) {
        const BandKind kind = BandKind(k);
        const Band &band = m_tpl.band(kind);
        double top = y;
        if (m_mode == ViewMode::Normal) {
            auto *caption = m_scene->addRect(0, y, width, CaptionHeight, QPen(QColor(150, 150, 150), 0), QColor(215, 225, 240));
            auto *label = m_scene->addSimpleText(QStringLiteral("%1  (%2 mm)").arg(bandKindCaption(kind)).arg(band.height / 10.0));
            QFont f(QString::fromLatin1(defaultFontFamily()));
            f.setPixelSize(CaptionHeight * 3 / 5);
            label->setFont(f);
            label->setPos(8, y + CaptionHeight / 5.0);
            label->setParentItem(caption);
            top = y + CaptionHeight;
        } else if (kind == BandKind::PageFooter) {
            top = content.bottom() + 1 - band.height;
        }
        const QRectF stripRect(x, top, width, band.height);
        m_bandRects[k] = stripRect;
        auto *strip = new BandStrip(QRectF(0, 0, width, band.height), m_grid);
        strip->setPos(stripRect.topLeft());
        m_scene->addItem(strip);
        for (int i = 0; i < band.items.size(); ++i) {
            auto *item = new DesignerItem(this, kind, i, band.items[i]);
            item->setParentItem(strip);
        }
        if (m_mode == ViewMode::Normal) {
            m_scene->addItem(new DesignerBandHandle(this, kind, top, width));
            y = top + band.height + HandleHeight;
        } else if (kind != BandKind::PageFooter) {
            y = top + band.height;
        }
    }
    const QRectF bounds = m_scene->itemsBoundingRect().adjusted(-50, -50, 50, 50);
    m_scene->setSceneRect(bounds);
    m_rebuilding = false;
}

void ReportDesigner::insertItem(ItemKind kind, const QString &text)
{
    const BandKind band = targetBand();
    ReportTemplate after = m_tpl;
    Band &b = after.band(band);
    ReportItem item;
    item.kind = kind;
    const int height = std::max(snap(60), MinItemSize);
    switch (kind) {
    case ItemKind::Text:
        item.geometry = QRect(0, 0, snap(300), height);
        item.text = text;
        break;
    case ItemKind::Line:
        item.geometry = QRect(0, 0, snap(500), 0);
        break;
    case ItemKind::Rect:
    case ItemKind::Image:
        item.geometry = QRect(0, 0, snap(300), snap(200));
        break;
    }
    if (b.height < item.geometry.height())
        b.height = item.geometry.height();
    b.items.append(item);
    m_pendingSelection = {ItemRef{band, int(b.items.size()) - 1}};
    change(after, QStringLiteral("插入"));
}

void ReportDesigner::insertField(const QString &fieldName)
{
    insertItem(ItemKind::Text, u'[' + fieldName + u']');
}

void ReportDesigner::deleteSelected()
{
    QVector<ItemRef> refs = selectedItems();
    if (refs.isEmpty())
        return;
    ReportTemplate after = m_tpl;
    for (auto it = refs.crbegin(); it != refs.crend(); ++it)
        after.band(it->band).items.removeAt(it->index);
    m_pendingSelection = {};
    // Nothing selected afterwards: an explicit empty selection.
    const QVector<ItemRef> before = refs;
    m_undo->push(new TemplateCommand(this, m_tpl, after, before, {}, QStringLiteral("删除"), -1));
}

void ReportDesigner::moveSelected(int dx, int dy)
{
    const auto refs = selectedItems();
    if (refs.isEmpty())
        return;
    ReportTemplate after = m_tpl;
    for (const ItemRef &r : refs) {
        QRect &g = after.band(r.band).items[r.index].geometry;
        g.moveTo(std::max(0, g.x() + dx), std::max(0, g.y() + dy));
    }
    change(after, QStringLiteral("移动"), KeyMerge);
}

void ReportDesigner::resizeSelected(int dw, int dh)
{
    const auto refs = selectedItems();
    if (refs.isEmpty())
        return;
    ReportTemplate after = m_tpl;
    for (const ItemRef &r : refs) {
        ReportItem &item = after.band(r.band).items[r.index];
        const int min = item.kind == ItemKind::Line ? 0 : MinItemSize;
        item.geometry.setWidth(std::max(min, item.geometry.width() + dw));
        item.geometry.setHeight(std::max(min, item.geometry.height() + dh));
    }
    change(after, QStringLiteral("改变大小"), KeyMerge + 1);
}

void ReportDesigner::setBandHeight(BandKind band, int height)
{
    ReportTemplate after = m_tpl;
    after.band(band).height = std::max(0, height);
    if (after == m_tpl) {
        // A band dragged back to where it was still needs its handle put back.
        apply(m_tpl, selectedItems());
        return;
    }
    change(after, QStringLiteral("区域高度"));
}

void ReportDesigner::setItemGeometry(const ItemRef &ref, const QRect &geometry)
{
    ReportTemplate after = m_tpl;
    after.band(ref.band).items[ref.index].geometry = geometry;
    change(after, QStringLiteral("移动"));
}

void ReportDesigner::setPageSettings(const PageSettings &page)
{
    ReportTemplate after = m_tpl;
    after.page = page;
    change(after, QStringLiteral("页面设置"));
}

void ReportDesigner::itemDragged(DesignerItem *dragged, const QRect &)
{
    // Every selected item moved together with the one under the mouse.
    ReportTemplate after = m_tpl;
    for (QGraphicsItem *g : m_scene->selectedItems()) {
        if (auto *item = dynamic_cast<DesignerItem *>(g)) {
            const ItemRef r = item->ref();
            after.band(r.band).items[r.index].geometry = item->geometry();
        }
    }
    const ItemRef r = dragged->ref();
    after.band(r.band).items[r.index].geometry = dragged->geometry();
    // The change rebuilds the scene, which deletes the item whose mouse
    // event is still running: make it once the event is over.
    QMetaObject::invokeMethod(this, [this, after] { change(after, QStringLiteral("移动")); }, Qt::QueuedConnection);
}

void ReportDesigner::bandDragged(BandKind band, int height)
{
    QMetaObject::invokeMethod(this, [this, band, height] { setBandHeight(band, height); }, Qt::QueuedConnection);
}

bool ReportDesigner::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_view->viewport() && event->type() == QEvent::Wheel) {
        // Control and the wheel zoom, as in most programs.
        auto *wheel = static_cast<QWheelEvent *>(event);
        if (wheel->modifiers() & Qt::ControlModifier) {
            if (wheel->angleDelta().y() > 0)
                zoomIn();
            else if (wheel->angleDelta().y() < 0)
                zoomOut();
            return true;
        }
    }
    if (watched == m_view && event->type() == QEvent::KeyPress) {
        auto *key = static_cast<QKeyEvent *>(event);
        const int step = (key->modifiers() & Qt::ControlModifier) || !m_snap ? 1 : m_grid;
        const bool resize = key->modifiers() & Qt::ShiftModifier;
        int dx = 0, dy = 0;
        switch (key->key()) {
        case Qt::Key_Left: dx = -step; break;
        case Qt::Key_Right: dx = step; break;
        case Qt::Key_Up: dy = -step; break;
        case Qt::Key_Down: dy = step; break;
        case Qt::Key_Delete:
            deleteSelected();
            return true;
        default:
            return QWidget::eventFilter(watched, event);
        }
        if (selectedItems().isEmpty())
            return QWidget::eventFilter(watched, event);
        if (resize)
            resizeSelected(dx, dy);
        else
            moveSelected(dx, dy);
        return true;
    }
    return QWidget::eventFilter(watched, event);
}

void ReportDesigner::updatePanel()
{
    const auto refs = selectedItems();
    const bool single = refs.size() == 1;
    m_updatingPanel = true;
    for (QWidget *w : m_panel->findChildren<QWidget *>())
        if (w != m_panelTitle)
            w->setEnabled(single);
    if (!single) {
        m_panelTitle->setText(refs.isEmpty() ? QStringLiteral("未选择对象") : QStringLiteral("选择了 %1 个对象").arg(refs.size()));
        m_updatingPanel = false;
        return;
    }
    const ReportItem &item = m_tpl.band(refs[0].band).items[refs[0].index];
    static const QString kindNames[] = {QStringLiteral("文字"), QStringLiteral("线"), QStringLiteral("框"), QStringLiteral("图片")};
    m_panelTitle->setText(QStringLiteral("%1：%2 第 %3 项").arg(kindNames[int(item.kind)], bandKindCaption(refs[0].band)).arg(refs[0].index + 1));
    const bool text = item.kind == ItemKind::Text;
    for (QWidget *w : {static_cast<QWidget *>(m_text), static_cast<QWidget *>(m_field), static_cast<QWidget *>(m_format),
                       static_cast<QWidget *>(m_fontFamily), static_cast<QWidget *>(m_fontSize), static_cast<QWidget *>(m_bold),
                       static_cast<QWidget *>(m_align), static_cast<QWidget *>(m_wordWrap), static_cast<QWidget *>(m_canGrow),
                       static_cast<QWidget *>(m_frame[0]), static_cast<QWidget *>(m_frame[1]),
                       static_cast<QWidget *>(m_frame[2]), static_cast<QWidget *>(m_frame[3])})
        w->setEnabled(text);
    m_text->setText(item.text);
    m_field->setCurrentText(item.text.startsWith(u'[') && item.text.endsWith(u']') && item.text.count(u'[') == 1
                                ? item.text.mid(1, item.text.size() - 2)
                                : QString());
    m_format->setCurrentText(item.format);
    m_fontFamily->setCurrentFont(QFont(item.font.family.isEmpty() ? m_tpl.fontFamily : item.font.family));
    m_fontSize->setValue(item.font.size);
    m_bold->setChecked(item.font.bold);
    m_align->setCurrentIndex(int(item.align));
    m_frame[0]->setChecked(item.frame.left);
    m_frame[1]->setChecked(item.frame.top);
    m_frame[2]->setChecked(item.frame.right);
    m_frame[3]->setChecked(item.frame.bottom);
    m_wordWrap->setChecked(item.wordWrap);
    m_canGrow->setChecked(item.canGrow);
    const QRect g = item.geometry;
    const int values[4] = {g.x(), g.y(), g.width(), g.height()};
    for (int i = 0; i < 4; ++i)
        m_geometry[i]->setValue(values[i]);
    m_updatingPanel = false;
}

void ReportDesigner::panelEdited()
{
    if (m_updatingPanel || m_rebuilding)
        return;
    const auto refs = selectedItems();
    if (refs.size() != 1)
        return;
    ReportTemplate after = m_tpl;
    ReportItem &item = after.band(refs[0].band).items[refs[0].index];
    if (item.kind == ItemKind::Text) {
        item.text = m_text->text();
        item.format = m_format->currentText();
        const QString family = m_fontFamily->currentFont().family();
        if (family != (item.font.family.isEmpty() ? m_tpl.fontFamily : item.font.family))
            item.font.family = family == m_tpl.fontFamily ? QString() : family;
        item.font.size = m_fontSize->value();
        item.font.bold = m_bold->isChecked();
        item.align = HAlign(m_align->currentIndex());
        item.frame.left = m_frame[0]->isChecked();
        item.frame.top = m_frame[1]->isChecked();
        item.frame.right = m_frame[2]->isChecked();
        item.frame.bottom = m_frame[3]->isChecked();
        item.wordWrap = m_wordWrap->isChecked();
        item.canGrow = m_canGrow->isChecked();
    }
    item.geometry = QRect(m_geometry[0]->value(), m_geometry[1]->value(), m_geometry[2]->value(), m_geometry[3]->value());
    change(after, QStringLiteral("修改属性"));
}

void ReportDesigner::preview()
{
    Report report;
    report.setReportTemplate(m_tpl);
    if (m_fetch)
        report.setFetchRecords(m_fetch);
    else
        report.setFetchRecords([](ReportData &) {});
    report.preview(this);
}

void ReportDesigner::printerSetup()
{
    QPrinter printer(QPrinter::HighResolution);
    const PageSettings &p = m_tpl.page;
    QPageLayout layout = pageLayoutFor(p);
    layout.setMargins(QMarginsF(p.margins.left / 10.0, p.margins.top / 10.0, p.margins.right / 10.0, p.margins.bottom / 10.0));
    printer.setPageLayout(layout);
    QPageSetupDialog dialog(&printer, this);
    if (dialog.exec() != QDialog::Accepted)
        return;
    const QPageLayout chosen = printer.pageLayout();
    const QSizeF mm = chosen.pageSize().size(QPageSize::Millimeter);
    PageSettings page = p;
    page.paper = chosen.pageSize().name();
    page.width = qRound(mm.width() * TenthsPerMm);
    page.height = qRound(mm.height() * TenthsPerMm);
    page.orientation = chosen.orientation() == QPageLayout::Landscape ? Orientation::Landscape : Orientation::Portrait;
    const QMarginsF m = chosen.margins(QPageLayout::Millimeter);
    page.margins = Margins{qRound(m.left() * TenthsPerMm), qRound(m.top() * TenthsPerMm), qRound(m.right() * TenthsPerMm),
                           qRound(m.bottom() * TenthsPerMm)};
    setPageSettings(page);
}

} // namespace report
