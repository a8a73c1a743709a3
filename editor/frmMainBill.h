#pragma once
// The purchase-invoice editor: a header laid out from tblBillInfo, the entry
// grid fps1, the toolbar Toolbar1 with a menu bar mirroring it, and a status
// bar. It opens in one of four modes (gBillMode 0 new, 1 modify, 2 split,
// 3 view), loads and browses saved bills, saves through the bill store, fills
// the grid from the supplier's open stock-in bills, marks invoices red or
// blue, copies and audits. The form holds its widgets and calls the plain
// logic of EntryRules, BillLayout, EditorState, BillStore and SaveCommands.
// Its code is split by what it does: frmMainBill.cpp (set-up, options,
// state), frmMainBillHeader.cpp, frmMainBillGrid.cpp,
// frmMainBillCommands.cpp and frmMainBillBrowse.cpp.
//
// The form is used through one default instance (defaultInstance()), which
// lives from its first use until it is closed; closing destroys it, so the
// next use starts afresh.
#include "editor/BillLayout.h"
#include "editor/BillStore.h"
#include "editor/EditorState.h"

#include <QMainWindow>
#include <QPointer>

#include <functional>
#include <vector>

class EntryGridModel;
class EntryTotalsModel;
class FrozenTableView;
class QAction;
class QComboBox;
class QDateEdit;
class QLabel;
class QLineEdit;
class QMenu;
class QPushButton;
class QTableView;
class QToolBar;
class QToolButton;
class QVBoxLayout;

class frmMainBill;
struct Session;

// What printing supplies to the editor; each is called after the editor's own
// checks (right, saved bill). Unset entries do nothing.
struct EditorPrintHooks {
    std::function<void(frmMainBill &)> preview;
    std::function<void(frmMainBill &)> print;
    std::function<void(frmMainBill &)> design;
};

class frmMainBill : public QMainWindow {
    Q_OBJECT
public:
    // The default instance, created (and initialised) on first use.
    static frmMainBill *defaultInstance(Session &s);
    // The default instance if it exists; no creation.
    static frmMainBill *existingInstance();
    // Shows the default instance; a modal show returns when the form closes.
    static void showForm(Session &s, bool modal);
    // What the bill list runs when an editor opened from it closes: re-run
    // its query and restore its rows.
    static void setListRefresher(std::function<void()> refresher);
    static void setPrintHooks(EditorPrintHooks hooks);
    // Shows the default instance on a new invoice of the supplier with its
    // open stock-in bill `stockBillId` in the grid (red when the stock bill
    // is). An editor already open asks to save its bill first.
    static void showNewFromStockBill(Session &s, const QString &supplierId, const QString &stockBillId, bool modal);

    ~frmMainBill() override;

    // The session the form works in; the state the commands look at, for
    // printing and for tests.
    Session &session() const { return m_session; }
    bool isChanged() const { return m_changed; }
    bool saveSucceeded() const { return m_saveSucceeded; }
    int billStatus() const { return m_status; }
    int billCancellation() const { return m_cancellation; }
    EntryGridModel *grid() const { return m_grid; }
    const HeaderLayout &layout() const { return m_layout; }
    // The laid-out field editing `fieldName`: its shown text and its lookup
    // value ("number&**&id").
    QString fieldText(const QString &fieldName) const;
    QString fieldValue(const QString &fieldName) const;

    // The commands (menu entries and toolbar buttons lead here).
    void MenuNew_Click();
    void MenuNewAfterSave_Click();
    void MenuSave_Click();
    void MenuCheck_Click();
    void MenuCopy_Click();
    void MenuRed_Click();
    void MenuBlue_Click();
    void MenuBillHead_Click();
    void MenuFirst_Click();
    void MenuPre_Click();
    void MenuNext_Click();
    void MenuLast_Click();
    void MenuPreview_Click();
    void MenuPrint_Click();
    void MenuExportPdf_Click();
    void MenuDefaultPrint_Click();
    void MenuDesignModle_Click();
    void MenuLockCol_Click();
    void MenuExit_Click();
    // Toolbar1's dispatch by button key.
    void Toolbar1_ButtonClick(const QString &key);
    void cmdList_Click();
    // Spreads a total the clerk types over the entries, oldest stock bill
    // first (Allocation.h).
    void cmdAllocate_Click();

