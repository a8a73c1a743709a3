#include "platform/DbError.h"
#include "support/QuerySqlSamples.h"
#include "support/QueryModuleHelpers.h"
#include "support/CaseRows.h"

#include <QTest>

#include <map>
#include <memory>

namespace {
// Keeps a statement to kTypedBills, which are dated before every demo bill.
const QString kSeededOnly = QStringLiteral(" and fdate<'2002-01-01'");
} // namespace
// A value typed on a page ("grid", "simple") for a field with an operator,
// and the bill numbers it finds.
struct TypedValue { const char *name; QString page, field, op, value; QStringList expected; };
Q_DECLARE_METATYPE(TypedValue)

// Every kind of statement the query builders produce — each operator of each
// value kind, both connectors, every code of every fixed list, the simple
// page, with and without the host's condition — runs on the demo database of
// each engine, and both engines find the same bills.
class TestFindStatements : public QObject {
    Q_OBJECT

    std::map<DbEngine, std::unique_ptr<TestDatabase>> m_db;

private slots:
    void initTestCase()
    {
        for (DbEngine e : TestDatabase::engines()) {
            m_db[e] = std::make_unique<TestDatabase>(e, TestDatabase::Content::Demo);
            seedTypedBills(*m_db[e], QDate(2001, 1, 15));
        }
    }
    void cleanupTestCase() { m_db.clear(); }

    void statementsRun_data()
    {
        QTest::addColumn<QString>("sql");
        int year = 0;
        int period = 0;
        {
            Recordset rs = m_db.begin()->second->conn().openRecordset(
                QStringLiteral("select fvalue,ftypeid from tblSystemInfo where ftypeid in (4,5) "));
            for (; !rs.eof(); rs.moveNext())
                (rs.toInt(QStringLiteral("ftypeid")) == 4 ? year : period) = int(rs.toInt(QStringLiteral("fvalue")));
        }
        for (const QString &findSql : {QString(), QStringLiteral(" and fAmount>0")}) {
            for (const auto &sample : QuerySqlSamples::findStatements(QStringLiteral("vPurFP"), findSql, year, period))
                QTest::newRow(qPrintable(sample.name + (findSql.isEmpty() ? QString() : QStringLiteral(" +host")))) << sample.value;
        }
    }
    void statementsRun()
    {
        QFETCH(QString, sql);
        QStringList reference;
        bool first = true;
        for (auto &[engine, db] : m_db) {
            Recordset rs;
            try {
                rs = db->conn().openRecordset(sql);
            } catch (const DbError &e) {
                QFAIL(qPrintable(QStringLiteral("%1: %2\n%3").arg(QLatin1String(TestDatabase::engineName(engine)), e.description(), sql)));
            }
            QStringList ids;
            for (; !rs.eof(); rs.moveNext())
                ids << rs.text(QStringLiteral("finterid"));
            QVERIFY(ids.size() <= 20000);
            ids.sort();
            if (first)
                reference = ids;
            else
                QCOMPARE(ids, reference);
            first = false;
        }
    }

    // What a user types into a condition is data: a text finds exactly the
    // bills holding it, and the bills are the same afterwards.
    void typedValuesAreData_data()
    {
        addCaseRows<TypedValue>({
            {"number with a quote", "grid", "fbillno", "等于", "CGFP-O'K-001", {"CGFP-O'K-001"}},
            {"quote in a note", "grid", "fNote", "包含", "O'K", {"CGFP-O'K-001"}},
            {"percent in a note", "grid", "fNote", "包含", "50%", {"CGFP-50%-002"}},
            {"underscore", "grid", "fNote", "包含", "a_b", {"CGFP-a_b-004"}},
            {"backslash", "grid", "fNote", "包含", "\\", {"CGFP-BS-006"}},
            {"not containing a backslash", "grid", "fNote", "不包含", "\\",
             {"CGFP-O'K-001", "CGFP-50%-002", "CGFP-5000-003", "CGFP-a_b-004", "CGFP-axb-005", "CGFP-SQL-007", "CGFP-EMOJI-008",
              "CGFP-LONG-009", "CGFP-LONG-010", "CGFP-OR-011", "CGFP-DEL-012"}},
            {"comment dashes", "grid", "fNote", "包含", "--", {"CGFP-SQL-007", "CGFP-DEL-012"}},
            {"semicolon", "grid", "fNote", "包含", ";", {"CGFP-SQL-007", "CGFP-DEL-012"}},
            {"comment start", "grid", "fNote", "包含", "/*", {"CGFP-SQL-007"}},
            {"emoji", "grid", "fNote", "包含", "😀", {"CGFP-EMOJI-008"}},
            {"emoji equal", "grid", "fNote", "等于", "好😀", {"CGFP-EMOJI-008"}},
            {"10000 characters equal", "grid", "fNote", "等于", kLongText, {"CGFP-LONG-009"}},
            {"10000 characters contained", "grid", "fNote", "包含", kLongText, {"CGFP-LONG-009", "CGFP-LONG-010"}},
            {"always true as a note", "grid", "fNote", "等于", kAlwaysTrue, {"CGFP-OR-011"}},
            {"always true as a number", "grid", "fbillno", "等于", kAlwaysTrue, {}},
            {"delete as a note", "grid", "fNote", "包含", kDeleteBills, {"CGFP-DEL-012"}},
            {"delete as a number", "grid", "fbillno", "等于", kDeleteBills, {}},
            {"simple page quote", "simple", "fbillno", "", "CGFP-O'K-001", {"CGFP-O'K-001"}},
            {"simple page percent", "simple", "fNote", "", "50%", {"CGFP-50%-002"}},
            {"simple page underscore", "simple", "fbillno", "", "a_b", {"CGFP-a_b-004"}},
            {"simple page backslash", "simple", "fNote", "", "\\", {"CGFP-BS-006"}},
            {"simple page always true", "simple", "fNote", "", kAlwaysTrue, {"CGFP-OR-011"}},
            {"simple page delete", "simple", "fNote", "", kDeleteBills, {"CGFP-DEL-012"}},
        });
    }
    void typedValuesAreData()
    {
        QFETCH(TypedValue, row);
        auto [caseName, page, field, op, value, expected] = row;
        ConditionTable grid;
        grid.setRowTexts(1, {QString(), field, field, "2", op, operatorSymbols(2).value(operatorNames(2).indexOf(op)), value, "0", "", "0"});
        for (auto &[engine, db] : m_db) {
            const QString before = billsSnapshot(*db);
            const QString seek = page == u"grid" ? buildSeekSQL(grid) : buildSeekSQLB(QDate(2001, 1, 1), QDate(2001, 1, 31), {{value, "0,0," + field}});
            QStringList found;
            try {
                for (Recordset rs = db->conn().openRecordset(buildFindStatement(QStringLiteral("vPurFP"), seek, QString(), kSeededOnly, QString()));
                     !rs.eof(); rs.moveNext())
                    found << rs.text(QStringLiteral("fbillno"));
            } catch (const DbError &e) {
                QFAIL(qPrintable(QStringLiteral("%1: %2").arg(QLatin1String(TestDatabase::engineName(engine)), e.description())));
            }
            found.sort();
            expected.sort();
            QCOMPARE(found, expected);
            QCOMPARE(billsSnapshot(*db), before);
        }
    }
};

QTEST_GUILESS_MAIN(TestFindStatements)
#include "tst_findstatements.moc"
