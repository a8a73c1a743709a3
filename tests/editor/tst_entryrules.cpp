#include "editor/EditorState.h"
#include "editor/EntryRules.h"
#include "editor/EntryTotalsModel.h"

#include <QTest>

// The pre-save check of the invoice's entries, over plain header labels and
// grid rows. Rows are written "total|open|this" (columns 3, 5 and 6).
class TestEntryRules : public QObject {
    Q_OBJECT

    static std::vector<EntryRow> rowsFrom(const QStringList &rowTexts)
    {
        std::vector<EntryRow> rows;
        for (const QString &rowText : rowTexts) {
            const QStringList parts = rowText.split(u'|');
            EntryRow row;
            row.setStockId(qint64(rows.size() + 100));
            row.setCell(ColAllAmount, parts.value(0));
            row.setCell(ColOpenAmount, parts.value(1));
            row.setCell(ColThisAmount, parts.value(2));
            rows.push_back(row);
        }
        return rows;
    }

    static std::vector<HeaderLabel> supplierAndNote(const QString &supplier, const QString &invoiceNo)
    {
        return {{QStringLiteral("供应商"), true, supplier},
                {QStringLiteral("发票号码"), true, invoiceNo},
                {QStringLiteral("备注"), false, QString()}};
    }

private slots:
    void check_data()
    {
        QTest::addColumn<QString>("supplier");
        QTest::addColumn<QString>("invoiceNo");
        QTest::addColumn<QString>("total");
        QTest::addColumn<QStringList>("rows");
        QTest::addColumn<QString>("message"); // empty: passes
        QTest::addColumn<bool>("focusAmount");

        const QString ok = QStringLiteral("04.001");
        const QString no = QStringLiteral("FP-1");
        // Header and total.
        QTest::newRow("first required label wins") << "" << "" << "100" << QStringList{} << "供应商不能为空" << false;
        QTest::newRow("second required label") << ok << "  " << "100" << QStringList{} << "发票号码不能为空" << false;
        QTest::newRow("labels before total") << "" << no << "" << QStringList{} << "供应商不能为空" << false;
        QTest::newRow("total empty") << ok << no << "   " << QStringList{} << "请录入金额！" << true;
        QTest::newRow("total not a number") << ok << no << "12a" << QStringList{} << "金额必须录入数字！" << true;
        QTest::newRow("total before rows") << ok << no << "x" << QStringList{"100|100|500"} << "金额必须录入数字！" << true;
        QTest::newRow("empty grid passes") << ok << no << "0" << QStringList{} << "" << false;
        QTest::newRow("thousands separators") << ok << no << "1,000.50" << QStringList{"2000|2000|1000.5"} << "" << false;

        // Rule 4a: within the open amount, by absolute value.
        QTest::newRow("exactly the open amount") << ok << no << "300" << QStringList{"300|300|300"} << "" << false;
        QTest::newRow("row 3 beyond open amount") << ok << no << "1000"
                                                  << QStringList{"100|100|10", "100|100|10", "100|50|50.0001"}
                                                  << "第3行本次开票金额不能超出应开总额！" << false;
        QTest::newRow("red row beyond open") << ok << no << "-500" << QStringList{"-300|-200|-200.01"}
                                             << "第1行本次开票金额不能超出应开总额！" << false;
        QTest::newRow("empty open counts as 0") << ok << no << "10" << QStringList{"100||5"} << "第1行本次开票金额不能超出应开总额！" << false;
        QTest::newRow("4a before 4b") << ok << no << "1000" << QStringList{"-100|-50|60"} << "第1行本次开票金额不能超出应开总额！" << false;

        // Rule 4b: the sign of the stock bill.
        QTest::newRow("blue row negative amount") << ok << no << "100" << QStringList{"200|200|-50"}
                                                  << "第1行开票金额与总金额必须方向一致！" << false;
        QTest::newRow("red row positive amount") << ok << no << "100" << QStringList{"50|50|10", "-200|-200|50"}
                                                 << "第2行开票金额与总金额必须方向一致！" << false;
        QTest::newRow("red row negative amount") << ok << no << "-100" << QStringList{"-200|-200|-100"} << "" << false;
        QTest::newRow("zero on a red row") << ok << no << "100" << QStringList{"-200|-200|0"} << "" << false;
        QTest::newRow("zero total row, any sign") << ok << no << "100" << QStringList{"0|50|10"} << "" << false;
        QTest::newRow("empty amount counts 0") << ok << no << "5" << QStringList{"100|100|", "100|100|5"} << "" << false;

        // Rules 5 and 6: the sum against the total, exactly.
        QTest::newRow("0.1 + 0.2 under 0.3") << ok << no << "0.3" << QStringList{"1|1|0.1", "1|1|0.2"} << "" << false;
        QTest::newRow("thirds sum exactly") << ok << no << "100" << QStringList{"50|50|33.33", "50|50|33.33", "50|50|33.34"} << "" << false;
        QTest::newRow("one unit over") << ok << no << "100" << QStringList{"50|50|33.33", "50|50|33.33", "50|50|33.3401"}
                                       << "明细开票金额不能大于发票总额！" << false;
        QTest::newRow("sum 100 over 80") << ok << no << "80" << QStringList{"60|60|60", "40|40|40"} << "明细开票金额不能大于发票总额！" << false;
        QTest::newRow("sum -100 under -80") << ok << no << "-80" << QStringList{"-60|-60|-60", "-40|-40|-40"}
                                            << "明细开票金额不能小于发票总额！" << false;
        QTest::newRow("sum 100 against -80") << ok << no << "-80" << QStringList{"100|100|100"} << "明细开票金额不能大于发票总额！" << false;
        QTest::newRow("sum below total passes") << ok << no << "500" << QStringList{"100|100|100"} << "" << false;
        QTest::newRow("mixed signs net within") << ok << no << "10" << QStringList{"100|100|60", "-80|-80|-55"} << "" << false;
        QTest::newRow("amount cell not a number") << ok << no << "10" << QStringList{"100|100|1x"}
                                                  << "第1行本次开票金额必须录入数字！" << false;

        // What may be entered: at most 99,999,999,999.9999 either way, so that
        // both engines store it exactly; the sum may not wrap around either.
        const QString largest = QStringLiteral("99999999999.9999");
        const QString beyond = QStringLiteral("100000000000");
        QTest::newRow("largest amounts pass") << ok << no << largest << QStringList{largest + u'|' + largest + u'|' + largest} << "" << false;
        QTest::newRow("smallest amounts pass") << ok << no << u'-' + largest << QStringList{u'-' + largest + u'|' + u'-' + largest + u'|' + u'-' + largest} << "" << false;
        QTest::newRow("total beyond") << ok << no << beyond << QStringList{} << "金额超出允许的范围！" << true;
        QTest::newRow("total below") << ok << no << "-1e11" << QStringList{} << "金额超出允许的范围！" << true;
        QTest::newRow("entries of 900 trillion") << ok << no << "900000000000000"
                                                  << QStringList{"900000000000000|900000000000000|900000000000000",
                                                                 "900000000000000|900000000000000|900000000000000"}
                                                  << "金额超出允许的范围！" << true;
        QTest::newRow("row beyond") << ok << no << largest << QStringList{"1|1|1", beyond + u'|' + beyond + u'|' + beyond}
                                    << "第2行本次开票金额超出允许的范围！" << false;
        QTest::newRow("row beyond any amount") << ok << no << largest << QStringList{"1e20|1e20|99999999999999999999"}
                                               << "第1行本次开票金额超出允许的范围！" << false;
        QTest::newRow("sum beyond") << ok << no << largest
                                    << QStringList{"60000000000|60000000000|60000000000", "60000000000|60000000000|60000000000"}
                                    << "明细开票金额超出允许的范围！" << false;
    }

