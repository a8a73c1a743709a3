#include "editor/SaveCommands.h"

#include "modules/ConnectionRoutines.h"
#include "modules/Privilege.h"
#include "modules/Session.h"
#include "platform/DbError.h"

namespace {
SaveOutcome runSave(Session &s, const BillDraft &draft, const std::vector<HeaderLabel> &labels, int interId, bool isNew)
{
    SaveOutcome outcome;
    if (!HasPrivilege(s, s.gRightPrefix + (isNew ? QStringLiteral("01") : QStringLiteral("02"))))
        return outcome;

    const BillSettings settings = BillSettings::fromSession(s);
    std::optional<StoreMessage> message;
    try {
        ConnectionScope scope(s);
        OpenConnection(s);
        BillStore store(*s.gConn, settings);
        message = isNew ? store.insertChecks(draft, labels) : store.updateChecks(draft, labels);
        if (!message) {
            const SaveResult result = isNew ? store.insertBill(store.insertHeader(draft), draft)
                                            : store.updateBill(store.updateHeader(draft), draft, interId);
            message = result.message;
            outcome.saved = result.saved;
            outcome.interId = result.interId;
            outcome.billNo = result.billNo;
        }
    } catch (const DbError &e) {
        message = StoreMessage{e.description(), 16};
        outcome = SaveOutcome{};
    }
    if (message)
        outcome.focusAmount = message->focusAmount;
    outcome.message = message;
    return outcome;
}
} // namespace

SaveOutcome prepareInsert(Session &s, const BillDraft &draft, const std::vector<HeaderLabel> &labels)
{
    return runSave(s, draft, labels, 0, true);
}

SaveOutcome prepareUpdate(Session &s, const BillDraft &draft, const std::vector<HeaderLabel> &labels, int interId)
{
    return runSave(s, draft, labels, interId, false);
}
