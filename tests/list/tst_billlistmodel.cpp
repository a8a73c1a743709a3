// The bill list's model: columns per user, formatting, exact totals, the row
// cap, state colours and the title line.
#include "list/BillListModel.h"
#include "list/ListCommands.h"

#include "modules/Session.h"
#include "platform/Amount.h"
#include "query/QuerySql.h"
#include "support/CaseRows.h"
#include "support/TestSession.h"

#include <QColor>
#include <QFont>
#include <QTest>

namespace {
ListColumn column(const char *field, const char *title, int align = 0, const char *format = "", bool merge = false, bool sum = false)
{
    return {QString::fromLatin1(field), QString::fromUtf8(title), align, QString::fromLatin1(format), merge, sum};
}

QStringList fieldsOf(const QList<ListColumn> &columns)
{
    QStringList fields;
    for (const ListColumn &c : columns)
        fields << c.field;
    return fields;
}

// Fills the model from a statement on an empty database: the two leading
// columns every list has, then the given ones.
void fillFrom(BillListModel &model, DbEngine engine, const QString &sql, const QList<ListColumn> &more = {})
{
    TestDatabase db(engine, TestDatabase::Content::Empty);
    model.setColumns(QList<ListColumn>{column("finterid", "内码"), column("fbillno", "单据编号")} + more);
    model.fill(db.conn(), sql);
}

void insertBill(TestDatabase &db, int id, const QString &amount, const QString &endAmount, int status = 0, int cancelled = 0,
                int red = 0)
{
    db.exec(QStringLiteral("insert into tblFP(finterid,fbillno,fstatus,fcancellation,frob,fdate,fAmount,fEndAmount) "
                           "values(%1,'CG%1',%2,%3,%4,'2024-03-%5',%6,%7)")
                .arg(id)
                .arg(status)
                .arg(cancelled)
                .arg(red)
                .arg(10 + id % 10)
                .arg(amount, endAmount));
}
} // namespace

// A value under a list format and its text.
struct FormatCase { const char *name; QVariant value; QString format, expected; };
Q_DECLARE_METATYPE(FormatCase)
// Bills, rows and seconds of a fill, and the title line.
struct TitleCase { const char *name; int bills, rows; double seconds; QString expected; };
Q_DECLARE_METATYPE(TitleCase)

class TestBillListModel : public QObject {
    Q_OBJECT

private slots:
    void formatValue_data()
    {
        addCaseRows<FormatCase>({
            {"thousands", 1234.5, "#,##0.00", "1,234.50"},
            {"millions from exact text", QStringLiteral("1234567.125"), "#,##0.00", "1,234,567.13"},
            {"half away from zero, negative", QStringLiteral("-0.005"), "#,##0.00", "-0.01"},
            {"tiny negative rounds to zero", -0.004, "#,##0.00", "0.00"},
            {"no grouping", 1234567.0, "0.00", "1234567.00"},
            {"whole number format", 1234.5, "#,##0", "1,235"},
            {"more places than kept", 12.3456789, "0.000000", "12.345700"},
            {"optional places", 0.5, "#.##", ".5"},
            {"prefix and suffix", 5, "¥#,##0.00元", "¥5.00元"},
            {"exact text with engine zeros", QStringLiteral("12.5000"), "#,##0.00", "12.50"},
            {"text under a number format", QStringLiteral("abc"), "#,##0.00", "abc"},
            {"null", QVariant(), "#,##0.00", ""},
            {"date text, lower-case month", QStringLiteral("2024-03-05"), "yyyy-mm-dd", "2024-03-05"},
            {"date in words", QStringLiteral("2024-03-05"), "yyyy年m月d日", "2024年3月5日"},
            {"not a date", QStringLiteral("unknown"), "yyyy-MM-dd", "unknown"},
            {"plain double is exact", 33.33, "", "33.33"},
            {"plain sum drift hidden", 0.1 + 0.2, "", "0.3"},
            {"plain code keeps zeros", QStringLiteral("0012"), "", "0012"},
        });
    }

    void formatValue()
    {
        QFETCH(FormatCase, row);
        QCOMPARE(formatListValue(row.value, row.format), row.expected);
    }

    void titleLine_data()
    {
        addCaseRows<TitleCase>({
            {"third decimal is always 0", 3, 5, 0.1234, "共计:3张单据,5条信息(取数时间0.120秒)"},
            {"rounds up", 20000, 20000, 12.345678, "共计:20000张单据,20000条信息(取数时间12.350秒)"},
            {"leading digit", 1, 2, 0.996, "共计:1张单据,2条信息(取数时间1.000秒)"},
            {"nothing found", 0, 0, 0.0, "共计:0张单据,0条信息(取数时间0.000秒)"},
        });
    }

