#pragma once
// The template designer: the band designer grds1 on the working file that
// menuDesignModle wrote, a menu and the toolbar Toolbar1 (keys "Save",
// "Preview", "Exit"). Saving puts the template back into its tblBillPrint
// row, which is replaced under its key; "save as" writes a file of the
// user's choice; closing a changed template asks whether to save it.
//
// One default instance, created on first use and destroyed when it closes.
#include "printing/TemplateStore.h"
#include "report/ReportData.h"

#include <QHash>
#include <QMainWindow>
#include <QVariant>

class Connection;
class QAction;
class QToolBar;
class frmFieldDescription;
struct Session;

namespace report {
class ReportDesigner;
}

class frmUserDesign : public QMainWindow {
    Q_OBJECT
public:
    // The default instance, made on first use for session `s`.
    static frmUserDesign *defaultInstance(Session &s, QWidget *parent = nullptr);
    static frmUserDesign *existingInstance();
    // Shows the default instance; modal returns when it closes.
    static void showForm(Session &s, bool modal);

    ~frmUserDesign() override;

    // Caption, bill kind, the key of the template row and the working file;
    // loads the working file into the designer (an absent file gives an
    // empty template).
    void setDesignSession(const QString &billName, int billTypeId, qint32 key, const QString &workFile);

    // Where the preview takes its records: the template row's view and order
    // clause, read for the session's gCurInterId (no view: the bare layout).
    void setPreviewSource(const QString &viewName, const QString &orderSql);

    report::ReportDesigner *designer() const { return grds1; }
    // The field list, once MenuFieldDescription has opened it.
    frmFieldDescription *fieldDescription() const { return m_fields; }
    qint32 templateKey() const { return m_key; }
    QString workFile() const { return m_workFile; }

    // The commands.
    void MenuSaleToModule_Click();
    void MenuFileSaveAS_Click();
    void MenuFieldDescription_Click();
    void MenuNormalView_Click();
    void MenuPageView_Click();
    void MenuPreview_Click();
    void MenuPrintSetup_Click();
    void MenuExit_Click();
    void Toolbar1_ButtonClick(const QString &key);

protected:
    void closeEvent(QCloseEvent *event) override;

private:
    explicit frmUserDesign(Session &s, QWidget *parent = nullptr);
    void buildMenusAndToolbar();
    void updateCaption();

    Session &m_session;
    report::ReportDesigner *grds1 = nullptr;
    QToolBar *Toolbar1 = nullptr;
    QHash<QString, QAction *> m_menu;
    frmFieldDescription *m_fields = nullptr;
    QString m_billName;
    int m_billTypeId = 71;
    qint32 m_key = 0;
    QString m_workFile;
    // The source of the preview's records, from the template row.
    QString m_viewName;
    QString m_orderSql;
};
