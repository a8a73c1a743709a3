// The builders' statements byte for byte: the pieces are pasted together as text.
#include "platform/Clock.h"
#include "platform/VbConvert.h"
#include "query/QuerySql.h"
#include "support/QuerySqlSamples.h"

#include <QSet>
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

class TestQuerySql : public QObject {
    Q_OBJECT

private slots:
    void cleanup() { Clock::setToday(QDate()); }

    void seekSql_data();
    void seekSql();
    void seekSqlRefusesValues_data();
    void seekSqlRefusesValues();
    void seekSqlRejectsKindThatIsNoNumber_data();
    void seekSqlRejectsKindThatIsNoNumber();

    void simplePage_data();
    void simplePage();
    void simplePageTagWithoutColumn();

    void mainSql_data();
    void mainSql();

    void findStatement_data();
    void findStatement();

    void samplesCoverEveryCodeAndOperator();
};

void TestQuerySql::seekSql_data()
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

void TestQuerySql::seekSql()
{
    QFETCH(ConditionTable, grid);
    QFETCH(QString, expected);
    QCOMPARE(buildSeekSQL(grid), expected);
}

void TestQuerySql::seekSqlRefusesValues_data()
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

void TestQuerySql::seekSqlRefusesValues()
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

void TestQuerySql::seekSqlRejectsKindThatIsNoNumber_data()
{
    QTest::addColumn<QString>("kind");
    QTest::newRow("empty") << QString();
    QTest::newRow("text") << "数";
}

void TestQuerySql::seekSqlRejectsKindThatIsNoNumber()
{
    QFETCH(QString, kind);
    const ConditionTable counting = Grid().row(1, QString(), QStringLiteral("无"), QString(), kind, QStringLiteral("等于"), QString(), QString());
    QVERIFY_THROWS_EXCEPTION(ConversionError, buildSeekSQL(counting));
    // Without an operator the row is left out before its kind is read.
    const ConditionTable skipped = Grid().row(1, QString(), QStringLiteral("无"), QString(), kind, QString(), QString(), QString());
    QCOMPARE(buildSeekSQL(skipped), QString());
}

void TestQuerySql::simplePage_data()
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

void TestQuerySql::simplePage()
{
    QFETCH(QStringList, texts);
    QFETCH(QStringList, tags);
    QFETCH(QString, expected);
    TextBoxes boxes;
    for (int i = 0; i < texts.size(); ++i)
        boxes.append({texts[i], tags[i]});
    QCOMPARE(buildSeekSQLB(QDate(2024, 2, 5), QDate(2024, 3, 15), boxes), expected);
}

void TestQuerySql::simplePageTagWithoutColumn()
{
    // An empty box is never split, so its tag does not matter.
    QCOMPARE(buildSeekSQLB(QDate(2024, 1, 1), QDate(2024, 1, 2), {{QString(), QStringLiteral("x")}}),
             QStringLiteral(" and ( fdate>='2024-01-01'   and fdate<='2024-01-02' "));
    QVERIFY_THROWS_EXCEPTION(ConversionError, buildSeekSQLB(QDate(2024, 1, 1), QDate(2024, 1, 2), {{QStringLiteral("a"), QStringLiteral("0,fbillno")}}));
}

void TestQuerySql::mainSql_data()
{
    // Codes in list order PC 0..4: matching, date range, audit, cancellation, red or blue.
    QTest::addColumn<QList<int>>("codes");
    QTest::addColumn<int>("year");
    QTest::addColumn<int>("period");
    QTest::addColumn<QDate>("today");
    QTest::addColumn<QString>("expected");

    const QDate today(2025, 11, 2);
    const QList<int> all{10, 10, 10, 10, 10};
    auto with = [&](int list, int code) {
        QList<int> codes = all;
        codes[list] = code;
        return codes;
    };

    QTest::newRow("all 全部") << all << 2024 << 3 << today << QString();
    QTest::newRow("nothing selected") << QList<int>{-1, -1, -1, -1, -1} << 2024 << 3 << today << QString();

    QTest::newRow("today") << with(1, 1) << 2024 << 3 << today << " and fdate>='2025-11-02' and fdate<'2025-11-03'";
    QTest::newRow("this month") << with(1, 2) << 2024 << 3 << today << " and fdate>='2025-11-01' and fdate<'2025-12-01'";
    QTest::newRow("this year") << with(1, 3) << 2024 << 3 << today << " and fdate>='2025-01-01' and fdate<'2026-01-01'";
    // Ranges that end in the next month or year.
    QTest::newRow("today at a month's end") << with(1, 1) << 2024 << 3 << QDate(2023, 1, 31)
                                            << " and fdate>='2023-01-31' and fdate<'2023-02-01'";
    QTest::newRow("today, new year's eve") << with(1, 1) << 2024 << 3 << QDate(2025, 12, 31)
                                           << " and fdate>='2025-12-31' and fdate<'2026-01-01'";
    QTest::newRow("this month, December") << with(1, 2) << 2024 << 3 << QDate(2025, 12, 31)
                                          << " and fdate>='2025-12-01' and fdate<'2026-01-01'";
    QTest::newRow("this month, leap February") << with(1, 2) << 2024 << 3 << QDate(2024, 2, 29)
                                               << " and fdate>='2024-02-01' and fdate<'2024-03-01'";
    QTest::newRow("period uses the session, not today") << with(1, 20) << 2024 << 3 << today << " and fYear=2024 and fperiod=3";
    QTest::newRow("period 12") << with(1, 20) << 2019 << 12 << today << " and fYear=2019 and fperiod=12";
    QTest::newRow("date range code 0") << with(1, 0) << 2024 << 3 << today << QString();

    QTest::newRow("audited") << with(2, 1) << 2024 << 3 << today << " and fstatus=1";
    QTest::newRow("not audited") << with(2, 2) << 2024 << 3 << today << " and fstatus=0";
    QTest::newRow("void") << with(3, 1) << 2024 << 3 << today << " and fcancellation=1";
    QTest::newRow("normal") << with(3, 2) << 2024 << 3 << today << " and fcancellation=0";
    QTest::newRow("red") << with(4, 1) << 2024 << 3 << today << " and frob=1";
    QTest::newRow("blue") << with(4, 0) << 2024 << 3 << today << " and frob=0";
    QTest::newRow("unmatched") << with(0, 0) << 2024 << 3 << today << " and isnull(fEndAmount,0)=0 ";
    QTest::newRow("partly matched") << with(0, 1) << 2024 << 3 << today
                                    << " and isnull(fEndAmount,0)<>0 and abs(isnull(fAmount,0))>abs(isnull(fEndAmount,0))";
    QTest::newRow("fully matched") << with(0, 2) << 2024 << 3 << today
                                   << " and    abs(isnull(fAmount,0))<=abs(isnull(fEndAmount,0)) ";

    QTest::newRow("every list, matching last")
        << QList<int>{0, 20, 2, 2, 0} << 2024 << 3 << today
        << " and fYear=2024 and fperiod=3 and fstatus=0 and fcancellation=0 and frob=0 and isnull(fEndAmount,0)=0 ";
}

