#include "modules/frmBatchno.h"

#include "support/QueryModuleHelpers.h"
#include "support/CaseRows.h"

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
        TestSession::session().gBatchNo = QStringLiteral("OLD");
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
        Session &s = TestSession::session();
        s.gBatchItemId = itemId;
        form = std::make_unique<frmBatchno>(s);
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

// Where the keys go: the search box, the grid, or the search box followed by
// a double-click on the second data row.
enum KeysTarget { Search, Grid, DoubleClick };
struct KeysCase { const char *name; KeysTarget target; int startRow; QTestEventList keys; int row; QString text, chosen; bool closes; };
Q_DECLARE_METATYPE(KeysCase)

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
        Session &s = TestSession::session();
        Env env(engine);

        const std::vector<BatchRow> rows = loadBatchRows(s, itemId);
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
        QCOMPARE(s.gBatchNo, rows.empty() ? QStringLiteral("OLD") : rows[size_t(nullRow - 1)].batchNo);
        QCOMPARE(form.result(), int(rows.empty() ? QDialog::Rejected : QDialog::Accepted));
        QCOMPARE(form.isVisible(), rows.empty());
    }

    // Keys in the modal picker as the editor opens it (goods 20), from a
    // current row; the text and current row after them, the batch chosen
    // ("OLD": none), and whether the keys closed the picker.
    void keys_data()
    {
        const auto keys = [](const QString &text, const QList<Qt::Key> &then = {}, Qt::KeyboardModifiers modifiers = {}) {
            QTestEventList list;
            list.addKeyClicks(text);
            for (Qt::Key key : then)
                list.addKeyClick(key, modifiers);
            return list;
        };
        const QString a = QStringLiteral("A");
        addCaseRows<KeysCase>({
            {"first of two matches", Search, 4, keys("B-2"), 2, "B-2", "OLD", false},
            {"narrowed to one", Search, 1, keys("201"), 3, "201", "OLD", false},
            {"match in the middle of the text", Search, 1, keys("-30"), 4, "-30", "OLD", false},
            // "#" matches nothing, so only the emptied text can move the row.
            {"empty text finds first row", Search, 3, keys("#", {Qt::Key_Backspace}), 1, QString(), "OLD", false},
            {"no match keeps the row", Search, 3, keys("zzz"), 3, "zzz", "OLD", false},
            {"case counts", Search, 4, keys("b-2"), 4, "b-2", "OLD", false},
            // The arrows move the grid and leave the typed text alone.
            {"Down", Search, 1, keys(a, {Qt::Key_Down}), 2, a, "OLD", false},
            {"Down stops at the last row", Search, 1, keys(a, {Qt::Key_Down, Qt::Key_Down, Qt::Key_Down, Qt::Key_Down}), 4, a, "OLD", false},
            {"Up", Search, 1, keys(a, {Qt::Key_Down, Qt::Key_Down, Qt::Key_Down, Qt::Key_Up}), 3, a, "OLD", false},
            {"typing on the grid goes to search", Grid, 1, keys("C-"), 4, "C-", "OLD", false},
            {"Enter in search box", Search, 1, keys("C-3", {Qt::Key_Return}), 4, "C-3", "C-300", true},
            {"keypad Enter", Search, 1, keys("C-3", {Qt::Key_Enter}, Qt::KeypadModifier), 4, "C-3", "C-300", true},
            {"Enter on the grid", Grid, 1, keys("C-3", {Qt::Key_Return}), 4, "C-3", "C-300", true},
            // Enter takes the row the arrows moved to, not the match.
            {"Enter after arrows", Search, 1, keys("C-3", {Qt::Key_Up, Qt::Key_Up, Qt::Key_Return}), 2, "C-3", "B-200", true},
            {"double-click on the second row", DoubleClick, 1, keys("C-3"), -1, "C-3", "B-200", true},
            {"Escape leaves the batch", Search, 1, keys("C-3", {Qt::Key_Escape}), 4, "C-3", "OLD", true},
        });
    }

    void keys()
    {
        QFETCH_GLOBAL(DbEngine, engine);
        QFETCH(KeysCase, row);
        Session &s = TestSession::session();
        Env env(engine);
        s.gBatchItemId = QStringLiteral("20");
        bool sawForm = false, open = false;
        int current = -1;
        QString text;
        QTimer::singleShot(0, [&] {
            auto *form = qobject_cast<frmBatchno *>(QApplication::activeModalWidget());
            if (!(sawForm = form))
                return;
            QTableView *view = grid(*form);
            form->setCurrentRow(row.startRow);
            QCOMPARE(form->currentRow(), row.startRow);
            row.keys.simulate(row.target == Grid ? static_cast<QWidget *>(view) : searchBox(form));
            if (row.target == DoubleClick) // away from the current row
                doubleClick(view->viewport(), view->visualRect(view->model()->index(1, 2)).center());
            current = form->currentRow();
            text = searchBox(form)->text();
            if ((open = form->isVisible()))
                QTest::keyClick(searchBox(form), Qt::Key_Escape);
        });
        QCOMPARE(showBatchPicker(s), row.chosen != u"OLD");
        QVERIFY(sawForm);
        QCOMPARE(s.gBatchNo, row.chosen);
        QCOMPARE(!open, row.closes);
        QCOMPARE(text, row.text);
        if (row.row >= 0)
            QCOMPARE(current, row.row);
    }

    void databaseErrorShowsMessageAndNoRows()
    {
        QFETCH_GLOBAL(DbEngine, engine);
        Session &s = TestSession::session();
        Env env(engine);
        // No goods id: the statement ends in "where a.fitemid=" and fails.
        frmBatchno &form = env.open(QString(), false);
        QCOMPARE(form.gridRows(), 1);
        expectOneError(env.ts);
        QVERIFY(!s.gConn);
        form.choose();
        QCOMPARE(s.gBatchNo, QStringLiteral("OLD"));
    }
};

QTEST_MAIN(TestBatchno)
#include "tst_batchno.moc"
#include "support/TestSession.h"
