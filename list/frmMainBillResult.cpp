#include "list/frmMainBillResult.h"

#include "modules/Session.h"
#include "list/BillListModel.h"
#include "platform/FrozenTableView.h"
#include "list/ListCommands.h"
#include "modules/GridLayout.h"
#include "modules/SetupIni.h"
#include "platform/GridColumns.h"
#include "platform/Prompt.h"
#include "query/frmMainBillFind.h"

#include <QAction>
#include <QElapsedTimer>
#include <QHeaderView>
#include <QItemSelectionModel>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPointer>
#include <QStatusBar>
#include <QStyle>
#include <QToolBar>
#include <QVBoxLayout>

namespace {
QPointer<frmMainBillResult> g_instance;

const QString kLockSection = QStringLiteral("LockCols");
const QString kLockKey = QStringLiteral("A1");
// Layout type of the grid's column widths the user left (0: the designed
// widths recorded at the first display).
constexpr std::int16_t kUserLayout = 1;
} // namespace

frmMainBillResult *frmMainBillResult::instance(Session &s)
{
    if (!g_instance)
        g_instance = new frmMainBillResult(s);
    return g_instance;
}

frmMainBillResult *frmMainBillResult::existingInstance()
{
    return g_instance;
}

void frmMainBillResult::discardUnshownInstance()
{
    if (!g_instance || !g_instance->m_marker.isEmpty() || g_instance->isVisible())
        return;
    frmMainBillResult *list = g_instance;
    g_instance = nullptr;
    list->m_unloaded = true; // never shown: nothing of it to keep
    list->deleteLater();
}

QString frmMainBillResult::layoutKey() const
{
    return QStringLiteral("frmMainBillResult") + QString::number(m_session.gBillTypeId) + QStringLiteral("C");
}

// ------------------------------------------------------------- Form_Load

