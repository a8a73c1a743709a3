#pragma once
// Shared by the query and module tests: a test's own session and database,
// what a database routine must leave behind (messages shown, the shared
// connection), and mouse input as the window system delivers it.
#include "component/Session.h"
#include "support/TestDatabase.h"
#include "support/TestSession.h"

#include <QApplication>
#include <QTest>
#include <QWidget>

// A fresh session pointed at a fresh database of the engine.
struct DbEnv {
    TestSession ts; // first: resets the session before the database exists
    TestDatabase db;
    explicit DbEnv(DbEngine engine, TestDatabase::Content content = TestDatabase::Content::Schema)
        : db(engine, content)
    {
        session().DBConnectionString = db.connectionString();
    }
};

// The routine finished quietly: no message shown, the shared connection closed.
inline void expectQuiet(TestSession &ts)
{
    QVERIFY(ts.prompts().messages().empty());
    QVERIFY(!session().gConn);
}

// Exactly one critical message, with some text, under the session's title.
inline void expectOneError(TestSession &ts)
{
    const auto messages = ts.prompts().messages();
    QCOMPARE(int(messages.size()), 1);
    QCOMPARE(messages.front().icon, int(Prompt::Critical));
    QCOMPARE(messages.front().title, session().msgTitle);
    QVERIFY(!messages.front().text.isEmpty());
}

// A double-click as the window system delivers it: press and release, then
// the double-click and its release.
inline void doubleClick(QWidget *viewport, QPoint pos)
{
    QTest::mouseClick(viewport, Qt::LeftButton, {}, pos);
    QTest::mouseDClick(viewport, Qt::LeftButton, {}, pos);
    QTest::mouseRelease(viewport, Qt::LeftButton, {}, pos);
}

// Makes a shown window the active one, as a click on it would, without
// waiting for a window manager to do so: keyboard focus needs it.
inline bool activate(QWidget *window)
{
    QApplication::setActiveWindow(window);
    return window->isActiveWindow();
}
