#include "modules/frmBatchno.h"

#include "modules/Session.h"
#include "modules/ConnectionRoutines.h"
#include "platform/Amount.h"
#include "platform/Connection.h"
#include "platform/DbError.h"
#include "platform/Prompt.h"
#include "platform/SearchListKeys.h"

#include <QApplication>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QTableView>
#include <QVBoxLayout>

namespace {
enum Column { ColBatchNo, ColBatch, ColUnit, ColQty, ColumnCount };
} // namespace

std::vector<BatchRow> loadBatchRows(Session &s, const QString &itemId)
{
    WaitCursor wait;
    ConnectionScope scope(s);
    try {
        OpenConnection(s);
        return readBatchRows(*s.gConn, itemId);
    } catch (const DbError &e) {
        Prompt::msgBox(e.description(), Prompt::Critical, s.msgTitle);
        return {};
    }
}

BatchTableModel::BatchTableModel(QObject *parent)
    : QAbstractTableModel(parent)
{
}

void BatchTableModel::setRows(std::vector<BatchRow> rows)
{
    beginResetModel();
    m_rows = std::move(rows);
    endResetModel();
}

int BatchTableModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_rows.size());
}

int BatchTableModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QVariant BatchTableModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= int(m_rows.size()))
        return {};
    const BatchRow &row = m_rows[size_t(index.row())];
    if (role == Qt::DisplayRole) {
        switch (index.column()) {
        case ColBatchNo: return row.batchNo;
        case ColBatch: return row.batch;
        case ColUnit: return row.unitName;
        case ColQty: return row.qty;
        default: return {};
        }
    }
    if (role == Qt::TextAlignmentRole)
        return index.column() == ColQty ? int(Qt::AlignRight | Qt::AlignVCenter) : int(Qt::AlignLeft | Qt::AlignVCenter);
    return {};
}

QVariant BatchTableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return QAbstractTableModel::headerData(section, orientation, role);
    switch (section) {
    case ColBatchNo: return QStringLiteral("批号");
    case ColBatch: return QStringLiteral("批次");
    case ColUnit: return QStringLiteral("单位");
    case ColQty: return QStringLiteral("数量");
    default: return {};
    }
}

frmBatchno::frmBatchno(Session &s, QWidget *parent)
    : QDialog(parent), m_session(s)
{
    setObjectName(QStringLiteral("frmBatchno"));
    setWindowTitle(QStringLiteral("选择批号"));

    auto *label = new QLabel(QStringLiteral("查找批号:"), this);
    label->setObjectName(QStringLiteral("lblSearch"));
    m_search = new QLineEdit(this);
    m_search->setObjectName(QStringLiteral("txtSearch"));
    m_search->setPlaceholderText(QStringLiteral("输入批号的一部分"));
    label->setBuddy(m_search);

    m_model = new BatchTableModel(this);
    m_grid = new QTableView(this);
    m_grid->setObjectName(QStringLiteral("vsf1"));
    m_grid->setModel(m_model);
    m_grid->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_grid->setSelectionMode(QAbstractItemView::SingleSelection);
    m_grid->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_grid->setAlternatingRowColors(true);
    m_grid->setWordWrap(false);
    m_grid->verticalHeader()->hide();
    m_grid->verticalHeader()->setDefaultSectionSize(m_grid->fontMetrics().height() + 8);
    m_grid->horizontalHeader()->setHighlightSections(false);
    m_grid->horizontalHeader()->setDefaultAlignment(Qt::AlignCenter);
    m_grid->horizontalHeader()->setStretchLastSection(true);
    // The grid is for looking and choosing; typing belongs to the search box.
    m_grid->setFocusPolicy(Qt::ClickFocus);
    const int em = m_grid->fontMetrics().horizontalAdvance(QStringLiteral("批"));
    m_grid->setColumnWidth(ColBatchNo, em * 10);
    m_grid->setColumnWidth(ColBatch, em * 10);
    m_grid->setColumnWidth(ColUnit, em * 5);
    m_grid->setColumnWidth(ColQty, em * 6);

    auto *searchRow = new QHBoxLayout;
    searchRow->addWidget(label);
    searchRow->addWidget(m_search, 1);
    auto *layout = new QVBoxLayout(this);
    layout->addLayout(searchRow);
    layout->addWidget(m_grid, 1);
    resize(em * 36, em * 24);

    connect(m_search, &QLineEdit::textChanged, this, &frmBatchno::txtSearch_Change);
    connect(m_grid, &QAbstractItemView::doubleClicked, this, [this](const QModelIndex &index) {
        if (!index.isValid())
            return;
        setCurrentRow(index.row() + 1);
        choose();
    });
    m_search->installEventFilter(this);
    m_grid->installEventFilter(this);
    m_search->setFocus();

    loadRows();
}

int frmBatchno::gridRows() const
{
    return m_model->rowCount() + 1;
}

int frmBatchno::currentRow() const
{
    const QModelIndex current = m_grid->currentIndex();
    return current.isValid() ? current.row() + 1 : 0;
}

void frmBatchno::setCurrentRow(int gridRow)
{
    if (gridRow < 1 || gridRow >= gridRows())
        return;
    const QModelIndex index = m_model->index(gridRow - 1, ColBatchNo);
    m_grid->selectionModel()->setCurrentIndex(index, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    m_grid->scrollTo(index);
}

QString frmBatchno::cellText(int gridRow, int column) const
{
    if (gridRow == 0)
        return m_model->headerData(column, Qt::Horizontal).toString();
    return m_model->data(m_model->index(gridRow - 1, column)).toString();
}

void frmBatchno::loadRows()
{
    m_model->setRows(loadBatchRows(m_session, m_session.gBatchItemId));
    if (!m_model->rows().empty())
        setCurrentRow(1);
}

void frmBatchno::txtSearch_Change()
{
    const int row = findBatchRow(m_model->rows(), m_search->text());
    if (row > 0)
        setCurrentRow(row);
}

void frmBatchno::choose()
{
    const int row = currentRow();
    if (gridRows() <= 1 || row == 0)
        return;
    m_session.gBatchNo = cellText(row, ColBatchNo);
    accept();
}

bool frmBatchno::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() != QEvent::KeyPress)
        return QDialog::eventFilter(watched, event);
    switch (routeSearchListKey(watched, static_cast<QKeyEvent *>(event), m_search, m_grid)) {
    case SearchKeyAction::Choose:
        choose();
        return true;
    case SearchKeyAction::Navigated:
        if (currentRow() == 0 && gridRows() > 1)
            setCurrentRow(1);
        return true;
    case SearchKeyAction::Typed:
        return true;
    case SearchKeyAction::None:
        break;
    }
    return QDialog::eventFilter(watched, event);
}

bool showBatchPicker(Session &s, QWidget *parent)
{
    frmBatchno form(s, parent);
    return form.exec() == QDialog::Accepted;
}
