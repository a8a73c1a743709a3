#include "editor/frmMainBill.h"

#include "editor/EntryGridModel.h"
#include "editor/frmMainBillParts.h"
#include "modules/ConnectionRoutines.h"
#include "modules/Session.h"
#include "modules/SetupIni.h"
#include "platform/Clock.h"
#include "platform/DbError.h"
#include "platform/FormShow.h"
#include "platform/FrozenTableView.h"
#include "platform/Prompt.h"
#include "platform/SettingsStore.h"
#include "platform/VbConvert.h"
#include "printing/BillPrinting.h"

#include <QAction>
#include <QCloseEvent>
#include <QDateEdit>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QStatusBar>
#include <QToolBar>
#include <QToolButton>
#include <QVBoxLayout>

using namespace frmMainBillParts;

namespace {
QPointer<frmMainBill> g_default;
std::function<void()> &listRefresher()
{
    static std::function<void()> refresher;
    return refresher;
}

QString optionsApplication(const Session &s)
{
    return QString::number(s.gBillTypeId) + QStringLiteral("frmMainBill");
}
const QString kOptionsSection = QStringLiteral("Options");

int optionValue(const Session &s, const QString &key, const QString &defaultValue)
{
    const QString text = SettingsStore::read(optionsApplication(s), kOptionsSection, key, defaultValue);
    try {
        return VbConvert::toInt16(text);
    } catch (const ConversionError &) {
        return VbConvert::toInt16(defaultValue);
    }
}
} // namespace

EditorPrintHooks &frmMainBillParts::printHooks()
{
    static EditorPrintHooks hooks;
    return hooks;
}

// --- Default instance --------------------------------------------------------

frmMainBill *frmMainBill::defaultInstance(Session &s)
{
    if (!g_default) {
        g_default = new frmMainBill(s);
        g_default->setAttribute(Qt::WA_DeleteOnClose);
        g_default->formLoad();
    }
    return g_default;
}

frmMainBill *frmMainBill::existingInstance()
{
    return g_default;
}

void frmMainBill::showForm(Session &s, bool modal)
{
    ::showForm(defaultInstance(s), modal);
}

void frmMainBill::setListRefresher(std::function<void()> refresher)
{
    listRefresher() = std::move(refresher);
}

void frmMainBill::setPrintHooks(EditorPrintHooks hooks)
{
    printHooks() = std::move(hooks);
}

frmMainBill::frmMainBill(Session &s, QWidget *parent)
    : QMainWindow(parent), m_session(s)
{
    setObjectName(QStringLiteral("frmMainBill"));
    auto *central = new QWidget(this);
    auto *column = new QVBoxLayout(central);
    column->setContentsMargins(6, 4, 6, 4);
    column->setSpacing(4);
    column->addWidget(buildHeaderArea(central));
    buildEntryGrid(central, column);
    column->addWidget(buildFooter(central));
    setCentralWidget(central);
    buildStatusBar();
    // Fields that cannot be typed into look it.
    setStyleSheet(QStringLiteral("QLineEdit[readOnly=\"true\"] { background: #f2f2f2; }"));
    resize(900, 620);
    buildToolbarAndMenus();
}

frmMainBill::~frmMainBill() = default;

void frmMainBill::buildStatusBar()
{
    QStatusBar *bar = statusBar();
    bar->setObjectName(QStringLiteral("stb1"));
    const int panelWidths[] = {220, 70, 80, 60, 150};
    for (int i = 0; i < 5; ++i) {
        auto *panel = new QLabel(bar);
        panel->setObjectName(QStringLiteral("stb1_%1").arg(i + 1));
        panel->setMinimumWidth(panelWidths[i]);
        panel->setFrameShape(QFrame::StyledPanel);
        panel->setFrameShadow(QFrame::Sunken);
        if (i == 0)
            bar->addWidget(panel, 1);
        else
            bar->addPermanentWidget(panel);
        m_panels << panel;
    }
}

// --- Initialisation ----------------------------------------------------------

