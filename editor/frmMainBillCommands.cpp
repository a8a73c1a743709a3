#include "editor/frmMainBill.h"

#include "editor/Allocation.h"
#include "editor/EntryGridModel.h"
#include "editor/SaveCommands.h"
#include "editor/frmMainBillParts.h"
#include "modules/BillAudit.h"
#include "modules/ConnectionRoutines.h"
#include "modules/Privilege.h"
#include "modules/Session.h"
#include "modules/SetupIni.h"
#include "platform/Clock.h"
#include "platform/DbError.h"
#include "platform/FormShow.h"
#include "platform/Prompt.h"
#include "printing/BillPrinting.h"

#include <QAction>
#include <QApplication>
#include <QDateEdit>
#include <QLabel>
#include <QLineEdit>
#include <QMenuBar>
#include <QPainter>
#include <QStyle>
#include <QToolBar>

#include <functional>

using namespace frmMainBillParts;

namespace {
// The toolbar buttons in their order; an empty key is a separator. Button 3
// is Save (kept in split mode); 16 and 17 are the red and blue buttons.
struct ButtonDef {
    const char *key;
    const char16_t *caption;
    QStyle::StandardPixmap icon;
};
const ButtonDef kButtons[] = {
    {"New", u"新增", QStyle::SP_FileIcon},
    {"Copy", u"复制", QStyle::SP_FileDialogDetailedView},
    {"Save", u"保存", QStyle::SP_DialogSaveButton},
    {"", u"", QStyle::SP_CustomBase},
    {"Check", u"审核", QStyle::SP_DialogApplyButton},
    {"", u"", QStyle::SP_CustomBase},
    {"Preview", u"预览", QStyle::SP_FileDialogContentsView},
    {"Print", u"打印", QStyle::SP_DriveFDIcon},
    {"", u"", QStyle::SP_CustomBase},
    {"First", u"首张", QStyle::SP_MediaSkipBackward},
    {"Back", u"上张", QStyle::SP_ArrowLeft},
    {"Next", u"下张", QStyle::SP_ArrowRight},
    {"End", u"末张", QStyle::SP_MediaSkipForward},
    {"", u"", QStyle::SP_CustomBase},
    {"View", u"选择", QStyle::SP_FileDialogListView},
    {"Red", u"红字", QStyle::SP_CustomBase},
    {"Blue", u"蓝字", QStyle::SP_CustomBase},
    {"cmdAllocate", u"分配金额", QStyle::SP_CustomBase},
    {"", u"", QStyle::SP_CustomBase},
    {"Exit", u"退出", QStyle::SP_DialogCloseButton},
};

// A 32-pixel toolbar icon drawn by `draw` on a transparent, antialiased canvas.
QIcon paintedIcon(const std::function<void(QPainter &)> &draw)
{
    QPixmap pm(32, 32);
    pm.fill(Qt::transparent);
    QPainter p(&pm);
    p.setRenderHint(QPainter::Antialiasing);
    draw(p);
    p.end();
    return QIcon(pm);
}

// Two pages, one over the other.
QIcon copyIcon()
{
    return paintedIcon([&](QPainter &p) {
        p.setPen(QPen(QColor(70, 70, 70), 1.6));
        p.setBrush(QColor(235, 235, 235));
        p.drawRect(QRectF(5, 4, 15, 19));
        p.setBrush(Qt::white);
        p.drawRect(QRectF(12, 9, 15, 19));
        p.setPen(QPen(QColor(120, 120, 120), 1.2));
        for (int y = 14; y <= 24; y += 4)
            p.drawLine(QPointF(15, y), QPointF(24, y));
    });
}

// A printer with a sheet coming out.
QIcon printIcon()
{
    return paintedIcon([&](QPainter &p) {
        p.setPen(QPen(QColor(70, 70, 70), 1.6));
        p.setBrush(Qt::white);
        p.drawRect(QRectF(9, 3, 14, 9));
        p.setBrush(QColor(150, 160, 175));
        p.drawRoundedRect(QRectF(3, 11, 26, 12), 2, 2);
        p.setBrush(Qt::white);
        p.drawRect(QRectF(9, 19, 14, 10));
        p.setPen(QPen(QColor(120, 120, 120), 1.2));
        p.drawLine(QPointF(12, 23), QPointF(20, 23));
        p.drawLine(QPointF(12, 26), QPointF(20, 26));
    });
}

// A total split into three bars of falling length.
QIcon allocateIcon()
{
    return paintedIcon([&](QPainter &p) {
        p.setPen(QPen(QColor(40, 110, 60), 1.2));
        p.setBrush(QColor(90, 170, 100));
        p.drawRect(QRectF(4, 4, 24, 6));
        p.setBrush(QColor(170, 215, 170));
        p.drawRect(QRectF(4, 13, 16, 6));
        p.drawRect(QRectF(4, 22, 8, 6));
    });
}

QIcon colourIcon(const QColor &colour)
{
    return paintedIcon([&](QPainter &p) {
        p.setBrush(colour);
        p.setPen(colour.darker(130));
        p.drawRoundedRect(QRectF(5, 5, 22, 22), 4, 4);
    });
}
} // namespace

