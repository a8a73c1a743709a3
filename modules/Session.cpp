#include "modules/Session.h"

namespace {
Session *g_session = nullptr;
}

Session &session()
{
    if (!g_session)
        g_session = new Session;
    return *g_session;
}

void resetSession()
{
    delete g_session;
    g_session = new Session;
}
