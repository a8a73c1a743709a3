// The batch picker: its rows from tblTimeStock, the search that moves the
// current row, and choosing with the keyboard and the mouse.
#include "modules/frmBatchno.h"

#include "component/Session.h"
#include "support/TestDatabase.h"
#include "support/TestSession.h"

#include <QApplication>
#include <QHeaderView>
#include <QLineEdit>
#include <QTableView>
#include <QTest>
#include <QTimer>

#include <algorithm>

namespace {
// Goods 10: stock in three stores, one batch lying in two of them, one row
// without a batch. Goods 20: four distinct batches. Goods 30: stock whose
// unit is missing from tblMeasureUnit. Goods 40: no stock.
struct Env {
    TestSession ts;
    TestDatabase db;
    explicit Env(DbEngine engine)
        : db(engine)
    {
        Session &s = session();
        s.DBConnectionString = db.connectionString();
        s.gBatchNo = QStringLiteral("OLD");
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
};

QLineEdit *searchBox(frmBatchno &form) { return form.findChild<QLineEdit *>(QStringLiteral("txtSearch")); }
QTableView *grid(frmBatchno &form) { return form.findChild<QTableView *>(QStringLiteral("vsf1")); }

QStringList rowTexts(const std::vector<BatchRow> &rows)
{
    QStringList texts;
    for (const BatchRow &r : rows)
        texts << r.batchNo + u'|' + r.batch + u'|' + r.unitName + u'|' + r.qty;
    return texts;
}

// A double-click as the window system delivers it: press and release, then
// the double-click and its release.
void doubleClick(QWidget *viewport, QPoint pos)
{
    QTest::mouseClick(viewport, Qt::LeftButton, {}, pos);
    QTest::mouseDClick(viewport, Qt::LeftButton, {}, pos);
    QTest::mouseRelease(viewport, Qt::LeftButton, {}, pos);
}
} // namespace

class TestBatchno : public QObject {
    Q_OBJECT

private slots:
    void readsOneRowPerStockRow_data();
    void readsOneRowPerStockRow();
    void gridShowsTheRows_data() { addEngineRows(); }
    void gridShowsTheRows();
    void goodsWithoutStock_data() { addEngineRows(); }
    void goodsWithoutStock();
    void searchMovesCurrentRow_data();
    void searchMovesCurrentRow();
    void arrowsInSearchBoxMoveTheGrid_data() { addEngineRows(); }
    void arrowsInSearchBoxMoveTheGrid();
    void typingOnTheGridGoesToSearch_data() { addEngineRows(); }
    void typingOnTheGridGoesToSearch();
    void chooseStoresBatchAndCloses_data();
    void chooseStoresBatchAndCloses();
    void nullBatchIsChosenAsEmptyText_data() { addEngineRows(); }
    void nullBatchIsChosenAsEmptyText();
    void escapeLeavesBatchNo_data() { addEngineRows(); }
    void escapeLeavesBatchNo();
    void modalPickerReportsTheChoice_data() { addEngineRows(); }
    void modalPickerReportsTheChoice();
    void databaseErrorShowsMessageAndNoRows_data() { addEngineRows(); }
    void databaseErrorShowsMessageAndNoRows();
};

void TestBatchno::readsOneRowPerStockRow_data()
{
    QTest::addColumn<DbEngine>("engine");
    QTest::addColumn<QString>("itemId");
    QTest::addColumn<QStringList>("expected"); // batchNo|batch|unit|qty, in any order
    for (DbEngine e : TestDatabase::engines()) {
        QTest::newRow(qPrintable(engineTag(e, "same batch in two stores, null batch")))
            << e << QStringLiteral("10")
            << QStringList{QStringLiteral("P2024-01|P2024-01|个|5"), QStringLiteral("P2024-01|P2024-01|个|7.5"),
                           QStringLiteral("Q-7|Q-7|箱|3"), QStringLiteral("||个|2")};
        QTest::newRow(qPrintable(engineTag(e, "unit missing")))
            << e << QStringLiteral("30") << QStringList{QStringLiteral("X1|X1||12.25")};
        QTest::newRow(qPrintable(engineTag(e, "no stock"))) << e << QStringLiteral("40") << QStringList{};
    }
}

void TestBatchno::readsOneRowPerStockRow()
{
    QFETCH(DbEngine, engine);
    QFETCH(QString, itemId);
    QFETCH(QStringList, expected);
    Env env(engine);

    const std::vector<BatchRow> rows = loadBatchRows(itemId);
    QStringList got = rowTexts(rows);
    QStringList sortedGot = got;
    sortedGot.sort();
    expected.sort();
    QCOMPARE(sortedGot, expected);

    // Batches come in order of their number (where the engine puts the
    // missing ones is its own affair).
    QStringList batches;
    for (const BatchRow &r : rows)
        if (!r.batchNo.isEmpty())
            batches << r.batchNo;
    QVERIFY(std::is_sorted(batches.begin(), batches.end()));
    QVERIFY(!session().gConn);
    QVERIFY(env.ts.prompts().messages().empty());
}

void TestBatchno::gridShowsTheRows()
{
    QFETCH(DbEngine, engine);
    Env env(engine);
    session().gBatchItemId = QStringLiteral("20");
    frmBatchno form;
    QCOMPARE(form.objectName(), QStringLiteral("frmBatchno"));
    QVERIFY(searchBox(form));
    QVERIFY(grid(form));

    QCOMPARE(form.gridRows(), 5);
    QCOMPARE(form.cellText(0, 0), QStringLiteral("批号"));
    QCOMPARE(form.cellText(0, 2), QStringLiteral("单位"));
    QCOMPARE(form.cellText(0, 3), QStringLiteral("数量"));
    const QStringList expected{QStringLiteral("A-100"), QStringLiteral("B-200"), QStringLiteral("B-201"), QStringLiteral("C-300")};
    for (int row = 1; row <= 4; ++row) {
        QCOMPARE(form.cellText(row, 0), expected[row - 1]);
        QCOMPARE(form.cellText(row, 1), expected[row - 1]);
        QCOMPARE(form.cellText(row, 2), QStringLiteral("个"));
    }
    QCOMPARE(form.currentRow(), 1);
}

void TestBatchno::goodsWithoutStock()
{
    QFETCH(DbEngine, engine);
    Env env(engine);
    session().gBatchItemId = QStringLiteral("40");
    frmBatchno form;
    form.show();
    QVERIFY(QTest::qWaitForWindowExposed(&form));

    QCOMPARE(form.gridRows(), 1);
    QCOMPARE(grid(form)->model()->rowCount(), 0);
    QCOMPARE(form.currentRow(), 0);
    QTest::keyClick(searchBox(form), Qt::Key_Return);
    form.choose();
    QVERIFY(form.isVisible());
    QCOMPARE(form.result(), int(QDialog::Rejected));
    QCOMPARE(session().gBatchNo, QStringLiteral("OLD"));
}

void TestBatchno::searchMovesCurrentRow_data()
{
    QTest::addColumn<DbEngine>("engine");
    QTest::addColumn<int>("startRow");
    QTest::addColumn<QString>("typed");
    QTest::addColumn<int>("expectedRow");
    // Goods 20 lists A-100, B-200, B-201, C-300 as rows 1 to 4.
    for (DbEngine e : TestDatabase::engines()) {
        QTest::newRow(qPrintable(engineTag(e, "first of two matches"))) << e << 4 << QStringLiteral("B-2") << 2;
        QTest::newRow(qPrintable(engineTag(e, "narrowed to one"))) << e << 1 << QStringLiteral("201") << 3;
        QTest::newRow(qPrintable(engineTag(e, "match in the middle of the text"))) << e << 1 << QStringLiteral("-30") << 4;
        QTest::newRow(qPrintable(engineTag(e, "empty text finds first row"))) << e << 3 << QString() << 1;
        QTest::newRow(qPrintable(engineTag(e, "no match keeps the row"))) << e << 3 << QStringLiteral("zzz") << 3;
        QTest::newRow(qPrintable(engineTag(e, "case counts"))) << e << 4 << QStringLiteral("b-2") << 4;
    }
}

void TestBatchno::searchMovesCurrentRow()
{
    QFETCH(DbEngine, engine);
    QFETCH(int, startRow);
    QFETCH(QString, typed);
    QFETCH(int, expectedRow);
    Env env(engine);
    session().gBatchItemId = QStringLiteral("20");
    frmBatchno form;
    form.show();
    QVERIFY(QTest::qWaitForWindowExposed(&form));
    form.setCurrentRow(startRow);
    QCOMPARE(form.currentRow(), startRow);

    QLineEdit *search = searchBox(form);
    if (typed.isEmpty()) {
        // A character that no batch holds, then erased: the text changes to "".
        QTest::keyClicks(search, QStringLiteral("#"));
        QCOMPARE(form.currentRow(), startRow);
        QTest::keyClick(search, Qt::Key_Backspace);
        QVERIFY(search->text().isEmpty());
    } else {
        QTest::keyClicks(search, typed);
        QCOMPARE(search->text(), typed);
    }
    QCOMPARE(form.currentRow(), expectedRow);
    QVERIFY(form.isVisible());
}

void TestBatchno::arrowsInSearchBoxMoveTheGrid()
{
    QFETCH(DbEngine, engine);
    Env env(engine);
    session().gBatchItemId = QStringLiteral("20");
    frmBatchno form;
    form.show();
    QVERIFY(QTest::qWaitForWindowExposed(&form));
    QLineEdit *search = searchBox(form);
    QTest::keyClicks(search, QStringLiteral("A"));
    QCOMPARE(form.currentRow(), 1);

    QTest::keyClick(search, Qt::Key_Down);
    QCOMPARE(form.currentRow(), 2);
    QTest::keyClick(search, Qt::Key_Down);
    QTest::keyClick(search, Qt::Key_Down);
    QTest::keyClick(search, Qt::Key_Down); // already at the last row
    QCOMPARE(form.currentRow(), 4);
    QTest::keyClick(search, Qt::Key_Up);
    QCOMPARE(form.currentRow(), 3);
    // The arrows do not touch the typed text.
    QCOMPARE(search->text(), QStringLiteral("A"));

    QTest::keyClick(search, Qt::Key_Return);
    QCOMPARE(session().gBatchNo, QStringLiteral("B-201"));
}

void TestBatchno::typingOnTheGridGoesToSearch()
{
    QFETCH(DbEngine, engine);
    Env env(engine);
    session().gBatchItemId = QStringLiteral("20");
    frmBatchno form;
    form.show();
    QVERIFY(QTest::qWaitForWindowExposed(&form));
    QTest::keyClicks(grid(form), QStringLiteral("C-"));
    QCOMPARE(searchBox(form)->text(), QStringLiteral("C-"));
    QCOMPARE(form.currentRow(), 4);
}

void TestBatchno::chooseStoresBatchAndCloses_data()
{
    QTest::addColumn<DbEngine>("engine");
    QTest::addColumn<QString>("how");
    QTest::addColumn<QString>("expected");
    for (DbEngine e : TestDatabase::engines()) {
        QTest::newRow(qPrintable(engineTag(e, "Enter in search box"))) << e << QStringLiteral("enter-search") << QStringLiteral("C-300");
        QTest::newRow(qPrintable(engineTag(e, "keypad Enter"))) << e << QStringLiteral("keypad-enter") << QStringLiteral("C-300");
        QTest::newRow(qPrintable(engineTag(e, "Enter on the grid"))) << e << QStringLiteral("enter-grid") << QStringLiteral("C-300");
        QTest::newRow(qPrintable(engineTag(e, "double-click"))) << e << QStringLiteral("double-click") << QStringLiteral("B-200");
    }
}

void TestBatchno::chooseStoresBatchAndCloses()
{
    QFETCH(DbEngine, engine);
    QFETCH(QString, how);
    QFETCH(QString, expected);
    Env env(engine);
    session().gBatchItemId = QStringLiteral("20");
    frmBatchno form;
    form.show();
    QVERIFY(QTest::qWaitForWindowExposed(&form));
    QLineEdit *search = searchBox(form);
    QTableView *view = grid(form);
    QTest::keyClicks(search, QStringLiteral("C-3"));

    if (how == QLatin1String("enter-search")) {
        QTest::keyClick(search, Qt::Key_Return);
    } else if (how == QLatin1String("keypad-enter")) {
        QTest::keyClick(search, Qt::Key_Enter, Qt::KeypadModifier);
    } else if (how == QLatin1String("enter-grid")) {
        QTest::keyClick(view, Qt::Key_Return);
    } else {
        // Double-click on the second data row, away from the current one.
        const QRect cell = view->visualRect(view->model()->index(1, 2));
        QVERIFY(cell.isValid());
        doubleClick(view->viewport(), cell.center());
    }
    QCOMPARE(session().gBatchNo, expected);
    QCOMPARE(form.result(), int(QDialog::Accepted));
    QVERIFY(!form.isVisible());
}

void TestBatchno::nullBatchIsChosenAsEmptyText()
{
    QFETCH(DbEngine, engine);
    Env env(engine);
    session().gBatchItemId = QStringLiteral("10");
    frmBatchno form;
    form.show();
    QVERIFY(QTest::qWaitForWindowExposed(&form));
    QCOMPARE(form.gridRows(), 5); // one row per stock row, the shared batch twice

    int nullRow = 0;
    int sharedBatchRows = 0;
    for (int row = 1; row < form.gridRows(); ++row) {
        if (form.cellText(row, 0).isEmpty())
            nullRow = row;
        if (form.cellText(row, 0) == QLatin1String("P2024-01"))
            ++sharedBatchRows;
    }
    QCOMPARE(sharedBatchRows, 2);
    QVERIFY(nullRow > 0);
    QCOMPARE(form.cellText(nullRow, 1), QString());
    form.setCurrentRow(nullRow);
    QTest::keyClick(searchBox(form), Qt::Key_Return);
    QCOMPARE(session().gBatchNo, QString());
    QCOMPARE(form.result(), int(QDialog::Accepted));
}

void TestBatchno::escapeLeavesBatchNo()
{
    QFETCH(DbEngine, engine);
    Env env(engine);
    session().gBatchItemId = QStringLiteral("20");
    frmBatchno form;
    form.show();
    QVERIFY(QTest::qWaitForWindowExposed(&form));
    QTest::keyClicks(searchBox(form), QStringLiteral("B"));
    QTest::keyClick(searchBox(form), Qt::Key_Escape);
    QVERIFY(!form.isVisible());
    QCOMPARE(form.result(), int(QDialog::Rejected));
    QCOMPARE(session().gBatchNo, QStringLiteral("OLD"));
}

void TestBatchno::modalPickerReportsTheChoice()
{
    QFETCH(DbEngine, engine);
    Env env(engine);
    session().gBatchItemId = QStringLiteral("20");
    bool sawForm = false;
    QTimer::singleShot(0, [&] {
        QWidget *modal = QApplication::activeModalWidget();
        sawForm = modal && modal->objectName() == QLatin1String("frmBatchno");
        if (!modal)
            return;
        auto *search = modal->findChild<QLineEdit *>(QStringLiteral("txtSearch"));
        QTest::keyClicks(search, QStringLiteral("B-201"));
        QTest::keyClick(search, Qt::Key_Return);
    });
    QVERIFY(showBatchPicker());
    QVERIFY(sawForm);
    QCOMPARE(session().gBatchNo, QStringLiteral("B-201"));

    QTimer::singleShot(0, [&] {
        if (QWidget *modal = QApplication::activeModalWidget())
            QTest::keyClick(modal->findChild<QLineEdit *>(QStringLiteral("txtSearch")), Qt::Key_Escape);
    });
    QVERIFY(!showBatchPicker());
    QCOMPARE(session().gBatchNo, QStringLiteral("B-201"));
}

void TestBatchno::databaseErrorShowsMessageAndNoRows()
{
    QFETCH(DbEngine, engine);
    Env env(engine);
    // No goods id: the statement ends in "where a.fitemid=" and fails.
    session().gBatchItemId = QString();
    frmBatchno form;
    QCOMPARE(form.gridRows(), 1);
    const auto messages = env.ts.prompts().messages();
    QCOMPARE(int(messages.size()), 1);
    QCOMPARE(messages[0].icon, int(Prompt::Critical));
    QCOMPARE(messages[0].title, session().msgTitle);
    QVERIFY(!messages[0].text.isEmpty());
    QVERIFY(!session().gConn);
    form.choose();
    QCOMPARE(session().gBatchNo, QStringLiteral("OLD"));
}

QTEST_MAIN(TestBatchno)
#include "tst_batchno.moc"
