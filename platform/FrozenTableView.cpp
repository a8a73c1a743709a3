#include "platform/FrozenTableView.h"

#include "platform/RowNumberHeader.h"

#include <QHeaderView>
#include <QLineEdit>
#include <QScrollBar>

FrozenTableView::FrozenTableView(QWidget *parent)
    : QTableView(parent)
{
    setVerticalHeader(new RowNumberHeader(this));
    m_frozen = new QTableView(this);
    // The overlay is named after the grid: vsf1Frozen, fps1Frozen.
    connect(this, &QObject::objectNameChanged, m_frozen, [this](const QString &name) { m_frozen->setObjectName(name + QStringLiteral("Frozen")); });
    m_frozen->setFocusPolicy(Qt::NoFocus);
    m_frozen->verticalHeader()->hide();
    m_frozen->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_frozen->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_frozen->setVerticalScrollMode(QAbstractItemView::ScrollPerItem);
    m_frozen->setContextMenuPolicy(Qt::CustomContextMenu);
    m_frozen->setStyleSheet(QStringLiteral("QTableView { border: none; border-right: 2px solid #7f9db9; }"));
    m_frozen->hide();
    viewport()->stackUnder(m_frozen);

    setVerticalScrollMode(QAbstractItemView::ScrollPerItem);
    setContextMenuPolicy(Qt::CustomContextMenu);

    connect(this, &QWidget::customContextMenuRequested, this, &FrozenTableView::contextMenuAt);
    connect(m_frozen, &QWidget::customContextMenuRequested, this, [this](const QPoint &pos) {
        emit contextMenuAt(viewport()->mapFrom(m_frozen->viewport(), pos));
    });
    connect(m_frozen, &QAbstractItemView::doubleClicked, this, &QAbstractItemView::doubleClicked);

    connect(horizontalHeader(), &QHeaderView::sectionResized, this, &FrozenTableView::syncWidthToFrozen);
    connect(m_frozen->horizontalHeader(), &QHeaderView::sectionResized, this, &FrozenTableView::syncWidthFromFrozen);
    connect(m_frozen->verticalScrollBar(), &QAbstractSlider::valueChanged, verticalScrollBar(), &QAbstractSlider::setValue);
    connect(verticalScrollBar(), &QAbstractSlider::valueChanged, m_frozen->verticalScrollBar(), &QAbstractSlider::setValue);
}

void FrozenTableView::setModel(QAbstractItemModel *model)
{
    QTableView::setModel(model);
    m_frozen->setModel(model);
    m_frozen->setSelectionModel(selectionModel());
    if (model) {
        connect(model, &QAbstractItemModel::modelReset, this, &FrozenTableView::updateFrozenColumns);
        connect(model, &QAbstractItemModel::columnsInserted, this, &FrozenTableView::updateFrozenColumns);
        connect(model, &QAbstractItemModel::columnsRemoved, this, &FrozenTableView::updateFrozenColumns);
    }
    updateFrozenColumns();
}

void FrozenTableView::setFrozenColumns(int count)
{
    m_frozenCount = std::max(0, count);
    updateFrozenColumns();
}

int FrozenTableView::topRow() const
{
    return verticalScrollBar()->value();
}

void FrozenTableView::setTopRow(int row)
{
    verticalScrollBar()->setValue(row);
}

void FrozenTableView::updateFrozenColumns()
{
    // Showing or hiding a section of the overlay resizes it, which must not
    // reach the widths of this view.
    const bool wasSyncing = m_syncing;
    m_syncing = true;
    m_frozen->setSelectionBehavior(selectionBehavior());
    m_frozen->setSelectionMode(selectionMode());
    m_frozen->setEditTriggers(editTriggers());
    m_frozen->setPalette(palette());
    m_frozen->setFont(font());
    m_frozen->setWordWrap(wordWrap());
    m_frozen->verticalHeader()->setDefaultSectionSize(verticalHeader()->defaultSectionSize());
    m_frozen->horizontalHeader()->setFixedHeight(horizontalHeader()->height());
    const int columns = model() ? model()->columnCount() : 0;
    const int frozen = std::min(m_frozenCount, columns);
    for (int c = 0; c < columns; ++c) {
        m_frozen->setColumnHidden(c, c >= frozen);
        if (c < frozen)
            m_frozen->setColumnWidth(c, columnWidth(c));
    }
    m_frozen->setVisible(frozen > 0);
    m_syncing = wasSyncing;
    updateFrozenGeometry();
}

