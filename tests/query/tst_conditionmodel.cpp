// The condition grid keeps its hidden columns in step with the visible
// caption and operator; the SQL is built from the hidden ones, so a column
// taken from the wrong list index silently queries the wrong field.
#include "platform/Clock.h"
#include "platform/Recordset.h"
#include "query/ConditionModel.h"
#include "query/QuerySql.h"
#include "support/QueryModuleHelpers.h"
#include "support/CaseRows.h"

#include <QTest>

namespace {
// A result of the catalogue statement: a.* of tblFindInfoentry2 and fItemType.
Recordset catalogueRows(int count, const QList<int> &emptyCaptions = {})
{
    const QStringList names{QStringLiteral("ftypeid"), QStringLiteral("fentryid"), QStringLiteral("fTitlename"), QStringLiteral("fFieldName"),
                            QStringLiteral("fNumType"), QStringLiteral("fItemclassid"), QStringLiteral("fNumberName"), QStringLiteral("fItemType")};
    std::vector<QVariant> cells;
    for (int i = 1; i <= count; ++i) {
        cells.push_back(71);
        cells.push_back(i);
        cells.push_back(emptyCaptions.contains(i) ? QVariant(QString()) : QVariant(QStringLiteral("字段%1").arg(i)));
        cells.push_back(QStringLiteral("f%1").arg(i));
        cells.push_back(i % 3 + 1);
        cells.push_back(i % 2 ? QVariant() : QVariant(i)); // null class: typed value
        cells.push_back(i % 2 ? QVariant() : QVariant(QStringLiteral("fnumber")));
        cells.push_back(i % 2 ? 0 : 1);
    }
    return Recordset(names, std::move(cells));
}

FieldCatalogue sample()
{
    FieldCatalogue c;
    c.addField(QStringLiteral("金额"), QStringLiteral("fAmount"), QStringLiteral("1"), QStringLiteral("0"), QString(), QStringLiteral("0"));
    c.addField(QString(), QStringLiteral("fHidden"), QStringLiteral("2"), QString(), QString(), QString()); // not offered
    c.addField(QStringLiteral("供应商"), QStringLiteral("fSupplier"), QStringLiteral("2"), QStringLiteral("4"), QStringLiteral("fnumber"), QStringLiteral("1"));
    c.addField(QStringLiteral("摘要"), QStringLiteral("fNote"), QStringLiteral("2"), QStringLiteral("0"), QString(), QStringLiteral("0"));
    c.addField(QStringLiteral("日期"), QStringLiteral("fdate"), QStringLiteral("3"), QString(), QString(), QStringLiteral("0"));
    c.addField(QStringLiteral("商品"), QStringLiteral("fItem"), QStringLiteral("2"), QStringLiteral("3"), QStringLiteral("fname"), QStringLiteral("0"));
    return c;
}

ConditionTable filledRow(int row)
{
    ConditionTable t;
    for (int c = 1; c <= ConditionTable::kColumns; ++c)
        t.setCell(row, c, QStringLiteral("old%1").arg(c));
    return t;
}
} // namespace

Q_DECLARE_METATYPE(ValueCell::Kind)

struct OperatorChoiceCase { const char *name; QString kind; int index; bool accepted; QString opName; QString symbol; };
Q_DECLARE_METATYPE(OperatorChoiceCase)

// expected: columns 2, 3, 4, 8, 9, 10
struct CaptionChoiceCase { const char *name; int listIndex; QStringList expected; ValueCell::Kind valueKind; QString value; QString operatorBefore; QString operatorAfter; QString symbol; };
Q_DECLARE_METATYPE(CaptionChoiceCase)

struct DateRangeVariantsCase { const char *name; int year; QStringList texts; QList<int> codes; int all; };
Q_DECLARE_METATYPE(DateRangeVariantsCase)

class TestConditionModel : public QObject {
    Q_OBJECT

private slots:
    void cleanup() { Clock::setToday(QDate()); }

    void catalogueFromRecordset_data()
    {
        QTest::addColumn<int>("rows");
        QTest::addColumn<int>("fields");
        QTest::newRow("none") << 0 << 0;
        QTest::newRow("three") << 3 << 3;
        QTest::newRow("exactly fifty") << 50 << 50;
        QTest::newRow("sixty keeps fifty") << 60 << 50;
    }