    void titleLine()
    {
        QFETCH(TitleCase, row);
        QCOMPARE(listTitleLine(row.bills, row.rows, row.seconds), row.expected);
    }

    void listColumns_data() { addEngineRows(); }
    void listColumns()
    {
        QFETCH(DbEngine, engine);
        TestDatabase db(engine, TestDatabase::Content::Demo);
        // The demo list names finterid and fbillno first, as a configured list does.
        const QStringList configured{"finterid", "fbillno", "fdate", "fSupplyIdName", "fDeptIdName", "fInvoiceNo",
                                     "fAmount", "fEndAmount", "fNoHXAmount", "fOperatorName", "fCheckerName", "fNote"};
        QList<ListColumn> columns = readListColumns(db.conn(), 71, QStringLiteral("1"), true);
        QCOMPARE(fieldsOf(columns), configured);
        QCOMPARE(columns[6], column("fAmount", "发票金额", 2, "#,##0.00", false, true));
        QVERIFY(columns[3].merge);

        const char *hidden[] = {
            "2,'fDeptIdName',3,71",   // hidden from the clerk
            "2,'FNOTE',3,71",         // names compare without regard to case
            "2,'fInvoiceNo',1,71",    // an editor field: not the list's business
            "3,'fAmount',3,71",       // another user
            "2,'fSupplyIdName',3,72", // another bill type
            "2,'fbillno',3,71",       // the leading columns stay
        };
        for (const char *r : hidden)
            db.exec(QStringLiteral("insert into tblUserVisible(fUserid,fFieldName,ftype,fbilltypeid) values(%1)").arg(QString::fromLatin1(r)));
        QCOMPARE(fieldsOf(readListColumns(db.conn(), 71, QStringLiteral("2"), false)),
                 (QStringList{"finterid", "fbillno", "fdate", "fSupplyIdName", "fInvoiceNo", "fAmount", "fEndAmount",
                              "fNoHXAmount", "fOperatorName", "fCheckerName"}));
        // An administrator sees every field whatever the table says.
        QCOMPARE(readListColumns(db.conn(), 71, QStringLiteral("2"), true).size(), 12);
        QCOMPARE(readListColumns(db.conn(), 71, QStringLiteral("3"), false).size(), 11);

        // A list that names the leading columns late, or not at all, still leads with them.
        db.exec(QStringLiteral("delete from tblFindInfoEntry where ftypeid=71 and fFieldname='finterid'"));
        db.exec(QStringLiteral("update tblFindInfoEntry set fentryid=99 where ftypeid=71 and fFieldname='fbillno'"));
        columns = readListColumns(db.conn(), 71, QStringLiteral("1"), true);
        QCOMPARE(columns.size(), configured.size());
        QCOMPARE(columns[0].field, QStringLiteral("finterid"));
        QCOMPARE(columns[1], column("fbillno", "单据编号", 0));
        QCOMPARE(columns[2].field, QStringLiteral("fdate"));
    }

