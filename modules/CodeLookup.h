#pragma once
// Looks up a master-data code that the user typed and publishes the record in
// the session's gItem… fields, from which the editor fills neighbouring cells.
#include <QString>

#include <cstdint>

struct Session;

// source 1: the master-data tree tblItem (classId 3 = goods, read through
// vICItem with the goods attributes of icitem); source 2: tblsubtype.
// The number is matched exactly. Returns true when a usable record exists;
// locked codes, and non-detail codes of tblItem, count as not found. The
// result fields are only written on success, all at once. A database error
// (including an unknown source) is shown with the critical icon and returns
// false; the connection is closed on every path.
bool SeekCode(Session &s, std::int16_t source, std::int16_t classId, const QString &number);