void frmMainBill::buildToolbarAndMenus()
{
    Toolbar1 = addToolBar(QStringLiteral("Toolbar1"));
    Toolbar1->setObjectName(QStringLiteral("Toolbar1"));
    Toolbar1->setMovable(false);
    Toolbar1->setToolButtonStyle(Qt::ToolButtonTextUnderIcon);
    Toolbar1->setIconSize(QSize(22, 22));
    for (const ButtonDef &b : kButtons) {
        const QString key = QString::fromLatin1(b.key);
        if (key.isEmpty()) {
            Toolbar1->addSeparator();
            continue;
        }
        QIcon icon;
        if (key == u"Copy")
            icon = copyIcon();
        else if (key == u"Print")
            icon = printIcon();
        else if (key == u"Red")
            icon = colourIcon(QColor(220, 30, 30));
        else if (key == u"Blue")
            icon = colourIcon(QColor(30, 80, 220));
        else if (key == u"cmdAllocate")
            icon = allocateIcon();
        else
            icon = style()->standardIcon(b.icon);
        QAction *a = Toolbar1->addAction(icon, QString::fromUtf16(b.caption));
        a->setObjectName(key);
        if (key == u"Red" || key == u"Blue")
            a->setCheckable(true);
        if (key == u"cmdAllocate")
            a->setToolTip(QStringLiteral("输入发票总金额，按入库日期先后分配到各入库单，每张不超过其应开总额"));
        connect(a, &QAction::triggered, this, [this, key] { Toolbar1_ButtonClick(key); });
        m_buttons.insert(key, a);
    }

    QMenuBar *bar = menuBar();
    auto addMenu = [bar](const QString &name, const QString &title) {
        QMenu *m = bar->addMenu(title);
        m->setObjectName(name);
        return m;
    };
    auto addEntry = [this](QMenu *menu, const QString &name, const QString &text, void (frmMainBill::*handler)(),
                           const QKeySequence &shortcut = {}, bool checkable = false) {
        QAction *a = menu->addAction(text);
        a->setObjectName(name);
        a->setShortcut(shortcut);
        a->setCheckable(checkable);
        connect(a, &QAction::triggered, this, [this, handler] { (this->*handler)(); });
        m_menu.insert(name, a);
        return a;
    };

    QMenu *file = addMenu(QStringLiteral("MenuFile"), QStringLiteral("文件(&F)"));
    addEntry(file, QStringLiteral("MenuNew"), QStringLiteral("新增(&N)"), &frmMainBill::MenuNew_Click, QKeySequence(QStringLiteral("Ctrl+N")));
    addEntry(file, QStringLiteral("MenuCopy"), QStringLiteral("复制(&C)"), &frmMainBill::MenuCopy_Click);
    addEntry(file, QStringLiteral("MenuSave"), QStringLiteral("保存(&S)"), &frmMainBill::MenuSave_Click, QKeySequence(QStringLiteral("Ctrl+S")));
    file->addSeparator();
    addEntry(file, QStringLiteral("MenuPreview"), QStringLiteral("打印预览(&V)"), &frmMainBill::MenuPreview_Click);
    addEntry(file, QStringLiteral("MenuPrint"), QStringLiteral("打印(&P)"), &frmMainBill::MenuPrint_Click, QKeySequence(QStringLiteral("Ctrl+P")));
    addEntry(file, QStringLiteral("MenuExportPdf"), QStringLiteral("导出PDF(&D)..."), &frmMainBill::MenuExportPdf_Click);
    addEntry(file, QStringLiteral("MenuDefaultPrint"), QStringLiteral("默认打印"), &frmMainBill::MenuDefaultPrint_Click, {}, true);
    addEntry(file, QStringLiteral("MenuDesignModle"), QStringLiteral("打印模板设计(&D)"), &frmMainBill::MenuDesignModle_Click);
    file->addSeparator();
    addEntry(file, QStringLiteral("MenuExit"), QStringLiteral("退出(&X)"), &frmMainBill::MenuExit_Click);

    MenuEdit = addMenu(QStringLiteral("MenuEdit"), QStringLiteral("编辑(&E)"));
    addEntry(MenuEdit, QStringLiteral("MenuCheck"), QStringLiteral("审核(&A)"), &frmMainBill::MenuCheck_Click);
    MenuEdit->addSeparator();
    addEntry(MenuEdit, QStringLiteral("MenuRed"), QStringLiteral("红字(&R)"), &frmMainBill::MenuRed_Click);
    addEntry(MenuEdit, QStringLiteral("MenuBlue"), QStringLiteral("蓝字(&B)"), &frmMainBill::MenuBlue_Click);

    QMenu *browse = addMenu(QStringLiteral("MenuBrowse"), QStringLiteral("浏览(&V)"));
    addEntry(browse, QStringLiteral("MenuFirst"), QStringLiteral("第一张(&F)"), &frmMainBill::MenuFirst_Click, QKeySequence(QStringLiteral("Ctrl+Home")));
    addEntry(browse, QStringLiteral("MenuPre"), QStringLiteral("上一张(&P)"), &frmMainBill::MenuPre_Click, QKeySequence(QStringLiteral("Ctrl+PgUp")));
    addEntry(browse, QStringLiteral("MenuNext"), QStringLiteral("下一张(&N)"), &frmMainBill::MenuNext_Click, QKeySequence(QStringLiteral("Ctrl+PgDown")));
    addEntry(browse, QStringLiteral("MenuLast"), QStringLiteral("最后一张(&L)"), &frmMainBill::MenuLast_Click, QKeySequence(QStringLiteral("Ctrl+End")));

    QMenu *options = addMenu(QStringLiteral("MenuOption"), QStringLiteral("选项(&O)"));
    addEntry(options, QStringLiteral("MenuNewAfterSave"), QStringLiteral("保存后新增单据"), &frmMainBill::MenuNewAfterSave_Click, {}, true);
    addEntry(options, QStringLiteral("MenuBillHead"), QStringLiteral("复制时保留表头"), &frmMainBill::MenuBillHead_Click, {}, true);
    options->addSeparator();
    addEntry(options, QStringLiteral("MenuLockCol"), QStringLiteral("锁定列(&L)..."), &frmMainBill::MenuLockCol_Click);
}

