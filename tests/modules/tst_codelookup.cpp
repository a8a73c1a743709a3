// Looking up typed codes in tblItem, vICItem/icitem and tblsubtype.
#include "modules/CodeLookup.h"

#include "component/Session.h"
#include "support/TestDatabase.h"
#include "support/TestSession.h"

#include <QTest>

namespace {
constexpr int kGoods = 3;
constexpr int kSupplier = 4;
constexpr int kDepartment = 2;

struct Env {
    TestSession ts;
    TestDatabase db;
    explicit Env(DbEngine engine, TestDatabase::Content content = TestDatabase::Content::Schema)
        : db(engine, content)
    {
        session().DBConnectionString = db.connectionString();
        if (content == TestDatabase::Content::Schema)
            fill();
    }

    void item(int id, const QString &number, const QString &name, int classId, int detail = 1, int locked = 0)
    {
        Connection &c = db.conn();
        c.execute(QStringLiteral("insert into tblItem(fitemid,fnumber,fname,fitemclassid,fisdetail,fislock) values(?,?,?,?,?,?)"),
                  {id, number, name, classId, detail, locked});
    }

    void fill()
    {
        item(1, QStringLiteral("G001"), QStringLiteral("螺丝刀"), kGoods);
        db.exec(QStringLiteral("insert into icitem(fitemid,fnumber,fname,fModel,fUnit,fInPrice,fOutPrice,fA,fB,fC,fD,fE,fF,fG,fH,fZSPer,fZLPer) "
                               "values(1,'G001','螺丝刀','PH2','把',12.5,18.75,'红','大','进口',3.25,7,'2024-02-29','2025-01-31',20,0,0)"));
        // Goods without an icitem row.
        item(2, QStringLiteral("G002"), QStringLiteral("扳手"), kGoods);
        // Goods with an icitem row whose attributes are all null.
        item(3, QStringLiteral("G003"), QStringLiteral("钳子"), kGoods);
        db.exec(QStringLiteral("insert into icitem(fitemid,fnumber,fname) values(3,'G003','钳子')"));
        item(4, QStringLiteral("G004"), QStringLiteral("停用锤子"), kGoods, 1, 1);
        db.exec(QStringLiteral("insert into icitem(fitemid,fnumber,fname,fModel,fInPrice) values(4,'G004','停用锤子','X',1)"));

        item(20, QStringLiteral("S01"), QStringLiteral("华强电子"), kSupplier);
        item(21, QStringLiteral("S"), QStringLiteral("供应商"), kSupplier, 0);      // a non-detail parent
        item(22, QStringLiteral("S02"), QStringLiteral("停用供应商"), kSupplier, 1, 1);
        item(23, QStringLiteral("O'Neil"), QStringLiteral("奥尼尔贸易"), kSupplier);
        item(24, QStringLiteral("D01"), QStringLiteral("采购部"), kDepartment);

        db.exec(QStringLiteral("insert into tblsubtype(fitemclassid,fitemid,fnumber,fname,fmodel) values(7,70,'T01','增值税发票','专票')"));
    }
};

void setPreviousResult()
{
    Session &s = session();
    s.gItemName = QStringLiteral("旧名称");
    s.gItemNumber = QStringLiteral("OLD");
    s.gItemId = QStringLiteral("99");
    s.gItemModel = QStringLiteral("旧型号");
    s.gItemUnit = QStringLiteral("旧单位");
    s.gItemInPrice = QStringLiteral("9.9");
    s.gItemH1 = QStringLiteral("77");
}

QStringList lookupFields()
{
    const Session &s = session();
    return {s.gItemName, s.gItemNumber, s.gItemId, s.gItemModel, s.gItemUnit, s.gItemInPrice, s.gItemOutPrice,
            s.gItemA1, s.gItemB1, s.gItemC1, s.gItemD1, s.gItemE1, s.gItemF1, s.gItemG1, s.gItemH1,
            s.gItemHNumber1, s.gItemHName1};
}
} // namespace

class TestCodeLookup : public QObject {
    Q_OBJECT

private slots:
    void found_data();
    void found();
    void notFoundLeavesPreviousResult_data();
    void notFoundLeavesPreviousResult();
    void goodsAttributes_data() { addEngineRows(); }
    void goodsAttributes();
    void goodsWithoutIcitemRowGetsDefaults_data();
    void goodsWithoutIcitemRowGetsDefaults();
    void databaseErrors_data();
    void databaseErrors();
};

