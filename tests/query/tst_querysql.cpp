// The builders' statements byte for byte: the pieces are pasted together as text.
#include "platform/Clock.h"
#include "platform/VbConvert.h"
#include "query/QuerySql.h"
#include "support/CaseRows.h"

#include <QTest>

Q_DECLARE_METATYPE(ConditionTable)

namespace {
// Row cells 1..7: connector, caption, field, kind, operator, symbol, value.
struct Grid {
    ConditionTable table;
    Grid &row(int r, const QString &connector, const QString &caption, const QString &field, const QString &kind,
              const QString &op, const QString &symbol, const QString &value)
    {
        const QStringList cells{connector, caption, field, kind, op, symbol, value};
        for (int c = 1; c <= cells.size(); ++c)
            table.setCell(r, c, cells[c - 1]);
        return *this;
    }
    Grid &number(int r, const QString &connector, const QString &op, const QString &value)
    {
        return row(r, connector, QStringLiteral("金额"), QStringLiteral("fAmount"), QStringLiteral("1"), op, QString(), value);
    }
    Grid &text(int r, const QString &connector, const QString &op, const QString &value)
    {
        return row(r, connector, QStringLiteral("发票号码"), QStringLiteral("fbillno"), QStringLiteral("2"), op, QString(), value);
    }
    Grid &date(int r, const QString &connector, const QString &op, const QString &symbol, const QString &value)
    {
        return row(r, connector, QStringLiteral("日期"), QStringLiteral("fdate"), QStringLiteral("3"), op, symbol, value);
    }
    operator ConditionTable() const { return table; }
};

FilterCodes codesOf(const QList<int> &list)
{
    FilterCodes codes;
    for (int i = 0; i < FixedFilters::kListCount; ++i)
        codes[i] = list.value(i, FixedFilters::kNoSelection);
    return codes;
}

const QString kAnd = QStringLiteral("与");
const QString kOr = QStringLiteral("或");
} // namespace

// Codes of the lists PC_0 .. PC_4, the session's year and period, the day it is.
struct MainSqlCase { const char *name; QList<int> codes; QString expected; QDate today{2025, 11, 2}; int year = 2024, period = 3; };
Q_DECLARE_METATYPE(MainSqlCase)
struct FindStatementCase { const char *name; QString view, seek, main, findSql, order, expected; };
Q_DECLARE_METATYPE(FindStatementCase)

class TestQuerySql : public QObject {
    Q_OBJECT

private slots:
    void cleanup() { Clock::setToday(QDate()); }

