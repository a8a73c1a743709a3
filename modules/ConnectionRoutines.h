#pragma once
// Opening and closing the session's shared connection. Every unit of
// database work is bracketed by OpenConnection and CloseConnection.
#include <QString>

// Opens session().gConn with DBConnectionString unless it is open already.
// Returns true; a failure to open throws DbError to the caller.
bool OpenConnection();
// Closes and drops the shared connection; harmless when it is closed.
void CloseConnection();

// Closes the shared connection when it goes out of scope, on every path.
class ConnectionScope {
public:
    ConnectionScope() = default;
    ~ConnectionScope() { CloseConnection(); }
    ConnectionScope(const ConnectionScope &) = delete;
    ConnectionScope &operator=(const ConnectionScope &) = delete;
};