    // The session's fill, for a clerk who does not see the note: every kept
    // value is the statement's, read column by column from the engine (nulls,
    // empty texts, whole numbers, decimals and dates), the totals exact.
    void fillMatchesTheView_data() { addEngineRows(); }
    void fillMatchesTheView()
    {
        QFETCH(DbEngine, engine);
        TestSession ts;
        TestDatabase db(engine, TestDatabase::Content::Demo);
        Session &s = TestSession::session();
        s.DBConnectionString = db.connectionString();
        s.gLoginUserId = QStringLiteral("2");
        s.IsAdmin = 0;
        s.msgTitle = QStringLiteral("测试");
        db.exec(QStringLiteral("insert into tblUserVisible(fUserid,fFieldName,ftype,fbilltypeid) values(2,'fNote',3,71)"));
        BillListModel model;
        const QString statement = buildFindStatement(s.gViewName, QString(), QString(), QString(), QString());
        QVERIFY(!fillBillList(s, model, statement).has_value());
        QVERIFY(!fieldsOf(model.columns()).contains(QStringLiteral("fNote")));
        QVERIFY(!s.gConn); // closed after the work
        QVERIFY(ts.prompts().calls.empty());

        Recordset rs = db.conn().openRecordset(statement);
        QCOMPARE(model.rowCount(), rs.recordCount() + 1);
        QCOMPARE(model.billCount(), rs.recordCount());
        const int amountColumn = int(fieldsOf(model.columns()).indexOf(QStringLiteral("fAmount")));
        Amount sums[3];
        for (int r = 0; !rs.eof(); rs.moveNext(), ++r) {
            for (int c = 0; c < model.columnCount(); ++c)
                QCOMPARE(Recordset::variantText(model.cellValue(r, c)), rs.text(model.columns()[c].field));
            QCOMPARE(model.cellText(r, 2), rs.date(QStringLiteral("fdate")).toString(QStringLiteral("yyyy-MM-dd")));
            for (int k = 0; k < 3; ++k) {
                const QString field = model.columns()[amountColumn + k].field;
                sums[k] += rs.amount(field);
                QCOMPARE(model.cellText(r, amountColumn + k), rs.isNull(field) ? QString() : formatListValue(rs.amount(field).toString(), QStringLiteral("#,##0.00")));
            }
            const BillListModel::RowState state = model.rowState(r);
            QCOMPARE(state.audited, rs.toInt(QStringLiteral("fstatus")) == 1);
            QCOMPARE(state.isVoid, rs.toInt(QStringLiteral("fcancellation")) == 1);
            QCOMPARE(state.red, rs.toInt(QStringLiteral("frob")) == 1);
        }
        const int totals = model.dataRowCount();
        QVERIFY(model.isTotalsRow(totals));
        QCOMPARE(model.cellText(totals, 0), QStringLiteral("合计"));
        QCOMPARE(model.cellText(totals, 3), QString());
        for (int k = 0; k < 3; ++k)
            QCOMPARE(model.total(amountColumn + k), sums[k]);
        QCOMPARE(model.data(model.index(0, amountColumn), Qt::TextAlignmentRole).value<Qt::Alignment>(), Qt::AlignRight | Qt::AlignVCenter);

        // A refused statement gives the engine's error and keeps the rows shown.
        const int rows = model.rowCount();
        const std::optional<ListMessage> error = fillBillList(s, model, QStringLiteral("select top 20000 * from vNoSuchView where 1=1 "));
        QVERIFY(error && !error->text.isEmpty());
        QCOMPARE(error->icon, int(Prompt::Critical));
        QCOMPARE(model.rowCount(), rows);
        QVERIFY(model.isFilled());
        QVERIFY(ts.prompts().calls.empty());
        QVERIFY(!s.gConn);

        s.DBConnectionString = QStringLiteral("Driver=SQLite;Database=") + ts.folder() + QStringLiteral("/missing/none.db");
        // A database that cannot be opened is an error too.
        QVERIFY(fillBillList(s, model, QStringLiteral("select top 20000 * from vPurFP where 1=1 ")).has_value());
    }

    void totalsAreExact_data() { addEngineRows(); }
    void totalsAreExact()
    {
        QFETCH(DbEngine, engine);
        TestDatabase db(engine);
        // Each 0.005 shows as 0.01; the total of three is 0.015, shown 0.02, not
        // the 0.03 that adding the shown texts would give. 0.1 + 0.2 and the
        // thirds must come out exact too; a null matched amount counts as 0.
        insertBill(db, 1, QStringLiteral("0.005"), QStringLiteral("0.1"));
        insertBill(db, 2, QStringLiteral("0.005"), QStringLiteral("0.2"));
        insertBill(db, 3, QStringLiteral("0.005"), QStringLiteral("null"));
        insertBill(db, 4, QStringLiteral("33.33"), QStringLiteral("33.3333"));
        insertBill(db, 5, QStringLiteral("33.33"), QStringLiteral("33.3333"));
        insertBill(db, 6, QStringLiteral("33.34"), QStringLiteral("33.3334"));
        insertBill(db, 7, QStringLiteral("-1234567.8912"), QStringLiteral("0"));

        BillListModel model;
        model.setColumns({column("finterid", "内码"), column("fbillno", "单据编号"), column("fAmount", "金额", 2, "#,##0.00", false, true),
                          column("fEndAmount", "已钩稽", 2, "#,##0.00", false, true), column("fNoHXAmount", "未钩稽", 2, "", false, true),
                          column("fNote", "备注")});
        model.fill(db.conn(), buildFindStatement(QStringLiteral("vPurFP"), QString(), QString(), QString(), QString()));
        QCOMPARE(model.dataRowCount(), 7);
        const int totals = 7;
        QCOMPARE(model.total(2), Amount::parse(QStringLiteral("-1234467.8762")).value());
        QCOMPARE(model.total(3), Amount::parse(QStringLiteral("100.3")).value());
        QCOMPARE(model.total(4), Amount::parse(QStringLiteral("-1234568.1762")).value());
        QCOMPARE(model.cellText(totals, 2), QStringLiteral("-1,234,467.88"));
        QCOMPARE(model.cellText(totals, 3), QStringLiteral("100.30"));
        // Without a format the total is the exact number.
        QCOMPARE(model.cellText(totals, 4), QStringLiteral("-1234568.1762"));
        QCOMPARE(model.cellText(totals, 5), QString());
        QCOMPARE(model.cellText(0, 2), QStringLiteral("0.01"));
        QCOMPARE(model.cellText(0, 4), QStringLiteral("-0.095"));
    }

