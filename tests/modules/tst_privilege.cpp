#include "modules/BillAudit.h"
#include "modules/Privilege.h"

#include "platform/DbError.h"
#include "support/QueryModuleHelpers.h"
#include "support/CaseRows.h"

#include <QTest>

#include <barrier>
#include <thread>

Q_DECLARE_METATYPE(Recordset)

namespace {
const QDate kPeriodStart(2024, 3, 1);
const QString kReadError = QStringLiteral("数据读取错误！");

// The refusals, naming the bill by its number.
QString voided(const QString &billNo) { return QStringLiteral("编号为:%1的单据已经作废!操作不成功").arg(billNo); }
QString earlier(const QString &billNo) { return QStringLiteral("编号为:%1的单据为以前期间的单据，不能审核!操作不成功").arg(billNo); }
QString audited(const QString &billNo) { return QStringLiteral("编号为:%1的单据已经审核!操作不成功").arg(billNo); }

struct Env : DbEnv {
    explicit Env(DbEngine engine, TestDatabase::Content content = TestDatabase::Content::Schema)
        : DbEnv(engine, content)
    {
        Session &s = TestSession::session();
        s.gLoginUserId = QStringLiteral("2");
        s.IsAdmin = 0;
        s.gPeriodStartDate = kPeriodStart;
        s.msgTitle = QStringLiteral("进销存");
    }

    void grant(int userId, const QString &code)
    {
        db.conn().execute(QStringLiteral("insert into tblUserPrivillenge(fuserid,fNumber) values(?,?)"), {userId, code});
    }

    void bill(int id, const QDate &date, int status = 0, int cancellation = 0)
    {
        db.conn().execute(QStringLiteral("insert into tblFP(finterid,fbillno,fdate,fstatus,fchecker,fcancellation,fyear,fperiod,ftrantype,frob,fAmount) "
                                         "values(?,?,?,?,?,?,2024,3,71,1,100)"),
                          {id, billNo(id), date.toString(Qt::ISODate), status, status ? 9 : 0, cancellation});
    }

    static QString billNo(int id) { return QStringLiteral("FP%1").arg(id, 4, 10, QLatin1Char('0')); }

    // "finterid:fstatus:fchecker" of every bill, in id order.
    QStringList billStates()
    {
        Recordset rs = db.conn().openRecordset(QStringLiteral("select finterid,fstatus,fchecker from tblFP order by finterid"));
        QStringList out;
        for (; !rs.eof(); rs.moveNext())
            out << QStringLiteral("%1:%2:%3").arg(rs.toInt(QStringLiteral("finterid"))).arg(rs.toInt(QStringLiteral("fstatus")))
                       .arg(rs.toInt(QStringLiteral("fchecker")));
        return out;
    }
};

Recordset billRows(const QList<QVariantList> &rows)
{
    std::vector<QVariant> cells;
    for (const QVariantList &row : rows)
        for (const QVariant &v : row)
            cells.push_back(v);
    return Recordset({QStringLiteral("fstatus"), QStringLiteral("fcancellation"), QStringLiteral("fdate"), QStringLiteral("fbillno")}, cells);
}

// The bill pattern of the audit cases: one letter per bill, in id order.
//   n normal, a audited, v void (1), m void written as -1, e dated the day
//   before the period starts, s dated on the period start. Which refusal
//   wins when several apply is refusalOfRows' concern.
void addBills(Env &env, const QString &pattern)
{
    for (int i = 0; i < pattern.size(); ++i) {
        const QChar c = pattern[i];
        const QDate date = c == u'e' ? kPeriodStart.addDays(-1) : c == u's' ? kPeriodStart : kPeriodStart.addDays(10);
        const int status = c == u'a' ? 1 : 0;
        const int cancellation = c == u'v' ? 1 : c == u'm' ? -1 : 0;
        env.bill(i + 1, date, status, cancellation);
    }
}
} // namespace

struct HasPrivilegeCase { const char *name; QString database; int admin; QString userId; QString code; bool granted; };
Q_DECLARE_METATYPE(HasPrivilegeCase)

class TestPrivilege : public QObject {
    Q_OBJECT

private slots:
    void initTestCase_data() { addEngineRows(); }

    // database: "schema", "empty" (no privilege table), "missing" (no file).
    void hasPrivilege_data()
    {
        const QString user = QStringLiteral("2");
        addCaseRows<HasPrivilegeCase>({
            {"granted", "schema", 0, user, "Q04", true},
            {"other code of the user", "schema", 0, user, "Q03", false},
            {"code of another user", "schema", 0, user, "Q21", false},
            {"no login recorded", "schema", 0, "0", "Q04", false},
            {"code without the prefix", "schema", 0, user, "04", false},
            {"administrator, code granted to nobody", "schema", 1, user, "Q21", true},
            {"administrator flag other than 1", "schema", 2, user, "Q21", false},
            {"administrator needs no database", "missing", 1, user, "Q03", true},
            // Errors: unlike the other routines, this path keeps the shared connection open.
            {"no privilege table", "empty", 0, user, "Q04", false},
            {"empty user id", "schema", 0, QString(), "Q04", false},
        });
    }