void FrozenTableView::syncWidthToFrozen(int logicalIndex, int, int newSize)
{
    if (m_syncing || logicalIndex >= m_frozenCount || m_frozen->columnWidth(logicalIndex) == newSize)
        return;
    m_syncing = true;
    m_frozen->setColumnWidth(logicalIndex, newSize);
    m_syncing = false;
    updateFrozenGeometry();
}

void FrozenTableView::syncWidthFromFrozen(int logicalIndex, int, int newSize)
{
    if (m_syncing || logicalIndex >= m_frozenCount || columnWidth(logicalIndex) == newSize)
        return;
    m_syncing = true;
    setColumnWidth(logicalIndex, newSize);
    m_syncing = false;
    updateFrozenGeometry();
}

void FrozenTableView::resizeEvent(QResizeEvent *event)
{
    QTableView::resizeEvent(event);
    updateFrozenGeometry();
}

void FrozenTableView::setRightMargin(int pixels)
{
    if (pixels == m_rightMargin)
        return;
    m_rightMargin = pixels;
    updateGeometries();
}

void FrozenTableView::updateGeometries()
{
    QTableView::updateGeometries();
    // The table sets the left and top margins for its headers and clears the
    // right one.
    if (m_rightMargin > 0) {
        const QMargins margins = viewportMargins();
        setViewportMargins(margins.left(), margins.top(), m_rightMargin, margins.bottom());
    }
    if (m_frozen)
        updateFrozenGeometry();
}

void FrozenTableView::updateFrozenGeometry()
{
    if (!m_frozen || m_frozen->isHidden())
        return;
    int width = 0;
    const int columns = model() ? std::min(m_frozenCount, model()->columnCount()) : 0;
    for (int c = 0; c < columns; ++c)
        width += columnWidth(c);
    const int left = !verticalHeader()->isHidden() ? verticalHeader()->width() : 0;
    m_frozen->horizontalHeader()->setFixedHeight(horizontalHeader()->height());
    m_frozen->setGeometry(left + frameWidth(), frameWidth(), width + 2,
                          viewport()->height() + horizontalHeader()->height());
}

QModelIndex FrozenTableView::moveCursor(CursorAction cursorAction, Qt::KeyboardModifiers modifiers)
{
    const QModelIndex current = QTableView::moveCursor(cursorAction, modifiers);
    // Moving left into columns under the overlay scrolls them into view.
    if (!m_frozen->isHidden() && cursorAction == MoveLeft && current.column() >= m_frozenCount) {
        int frozenWidth = 0;
        for (int c = 0; c < m_frozenCount; ++c)
            frozenWidth += columnWidth(c);
        const int x = visualRect(current).topLeft().x();
        if (x < frozenWidth) {
            const int newValue = horizontalScrollBar()->value() + x - frozenWidth;
            horizontalScrollBar()->setValue(newValue);
        }
    }
    return current;
}

void FrozenTableView::scrollTo(const QModelIndex &index, ScrollHint hint)
{
    // Frozen cells never need horizontal scrolling.
    if (index.column() >= m_frozenCount || m_frozen->isHidden())
        QTableView::scrollTo(index, hint);
}

QLineEdit *FrozenTableView::editCell(const QModelIndex &index)
{
    setCurrentIndex(index);
    edit(index);
    QLineEdit *editor = nullptr;
    for (QLineEdit *e : viewport()->findChildren<QLineEdit *>())
        if (e->isVisible())
            editor = e;
    return editor;
}