void TestCodeLookup::found_data()
{
    QTest::addColumn<DbEngine>("engine");
    QTest::addColumn<int>("source");
    QTest::addColumn<int>("classId");
    QTest::addColumn<QString>("number");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("id");
    for (DbEngine e : TestDatabase::engines()) {
        QTest::newRow(qPrintable(engineTag(e, "supplier"))) << e << 1 << kSupplier << QStringLiteral("S01") << QStringLiteral("华强电子") << QStringLiteral("20");
        QTest::newRow(qPrintable(engineTag(e, "department"))) << e << 1 << kDepartment << QStringLiteral("D01") << QStringLiteral("采购部") << QStringLiteral("24");
        QTest::newRow(qPrintable(engineTag(e, "quote in the number"))) << e << 1 << kSupplier << QStringLiteral("O'Neil") << QStringLiteral("奥尼尔贸易") << QStringLiteral("23");
        QTest::newRow(qPrintable(engineTag(e, "goods"))) << e << 1 << kGoods << QStringLiteral("G001") << QStringLiteral("螺丝刀") << QStringLiteral("1");
        QTest::newRow(qPrintable(engineTag(e, "sub-type"))) << e << 2 << 7 << QStringLiteral("T01") << QStringLiteral("增值税发票") << QStringLiteral("70");
    }
}

void TestCodeLookup::found()
{
    QFETCH(DbEngine, engine);
    QFETCH(int, source);
    QFETCH(int, classId);
    QFETCH(QString, number);
    QFETCH(QString, name);
    QFETCH(QString, id);

    Env env(engine);
    setPreviousResult();
    QVERIFY(SeekCode(std::int16_t(source), std::int16_t(classId), number));
    QCOMPARE(session().gItemName, name);
    QCOMPARE(session().gItemNumber, number);
    QCOMPARE(session().gItemId, id);
    if (classId != kGoods || source != 1) // only goods carry the goods fields
        QCOMPARE(session().gItemModel, QStringLiteral("旧型号"));
    QVERIFY(env.ts.prompts().messages().empty());
    QVERIFY(!session().gConn);
}

void TestCodeLookup::notFoundLeavesPreviousResult_data()
{
    QTest::addColumn<DbEngine>("engine");
    QTest::addColumn<int>("source");
    QTest::addColumn<int>("classId");
    QTest::addColumn<QString>("number");
    for (DbEngine e : TestDatabase::engines()) {
        QTest::newRow(qPrintable(engineTag(e, "locked goods"))) << e << 1 << kGoods << QStringLiteral("G004");
        QTest::newRow(qPrintable(engineTag(e, "locked supplier"))) << e << 1 << kSupplier << QStringLiteral("S02");
        QTest::newRow(qPrintable(engineTag(e, "non-detail code"))) << e << 1 << kSupplier << QStringLiteral("S");
        QTest::newRow(qPrintable(engineTag(e, "code of another class"))) << e << 1 << kDepartment << QStringLiteral("S01");
        QTest::newRow(qPrintable(engineTag(e, "goods looked up as plain item"))) << e << 1 << kSupplier << QStringLiteral("G001");
        QTest::newRow(qPrintable(engineTag(e, "prefix is not a match"))) << e << 1 << kSupplier << QStringLiteral("S0");
        QTest::newRow(qPrintable(engineTag(e, "pattern is not a match"))) << e << 1 << kSupplier << QStringLiteral("S%");
        QTest::newRow(qPrintable(engineTag(e, "pattern is not a match for goods"))) << e << 1 << kGoods << QStringLiteral("G00_");
        QTest::newRow(qPrintable(engineTag(e, "unknown number with a quote"))) << e << 1 << kSupplier << QStringLiteral("x' or '1'='1");
        QTest::newRow(qPrintable(engineTag(e, "goods number with a quote"))) << e << 1 << kGoods << QStringLiteral("G001'");
        QTest::newRow(qPrintable(engineTag(e, "sub-type of another class"))) << e << 2 << 8 << QStringLiteral("T01");
    }
}

void TestCodeLookup::notFoundLeavesPreviousResult()
{
    QFETCH(DbEngine, engine);
    QFETCH(int, source);
    QFETCH(int, classId);
    QFETCH(QString, number);

    Env env(engine);
    // A successful goods lookup first, so every result field holds a value.
    QVERIFY(SeekCode(1, kGoods, QStringLiteral("G001")));
    const QStringList before = lookupFields();

    QVERIFY(!SeekCode(std::int16_t(source), std::int16_t(classId), number));
    QCOMPARE(lookupFields(), before);
    QVERIFY(env.ts.prompts().messages().empty());
    QVERIFY(!session().gConn);
}

