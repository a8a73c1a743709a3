// Saved query schemes on a real database: what is saved must come back cell
// for cell, hidden columns included, and the list shows a user only the
// schemes of their own bill type.
#include "component/Session.h"
#include "query/SchemeStore.h"
#include "support/TestDatabase.h"
#include "support/TestSession.h"

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

class Fixture {
public:
    explicit Fixture(DbEngine engine, const QString &userId = QStringLiteral("1"))
        : db(engine)
    {
        session().DBConnectionString = db.connectionString();
        session().gLoginUserId = userId;
        session().msgTitle = QStringLiteral("测试");
    }
    int count(const QString &sql) { return db.scalar(sql).toInt(); }

    TestSession ts;
    TestDatabase db;
};
} // namespace

class TestSchemes : public QObject {
    Q_OBJECT

private slots:
    void statements();
    void roundTrip_data() { addEngineRows(); }
    void roundTrip();
    void emptyGridSavesHeaderOnly_data() { addEngineRows(); }
    void emptyGridSavesHeaderOnly();
    void emptyNameWritesNothing_data() { addEngineRows(); }
    void emptyNameWritesNothing();
    void idsAreGlobal_data() { addEngineRows(); }
    void idsAreGlobal();
    void otherUsersAndTypes_data() { addEngineRows(); }
    void otherUsersAndTypes();
    void loadReadsOnlyTheBillType_data() { addEngineRows(); }
    void loadReadsOnlyTheBillType();
    void deleteWithoutIdDoesNothing_data() { addEngineRows(); }
    void deleteWithoutIdDoesNothing();
    void failedStatementIsShown_data() { addEngineRows(); }
    void failedStatementIsShown();
    void noConnectionDoesNothing();
};

void TestSchemes::statements()
{
    QCOMPARE(SchemeStore::listStatement(71, QStringLiteral("5")), QStringLiteral("select fname,finterid from tblProject where fType=71 and fUserId=5"));
    QCOMPARE(SchemeStore::maxIdStatement(), QStringLiteral(" select isnull(max(finterid),0) as finterid from tblProject "));
    QCOMPARE(SchemeStore::deleteStatements(QStringLiteral("12")),
             (QStringList{QStringLiteral("delete from tblproject where finterid=12"), QStringLiteral("delete from tblprojectentry where finterid=12")}));
    QCOMPARE(SchemeStore::loadStatement(QStringLiteral("12"), 71),
             QStringLiteral("select * from tblprojectEntry where finterid=12 and ftype='71' order by fline "));
}

void TestSchemes::roundTrip()
{
    QFETCH(DbEngine, engine);
    Fixture f(engine);
    const ConditionTable grid = sampleGrid();

    const SchemeStore::SaveResult saved = SchemeStore::save(QStringLiteral("本月供应商"), grid);
    QCOMPARE(saved.status, SchemeStore::SaveResult::Saved);
    QCOMPARE(saved.id, 1); // first scheme of an empty table
    QCOMPARE(f.count(QStringLiteral("select count(*) from tblProject where finterid=1 and ftype=71 and fUserid=1")), 1);
    QCOMPARE(f.count(QStringLiteral("select count(*) from tblprojectEntry where finterid=1 and ftype=71")), 4);
    QCOMPARE(f.count(QStringLiteral("select count(*) from tblprojectEntry where finterid=1 and fline=2 and f1col='' and f10col=''")), 1);
    QVERIFY(!session().gConn); // closed again

    QCOMPARE(SchemeStore::list(), (QList<SchemeStore::Scheme>{{QStringLiteral("本月供应商"), QStringLiteral("1")}}));

    ConditionTable loaded;
    loaded.setRowTexts(9, QStringList(10, QStringLiteral("stale")));
    QVERIFY(SchemeStore::load(QStringLiteral("1"), loaded));
    QCOMPARE(loaded, grid);
    QCOMPARE(loaded.cell(3, ConditionTable::ColSymbol), QStringLiteral(" is not  null"));

    // The same name again is a second scheme.
    QCOMPARE(SchemeStore::save(QStringLiteral("本月供应商"), ConditionTable()).id, 2);
    QCOMPARE(SchemeStore::list().size(), 2);

    QVERIFY(SchemeStore::remove(QStringLiteral("1")));
    QCOMPARE(f.count(QStringLiteral("select count(*) from tblProject where finterid=1")), 0);
    QCOMPARE(f.count(QStringLiteral("select count(*) from tblprojectEntry where finterid=1")), 0);
    QCOMPARE(SchemeStore::list(), (QList<SchemeStore::Scheme>{{QStringLiteral("本月供应商"), QStringLiteral("2")}}));
    QVERIFY(f.ts.prompts().calls.empty());
}