frmMainBillResult::frmMainBillResult(Session &s, QWidget *parent)
    : QDialog(parent), m_session(s), m_operations(s)
{
    setObjectName(QStringLiteral("frmMainBillResult"));
    setWindowFlags(Qt::Window | Qt::WindowTitleHint | Qt::WindowSystemMenuHint | Qt::WindowMinMaxButtonsHint
                   | Qt::WindowCloseButtonHint);
    setWindowTitle(s.gBillName);
    m_selectMode = s.gIsSelectMode == 1;

    m_toolbar = new QToolBar;
    m_toolbar->setObjectName(QStringLiteral("Toolbar1"));
    m_toolbar->setToolButtonStyle(Qt::ToolButtonTextUnderIcon);
    m_toolbar->setIconSize(QSize(22, 22));
    const struct {
        const char *key;
        const char16_t *caption;
        QStyle::StandardPixmap icon;
    } buttons[] = {
        {"New", u"新增", QStyle::SP_FileIcon},
        {"Update", u"修改", QStyle::SP_FileDialogDetailedView},
        {"Delete", u"删除", QStyle::SP_TrashIcon},
        {"Check", u"审核", QStyle::SP_DialogApplyButton},
        {"UnCheck", u"反审核", QStyle::SP_DialogResetButton},
        {"Cancel", u"作废", QStyle::SP_DialogCancelButton},
        {"UnCancel", u"反作废", QStyle::SP_ArrowBack},
        {"Refresh", u"刷新", QStyle::SP_BrowserReload},
        {"Filter", u"过滤", QStyle::SP_FileDialogContentsView},
        {"Exit", u"退出", QStyle::SP_DialogCloseButton},
    };
    for (const auto &b : buttons) {
        QAction *action = m_toolbar->addAction(style()->standardIcon(b.icon), QString::fromUtf16(b.caption));
        const QString key = QString::fromLatin1(b.key);
        action->setObjectName(key);
        connect(action, &QAction::triggered, this, [this, key] { Toolbar1_ButtonClick(key); });
    }

    m_billName = new QLabel(s.gBillName);
    m_billName->setObjectName(QStringLiteral("Label1"));
    QFont nameFont = m_billName->font();
    nameFont.setPointSize(nameFont.pointSize() + 6);
    nameFont.setBold(true);
    m_billName->setFont(nameFont);
    m_billName->setAlignment(Qt::AlignCenter);

    m_title = new QLabel;
    m_title->setObjectName(QStringLiteral("lblTitle"));
    m_title->setAlignment(Qt::AlignRight | Qt::AlignVCenter);

    m_billNumbers = new QLineEdit;
    m_billNumbers->setObjectName(QStringLiteral("txtBillNumber"));
    m_billNumbers->hide();

    m_model = new BillListModel(this);
    m_grid = new FrozenTableView;
    m_grid->setObjectName(QStringLiteral("vsf1"));
    m_grid->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_grid->setSelectionMode(QAbstractItemView::ExtendedSelection);
    m_grid->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_grid->verticalHeader()->hide();
    m_grid->verticalHeader()->setDefaultSectionSize(m_grid->fontMetrics().height() + 8);
    m_grid->horizontalHeader()->setHighlightSections(false);
    m_grid->setWordWrap(false);
    QPalette palette = m_grid->palette();
    palette.setColor(QPalette::Highlight, QColor(174, 198, 230));
    palette.setColor(QPalette::HighlightedText, Qt::black);
    m_grid->setPalette(palette);
    m_grid->setModel(m_model);
    connect(m_grid, &QAbstractItemView::doubleClicked, this, [this] { vsf1_DblClick(); });
    connect(m_grid, &FrozenTableView::contextMenuAt, this, &frmMainBillResult::vsf1_ContextMenu);

    m_status = new QStatusBar;
    m_status->setObjectName(QStringLiteral("stb1"));
    m_status->setSizeGripEnabled(true);
    auto panel = [this](const QString &name, const QString &text) {
        auto *label = new QLabel(text);
        label->setObjectName(name);
        m_status->addWidget(label, 1);
    };
    panel(QStringLiteral("stb1_0"), QStringLiteral("操作员: ") + s.gLoginUserName);
    panel(QStringLiteral("stb1_1"), QStringLiteral("会计期间: %1年%2期").arg(s.gCurrentYear).arg(s.gCurrentPeriod));
    panel(QStringLiteral("stb1_2"), m_selectMode ? QStringLiteral("选择单据: 选中后按右键返回") : QStringLiteral("右键查看更多命令"));

    auto *header = new QVBoxLayout;
    header->setSpacing(2);
    header->addWidget(m_billName);
    header->addWidget(m_title);

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(m_toolbar);
    auto *body = new QVBoxLayout;
    body->setContentsMargins(6, 4, 6, 4);
    body->addLayout(header);
    body->addWidget(m_grid, 1);
    body->addWidget(m_billNumbers);
    layout->addLayout(body, 1);
    layout->addWidget(m_status);

    // Menus: MenuEdit in the normal list, MenuEdit1 in selection mode.
    m_menuEdit = new QMenu(this);
    m_menuEdit->setObjectName(QStringLiteral("MenuEdit"));
    m_menuEdit1 = new QMenu(this);
    m_menuEdit1->setObjectName(QStringLiteral("MenuEdit1"));
    QAction *add = addCommand(QStringLiteral("MenuEditAdd"), QStringLiteral("新增"), &frmMainBillResult::MenuEditAdd_Click);
    QAction *update = addCommand(QStringLiteral("MenuEditUpdate"), QStringLiteral("修改"), &frmMainBillResult::MenuEditUpdate_Click);
    QAction *remove = addCommand(QStringLiteral("MenuEditDelete"), QStringLiteral("删除"), &frmMainBillResult::MenuEditDelete_Click);
    QAction *check = addCommand(QStringLiteral("MenuEditCheck"), QStringLiteral("审核"), &frmMainBillResult::MenuEditCheck_Click);
    QAction *unCheck = addCommand(QStringLiteral("MenuEditUnCheck"), QStringLiteral("反审核"), &frmMainBillResult::MenuEditUnCheck_Click);
    QAction *cancel = addCommand(QStringLiteral("MenuEditCancel"), QStringLiteral("作废"), &frmMainBillResult::MenuEditCancel_Click);
    QAction *unCancel = addCommand(QStringLiteral("MenuEditUnCancel"), QStringLiteral("反作废"), &frmMainBillResult::MenuEditUnCancel_Click);
    QAction *excel = addCommand(QStringLiteral("MenuExcel"), QStringLiteral("导出到Excel..."), &frmMainBillResult::MenuExcel_Click);
    QAction *text = addCommand(QStringLiteral("MenuText"), QStringLiteral("导出到文本文件..."), &frmMainBillResult::MenuText_Click);
    QAction *batchPdf = addCommand(QStringLiteral("menuBatchPdf"), QStringLiteral("批量打印为PDF"), &frmMainBillResult::menuBatchPdf_Click);
    QAction *batchPrint = addCommand(QStringLiteral("menuBatchPrint"), QStringLiteral("批量打印"), &frmMainBillResult::menuBatchPrint_Click);
    QAction *lock = addCommand(QStringLiteral("MenuLockCol"), QStringLiteral("锁定列..."), &frmMainBillResult::MenuLockCol_Click);
    QAction *restore = addCommand(QStringLiteral("MenuRestoreColWidth"), QStringLiteral("恢复列宽"), &frmMainBillResult::MenuRestoreColWidth_Click);
    QAction *exit = addCommand(QStringLiteral("MenuFileExit"), QStringLiteral("退出"), &frmMainBillResult::MenuFileExit_Click);
    QAction *append = addCommand(QStringLiteral("MenuEditAppend"), QStringLiteral("返回选中的单据"), &frmMainBillResult::MenuEditAppend_Click);
    QAction *down = addCommand(QStringLiteral("MenuEditDown"), QStringLiteral("下推选中的单据"), &frmMainBillResult::MenuEditDown_Click);
    QAction *uninvoiced = addCommand(QStringLiteral("menuUninvoiced"), QStringLiteral("已入库未开票..."), &frmMainBillResult::menuUninvoiced_Click);
    batchPdf->setStatusTip(QStringLiteral("把选中的发票按各自的默认模板打印到一个 PDF 文件，每张另起一页"));
    batchPrint->setStatusTip(QStringLiteral("把选中的发票按各自的默认模板作为一个打印作业送到打印机"));
    uninvoiced->setStatusTip(QStringLiteral("按供应商列出已入库、尚未开票的入库单及未开票金额"));
    for (QAction *a : {batchPdf, batchPrint, uninvoiced})
        a->setToolTip(a->statusTip());
    m_menuEdit->addActions({add, update, remove});
    m_menuEdit->addSeparator();
    m_menuEdit->addActions({check, unCheck, cancel, unCancel});
    m_menuEdit->addSeparator();
    m_menuEdit->addActions({excel, text, uninvoiced});
    m_menuEdit->addSeparator();
    m_menuEdit->addActions({batchPdf, batchPrint});
    m_menuEdit->addSeparator();
    m_menuEdit->addActions({lock, restore});
    m_menuEdit->addSeparator();
    m_menuEdit->addAction(exit);
    m_menuEdit1->addActions({append, down});
    m_menuEdit1->addSeparator();
    m_menuEdit1->addActions({excel, text});
    m_menuEdit1->addSeparator();
    m_menuEdit1->addActions({lock, restore});
    m_menuEdit1->addSeparator();
    m_menuEdit1->addAction(exit);

    if (m_selectMode) {
        // Only the last two buttons stay.
        const QList<QAction *> actions = m_toolbar->actions();
        for (int i = 0; i + 2 < actions.size(); ++i)
            actions[i]->setVisible(false);
        m_menuEdit->menuAction()->setVisible(false);
        if (s.gFindMode == 1)
            down->setVisible(false);
        else if (s.gFindMode == 2)
            append->setVisible(false);
    } else {
        m_menuEdit1->menuAction()->setVisible(false);
    }

    resize(1040, 660);
}