    void seekSql_data()
    {
        QTest::addColumn<ConditionTable>("grid");
        QTest::addColumn<QString>("expected");

        QTest::newRow("empty grid") << ConditionTable(Grid()) << QString();
        QTest::newRow("only row 3") << ConditionTable(Grid().number(3, kAnd, "大于", "100")) << " and ( fAmount >100";
        QTest::newRow("only row 3 with or") << ConditionTable(Grid().number(3, kOr, "大于", "100")) << " and ( fAmount >100";
        QTest::newRow("or on row 2") << ConditionTable(Grid().number(1, QString(), "大于", "100").text(2, kOr, "包含", "FP"))
                                     << " and ( fAmount >100 or fbillno like '%FP%' escape '\\' ";
        QTest::newRow("and on row 2") << ConditionTable(Grid().number(1, QString(), "大于", "100").text(2, kAnd, "等于", "X"))
                                      << " and ( fAmount >100 and fbillno='X'";
        QTest::newRow("and opening the bracket") << ConditionTable(Grid().text(2, kAnd, "等于", "X").number(4, kAnd, "等于", "5"))
                                                 << " and ( fbillno='X' and fAmount =5";
        QTest::newRow("and, or and and")
            << ConditionTable(Grid().number(1, QString(), "大于", "1").number(2, kOr, "小于", "2").text(3, kAnd, "为空", QString()))
            << " and ( fAmount >1 or fAmount <2 and fbillno  is null ";
        QTest::newRow("connector on row 1 ignored") << ConditionTable(Grid().number(1, kOr, "大于", "100").number(2, kAnd, "小于", "200"))
                                                    << " and ( fAmount >100 and fAmount <200";
        QTest::newRow("row without connector left out")
            << ConditionTable(Grid().number(1, QString(), "大于", "1").number(2, QString(), "小于", "2")) << " and ( fAmount >1";
        QTest::newRow("caption but no operator left out")
            << ConditionTable(Grid().number(1, QString(), QString(), "1").number(2, kOr, "小于", "2")) << " and ( fAmount <2";
        QTest::newRow("operator but no caption left out")
            << ConditionTable(Grid().row(1, QString(), QString(), "fAmount", "1", "大于", QString(), "1")) << QString();
        QTest::newRow("unfinished row after a condition")
            << ConditionTable(Grid().number(1, QString(), "等于", "1").row(2, kAnd, "金额", "fAmount", QString(), QString(), QString(), QString()))
            << " and ( fAmount =1";
        QTest::newRow("condition on row 10") << ConditionTable(Grid().number(10, kAnd, "不等于", "3")) << " and ( fAmount <>3";

        // Numbers: no quotes, an empty value compares with 0.
        const QList<std::pair<QString, QString>> numberOps{
            {"大于", " >"}, {"大于等于", " >="}, {"等于", " ="}, {"小于", " <"}, {"小于等于", " <="}, {"不等于", " <>"}};
        for (const auto &[op, sql] : numberOps)
            QTest::addRow("number %s", qPrintable(op)) << ConditionTable(Grid().number(1, QString(), op, "12.5")) << " and ( fAmount" + sql + "12.5";
        QTest::newRow("number empty value") << ConditionTable(Grid().number(1, QString(), "大于", QString())) << " and ( fAmount >0";
        QTest::newRow("number value as typed") << ConditionTable(Grid().number(1, QString(), "等于", " 7 ")) << " and ( fAmount = 7 ";
        QTest::newRow("number with blank kind text")
            << ConditionTable(Grid().row(1, QString(), "金额", "fAmount", " 1", "小于", QString(), "9")) << " and ( fAmount <9";

        // Text: quoted, pasted as typed.
        const QString v = QStringLiteral("A1");
        QTest::newRow("text 等于") << ConditionTable(Grid().text(1, QString(), "等于", v)) << " and ( fbillno='A1'";
        QTest::newRow("text 包含") << ConditionTable(Grid().text(1, QString(), "包含", v)) << " and ( fbillno like '%A1%' escape '\\' ";
        QTest::newRow("text 不包含") << ConditionTable(Grid().text(1, QString(), "不包含", v)) << " and ( fbillno not like '%A1%' escape '\\' ";
        QTest::newRow("text 不等于") << ConditionTable(Grid().text(1, QString(), "不等于", v)) << " and ( fbillno<>'A1'";
        QTest::newRow("text 为空 ignores the value") << ConditionTable(Grid().text(1, QString(), "为空", v)) << " and ( fbillno  is null ";
        QTest::newRow("text 不为空 ignores the value") << ConditionTable(Grid().text(1, QString(), "不为空", v)) << " and ( fbillno  is not null ";
        QTest::newRow("text 大于等于") << ConditionTable(Grid().text(1, QString(), "大于等于", v)) << " and ( fbillno>='A1'";
        QTest::newRow("text 小于等于") << ConditionTable(Grid().text(1, QString(), "小于等于", v)) << " and ( fbillno<='A1'";
        QTest::newRow("text empty value stays empty") << ConditionTable(Grid().text(1, QString(), "等于", QString())) << " and ( fbillno=''";

        // Dates: the hidden symbol column, whatever the operator's name says.
        QTest::newRow("date 大于等于") << ConditionTable(Grid().date(1, QString(), "大于等于", ">=", "2024-03-01")) << " and ( fdate>='2024-03-01'";
        QTest::newRow("date 不等于") << ConditionTable(Grid().date(1, QString(), "不等于", "<>", "2024-03-01")) << " and ( fdate<>'2024-03-01'";
        QTest::newRow("date symbol taken verbatim") << ConditionTable(Grid().date(1, QString(), "等于", "<", "2024-03-01")) << " and ( fdate<'2024-03-01'";
        QTest::newRow("date with empty symbol") << ConditionTable(Grid().date(1, QString(), "等于", QString(), "2024-03-01")) << " and ( fdate='2024-03-01'";

        // A row whose operator is not of its kind is left out, never sent as a bare field.
        QTest::newRow("number with text operator") << ConditionTable(Grid().number(1, QString(), "包含", "1")) << QString();
        QTest::newRow("text with number operator") << ConditionTable(Grid().text(1, QString(), "大于", "1")) << QString();
        QTest::newRow("date with text operator") << ConditionTable(Grid().date(1, QString(), "包含", "Like", "2024-03-01")) << QString();
        QTest::newRow("unknown kind") << ConditionTable(Grid().row(1, QString(), "x", "fx", "4", "等于", "=", "1")) << QString();
    }

    void seekSql()
    {
        QFETCH(ConditionTable, grid);
        QFETCH(QString, expected);
        QCOMPARE(buildSeekSQL(grid), expected);
    }

