#include "modules/frmBatchno.h"

#include "support/QueryModuleHelpers.h"

#include <QApplication>
#include <QLineEdit>
#include <QTableView>
#include <QTest>
#include <QTimer>

#include <algorithm>
#include <memory>

namespace {
// Goods 10: stock in three stores, one batch lying in two of them, one row
// without a batch. Goods 20: four distinct batches, listed A-100, B-200,
// B-201, C-300 as rows 1 to 4. Goods 30: stock whose unit is missing from
// tblMeasureUnit. Goods 40: no stock.
struct Env : DbEnv {
    std::unique_ptr<frmBatchno> form;
    explicit Env(DbEngine engine)
        : DbEnv(engine)
    {
        session().gBatchNo = QStringLiteral("OLD");
        db.exec(QStringLiteral("insert into tblMeasureUnit(fitemid,fname) values(1,'个')"));
        db.exec(QStringLiteral("insert into tblMeasureUnit(fitemid,fname) values(2,'箱')"));
        addStock(10, 1, 1, QStringLiteral("'P2024-01'"), QStringLiteral("5"));
        addStock(10, 1, 2, QStringLiteral("'P2024-01'"), QStringLiteral("7.5"));
        addStock(10, 2, 1, QStringLiteral("'Q-7'"), QStringLiteral("3"));
        addStock(10, 1, 3, QStringLiteral("null"), QStringLiteral("2"));
        addStock(20, 1, 1, QStringLiteral("'C-300'"), QStringLiteral("1"));
        addStock(20, 1, 1, QStringLiteral("'A-100'"), QStringLiteral("1"));
        addStock(20, 1, 1, QStringLiteral("'B-201'"), QStringLiteral("1"));
        addStock(20, 1, 1, QStringLiteral("'B-200'"), QStringLiteral("1"));
        addStock(30, 9, 1, QStringLiteral("'X1'"), QStringLiteral("12.25"));
    }
    void addStock(int item, int unit, int store, const QString &batch, const QString &qty)
    {
        db.exec(QStringLiteral("insert into tblTimeStock(fitemid,funitid,fstockid,fqty,famount,fbatchno) values(%1,%2,%3,%4,0,%5)")
                    .arg(item).arg(unit).arg(store).arg(qty, batch));
    }
    // The picker for goods `itemId`, shown; the caller waits for it to appear.
    frmBatchno &open(const QString &itemId, bool show = true)
    {
        session().gBatchItemId = itemId;
        form = std::make_unique<frmBatchno>();
        if (show)
            form->show();
        return *form;
    }
};

QLineEdit *searchBox(QWidget *form) { return form->findChild<QLineEdit *>(QStringLiteral("txtSearch")); }
QTableView *grid(frmBatchno &form) { return form.findChild<QTableView *>(QStringLiteral("vsf1")); }

QStringList rowTexts(const std::vector<BatchRow> &rows)
{
    QStringList texts;
    for (const BatchRow &r : rows)
        texts << r.batchNo + u'|' + r.batch + u'|' + r.unitName + u'|' + r.qty;
    return texts;
}
} // namespace

class TestBatchno : public QObject {
    Q_OBJECT

private slots:
    void initTestCase_data() { addEngineRows(); }

    // The stock rows of one goods id as read and as the grid shows them, in
    // order of their batch; Enter takes the current row's batch (the row
    // without one gives the empty text), and an empty grid takes nothing.
    void rowsOfTheGoods_data()
    {
        QTest::addColumn<QString>("itemId");
        QTest::addColumn<QStringList>("expected"); // batchNo|batch|unit|qty, in any order
        QTest::newRow("same batch in two stores, null batch")
            << "10"
            << QStringList{"P2024-01|P2024-01|个|5", "P2024-01|P2024-01|个|7.5",
                           QStringLiteral("Q-7|Q-7|箱|3"), QStringLiteral("||个|2")};
        QTest::newRow("batches in order") << "20" << QStringList{"A-100|A-100|个|1", "B-200|B-200|个|1", "B-201|B-201|个|1", "C-300|C-300|个|1"};
        QTest::newRow("unit missing") << "30" << QStringList{"X1|X1||12.25"};
        QTest::newRow("no stock") << "40" << QStringList{};
    }