    void hasPrivilege()
    {
        QFETCH_GLOBAL(DbEngine, engine);
        QFETCH(HasPrivilegeCase, row);
        Session &s = TestSession::session();
        auto [caseName, database, admin, userId, code, granted] = row;

        Env env(engine, database == u"empty" ? TestDatabase::Content::Empty : TestDatabase::Content::Schema);
        if (database == u"schema") {
            env.grant(2, QStringLiteral("Q04"));
            env.grant(2, QStringLiteral("Q01"));
            env.grant(3, QStringLiteral("Q21"));
        } else if (database == u"missing") {
            s.DBConnectionString = QStringLiteral("Driver=SQLite;Database=") + env.ts.folder() + QStringLiteral("/missing/none.db");
        }
        s.IsAdmin = std::int16_t(admin);
        s.gLoginUserId = userId;

        QCOMPARE(HasPrivilege(s, code), granted);
        if (database == u"empty" || userId.isEmpty()) {
            expectOneError(env.ts);
            QVERIFY(s.gConn && s.gConn->isOpen());
        } else {
            expectQuiet(env.ts);
        }
    }

    void refusalOfRows_data()
    {
        QTest::addColumn<Recordset>("rows");
        QTest::addColumn<QString>("refusal"); // empty: all pass

        const QString later = QStringLiteral("2024-03-15");
        const QString early = QStringLiteral("2024-02-29");
        const QString a = QStringLiteral("A");
        QTest::newRow("all pass") << billRows({{0, 0, later, "A"}, {QVariant(), QVariant(), QDate(2024, 3, 1), "B"}}) << QString();
        QTest::newRow("void flag boolean") << billRows({{0, true, later, "A"}}) << voided(a);
        QTest::newRow("void flag as text") << billRows({{0, "True", later, "A"}}) << voided(a);
        QTest::newRow("boolean false is valid") << billRows({{0, false, later, "A"}}) << QString();
        QTest::newRow("earlier period as a date value") << billRows({{0, 0, QDate(2024, 2, 29), "A"}}) << earlier(a);
        QTest::newRow("no date") << billRows({{0, 0, QVariant(), "A"}}) << QString();
        QTest::newRow("audited before earlier period") << billRows({{1, 1, early, "A"}}) << audited(a);
        QTest::newRow("earlier period before void") << billRows({{0, 1, early, "A"}}) << earlier(a);
        QTest::newRow("first failing row wins") << billRows({{0, 0, later, "A"}, {0, 1, later, "B"}, {1, 0, later, "C"}}) << voided("B");
    }

    void refusalOfRows()
    {
        QFETCH(Recordset, rows);
        QFETCH(QString, refusal);
        QCOMPARE(auditRefusal(rows, kPeriodStart).value_or(QString()), refusal);
    }

    void checkBills_data()
    {
        QTest::addColumn<QString>("bills");
        QTest::addColumn<QString>("ids");
        QTest::addColumn<QString>("message"); // empty: the listed bills are audited; "<error>": a database error

        const QString fp2 = Env::billNo(2);
        QTest::newRow("three bills") << "nnn" << "1,2,3" << QString();
        QTest::newRow("part of the bills") << "nnnn" << "2,4" << QString();
        QTest::newRow("second of three void") << "nvn" << "1,2,3" << voided(fp2);
        QTest::newRow("second of three void as -1") << "nmn" << "1,2,3" << voided(fp2);
        QTest::newRow("dated on the period start") << "ns" << "1,2" << QString();
        QTest::newRow("dated the day before") << "ne" << "1,2" << earlier(fp2);
        QTest::newRow("already audited") << "an" << "1,2" << audited("FP0001");
        QTest::newRow("unknown ids") << "nn" << "98,99" << kReadError;
        QTest::newRow("unknown id among known") << "nn" << "1,99" << QString();
        // A list that is no list of ids fails in the database.
        QTest::newRow("empty item in the list") << "nn" << "1,,2" << "<error>";
        QTest::newRow("letters") << "nn" << "abc" << "<error>";
    }

    void checkBills()
    {
        QFETCH_GLOBAL(DbEngine, engine);
        QFETCH(QString, bills);
        QFETCH(QString, ids);
        QFETCH(QString, message);
        Session &s = TestSession::session();

        Env env(engine);
        addBills(env, bills);
        s.gLoginUserId = QStringLiteral("5");
        const QStringList before = env.billStates();

        QCOMPARE(CheckBills(s, ids), message.isEmpty());
        QVERIFY(!s.gConn);
        if (message == u"<error>") {
            expectOneError(env.ts);
            QCOMPARE(env.billStates(), before);
            return;
        }
        QStringList shown; // "icon title: text"
        for (const auto &m : env.ts.prompts().messages())
            shown << QStringLiteral("%1 %2: %3").arg(m.icon).arg(m.title, m.text);
        QCOMPARE(shown, message.isEmpty() ? QStringList() : QStringList{QStringLiteral("%1 进销存: ").arg(int(Prompt::Exclamation)) + message});
        // Exactly the listed bills changed, to audited by the logged-in user;
        // a refusal changes none.
        QStringList expected = before;
        for (const QString &id : ids.split(u',')) {
            if (message.isEmpty() && id.toInt() - 1 < expected.size())
                expected[id.toInt() - 1] = QStringLiteral("%1:1:5").arg(id);
        }
        QCOMPARE(env.billStates(), expected);
    }

