#pragma once
// Functions the module's statements need on SQLite and that it lacks:
// vb_isnull(x) (1 when x is null), vb_isnull(x, default) (rounds a REAL
// result to four decimals so that amounts compare exactly), year(d),
// month(d), day(d) over 'yyyy-MM-dd' text.
struct sqlite3;

// Returns false when registration failed.
bool registerSqliteFunctions(sqlite3 *db);