void TestSchemes::emptyGridSavesHeaderOnly()
{
    QFETCH(DbEngine, engine);
    Fixture f(engine);
    const SchemeStore::SaveResult saved = SchemeStore::save(QStringLiteral("空"), ConditionTable());
    QCOMPARE(saved.status, SchemeStore::SaveResult::Saved);
    QCOMPARE(f.count(QStringLiteral("select count(*) from tblProject")), 1);
    QCOMPARE(f.count(QStringLiteral("select count(*) from tblprojectEntry")), 0);

    ConditionTable loaded = sampleGrid();
    QVERIFY(SchemeStore::load(QString::number(saved.id), loaded));
    QVERIFY(loaded.isEmpty());
}

void TestSchemes::emptyNameWritesNothing()
{
    QFETCH(DbEngine, engine);
    Fixture f(engine);
    QCOMPARE(SchemeStore::save(QString(), sampleGrid()).status, SchemeStore::SaveResult::NameMissing);
    QCOMPARE(f.count(QStringLiteral("select count(*) from tblProject")), 0);
    QCOMPARE(f.count(QStringLiteral("select count(*) from tblprojectEntry")), 0);
}

void TestSchemes::idsAreGlobal()
{
    QFETCH(DbEngine, engine);
    Fixture f(engine);
    // The highest id belongs to another user and another bill type.
    f.db.exec(QStringLiteral("insert into tblProject(finterid,fname,ftype,fUserid) values(41,'别人的',72,9)"));
    f.db.exec(QStringLiteral("insert into tblProject(finterid,fname,ftype,fUserid) values(7,'旧的',71,1)"));
    QCOMPARE(SchemeStore::save(QStringLiteral("新"), sampleGrid()).id, 42);
    QCOMPARE(f.count(QStringLiteral("select count(*) from tblprojectEntry where finterid=42")), 4);
}

void TestSchemes::otherUsersAndTypes()
{
    QFETCH(DbEngine, engine);
    Fixture f(engine, QStringLiteral("2"));
    f.db.exec(QStringLiteral("insert into tblProject(finterid,fname,ftype,fUserid) values(1,'甲的',71,1)"));
    f.db.exec(QStringLiteral("insert into tblprojectEntry(finterid,ftype,fline,f2col) values(1,71,1,'金额')"));
    f.db.exec(QStringLiteral("insert into tblProject(finterid,fname,ftype,fUserid) values(2,'乙的别种单据',72,2)"));
    f.db.exec(QStringLiteral("insert into tblProject(finterid,fname,ftype,fUserid) values(3,'乙的',71,2)"));
    QCOMPARE(SchemeStore::list(), (QList<SchemeStore::Scheme>{{QStringLiteral("乙的"), QStringLiteral("3")}}));

    // A known id is deleted whoever owns it.
    QVERIFY(SchemeStore::remove(QStringLiteral("1")));
    QCOMPARE(f.count(QStringLiteral("select count(*) from tblProject where finterid=1")), 0);
    QCOMPARE(f.count(QStringLiteral("select count(*) from tblprojectEntry where finterid=1")), 0);
    QCOMPARE(f.count(QStringLiteral("select count(*) from tblProject")), 2);
}

