#include "platform/RowNumberHeader.h"

#include <QStyle>
#include <QStyleOptionHeader>

RowNumberHeader::RowNumberHeader(QWidget *parent)
    : QHeaderView(Qt::Vertical, parent)
{
    setSectionsClickable(true);
    setHighlightSections(true);
}

QSize RowNumberHeader::sizeHint() const
{
    return QSize(std::max(labelWidth(), minimumWidth()), length());
}

int RowNumberHeader::labelWidth() const
{
    // The widest label is the largest number drawn with the widest digit.
    const int rows = model() ? model()->rowCount(rootIndex()) : 0;
    const int digits = int(QString::number(std::max(rows, 1)).size());
    QStyleOptionHeader option;
    initStyleOption(&option);
    option.text = QString(digits, u'0');
    option.fontMetrics = fontMetrics();
    return style()->sizeFromContents(QStyle::CT_HeaderSection, &option, QSize(), this).width();
}
