#pragma once
// A started session on a small demo database, for the printing tests.
#include "modules/Session.h"
#include "printing/BillPrinting.h"
#include "printing/frmUserDesign.h"
#include "report/ReportDesigner.h"
#include "support/TestDatabase.h"
#include "support/TestSession.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>

namespace printing_test {

inline DemoOptions smallDemo()
{
    DemoOptions o;
    o.suppliers = 8;
    o.goods = 20;
    o.stockBills = 160;
    o.invoices = 40;
    return o;
}

struct Env {
    TestSession ts;
    TestDatabase db;
    QString startError;

    explicit Env(DbEngine engine, int userId = 1, bool admin = true)
        : db(engine, TestDatabase::Content::Demo, smallDemo())
    {
        // Temporary files of the code under test stay inside the test's folder.
        QDir().mkpath(ts.folder() + QStringLiteral("/tmp"));
        qputenv("TMPDIR", (ts.folder() + QStringLiteral("/tmp")).toUtf8());
        ts.writeHostSettings(db.connectionString(), userId, admin);
        startError = ts.start();
        session().msgTitle = QStringLiteral("测试");
    }
    ~Env()
    {
        if (frmUserDesign *form = frmUserDesign::existingInstance()) {
            form->designer()->setModified(false);
            form->close();
        }
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        releaseBillReport();
        qunsetenv("TMPDIR");
    }

    Prompt::RecordingResponder &prompts() { return ts.prompts(); }
    QString appPath() const { return session().gAppPath; }
    void makeAppFolder() { QDir().mkpath(appPath()); }

    // The bytes stored in the default row of the demo data.
    QByteArray storedContent(int key = 1)
    {
        Recordset rs = db.conn().openRecordset(QStringLiteral("select fcontent from tblBillPrint where finterid=%1").arg(key));
        return rs.eof() ? QByteArray() : rs.value(0).toByteArray();
    }

    // The demo invoice with the most entries (the lowest id among equals).
    int busiestInvoice()
    {
        return db.scalar(QStringLiteral("select top 1 finterid from (select finterid,count(*) as n from tblFPEntry "
                                        "group by finterid) as t order by n desc,finterid"))
            .toInt();
    }
};

// Two rows per engine: the case `on` with the bool column `flag` set, and the
// case `off` without.
inline void addEngineFlagRows(const char *flag, const char *on, const char *off)
{
    QTest::addColumn<DbEngine>("engine");
    QTest::addColumn<bool>(flag);
    for (DbEngine e : TestDatabase::engines()) {
        engineRow(e, on) << true;
        engineRow(e, off) << false;
    }
}

} // namespace printing_test

// Declares `name`, a session on a small demo database; the test stops when
// the session did not start.
#define START_ENV(name, ...) \
    printing_test::Env name(__VA_ARGS__); \
    QVERIFY2(name.startError.isEmpty(), qPrintable(name.startError))
