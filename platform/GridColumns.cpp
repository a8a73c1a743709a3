#include "platform/GridColumns.h"

#include <QHeaderView>
#include <QTableView>
#include <QTableWidget>

HeaderGridColumns::HeaderGridColumns(QHeaderView *header) : m_header(header) {}

int HeaderGridColumns::columnCount() const
{
    return m_header ? m_header->count() : 0;
}

int HeaderGridColumns::columnWidth(int column) const
{
    if (!m_header || column < 0 || column >= m_header->count())
        return 0;
    return m_header->sectionSize(column);
}

void HeaderGridColumns::setColumnWidth(int column, int width)
{
    if (!m_header || column < 0 || column >= m_header->count())
        return;
    if (width <= 0 && m_header->isSectionHidden(column))
        return;
    m_header->resizeSection(column, std::max(width, 0));
}

TableViewGridColumns::TableViewGridColumns(QTableView *view)
    : HeaderGridColumns(view ? view->horizontalHeader() : nullptr)
{
}

TableWidgetGridColumns::TableWidgetGridColumns(QTableWidget *widget) : TableViewGridColumns(widget) {}