frmMainBillResult::~frmMainBillResult()
{
    if (g_instance == this)
        g_instance = nullptr;
}

QAction *frmMainBillResult::addCommand(const QString &name, const QString &caption, void (frmMainBillResult::*handler)())
{
    auto *action = new QAction(caption, this);
    action->setObjectName(name);
    connect(action, &QAction::triggered, this, [this, handler] { (this->*handler)(); });
    return action;
}

// ---------------------------------------------------- activation, unload

void frmMainBillResult::showEvent(QShowEvent *event)
{
    QDialog::showEvent(event);
    formActivate();
}

void frmMainBillResult::formActivate()
{
    if (m_marker.isEmpty()) {
        TableViewGridColumns columns(m_grid);
        LoadGridLayout(m_session, layoutKey(), columns, kUserLayout);
        computeIniPath(m_session);
        m_lockCols = ReadIni(m_session, kLockSection, kLockKey, QStringLiteral("0"));
        if (const std::optional<int> locked = lockedColumnCount(m_lockCols, m_model->columnCount()))
            m_grid->setFrozenColumns(*locked + 2);
        if (m_selectMode) {
            const QList<QAction *> actions = m_toolbar->actions();
            for (int i : {0, 1, 3}) {
                if (i < actions.size())
                    actions[i]->setVisible(false);
            }
            for (const char *name : {"MenuEditAdd", "MenuEditUpdate", "MenuEditDelete"}) {
                if (auto *action = findChild<QAction *>(QString::fromLatin1(name)))
                    action->setVisible(false);
            }
        }
    }
    m_marker = objectName();
}