    void rowsOfTheGoods()
    {
        QFETCH_GLOBAL(DbEngine, engine);
        QFETCH(QString, itemId);
        QFETCH(QStringList, expected);
        Env env(engine);

        const std::vector<BatchRow> rows = loadBatchRows(itemId);
        const QStringList read = rowTexts(rows);
        QStringList got = read;
        got.sort();
        expected.sort();
        QCOMPARE(got, expected);
        // Batches come in order of their number (where the engine puts the
        // missing ones is its own affair).
        QStringList batches;
        for (const BatchRow &r : rows)
            if (!r.batchNo.isEmpty())
                batches << r.batchNo;
        QVERIFY(std::is_sorted(batches.begin(), batches.end()));
        expectQuiet(env.ts);

        frmBatchno &form = env.open(itemId);
        QVERIFY(QTest::qWaitForWindowExposed(&form));
        QCOMPARE(form.gridRows(), int(rows.size()) + 1);
        QCOMPARE(grid(form)->model()->rowCount(), int(rows.size()));
        QCOMPARE(form.cellText(0, 0), QStringLiteral("批号"));
        QCOMPARE(form.cellText(0, 2), QStringLiteral("单位"));
        QCOMPARE(form.cellText(0, 3), QStringLiteral("数量"));
        int nullRow = int(rows.size());
        for (int row = 1; row < form.gridRows(); ++row) {
            const QString shown = form.cellText(row, 0) + u'|' + form.cellText(row, 1) + u'|' + form.cellText(row, 2);
            QCOMPARE(shown, read[row - 1].section(u'|', 0, 2));
            if (form.cellText(row, 0).isEmpty())
                nullRow = row;
        }
        QCOMPARE(form.currentRow(), rows.empty() ? 0 : 1);

        if (!rows.empty())
            form.setCurrentRow(nullRow);
        QTest::keyClick(searchBox(&form), Qt::Key_Return);
        if (rows.empty())
            form.choose();
        QCOMPARE(session().gBatchNo, rows.empty() ? QStringLiteral("OLD") : rows[size_t(nullRow - 1)].batchNo);
        QCOMPARE(form.result(), int(rows.empty() ? QDialog::Rejected : QDialog::Accepted));
        QCOMPARE(form.isVisible(), rows.empty());
    }

    void keysMoveCurrentRow_data()
    {
        QTest::addColumn<bool>("onGrid"); // typed on the grid instead of the search box
        QTest::addColumn<int>("startRow");
        QTest::addColumn<QTestEventList>("keys");
        QTest::addColumn<int>("expectedRow");
        QTest::addColumn<QString>("expectedText");
        const auto keys = [](const QString &text, const QList<Qt::Key> &then = {}) {
            QTestEventList list;
            list.addKeyClicks(text);
            for (Qt::Key key : then)
                list.addKeyClick(key);
            return list;
        };
        const QString a = QStringLiteral("A");
        QTest::newRow("first of two matches") << false << 4 << keys("B-2") << 2 << "B-2";
        QTest::newRow("narrowed to one") << false << 1 << keys("201") << 3 << "201";
        QTest::newRow("match in the middle of the text") << false << 1 << keys("-30") << 4 << "-30";
        // "#" matches nothing, so only the emptied text can move the row.
        QTest::newRow("empty text finds first row") << false << 3 << keys("#", {Qt::Key_Backspace}) << 1 << QString();
        QTest::newRow("no match keeps the row") << false << 3 << keys("zzz") << 3 << "zzz";
        QTest::newRow("case counts") << false << 4 << keys("b-2") << 4 << "b-2";
        // The arrows move the grid and leave the typed text alone.
        QTest::newRow("Down") << false << 1 << keys(a, {Qt::Key_Down}) << 2 << a;
        QTest::newRow("Down stops at the last row") << false << 1 << keys(a, {Qt::Key_Down, Qt::Key_Down, Qt::Key_Down, Qt::Key_Down}) << 4 << a;
        QTest::newRow("Up") << false << 1 << keys(a, {Qt::Key_Down, Qt::Key_Down, Qt::Key_Down, Qt::Key_Up}) << 3 << a;
        QTest::newRow("typing on the grid goes to search") << true << 1 << keys("C-") << 4 << "C-";
    }

