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
// exit. Nothing here talks to the user: each routine returns what it did and
// the messages the form shows, in order.
#include "list/ListSelection.h"

#include <QString>

#include <functional>
#include <optional>
#include <vector>

struct Session;

enum class ListCommand { Delete, Audit, UnAudit, Void, UnVoid };

// A message for the user: its text and its Prompt icon.
struct ListMessage {
    QString text;
    int icon = 0;
    bool operator==(const ListMessage &) const = default;
};

// What a routine or command did. `done`: every selected bill passed its
// checks and every statement ran (the form re-runs its query and restores
// its current and top rows); otherwise nothing has been written. The
// messages are shown in order.
struct StateOutcome {
    bool done = false;
    std::vector<ListMessage> messages;
    // Delete: the serial numbers (fbillnumber) of the bills read, each
    // followed by ",".
    QString billNumbers;
};

class BillStateOperations {
public:
    // The operations run on `s`'s shared connection, for its user.
    explicit BillStateOperations(Session &s)
        : m_session(s)
    {
    }

    // The current selection: finterid values joined by ",". Built from the
    // grid by the menu commands; set directly by callers that already have it.
    const QString &selection() const { return m_selection; }
    void setSelection(const QString &ids) { m_selection = ids; }

    // Each is done when every selected bill passed its checks and every
    // statement ran. Not done when a bill was refused, no selected bill was
    // found ("数据读取错误！") or the database failed; the outcome then holds
    // the message and nothing has been written.
    StateOutcome deleteBill();
    StateOutcome unCheckBill();
    StateOutcome cancelBill();
    StateOutcome unCancelBill();

    // The question the form asks before a delete runs.
    static const QString kConfirmDelete;

    // Whether a menu command may act: the user's right ("Q" + code), and for
    // delete a grid with a bill row whose current row is not the totals row.
    // Without them the command ends silently. The form asks kConfirmDelete
    // between this and runCommand.
    bool mayRun(ListCommand command, const ListGridState &grid) const;
    // Builds the selection from the grid and runs the command's routine
    // (audit through CheckBills); on success its message ends the outcome.
    // The rights are those mayRun checked.
    StateOutcome runCommand(ListCommand command, const ListGridState &grid);

    // Runs after the checks have passed and before the statements; lets a
    // test play another workstation that changes a bill in between.
    std::function<void()> afterChecks;

private:
    enum class Routine { Delete, UnCheck, Cancel, UnCancel };
    StateOutcome runRoutine(Routine routine);
    void checkAndApply(Routine routine, StateOutcome &outcome);
    // The routine's statements inside the open transaction; the refusal
    // when un-voiding would take a stock bill beyond its amount.
    std::optional<QString> applyStatements(Routine routine, const QString &billNumbers);

    Session &m_session;
    QString m_selection;
};
