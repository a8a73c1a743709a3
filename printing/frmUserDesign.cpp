#include "printing/frmUserDesign.h"

#include "modules/Session.h"
#include "modules/ConnectionRoutines.h"
#include "platform/Connection.h"
#include "platform/DbError.h"
#include "platform/FormShow.h"
#include "platform/Prompt.h"
#include "printing/frmFieldDescription.h"
#include "report/ReportDesigner.h"

#include <QAction>
#include <QActionGroup>
#include <QApplication>
#include <QCloseEvent>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QMenu>
#include <QMenuBar>
#include <QPointer>
#include <QStyle>
#include <QToolBar>

namespace {

frmUserDesign *g_default = nullptr;

} // namespace

// ---------------------------------------------------------------- the form

frmUserDesign *frmUserDesign::defaultInstance(Session &s, QWidget *parent)
{
    if (!g_default) {
        g_default = new frmUserDesign(s, parent);
        g_default->setAttribute(Qt::WA_DeleteOnClose);
    }
    return g_default;
}

frmUserDesign *frmUserDesign::existingInstance()
{
    return g_default;
}

void frmUserDesign::showForm(Session &s, bool modal)
{
    ::showForm(defaultInstance(s), modal);
}

frmUserDesign::frmUserDesign(Session &s, QWidget *parent)
    : QMainWindow(parent), m_session(s)
{
    setObjectName(QStringLiteral("frmUserDesign"));
    if (parent)
        setWindowFlag(Qt::Window);
    grds1 = new report::ReportDesigner(this);
    grds1->setObjectName(QStringLiteral("grds1"));
    setCentralWidget(grds1);
    buildMenusAndToolbar();
    connect(grds1, &report::ReportDesigner::modifiedChanged, this, [this](bool modified) { setWindowModified(modified); });
    updateCaption();
    resize(1180, 800);
}

frmUserDesign::~frmUserDesign()
{
    if (g_default == this)
        g_default = nullptr;
}