void frmMainBill::Toolbar1_ButtonClick(const QString &key)
{
    if (key == u"Exit") {
        MenuExit_Click();
    } else if (key == u"Blue") {
        MenuBlue_Click();
    } else if (key == u"Red") {
        MenuRed_Click();
    } else if (key == u"View") {
        QWidget *focus = QApplication::focusWidget();
        if (focus && focus->objectName().startsWith(QStringLiteral("td_")))
            for (size_t i = 0; i < m_header.size(); ++i)
                if (m_header[i].edit == focus)
                    cmdTd_Click(int(i));
    } else if (key == u"Save") {
        MenuSave_Click();
    } else if (key == u"Check") {
        MenuCheck_Click();
    } else if (key == u"Next") {
        MenuNext_Click();
    } else if (key == u"Back") {
        MenuPre_Click();
    } else if (key == u"First") {
        MenuFirst_Click();
    } else if (key == u"End") {
        MenuLast_Click();
    } else if (key == u"New") {
        MenuNew_Click();
    } else if (key == u"Copy") {
        MenuCopy_Click();
    } else if (key == u"Preview") {
        MenuPreview_Click();
    } else if (key == u"Print") {
        MenuPrint_Click();
    } else if (key == u"cmdAllocate") {
        cmdAllocate_Click();
    }
}