    void keysMoveCurrentRow()
    {
        QFETCH_GLOBAL(DbEngine, engine);
        QFETCH(bool, onGrid);
        QFETCH(int, startRow);
        QFETCH(QTestEventList, keys);
        QFETCH(int, expectedRow);
        QFETCH(QString, expectedText);
        Env env(engine);
        frmBatchno &form = env.open(QStringLiteral("20"));
        QVERIFY(QTest::qWaitForWindowExposed(&form));
        form.setCurrentRow(startRow);
        QCOMPARE(form.currentRow(), startRow);

        keys.simulate(onGrid ? static_cast<QWidget *>(grid(form)) : searchBox(&form));
        QCOMPARE(searchBox(&form)->text(), expectedText);
        QCOMPARE(form.currentRow(), expectedRow);
        QVERIFY(form.isVisible());
    }

    void closingByKeysAndMouse_data()
    {
        QTest::addColumn<QString>("how");
        QTest::addColumn<QString>("expected"); // "OLD": nothing chosen
        QTest::newRow("Enter in search box") << "enter-search" << "C-300";
        QTest::newRow("keypad Enter") << "keypad-enter" << "C-300";
        QTest::newRow("Enter on the grid") << "enter-grid" << "C-300";
        QTest::newRow("Enter after arrows") << "arrows-enter" << "B-200";
        QTest::newRow("double-click") << "double-click" << "B-200";
        QTest::newRow("Escape leaves the batch") << "escape" << "OLD";
    }

    // Through the modal picker as the editor opens it: it reports whether a
    // batch was chosen.
    void closingByKeysAndMouse()
    {
        QFETCH_GLOBAL(DbEngine, engine);
        QFETCH(QString, how);
        QFETCH(QString, expected);
        Env env(engine);
        session().gBatchItemId = QStringLiteral("20");
        bool sawForm = false;
        QTimer::singleShot(0, [&] {
            QWidget *modal = QApplication::activeModalWidget();
            sawForm = modal && modal->objectName() == QLatin1String("frmBatchno");
            if (!sawForm)
                return;
            QLineEdit *search = searchBox(modal);
            QTableView *view = modal->findChild<QTableView *>(QStringLiteral("vsf1"));
            QTest::keyClicks(search, QStringLiteral("C-3"));
            if (how == QLatin1String("enter-search")) {
                QTest::keyClick(search, Qt::Key_Return);
            } else if (how == QLatin1String("keypad-enter")) {
                QTest::keyClick(search, Qt::Key_Enter, Qt::KeypadModifier);
            } else if (how == QLatin1String("enter-grid")) {
                QTest::keyClick(view, Qt::Key_Return);
            } else if (how == QLatin1String("arrows-enter")) {
                // Enter takes the row the arrows moved to, not the match.
                QTest::keyClick(search, Qt::Key_Up);
                QTest::keyClick(search, Qt::Key_Up);
                QTest::keyClick(search, Qt::Key_Return);
            } else if (how == QLatin1String("double-click")) {
                // On the second data row, away from the current one.
                const QRect cell = view->visualRect(view->model()->index(1, 2));
                if (cell.isValid())
                    doubleClick(view->viewport(), cell.center());
            }
            if (modal->isVisible()) // Escape, or what should have closed it did not
                QTest::keyClick(search, Qt::Key_Escape);
        });
        QCOMPARE(showBatchPicker(), expected != u"OLD");
        QVERIFY(sawForm);
        QCOMPARE(session().gBatchNo, expected);
    }

    void databaseErrorShowsMessageAndNoRows()
    {
        QFETCH_GLOBAL(DbEngine, engine);
        Env env(engine);
        // No goods id: the statement ends in "where a.fitemid=" and fails.
        frmBatchno &form = env.open(QString(), false);
        QCOMPARE(form.gridRows(), 1);
        expectOneError(env.ts);
        QVERIFY(!session().gConn);
        form.choose();
        QCOMPARE(session().gBatchNo, QStringLiteral("OLD"));
    }
};

QTEST_MAIN(TestBatchno)
#include "tst_batchno.moc"