void frmUserDesign::buildMenusAndToolbar()
{
    auto entry = [this](QMenu *menu, const QString &name, const QString &text, void (frmUserDesign::*slot)(),
                        const QKeySequence &shortcut = {}) {
        QAction *a = menu->addAction(text);
        a->setObjectName(name);
        if (!shortcut.isEmpty())
            a->setShortcut(shortcut);
        connect(a, &QAction::triggered, this, slot);
        m_menu.insert(name, a);
        return a;
    };
    QMenu *file = menuBar()->addMenu(QStringLiteral("文件(&F)"));
    file->setObjectName(QStringLiteral("MenuFile"));
    entry(file, QStringLiteral("MenuSaleToModule"), QStringLiteral("保存模板(&S)"), &frmUserDesign::MenuSaleToModule_Click,
          QKeySequence::Save);
    entry(file, QStringLiteral("MenuFileSaveAS"), QStringLiteral("另存为文件(&A)..."), &frmUserDesign::MenuFileSaveAS_Click);
    // The designer's own commands, in the menus too.
    auto designerEntries = [this](QMenu *menu, std::initializer_list<const char *> names) {
        for (const char *name : names) {
            if (!*name)
                menu->addSeparator();
            else
                menu->addAction(grds1->action(QString::fromLatin1(name)));
        }
    };
    designerEntries(file, {"actImportTemplate", "actExportTemplate"});
    file->addSeparator();
    entry(file, QStringLiteral("MenuPrintSetup"), QStringLiteral("打印设置(&U)..."), &frmUserDesign::MenuPrintSetup_Click);
    entry(file, QStringLiteral("MenuPreview"), QStringLiteral("打印预览(&V)"), &frmUserDesign::MenuPreview_Click);
    file->addSeparator();
    entry(file, QStringLiteral("MenuExit"), QStringLiteral("退出(&X)"), &frmUserDesign::MenuExit_Click);

    QMenu *view = menuBar()->addMenu(QStringLiteral("视图(&V)"));
    view->setObjectName(QStringLiteral("MenuView"));
    QAction *normal = entry(view, QStringLiteral("MenuNormalView"), QStringLiteral("普通视图(&N)"), &frmUserDesign::MenuNormalView_Click);
    QAction *page = entry(view, QStringLiteral("MenuPageView"), QStringLiteral("页面视图(&P)"), &frmUserDesign::MenuPageView_Click);
    normal->setCheckable(true);
    page->setCheckable(true);
    auto *views = new QActionGroup(this);
    views->addAction(normal);
    views->addAction(page);
    normal->setChecked(true);
    // The designer's own toolbar switches the view too.
    connect(view, &QMenu::aboutToShow, this, [this, normal, page] {
        const bool isPage = grds1->viewMode() == report::ReportDesigner::ViewMode::Page;
        (isPage ? page : normal)->setChecked(true);
    });

    view->addSeparator();
    designerEntries(view, {"actZoomIn", "actZoomOut"});

    QMenu *edit = menuBar()->addMenu(QStringLiteral("编辑(&E)"));
    edit->setObjectName(QStringLiteral("MenuEdit"));
    designerEntries(edit, {"actUndo", "actRedo", "", "actCopy", "actPaste", "", "actInsertImage", "", "actAlignLeft",
                           "actAlignRight", "actAlignTop", "actAlignBottom", "actSameWidth", "actSameHeight"});
    QMenu *format = menuBar()->addMenu(QStringLiteral("格式(&O)"));
    format->setObjectName(QStringLiteral("MenuFormat"));
    designerEntries(format, {"actItalic", "actUnderline", "actTextColor", "actFillColor", "", "actLineWidth",
                             "actLineStyle", "", "actWordWrap", "actVAlignTop", "actVAlignMiddle", "actVAlignBottom"});

    QMenu *tools = menuBar()->addMenu(QStringLiteral("工具(&T)"));
    tools->setObjectName(QStringLiteral("MenuTools"));
    entry(tools, QStringLiteral("MenuFieldDescription"), QStringLiteral("字段说明(&D)"), &frmUserDesign::MenuFieldDescription_Click);

    Toolbar1 = addToolBar(QStringLiteral("工具栏"));
    Toolbar1->setObjectName(QStringLiteral("Toolbar1"));
    Toolbar1->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    Toolbar1->setMovable(false);
    struct Button {
        const char *key;
        const char16_t *text;
        QStyle::StandardPixmap icon;
    };
    const Button buttons[] = {
        {"Save", u"保存", QStyle::SP_DialogSaveButton},
        {"Preview", u"预览", QStyle::SP_FileDialogContentsView},
        {"Exit", u"退出", QStyle::SP_DialogCloseButton},
    };
    for (const Button &b : buttons) {
        const QString key = QString::fromLatin1(b.key);
        QAction *a = Toolbar1->addAction(style()->standardIcon(b.icon), QString::fromUtf16(b.text));
        a->setObjectName(key);
        connect(a, &QAction::triggered, this, [this, key] { Toolbar1_ButtonClick(key); });
    }
}

void frmUserDesign::updateCaption()
{
    const QString name = m_billName.isEmpty() ? m_session.gBillName : m_billName;
    setWindowTitle(name + QStringLiteral(" - 打印模板设计[*]"));
}

void frmUserDesign::setDesignSession(const QString &billName, int billTypeId, qint32 key, const QString &workFile)
{
    m_billName = billName;
    m_billTypeId = billTypeId;
    m_key = key;
    m_workFile = workFile;
    grds1->setMessageTitle(m_session.msgTitle);
    updateCaption();
    if (QFileInfo::exists(workFile)) {
        QString error;
        if (!grds1->loadFile(workFile, &error)) {
            grds1->setReportTemplate(report::ReportTemplate());
            Prompt::msgBox(error, Prompt::Exclamation, m_session.msgTitle);
        }
    } else {
        grds1->setReportTemplate(report::ReportTemplate());
    }
}

void frmUserDesign::setPreviewSource(const QString &viewName, const QString &orderSql)
{
    m_viewName = viewName;
    m_orderSql = orderSql;
    if (viewName.isEmpty()) {
        grds1->setFetchRecords({});
        return;
    }
    grds1->setFetchRecords([&s = m_session, viewName, orderSql](report::ReportData &data) {
        ConnectionScope scope(s);
        try {
            OpenConnection(s);
            readBillRecords(*s.gConn, viewName, s.gCurInterId, orderSql, data);
        } catch (const DbError &e) {
            Prompt::msgBox(e.description(), Prompt::Critical, s.msgTitle);
        }
    });
}