// --- New, save, exit -----------------------------------------------------------

void frmMainBill::startNewBill()
{
    Session &s = m_session;
    m_loading = true;
    clearHeader();
    txtAmount->clear();
    txtChecker->clear();
    txtChecker->setProperty("tag", QString());
    m_checkerId.clear();
    txtBiller->setText(s.gLoginUserName);
    thdate->setDate(Clock::today());
    m_grid->clear();
    m_grid->setLocked(false);
    m_status = 0;
    m_cancellation = 0;
    m_earlierPeriod = false;
    // A new bill starts blue, its marker hidden.
    setRob(0);
    ImgCheck->hide();
    for (QAction *a : Toolbar1->actions())
        a->setVisible(true);
    s.gBillMode = 0;
    setWindowTitle(modeWord(0) + s.gBillName);
    m_loading = false;
    proposeBillNumber(false);
    m_changed = false;
    updateState();
}

void frmMainBill::MenuNew_Click()
{
    if (!askToSave())
        return;
    startNewBill();
}

void frmMainBill::MenuNewAfterSave_Click()
{
    // The entry's own checked state has already flipped.
}

void frmMainBill::MenuBillHead_Click()
{
}

void frmMainBill::MenuExit_Click()
{
    close();
}

BillDraft frmMainBill::draft() const
{
    BillDraft d;
    d.billNo = txtBillNo->text();
    d.date = thdate->date();
    d.amountText = txtAmount->text().trimmed();
    d.rob = m_session.gEditorFlag;
    for (size_t i = 0; i < m_layout.fields.size(); ++i) {
        const HeaderFieldDef &def = m_layout.fields[i];
        if (def.fieldName.isEmpty())
            continue;
        HeaderValue v;
        v.fieldName = def.fieldName;
        v.lookup = def.isLookup();
        v.value = v.lookup ? m_lookupValues[int(i)] : QString();
        v.text = v.lookup ? lookupNumber(v.value) : m_header[i].edit->text();
        d.fields.push_back(v);
    }
    d.rows = m_grid->rows();
    return d;
}

bool frmMainBill::mayUseInvoiceNumber(const BillDraft &bill)
{
    QString supplierId, invoiceNo;
    for (const HeaderValue &v : bill.fields) {
        if (v.fieldName.compare(QStringLiteral("fSupplyId"), Qt::CaseInsensitive) == 0)
            supplierId = v.value.section(QStringLiteral("&**&"), 1);
        else if (v.fieldName.compare(QStringLiteral("fInvoiceNo"), Qt::CaseInsensitive) == 0)
            invoiceNo = v.text;
    }
    Session &s = m_session;
    std::optional<QString> other;
    {
        ConnectionScope scope(s);
        try {
            OpenConnection(s);
            BillStore store(*s.gConn, BillSettings::fromSession(s));
            other = store.sameInvoiceNumber(supplierId, invoiceNo, s.gBillMode == 0 ? 0 : s.gCurInterId);
        } catch (const DbError &) {
            return true; // the save itself reports what is wrong with the database
        }
    }
    if (!other)
        return true;
    const int answer = Prompt::msgBox(QStringLiteral("该供应商已有相同发票号码的发票 ") + *other + QStringLiteral("，是否继续保存？"),
                                      Prompt::YesNo, Prompt::Question, s.msgTitle);
    if (answer == Prompt::Yes)
        return true;
    for (size_t i = 0; i < m_layout.fields.size(); ++i)
        if (m_layout.fields[i].fieldName.compare(QStringLiteral("fInvoiceNo"), Qt::CaseInsensitive) == 0)
            m_header[i].edit->setFocus();
    return false;
}

