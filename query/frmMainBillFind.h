#pragma once
// The query dialog: the condition grid fps1, the five fixed filter lists
// PC_0..PC_4, the simple page Frame1 (dates dtp_0/dtp_1 and text boxes
// txt_n), the saved schemes in fps3 with the buttons Pic1_0..2, and OK,
// which builds the statement and hands it to whoever opened the dialog.
//
// The dialog knows nothing of what shows the bills: its opener (a
// QueryOpener) fills and shows them. One instance serves the component: it
// stays loaded, hidden, while its opener says so (the list is open and
// refills itself through findStatement()) and is released otherwise.
#include "query/ConditionModel.h"
#include "query/QuerySql.h"

#include <QDialog>
#include <QList>

#include <functional>

class ConditionGridDelegate;
class QCheckBox;
class QComboBox;
class QDateEdit;
class QFrame;
class QLineEdit;
class QPushButton;
class QTableWidget;
class QToolButton;
struct Session;

// What the clerk chose with OK: the seek condition (kept for refills once
// it ran) and the whole statement of the list.
struct QueryChoice {
    QString seek;
    QString statement;
};

// The side that opened the dialog and shows the bills it finds.
struct QueryOpener {
    // Fills the bills for the choice; false when they could not be filled
    // (a message has been shown): the dialog then stays open.
    std::function<bool(const QueryChoice &)> fill;
    // Runs once OK has filled and hidden the dialog: shows the bills when
    // they are not showing yet.
    std::function<void()> show;
    // Runs when the dialog is closed without a query: true when it must stay
    // loaded (what it filled is still open and refills through it);
    // otherwise the dialog is released.
    std::function<bool()> closing;
};

class frmMainBillFind : public QDialog {
    Q_OBJECT
public:
    // The opener of every dialog that was not given its own (the component
    // puts its list behind it when it is created).
    static void setDefaultOpener(QueryOpener opener);

    // The default instance, created for session `s` when there is none.
    static frmMainBillFind *instance(Session &s);
    static frmMainBillFind *existingInstance();
    // Unloads the default instance (writing its settings) and lets it go.
    static void releaseInstance();
    // What the public find methods call: shows the default instance
    // modally; returns when the dialog is closed, or when the list it opened
    // is closed.
    static void showQuery(Session &s);

    // Form_Load.
    explicit frmMainBillFind(Session &s, QWidget *parent = nullptr);
    ~frmMainBillFind() override;

    // Shows the dialog application-modal and returns once it is hidden
    // again (OK, close) or released.
    void showModal();
    // The opener this dialog hands its choice to (the default one when
    // none is set).
    void setOpener(QueryOpener opener) { m_opener = std::move(opener); }

    // The parts of the statement from the dialog's current entries. The seek
    // condition comes from the grid when Check1 is ticked, otherwise from the
    // simple page; a grid row whose kind is not a number throws
    // ConversionError, a number or date condition whose value is none
    // ConditionValueError (with the message for the user).
    QString seekSQL() const;
    QString mainSQL() const;
    QString orderSQL() const;
    FilterCodes filterCodes() const;

    // Builds the list's statement from the parts and the host's condition
    // (gFindSql) and reads the user's stored condition (not applied), leaving
    // the shared connection open for the fill that follows.
    QString findStatement(const QString &seek, const QString &main, const QString &order) const;

    // The condition grid as texts, rows and columns 1-based.
    ConditionTable conditionTable() const;
    void setConditionTable(const ConditionTable &table);
    // The simple page's boxes in index order: (text, tag).
    TextBoxes textBoxes() const;
    const FieldCatalogue &catalogue() const { return m_catalogue; }
    bool catalogueLoaded() const { return m_catalogueLoaded; }

    // Check1: the grid page (true) or the simple page.
    bool usesGrid() const;
    void setUsesGrid(bool grid);

    // Commands.
    void cmdXPOK_Click();
    void cmdXPClose_Click();
    // Empties every cell of the grid and puts the current cell on row 1,
    // column 2 (Pic1_2).
    void cmdClearSeek_Click();
    void Pic1_Click(int index);
    // Loads the scheme of fps3's row (0-based) into the grid and ticks Check1.
    void fps3_Click(int schemeRow);
    // A caption or operator picked in the grid (rows 1-based, list index).
    void chooseCaption(int row, int listIndex);
    void chooseOperator(int row, int listIndex);
    // The value lookup of a grid row with a code class.
    void lookupValue(int row);
    // F7 in text box `index` (also its ImgSeek picture).
    void seekCode(int index);

    void done(int result) override;

signals:
    // The dialog was hidden or closed.
    void dismissed();

protected:
    void hideEvent(QHideEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    Session &m_session;
    struct TextBox {
        QString caption;
        QString tag; // caption, "1" when coded, view column
    };
    static QList<TextBox> textBoxDefinitions();

    QWidget *buildConditionGrid();
    QWidget *buildSimplePage();
    QWidget *buildSchemePanel();
    QWidget *buildFilterLists();
    void prepareGrid();
    void fillFilterLists();
    void listSchemes();
    void setupRowEditors(int row);
    void writeRow(int row, const ConditionTable &table);
    void saveScheme();
    void deleteScheme();
    QueryOpener opener() const;
    void unload();

    FieldCatalogue m_catalogue;
    bool m_catalogueLoaded = false;
    QTableWidget *m_fps1 = nullptr;
    ConditionGridDelegate *m_delegate = nullptr;
    QTableWidget *m_fps3 = nullptr;
    QFrame *m_frame1 = nullptr;
    QCheckBox *m_check1 = nullptr;
    QList<QComboBox *> m_pc;
    QDateEdit *m_dtp0 = nullptr;
    QDateEdit *m_dtp1 = nullptr;
    QList<QLineEdit *> m_txt;
    QList<QToolButton *> m_imgSeek;
    QueryOpener m_opener;
    bool m_withPeriod = false;
    bool m_unloaded = false;
};
