#include "modules/BillNumbering.h"

#include "support/QueryModuleHelpers.h"
#include "support/CaseRows.h"

#include <QTest>

namespace {
struct Env : DbEnv {
    using DbEnv::DbEnv;

    // yearDigits < 0 writes a null fYLength.
    void addTemplate(int typeId, const QString &preLetter, qint64 lastSequence, int length, int yearDigits = -1)
    {
        db.exec(QStringLiteral("insert into tblMaxBillNo(ftypeid,fNewBillName,fbillno,fPreLetter,flength,fYLength) "
                               "values(%1,'采购发票',%2,'%3',%4,%5)")
                    .arg(typeId)
                    .arg(lastSequence)
                    .arg(preLetter)
                    .arg(length)
                    .arg(yearDigits < 0 ? QStringLiteral("null") : QString::number(yearDigits)));
    }
    void addReleased(int typeId, const QString &value)
    {
        db.exec(QStringLiteral("insert into tblBillNoAdd(finterid,fTypeId) values('%1',%2)").arg(value).arg(typeId));
    }
};
} // namespace

// yearDigits: -1 = null
struct RenderingCase { const char *name; QString preLetter; qint64 lastSequence; int length; int yearDigits; QDate billDate; QString number; QString serial; };
Q_DECLARE_METATYPE(RenderingCase)

class TestBillNumbering : public QObject {
    Q_OBJECT

private slots:
    void initTestCase_data() { addEngineRows(); }

    void rendering_data()
    {

        const QDate may7(2013, 5, 7);
        addCaseRows<RenderingCase>({
            {"padded to length", "FP序号", qint64(9), 4, -1, may7, "FP0010", "0010"},
            {"exactly the length", "FP序号", qint64(999), 4, -1, may7, "FP1000", "1000"},
            {"longer than the length is not cut", "FP序号", qint64(99999), 4, -1, may7, "FP100000", "100000"},
            {"length zero", "序号", qint64(0), 0, -1, may7, "1", "1"},
            {"null year digits mean 2", "CG年月日-序号", qint64(0), 3, -1, may7, "CG130507-001", "001"},
            {"two year digits", "CG年月日-序号", qint64(0), 3, 2, may7, "CG130507-001", "001"},
            {"four year digits", "CG年月日-序号", qint64(0), 3, 4, may7, "CG20130507-001", "001"},
            {"two-digit month and day", "月日", qint64(0), 3, -1, QDate(2024, 12, 25), "1225", "001"},
            {"placeholders absent", "CG-FP", qint64(41), 4, 4, may7, "CG-FP", "0042"},
            {"placeholders repeated", "年年/序号/序号", qint64(4), 2, -1, may7, "1313/05/05", "05"},
        });
    }

    void rendering()
    {
        QFETCH_GLOBAL(DbEngine, engine);
        QFETCH(RenderingCase, row);
        Session &s = TestSession::session();
        auto [caseName, preLetter, lastSequence, length, yearDigits, billDate, number, serial] = row;

        Env env(engine);
        env.addTemplate(71, preLetter, lastSequence, length, yearDigits);
        s.gBillLength = 6;

        QCOMPARE(MakeBillNo(s, 71, billDate, 0), number);
        QCOMPARE(s.gBillSerial, serial);
        QCOMPARE(int(s.gBillLength), length);
        expectQuiet(env.ts);
        // Only a proposal: the counter is advanced by the save, not here.
        QCOMPARE(env.db.scalar(QStringLiteral("select fbillno from tblMaxBillNo where ftypeid=71")).toLongLong(), lastSequence);
    }

