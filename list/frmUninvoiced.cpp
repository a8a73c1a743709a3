#include "list/frmUninvoiced.h"

#include "list/ListExport.h"
#include "modules/ConnectionRoutines.h"
#include "modules/FormLauncher.h"
#include "modules/Privilege.h"
#include "modules/Session.h"
#include "platform/Clock.h"
#include "platform/DbError.h"
#include "platform/FormShow.h"
#include "platform/Prompt.h"

#include <QAbstractItemModel>
#include <QDateEdit>
#include <QFont>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QTreeView>

#include <functional>
#include <QVBoxLayout>

// The suppliers with their totals and the total row last; a supplier's
// bills become its children when it is first expanded, read through the
// loader the form gives. Supplier and total rows in bold.
class UninvoicedModel : public QAbstractItemModel {
public:
    using Loader = std::function<std::vector<UninvoicedBill>(const UninvoicedSupplier &)>;
    UninvoicedModel(Loader loader, QObject *parent)
        : QAbstractItemModel(parent)
        , m_loader(std::move(loader))
    {
    }

    void setTotals(const UninvoicedTotals &totals)
    {
        beginResetModel();
        m_totals = &totals;
        m_rows.clear();
        m_bills.assign(totals.suppliers.size(), {});
        m_loaded.assign(totals.suppliers.size(), false);
        for (const UninvoicedSupplier &s : totals.suppliers)
            m_rows.push_back(uninvoicedSupplierCells(s));
        m_rows.push_back(uninvoicedTotalCells(totals));
        endResetModel();
    }
    // The supplier a top row or a bill row belongs to; -1 on the total row.
    int supplierOf(const QModelIndex &index) const
    {
        if (!index.isValid())
            return -1;
        if (index.internalId() != 0)
            return int(index.internalId()) - 1;
        return index.row() < int(m_loaded.size()) ? index.row() : -1;
    }
    // The bill of a bill row; null on other rows.
    const UninvoicedBill *billOf(const QModelIndex &index) const
    {
        if (!index.isValid() || index.internalId() == 0)
            return nullptr;
        const auto &bills = m_bills[index.internalId() - 1];
        return index.row() < int(bills.size()) ? &bills[size_t(index.row())].bill : nullptr;
    }

    QModelIndex index(int row, int column, const QModelIndex &parent = {}) const override
    {
        if (!hasIndex(row, column, parent))
            return {};
        return createIndex(row, column, parent.isValid() ? quintptr(parent.row() + 1) : 0);
    }
    QModelIndex parent(const QModelIndex &child) const override
    {
        if (!child.isValid() || child.internalId() == 0)
            return {};
        return createIndex(int(child.internalId()) - 1, 0, quintptr(0));
    }
    int rowCount(const QModelIndex &parent = {}) const override
    {
        if (!parent.isValid())
            return int(m_rows.size());
        if (parent.internalId() != 0 || parent.column() != 0)
            return 0;
        const int s = supplierOf(parent);
        return s < 0 ? 0 : int(m_bills[size_t(s)].size());
    }
    int columnCount(const QModelIndex & = {}) const override { return 7; }
    bool hasChildren(const QModelIndex &parent = {}) const override
    {
        if (!parent.isValid())
            return !m_rows.empty();
        const int s = parent.internalId() == 0 && parent.column() == 0 ? supplierOf(parent) : -1;
        return s >= 0 && m_totals->suppliers[size_t(s)].billCount > 0;
    }
    bool canFetchMore(const QModelIndex &parent) const override
    {
        const int s = parent.isValid() && parent.internalId() == 0 ? supplierOf(parent) : -1;
        return s >= 0 && !m_loaded[size_t(s)];
    }
    void fetchMore(const QModelIndex &parent) override
    {
        if (!canFetchMore(parent))
            return;
        const size_t s = size_t(supplierOf(parent));
        m_loaded[s] = true; // also when the read fails: a new query reads again
        const UninvoicedSupplier &supplier = m_totals->suppliers[s];
        std::vector<UninvoicedBill> bills = m_loader(supplier);
        if (bills.empty())
            return;
        beginInsertRows(parent.sibling(parent.row(), 0), 0, int(bills.size()) - 1);
        auto &rows = m_bills[s];
        rows.reserve(bills.size());
        for (UninvoicedBill &b : bills) {
            QStringList cells = uninvoicedBillCells(supplier, b);
            cells[0].clear(); // under the supplier's row
            cells[1].clear();
            rows.push_back({std::move(b), std::move(cells)});
        }
        endInsertRows();
    }
    QVariant data(const QModelIndex &index, int role) const override
    {
        const bool bill = index.internalId() != 0;
        switch (role) {
        case Qt::DisplayRole:
            return bill ? m_bills[index.internalId() - 1][size_t(index.row())].cells.value(index.column())
                        : m_rows[size_t(index.row())].value(index.column());
        case Qt::TextAlignmentRole:
            return index.column() >= 4 ? QVariant(Qt::AlignRight | Qt::AlignVCenter) : QVariant(Qt::AlignLeft | Qt::AlignVCenter);
        case Qt::FontRole:
            if (!bill) {
                QFont bold;
                bold.setBold(true);
                return bold;
            }
            return {};
        default:
            return {};
        }
    }
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override
    {
        if (orientation == Qt::Horizontal && role == Qt::DisplayRole)
            return uninvoicedHeader().value(section);
        return QAbstractItemModel::headerData(section, orientation, role);
    }

private:
    struct BillRow {
        UninvoicedBill bill;
        QStringList cells;
    };
    Loader m_loader;
    const UninvoicedTotals *m_totals = nullptr;
    std::vector<QStringList> m_rows; // a line per supplier, the total last
    std::vector<std::vector<BillRow>> m_bills;
    std::vector<bool> m_loaded;
};