void frmMainBill::formLoad()
{
    Session &s = m_session;
    m_loading = true;
    QPalette title = lblTitle->palette();
    title.setColor(QPalette::WindowText, QColor(255, 0, 0));
    lblTitle->setPalette(title);
    lblTitle->setText(s.gBillName);

    try {
        ConnectionScope scope(s);
        OpenConnection(s);
        m_layout = readHeaderLayout(*s.gConn, s.gBillTypeId, s.gLoginUserId, s.IsAdmin == 1);
    } catch (const DbError &e) {
        Prompt::msgBox(e.description(), Prompt::Critical, s.msgTitle);
        m_layout = HeaderLayout{};
    }
    buildHeader();

    m_grid->clear();
    readOptions();
    QFont gridFont(QStringLiteral("Arial"));
    gridFont.setPointSize(11);
    fps1->setFont(gridFont);
    gridFont.setBold(true);
    fps2->setFont(gridFont);

    // The session's editor field is the red/blue flag of the bill in hand
    // (0 blue, 1 red), written to frob when a new bill is saved. The buttons
    // show it from the start, as after New.
    setRob(0);
    m_loading = false;
    setUpMode();
    updateState();
}

void frmMainBill::readOptions()
{
    m_optAfterSaveNew = optionValue(m_session, QStringLiteral("AfterSaveNew"), QStringLiteral("1"));
    // Read under a key with three leading blanks, while the value is written
    // under "CopyHeader": the option therefore always reads its default.
    m_optCopyHeader = optionValue(m_session, QStringLiteral("   CopyHeader"), QStringLiteral("0"));
    m_optCopyEntry = optionValue(m_session, QStringLiteral("CopyEntry"), QStringLiteral("0"));
    m_optItemNotice = optionValue(m_session, QStringLiteral("ItemNotice"), QStringLiteral("0"));
    m_menu.value(QStringLiteral("MenuNewAfterSave"))->setChecked(m_optAfterSaveNew == 0);
    m_menu.value(QStringLiteral("MenuBillHead"))->setChecked(m_optCopyHeader != 1);
}

void frmMainBill::writeOptions()
{
    Session &s = m_session;
    computeIniPath(s);
    const QString type = QString::number(s.gBillTypeId);
    writeDefaultPrintOption(s, m_menu.value(QStringLiteral("MenuDefaultPrint"))->isChecked());
    WriteIni(s, QStringLiteral("BillMainLockCols"), type + QStringLiteral("Lock"), m_lockCols);
    const QString app = optionsApplication(s);
    SettingsStore::write(app, kOptionsSection, QStringLiteral("AfterSaveNew"), QString::number(afterSaveNew()));
    SettingsStore::write(app, kOptionsSection, QStringLiteral("CopyHeader"), QString::number(copyHeaderOption()));
    SettingsStore::write(app, kOptionsSection, QStringLiteral("CopyEntry"), QString::number(m_optCopyEntry));
    SettingsStore::write(app, kOptionsSection, QStringLiteral("ItemNotice"), QString::number(m_optItemNotice));
}

int frmMainBill::afterSaveNew() const
{
    return m_menu.value(QStringLiteral("MenuNewAfterSave"))->isChecked() ? 0 : 1;
}

int frmMainBill::copyHeaderOption() const
{
    return m_menu.value(QStringLiteral("MenuBillHead"))->isChecked() ? 0 : 1;
}

void frmMainBill::showEvent(QShowEvent *event)
{
    QMainWindow::showEvent(event);
    const QString type = QString::number(m_session.gBillTypeId);
    computeIniPath(m_session);
    m_menu.value(QStringLiteral("MenuDefaultPrint"))->setChecked(readDefaultPrintOption(m_session));
    const QString lock = ReadIni(m_session, QStringLiteral("BillMainLockCols"), type + QStringLiteral("Lock"), QStringLiteral("0"));
    if (!lock.isEmpty())
        m_lockCols = lock;
    applyFrozenColumns();
    alignTotals();
}

void frmMainBill::setUpMode()
{
    Session &s = m_session;
    const QString word = modeWord(s.gBillMode);
    if (word.isEmpty())
        return; // no set-up for an unknown mode
    setWindowTitle(word + lblTitle->text());
    switch (s.gBillMode) {
    case 0:
        m_loading = true;
        thdate->setDate(Clock::today());
        txtBiller->setText(s.gLoginUserName);
        m_loading = false;
        proposeBillNumber(false);
        break;
    case 1:
        loadBill();
        break;
    case 2: {
        loadBill();
        const QList<QAction *> actions = Toolbar1->actions();
        for (int i = 0; i < actions.size() && i < 23; ++i)
            actions[i]->setVisible(false);
        if (actions.size() >= 3)
            actions[2]->setVisible(true);
        MenuEdit->menuAction()->setVisible(false);
        break;
    }
    case 3:
    default:
        break;
    }
    updateState();
}

