#include "component/ComponentSession.h"

#include "modules/ConnectionRoutines.h"
#include "modules/Session.h"

Session &componentSession()
{
    // Never destroyed: its connections must not be closed after the
    // application object at exit. The openers the component registers keep
    // a reference to it, so a reset refills it in place.
    static Session *const session = new Session;
    return *session;
}

void resetComponentSession()
{
    Session &s = componentSession();
    CloseConnection(s);
    ReleaseIdleConnection(s);
    s = Session();
}
