#pragma once
// The usual set-up of a test that drives the component: a fresh database on
// one engine, the user's files and dialogs isolated, the host's settings
// written for that database and the session started.
#include "modules/Session.h"
#include "support/TestDatabase.h"
#include "support/TestSession.h"

// A demo database small enough to build in a moment on either engine.
inline DemoOptions smallDemo()
{
    DemoOptions o;
    o.suppliers = 8;
    o.goods = 20;
    o.stockBills = 160;
    o.invoices = 40;
    return o;
}

struct StartedSession {
    TestSession ts;
    TestDatabase db;
    QString startError; // empty when the session started

    explicit StartedSession(DbEngine engine, TestDatabase::Content content = TestDatabase::Content::Demo,
                            const DemoOptions &demo = {}, int userId = 1, bool admin = true)
        : db(engine, content, demo)
    {
        ts.writeHostSettings(db.connectionString(), userId, admin);
        startError = ts.start();
    }

    Prompt::RecordingResponder &prompts() { return ts.prompts(); }
    Connection &conn() { return db.conn(); }
};