    void seekSqlRefusesValues_data()
    {
        QTest::addColumn<ConditionTable>("grid");
        QTest::addColumn<QString>("message"); // what the refusal must say

        const QString notNumber = QStringLiteral("第1行“金额”的值不是数字");
        const QString notDate = QStringLiteral("第1行“日期”的值不是有效日期");
        const QStringList numbers{"abc", "1,000", "12abc", "1 2", "１２", "--", ";", "/*", "x' or 'a'='a", "1; delete from tblFP",
                                  "1) or (1=1", "好😀", QString(10000, u'长')};
        for (const QString &value : numbers)
            QTest::addRow("number %s", qPrintable(value.left(20))) << ConditionTable(Grid().number(1, QString(), "大于", value)) << notNumber;
        const QStringList dates{"2026-02-30", "2024-13-01", "abc", "", "2024-3-1", "24-03-01", "2024-03-01'; --", "x' or 'a'='a",
                                "2024-03-01' or 'a'='a"};
        for (const QString &value : dates)
            QTest::addRow("date %s", qPrintable(value)) << ConditionTable(Grid().date(1, QString(), "等于", "=", value)) << notDate;

        // The message names the row and caption of the first value refused,
        // even after conditions that were fine.
        QTest::newRow("third row")
            << ConditionTable(Grid().text(1, QString(), "等于", "A").number(2, kAnd, "等于", "1").date(3, kOr, "大于", ">", "2024-02-30")
                                  .number(4, kAnd, "小于", "x"))
            << QStringLiteral("第3行“日期”的值不是有效日期");
    }

    void seekSqlRefusesValues()
    {
        QFETCH(ConditionTable, grid);
        QFETCH(QString, message);
        try {
            const QString sql = buildSeekSQL(grid);
            QFAIL(qPrintable(QStringLiteral("not refused: ") + sql.left(200)));
        } catch (const ConversionError &e) {
            QVERIFY2(e.text().contains(message), qPrintable(e.text()));
        }
    }

