#pragma once
// What the editor's commands may do, from the bill in hand and the place of
// the editor in the list of bills it was handed: an audited bill can no
// longer be saved or audited, a void one or one of an earlier period cannot
// be changed at all, a bill opened for viewing neither, and browsing stops at
// the ends of the list.
#include <QString>

struct BillView {
    int mode = 0;          // gBillMode: 0 new, 1 modify, 2 split, 3 view
    int status = 0;        // 1 audited
    int cancellation = 0;  // non-zero: void
    bool earlierPeriod = false;
    int listCount = 0;     // the ids handed over by the list
    int listIndex = 0;     // the position of the bill shown among them
};

struct CommandState {
    bool editable = false; // header, entries, save, red and blue
    bool check = false;
    bool first = false;
    bool back = false;
    bool next = false;
    bool last = false;
};

CommandState commandStateFor(const BillView &view);

// The word of a mode for the title and the status bar; empty for an unknown
// mode.
QString modeWord(int mode);
// The bill's state as the status bar shows it.
QString billStateText(const BillView &view);