namespace {
QPointer<frmUninvoiced> g_instance;
}

frmUninvoiced *frmUninvoiced::instance(Session &s)
{
    if (!g_instance) {
        g_instance = new frmUninvoiced(s);
        g_instance->setAttribute(Qt::WA_DeleteOnClose);
    }
    return g_instance;
}

frmUninvoiced *frmUninvoiced::existingInstance()
{
    return g_instance;
}

void frmUninvoiced::showForm(Session &s)
{
    frmUninvoiced *form = instance(s);
    form->cmdQuery_Click();
    ::showForm(form, true);
}

frmUninvoiced::frmUninvoiced(Session &s, QWidget *parent)
    : QDialog(parent), m_session(s)
{
    setObjectName(QStringLiteral("frmUninvoiced"));
    setWindowTitle(QStringLiteral("已入库未开票"));
    auto *column = new QVBoxLayout(this);
    auto *filter = new QHBoxLayout;
    auto *supplierLabel = new QLabel(QStringLiteral("供应商代码："), this);
    txtSupplier = new QLineEdit(this);
    txtSupplier->setObjectName(QStringLiteral("txtSupplier"));
    txtSupplier->setPlaceholderText(QStringLiteral("空为全部供应商"));
    auto *asOfLabel = new QLabel(QStringLiteral("截止日期："), this);
    dtpAsOf = new QDateEdit(Clock::today(), this);
    dtpAsOf->setObjectName(QStringLiteral("dtpAsOf"));
    dtpAsOf->setCalendarPopup(true);
    dtpAsOf->setDisplayFormat(QStringLiteral("yyyy-MM-dd"));
    auto *query = new QPushButton(QStringLiteral("查询"), this);
    query->setObjectName(QStringLiteral("cmdQuery"));
    auto *excel = new QPushButton(QStringLiteral("导出到Excel..."), this);
    excel->setObjectName(QStringLiteral("cmdExcel"));
    auto *close = new QPushButton(QStringLiteral("退出"), this);
    close->setObjectName(QStringLiteral("cmdClose"));
    txtSupplier->setToolTip(QStringLiteral("只列这个供应商代码的入库单；空为全部供应商"));
    dtpAsOf->setToolTip(QStringLiteral("只列这一天及以前的入库单"));
    query->setToolTip(QStringLiteral("按条件重新列出未开票的入库单"));
    excel->setToolTip(QStringLiteral("把列出的内容导出为 Excel 文件"));
    filter->addWidget(supplierLabel);
    filter->addWidget(txtSupplier);
    filter->addSpacing(12);
    filter->addWidget(asOfLabel);
    filter->addWidget(dtpAsOf);
    filter->addSpacing(12);
    filter->addWidget(query);
    filter->addStretch(1);
    filter->addWidget(excel);
    filter->addWidget(close);
    column->addLayout(filter);

    m_model = new UninvoicedModel([this](const UninvoicedSupplier &supplier) { return readBills(supplier); }, this);
    vsf1 = new QTreeView(this);
    vsf1->setObjectName(QStringLiteral("vsf1"));
    vsf1->setToolTip(QStringLiteral("展开供应商列出其入库单；双击入库单行，为该供应商新增一张发票并带入这张入库单"));
    vsf1->setModel(m_model);
    vsf1->setUniformRowHeights(true);
    vsf1->setSelectionBehavior(QAbstractItemView::SelectRows);
    vsf1->setSelectionMode(QAbstractItemView::SingleSelection);
    vsf1->setEditTriggers(QAbstractItemView::NoEditTriggers);
    vsf1->header()->setStretchLastSection(false);
    const int widths[] = {120, 200, 120, 90, 110, 110, 110};
    for (int c = 0; c < 7; ++c)
        vsf1->setColumnWidth(c, widths[c]);
    column->addWidget(vsf1, 1);
    lblTotal = new QLabel(this);
    lblTotal->setObjectName(QStringLiteral("lblTotal"));
    column->addWidget(lblTotal);

    connect(query, &QPushButton::clicked, this, [this] { cmdQuery_Click(); });
    connect(txtSupplier, &QLineEdit::returnPressed, this, [this] { cmdQuery_Click(); });
    connect(excel, &QPushButton::clicked, this, [this] { cmdExcel_Click(); });
    connect(close, &QPushButton::clicked, this, &QDialog::reject);
    connect(vsf1, &QTreeView::doubleClicked, this, [this](const QModelIndex &at) { vsf1_DblClick(at); });
    connect(vsf1, &QTreeView::expanded, this, [this](const QModelIndex &at) { vsf1_Expanded(at); });
    resize(900, 560);
}

