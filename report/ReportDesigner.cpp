#include "report/ReportDesignerItems.h"

#include "report/Report.h"
#include "report/ReportFile.h"

#include <QAction>
#include <QComboBox>
#include <QGraphicsScene>
#include <QGraphicsView>
#include <QKeyEvent>
#include <QPageSetupDialog>
#include <QPrinter>
#include <QSplitter>
#include <QToolBar>
#include <QUndoStack>
#include <QVBoxLayout>
#include <QWheelEvent>

namespace report {

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

    buildPanel();

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
