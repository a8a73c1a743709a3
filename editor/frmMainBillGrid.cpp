#include "editor/frmMainBill.h"

#include "editor/EntryGridModel.h"
#include "editor/EntryTotalsModel.h"
#include "modules/ConnectionRoutines.h"
#include "modules/Session.h"
#include "platform/DbError.h"
#include "platform/FormShow.h"
#include "platform/FrozenTableView.h"
#include "platform/Prompt.h"
#include "platform/RowNumberHeader.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QScrollBar>
#include <QVBoxLayout>

namespace {
// The entry finder: its list is made from the grid when it opens, so that
// loading a bill of a thousand entries does not fill it in vain.
class EntryJumpBox : public QComboBox {
public:
    EntryJumpBox(QWidget *parent, std::function<void()> fill)
        : QComboBox(parent), m_fill(std::move(fill))
    {
    }
    void showPopup() override
    {
        m_fill();
        QComboBox::showPopup();
    }

private:
    std::function<void()> m_fill;
};
} // namespace

// The entries fps1 and under them the totals line fps2: the same columns,
// scrolled and sized with the entries.
void frmMainBill::buildEntryGrid(QWidget *parent, QVBoxLayout *column)
{
    m_grid = new EntryGridModel(this);
    fps1 = new FrozenTableView(parent);
    fps1->setObjectName(QStringLiteral("fps1"));
    fps1->setWordWrap(false);
    fps1->setModel(m_grid);
    fps1->setItemDelegateForColumn(ColThisAmount - 1, new AmountDelegate(fps1));
    fps1->frozenView()->setItemDelegateForColumn(ColThisAmount - 1, new AmountDelegate(fps1->frozenView()));
    fps1->setEditTriggers(QAbstractItemView::DoubleClicked | QAbstractItemView::EditKeyPressed | QAbstractItemView::AnyKeyPressed
                          | QAbstractItemView::SelectedClicked);
    fps1->setSelectionMode(QAbstractItemView::SingleSelection);
    fps1->setAlternatingRowColors(true);
    fps1->verticalHeader()->setDefaultSectionSize(24);
    const int widths[kEntryColumnCount] = {120, 96, 116, 116, 116, 124, 80, 80, 80, 80};
    for (int c = 0; c < kEntryColumnCount; ++c)
        fps1->setColumnWidth(c, widths[c]);
    // Columns 7 to 10 carry nothing for an invoice.
    for (int c = 7; c <= kEntryColumnCount; ++c)
        fps1->setColumnHidden(c - 1, true);
    fps1->horizontalHeader()->setStretchLastSection(false);
    column->addWidget(fps1, 1);

    // The totals line: the same columns, scrolled and sized with the entries.
    m_totals = new EntryTotalsModel(m_grid, this);
    fps2 = new FrozenTableView(parent);
    fps2->setObjectName(QStringLiteral("fps2"));
    fps2->setModel(m_totals);
    fps2->horizontalHeader()->hide();
    fps2->setWordWrap(false);
    fps2->setFocusPolicy(Qt::NoFocus);
    fps2->setSelectionMode(QAbstractItemView::NoSelection);
    fps2->setEditTriggers(QAbstractItemView::NoEditTriggers);
    fps2->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    fps2->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    fps2->verticalHeader()->setDefaultSectionSize(24);
    fps2->setFixedHeight(24 + 2 * fps2->frameWidth());
    for (int c = 0; c < kEntryColumnCount; ++c) {
        fps2->setColumnWidth(c, widths[c]);
        fps2->setColumnHidden(c, fps1->isColumnHidden(c));
    }
    column->addWidget(fps2);
    connect(fps1->horizontalHeader(), &QHeaderView::sectionResized, fps2, [this](int c, int, int width) { fps2->setColumnWidth(c, width); });
    connect(fps1->horizontalScrollBar(), &QAbstractSlider::valueChanged, fps2->horizontalScrollBar(), &QAbstractSlider::setValue);
    // The row labels widen with the row count; the scroll bar comes and goes.
    connect(fps1->verticalHeader(), &QHeaderView::sectionCountChanged, this, [this] { alignTotals(); });
    connect(fps1->verticalScrollBar(), &QAbstractSlider::rangeChanged, this, [this] { alignTotals(); });
    connect(m_grid, &EntryGridModel::edited, this, [this] { markChanged(); });
}

