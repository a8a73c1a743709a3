#pragma once
// Spreading the total of a supplier's paper invoice over the entries in the
// grid: the oldest stock bill first (its date, then its number), each taking
// at most what is still open on it. A blue invoice fills the blue stock bills
// with positive amounts; a red invoice fills the red stock bills with
// negative amounts. Rows of the other direction, and rows the total does not
// reach, take nothing.
#include "editor/EntryRules.h"

#include <optional>
#include <vector>

struct Allocation {
    // Per grid row, in the grid's order: this invoice's amount for the row
    // (column 6), zero for a row that takes nothing.
    std::vector<Amount> amounts;
    Amount allocated; // the sum of `amounts`, signed as the invoice
    Amount leftover;  // of the total, what no stock bill could take (>= 0)
    Amount shortfall;    // still open on the filled direction's stock bills (>= 0)
};

// Spreads `total` (> 0, the size of the invoice's total) over `rows`.
Allocation allocate(Amount total, bool red, const std::vector<EntryRow> &rows);

// What the clerk's allocation comes to: either a refusal (no allocation;
// `message` says why, with the exclamation icon) or the allocation, the
// invoice total to show (signed: negative on a red invoice) and a message
// telling whether it fitted exactly, left part of the total over, or left
// the stock bills short.
struct AllocationOutcome {
    std::optional<Allocation> allocation;
    Amount invoiceTotal;
    QString message;
    int icon = 0; // a Prompt::Icon
};

// Checks the typed total (a number, above zero, within what may be entered)
// and that some row may take an amount, then allocates. The filled rows are
// run through the pre-save check, so what the grid then holds can be saved.
AllocationOutcome allocateTotal(const QString &totalText, bool red, const std::vector<EntryRow> &rows);