frmUninvoiced::~frmUninvoiced()
{
    if (g_instance == this)
        g_instance = nullptr;
}

QAbstractItemModel *frmUninvoiced::model() const
{
    return m_model;
}

std::vector<UninvoicedBill> frmUninvoiced::readBills(const UninvoicedSupplier &supplier)
{
    Session &s = m_session;
    try {
        WaitCursor wait;
        ConnectionScope scope(s);
        OpenConnection(s);
        return readUninvoicedBills(*s.gConn, supplier, m_filter.asOf);
    } catch (const DbError &e) {
        Prompt::msgBox(e.description(), Prompt::Critical, s.msgTitle);
        return {};
    }
}

bool frmUninvoiced::cmdQuery_Click()
{
    Session &s = m_session;
    const UninvoicedFilter filter{txtSupplier->text().trimmed(), dtpAsOf->date()};
    UninvoicedTotals totals;
    try {
        WaitCursor wait;
        ConnectionScope scope(s);
        OpenConnection(s);
        totals = readUninvoicedTotals(*s.gConn, filter);
    } catch (const DbError &e) {
        Prompt::msgBox(e.description(), Prompt::Critical, s.msgTitle);
        return false;
    }
    m_filter = filter;
    m_totals = std::move(totals);
    m_model->setTotals(m_totals);
    lblTotal->setText(QStringLiteral("供应商 %1 家，入库单 %2 张，未开票金额合计 %3")
                          .arg(m_totals.suppliers.size())
                          .arg(m_totals.billCount)
                          .arg(m_totals.open.toFixed(2)));
    return true;
}

void frmUninvoiced::cmdExcel_Click()
{
    Session &s = m_session;
    if (!HasPrivilege(s, s.gRightPrefix + QStringLiteral("19")))
        return;
    QString file = Prompt::saveFileName(QStringLiteral("导出到Excel"), QStringLiteral("Excel文件(*.xlsx)|*.xlsx"));
    if (file.trimmed().isEmpty())
        return;
    if (!file.endsWith(QStringLiteral(".xlsx"), Qt::CaseInsensitive))
        file += QStringLiteral(".xlsx");
    QString error;
    bool written = false;
    try {
        WaitCursor wait;
        // Each row goes to the workbook as it is read: a report of a
        // million bills is never held whole.
        XlsxRowWriter book(file);
        {
            ConnectionScope scope(s);
            OpenConnection(s);
            uninvoicedSheetRows(*s.gConn, m_totals, m_filter.asOf, [&book](const QStringList &row) { book.add(row); });
        }
        written = book.close(&error);
    } catch (const DbError &e) {
        error = e.description();
    }
    if (written)
        Prompt::msgBox(QStringLiteral("导出成功!"), Prompt::Information, s.msgTitle);
    else
        Prompt::msgBox(error, Prompt::Critical, s.msgTitle);
}

void frmUninvoiced::vsf1_Expanded(const QModelIndex &at)
{
    if (m_model->canFetchMore(at))
        m_model->fetchMore(at);
}

void frmUninvoiced::vsf1_DblClick(const QModelIndex &at)
{
    const UninvoicedBill *bill = m_model->billOf(at);
    if (!bill)
        return;
    Session &s = m_session;
    if (!HasPrivilege(s, s.gRightPrefix + QStringLiteral("01")))
        return;
    const QString supplierId = m_totals.suppliers[size_t(m_model->supplierOf(at))].supplierId;
    const QString stockBillId = bill->stockBillId;
    s.gBillMode = 0;
    s.gFromList = 0;
    s.gIsSelectMode = 0;
    s.gCurInterId = 0;
    FormLauncher::openInvoiceForStockBill(supplierId, stockBillId);
    if (!cmdQuery_Click())
        return;
    // The supplier open again, when it still has open bills.
    for (size_t i = 0; i < m_totals.suppliers.size(); ++i)
        if (m_totals.suppliers[i].supplierId == supplierId) {
            const QModelIndex row = m_model->index(int(i), 0);
            vsf1->expand(row);
            vsf1_Expanded(row);
            vsf1->setCurrentIndex(row);
            break;
        }
}
