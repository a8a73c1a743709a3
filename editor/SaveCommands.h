#pragma once
// The save commands of the editor on the session: the user's right, the
// checks, then the bill store on the shared connection, which is closed
// again on every path. What went wrong comes back as the message to show;
// `interId` and `billNo` tell what was saved.
#include "editor/BillStore.h"

struct SaveOutcome {
    bool saved = false;
    bool focusAmount = false;
    int interId = 0;
    QString billNo;
    std::optional<StoreMessage> message; // a refusal or an error
};
SaveOutcome prepareInsert(Session &s, const BillDraft &draft, const std::vector<HeaderLabel> &labels);
SaveOutcome prepareUpdate(Session &s, const BillDraft &draft, const std::vector<HeaderLabel> &labels, int interId);