void TestQuerySql::mainSql()
{
    QFETCH(QList<int>, codes);
    QFETCH(int, year);
    QFETCH(int, period);
    QFETCH(QDate, today);
    QFETCH(QString, expected);
    Clock::setToday(today);
    QCOMPARE(buildMainSQL(codesOf(codes), year, period), expected);
}

void TestQuerySql::findStatement_data()
{
    QTest::addColumn<QString>("view");
    QTest::addColumn<QString>("seek");
    QTest::addColumn<QString>("main");
    QTest::addColumn<QString>("findSql");
    QTest::addColumn<QString>("order");
    QTest::addColumn<QString>("expected");

    const QString view = "vPurFP";
    const QString seek = " and ( fAmount >100";
    const QString main = " and fstatus=1";
    const QString host = " and fsupplyid=5";

    QTest::newRow("nothing") << view << QString() << QString() << QString() << QString()
                             << "select top 20000 * from vPurFP where 1=1  order by fdate,fbillno,finterid";
    QTest::newRow("seek, main and host")
        << view << seek << main << host << QString()
        << "select top 20000 * from vPurFP where 1=1  and ( fAmount >100) and fstatus=1 and fsupplyid=5 order by fdate,fbillno,finterid";
    QTest::newRow("own order clause") << view << QString() << main << QString() << " order by fbillno desc"
                                      << "select top 20000 * from vPurFP where 1=1  and fstatus=1 order by fbillno desc";
    QTest::newRow("other view") << "vOther" << QString() << QString() << QString() << buildOrderSQL()
                                << "select top 20000 * from vOther where 1=1  order by fdate,fbillno,finterid";
}

void TestQuerySql::findStatement()
{
    QFETCH(QString, view);
    QFETCH(QString, seek);
    QFETCH(QString, main);
    QFETCH(QString, findSql);
    QFETCH(QString, order);
    QFETCH(QString, expected);
    QCOMPARE(buildFindStatement(view, seek, main, findSql, order), expected);
}

void TestQuerySql::samplesCoverEveryCodeAndOperator()
{
    // The statements run against the schema elsewhere are only as good as
    // this coverage: every fragment the builders know must appear.
    QSet<QString> mainFragments;
    for (const auto &sample : QuerySqlSamples::filterCodes())
        mainFragments.insert(buildMainSQL(sample.value, 2024, 3));
    // "" (全部), 3 matching, 4 date range, 2 each for audit, cancellation and
    // red or blue, and all lists set at once.
    QCOMPARE(mainFragments.size(), 1 + 3 + 4 + 2 + 2 + 2 + 1);

    QSet<QString> seekTails;
    int operators = 0;
    for (int kind = 1; kind <= 3; ++kind)
        operators += int(operatorNames(kind).size());
    for (const auto &sample : QuerySqlSamples::conditionTables()) {
        const QString seek = buildSeekSQL(sample.value);
        QVERIFY2(seek.isEmpty() || seek.startsWith(QStringLiteral(" and ( ")), qPrintable(sample.name));
        if (sample.value.lastUsedRow() == 1)
            seekTails.insert(sample.value.cell(1, ConditionTable::ColKind) + sample.value.cell(1, ConditionTable::ColOperator));
    }
    QCOMPARE(seekTails.size(), operators);

    const auto statements = QuerySqlSamples::findStatements(QStringLiteral("vPurFP"), QStringLiteral(" and finterid>0"), 2024, 3);
    QSet<QString> names;
    for (const auto &statement : statements) {
        QVERIFY(statement.value.startsWith(QStringLiteral("select top 20000 * from vPurFP where 1=1 ")));
        QCOMPARE(statement.value.count(u'('), statement.value.count(u')'));
        names.insert(statement.name);
    }
    QCOMPARE(names.size(), statements.size());
}

QTEST_GUILESS_MAIN(TestQuerySql)
#include "tst_querysql.moc"
