#pragma once
// Creates the host's tables and views (and, on PostgreSQL, the functions the
// module's statements use) from the scripts in this folder, which are
// compiled into the program.
#include "platform/Connection.h"

namespace DatabaseSetup {
// The script for the engine, as stored.
QString schemaScript(DbEngine engine);
// Runs the schema script on an open connection whose database is empty. A
// SQLite database file (and its journal) is then readable and writable by
// its owner alone.
void createSchema(Connection &conn);
// Removes every object the schema script creates (PostgreSQL: the whole
// public schema), so createSchema can run again on the same database.
void dropSchema(Connection &conn);
}
