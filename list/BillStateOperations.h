#pragma once
// The state operations of the bill list: delete, un-audit, void and un-void
// the selected purchase invoices, and the menu commands that run them (audit
// goes through CheckBills). Plain logic without widgets; the list form holds
// one instance, describes its grid to the commands, and refills itself when a
// command says so.
//
// Every routine treats the selection as one batch: it reads the headers of
// all selected bills, checks each of them in turn (audited, earlier period,
// void, in that order), and writes nothing at all when one bill fails. Only
// when every bill passes does it run its statements, each covering the whole
// batch through an in-list, in one transaction. The stock bills whose
// invoiced amounts move are locked in ascending id order, as a save locks
// them; un-void refuses when a stock bill can no longer take its amounts
// back. The shared connection is opened at the start and closed on every
// exit.
#include "list/ListSelection.h"

#include <QString>

#include <functional>
#include <optional>

enum class ListCommand { Delete, Audit, UnAudit, Void, UnVoid };

class BillStateOperations {
public:
    // The current selection: finterid values joined by ",". Built from the
    // grid by the menu commands; set directly by callers that already have it.
    const QString &selection() const { return m_selection; }
    void setSelection(const QString &ids) { m_selection = ids; }

    // Serial numbers (fbillnumber) of the bills read by the last deleteBill,
    // each followed by ",".
    const QString &billNumberCollector() const { return m_billNumbers; }

    // Each returns true when every selected bill passed its checks and every
    // statement ran. False when a bill was refused, no selected bill was
    // found ("数据读取错误！") or the database failed; a message has then been
    // shown and nothing has been written.
    bool deleteBill();
    bool unCheckBill();
    bool cancelBill();
    bool unCancelBill();

    // The menu commands. Each checks the user's right ("Q" + code) first and
    // ends silently without it; delete also needs a grid with a bill row whose
    // current row is not the totals row, and the user's Yes to its question.
    // Then the selection is built from the grid, the routine runs, and on
    // success its message is shown. Returns true when the routine succeeded,
    // i.e. the form should re-run its query and restore its current and top
    // rows; false when nothing was written.
    bool runCommand(ListCommand command, const ListGridState &grid);
    bool menuEditDelete(const ListGridState &grid) { return runCommand(ListCommand::Delete, grid); }
    bool menuEditCheck(const ListGridState &grid) { return runCommand(ListCommand::Audit, grid); }
    bool menuEditUnCheck(const ListGridState &grid) { return runCommand(ListCommand::UnAudit, grid); }
    bool menuEditCancel(const ListGridState &grid) { return runCommand(ListCommand::Void, grid); }
    bool menuEditUnCancel(const ListGridState &grid) { return runCommand(ListCommand::UnVoid, grid); }

    // Runs after the checks have passed and before the statements; lets a
    // test play another workstation that changes a bill in between.
    std::function<void()> afterChecks;

private:
    enum class Routine { Delete, UnCheck, Cancel, UnCancel };
    bool runRoutine(Routine routine);
    bool checkAndApply(Routine routine);
    // The routine's statements inside the open transaction; the refusal
    // when un-voiding would take a stock bill beyond its amount.
    std::optional<QString> applyStatements(Routine routine);

    QString m_selection;
    QString m_billNumbers;
};