// Biller and checker, and the entry finder.
QWidget *frmMainBill::buildFooter(QWidget *parent)
{
    auto *foot = new QWidget(parent);
    auto *footRow = new QHBoxLayout(foot);
    footRow->setContentsMargins(0, 0, 0, 0);
    footRow->addWidget(new QLabel(QStringLiteral("制单人"), foot));
    txtBiller = new QLineEdit(foot);
    txtBiller->setObjectName(QStringLiteral("txtBiller"));
    txtBiller->setReadOnly(true);
    txtBiller->setMaximumWidth(140);
    footRow->addWidget(txtBiller);
    footRow->addSpacing(24);
    footRow->addWidget(new QLabel(QStringLiteral("审核人"), foot));
    txtChecker = new QLineEdit(foot);
    txtChecker->setObjectName(QStringLiteral("txtChecker"));
    txtChecker->setReadOnly(true);
    txtChecker->setMaximumWidth(140);
    footRow->addWidget(txtChecker);
    footRow->addStretch(1);
    footRow->addWidget(new QLabel(QStringLiteral("定位入库单"), foot));
    cmbEntry = new EntryJumpBox(foot, [this] { cmbEntry_DropDown(); });
    cmbEntry->setObjectName(QStringLiteral("cmbEntry"));
    cmbEntry->setToolTip(QStringLiteral("选择入库单号，跳到它所在的明细行"));
    cmbEntry->setMinimumWidth(160);
    footRow->addWidget(cmbEntry);
    connect(cmbEntry, &QComboBox::activated, this, [this](int index) { cmbEntry_Click(index); });
    return foot;
}

// What is still being typed into a cell counts.
void frmMainBill::commitTypedCell()
{
    for (QTableView *view : {static_cast<QTableView *>(fps1), fps1->frozenView()}) {
        QAbstractItemDelegate *delegate = view->itemDelegateForColumn(ColThisAmount - 1);
        for (QLineEdit *editor : view->viewport()->findChildren<QLineEdit *>()) {
            if (editor->isVisible()) {
                emit delegate->commitData(editor);
                emit delegate->closeEditor(editor);
            }
        }
    }
}

// --- Filling from stock bills ------------------------------------------------

void frmMainBill::cmdList_Click()
{
    Session &s = m_session;
    const int supplier = m_layout.supplierIndex();
    if (supplier < 0)
        return;
    const QString supplierId = lookupItemId(m_lookupValues[supplier]);
    if (supplierId.isEmpty())
        return;
    const QString total = txtAmount->text().trimmed();
    if (total.isEmpty()) {
        Prompt::msgBox(QStringLiteral("请录入开票金额！"), Prompt::Exclamation, s.msgTitle);
        return;
    }
    if (!numericAmount(total)) {
        Prompt::msgBox(QStringLiteral("金额请录入数字！"), Prompt::Exclamation, s.msgTitle);
        return;
    }
    std::vector<EntryRow> rows;
    try {
        ConnectionScope scope(s);
        WaitCursor wait;
        OpenConnection(s);
        BillStore store(*s.gConn, BillSettings::fromSession(s));
        rows = store.openStockBills(supplierId, m_grid->rows());
    } catch (const DbError &) {
        // A failed query adds nothing; the grid keeps its rows.
    }
    if (!rows.empty()) {
        m_grid->appendRows(rows);
        markChanged();
        fps1->setCurrentIndex(m_grid->index(m_grid->gridRowCount() - int(rows.size()), ColThisAmount - 1));
    }
}

// --- Frozen columns, totals, the entry finder ---------------------------------

// The stored number of frozen columns, when it is one the grid can take.
void frmMainBill::applyFrozenColumns()
{
    const int count = frozenEntryColumns(m_lockCols).value_or(0);
    fps1->setFrozenColumns(count);
    fps2->setFrozenColumns(count);
}

void frmMainBill::MenuLockCol_Click()
{
    const std::optional<QString> answer = Prompt::inputBox(QStringLiteral("请输入锁定列数(整型)"), m_session.msgTitle, m_lockCols);
    if (!answer)
        return;
    const std::optional<int> count = frozenEntryColumns(*answer);
    if (!count) {
        Prompt::msgBox(QStringLiteral("锁定列数请录入0到%1之间的整数！").arg(ColThisAmount - 1), Prompt::Exclamation, m_session.msgTitle);
        return;
    }
    m_lockCols = QString::number(*count);
    applyFrozenColumns();
}

// The totals line keeps its cells under the entries' cells: the same row
// header width, and room at the right where the entries have a scroll bar.
void frmMainBill::alignTotals()
{
    auto *rowHeader = static_cast<RowNumberHeader *>(fps1->verticalHeader());
    const int totalsLabel = fps2->verticalHeader()->fontMetrics().horizontalAdvance(QStringLiteral("合计")) + 12;
    const int width = std::max(rowHeader->labelWidth(), totalsLabel);
    fps1->verticalHeader()->setMinimumWidth(width);
    fps2->verticalHeader()->setMinimumWidth(width);
    QScrollBar *bar = fps1->verticalScrollBar();
    fps2->setRightMargin(bar->maximum() > bar->minimum() ? bar->sizeHint().width() : 0);
}

// The finder lists the entries by their stock bills as it opens.
void frmMainBill::cmbEntry_DropDown()
{
    cmbEntry->clear();
    for (int r = 1; r <= m_grid->gridRowCount(); ++r)
        cmbEntry->addItem(QStringLiteral("%1  %2").arg(r).arg(m_grid->cellText(r, ColStockBillNo)));
}

void frmMainBill::cmbEntry_Click(int index)
{
    if (index < 0 || index >= m_grid->gridRowCount())
        return;
    const QModelIndex at = m_grid->index(index, ColThisAmount - 1);
    fps1->setCurrentIndex(at);
    fps1->scrollTo(at, QAbstractItemView::PositionAtCenter);
    fps1->setFocus();
}