    void seekSqlRejectsKindThatIsNoNumber_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::newRow("empty") << QString();
        QTest::newRow("text") << "数";
    }

    void seekSqlRejectsKindThatIsNoNumber()
    {
        QFETCH(QString, kind);
        const ConditionTable counting = Grid().row(1, QString(), QStringLiteral("无"), QString(), kind, QStringLiteral("等于"), QString(), QString());
        QVERIFY_THROWS_EXCEPTION(ConversionError, buildSeekSQL(counting));
        // Without an operator the row is left out before its kind is read.
        const ConditionTable skipped = Grid().row(1, QString(), QStringLiteral("无"), QString(), kind, QString(), QString(), QString());
        QCOMPARE(buildSeekSQL(skipped), QString());
    }

    void simplePage_data()
    {
        QTest::addColumn<QStringList>("texts");
        QTest::addColumn<QStringList>("tags");
        QTest::addColumn<QString>("expected");

        const QString dates = " and ( fdate>='2024-02-05'   and fdate<='2024-03-15' ";
        QTest::newRow("no text boxes") << QStringList() << QStringList() << dates;
        QTest::newRow("every box empty or blank") << QStringList{QString(), "   "} << QStringList{"0,0,fbillno", "0,0,fOperatorName"} << dates;
        QTest::newRow("one box, trimmed") << QStringList{"  FP01 "} << QStringList{"a,b,fbillno,d"} << dates + " and fbillno like '%FP01%' escape '\\'  ";
        QTest::newRow("second box only")
            << QStringList{QString(), "张"} << QStringList{"0,0,fbillno", "1,0,fOperatorName"}
            << dates + " and fOperatorName like '%张%' escape '\\'  ";
        QTest::newRow("two boxes in index order")
            << QStringList{"FP", "张"} << QStringList{"0,0,fbillno", "1,0,fOperatorName"}
            << dates + " and fbillno like '%FP%' escape '\\'   and fOperatorName like '%张%' escape '\\'  ";
        QTest::newRow("only blanks are trimmed") << QStringList{"\tx "} << QStringList{"0,0,fbillno"} << dates + " and fbillno like '%\tx%' escape '\\'  ";
    }

    void simplePage()
    {
        QFETCH(QStringList, texts);
        QFETCH(QStringList, tags);
        QFETCH(QString, expected);
        TextBoxes boxes;
        for (int i = 0; i < texts.size(); ++i)
            boxes.append({texts[i], tags[i]});
        QCOMPARE(buildSeekSQLB(QDate(2024, 2, 5), QDate(2024, 3, 15), boxes), expected);
    }

    void simplePageTagWithoutColumn()
    {
        // An empty box is never split, so its tag does not matter.
        QCOMPARE(buildSeekSQLB(QDate(2024, 1, 1), QDate(2024, 1, 2), {{QString(), QStringLiteral("x")}}),
                 QStringLiteral(" and ( fdate>='2024-01-01'   and fdate<='2024-01-02' "));
        QVERIFY_THROWS_EXCEPTION(ConversionError, buildSeekSQLB(QDate(2024, 1, 1), QDate(2024, 1, 2), {{QStringLiteral("a"), QStringLiteral("0,fbillno")}}));
    }

    void mainSql_data()
    {
        // Codes in list order PC 0..4: matching, date range, audit, cancellation, red or blue.
        const QList<int> all{10, 10, 10, 10, 10};
        auto with = [&](int list, int code) {
            QList<int> codes = all;
            codes[list] = code;
            return codes;
        };
        addCaseRows<MainSqlCase>({
            {"all 全部", all, QString()},
            {"nothing selected", {-1, -1, -1, -1, -1}, QString()},
            {"today", with(1, 1), " and fdate>='2025-11-02' and fdate<'2025-11-03'"},
            {"this month", with(1, 2), " and fdate>='2025-11-01' and fdate<'2025-12-01'"},
            {"this year", with(1, 3), " and fdate>='2025-01-01' and fdate<'2026-01-01'"},
            // Ranges that end in the next month or year.
            {"today at a month's end", with(1, 1), " and fdate>='2023-01-31' and fdate<'2023-02-01'", {2023, 1, 31}},
            {"today, new year's eve", with(1, 1), " and fdate>='2025-12-31' and fdate<'2026-01-01'", {2025, 12, 31}},
            {"this month, December", with(1, 2), " and fdate>='2025-12-01' and fdate<'2026-01-01'", {2025, 12, 31}},
            {"this month, leap February", with(1, 2), " and fdate>='2024-02-01' and fdate<'2024-03-01'", {2024, 2, 29}},
            {"period uses the session, not today", with(1, 20), " and fYear=2024 and fperiod=3"},
            {"period 12", with(1, 20), " and fYear=2019 and fperiod=12", {2025, 11, 2}, 2019, 12},
            {"date range code 0", with(1, 0), QString()},
            {"audited", with(2, 1), " and fstatus=1"},
            {"not audited", with(2, 2), " and fstatus=0"},
            {"void", with(3, 1), " and fcancellation=1"},
            {"normal", with(3, 2), " and fcancellation=0"},
            {"red", with(4, 1), " and frob=1"},
            {"blue", with(4, 0), " and frob=0"},
            {"unmatched", with(0, 0), " and isnull(fEndAmount,0)=0 "},
            {"partly matched", with(0, 1), " and isnull(fEndAmount,0)<>0 and abs(isnull(fAmount,0))>abs(isnull(fEndAmount,0))"},
            {"fully matched", with(0, 2), " and    abs(isnull(fAmount,0))<=abs(isnull(fEndAmount,0)) "},
            {"every list, matching last", {0, 20, 2, 2, 0},
             " and fYear=2024 and fperiod=3 and fstatus=0 and fcancellation=0 and frob=0 and isnull(fEndAmount,0)=0 "},
        });
    }

    void mainSql()
    {
        QFETCH(MainSqlCase, row);
        Clock::setToday(row.today);
        QCOMPARE(buildMainSQL(codesOf(row.codes), row.year, row.period), row.expected);
    }

    void findStatement_data()
    {
        const QString seek = " and ( fAmount >100";
        const QString main = " and fstatus=1";
        addCaseRows<FindStatementCase>({
            {"nothing", "vPurFP", {}, {}, {}, {}, "select top 20000 * from vPurFP where 1=1  order by fdate,fbillno,finterid"},
            {"seek, main and host", "vPurFP", seek, main, " and fsupplyid=5", {},
             "select top 20000 * from vPurFP where 1=1  and ( fAmount >100) and fstatus=1 and fsupplyid=5 order by fdate,fbillno,finterid"},
            {"own order clause", "vPurFP", {}, main, {}, " order by fbillno desc",
             "select top 20000 * from vPurFP where 1=1  and fstatus=1 order by fbillno desc"},
            {"other view", "vOther", {}, {}, {}, buildOrderSQL(), "select top 20000 * from vOther where 1=1  order by fdate,fbillno,finterid"},
        });
    }

    void findStatement()
    {
        QFETCH(FindStatementCase, row);
        QCOMPARE(buildFindStatement(row.view, row.seek, row.main, row.findSql, row.order), row.expected);
    }
};

QTEST_GUILESS_MAIN(TestQuerySql)
#include "tst_querysql.moc"
