#pragma once
// Received, not yet invoiced: the suppliers with open stock-in bills and
// their totals under a supplier filter and an "as of" date, each supplier's
// bills read when it is expanded, export of every bill to a workbook, and a
// double-click on a bill that opens the editor on a new invoice of the
// supplier with the bill loaded. The logic is UninvoicedBills.
#include "list/UninvoicedBills.h"

#include <QDialog>
#include <QModelIndex>

class QDateEdit;
class QLabel;
class QLineEdit;
class QTreeView;
class UninvoicedModel;
struct Session;

class frmUninvoiced : public QDialog {
    Q_OBJECT
public:
    // The default instance, created when there is none.
    static frmUninvoiced *instance(Session &s);
    static frmUninvoiced *existingInstance();
    // Shows the default instance modally, filled for today.
    static void showForm(Session &s);

    explicit frmUninvoiced(Session &s, QWidget *parent = nullptr);
    ~frmUninvoiced() override;

    const UninvoicedTotals &totals() const { return m_totals; }
    // The tree's model: a row per supplier and the total row last; a
    // supplier's bills below it once it has been expanded.
    QAbstractItemModel *model() const;

    // Reads the totals for the filter shown; false (a message has been
    // shown) when the database refused.
    bool cmdQuery_Click();
    // Writes every bill, a subtotal per supplier and the total.
    void cmdExcel_Click();
    // On a bill: opens the editor on it; the totals are read again when the
    // editor closes, the supplier expanded again. Other rows do nothing.
    void vsf1_DblClick(const QModelIndex &at);
    // Reads the bills of a supplier being expanded.
    void vsf1_Expanded(const QModelIndex &at);

private:
    Session &m_session;

    // A supplier's bills for the tree; none (a message has been shown) when
    // the database refused.
    std::vector<UninvoicedBill> readBills(const UninvoicedSupplier &supplier);

    QLineEdit *txtSupplier = nullptr;
    QDateEdit *dtpAsOf = nullptr;
    QTreeView *vsf1 = nullptr;
    QLabel *lblTotal = nullptr;
    UninvoicedModel *m_model = nullptr;
    UninvoicedTotals m_totals;
    UninvoicedFilter m_filter; // the filter the totals were read with
};
