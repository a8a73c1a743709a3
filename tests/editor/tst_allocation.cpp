#include "editor/Allocation.h"

#include <QTest>

// Spreading a typed total over the grid's entries. Rows are written
// "date|number|total|open" (columns 2, 1, 3 and 5); the expected amounts are
// column 6 per row in the grid's order, "" for a row that takes nothing.
class TestAllocation : public QObject {
    Q_OBJECT

private slots:
    void allocate_data()
    {
        QTest::addColumn<QString>("total");
        QTest::addColumn<bool>("red");
        QTest::addColumn<QStringList>("rows");
        QTest::addColumn<QStringList>("amounts"); // empty: refused, grid unchanged
        QTest::addColumn<QString>("message");

        const QStringList two{"2025-03-02|WIN002|100|100", "2025-03-01|WIN009|80|50"};
        QTest::newRow("exact fit") << "150" << false << two << QStringList{"100", "50"} << "已分配金额 150.00，正好分配完毕。";
        QTest::newRow("leftover") << "1,000.5" << false << two << QStringList{"100", "50"}
                                  << "已分配金额 150.00，尚余 850.50 没有入库单可分配。";
        QTest::newRow("short: oldest first") << "70" << false << two << QStringList{"20", "50"}
                                             << "已分配金额 70.00，入库单尚有 80.00 未分配开票。";
        QTest::newRow("same date by number") << "30" << false << QStringList{"2025-03-01|WIN002|20|20", "2025-03-01|WIN001|20|20"}
                                             << QStringList{"10", "20"} << "已分配金额 30.00，入库单尚有 10.00 未分配开票。";
        QTest::newRow("partly invoiced bill") << "40" << false << QStringList{"2025-01-01|WIN001|100|30", "2025-02-01|WIN002|10|10"}
                                              << QStringList{"30", "10"} << "已分配金额 40.00，正好分配完毕。";
        QTest::newRow("blue skips red bills") << "60" << false << QStringList{"2025-01-01|WIN001|-100|-100", "2025-02-01|WIN002|90|90"}
                                              << QStringList{"", "60"} << "已分配金额 60.00，入库单尚有 30.00 未分配开票。";
        QTest::newRow("red over red bills") << "120" << true
                                            << QStringList{"2025-02-01|WIN003|-100|-100", "2025-01-01|WIN001|50|50", "2025-01-05|WIN002|-40|-40"}
                                            << QStringList{"-80", "", "-40"} << "已分配金额 -120.00，入库单尚有 20.00 未分配开票。";
        QTest::newRow("cents stay exact") << "100" << false
                                          << QStringList{"2025-01-01|A|33.33|33.33", "2025-01-02|B|33.33|33.33", "2025-01-03|C|33.34|33.34"}
                                          << QStringList{"33.33", "33.33", "33.34"} << "已分配金额 100.00，正好分配完毕。";
        QTest::newRow("a cent and four decimals") << "0.0101" << false << QStringList{"2025-01-01|A|0.01|0.01", "2025-01-02|B|5|5"}
                                                  << QStringList{"0.01", "0.0001"} << "已分配金额 0.0101，入库单尚有 4.9999 未分配开票。";
        QTest::newRow("zero refused") << "0" << false << two << QStringList{} << "分配金额必须大于零！";
        QTest::newRow("negative refused") << "-10" << true << two << QStringList{} << "分配金额必须大于零！";
        QTest::newRow("not a number") << "12元" << false << two << QStringList{} << "金额必须录入数字！";
        QTest::newRow("beyond what may be entered") << "100000000000" << false << two << QStringList{} << "金额超出允许的范围！";
        QTest::newRow("no red bill to fill") << "10" << true << two << QStringList{} << "没有可分配金额的红字入库单！";
        QTest::newRow("fully invoiced rows") << "10" << false << QStringList{"2025-01-01|A|10|0"} << QStringList{}
                                             << "没有可分配金额的蓝字入库单！";
    }
    void allocate()
    {
        QFETCH(QString, total);
        QFETCH(bool, red);
        QFETCH(QStringList, rows);
        QFETCH(QStringList, amounts);
        QFETCH(QString, message);

        std::vector<EntryRow> grid;
        for (const QString &text : rows) {
            const QStringList p = text.split(u'|');
            EntryRow row;
            row.setCell(ColStockDate, p[0]);
            row.setCell(ColStockBillNo, p[1]);
            row.setCell(ColAllAmount, p[2]);
            row.setCell(ColOpenAmount, p[3]);
            grid.push_back(row);
        }
        const AllocationOutcome outcome = allocateTotal(total, red, grid);
        QCOMPARE(outcome.message, message);
        QCOMPARE(outcome.allocation.has_value(), !amounts.isEmpty());
        if (!outcome.allocation)
            return;
        QStringList got;
        for (const Amount &a : outcome.allocation->amounts)
            got << (a.isZero() ? QString() : a.toString());
        QCOMPARE(got, amounts);
        // The invoice's total takes the invoice's direction.
        QCOMPARE(outcome.invoiceTotal.toString(), (red ? QStringLiteral("-") : QString()) + numericAmount(total)->toString());
    }
};

QTEST_GUILESS_MAIN(TestAllocation)
#include "tst_allocation.moc"