    // The template of the kind asked for; a kind without one gives no number
    // and changes nothing. keepSerial re-renders the sequence drawn before
    // (none yet right after start-up) although others saved bills meanwhile.
    // Released numbers are not offered while reuse is switched off.
    void drawingAndKeepingTheSequence()
    {
        QFETCH_GLOBAL(DbEngine, engine);
        Session &s = TestSession::session();
        Env env(engine);
        env.addTemplate(71, QStringLiteral("FP年月日-序号"), 9, 4, 4);
        env.addTemplate(72, QStringLiteral("XS序号"), 20, 5);
        env.addReleased(71, QStringLiteral("9"));
        env.addReleased(71, QStringLiteral("10"));
        env.addReleased(72, QStringLiteral("0001"));
        env.ts.writeHostSettings(env.db.connectionString());
        QCOMPARE(env.ts.start(), QString());
        QCOMPARE(MakeBillNo(s, 71, QDate(2024, 3, 1), 1), QStringLiteral("FP20240301-"));
        QCOMPARE(s.gBillSerial, QString());

        QCOMPARE(MakeBillNo(s, 72, QDate(2024, 1, 1), 0), QStringLiteral("XS00021"));
        QCOMPARE(int(s.gBillLength), 5);
        s.gBillSerial = QStringLiteral("keep");
        QCOMPARE(MakeBillNo(s, 73, QDate(2024, 1, 1), 0), QString());
        QCOMPARE(s.gBillSerial, QStringLiteral("keep"));
        QCOMPARE(int(s.gBillLength), 5);

        QCOMPARE(MakeBillNo(s, 71, QDate(2024, 3, 1), 0), QStringLiteral("FP20240301-0010"));
        env.db.exec(QStringLiteral("update tblMaxBillNo set fbillno=fbillno+5 where ftypeid=71"));
        QCOMPARE(MakeBillNo(s, 71, QDate(2024, 4, 15), 7), QStringLiteral("FP20240415-0010"));
        QCOMPARE(s.gBillSerial, QStringLiteral("0010"));
        QCOMPARE(MakeBillNo(s, 71, QDate(2024, 4, 15), 0), QStringLiteral("FP20240415-0015"));

        // Reuse on: the first released number of the session's kind in text
        // order ("10" before "9"; "0001" is kind 72's), whatever kind is
        // drawn. Only offered: the save removes it.
        s.gIsAddDelNumber = 1;
        QCOMPARE(MakeBillNo(s, 72, QDate(2024, 1, 1), 0), QStringLiteral("XS10"));
        QCOMPARE(MakeBillNo(s, 71, QDate(2024, 1, 1), 0), QStringLiteral("FP20240101-10"));
        QCOMPARE(s.gBillSerial, QStringLiteral("10"));
        QCOMPARE(env.db.scalar(QStringLiteral("select count(*) from tblBillNoAdd")).toInt(), 3);
        // keepSerial does not consult the released numbers again.
        env.db.exec(QStringLiteral("delete from tblBillNoAdd"));
        QCOMPARE(MakeBillNo(s, 71, QDate(2024, 1, 1), 1), QStringLiteral("FP20240101-10"));
        expectQuiet(env.ts);
    }

    void databaseErrorGivesEmptyNumber_data()
    {
        QTest::addColumn<QString>("failure");
        QTest::newRow("no tables") << "empty";
        QTest::newRow("released numbers unreadable") << "released";
        QTest::newRow("database unreachable") << "unreachable";
    }

    void databaseErrorGivesEmptyNumber()
    {
        QFETCH_GLOBAL(DbEngine, engine);
        QFETCH(QString, failure);
        Session &s = TestSession::session();

        Env env(engine, failure == u"empty" ? TestDatabase::Content::Empty : TestDatabase::Content::Schema);
        if (failure == u"released") {
            env.addTemplate(71, QStringLiteral("FP序号"), 1, 4);
            env.db.exec(QStringLiteral("drop table tblBillNoAdd"));
            s.gIsAddDelNumber = 1;
        } else if (failure == u"unreachable") {
            s.DBConnectionString = QStringLiteral("Driver=SQLite;Database=") + env.db.folder() + QStringLiteral("/missing/none.db");
        }
        s.msgTitle = QStringLiteral("进销存");

        QCOMPARE(MakeBillNo(s, 71, QDate(2024, 1, 1), 0), QString());
        expectOneError(env.ts);
        QVERIFY(!s.gConn);
    }
};

QTEST_GUILESS_MAIN(TestBillNumbering)
#include "tst_billnumbering.moc"
#include "support/TestSession.h"
