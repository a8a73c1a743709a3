#pragma once
// Received, not yet invoiced: the open stock-in bills per supplier with a
// supplier filter and an "as of" date, a subtotal per supplier and a total,
// export to a workbook, and a double-click that opens the editor on a new
// invoice of the supplier with the bill loaded. The logic is UninvoicedBills.
#include "list/UninvoicedBills.h"

#include <QDialog>

class QDateEdit;
class QLabel;
class QLineEdit;
class QPushButton;
class QTableView;
class UninvoicedModel;

class frmUninvoiced : public QDialog {
    Q_OBJECT
public:
    // The default instance, created when there is none.
    static frmUninvoiced *instance();
    static frmUninvoiced *existingInstance();
    // Shows the default instance modally, filled for today.
    static void showForm();

    explicit frmUninvoiced(QWidget *parent = nullptr);
    ~frmUninvoiced() override;

    const UninvoicedReport &report() const { return m_report; }
    const std::vector<UninvoicedLine> &lines() const;

    // Reads the report for the filter shown; false (a message has been
    // shown) when the database refused.
    bool cmdQuery_Click();
    void cmdExcel_Click();
    // Opens the editor on the bill of grid row `row` (model row); total
    // lines do nothing. The report is read again when the editor closes.
    void vsf1_DblClick(int row);

private:
    QLineEdit *txtSupplier = nullptr;
    QDateEdit *dtpAsOf = nullptr;
    QTableView *vsf1 = nullptr;
    QLabel *lblTotal = nullptr;
    UninvoicedModel *m_model = nullptr;
    UninvoicedReport m_report;
};