    void capAt20000Rows_data() { addEngineRows(); }
    void capAt20000Rows()
    {
        QFETCH(DbEngine, engine);
        BillListModel model;
        fillFrom(model, engine,
                 QStringLiteral("with recursive n(i) as (select 1 union all select i+1 from n where i<20005) "
                                "select i as finterid, 'B' || i as fbillno, 1.5 as famount from n order by i"),
                 {column("famount", "金额", 2, "#,##0.00", false, true)});
        QCOMPARE(model.dataRowCount(), BillListModel::kMaxRows);
        QCOMPARE(model.billCount(), BillListModel::kMaxRows);
        QCOMPARE(model.rowCount(), BillListModel::kMaxRows + 1);
        QCOMPARE(model.interIdText(BillListModel::kMaxRows - 1), QStringLiteral("20000"));
        QCOMPARE(model.cellText(BillListModel::kMaxRows - 1, 1), QStringLiteral("B20000"));
        QCOMPARE(model.cellText(BillListModel::kMaxRows, 2), QStringLiteral("30,000.00"));
    }

    // Row states and their colours; a column with the merge flag shows equal
    // neighbouring cells as one, and holds every value.
    void rowStatesColoursAndMerging_data() { addEngineRows(); }
    void rowStatesColoursAndMerging()
    {
        QFETCH(DbEngine, engine);
        BillListModel model;
        fillFrom(model, engine,
                 QStringLiteral("select 1 as finterid, 'A' as fbillno, 1 as fstatus, 0 as fcancellation, 0 as frob, 'X' as fname, 'n' as fnote "
                                "union all select 1, 'A', 0, 1, 0, 'X', 'n' union all select 3, 'C', 0, 0, 1, 'Y', 'n' "
                                "union all select 1, 'A', 0, -1, 1, 'X', 'n' union all select 5, 'E', 0, 0, 0, 'X', 'n'"),
                 {column("fname", "供应商", 0, "", true), column("fnote", "备注")});
        // audited|void|red per row
        QStringList states, shown, held, notes;
        for (int r = 0; r < 5; ++r) {
            const BillListModel::RowState s = model.rowState(r);
            states << QStringLiteral("%1%2%3").arg(int(s.audited)).arg(int(s.isVoid)).arg(int(s.red));
            shown << model.data(model.index(r, 2)).toString();
            held << model.cellText(r, 2);
            notes << model.data(model.index(r, 3)).toString();
        }
        QCOMPARE(states, (QStringList{"100", "010", "001", "011", "000"}));
        auto background = [&](int r) { return model.data(model.index(r, 1), Qt::BackgroundRole).value<QColor>(); };
        auto foreground = [&](int r) { return model.data(model.index(r, 1), Qt::ForegroundRole); };
        QCOMPARE(background(0), BillListModel::kAuditedBackground);
        QCOMPARE(background(4), BillListModel::kOpenBackground);
        QCOMPARE(background(5), BillListModel::kTotalsBackground);
        QVERIFY(!foreground(0).isValid());
        QCOMPARE(foreground(1).value<QColor>(), BillListModel::kVoidForeground);
        QCOMPARE(foreground(2).value<QColor>(), BillListModel::kRedForeground);
        // A void red bill shows as void.
        QCOMPARE(foreground(3).value<QColor>(), BillListModel::kVoidForeground);
        QVERIFY(model.data(model.index(1, 1), Qt::FontRole).value<QFont>().strikeOut());
        QVERIFY(model.data(model.index(5, 0), Qt::FontRole).value<QFont>().bold());

        QCOMPARE(shown, (QStringList{"X", "", "Y", "X", ""}));
        QCOMPARE(held, (QStringList{"X", "X", "Y", "X", "X"}));
        // Columns without the flag never merge.
        QCOMPARE(notes, (QStringList{"n", "n", "n", "n", "n"}));
        QCOMPARE(model.data(model.index(1, 2), Qt::ToolTipRole).toString(), QStringLiteral("X"));
        // One row per bill line: a bill on several lines, apart or not, counts once.
        QCOMPARE(model.billCount(), 3);
    }
};

QTEST_MAIN(TestBillListModel)
#include "tst_billlistmodel.moc"
