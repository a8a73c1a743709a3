#pragma once
// The field list beside the designer: description and field name of every
// field of the print view, and two buttons that copy a cell of the current
// row to the clipboard (cmdCopy1 the description, cmdCopy2 the field name).
#include <QDialog>

class QTableWidget;

class frmFieldDescription : public QDialog {
    Q_OBJECT
public:
    explicit frmFieldDescription(QWidget *parent = nullptr);

    void clear();
    // One row from "description<TAB>field name".
    void addItem(const QString &line);
    // Grid rows as the grid counts them: 0 is the header row, data rows
    // begin at 1; the current row is 0 when there is none.
    int gridRows() const;
    int currentRow() const;
    void setCurrentRow(int gridRow);
    // Columns 1 (description) and 2 (field name).
    QString cellText(int gridRow, int column) const;

    void cmdCopy1_Click();
    void cmdCopy2_Click();

private:
    void copyCell(int column);
    QTableWidget *vsf1 = nullptr;
};
