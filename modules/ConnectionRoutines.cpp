#include "modules/ConnectionRoutines.h"

#include "component/Session.h"

bool OpenConnection()
{
    Session &s = session();
    if (s.gConn)
        return true;
    auto conn = std::make_unique<Connection>(s.DBConnectionString);
    conn->open();
    s.gConn = std::move(conn);
    return true;
}

void CloseConnection()
{
    Session &s = session();
    if (!s.gConn)
        return;
    s.gConn->close();
    s.gConn.reset();
}
