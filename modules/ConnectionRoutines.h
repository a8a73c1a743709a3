#pragma once
// Opening and closing the session's shared connection. Every unit of
// database work is bracketed by OpenConnection and CloseConnection.
//
// Closing keeps the physical connection open and idle for a short while, the
// way connection pooling does, and the next OpenConnection with the same
// connection string takes it back: connecting to a server costs far more
// than the few statements of a typical unit of work. An idle connection is
// closed after a minute, when the connection string changes, and by
// ReleaseIdleConnection (which the component calls when the host releases
// it). A connection on which a command failed is closed, never kept.
#include <QString>

struct Session;

// Opens s.gConn with DBConnectionString unless it is open already.
// Returns true; a failure to open throws DbError to the caller.
bool OpenConnection(Session &s);
// Ends the unit of work on the shared connection; harmless when it is
// closed. A connection left inside a transaction is really closed (rolled
// back), never kept; so is one on which the engine failed a command.
void CloseConnection(Session &s);
// Really closes the connection kept idle, if any.
void ReleaseIdleConnection(Session &s);

// Closes the shared connection when it goes out of scope, on every path.
class ConnectionScope {
public:
    explicit ConnectionScope(Session &s)
        : m_session(s)
    {
    }
    ~ConnectionScope() { CloseConnection(m_session); }
    ConnectionScope(const ConnectionScope &) = delete;
    ConnectionScope &operator=(const ConnectionScope &) = delete;

private:
    Session &m_session;
};