    void auditLostToAnotherWorkstation()
    {
        QFETCH_GLOBAL(DbEngine, engine);
        Session &s = TestSession::session();
        Env env(engine);
        addBills(env, QStringLiteral("nnnn"));

        // Workstation A has checked bills 1 to 3 ...
        Connection a(env.db.connectionString());
        a.open();
        const Recordset rows = a.openRecordset(QStringLiteral("select fstatus,fcancellation,fdate,fbillno from tblFP where finterid in (1,2,3)"));
        QVERIFY(!auditRefusal(rows, kPeriodStart));

        // ... when this workstation audits bills 3 and 4.
        s.gLoginUserId = QStringLiteral("6");
        QVERIFY(CheckBills(s, QStringLiteral("3,4")));

        // A's update must not audit bill 3 a second time, nor bills 1 and 2 alone.
        QVERIFY(!applyAudit(a, QStringLiteral("1,2,3"), QStringLiteral("7"), rows.recordCount()));
        QVERIFY(!a.inTransaction());
        const QStringList expected{"1:0:0", "2:0:0", "3:1:6", "4:1:6"};
        QCOMPARE(env.billStates(), expected);

        // Checking again names the bill that was audited meanwhile.
        const AuditOutcome outcome = auditBills(a, QStringLiteral("1,2,3"), QStringLiteral("7"), kPeriodStart);
        QVERIFY(!outcome.audited);
        QCOMPARE(outcome.refusal, audited(QStringLiteral("FP0003")));
        QCOMPARE(env.billStates(), expected);
    }

    // Two workstations, each with its own connection in its own thread, audit
    // overlapping lists round after round, starting each round together.
    void concurrentAuditsOfOverlappingLists()
    {
        QFETCH_GLOBAL(DbEngine, engine);
        Env env(engine);
        constexpr int kRounds = 25;
        constexpr int kBills = 3 * kRounds + 3;
        addBills(env, QString(kBills, u'n'));

        struct Call { int first = 0; bool audited = false; QString message; }; // bills first to first+2; refusal or database error
        std::vector<Call> calls[2];
        std::barrier sync(2);
        const QString connectionString = env.db.connectionString();

        auto workstation = [&](int which) {
            Connection conn(connectionString);
            try {
                conn.open();
            } catch (const DbError &e) {
                calls[which].push_back({0, false, e.description()});
            }
            for (int r = 0; r < kRounds; ++r) {
                sync.arrive_and_wait();
                Call call;
                const int first = 3 * r + 1 + which; // A: 1-3, 4-6, ...  B: 2-4, 5-7, ...
                call.first = first;
                const QString ids = QStringLiteral("%1,%2,%3").arg(first).arg(first + 1).arg(first + 2);
                try {
                    const AuditOutcome outcome = auditBills(conn, ids, QString::number(10 + which), kPeriodStart);
                    call.audited = outcome.audited;
                    call.message = outcome.refusal;
                } catch (const DbError &e) {
                    conn.rollbackTrans();
                    call.message = e.description();
                }
                calls[which].push_back(call);
            }
            conn.close();
        };
        std::thread other(workstation, 1);
        workstation(0);
        other.join();

        // Who audited each bill, from the successful calls.
        QHash<int, int> auditor;
        int successes = 0;
        for (int which = 0; which < 2; ++which) {
            QCOMPARE(int(calls[which].size()), kRounds);
            for (const Call &call : calls[which]) {
                if (!call.audited) {
                    QVERIFY2(!call.message.isEmpty(), "a failed audit must be reported");
                    continue;
                }
                ++successes;
                for (int id = call.first; id < call.first + 3; ++id) {
                    QVERIFY2(!auditor.contains(id), qPrintable(QStringLiteral("bill %1 audited twice").arg(id)));
                    auditor.insert(id, 10 + which);
                }
            }
        }
        QVERIFY(successes > 0);

        // The table agrees: audited by that workstation, every other bill untouched.
        QStringList expected;
        for (int id = 1; id <= kBills; ++id)
            expected << QStringLiteral("%1:%2:%3").arg(id).arg(auditor.contains(id) ? 1 : 0).arg(auditor.value(id, 0));
        QCOMPARE(env.billStates(), expected);
    }
};

QTEST_GUILESS_MAIN(TestPrivilege)
#include "tst_privilege.moc"
#include "support/TestSession.h"
