#pragma once
// The batch picker: lists the stock batches of one goods item (the session's
// gBatchItemId), lets the user find a batch by typing part of its number, and
// leaves the chosen batch number in gBatchNo. Closing without choosing leaves
// gBatchNo as it was.
#include "modules/BatchStock.h"

#include <QAbstractTableModel>
#include <QDialog>

#include <vector>

class Connection;
struct Session;
class QLineEdit;
class QTableView;

// Reads them on the session's shared connection, which is opened for the read
// and closed afterwards. A database error is shown with the critical icon and
// gives no rows.
std::vector<BatchRow> loadBatchRows(Session &s, const QString &itemId);
class BatchTableModel : public QAbstractTableModel {
    Q_OBJECT
public:
    explicit BatchTableModel(QObject *parent = nullptr);
    void setRows(std::vector<BatchRow> rows);
    const std::vector<BatchRow> &rows() const { return m_rows; }

    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;

private:
    std::vector<BatchRow> m_rows;
};

class frmBatchno : public QDialog {
    Q_OBJECT
public:
    // Fills the grid for the session's gBatchItemId.
    explicit frmBatchno(Session &s, QWidget *parent = nullptr);

    // Grid rows as the grid counts them: 0 is the header row, data rows
    // begin at 1. The current row is 0 when the grid has no data rows.
    int gridRows() const;
    int currentRow() const;
    void setCurrentRow(int gridRow);
    // The text of a cell; column 0 holds the value that is returned.
    QString cellText(int gridRow, int column) const;

    // Refills the grid from the database.
    void loadRows();
    // Moves the current row to the first batch containing the search text.
    void txtSearch_Change();
    // Stores the current row's batch in gBatchNo and closes; does nothing
    // when the grid has no data rows.
    void choose();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    QLineEdit *m_search = nullptr;
    QTableView *m_grid = nullptr;
    BatchTableModel *m_model = nullptr;
    Session &m_session;
};

// Shows the picker modally for the session's gBatchItemId. Returns true when
// the user chose a batch (then in gBatchNo).
bool showBatchPicker(Session &s, QWidget *parent = nullptr);