void frmMainBill::MenuSave_Click()
{
    Session &s = m_session;
    m_saveSucceeded = false;
    commitTypedCell();
    const BillDraft bill = draft();
    if ((s.gBillMode == 0 || s.gBillMode == 1) && !mayUseInvoiceNumber(bill))
        return;
    setStatusText(QStringLiteral("正在保存单据信息，请稍候..."));
    SaveOutcome outcome;
    {
        WaitCursor wait;
        if (s.gBillMode == 0)
            outcome = prepareInsert(s, bill, headerLabels());
        else if (s.gBillMode == 1)
            outcome = prepareUpdate(s, bill, headerLabels(), s.gCurInterId);
    }
    if (outcome.message)
        Prompt::msgBox(outcome.message->text, outcome.message->icon, s.msgTitle);
    if (!outcome.saved) {
        if (outcome.focusAmount)
            txtAmount->setFocus();
        setStatusText(QStringLiteral("就绪："));
        return;
    }
    const bool wasNew = s.gBillMode == 0;
    if (wasNew) {
        s.gCurInterId = outcome.interId;
        m_loading = true;
        txtBillNo->setText(outcome.billNo);
        m_loading = false;
    } else {
        txtBiller->setText(s.gLoginUserName);
    }
    Prompt::msgBox(wasNew ? QStringLiteral("数据保存成功！") : QStringLiteral("数据修改成功！"), Prompt::Information, s.msgTitle);
    m_changed = false;
    m_saveSucceeded = true;

    if (afterSaveNew() != 0) {
        s.gBillMode = 1;
        setWindowTitle(modeWord(1) + s.gBillName);
        for (QAction *a : Toolbar1->actions())
            a->setVisible(true);
    } else {
        startNewBill();
    }
    m_changed = false;
    setStatusText(QStringLiteral("就绪："));
    refreshLookupTexts();
    updateState();
}

// --- Red, blue, copy, audit --------------------------------------------------

void frmMainBill::setRob(int rob)
{
    m_session.gEditorFlag = std::int16_t(rob == 1 ? 1 : 0);
    const bool red = rob == 1;
    m_buttons.value(QStringLiteral("Red"))->setChecked(red);
    m_buttons.value(QStringLiteral("Blue"))->setChecked(!red);
    m_grid->setForeground(red ? QColor(255, 0, 0) : QColor(0, 0, 0));
    ImgRed->setVisible(red);
    updateStatusBar();
}

void frmMainBill::MenuRed_Click()
{
    setRob(1);
}

void frmMainBill::MenuBlue_Click()
{
    setRob(0);
}

void frmMainBill::MenuCheck_Click()
{
    Session &s = m_session;
    if (s.gBillMode == 0) {
        Prompt::msgBox(QStringLiteral("请先保存单据!"), Prompt::Exclamation, s.msgTitle);
        return;
    }
    if (!HasPrivilege(s, s.gRightPrefix + QStringLiteral("04")))
        return;
    if (!CheckBills(s, QString::number(s.gCurInterId)))
        return;
    Prompt::msgBox(QStringLiteral("审核成功!"), Prompt::Information, s.msgTitle);
    m_grid->setLocked(true);
    txtChecker->setText(s.gLoginUserName);
    txtChecker->setProperty("tag", s.gLoginUserId);
    m_checkerId = s.gLoginUserId;
    ImgCheck->show();
    m_status = 1;
    updateState();
}

void frmMainBill::MenuCopy_Click()
{
    Session &s = m_session;
    if (!askToSave())
        return;
    m_loading = true;
    if (copyHeaderOption() == 1)
        clearHeader();
    // The copy never takes the entries along (whatever CopyEntry says, the
    // grid ends up empty): no stock bill is invoiced twice by copying.
    m_grid->clear();
    m_grid->setLocked(false);
    txtBiller->setText(s.gLoginUserName);
    txtChecker->clear();
    txtChecker->setProperty("tag", QString());
    m_checkerId.clear();
    thdate->setDate(Clock::today());
    ImgCheck->hide();
    for (QAction *a : Toolbar1->actions())
        a->setVisible(true);
    setRob(s.gEditorFlag);
    m_status = 0;
    m_cancellation = 0;
    m_earlierPeriod = false;
    s.gBillMode = 0;
    setWindowTitle(modeWord(0) + s.gBillName);
    m_loading = false;
    proposeBillNumber(false);
    refreshLookupTexts();
    m_changed = false;
    updateState();
}

// --- Allocating a total, a new invoice from a stock bill ----------------------

