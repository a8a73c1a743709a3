#pragma once
// The started session the printing tests share: a small demo database whose
// temporary files stay in the test's folder, the designer and the report let
// go at the end.
#include "printing/BillPrinting.h"
#include "printing/frmUserDesign.h"
#include "report/ReportDesigner.h"
#include "support/StartedSession.h"

#include <QCoreApplication>
#include <QDir>
#include <QTest>

namespace printing_test {

struct Env : StartedSession {
    explicit Env(DbEngine engine, int userId = 1, bool admin = true)
        : StartedSession(engine, TestDatabase::Content::Demo, smallDemo(), userId, admin)
    {
        QDir().mkpath(ts.folder() + QStringLiteral("/tmp"));
        qputenv("TMPDIR", (ts.folder() + QStringLiteral("/tmp")).toUtf8());
        TestSession::session().msgTitle = QStringLiteral("测试");
    }
    ~Env()
    {
        closeDesigner();
        releaseBillReport();
        qunsetenv("TMPDIR");
    }

    // Closes the designer, if open, without the question on changes.
    static void closeDesigner()
    {
        if (frmUserDesign *form = frmUserDesign::existingInstance()) {
            form->designer()->setModified(false);
            form->close();
        }
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

    QString appPath() const { return TestSession::session().gAppPath; }

    // The bytes stored in a template row.
    QByteArray storedContent(int key = 1)
    {
        return db.scalar(QStringLiteral("select fcontent from tblBillPrint where finterid=%1").arg(key)).toByteArray();
    }

    // The demo invoice with the most entries (the lowest id among equals).
    int busiestInvoice()
    {
        return db.scalar(QStringLiteral("select top 1 finterid from (select finterid,count(*) as n from tblFPEntry "
                                        "group by finterid) as t order by n desc,finterid"))
            .toInt();
    }
};

} // namespace printing_test

// Declares `name`, a session on a small demo database; the test stops when
// the session did not start.
#define START_ENV(name, ...) \
    printing_test::Env name(__VA_ARGS__); \
    QVERIFY2(name.startError.isEmpty(), qPrintable(name.startError))
