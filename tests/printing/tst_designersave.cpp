#include "printing/BillPrinting.h"
#include "printing/frmUserDesign.h"
#include "report/ReportDesigner.h"
#include "support/StartedSession.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QTest>

// A bill kind without a template row, or with a row that names no view, must
// not leave printing broken: the designer's save makes a usable default and
// mends a row without a view, and printing refuses such a row with a message.
class TestDesignerSave : public QObject {
    Q_OBJECT

    static frmUserDesign *openDesigner()
    {
        designDefaultTemplate(nullptr, false);
        return frmUserDesign::existingInstance();
    }
    static void closeDesigner(frmUserDesign *form)
    {
        form->designer()->setModified(false);
        form->close();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

private slots:
    void saveMakesAUsableDefault_data()
    {
        QTest::addColumn<DbEngine>("engine");
        QTest::addColumn<QString>("prepare"); // what the bill kind's template rows look like
        for (DbEngine e : TestDatabase::engines()) {
            engineRow(e, QStringLiteral("no row")) << QStringLiteral("delete from tblBillPrint");
            engineRow(e, QStringLiteral("row without a view")) << QStringLiteral("update tblBillPrint set fViewName=null");
        }
    }
    void saveMakesAUsableDefault()
    {
        QFETCH(DbEngine, engine);
        QFETCH(QString, prepare);
        StartedSession ss(engine, TestDatabase::Content::Demo, smallDemo());
        QCOMPARE(ss.startError, QString());
        ss.db.exec(prepare);
        session().gCurInterId = 1;
        ss.prompts().clear();
        QVERIFY(!initReport());
        const bool rowKept = prepare.startsWith(QStringLiteral("update"));
        // A row without a view says why nothing prints; no row says nothing.
        QCOMPARE(ss.prompts().messageTexts().size(), rowKept ? 1 : 0);

        frmUserDesign *form = openDesigner();
        QVERIFY(form);
        report::ReportTemplate tpl;
        tpl.title = QStringLiteral("新模板");
        form->designer()->setReportTemplate(tpl);
        ss.prompts().clear();
        form->MenuSaleToModule_Click();
        QCOMPARE(ss.prompts().messageTexts(), QStringList{QStringLiteral("保存成功!")});
        const QString work = form->workFile();
        QVERIFY(QFileInfo::exists(work));
        closeDesigner(form);
        QVERIFY(!QFileInfo::exists(work)); // the working file goes with the designer

        Recordset rows = ss.conn().openRecordset(QStringLiteral("select finterid,fViewName,fIsDefault from tblBillPrint where ftypeid=71"));
        QCOMPARE(rows.recordCount(), 1);
        QVERIFY(rows.toInt(QStringLiteral("finterid")) > 0);
        QCOMPARE(rows.text(QStringLiteral("fViewName")), QStringLiteral("vPurFPPrint"));
        QCOMPARE(rows.toInt(QStringLiteral("fIsDefault")), 1);
        ss.prompts().clear();
        QVERIFY(initReport());
        QVERIFY(ss.prompts().calls.empty());
    }

    // An application folder that cannot be written sends the working file to
    // the user's cache folder.
    void workFileFallsBackToTheCache()
    {
        StartedSession ss(DbEngine::SQLite, TestDatabase::Content::Empty);
        const QString blocker = ss.ts.folder() + QStringLiteral("/not-a-folder");
        QFile file(blocker);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.close();
        session().gAppPath = blocker + QStringLiteral("/app");
        QCOMPARE(designWorkFile(), ss.ts.folder() + QStringLiteral("/cache/TamsorPurFP/DesignTemp.grf"));
        session().gAppPath = ss.ts.folder() + QStringLiteral("/app");
        QCOMPARE(designWorkFile(), ss.ts.folder() + QStringLiteral("/app/DesignTemp.grf"));
    }
};

QTEST_MAIN(TestDesignerSave)
#include "tst_designersave.moc"
