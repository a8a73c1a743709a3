#include "printing/frmFieldDescription.h"

#include "platform/Prompt.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>

frmFieldDescription::frmFieldDescription(QWidget *parent)
    : QDialog(parent)
{
    setObjectName(QStringLiteral("frmFieldDescription"));
    setWindowTitle(QStringLiteral("字段说明"));

    vsf1 = new QTableWidget(0, 2, this);
    vsf1->setObjectName(QStringLiteral("vsf1"));
    vsf1->setHorizontalHeaderLabels({QStringLiteral("字段说明"), QStringLiteral("字段名")});
    vsf1->setSelectionBehavior(QAbstractItemView::SelectRows);
    vsf1->setSelectionMode(QAbstractItemView::SingleSelection);
    vsf1->setEditTriggers(QAbstractItemView::NoEditTriggers);
    vsf1->setAlternatingRowColors(true);
    vsf1->setWordWrap(false);
    vsf1->verticalHeader()->hide();
    vsf1->verticalHeader()->setDefaultSectionSize(vsf1->fontMetrics().height() + 8);
    vsf1->horizontalHeader()->setHighlightSections(false);
    vsf1->horizontalHeader()->setStretchLastSection(true);
    const int em = vsf1->fontMetrics().horizontalAdvance(QStringLiteral("字"));
    vsf1->setColumnWidth(0, em * 9);

    auto *copy1 = new QPushButton(QStringLiteral("复制说明"), this);
    copy1->setObjectName(QStringLiteral("cmdCopy1"));
    auto *copy2 = new QPushButton(QStringLiteral("复制字段名"), this);
    copy2->setObjectName(QStringLiteral("cmdCopy2"));
    auto *close = new QPushButton(QStringLiteral("关闭"), this);
    close->setObjectName(QStringLiteral("cmdClose"));
    connect(copy1, &QPushButton::clicked, this, &frmFieldDescription::cmdCopy1_Click);
    connect(copy2, &QPushButton::clicked, this, &frmFieldDescription::cmdCopy2_Click);
    connect(close, &QPushButton::clicked, this, &QDialog::close);
    connect(vsf1, &QTableWidget::cellDoubleClicked, this, [this](int, int) { cmdCopy2_Click(); });

    auto *buttons = new QHBoxLayout;
    buttons->addWidget(copy1);
    buttons->addWidget(copy2);
    buttons->addStretch(1);
    buttons->addWidget(close);
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(vsf1, 1);
    layout->addLayout(buttons);
    resize(em * 26, em * 44);
}

void frmFieldDescription::clear()
{
    vsf1->setRowCount(0);
}

void frmFieldDescription::addItem(const QString &line)
{
    const QStringList cells = line.split(u'\t');
    const int row = vsf1->rowCount();
    vsf1->insertRow(row);
    for (int c = 0; c < 2; ++c)
        vsf1->setItem(row, c, new QTableWidgetItem(cells.value(c)));
    if (row == 0)
        vsf1->setCurrentCell(0, 0);
}

int frmFieldDescription::gridRows() const
{
    return vsf1->rowCount() + 1;
}

int frmFieldDescription::currentRow() const
{
    const int row = vsf1->currentRow();
    return row >= 0 ? row + 1 : 0;
}

void frmFieldDescription::setCurrentRow(int gridRow)
{
    if (gridRow < 1 || gridRow >= gridRows())
        return;
    vsf1->setCurrentCell(gridRow - 1, 0);
}

QString frmFieldDescription::cellText(int gridRow, int column) const
{
    if (gridRow < 1 || gridRow >= gridRows() || column < 1 || column > 2)
        return {};
    const QTableWidgetItem *item = vsf1->item(gridRow - 1, column - 1);
    return item ? item->text() : QString();
}

void frmFieldDescription::copyCell(int column)
{
    if (gridRows() <= 1 || currentRow() < 1)
        return;
    Prompt::setClipboardText(cellText(currentRow(), column));
}

void frmFieldDescription::cmdCopy1_Click()
{
    copyCell(1);
}

void frmFieldDescription::cmdCopy2_Click()
{
    copyCell(2);
}
