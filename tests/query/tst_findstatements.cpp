#include "platform/DbError.h"
#include "query/QuerySqlSamples.h"
#include "support/TestDatabase.h"

#include <QTest>

#include <map>
#include <memory>

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
        for (DbEngine e : TestDatabase::engines())
            m_db[e] = std::make_unique<TestDatabase>(e, TestDatabase::Content::Demo);
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
};

QTEST_GUILESS_MAIN(TestFindStatements)
#include "tst_findstatements.moc"
