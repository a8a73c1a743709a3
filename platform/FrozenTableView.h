#pragma once
// A table view whose first columns can be frozen: a second view, laid over
// the left edge of the first, shows the frozen columns and stays in place
// while the rest scrolls sideways. Both views share the model and the
// selection; rows scroll together, and column widths changed in either view
// apply to both.
#include <QTableView>

class QLineEdit;

class FrozenTableView : public QTableView {
    Q_OBJECT
public:
    explicit FrozenTableView(QWidget *parent = nullptr);

    void setModel(QAbstractItemModel *model) override;

    // 0 unfreezes. More columns than the model has are frozen as far as
    // they exist.
    void setFrozenColumns(int count);
    // Frozen cells never scroll sideways to come into view.
    void scrollTo(const QModelIndex &index, ScrollHint hint = EnsureVisible) override;
    int frozenColumns() const { return m_frozenCount; }
    // The overlay (hidden while nothing is frozen).
    QTableView *frozenView() const { return m_frozen; }

    // Keeps `pixels` free at the right of the cells, so that a grid without
    // a vertical scroll bar lines up with one that has it.
    void setRightMargin(int pixels);

    // Makes the cell current and opens its editor as a double-click would;
    // the editor's line edit, or nullptr when the cell cannot be edited.
    QLineEdit *editCell(const QModelIndex &index);

    // The first visible row (the scroll position in rows).
    int topRow() const;
    void setTopRow(int row);

signals:
    // A right-click anywhere on the grid, in this view's viewport coordinates.
    void contextMenuAt(const QPoint &viewportPos);

protected:
    void resizeEvent(QResizeEvent *event) override;
    QModelIndex moveCursor(CursorAction cursorAction, Qt::KeyboardModifiers modifiers) override;
    void updateGeometries() override;

private:
    void updateFrozenGeometry();
    void updateFrozenColumns();
    void syncWidthToFrozen(int logicalIndex, int oldSize, int newSize);
    void syncWidthFromFrozen(int logicalIndex, int oldSize, int newSize);

    QTableView *m_frozen = nullptr;
    int m_frozenCount = 0;
    bool m_syncing = false;
    int m_rightMargin = 0;
};
