#pragma once
// Shared by the query and module tests: a test's own session and database,
// what a database routine must leave behind (messages shown, the shared
// connection), and mouse input as the window system delivers it.
#include "modules/Session.h"
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
        TestSession::session().DBConnectionString = db.connectionString();
    }
};

// The routine finished quietly: no message shown, the shared connection closed.
inline void expectQuiet(TestSession &ts)
{
    QVERIFY(ts.prompts().messages().empty());
    QVERIFY(!TestSession::session().gConn);
}

// Exactly one critical message, with some text, under the session's title.
inline void expectOneError(TestSession &ts)
{
    const auto messages = ts.prompts().messages();
    QCOMPARE(int(messages.size()), 1);
    QCOMPARE(messages.front().icon, int(Prompt::Critical));
    QCOMPARE(messages.front().title, TestSession::session().msgTitle);
    QVERIFY(!messages.front().text.isEmpty());
}

// Row counts of the bills and their entries and a checksum of the bills'
// states: the same text before and after means no bill was added, removed,
// audited or voided.
inline QString billsSnapshot(TestDatabase &db)
{
    return db.scalar(QStringLiteral("select count(*) from tblFP")).toString() + u'/'
        + db.scalar(QStringLiteral("select count(*) from tblFPEntry")).toString() + u'/'
        + QString::number(db.scalar(QStringLiteral("select sum(finterid*(1+2*fstatus+4*fcancellation)) from tblFP")).toLongLong());
}

// Values users type into conditions that must stay data.
inline const QString kAlwaysTrue = QStringLiteral("x' or 'a'='a");
inline const QString kDeleteBills = QStringLiteral("x'); delete from tblFPEntry; delete from tblFP; --");
inline const QString kLongText(10000, u'长');

// Bills whose numbers and notes hold such values, most next to a near miss
// that an unescaped wildcard would find as well; their ids are 900001 up,
// in this order.
inline const QList<std::pair<QString, QString>> kTypedBills{
    {"CGFP-O'K-001", "O'K 供应商"}, {"CGFP-50%-002", "折扣50%"}, {"CGFP-5000-003", "50 元"},
    {"CGFP-a_b-004", "a_b"}, {"CGFP-axb-005", "axb"}, {"CGFP-BS-006", "C:\\temp\\x"},
    {"CGFP-SQL-007", "a--b; c /* d */"}, {"CGFP-EMOJI-008", "好😀"}, {"CGFP-LONG-009", kLongText},
    {"CGFP-LONG-010", kLongText + "尾"}, {"CGFP-OR-011", kAlwaysTrue}, {"CGFP-DEL-012", kDeleteBills},
};

// Adds kTypedBills dated `date`, with mixed states and amounts.
inline void seedTypedBills(TestDatabase &db, const QDate &date)
{
    int id = 900000;
    for (const auto &[billNo, note] : kTypedBills)
        db.conn().execute(QStringLiteral("insert into tblFP(finterid,fbillno,fstatus,fcancellation,fdate,ftrantype,frob,fAmount,fNote)"
                                         " values(?,?,?,?,?,71,0,?,?)"),
                          {++id, billNo, id % 2, id % 3 == 0 ? 1 : 0, date.toString(QStringLiteral("yyyy-MM-dd")), id % 7, note});
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