void frmMainBillResult::done(int result)
{
    QDialog::done(result);
    unload();
    if (g_instance == this) {
        g_instance = nullptr;
        deleteLater();
    }
}

void frmMainBillResult::unload()
{
    if (m_unloaded)
        return;
    m_unloaded = true;
    // The next query starts from a new dialog.
    frmMainBillFind::releaseInstance();
    if (m_model->columnCount() > 0) {
        TableViewGridColumns columns(m_grid);
        SaveGridLayout(m_session, layoutKey(), columns, kUserLayout);
    }
    m_session.gFromList = 0;
    WriteIni(m_session, kLockSection, kLockKey, m_lockCols);
}

// -------------------------------------------------------------- filling

bool frmMainBillResult::fillList(const QString &statement)
{
    WaitCursor wait;
    QElapsedTimer timer;
    timer.start();
    const QList<ListColumn> before = m_model->columns();
    QList<int> widths;
    for (int c = 0; c < before.size(); ++c)
        widths << m_grid->columnWidth(c);

    if (std::optional<ListMessage> error = fillBillList(m_session, *m_model, statement)) {
        Prompt::msgBox(error->text, error->icon, m_session.msgTitle);
        return false;
    }
    const double seconds = double(timer.nsecsElapsed()) / 1e9;

    if (!before.isEmpty() && m_model->columns() == before) {
        for (int c = 0; c < widths.size(); ++c)
            m_grid->setColumnWidth(c, widths[c]);
    } else {
        setDesignedWidths();
    }
    m_title->setText(listTitleLine(m_model->billCount(), m_model->dataRowCount(), seconds));
    return true;
}

void frmMainBillResult::setDesignedWidths()
{
    const QFontMetrics metrics = m_grid->fontMetrics();
    const int sample = std::min(m_model->rowCount(), 200);
    for (int c = 0; c < m_model->columnCount(); ++c) {
        int width = metrics.horizontalAdvance(m_model->headerText(c)) + 28;
        for (int r = 0; r < sample; ++r)
            width = std::max(width, metrics.horizontalAdvance(m_model->cellText(r, c)) + 16);
        if (m_model->isFilled())
            width = std::max(width, metrics.horizontalAdvance(m_model->cellText(m_model->dataRowCount(), c)) + 16);
        m_grid->setColumnWidth(c, std::clamp(width, 48, 360));
    }
}

// ----------------------------------------------------------- grid state

frmMainBillResult::GridPosition frmMainBillResult::gridPosition() const
{
    GridPosition position;
    const QModelIndex current = m_grid->currentIndex();
    position.currentRow = current.isValid() ? current.row() : -1;
    position.topRow = m_grid->topRow();
    return position;
}

void frmMainBillResult::restoreGridPosition(const GridPosition &position)
{
    const int rows = m_model->rowCount();
    // The current row first: making it current scrolls it into view, and
    // the top row then puts the view back where it was.
    if (position.currentRow >= 0 && position.currentRow < rows) {
        const QModelIndex index = m_model->index(position.currentRow, std::max(0, m_grid->currentIndex().column()));
        m_grid->selectionModel()->setCurrentIndex(index, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    }
    if (position.topRow >= 0 && position.topRow < rows)
        m_grid->setTopRow(position.topRow);
}

void frmMainBillResult::selectRows(const QList<int> &rows)
{
    QItemSelectionModel *selection = m_grid->selectionModel();
    selection->clearSelection();
    bool first = true;
    for (int row : rows) {
        if (row < 0 || row >= m_model->rowCount())
            continue;
        const QModelIndex index = m_model->index(row, 0);
        if (first) {
            selection->setCurrentIndex(index, QItemSelectionModel::Select | QItemSelectionModel::Rows);
            first = false;
        } else {
            selection->select(index, QItemSelectionModel::Select | QItemSelectionModel::Rows);
        }
    }
}

std::vector<bool> frmMainBillResult::selectedRowFlags() const
{
    std::vector<bool> flags(size_t(m_model->rowCount()), false);
    for (const QItemSelectionRange &range : m_grid->selectionModel()->selection()) {
        for (int r = range.top(); r <= range.bottom(); ++r) {
            if (r >= 0 && size_t(r) < flags.size())
                flags[size_t(r)] = true;
        }
    }
    return flags;
}
