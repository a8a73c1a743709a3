#pragma once
// The view of a grid that column-layout persistence needs: how many columns
// it has, and the width of each, read and set by index (0 = first column of
// the widget). Widths are in the widget's own units (pixels).
#include <QPointer>

class QHeaderView;
class QTableView;
class QTableWidget;

class GridColumns {
public:
    virtual ~GridColumns() = default;
    virtual int columnCount() const = 0;
    virtual int columnWidth(int column) const = 0;
    virtual void setColumnWidth(int column, int width) = 0;
};

// The sections of a horizontal header. A hidden section reads as width 0; a
// width of 0 or less given for a hidden section is ignored, so the column
// keeps the width it will have when shown again.
class HeaderGridColumns : public GridColumns {
public:
    explicit HeaderGridColumns(QHeaderView *header);
    int columnCount() const override;
    int columnWidth(int column) const override;
    void setColumnWidth(int column, int width) override;

private:
    QPointer<QHeaderView> m_header;
};

// The horizontal header of a table view (a QTableWidget is one too).
class TableViewGridColumns : public HeaderGridColumns {
public:
    explicit TableViewGridColumns(QTableView *view);
};

class TableWidgetGridColumns : public TableViewGridColumns {
public:
    explicit TableWidgetGridColumns(QTableWidget *widget);
};
