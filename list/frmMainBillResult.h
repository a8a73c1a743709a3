#pragma once
// The bill list: the invoices a query returns, in the grid vsf1, with the
// commands on the selected bills (delete, audit, un-audit, void, un-void),
// opening the editor, refreshing and re-filtering through the query dialog,
// the exports, locked columns and, in selection mode, handing the chosen
// bills back to the caller.
//
// One instance serves the component, created on first use by the query
// dialog's find and released when the list is closed.
#include "list/BillStateOperations.h"

#include <QDialog>

class BillListModel;
class FrozenTableView;
class QAction;
class QLabel;
class QLineEdit;
class QMenu;
class QStatusBar;
class QToolBar;
struct Session;

class frmMainBillResult : public QDialog {
    Q_OBJECT
public:
    // The default instance, created when there is none.
    static frmMainBillResult *instance(Session &s);
    // The default instance if it exists.
    static frmMainBillResult *existingInstance();
    // Lets go of a default instance that was filled but never shown (the
    // query dialog was closed instead), so that the next query builds the
    // list for its own mode. A list that has been shown is left alone.
    static void discardUnshownInstance();

    // Form_Load: builds the window for the session's list mode.
    explicit frmMainBillResult(Session &s, QWidget *parent = nullptr);
    ~frmMainBillResult() override;

    // Fills the grid with the rows of the statement and writes lblTitle.
    // False (a message has been shown) when the database refused.
    bool fillList(const QString &statement);

    BillListModel *model() const { return m_model; }
    FrozenTableView *grid() const { return m_grid; }

    // Grid position in model rows: the current row and the top visible row
    // (-1 for no current row).
    struct GridPosition {
        int currentRow = -1;
        int topRow = 0;
    };
    GridPosition gridPosition() const;
    // Each part only when the grid still has that row.
    void restoreGridPosition(const GridPosition &position);
    // Selects the given model rows (the others are deselected) and makes the
    // first of them current.
    void selectRows(const QList<int> &rows);
    std::vector<bool> selectedRowFlags() const;

    // The locked column count as the form keeps it (text, "0" by default).
    QString lockedColumns() const { return m_lockCols; }
    // The key of the grid's column layout.
    QString layoutKey() const;

    // Commands (menus, toolbar and grid lead here).
    void MenuEditAdd_Click();
    void MenuEditUpdate_Click();
    void vsf1_DblClick();
    void MenuEditDelete_Click();
    void MenuEditCheck_Click();
    void MenuEditUnCheck_Click();
    void MenuEditCancel_Click();
    void MenuEditUnCancel_Click();
    void refresh();
    void filter();
    void MenuEditAppend_Click();
    void MenuEditDown_Click();
    void MenuExcel_Click();
    void MenuText_Click();
    // Received, not yet invoiced (frmUninvoiced).
    void menuUninvoiced_Click();
    void menuBatchPdf_Click();
    void menuBatchPrint_Click();
    void MenuLockCol_Click();
    void MenuRestoreColWidth_Click();
    void MenuFileExit_Click();
    // Dispatches a toolbar button by its key ("New", "Check", ...).
    void Toolbar1_ButtonClick(const QString &key);

    // Form_Activate: the first activation loads the column layout and the
    // locked columns; later ones change nothing.
    void formActivate();

    void done(int result) override;

protected:
    void showEvent(QShowEvent *event) override;

private:
    Session &m_session;

    QAction *addCommand(const QString &name, const QString &caption, void (frmMainBillResult::*handler)());
    void vsf1_ContextMenu(const QPoint &viewportPos);
    // The editor's current-bill check; true when a bill row is current (the
    // session then names it for the editor).
    bool currentBillCheck();
    void openEditor();
    void runStateCommand(ListCommand command);
    // Runs the query again through the query dialog: with a fresh seek
    // condition from the dialog, or with the one kept in the session.
    void requery(bool rebuildSeek);
    void returnSelection(bool withSecondList);
    void exportTo(bool spreadsheet);
    void setDesignedWidths();
    void unload();

    BillListModel *m_model = nullptr;
    FrozenTableView *m_grid = nullptr;
    QToolBar *m_toolbar = nullptr;
    QStatusBar *m_status = nullptr;
    QLabel *m_billName = nullptr;
    QLabel *m_title = nullptr;
    QLineEdit *m_billNumbers = nullptr;
    QMenu *m_menuEdit = nullptr;
    QMenu *m_menuEdit1 = nullptr;
    BillStateOperations m_operations;

    QString m_marker;           // empty until the first activation
    QString m_lockCols = QStringLiteral("0");
    QList<int> m_widths;        // column widths kept across refills
    bool m_selectMode = false;
    bool m_unloaded = false;
};
