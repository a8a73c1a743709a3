#pragma once
// Column widths of a grid kept in t_GS_tableinfo, one row per column, keyed
// by the grid's name and a layout type (0 = the designed default layout).
#include "platform/GridColumns.h"

#include <QString>

#include <cstdint>

struct Session;

// Replaces the stored layout `type` of grid `name` by the grid's current
// widths, in one transaction. Returns true when stored; a database error is
// shown with the critical icon, the transaction rolled back, and false
// returned.
bool SaveGridLayout(Session &s, const QString &name, GridColumns &grid, std::int16_t type);

// Applies the stored widths of layout `type` to the grid; stored columns the
// grid does not have are skipped, columns without a stored width keep theirs.
// When nothing is stored under `type`, the grid is left as designed and its
// current widths are recorded as layout 0 (whatever type was asked for).
// Returns true unless a database error occurred (shown with the critical
// icon). The connection is closed on every path.
bool LoadGridLayout(Session &s, const QString &name, GridColumns &grid, std::int16_t type);
