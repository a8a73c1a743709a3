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

#include <QAbstractTableModel>
#include <QDateEdit>
#include <QFont>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QTableView>
#include <QVBoxLayout>

// The report's lines as the grid shows them; total lines in bold.
class UninvoicedModel : public QAbstractTableModel {
public:
    using QAbstractTableModel::QAbstractTableModel;
    std::vector<UninvoicedLine> lines;

    void setLines(std::vector<UninvoicedLine> l)
    {
        beginResetModel();
        lines = std::move(l);
        endResetModel();
    }
    int rowCount(const QModelIndex &parent = {}) const override { return parent.isValid() ? 0 : int(lines.size()); }
    int columnCount(const QModelIndex &parent = {}) const override { return parent.isValid() ? 0 : 7; }
    QVariant data(const QModelIndex &index, int role) const override
    {
        const UninvoicedLine &line = lines[size_t(index.row())];
        switch (role) {
        case Qt::DisplayRole:
            return line.cells.value(index.column());
        case Qt::TextAlignmentRole:
            return index.column() >= 4 ? QVariant(Qt::AlignRight | Qt::AlignVCenter) : QVariant(Qt::AlignLeft | Qt::AlignVCenter);
        case Qt::FontRole:
            if (line.bill < 0) {
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
        return QAbstractTableModel::headerData(section, orientation, role);
    }
};

namespace {
QPointer<frmUninvoiced> g_instance;
}

frmUninvoiced *frmUninvoiced::instance()
{
    if (!g_instance) {
        g_instance = new frmUninvoiced;
        g_instance->setAttribute(Qt::WA_DeleteOnClose);
    }
    return g_instance;
}

frmUninvoiced *frmUninvoiced::existingInstance()
{
    return g_instance;
}

void frmUninvoiced::showForm()
{
    frmUninvoiced *form = instance();
    form->cmdQuery_Click();
    ::showForm(form, true);
}

frmUninvoiced::frmUninvoiced(QWidget *parent)
    : QDialog(parent)
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

    m_model = new UninvoicedModel(this);
    vsf1 = new QTableView(this);
    vsf1->setObjectName(QStringLiteral("vsf1"));
    vsf1->setToolTip(QStringLiteral("双击入库单行，为该供应商新增一张发票并带入这张入库单"));
    vsf1->setModel(m_model);
    vsf1->setSelectionBehavior(QAbstractItemView::SelectRows);
    vsf1->setSelectionMode(QAbstractItemView::SingleSelection);
    vsf1->setEditTriggers(QAbstractItemView::NoEditTriggers);
    vsf1->verticalHeader()->setDefaultSectionSize(22);
    vsf1->horizontalHeader()->setStretchLastSection(false);
    const int widths[] = {90, 200, 110, 90, 110, 110, 110};
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
    connect(vsf1, &QTableView::doubleClicked, this, [this](const QModelIndex &at) { vsf1_DblClick(at.row()); });
    resize(900, 560);
}

frmUninvoiced::~frmUninvoiced()
{
    if (g_instance == this)
        g_instance = nullptr;
}

const std::vector<UninvoicedLine> &frmUninvoiced::lines() const
{
    return m_model->lines;
}

bool frmUninvoiced::cmdQuery_Click()
{
    Session &s = session();
    const UninvoicedFilter filter{txtSupplier->text().trimmed(), dtpAsOf->date()};
    try {
        WaitCursor wait;
        ConnectionScope scope;
        OpenConnection();
        m_report = readUninvoiced(*s.gConn, filter);
    } catch (const DbError &e) {
        Prompt::msgBox(e.description(), Prompt::Critical, s.msgTitle);
        return false;
    }
    m_model->setLines(uninvoicedLines(m_report));
    lblTotal->setText(QStringLiteral("供应商 %1 家，入库单 %2 张，未开票金额合计 %3")
                          .arg(m_report.suppliers.size())
                          .arg(m_report.billCount)
                          .arg(m_report.open.toFixed(2)));
    return true;
}

void frmUninvoiced::cmdExcel_Click()
{
    Session &s = session();
    if (!HasPrivilege(s.gRightPrefix + QStringLiteral("19")))
        return;
    QString file = Prompt::saveFileName(QStringLiteral("导出到Excel"), QStringLiteral("Excel文件(*.xlsx)|*.xlsx"));
    if (file.trimmed().isEmpty())
        return;
    if (!file.endsWith(QStringLiteral(".xlsx"), Qt::CaseInsensitive))
        file += QStringLiteral(".xlsx");
    QList<QStringList> rows{uninvoicedHeader()};
    for (const UninvoicedLine &line : m_model->lines)
        rows << line.cells;
    QString error;
    bool written = false;
    {
        WaitCursor wait;
        written = writeXlsx(file, rows, &error);
    }
    if (written)
        Prompt::msgBox(QStringLiteral("导出成功!"), Prompt::Information, s.msgTitle);
    else
        Prompt::msgBox(error, Prompt::Critical, s.msgTitle);
}

void frmUninvoiced::vsf1_DblClick(int row)
{
    if (row < 0 || row >= int(m_model->lines.size()))
        return;
    const UninvoicedLine &line = m_model->lines[size_t(row)];
    if (line.bill < 0)
        return;
    Session &s = session();
    if (!HasPrivilege(s.gRightPrefix + QStringLiteral("01")))
        return;
    const UninvoicedSupplier &supplier = m_report.suppliers[size_t(line.supplier)];
    const QString stockBillId = supplier.bills[size_t(line.bill)].stockBillId;
    s.gBillMode = 0;
    s.gFromList = 0;
    s.gIsSelectMode = 0;
    s.gCurInterId = 0;
    FormLauncher::openInvoiceForStockBill(supplier.supplierId, stockBillId);
    cmdQuery_Click();
}