// --- Asking and closing ------------------------------------------------------

bool frmMainBill::askToSave()
{
    if (!m_changed)
        return true;
    const int answer = Prompt::msgBox(QStringLiteral("单据已经改变，是否保存？"), Prompt::YesNoCancel, Prompt::Question, m_session.msgTitle);
    if (answer == Prompt::Cancel)
        return false;
    if (answer == Prompt::Yes) {
        MenuSave_Click();
        return m_saveSucceeded;
    }
    return true;
}

void frmMainBill::closeEvent(QCloseEvent *event)
{
    if (!askToSave()) {
        event->ignore();
        return;
    }
    writeOptions();
    Session &s = m_session;
    if (s.gFromList == 1 && s.gBillMode != 3) {
        if (listRefresher())
            listRefresher()();
        s.gFromList = 0;
    }
    event->accept();
}

// --- State -------------------------------------------------------------------

// What may be done follows the bill and its place in the list.
BillView frmMainBill::view() const
{
    const Session &s = m_session;
    BillView v;
    v.mode = s.gBillMode;
    v.status = m_status;
    v.cancellation = m_cancellation;
    v.earlierPeriod = m_earlierPeriod;
    v.listCount = int(s.gListInterIds.size());
    v.listIndex = s.gListIndex;
    return v;
}

void frmMainBill::updateState()
{
    const CommandState c = commandStateFor(view());
    auto enable = [this](const QString &key, const QString &menu, bool on) {
        if (QAction *a = m_buttons.value(key))
            a->setEnabled(on);
        if (QAction *m = m_menu.value(menu))
            m->setEnabled(on);
    };
    enable(QStringLiteral("Save"), QStringLiteral("MenuSave"), c.editable);
    enable(QStringLiteral("Check"), QStringLiteral("MenuCheck"), c.check);
    enable(QStringLiteral("Red"), QStringLiteral("MenuRed"), c.editable);
    enable(QStringLiteral("Blue"), QStringLiteral("MenuBlue"), c.editable);
    enable(QStringLiteral("cmdAllocate"), QString(), c.editable);
    enable(QStringLiteral("First"), QStringLiteral("MenuFirst"), c.first);
    enable(QStringLiteral("Back"), QStringLiteral("MenuPre"), c.back);
    enable(QStringLiteral("Next"), QStringLiteral("MenuNext"), c.next);
    enable(QStringLiteral("End"), QStringLiteral("MenuLast"), c.last);

    m_grid->setLocked(!c.editable);
    for (const HeaderControl &hc : m_header) {
        setReadOnly(hc.edit, !c.editable);
        if (hc.button)
            hc.button->setEnabled(c.editable);
    }
    setReadOnly(txtAmount, !c.editable);
    thdate->setEnabled(c.editable);
    cmdList->setEnabled(c.editable);
    if (!c.editable)
        setReadOnly(txtBillNo, true);
    updateStatusBar();
}

void frmMainBill::updateStatusBar()
{
    const Session &s = m_session;
    if (m_panels.size() < 5)
        return;
    if (m_panels[0]->text().isEmpty())
        m_panels[0]->setText(QStringLiteral("就绪："));
    m_panels[1]->setText(modeWord(s.gBillMode));
    m_panels[2]->setText(billStateText(view()));
    m_panels[3]->setText(s.gEditorFlag == 1 ? QStringLiteral("红字") : QStringLiteral("蓝字"));
    QPalette p = m_panels[3]->palette();
    p.setColor(QPalette::WindowText, s.gEditorFlag == 1 ? QColor(220, 0, 0) : QColor(0, 60, 200));
    m_panels[3]->setPalette(p);
    m_panels[4]->setText(QStringLiteral("操作员：") + s.gLoginUserName);
}

void frmMainBill::setStatusText(const QString &text)
{
    if (!m_panels.isEmpty())
        m_panels[0]->setText(text);
}

void frmMainBill::markChanged()
{
    if (!m_loading)
        m_changed = true;
}