void frmMainBill::cmdAllocate_Click()
{
    Session &s = m_session;
    if (m_grid->isLocked())
        return;
    commitTypedCell();
    if (m_grid->gridRowCount() == 0) {
        Prompt::msgBox(QStringLiteral("请先选入库单！"), Prompt::Exclamation, s.msgTitle);
        return;
    }
    const std::optional<Amount> typed = numericAmount(txtAmount->text().trimmed());
    const QString suggestion = typed && !typed->isZero() ? typed->abs().toString() : QString();
    const std::optional<QString> answer = Prompt::inputBox(QStringLiteral("请输入要分配的发票总额："), s.msgTitle, suggestion);
    if (!answer)
        return;
    const AllocationOutcome outcome = allocateTotal(*answer, s.gEditorFlag == 1, m_grid->rows());
    if (outcome.allocation) {
        const std::vector<Amount> &amounts = outcome.allocation->amounts;
        for (size_t i = 0; i < amounts.size(); ++i)
            m_grid->setCellText(int(i) + 1, ColThisAmount, amounts[i].isZero() ? QString() : amounts[i].toString());
        txtAmount->setText(outcome.invoiceTotal.toString());
        markChanged();
    }
    Prompt::msgBox(outcome.message, outcome.icon, s.msgTitle);
}

void frmMainBill::showNewFromStockBill(Session &s, const QString &supplierId, const QString &stockBillId, bool modal)
{
    s.gBillMode = 0;
    const bool wasOpen = existingInstance() != nullptr;
    frmMainBill *form = defaultInstance(s);
    if (wasOpen) {
        if (!form->askToSave())
            return;
        form->startNewBill();
    }
    form->loadStockBill(supplierId, stockBillId);
    ::showForm(form, modal);
}

// The supplier into its header field and the stock bill into the grid, as
// the fill would offer it; nothing when it is no longer open.
void frmMainBill::loadStockBill(const QString &supplierId, const QString &stockBillId)
{
    Session &s = m_session;
    const int supplier = m_layout.supplierIndex();
    if (supplier < 0)
        return;
    std::optional<ItemText> item;
    std::vector<EntryRow> rows;
    try {
        ConnectionScope scope(s);
        OpenConnection(s);
        BillStore store(*s.gConn, BillSettings::fromSession(s));
        item = store.itemText(supplierId);
        if (item)
            rows = store.openStockBills(supplierId, {});
    } catch (const DbError &e) {
        Prompt::msgBox(e.description(), Prompt::Critical, s.msgTitle);
        return;
    }
    if (!item)
        return;
    setLookup(supplier, item->number, supplierId, item->name);
    for (const EntryRow &row : rows) {
        if (row.stockId() != stockBillId)
            continue;
        if (row.amount(ColAllAmount).value_or(Amount()) < Amount())
            setRob(1);
        m_grid->appendRows({row});
        markChanged();
    }
}

// --- Printing ----------------------------------------------------------------

// Preview and print need the print right and a bill that has been saved.
bool frmMainBill::mayPrintShownBill() const
{
    Session &s = m_session;
    if (!HasPrivilege(s, s.gRightPrefix + QStringLiteral("08")))
        return false;
    if (s.gBillMode == 0) {
        Prompt::msgBox(QStringLiteral("请先保存单据!"), Prompt::Exclamation, s.msgTitle);
        return false;
    }
    return true;
}

void frmMainBill::MenuPreview_Click()
{
    if (mayPrintShownBill() && printHooks().preview)
        printHooks().preview(*this);
}

void frmMainBill::MenuPrint_Click()
{
    if (mayPrintShownBill() && printHooks().print)
        printHooks().print(*this);
}

// The printed invoice as a PDF file; the same right and the same refusal of
// an unsaved bill as printing.
void frmMainBill::MenuExportPdf_Click()
{
    menuExportPdf(m_session, m_session.gBillMode == 0, this);
}

void frmMainBill::MenuDefaultPrint_Click()
{
    computeIniPath(m_session);
    writeDefaultPrintOption(m_session, m_menu.value(QStringLiteral("MenuDefaultPrint"))->isChecked());
}

void frmMainBill::MenuDesignModle_Click()
{
    Session &s = m_session;
    if (!HasPrivilege(s, s.gRightPrefix + QStringLiteral("21")))
        return;
    if (printHooks().design)
        printHooks().design(*this);
}