    void catalogueFromRecordset()
    {
        QFETCH(int, rows);
        QFETCH(int, fields);
        Recordset rs = catalogueRows(rows);
        FieldCatalogue c;
        c.fill(rs);

        QCOMPARE(c.fieldCount(), fields);
        QCOMPARE(c.value(FieldCatalogue::Caption, 0), QStringLiteral("无"));
        for (int column = FieldCatalogue::FieldName; column < FieldCatalogue::ColumnCount; ++column)
            QCOMPARE(c.value(FieldCatalogue::Column(column), 0), QString());

        const QStringList captions = c.list(FieldCatalogue::Caption);
        QCOMPARE(captions.size(), fields + 1);
        for (int i = 1; i <= fields; ++i) {
            QCOMPARE(captions[i], QStringLiteral("字段%1").arg(i));
            QCOMPARE(c.value(FieldCatalogue::FieldName, i), QStringLiteral("f%1").arg(i));
        }
        if (rows > FieldCatalogue::kMaxFields) {
            QVERIFY(!captions.contains(QStringLiteral("字段51")));
            // Rows beyond the fiftieth stay unread.
            QCOMPARE(rs.position(), FieldCatalogue::kMaxFields);
        }
        QCOMPARE(c.value(FieldCatalogue::Caption, FieldCatalogue::kSize), QString());
    }

    void catalogueListsSkipEmptyCaptionsAndRefill()
    {
        Recordset rs = catalogueRows(5, {2, 4});
        FieldCatalogue c;
        c.fill(rs);
        QCOMPARE(c.fieldCount(), 5);
        QCOMPARE(c.list(FieldCatalogue::Caption), (QStringList{QStringLiteral("无"), QStringLiteral("字段1"), QStringLiteral("字段3"), QStringLiteral("字段5")}));
        QCOMPARE(c.tabList(FieldCatalogue::FieldName), QStringLiteral("\tf1\tf3\tf5"));
        QCOMPARE(c.tabList(FieldCatalogue::NumType), QStringLiteral("\t2\t1\t3"));
        // The skipped entries keep their places in the arrays.
        QCOMPARE(c.value(FieldCatalogue::FieldName, 2), QStringLiteral("f2"));

        // A refill forgets the old fields; at most fifty fit.
        c = sample();
        rs = catalogueRows(2);
        c.fill(rs);
        QCOMPARE(c.fieldCount(), 2);
        QCOMPARE(c.value(FieldCatalogue::FieldName, 3), QString());
        QCOMPARE(c.list(FieldCatalogue::Caption).size(), 3);
        for (int i = 0; i < 48; ++i)
            QVERIFY(c.addField(QStringLiteral("x"), QString(), QString(), QString(), QString(), QString()));
        QVERIFY(!c.addField(QStringLiteral("too many"), QString(), QString(), QString(), QString(), QString()));
        QCOMPARE(c.fieldCount(), FieldCatalogue::kMaxFields);
    }

    void catalogueFromDatabase_data() { addEngineRows(); }
    void catalogueFromDatabase()
    {
        QFETCH(DbEngine, engine);
        DbEnv env(engine);
        env.db.exec(QStringLiteral("insert into tblItemclass(fitemclassid,fname,fItemType) values(3,'商品',0)"));
        env.db.exec(QStringLiteral("insert into tblItemclass(fitemclassid,fname,fItemType) values(4,'供应商',1)"));
        env.db.exec(QStringLiteral("insert into tblItemclass(fitemclassid,fname) values(5,'无类型')"));
        const QStringList rows{
            QStringLiteral("71,3,'商品','fItemNumber',2,3,'fnumber'"),
            QStringLiteral("71,1,'供应商','fSupplierNumber',2,4,'fnumber'"),
            QStringLiteral("71,2,'金额','fAmount',1,null,null"),
            QStringLiteral("71,4,'类别','fKind',2,5,null"),
            QStringLiteral("72,1,'别的单据','fOther',2,3,null"),
        };
        for (const QString &row : rows)
            env.db.exec(QStringLiteral("insert into tblFindInfoentry2(ftypeid,fentryid,fTitlename,fFieldName,fNumType,fItemclassid,fNumberName) values(") + row + u')');

        const std::optional<FieldCatalogue> c = loadFieldCatalogue(TestSession::session(), 71);
        QVERIFY(c.has_value());
        QCOMPARE(c->list(FieldCatalogue::Caption),
                 (QStringList{QStringLiteral("无"), QStringLiteral("供应商"), QStringLiteral("金额"), QStringLiteral("商品"), QStringLiteral("类别")}));
        QCOMPARE(c->tabList(FieldCatalogue::FieldName), QStringLiteral("\tfSupplierNumber\tfAmount\tfItemNumber\tfKind"));
        QCOMPARE(c->tabList(FieldCatalogue::NumType), QStringLiteral("\t2\t1\t2\t2"));
        QCOMPARE(c->tabList(FieldCatalogue::ItemClassId), QStringLiteral("\t4\t\t3\t5"));
        QCOMPARE(c->tabList(FieldCatalogue::NumberName), QStringLiteral("\tfnumber\t\tfnumber\t"));
        // The class's item type, 0 without a class or without a type.
        QCOMPARE(c->tabList(FieldCatalogue::ItemType), QStringLiteral("\t1\t0\t0\t0"));
        QVERIFY(env.ts.prompts().calls.empty());
    }