void TestCodeLookup::goodsAttributes()
{
    QFETCH(DbEngine, engine);
    Env env(engine);
    // The linked code of fH.
    env.db.exec(QStringLiteral("update icitem set fH=24 where fitemid=1"));

    QVERIFY(SeekCode(1, kGoods, QStringLiteral("G001")));
    const Session &s = session();
    QCOMPARE(s.gItemModel, QStringLiteral("PH2"));
    QCOMPARE(s.gItemUnit, QStringLiteral("把"));
    QCOMPARE(s.gItemInPrice, QStringLiteral("12.5"));
    QCOMPARE(s.gItemA1, QStringLiteral("红"));
    QCOMPARE(s.gItemB1, QStringLiteral("大"));
    QCOMPARE(s.gItemC1, QStringLiteral("进口"));
    QCOMPARE(s.gItemD1, QStringLiteral("3.25"));
    QCOMPARE(s.gItemE1, QStringLiteral("7"));
    QCOMPARE(s.gItemF1, QStringLiteral("2024-02-29"));
    QCOMPARE(s.gItemG1, QStringLiteral("2025-01-31"));
    QCOMPARE(s.gItemH1, QStringLiteral("24"));
    QCOMPARE(s.gItemHNumber1, QStringLiteral("D01"));
    QCOMPARE(s.gItemHName1, QStringLiteral("采购部"));
    QCOMPARE(s.gItemOutPrice, QStringLiteral("18.75"));
}

void TestCodeLookup::goodsWithoutIcitemRowGetsDefaults_data()
{
    QTest::addColumn<DbEngine>("engine");
    QTest::addColumn<QString>("number");
    for (DbEngine e : TestDatabase::engines()) {
        QTest::newRow(qPrintable(engineTag(e, "icitem row missing"))) << e << QStringLiteral("G002");
        QTest::newRow(qPrintable(engineTag(e, "icitem attributes null"))) << e << QStringLiteral("G003");
    }
}

void TestCodeLookup::goodsWithoutIcitemRowGetsDefaults()
{
    QFETCH(DbEngine, engine);
    QFETCH(QString, number);
    Env env(engine);
    QVERIFY(SeekCode(1, kGoods, QStringLiteral("G001")));

    QVERIFY(SeekCode(1, kGoods, number));
    const Session &s = session();
    QCOMPARE(s.gItemNumber, number);
    QCOMPARE(s.gItemModel, QString());
    QCOMPARE(s.gItemUnit, QString());
    QCOMPARE(s.gItemInPrice, QStringLiteral("0"));
    QCOMPARE(s.gItemOutPrice, QStringLiteral("0"));
    QCOMPARE(s.gItemA1, QString());
    QCOMPARE(s.gItemB1, QString());
    QCOMPARE(s.gItemC1, QString());
    QCOMPARE(s.gItemD1, QStringLiteral("0"));
    QCOMPARE(s.gItemE1, QStringLiteral("0"));
    QCOMPARE(s.gItemF1, QStringLiteral("1900-01-01"));
    QCOMPARE(s.gItemG1, QStringLiteral("1900-01-01"));
    QCOMPARE(s.gItemH1, QStringLiteral("0"));
    QCOMPARE(s.gItemHNumber1, QString());
    QCOMPARE(s.gItemHName1, QString());
}

void TestCodeLookup::databaseErrors_data()
{
    QTest::addColumn<DbEngine>("engine");
    QTest::addColumn<bool>("tables");
    QTest::addColumn<int>("source");
    QTest::addColumn<int>("classId");
    for (DbEngine e : TestDatabase::engines()) {
        QTest::newRow(qPrintable(engineTag(e, "no tables, goods"))) << e << false << 1 << kGoods;
        QTest::newRow(qPrintable(engineTag(e, "no tables, item"))) << e << false << 1 << kSupplier;
        QTest::newRow(qPrintable(engineTag(e, "no tables, sub-type"))) << e << false << 2 << 7;
        QTest::newRow(qPrintable(engineTag(e, "unknown source"))) << e << true << 3 << kSupplier;
    }
}

void TestCodeLookup::databaseErrors()
{
    QFETCH(DbEngine, engine);
    QFETCH(bool, tables);
    QFETCH(int, source);
    QFETCH(int, classId);

    Env env(engine, tables ? TestDatabase::Content::Schema : TestDatabase::Content::Empty);
    session().msgTitle = QStringLiteral("进销存");
    setPreviousResult();
    const QStringList before = lookupFields();

    QVERIFY(!SeekCode(std::int16_t(source), std::int16_t(classId), QStringLiteral("S01")));
    const auto messages = env.ts.prompts().messages();
    QCOMPARE(int(messages.size()), 1);
    QCOMPARE(messages.front().icon, int(Prompt::Critical));
    QCOMPARE(messages.front().title, QStringLiteral("进销存"));
    QVERIFY(!messages.front().text.isEmpty());
    QCOMPARE(lookupFields(), before);
    QVERIFY(!session().gConn);
}

QTEST_GUILESS_MAIN(TestCodeLookup)
#include "tst_codelookup.moc"
