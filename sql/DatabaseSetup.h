#pragma once
// Creates the host's tables and views (and, on PostgreSQL, the functions the
// module's statements use) from the one schema source in this folder, which is
// compiled into the program and turned into each engine's script on loading.
#include "platform/Connection.h"

namespace DatabaseSetup {
// Turns the schema source into the engine's script: keeps the lines of the
// engine's own blocks ("-- @sqlite" / "-- @postgresql" up to "-- @end") and
// drops the other engine's, and replaces each type word (@amount, @date,
// @bytes) outside comments by the engine's type. A source that is not well
// formed (unknown word or marker, unclosed or nested block) throws DbError.
QString engineSchemaScript(const QString &source, DbEngine engine);
// The schema source as compiled into the program.
QString schemaSource();
// The script for the engine: engineSchemaScript of the compiled source.
QString schemaScript(DbEngine engine);
// Whether createSchema makes the secondary indexes ("create [unique] index")
// with the tables, or leaves them to createIndexes after a bulk load, which
// then need not keep them up to date row by row.
enum class Indexes { WithTables, Later };
// Runs the schema script on an open connection whose database is empty. A
// SQLite database file (and its journal) is then readable and writable by
// its owner alone.
void createSchema(Connection &conn, Indexes indexes = Indexes::WithTables);
// Runs the index statements of the schema script.
void createIndexes(Connection &conn);
// Makes every index of the schema script anew, dropping one of the same name
// first, in one transaction: a database made by an earlier version gets the
// indexes today's statements are written for. Indexes the script does not
// name are left alone. Returns how many were made.
int rebuildIndexes(Connection &conn);
// Removes every object the schema script creates (PostgreSQL: the whole
// public schema), so createSchema can run again on the same database.
void dropSchema(Connection &conn);
}
