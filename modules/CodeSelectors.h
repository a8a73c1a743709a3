#pragma once
// Selectors through which the user picks a code: a goods item, or a code of
// one master-data class of tblItem. A host may install selectors of its own;
// when it does not, the default dialogs here are used. Each default dialog is
// a search box over a list of the usable codes of its class.
#include <QAbstractTableModel>
#include <QDialog>
#include <QString>

#include <optional>
#include <vector>

class Connection;
struct Session;
class QLineEdit;
class QTableView;

// The code the user chose. fmodel is filled for goods only.
struct SelectedCode {
    QString fitemid;
    QString fnumber;
    QString fname;
    QString fmodel;
};

class CodeSelector {
public:
    virtual ~CodeSelector() = default;
    // Goods of vICItem; `seekColumn` is the column of the view that the
    // user's search looks at besides number, name and model (gSeekItem);
    // `connectionString` is the database to read (empty: the session's).
    // No value when the user cancels.
    virtual std::optional<SelectedCode> selectGoods(Session &s, const QString &seekColumn, const QString &connectionString, QWidget *parent) = 0;
    // Detail codes of one class of tblItem (suppliers, departments, ...).
    virtual std::optional<SelectedCode> selectBasicData(Session &s, int itemClassId, QWidget *parent) = 0;
};

// The dialogs below.
class DefaultCodeSelector : public CodeSelector {
public:
    std::optional<SelectedCode> selectGoods(Session &s, const QString &seekColumn, const QString &connectionString, QWidget *parent) override;
    std::optional<SelectedCode> selectBasicData(Session &s, int itemClassId, QWidget *parent) override;
};

// Installs the host's selector (not owned); nullptr restores the default.
void setCodeSelector(CodeSelector *selector);
// The installed selector, or the default one.
CodeSelector &codeSelector();

// One row of a selector's list. `seek` is the text of the goods' search
// column (empty when the view has no such column); `price` the purchase
// price as exact decimal text.
struct CodeRow {
    QString fitemid;
    QString fnumber;
    QString fname;
    QString fmodel;
    QString price;
    QString seek;
};

QString goodsListSql();
QString basicDataListSql(int itemClassId);
// Usable goods (fislock = 0) ordered by number. Throws DbError.
std::vector<CodeRow> readGoods(Connection &conn, const QString &seekColumn);
// Usable detail codes of the class (fisdetail = 1, fislock 0 or null)
// ordered by number. Throws DbError.
std::vector<CodeRow> readBasicData(Connection &conn, int itemClassId);
// "选择" + the class's name from tblItemclass; "选择代码" when the class has
// no name there. Throws DbError.
QString basicDataCaption(Connection &conn, int itemClassId);
// Indexes of the rows that contain `text` (case-insensitive) in their seek
// column, number, name or model, in list order. Blanks around the text are
// ignored; an empty text keeps every row.
std::vector<int> filterCodeRows(const std::vector<CodeRow> &rows, const QString &text);

class CodeListModel : public QAbstractTableModel {
    Q_OBJECT
public:
    enum class Kind { Goods, BasicData };
    // Prices are shown with `priceDecimals` decimals (the workstation's).
    CodeListModel(Kind kind, int priceDecimals, QObject *parent = nullptr);

    void setRows(std::vector<CodeRow> rows);
    // Shows only the rows that match the text.
    void setFilter(const QString &text);
    // The row behind a shown list row; nullptr when out of range.
    const CodeRow *rowAt(int listRow) const;

    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;

private:
    Kind m_kind;
    int m_priceDecimals;
    std::vector<CodeRow> m_rows;
    std::vector<int> m_shown;
};

// The default selector dialog: objectName "frmGoodsSelector" for goods,
// "frmItemSelector" for master data; the search box is `txtSearch`, the list
// `lstCodes`. Typing filters the list, the arrows move in it while the focus
// stays in the search box, Enter or a double-click chooses, Escape cancels.
class CodeSelectorDialog : public QDialog {
    Q_OBJECT
public:
    // Reads the goods of vICItem on `connectionString` (empty: the session's).
    static CodeSelectorDialog *forGoods(Session &s, const QString &seekColumn, const QString &connectionString,
                                        QWidget *parent = nullptr);
    // Reads the codes of the class on the session's shared connection.
    static CodeSelectorDialog *forBasicData(Session &s, int itemClassId, QWidget *parent = nullptr);

    // Number of rows the list shows; the current one (-1 when none).
    int shownRows() const;
    int currentListRow() const;
    void setCurrentListRow(int row);
    // The choice, once the dialog was accepted.
    const std::optional<SelectedCode> &selected() const { return m_selected; }

    // Takes the current row and closes; does nothing when the list is empty.
    void choose();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    CodeSelectorDialog(CodeListModel::Kind kind, int priceDecimals, QWidget *parent);
    void setRows(std::vector<CodeRow> rows);
    void txtSearch_Change();

    QLineEdit *m_search = nullptr;
    QTableView *m_list = nullptr;
    CodeListModel *m_model = nullptr;
    std::optional<SelectedCode> m_selected;
};
