// Saved query schemes on a real database: what is saved must come back cell
// for cell, hidden columns included, and the list shows a user only the
// schemes of their own bill type.
#include "query/SchemeStore.h"
#include "support/QueryModuleHelpers.h"

#include <QTest>

namespace {
ConditionTable sampleGrid()
{
    ConditionTable t;
    t.setRowTexts(1, {QString(), QStringLiteral("供应商"), QStringLiteral("fSupplierNumber"), QStringLiteral("2"), QStringLiteral("包含"),
                      QStringLiteral("Like"), QStringLiteral("S0'1"), QStringLiteral("4"), QStringLiteral("fnumber"), QStringLiteral("1")});
    // Row 2 stays empty and is stored empty.
    t.setRowTexts(3, {QStringLiteral("或"), QStringLiteral("日期"), QStringLiteral("fdate"), QStringLiteral("3"), QStringLiteral("不为空"),
                      QStringLiteral(" is not  null"), QStringLiteral("2024-03-01"), QString(), QString(), QStringLiteral("0")});
    // A row holding only a hidden column still counts.
    t.setCell(4, ConditionTable::ColNumberName, QStringLiteral("fname"));
    return t;
}

struct Fixture : DbEnv {
    explicit Fixture(DbEngine engine, const QString &userId = QStringLiteral("1"))
        : DbEnv(engine)
    {
        TestSession::session().gLoginUserId = userId;
        TestSession::session().msgTitle = QStringLiteral("测试");
    }
    int count(const QString &sql) { return db.scalar(sql).toInt(); }
    // "<headers>/<entries>": rows of tblProject and tblprojectEntry, all or
    // those of one scheme.
    QString stored(int id = 0)
    {
        const QString where = id ? QStringLiteral(" where finterid=%1").arg(id) : QString();
        return QStringLiteral("%1/%2").arg(count(QStringLiteral("select count(*) from tblProject") + where))
            .arg(count(QStringLiteral("select count(*) from tblprojectEntry") + where));
    }
    void addScheme(int id, const QString &name, int type, int userId)
    {
        db.exec(QStringLiteral("insert into tblProject(finterid,fname,ftype,fUserid) values(%1,'%2',%3,%4)").arg(id).arg(name).arg(type).arg(userId));
    }
};
} // namespace

class TestSchemes : public QObject {
    Q_OBJECT

private slots:
    void initTestCase_data() { addEngineRows(); }
    void roundTrip()
    {
        QFETCH_GLOBAL(DbEngine, engine);
        Session &s = TestSession::session();
        Fixture f(engine);
        const ConditionTable grid = sampleGrid();

        const SchemeStore::SaveResult saved = SchemeStore::save(s, QStringLiteral("本月供应商"), grid);
        QCOMPARE(saved.status, SchemeStore::SaveResult::Saved);
        QCOMPARE(saved.id, 1); // first scheme of an empty table
        QCOMPARE(f.count(QStringLiteral("select count(*) from tblProject where finterid=1 and ftype=71 and fUserid=1")), 1);
        QCOMPARE(f.count(QStringLiteral("select count(*) from tblprojectEntry where finterid=1 and ftype=71")), 4);
        QCOMPARE(f.count(QStringLiteral("select count(*) from tblprojectEntry where finterid=1 and fline=2 and f1col='' and f10col=''")), 1);
        QVERIFY(!s.gConn); // closed again

        QCOMPARE(SchemeStore::list(s), (QList<SchemeStore::Scheme>{{QStringLiteral("本月供应商"), QStringLiteral("1")}}));

        ConditionTable loaded;
        loaded.setRowTexts(9, QStringList(10, QStringLiteral("stale")));
        QVERIFY(SchemeStore::load(s, QStringLiteral("1"), loaded));
        QCOMPARE(loaded, grid);
        QCOMPARE(loaded.cell(3, ConditionTable::ColSymbol), QStringLiteral(" is not  null"));

        // The same name again is a second scheme; an empty grid stores its header only.
        QCOMPARE(SchemeStore::save(s, QStringLiteral("本月供应商"), ConditionTable()).id, 2);
        QCOMPARE(f.stored(2), QStringLiteral("1/0"));
        QCOMPARE(SchemeStore::list(s).size(), 2);
        QVERIFY(SchemeStore::load(s, QStringLiteral("2"), loaded));
        QVERIFY(loaded.isEmpty());

        QVERIFY(SchemeStore::remove(s, QStringLiteral("1")));
        QCOMPARE(f.stored(1), QStringLiteral("0/0"));
        QCOMPARE(SchemeStore::list(s), (QList<SchemeStore::Scheme>{{QStringLiteral("本月供应商"), QStringLiteral("2")}}));
        QVERIFY(f.ts.prompts().calls.empty());
    }

