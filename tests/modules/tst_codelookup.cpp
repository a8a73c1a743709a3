#include "modules/CodeLookup.h"

#include "support/QueryModuleHelpers.h"
#include "support/CaseRows.h"

#include <QTest>

namespace {
constexpr int kGoods = 3;
constexpr int kSupplier = 4;
constexpr int kDepartment = 2;

struct Env : DbEnv {
    explicit Env(DbEngine engine, TestDatabase::Content content = TestDatabase::Content::Schema)
        : DbEnv(engine, content)
    {
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
    Session &s = TestSession::session();
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
    const Session &s = TestSession::session();
    return {s.gItemName, s.gItemNumber, s.gItemId, s.gItemModel, s.gItemUnit, s.gItemInPrice, s.gItemOutPrice,
            s.gItemA1, s.gItemB1, s.gItemC1, s.gItemD1, s.gItemE1, s.gItemF1, s.gItemG1, s.gItemH1,
            s.gItemHNumber1, s.gItemHName1};
}
} // namespace

// fields: the leading result fields, as lookupFields() lists them, that the
// lookup writes; the others keep the previous result. None: not found.
struct SeekCodeCase { const char *name; int source, classId; QString number; QStringList fields; };
Q_DECLARE_METATYPE(SeekCodeCase)

class TestCodeLookup : public QObject {
    Q_OBJECT

private slots:
    void initTestCase_data() { addEngineRows(); }

    void seekCode_data()
    {
        // Missing or null attributes of icitem read as empty text, 0 or 1900-01-01.
        const QStringList defaults{"", "", "0", "0", "", "", "", "0", "0", "1900-01-01", "1900-01-01", "0", "", ""};
        addCaseRows<SeekCodeCase>({
            {"supplier", 1, kSupplier, "S01", {"华强电子", "S01", "20"}},
            {"department", 1, kDepartment, "D01", {"采购部", "D01", "24"}},
            {"quote in the number", 1, kSupplier, "O'Neil", {"奥尼尔贸易", "O'Neil", "23"}},
            // fH links to S01, whose number and name come along.
            {"goods, every attribute", 1, kGoods, "G001",
             {"螺丝刀", "G001", "1", "PH2", "把", "12.5", "18.75", "红", "大", "进口", "3.25", "7", "2024-02-29", "2025-01-31", "20", "S01", "华强电子"}},
            {"goods, icitem row missing", 1, kGoods, "G002", QStringList{"扳手", "G002", "2"} + defaults},
            {"goods, icitem attributes null", 1, kGoods, "G003", QStringList{"钳子", "G003", "3"} + defaults},
            {"sub-type", 2, 7, "T01", {"增值税发票", "T01", "70"}},
            {"locked goods", 1, kGoods, "G004", {}},
            {"locked supplier", 1, kSupplier, "S02", {}},
            {"non-detail code", 1, kSupplier, "S", {}},
            {"code of another class", 1, kDepartment, "S01", {}},
            {"goods looked up as plain item", 1, kSupplier, "G001", {}},
            {"supplier looked up as goods", 1, kGoods, "S01", {}},
            {"prefix is not a match", 1, kSupplier, "S0", {}},
            {"pattern is not a match", 1, kSupplier, "S%", {}},
            {"pattern is not a match for goods", 1, kGoods, "G00_", {}},
            {"unknown number with a quote", 1, kSupplier, "x' or '1'='1", {}},
            {"goods number with a quote", 1, kGoods, "G001'", {}},
            {"sub-type of another class", 2, 8, "T01", {}},
        });
    }

    void seekCode()
    {
        QFETCH_GLOBAL(DbEngine, engine);
        QFETCH(SeekCodeCase, row);
        Session &s = TestSession::session();
        Env env(engine);
        // A successful goods lookup first, so every result field holds a
        // value, some then marked as old: a lookup has to write anew every
        // field it finds.
        QVERIFY(SeekCode(s, 1, kGoods, QStringLiteral("G001")));
        setPreviousResult();
        const QStringList before = lookupFields();

        QCOMPARE(SeekCode(s, std::int16_t(row.source), std::int16_t(row.classId), row.number), !row.fields.isEmpty());
        QCOMPARE(lookupFields(), row.fields + before.mid(row.fields.size()));
        expectQuiet(env.ts);
    }

    void databaseErrors_data()
    {
        QTest::addColumn<bool>("tables");
        QTest::addColumn<int>("source");
        QTest::addColumn<int>("classId");
        QTest::newRow("no tables, goods") << false << 1 << kGoods;
        QTest::newRow("no tables, item") << false << 1 << kSupplier;
        QTest::newRow("no tables, sub-type") << false << 2 << 7;
        QTest::newRow("unknown source") << true << 3 << kSupplier;
    }

    void databaseErrors()
    {
        QFETCH_GLOBAL(DbEngine, engine);
        QFETCH(bool, tables);
        QFETCH(int, source);
        QFETCH(int, classId);
        Session &s = TestSession::session();

        Env env(engine, tables ? TestDatabase::Content::Schema : TestDatabase::Content::Empty);
        s.msgTitle = QStringLiteral("进销存");
        setPreviousResult();
        const QStringList before = lookupFields();

        QVERIFY(!SeekCode(s, std::int16_t(source), std::int16_t(classId), QStringLiteral("S01")));
        expectOneError(env.ts);
        QCOMPARE(lookupFields(), before);
        QVERIFY(!s.gConn);
    }
};

QTEST_GUILESS_MAIN(TestCodeLookup)
#include "tst_codelookup.moc"
#include "support/TestSession.h"