    void check()
    {
        QFETCH(QString, supplier);
        QFETCH(QString, invoiceNo);
        QFETCH(QString, total);
        QFETCH(QStringList, rows);
        QFETCH(QString, message);
        QFETCH(bool, focusAmount);

        const std::optional<EntryRefusal> refusal = checkEntries(supplierAndNote(supplier, invoiceNo), total, rowsFrom(rows));
        if (message.isEmpty()) {
            QVERIFY2(!refusal, qPrintable(refusal ? refusal->message : QString()));
        } else {
            QVERIFY(refusal);
            QCOMPARE(refusal->message, message);
            QCOMPARE(refusal->focusAmount, focusAmount);
        }
    }

    void numbers_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("isNumber");
        QTest::addColumn<QString>("exact");

        QTest::newRow("plain") << "12.5" << true << "12.5";
        QTest::newRow("blanks") << "  -3 " << true << "-3";
        QTest::newRow("separators") << "1,234,567.8" << true << "1234567.8";
        QTest::newRow("exponent") << "2.5e2" << true << "250";
        QTest::newRow("fifth decimal rounds") << "0.00005" << true << "0.0001";
        QTest::newRow("letters") << "abc" << false << "";
        QTest::newRow("two points") << "1.2.3" << false << "";
        QTest::newRow("beyond an amount") << "1e20" << false << "";
        QTest::newRow("empty") << "" << false << "";
    }

    void numbers()
    {
        QFETCH(QString, text);
        QFETCH(bool, isNumber);
        QFETCH(QString, exact);
        const std::optional<Amount> a = numericAmount(text);
        QCOMPARE(bool(a), isNumber);
        if (a)
            QCOMPARE(a->toString(), exact);
    }

    void emptyCellIsZero()
    {
        QCOMPARE(cellAmount(QStringLiteral("  ")).value().toString(), QStringLiteral("0"));
        QVERIFY(!cellAmount(QStringLiteral("-")));
    }

    void openAmountOfAStockBill_data()
    {
        QTest::addColumn<QString>("all");
        QTest::addColumn<QString>("invoiced");
        QTest::addColumn<QString>("open");
        QTest::newRow("partly invoiced") << "1000" << "333.33" << "666.67";
        QTest::newRow("nothing invoiced") << "0.1" << "0" << "0.1";
        QTest::newRow("red bill") << "-250.5" << "-100" << "-150.5";
        QTest::newRow("over-invoiced") << "100" << "120" << "-20";
    }

    void openAmountOfAStockBill()
    {
        QFETCH(QString, all);
        QFETCH(QString, invoiced);
        QFETCH(QString, open);
        const EntryRow row = EntryRow::fromStockBill(QStringLiteral("7"), QStringLiteral("WIN000007"), QStringLiteral("2025-01-02"),
                                                     *Amount::parse(all), *Amount::parse(invoiced));
        QCOMPARE(row.cell(ColOpenAmount), open);
        QCOMPARE(row.cell(ColAllAmount), Amount::parse(all)->toString());
        QCOMPARE(row.cell(ColThisAmount), QString());
        QCOMPARE(row.stockId(), QStringLiteral("7"));
    }

    // A cell reads back the text it was set to, whether it held an amount or
    // a text before; the rules read that text's amount and the grid shows
    // it as it shows that text. The stock bill id reads back likewise.
    void cellsReadBackAsSet_data()
    {
        QTest::addColumn<int>("column");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("stockId");
        QTest::newRow("an amount's own text") << int(ColThisAmount) << "-12.5" << "-3";
        QTest::newRow("trailing zero") << int(ColThisAmount) << "12.50" << "007";
        QTest::newRow("negative zero") << int(ColOpenAmount) << "-0" << " 12";
        QTest::newRow("blanks") << int(ColInvoiced) << "  " << "12a";
        QTest::newRow("emptied") << int(ColAllAmount) << "" << "";
        QTest::newRow("largest amount") << int(ColAllAmount) << "922337203685477.5807" << "9223372036854775807";
        QTest::newRow("beyond an amount") << int(ColAllAmount) << "922337203685477.5808" << "9223372036854775808";
        QTest::newRow("spare column") << 8 << "备注" << "0";
        QTest::newRow("before the first") << 0 << "x" << "1";
        QTest::newRow("after the last") << 11 << "x" << "1";
    }

    void cellsReadBackAsSet()
    {
        QFETCH(int, column);
        QFETCH(QString, text);
        QFETCH(QString, stockId);
        EntryRow before = EntryRow::fromStockBill(QStringLiteral("7"), QStringLiteral("WIN000007"), QStringLiteral("2025-01-02"),
                                                  Amount::fromInt(1000), Amount::fromInt(150));
        before.setCell(ColThisAmount, QStringLiteral("600"));
        EntryRow row = before;
        for (int pass = 0; pass < 2; ++pass) {
            row.setCell(column, text);
            row.setStockId(stockId);
            EntryGridModel grid;
            grid.setRows({row});
            QCOMPARE(grid.rowTag(1), stockId);
            for (int c = 0; c <= kEntryColumnCount + 1; ++c) {
                const QString expected = c != column ? before.cell(c) : c >= 1 && c <= kEntryColumnCount ? text : QString();
                QCOMPARE(row.cell(c), expected);
                QCOMPARE(row.amount(c), cellAmount(expected));
                const bool amountColumn = c >= ColAllAmount && c <= ColThisAmount;
                QCOMPARE(grid.index(0, c - 1).data().toString(), amountColumn ? EntryGridModel::displayAmount(expected) : expected);
            }
            // Over an amount the second time.
            row.setAmount(column, Amount::fromInt(5));
        }
        // The out-of-range amount has no text: an amount cell empties.
        const QString kept = row.cell(column);
        row.setAmount(column, Amount::outOfRange());
        QCOMPARE(row.cell(column), column >= ColAllAmount && column <= ColThisAmount ? QString() : kept);
    }

    // The totals line follows the entries as they are loaded, added and
    // edited; sums are exact and cells that are not numbers add nothing.
    void totalsLineFollowsTheEntries()
    {
        EntryGridModel entries;
        EntryTotalsModel totals(&entries);
        auto shown = [&](int column) { return totals.index(0, column - 1).data().toString(); };
        entries.setRows(rowsFrom({"100|80|0.1", "-50|-50|0.2", "x|1|junk"}));
        QCOMPARE(shown(ColAllAmount), QStringLiteral("50.00"));
        QCOMPARE(shown(ColOpenAmount), QStringLiteral("31.00"));
        QCOMPARE(shown(ColThisAmount), QStringLiteral("0.30"));
        QCOMPARE(shown(ColStockBillNo), QString());
        QCOMPARE(totals.headerData(0, Qt::Vertical).toString(), QStringLiteral("合计"));

        entries.appendRows(rowsFrom({"0.0001|0.0001|0.0001"}));
        QCOMPARE(totals.total(ColThisAmount).toString(), QStringLiteral("0.3001"));
        QCOMPARE(shown(ColThisAmount), QStringLiteral("0.3001"));
        QVERIFY(entries.setData(entries.index(2, ColThisAmount - 1), QStringLiteral("9.7")));
        QCOMPARE(totals.total(ColThisAmount).toString(), QStringLiteral("10.0001"));
        entries.clear();
        QCOMPARE(shown(ColAllAmount), QStringLiteral("0.00"));

        // A sum beyond what an amount holds shows nothing, not a wrapped number.
        const QString huge = QStringLiteral("900000000000000");
        entries.setRows(rowsFrom({huge + u'|' + huge + u'|' + huge, huge + u'|' + huge + u'|' + huge}));
        QVERIFY(totals.total(ColThisAmount).isOutOfRange());
        QCOMPARE(shown(ColThisAmount), QString());
    }

    void frozenColumnCount_data()
    {
        QTest::addColumn<QString>("answer");
        QTest::addColumn<int>("count"); // -1: refused
        QTest::newRow("none") << "0" << 0;
        QTest::newRow("blanks around") << " 2 " << 2;
        QTest::newRow("all but the amount column") << "5" << 5;
        QTest::newRow("the amount column too") << "6" << -1;
        QTest::newRow("negative") << "-1" << -1;
        QTest::newRow("decimal") << "1.5" << -1;
        QTest::newRow("text") << "abc" << -1;
        QTest::newRow("empty") << "" << -1;
    }
    void frozenColumnCount()
    {
        QFETCH(QString, answer);
        QFETCH(int, count);
        QCOMPARE(frozenEntryColumns(answer).value_or(-1), count);
    }

    // What the editor's commands may do: frozen bills (audited, void, of an
    // earlier period) and bills opened for viewing take no change, and
    // browsing stops at the ends of the list it was handed.
    void commandState_data()
    {
        QTest::addColumn<int>("mode");
        QTest::addColumn<int>("status");
        QTest::addColumn<int>("cancellation");
        QTest::addColumn<bool>("earlier");
        QTest::addColumn<int>("count");
        QTest::addColumn<int>("at");
        QTest::addColumn<QString>("enabled"); // e editable, c check, f first, b back, n next, l last
        QTest::addColumn<QString>("state");
        QTest::newRow("new bill, no list") << 0 << 0 << 0 << false << 0 << 0 << "ec" << "未审核";
        QTest::newRow("new bill leads to the list's ends") << 0 << 0 << 0 << false << 3 << 1 << "ecfl" << "未审核";
        QTest::newRow("first of three") << 1 << 0 << 0 << false << 3 << 0 << "ecnl" << "未审核";
        QTest::newRow("middle") << 1 << 0 << 0 << false << 3 << 1 << "ecfbnl" << "未审核";
        QTest::newRow("last of three") << 1 << 0 << 0 << false << 3 << 2 << "ecfb" << "未审核";
        QTest::newRow("only bill") << 1 << 0 << 0 << false << 1 << 0 << "ec" << "未审核";
        QTest::newRow("position past the end") << 1 << 0 << 0 << false << 3 << 3 << "ecf" << "未审核";
        QTest::newRow("audited") << 1 << 1 << 0 << false << 0 << 0 << "" << "已审核";
        QTest::newRow("void") << 1 << 0 << 1 << false << 0 << 0 << "" << "已作废";
        QTest::newRow("void and audited") << 1 << 1 << 1 << false << 0 << 0 << "" << "已作废";
        QTest::newRow("earlier period") << 1 << 0 << 0 << true << 0 << 0 << "" << "以前期间";
        QTest::newRow("earlier period, audited") << 1 << 1 << 0 << true << 0 << 0 << "" << "已审核";
        QTest::newRow("view only") << 3 << 0 << 0 << false << 2 << 0 << "nl" << "未审核";
        QTest::newRow("split") << 2 << 0 << 0 << false << 0 << 0 << "ec" << "未审核";
    }
    void commandState()
    {
        QFETCH(int, mode);
        QFETCH(int, status);
        QFETCH(int, cancellation);
        QFETCH(bool, earlier);
        QFETCH(int, count);
        QFETCH(int, at);
        QFETCH(QString, enabled);
        QFETCH(QString, state);
        const BillView view{mode, status, cancellation, earlier, count, at};
        const CommandState c = commandStateFor(view);
        QString on;
        for (auto [flag, letter] : {std::pair{c.editable, 'e'}, {c.check, 'c'}, {c.first, 'f'}, {c.back, 'b'}, {c.next, 'n'}, {c.last, 'l'}})
            if (flag)
                on += QLatin1Char(letter);
        QCOMPARE(on, enabled);
        QCOMPARE(billStateText(view), state);
    }
};

QTEST_GUILESS_MAIN(TestEntryRules)
#include "tst_entryrules.moc"