    // May the caller go on (the user saved, declined, or nothing changed)?
    bool askToSave();

protected:
    void closeEvent(QCloseEvent *event) override;
    void showEvent(QShowEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    Session &m_session;

    struct HeaderControl {
        QLabel *label = nullptr;
        QLineEdit *edit = nullptr;
        QToolButton *button = nullptr; // lookup fields
        QLabel *name = nullptr;        // lookup fields
        int lookupIndex = -1;          // element of the td array
    };

    explicit frmMainBill(Session &s, QWidget *parent = nullptr);

    // Set-up and state (frmMainBill.cpp).
    void buildStatusBar();
    void formLoad();
    void readOptions();
    void writeOptions();
    int afterSaveNew() const;
    int copyHeaderOption() const;
    void setUpMode();
    BillView view() const;
    void updateState();
    void updateStatusBar();
    void setStatusText(const QString &text);
    void markChanged();

    // The header (frmMainBillHeader.cpp): fixed fields, the fields laid out
    // from tblBillInfo, code lookups, Enter as Tab.
    QWidget *buildHeaderArea(QWidget *parent);
    void buildHeader();
    void placeHeaderExtras();
    void placeTitleAndMarkers();
    int shiftedX(int layoutX) const;
    void clearHeader();
    void proposeBillNumber(bool keepSerial);
    void thdate_Change();
    void td_LostFocus(int field);
    void cmdTd_Click(int field);
    void resolveLookup(int field, bool openSelectorWhenUnknown);
    void setLookup(int field, const QString &number, const QString &id, const QString &name);
    void refreshLookupTexts();
    std::vector<HeaderLabel> headerLabels() const;

    // The entry grid (frmMainBillGrid.cpp): entries, totals line, frozen
    // columns, the entry finder.
    void buildEntryGrid(QWidget *parent, QVBoxLayout *column);
    QWidget *buildFooter(QWidget *parent);
    void applyFrozenColumns();
    void alignTotals();
    void commitTypedCell();
    void cmbEntry_DropDown();
    void cmbEntry_Click(int index);

    // The commands (frmMainBillCommands.cpp).
    void buildToolbarAndMenus();
    void startNewBill();
    void setRob(int rob);
    BillDraft draft() const;
    // False when the supplier's invoice number is on another of its invoices
    // and the clerk chose not to save (the number field has the focus).
    bool mayUseInvoiceNumber(const BillDraft &bill);
    bool mayPrintShownBill() const;
    void loadStockBill(const QString &supplierId, const QString &stockBillId);

    // Browsing (frmMainBillBrowse.cpp).
    void loadBill();
    void applyLoaded(LoadedBill bill);
    void navigateTo(int position);

    HeaderLayout m_layout;
    std::vector<HeaderControl> m_header;
    QStringList m_lookupValues; // per header field: "number&**&id"

    QWidget *m_head = nullptr;
    int m_fieldsRight = 0;
    // Where the laid-out header moves right to make room for the code names:
    // (right edge of a widened lookup field in the layout, extra width). A
    // control whose layout position lies at or beyond such an edge moves by
    // the largest extra width left of it, so columns stay aligned.
    std::vector<std::pair<int, int>> m_widenedLookups;
    QLabel *lblTitle = nullptr;
    QLineEdit *txtBillNo = nullptr;
    QDateEdit *thdate = nullptr;
    QLineEdit *txtBiller = nullptr;
    QLineEdit *txtChecker = nullptr;
    QLineEdit *txtAmount = nullptr;
    QPushButton *cmdList = nullptr;
    QLabel *lblAmount = nullptr;
    QLabel *ImgRed = nullptr;
    QLabel *ImgCheck = nullptr;
    FrozenTableView *fps1 = nullptr;
    FrozenTableView *fps2 = nullptr; // the totals line under the entries
    EntryTotalsModel *m_totals = nullptr;
    QComboBox *cmbEntry = nullptr;   // jumps to an entry by its stock bill
    QWidget *teB = nullptr;          // the supplier's lookup box
    EntryGridModel *m_grid = nullptr;
    QToolBar *Toolbar1 = nullptr;
    QMenu *MenuEdit = nullptr;
    QList<QLabel *> m_panels;

    // Toolbar buttons by key, menu entries by name.
    QHash<QString, QAction *> m_buttons;
    QHash<QString, QAction *> m_menu;

    bool m_changed = false;
    bool m_saveSucceeded = false;
    bool m_loading = false;
    int m_status = 0;
    int m_cancellation = 0;
    bool m_earlierPeriod = false;
    QString m_checkerId;
    // Options kept per bill kind.
    int m_optAfterSaveNew = 1;
    int m_optCopyHeader = 0;
    int m_optCopyEntry = 0;
    int m_optItemNotice = 0;
    QString m_lockCols = QStringLiteral("0");
};