void frmUserDesign::MenuSaleToModule_Click()
{
    Session &s = m_session;
    QString error;
    if (!grds1->saveFile(m_workFile, &error)) {
        Prompt::msgBox(error, Prompt::Critical, s.msgTitle);
        return;
    }
    QFile file(m_workFile);
    if (!file.open(QIODevice::ReadOnly)) {
        grds1->setModified(true);
        Prompt::msgBox(QStringLiteral("无法读取文件 %1：%2").arg(m_workFile, file.errorString()), Prompt::Critical, s.msgTitle);
        return;
    }
    const QByteArray content = file.readAll();
    file.close();
    {
        ConnectionScope scope(s);
        try {
            OpenConnection(s);
        } catch (const DbError &) {
            grds1->setModified(true);
            Prompt::msgBox(QStringLiteral("数据库连接失败!"), Prompt::Exclamation, s.msgTitle);
            return;
        }
        try {
            const NewTemplate fresh{printViewOf(s.gViewName), QString::number(m_billTypeId) + QStringLiteral(".grf"),
                                    m_billName.isEmpty() ? s.gBillName : m_billName};
            const TemplateRow saved = replaceTemplateRow(*s.gConn, m_billTypeId, m_key, content, fresh);
            // A template that had no row has one now: later saves replace it,
            // and the preview reads its view.
            m_key = saved.key;
            if (m_viewName.isEmpty())
                setPreviewSource(saved.viewName.toString(), saved.orderSql.toString());
        } catch (const DbError &e) {
            grds1->setModified(true);
            Prompt::msgBox(e.description(), Prompt::Critical, s.msgTitle);
            return;
        }
    }
    Prompt::msgBox(QStringLiteral("保存成功!"), Prompt::Information, s.msgTitle);
}

void frmUserDesign::MenuFileSaveAS_Click()
{
    grds1->setMessageTitle(m_session.msgTitle);
    grds1->action(QStringLiteral("actExportTemplate"))->trigger();
}

void frmUserDesign::MenuFieldDescription_Click()
{
    Session &s = m_session;
    QStringList lines;
    {
        ConnectionScope scope(s);
        try {
            OpenConnection(s);
            lines = fieldDescriptionLines(*s.gConn, m_billTypeId);
        } catch (const DbError &e) {
            Prompt::msgBox(e.description(), Prompt::Critical, s.msgTitle);
            return;
        }
    }
    if (!m_fields) {
        m_fields = new frmFieldDescription(this);
        m_fields->setModal(false);
    }
    m_fields->clear();
    for (const QString &line : lines)
        m_fields->addItem(line);
    m_fields->show();
    m_fields->raise();
    m_fields->activateWindow();
}

void frmUserDesign::MenuNormalView_Click()
{
    grds1->setViewMode(report::ReportDesigner::ViewMode::Normal);
    m_menu.value(QStringLiteral("MenuNormalView"))->setChecked(true);
}

void frmUserDesign::MenuPageView_Click()
{
    grds1->setViewMode(report::ReportDesigner::ViewMode::Page);
    m_menu.value(QStringLiteral("MenuPageView"))->setChecked(true);
}

void frmUserDesign::MenuPreview_Click()
{
    grds1->preview();
}

void frmUserDesign::MenuPrintSetup_Click()
{
    grds1->printerSetup();
}

void frmUserDesign::MenuExit_Click()
{
    close();
}

void frmUserDesign::Toolbar1_ButtonClick(const QString &key)
{
    if (key == u"Save")
        MenuSaleToModule_Click();
    else if (key == u"Preview")
        MenuPreview_Click();
    else if (key == u"Exit")
        MenuExit_Click();
}

void frmUserDesign::closeEvent(QCloseEvent *event)
{
    if (grds1->isModified()) {
        const int answer = Prompt::msgBox(QStringLiteral("单据模板已经更改,是否保存?"), Prompt::YesNo, Prompt::Question,
                                          m_session.msgTitle);
        if (answer == Prompt::Yes)
            MenuSaleToModule_Click();
    }
    if (m_fields)
        m_fields->close();
    // The working file only carries the template between the database and
    // the designer; what was saved is in the database now.
    if (!m_workFile.isEmpty())
        QFile::remove(m_workFile);
    event->accept();
}
