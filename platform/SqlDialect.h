#pragma once
// The one place where statement text is adapted to the engine. Statements are
// written in the module's own dialect (top N, isnull with one or two
// arguments, iif, year/month/day) and translated here:
//  - "select top N ..." becomes "select ... limit N" (also inside a sub-select,
//    where the limit goes before its closing parenthesis);
//  - on SQLite "isnull(" becomes the registered function "vb_isnull(", because
//    ISNULL is an operator keyword there.
// Quoted strings and quoted identifiers are never touched.
#include "platform/ConnectionString.h"

#include <QString>

QString translateSql(const QString &sql, DbEngine engine);

// Name under which the two-way isnull function is registered on SQLite.
inline constexpr const char *kSqliteIsNullFunction = "vb_isnull";

// The "?" placeholders of a translated statement numbered as libpq takes
// them ($1, $2, ...), for a statement run through libpq itself; quoted
// strings and identifiers are left as they are.
QString numberedPlaceholders(const QString &sql);