    void operatorChoice_data()
    {

        addCaseRows<OperatorChoiceCase>({
            {"number last", "1", 5, true, "不等于", "<>"},
            {"number past the end", "1", 6, false, QString(), QString()},
            {"text contains", "2", 1, true, "包含", "Like"},
            {"text not empty keeps its blanks", "2", 5, true, "不为空", " is not  null"},
            {"date equal", "3", 0, true, "等于", "="},
            {"date less or equal", "3", 5, true, "小于等于", "<="},
            {"negative index", "3", -1, false, QString(), QString()},
            {"no kind", QString(), 0, false, QString(), QString()},
            {"unknown kind", "4", 0, false, QString(), QString()},
        });
    }

    void operatorChoice()
    {
        QFETCH(OperatorChoiceCase, row);
        auto [caseName, kind, index, accepted, name, symbol] = row;

        QCOMPARE(operatorNames(kind.toInt()).size(), operatorSymbols(kind.toInt()).size());
        ConditionTable t;
        t.setCell(4, ConditionTable::ColKind, kind);
        t.setCell(4, ConditionTable::ColValue, QStringLiteral("v"));
        QCOMPARE(t.chooseOperator(4, index), accepted);
        QCOMPARE(t.cell(4, ConditionTable::ColOperator), name);
        QCOMPARE(t.cell(4, ConditionTable::ColSymbol), symbol);
        QCOMPARE(t.cell(4, ConditionTable::ColValue), QStringLiteral("v"));
    }

    void captionChoice_data()
    {

        // List index 2 is array index 3: the list skips the field without caption.
        // An operator the new field's kind has stays, with that kind's symbol;
        // any other is cleared with its symbol, so no row keeps an operator
        // without the symbol its statement needs.
        const QStringList number{"金额", "fAmount", "1", "0", QString(), "0"};
        const QStringList date{"日期", "fdate", "3", QString(), QString(), "0"};
        addCaseRows<CaptionChoiceCase>({
            {"number", 1, number, ValueCell::Number, QString(), "大于", "大于", ">"},
            {"number, stale operator", 1, number, ValueCell::Number, QString(), "old5", QString(), QString()},
            {"coded text", 2, QStringList{"供应商", "fSupplier", "2", "4", "fnumber", "1"}, ValueCell::CodedDropDown, QString(), "包含", "包含", "Like"},
            {"text with class 0", 3, QStringList{"摘要", "fNote", "2", "0", QString(), "0"}, ValueCell::Text, QString(), "old5", QString(), QString()},
            {"date keeps 等于", 4, date, ValueCell::Date, "2024-02-29", "等于", "等于", "="},
            {"date drops 包含", 4, date, ValueCell::Date, "2024-02-29", "包含", QString(), QString()},
            {"goods", 5, QStringList{"商品", "fItem", "2", "3", "fname", "0"}, ValueCell::CodedDropDown, QString(), "不为空", "不为空", " is not  null"},
        });
    }

    void captionChoice()
    {
        QFETCH(CaptionChoiceCase, row);
        auto [caseName, listIndex, expected, valueKind, value, operatorBefore, operatorAfter, symbol] = row;
        Clock::setToday(QDate(2024, 2, 29));

        for (int row : {1, 7, 10}) {
            ConditionTable t = filledRow(row);
            t.setCell(row, ConditionTable::ColOperator, operatorBefore);
            t.setCell(row == 1 ? 2 : row - 1, ConditionTable::ColValue, QStringLiteral("neighbour"));
            const ValueCell cell = t.chooseCaption(row, listIndex, sample());
            QCOMPARE(cell.kind, valueKind);
            QCOMPARE(cell.startDate, valueKind == ValueCell::Date ? QDate(2024, 2, 29) : QDate());
            const QList<int> columns{2, 3, 4, 8, 9, 10};
            for (int i = 0; i < columns.size(); ++i)
                QCOMPARE(t.cell(row, columns[i]), expected[i]);
            QCOMPARE(t.cell(row, ConditionTable::ColValue), value);
            QCOMPARE(t.cell(row, ConditionTable::ColOperator), operatorAfter);
            QCOMPARE(t.cell(row, ConditionTable::ColSymbol), symbol);
            // The connector stays as it was.
            QCOMPARE(t.cell(row, ConditionTable::ColConnector), QStringLiteral("old1"));
            QCOMPARE(t.cell(row == 1 ? 2 : row - 1, ConditionTable::ColValue), QStringLiteral("neighbour"));
        }
    }