    void missingNameOrIdChangesNothing()
    {
        QFETCH_GLOBAL(DbEngine, engine);
        Session &s = TestSession::session();
        Fixture f(engine);
        QCOMPARE(SchemeStore::save(s, QString(), sampleGrid()).status, SchemeStore::SaveResult::NameMissing);
        QCOMPARE(f.stored(), QStringLiteral("0/0"));

        SchemeStore::save(s, QStringLiteral("留"), sampleGrid());
        QVERIFY(!SchemeStore::remove(s, QString()));
        // An id is a whole number or nothing: it cannot widen the statement.
        QVERIFY(!SchemeStore::remove(s, QStringLiteral("0 or 1=1")));
        ConditionTable grid;
        QVERIFY(!SchemeStore::load(s, QStringLiteral("0 or 1=1"), grid));
        QVERIFY(grid.isEmpty());
        QCOMPARE(f.stored(), QStringLiteral("1/4"));
        QVERIFY(f.ts.prompts().calls.empty());
    }

    void otherUsersAndTypes()
    {
        QFETCH_GLOBAL(DbEngine, engine);
        Session &s = TestSession::session();
        Fixture f(engine, QStringLiteral("2"));
        f.addScheme(41, QStringLiteral("甲的"), 71, 1);
        f.db.exec(QStringLiteral("insert into tblprojectEntry(finterid,ftype,fline,f2col) values(41,71,1,'金额')"));
        f.addScheme(40, QStringLiteral("乙的别种单据"), 72, 2);
        f.addScheme(3, QStringLiteral("乙的"), 71, 2);
        QCOMPARE(SchemeStore::list(s), (QList<SchemeStore::Scheme>{{QStringLiteral("乙的"), QStringLiteral("3")}}));
        // Ids are global: the highest belongs to another user.
        QCOMPARE(SchemeStore::save(s, QStringLiteral("新"), sampleGrid()).id, 42);
        QCOMPARE(f.stored(42), QStringLiteral("1/4"));

        // A known id is deleted whoever owns it.
        QVERIFY(SchemeStore::remove(s, QStringLiteral("41")));
        QCOMPARE(f.stored(41), QStringLiteral("0/0"));
        QCOMPARE(f.stored(), QStringLiteral("3/4"));
    }

    void loadReadsOnlyTheBillType()
    {
        QFETCH_GLOBAL(DbEngine, engine);
        Fixture f(engine);
        f.db.exec(QStringLiteral("insert into tblprojectEntry(finterid,ftype,fline,f2col,f3col) values(5,71,2,'金额','fOldField')"));
        f.db.exec(QStringLiteral("insert into tblprojectEntry(finterid,ftype,fline,f2col) values(5,72,1,'别种')"));
        f.db.exec(QStringLiteral("insert into tblprojectEntry(finterid,ftype,fline,f2col) values(6,71,1,'别的方案')"));
        ConditionTable loaded;
        QVERIFY(SchemeStore::load(TestSession::session(), QStringLiteral("5"), loaded));
        ConditionTable expected;
        // Null cells come back empty; a field no longer in the catalogue comes back as stored.
        expected.setCell(2, ConditionTable::ColCaption, QStringLiteral("金额"));
        expected.setCell(2, ConditionTable::ColFieldName, QStringLiteral("fOldField"));
        QCOMPARE(loaded, expected);
    }

    void failedStatementIsShown()
    {
        QFETCH_GLOBAL(DbEngine, engine);
        Session &s = TestSession::session();
        Fixture f(engine);
        f.db.exec(QStringLiteral("drop table tblprojectEntry"));

        const SchemeStore::SaveResult saved = SchemeStore::save(s, QStringLiteral("半截"), sampleGrid());
        QCOMPARE(saved.status, SchemeStore::SaveResult::NotDone);
        QVERIFY(!saved.error.isEmpty());
        // The header written before the failure goes with it.
        QCOMPARE(f.count(QStringLiteral("select count(*) from tblProject")), 0);
        QVERIFY(!s.gConn);

        // Loading and deleting hand back their failures the same way; the
        // store itself shows nothing.
        ConditionTable loaded = sampleGrid();
        QString error;
        QVERIFY(!SchemeStore::load(s, QStringLiteral("1"), loaded, &error));
        QVERIFY(!error.isEmpty());
        error.clear();
        QVERIFY(!SchemeStore::remove(s, QStringLiteral("1"), &error));
        QVERIFY(!error.isEmpty());
        QVERIFY(f.ts.prompts().calls.empty());
    }

    void noConnectionDoesNothing()
    {
        Session &s = TestSession::session();
        TestSession ts;
        s.DBConnectionString = QStringLiteral("Driver=SQLite;Database=") + ts.folder() + QStringLiteral("/missing/none.db");
        QCOMPARE(SchemeStore::save(s, QStringLiteral("x"), sampleGrid()).status, SchemeStore::SaveResult::NotDone);
        QVERIFY(SchemeStore::list(s).isEmpty());
        QVERIFY(!SchemeStore::remove(s, QStringLiteral("1")));
        ConditionTable grid = sampleGrid();
        QVERIFY(!SchemeStore::load(s, QStringLiteral("1"), grid));
        QCOMPARE(grid, sampleGrid());
        QVERIFY(ts.prompts().calls.empty());
    }
};

QTEST_GUILESS_MAIN(TestSchemes)
#include "tst_schemes.moc"
#include "support/TestSession.h"