void TestSchemes::loadReadsOnlyTheBillType()
{
    QFETCH(DbEngine, engine);
    Fixture f(engine);
    f.db.exec(QStringLiteral("insert into tblprojectEntry(finterid,ftype,fline,f2col,f3col) values(5,71,2,'金额','fOldField')"));
    f.db.exec(QStringLiteral("insert into tblprojectEntry(finterid,ftype,fline,f2col) values(5,72,1,'别种')"));
    f.db.exec(QStringLiteral("insert into tblprojectEntry(finterid,ftype,fline,f2col) values(6,71,1,'别的方案')"));
    ConditionTable loaded;
    QVERIFY(SchemeStore::load(QStringLiteral("5"), loaded));
    ConditionTable expected;
    // Null cells come back empty; a field no longer in the catalogue comes back as stored.
    expected.setCell(2, ConditionTable::ColCaption, QStringLiteral("金额"));
    expected.setCell(2, ConditionTable::ColFieldName, QStringLiteral("fOldField"));
    QCOMPARE(loaded, expected);
}

void TestSchemes::deleteWithoutIdDoesNothing()
{
    QFETCH(DbEngine, engine);
    Fixture f(engine);
    SchemeStore::save(QStringLiteral("留"), sampleGrid());
    QVERIFY(!SchemeStore::remove(QString()));
    QCOMPARE(f.count(QStringLiteral("select count(*) from tblProject")), 1);
    QCOMPARE(f.count(QStringLiteral("select count(*) from tblprojectEntry")), 4);
    QVERIFY(f.ts.prompts().calls.empty());
}

void TestSchemes::failedStatementIsShown()
{
    QFETCH(DbEngine, engine);
    Fixture f(engine);
    f.db.exec(QStringLiteral("drop table tblprojectEntry"));

    const SchemeStore::SaveResult saved = SchemeStore::save(QStringLiteral("半截"), sampleGrid());
    QCOMPARE(saved.status, SchemeStore::SaveResult::NotDone);
    // The header written before the failure stays.
    QCOMPARE(f.count(QStringLiteral("select count(*) from tblProject")), 1);
    QCOMPARE(f.ts.prompts().messages().size(), size_t(1));
    const Prompt::Call shown = f.ts.prompts().lastMessage();
    QCOMPARE(shown.icon, int(Prompt::Critical));
    QCOMPARE(shown.title, QStringLiteral("测试"));
    QVERIFY(!shown.text.isEmpty());
    QVERIFY(!session().gConn);

    ConditionTable loaded = sampleGrid();
    QVERIFY(!SchemeStore::load(QStringLiteral("1"), loaded));
    QCOMPARE(f.ts.prompts().messages().size(), size_t(2));
    QVERIFY(!SchemeStore::remove(QStringLiteral("1")));
    QCOMPARE(f.ts.prompts().messages().size(), size_t(3));
}

void TestSchemes::noConnectionDoesNothing()
{
    TestSession ts;
    session().DBConnectionString = QStringLiteral("Driver=SQLite;Database=") + ts.folder() + QStringLiteral("/missing/none.db");
    QCOMPARE(SchemeStore::save(QStringLiteral("x"), sampleGrid()).status, SchemeStore::SaveResult::NotDone);
    QVERIFY(SchemeStore::list().isEmpty());
    QVERIFY(!SchemeStore::remove(QStringLiteral("1")));
    ConditionTable grid = sampleGrid();
    QVERIFY(!SchemeStore::load(QStringLiteral("1"), grid));
    QCOMPARE(grid, sampleGrid());
    QVERIFY(ts.prompts().calls.empty());
}

QTEST_GUILESS_MAIN(TestSchemes)
#include "tst_schemes.moc"