    // Field changes never leave broken SQL; "无" and choices outside the
    // list or the grid.
    void captionChoiceEdges()
    {
        // The clerk picks 等于, then goes number → date and number → number →
        // date: each time the date row must still compare with its symbol.
        Clock::setToday(QDate(2024, 2, 29));
        for (const QList<int> &fields : {QList<int>{1, 4}, QList<int>{1, 1, 4}, QList<int>{4, 1, 4}}) {
            ConditionTable t = filledRow(1);
            t.setCell(1, ConditionTable::ColOperator, QStringLiteral("等于"));
            for (int field : fields)
                t.chooseCaption(1, field, sample());
            QCOMPARE(buildSeekSQL(t), QStringLiteral(" and ( fdate='2024-02-29'"));
        }

        // "无" empties the row but for its connector.
        ConditionTable t = filledRow(2);
        QCOMPARE(t.chooseCaption(2, 0, sample()).kind, ValueCell::None);
        QCOMPARE(t.rowTexts(2), (QStringList{"old1", "无", "", "", "", "", "", "", "", ""}));
        // A choice outside the list, or a row outside the grid, changes nothing.
        const ConditionTable before = filledRow(3);
        for (const auto &[row, index] : {std::pair{3, -1}, std::pair{3, 6}, std::pair{11, 1}}) {
            ConditionTable changed = before;
            QCOMPARE(changed.chooseCaption(row, index, sample()).kind, ValueCell::None);
            QCOMPARE(changed, before);
        }
    }

    void dateRangeVariants_data()
    {
        addCaseRows<DateRangeVariantsCase>({
            {"no accounting year", 0, QStringList{"今天", "本月", "今年", "全部"}, QList<int>{1, 2, 3, 10}, 3},
            {"with accounting year", 2024, QStringList{"今天", "本期", "本月", "今年", "全部"}, QList<int>{1, 20, 2, 3, 10}, 4},
        });
    }

    void dateRangeVariants()
    {
        QFETCH(DateRangeVariantsCase, row);
        auto [caseName, year, texts, codes, all] = row;

        const bool withPeriod = FixedFilters::offersPeriod(year);
        const QList<FilterItem> items = FixedFilters::items(FixedFilters::DateRange, withPeriod);
        QStringList gotTexts;
        QList<int> gotCodes;
        for (const FilterItem &item : items) {
            gotTexts << item.text;
            gotCodes << item.code;
        }
        QCOMPARE(gotTexts, texts);
        QCOMPARE(gotCodes, codes);
        QCOMPARE(FixedFilters::allIndex(FixedFilters::DateRange, withPeriod), all);
        // A stored index from the other variant or out of range falls back to "全部".
        QCOMPARE(FixedFilters::validIndex(FixedFilters::DateRange, all, withPeriod), all);
        QCOMPARE(FixedFilters::validIndex(FixedFilters::DateRange, all + 1, withPeriod), all);
        QCOMPARE(FixedFilters::validIndex(FixedFilters::DateRange, -1, withPeriod), all);
        QCOMPARE(FixedFilters::validIndex(FixedFilters::DateRange, 1, withPeriod), 1);
        QCOMPARE(FixedFilters::codeAt(FixedFilters::DateRange, 1, withPeriod), codes[1]);
        QCOMPARE(FixedFilters::codeAt(FixedFilters::DateRange, all + 1, withPeriod), FixedFilters::kNoSelection);

        using namespace FixedFilters;
        // Red is code 1 though it comes first; blue is 0.
        QCOMPARE(codeAt(RedBlue, 0, false), 1);
        QCOMPARE(codeAt(RedBlue, 1, true), 0);
        QCOMPARE(codeAt(RedBlue, -1, false), kNoSelection);
        QVERIFY(FixedFilters::items(5, true).isEmpty());
    }

    void lastUsedRowAndClear()
    {
        ConditionTable t;
        QCOMPARE(t.lastUsedRow(), 0);
        QVERIFY(t.isEmpty());
        // A hidden column counts as text as much as a visible one.
        t.setCell(7, ConditionTable::ColItemType, QStringLiteral("0"));
        t.setCell(2, ConditionTable::ColCaption, QStringLiteral("金额"));
        QCOMPARE(t.lastUsedRow(), 7);
        t.setCell(10, 1, QStringLiteral(" "));
        QCOMPARE(t.lastUsedRow(), 10);
        // Cells outside the grid are ignored.
        t.setCell(11, 1, QStringLiteral("x"));
        t.setCell(1, 11, QStringLiteral("x"));
        t.setCell(0, 1, QStringLiteral("x"));
        QCOMPARE(t.cell(11, 1), QString());
        QCOMPARE(t.cell(1, 11), QString());
        QCOMPARE(t.lastUsedRow(), 10);
        t.clear();
        QVERIFY(t.isEmpty());
        QCOMPARE(t, ConditionTable());
    }
};

QTEST_GUILESS_MAIN(TestConditionModel)
#include "tst_conditionmodel.moc"
