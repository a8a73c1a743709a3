#pragma once
// The query dialog: the condition grid fps1, the five fixed filter lists
// PC_0..PC_4, the simple page Frame1 (dates dtp_0/dtp_1 and text boxes
// txt_n), the saved schemes in fps3 with the buttons Pic1_0..2, and OK,
// which builds the statement, fills the bill list through find() and shows
// the list.
//
// One instance serves the component: it stays loaded, hidden, while the list
// is open (the list refills itself through find()) and is released when the
// list closes or the dialog is closed on its own.
#include "query/ConditionModel.h"
#include "query/QuerySql.h"

#include <QDialog>
#include <QList>

class ConditionGridDelegate;
class frmMainBillResult;
class QCheckBox;
class QComboBox;
class QDateEdit;
class QFrame;
class QLineEdit;
class QPushButton;
class QTableWidget;
class QToolButton;

class frmMainBillFind : public QDialog {
    Q_OBJECT
public:
    // The default instance, created when there is none.
    static frmMainBillFind *instance();
    static frmMainBillFind *existingInstance();
    // Unloads the default instance (writing its settings) and lets it go.
    static void releaseInstance();
    // What the public find methods call: shows the default instance
    // modally; returns when the dialog is closed, or when the list it opened
    // is closed.
    static void showQuery();

    // Form_Load.
    explicit frmMainBillFind(QWidget *parent = nullptr);
    ~frmMainBillFind() override;

    // Shows the dialog application-modal and returns once it is hidden
    // again (OK, close) or released.
    void showModal();

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
    // (gFindSql), reads the user's stored condition (not applied) and fills
    // the list. True when the list was filled.
    bool find(const QString &seek, const QString &main, const QString &order, frmMainBillResult *list);

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
    void cmdXPOK();
    void cmdXPClose();
    // Empties every cell of the grid and puts the current cell on row 1,
    // column 2 (Pic1_2 and cmdClearSeek).
    void clearConditions();
    void saveScheme();
    void deleteScheme();
    // Loads the scheme of fps3's row (0-based) into the grid and ticks Check1.
    void loadScheme(int schemeRow);
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
    bool m_withPeriod = false;
    bool m_unloaded = false;
};
