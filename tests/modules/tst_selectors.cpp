// The default code selectors: which codes they list, how typing filters them,
// choosing with the keyboard, and the host's own selector taking their place.
#include "modules/CodeSelectors.h"

#include "component/Session.h"
#include "modules/ConnectionRoutines.h"
#include "support/TestDatabase.h"
#include "support/TestSession.h"

#include <QApplication>
#include <QLineEdit>
#include <QTableView>
#include <QTest>
#include <QTimer>

#include <functional>
#include <memory>

namespace {
constexpr int kSuppliers = 4;
constexpr int kDepartments = 2;
constexpr int kUnnamedClass = 6; // codes exist, tblItemclass has no row

struct Env {
    TestSession ts;
    TestDatabase db;
    explicit Env(DbEngine engine)
        : db(engine)
    {
        session().DBConnectionString = db.connectionString();
        db.exec(QStringLiteral("insert into tblItemclass(fitemclassid,fname,fItemType) values(4,'供应商',1)"));
        db.exec(QStringLiteral("insert into tblItemclass(fitemclassid,fname,fItemType) values(2,'部门',1)"));
        db.exec(QStringLiteral("insert into tblItemclass(fitemclassid,fname,fItemType) values(3,'商品',0)"));
        item(101, "S01", "华东五金供应商", kSuppliers, "1", "0");
        item(102, "S02", "华南贸易公司", kSuppliers, "1", "null");  // null lock: usable
        item(103, "S03", "停用的供应商", kSuppliers, "1", "1");      // locked
        item(104, "S", "供应商汇总", kSuppliers, "0", "0");          // not a detail code
        item(105, "S04", "Acme Trading", kSuppliers, "1", "0");
        item(106, "S05", "明细未定", kSuppliers, "null", "0");       // detail flag unknown
        item(201, "D01", "采购部", kDepartments, "1", "0");
        item(601, "X01", "其他", kUnnamedClass, "1", "0");
        item(301, "G001", "螺丝", 3, "1", "0");
        item(302, "G002", "螺母", 3, "1", "0");
        item(303, "G003", "停用商品", 3, "1", "1");
        item(304, "A100", "Bolt", 3, "1", "0");
        item(305, "G005", "垫圈", 3, "1", "null"); // no icitem row
        goods(301, "M6x20", "0.12");
        goods(302, "M6", "0.05");
        goods(303, "M6", "1");
        goods(304, "m8-STEEL", "12.5");
    }
    void item(int id, const char *number, const char *name, int classId, const char *detail, const char *lock)
    {
        db.exec(QStringLiteral("insert into tblItem(fitemid,fnumber,fname,fitemclassid,fisdetail,fislock) values(%1,'%2','%3',%4,%5,%6)")
                    .arg(id)
                    .arg(QString::fromUtf8(number), QString::fromUtf8(name))
                    .arg(classId)
                    .arg(QString::fromUtf8(detail), QString::fromUtf8(lock)));
    }
    void goods(int id, const char *model, const char *price)
    {
        db.exec(QStringLiteral("insert into icitem(fitemid,fnumber,fname,fModel,fInPrice) select fitemid,fnumber,fname,'%1',%2 from tblItem where fitemid=%3")
                    .arg(QString::fromUtf8(model), QString::fromUtf8(price))
                    .arg(id));
    }
};

QStringList numbers(const std::vector<CodeRow> &rows, const std::vector<int> &shown)
{
    QStringList list;
    for (int i : shown)
        list << rows[size_t(i)].fnumber;
    return list;
}

QStringList numbers(const std::vector<CodeRow> &rows)
{
    QStringList list;
    for (const CodeRow &r : rows)
        list << r.fnumber;
    return list;
}

// Runs `drive` on the selector dialog once its modal loop has started.
void whenModal(std::function<void(QWidget *)> drive)
{
    QTimer::singleShot(0, [drive] {
        QWidget *modal = QApplication::activeModalWidget();
        QVERIFY(modal);
        drive(modal);
        // A dialog still open after the keys would hang the test: close it.
        if (modal->isVisible())
            QTest::keyClick(modal->findChild<QLineEdit *>(QStringLiteral("txtSearch")), Qt::Key_Escape);
    });
}

class FakeSelector : public CodeSelector {
public:
    QStringList calls;
    std::optional<SelectedCode> selectGoods(const QString &seekColumn, const QString &connectionString, QWidget *) override
    {
        calls << QStringLiteral("goods:") + seekColumn + u'@' + connectionString;
        return SelectedCode{QStringLiteral("7"), QStringLiteral("HOST-G"), QStringLiteral("宿主商品"), QStringLiteral("型号")};
    }
    std::optional<SelectedCode> selectBasicData(int itemClassId, QWidget *) override
    {
        calls << QStringLiteral("basic:%1").arg(itemClassId);
        return std::nullopt;
    }
};

// A double-click as the window system delivers it: press and release, then
// the double-click and its release.
void doubleClick(QWidget *viewport, QPoint pos)
{
    QTest::mouseClick(viewport, Qt::LeftButton, {}, pos);
    QTest::mouseDClick(viewport, Qt::LeftButton, {}, pos);
    QTest::mouseRelease(viewport, Qt::LeftButton, {}, pos);
}

// Types text key by key; characters beyond ASCII come as key events that
// carry only their text, as an input method delivers them.
void typeText(QWidget *widget, const QString &text)
{
    for (QChar c : text) {
        if (c.unicode() < 128)
            QTest::keyClick(widget, c.toLatin1());
        else
            QTest::sendKeyEvent(QTest::Click, widget, Qt::Key_unknown, QString(c), Qt::NoModifier);
    }
}
} // namespace

class TestSelectors : public QObject {
    Q_OBJECT

private slots:
    void basicDataListsUsableDetailCodes_data();
    void basicDataListsUsableDetailCodes();
    void goodsListUsableGoods_data() { addEngineRows(); }
    void goodsListUsableGoods();
    void sharedConnectionLeftAsFound_data() { addEngineRows(); }
    void sharedConnectionLeftAsFound();
    void captionNamesTheClass_data();
    void captionNamesTheClass();
    void filtering_data();
    void filtering();
    void goodsDialogByKeys_data();
    void goodsDialogByKeys();
    void itemDialogByKeys_data();
    void itemDialogByKeys();
    void arrowsKeepFocusInSearchBox_data() { addEngineRows(); }
    void arrowsKeepFocusInSearchBox();
    void doubleClickChooses_data() { addEngineRows(); }
    void doubleClickChooses();
    void databaseErrorShowsMessageAndNoRows_data();
    void databaseErrorShowsMessageAndNoRows();
    void hostSelectorReplacesDefault();
};

void TestSelectors::basicDataListsUsableDetailCodes_data()
{
    QTest::addColumn<DbEngine>("engine");
    QTest::addColumn<int>("classId");
    QTest::addColumn<QStringList>("expected");
    for (DbEngine e : TestDatabase::engines()) {
        QTest::newRow(qPrintable(engineTag(e, "suppliers")))
            << e << kSuppliers << QStringList{QStringLiteral("S01"), QStringLiteral("S02"), QStringLiteral("S04")};
        QTest::newRow(qPrintable(engineTag(e, "departments"))) << e << kDepartments << QStringList{QStringLiteral("D01")};
        QTest::newRow(qPrintable(engineTag(e, "class without name"))) << e << kUnnamedClass << QStringList{QStringLiteral("X01")};
        QTest::newRow(qPrintable(engineTag(e, "unknown class"))) << e << 99 << QStringList{};
    }
}

void TestSelectors::basicDataListsUsableDetailCodes()
{
    QFETCH(DbEngine, engine);
    QFETCH(int, classId);
    QFETCH(QStringList, expected);
    Env env(engine);
    const std::vector<CodeRow> rows = readBasicData(env.db.conn(), classId);
    QCOMPARE(numbers(rows), expected);
    if (classId == kSuppliers) {
        QCOMPARE(rows[1].fitemid, QStringLiteral("102"));
        QCOMPARE(rows[1].fname, QStringLiteral("华南贸易公司"));
    }
}

void TestSelectors::goodsListUsableGoods()
{
    QFETCH(DbEngine, engine);
    Env env(engine);
    const std::vector<CodeRow> rows = readGoods(env.db.conn(), QStringLiteral("fNumber"));
    QCOMPARE(numbers(rows), (QStringList{QStringLiteral("A100"), QStringLiteral("G001"), QStringLiteral("G002"), QStringLiteral("G005")}));
    QCOMPARE(rows[0].fitemid, QStringLiteral("304"));
    QCOMPARE(rows[0].fmodel, QStringLiteral("m8-STEEL"));
    QCOMPARE(rows[0].price, QStringLiteral("12.5"));
    QCOMPARE(rows[0].seek, QStringLiteral("A100"));
    // Goods without an icitem row: no model and no price.
    QCOMPARE(rows[3].fname, QStringLiteral("垫圈"));
    QCOMPARE(rows[3].fmodel, QString());
    QCOMPARE(rows[3].price, QString());
}

void TestSelectors::sharedConnectionLeftAsFound()
{
    QFETCH(DbEngine, engine);
    Env env(engine);
    std::unique_ptr<CodeSelectorDialog> closed(CodeSelectorDialog::forBasicData(kSuppliers));
    QCOMPARE(closed->shownRows(), 3);
    QVERIFY(!session().gConn);

    // A caller holding the connection open keeps it.
    OpenConnection();
    std::unique_ptr<CodeSelectorDialog> open(CodeSelectorDialog::forGoods(QStringLiteral("fNumber"), QString()));
    QCOMPARE(open->shownRows(), 4);
    QVERIFY(session().gConn);
    QVERIFY(session().gConn->isOpen());
    CloseConnection();
    QVERIFY(env.ts.prompts().messages().empty());
}

void TestSelectors::captionNamesTheClass_data()
{
    QTest::addColumn<DbEngine>("engine");
    QTest::addColumn<int>("classId");
    QTest::addColumn<QString>("caption");
    for (DbEngine e : TestDatabase::engines()) {
        QTest::newRow(qPrintable(engineTag(e, "suppliers"))) << e << kSuppliers << QStringLiteral("选择供应商");
        QTest::newRow(qPrintable(engineTag(e, "departments"))) << e << kDepartments << QStringLiteral("选择部门");
        QTest::newRow(qPrintable(engineTag(e, "no class row"))) << e << kUnnamedClass << QStringLiteral("选择代码");
    }
}

void TestSelectors::captionNamesTheClass()
{
    QFETCH(DbEngine, engine);
    QFETCH(int, classId);
    QFETCH(QString, caption);
    Env env(engine);
    QCOMPARE(basicDataCaption(env.db.conn(), classId), caption);
    std::unique_ptr<CodeSelectorDialog> dialog(CodeSelectorDialog::forBasicData(classId));
    QCOMPARE(dialog->windowTitle(), caption);
    QCOMPARE(dialog->objectName(), QStringLiteral("frmItemSelector"));
}

void TestSelectors::filtering_data()
{
    QTest::addColumn<DbEngine>("engine");
    QTest::addColumn<QString>("seekColumn");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QStringList>("expected");
    const QString number = QStringLiteral("fNumber");
    for (DbEngine e : TestDatabase::engines()) {
        const auto row = [e](const char *name) -> QTestData & { return QTest::newRow(qPrintable(engineTag(e, QString::fromUtf8(name)))) << e; };
        row("empty keeps all") << number << QString()
                               << QStringList{QStringLiteral("A100"), QStringLiteral("G001"), QStringLiteral("G002"), QStringLiteral("G005")};
        row("blanks only keep all") << number << QStringLiteral("  ")
                                    << QStringList{QStringLiteral("A100"), QStringLiteral("G001"), QStringLiteral("G002"), QStringLiteral("G005")};
        row("number, any case") << number << QStringLiteral("g00")
                                << QStringList{QStringLiteral("G001"), QStringLiteral("G002"), QStringLiteral("G005")};
        row("name") << number << QStringLiteral("螺") << QStringList{QStringLiteral("G001"), QStringLiteral("G002")};
        row("name, any case") << number << QStringLiteral("bOLT") << QStringList{QStringLiteral("A100")};
        row("model") << number << QStringLiteral("m6") << QStringList{QStringLiteral("G001"), QStringLiteral("G002")};
        row("model, any case") << number << QStringLiteral("steel") << QStringList{QStringLiteral("A100")};
        row("no match") << number << QStringLiteral("zz") << QStringList{};
        row("price is not searched") << number << QStringLiteral("12.5") << QStringList{};
        row("seek column") << QStringLiteral("fitemid") << QStringLiteral("305") << QStringList{QStringLiteral("G005")};
        row("seek column named in other case") << QStringLiteral("FITEMID") << QStringLiteral("302") << QStringList{QStringLiteral("G002")};
        row("unknown seek column ignored") << QStringLiteral("fhelpcode") << QStringLiteral("g001") << QStringList{QStringLiteral("G001")};
    }
}

void TestSelectors::filtering()
{
    QFETCH(DbEngine, engine);
    QFETCH(QString, seekColumn);
    QFETCH(QString, text);
    QFETCH(QStringList, expected);
    Env env(engine);
    const std::vector<CodeRow> rows = readGoods(env.db.conn(), seekColumn);
    QCOMPARE(numbers(rows, filterCodeRows(rows, text)), expected);
}

void TestSelectors::goodsDialogByKeys_data()
{
    QTest::addColumn<DbEngine>("engine");
    QTest::addColumn<QString>("typed");
    QTest::addColumn<int>("downs");
    QTest::addColumn<QString>("expected"); // empty: nothing chosen
    for (DbEngine e : TestDatabase::engines()) {
        QTest::newRow(qPrintable(engineTag(e, "first row"))) << e << QString() << 0 << QStringLiteral("A100");
        QTest::newRow(qPrintable(engineTag(e, "model then Down"))) << e << QStringLiteral("M6") << 1 << QStringLiteral("G002");
        QTest::newRow(qPrintable(engineTag(e, "Down stops at the end"))) << e << QStringLiteral("g0") << 9 << QStringLiteral("G005");
        QTest::newRow(qPrintable(engineTag(e, "name"))) << e << QStringLiteral("垫") << 0 << QStringLiteral("G005");
        QTest::newRow(qPrintable(engineTag(e, "Enter on empty list"))) << e << QStringLiteral("zz") << 1 << QString();
    }
}

void TestSelectors::goodsDialogByKeys()
{
    QFETCH(DbEngine, engine);
    QFETCH(QString, typed);
    QFETCH(int, downs);
    QFETCH(QString, expected);
    Env env(engine);
    QString title;
    int shownAfterTyping = -1;
    whenModal([&](QWidget *dialog) {
        QCOMPARE(dialog->objectName(), QStringLiteral("frmGoodsSelector"));
        title = dialog->windowTitle();
        auto *search = dialog->findChild<QLineEdit *>(QStringLiteral("txtSearch"));
        typeText(search, typed);
        shownAfterTyping = dialog->findChild<QTableView *>(QStringLiteral("lstCodes"))->model()->rowCount();
        for (int i = 0; i < downs; ++i)
            QTest::keyClick(search, Qt::Key_Down);
        QTest::keyClick(search, Qt::Key_Return);
    });
    const std::optional<SelectedCode> chosen = codeSelector().selectGoods(QStringLiteral("fNumber"), env.db.connectionString(), nullptr);
    QCOMPARE(title, QStringLiteral("选择商品"));
    if (expected.isEmpty()) {
        QCOMPARE(shownAfterTyping, 0);
        QVERIFY(!chosen);
        return;
    }
    QVERIFY(chosen);
    QCOMPARE(chosen->fnumber, expected);
    QCOMPARE(env.db.scalar(QStringLiteral("select fname from tblItem where fitemid=") + chosen->fitemid).toString(), chosen->fname);
    if (expected == QLatin1String("G002"))
        QCOMPARE(chosen->fmodel, QStringLiteral("M6"));
}

void TestSelectors::itemDialogByKeys_data()
{
    QTest::addColumn<DbEngine>("engine");
    QTest::addColumn<QString>("typed");
    QTest::addColumn<int>("downs");
    QTest::addColumn<bool>("escape");
    QTest::addColumn<QString>("expected"); // empty: nothing chosen
    for (DbEngine e : TestDatabase::engines()) {
        QTest::newRow(qPrintable(engineTag(e, "first row"))) << e << QString() << 0 << false << QStringLiteral("S01");
        QTest::newRow(qPrintable(engineTag(e, "number then Down"))) << e << QStringLiteral("s0") << 1 << false << QStringLiteral("S02");
        QTest::newRow(qPrintable(engineTag(e, "name"))) << e << QStringLiteral("acme") << 0 << false << QStringLiteral("S04");
        QTest::newRow(qPrintable(engineTag(e, "locked code not offered"))) << e << QStringLiteral("停用") << 0 << false << QString();
        QTest::newRow(qPrintable(engineTag(e, "Escape"))) << e << QStringLiteral("S0") << 1 << true << QString();
    }
}

void TestSelectors::itemDialogByKeys()
{
    QFETCH(DbEngine, engine);
    QFETCH(QString, typed);
    QFETCH(int, downs);
    QFETCH(bool, escape);
    QFETCH(QString, expected);
    Env env(engine);
    bool closedByKeys = false;
    whenModal([&](QWidget *dialog) {
        QCOMPARE(dialog->objectName(), QStringLiteral("frmItemSelector"));
        auto *search = dialog->findChild<QLineEdit *>(QStringLiteral("txtSearch"));
        typeText(search, typed);
        for (int i = 0; i < downs; ++i)
            QTest::keyClick(search, Qt::Key_Down);
        QTest::keyClick(search, escape ? Qt::Key_Escape : Qt::Key_Return);
        closedByKeys = !dialog->isVisible();
    });
    const std::optional<SelectedCode> chosen = codeSelector().selectBasicData(kSuppliers, nullptr);
    if (expected.isEmpty()) {
        QVERIFY(!chosen);
        QCOMPARE(closedByKeys, escape); // Enter on an empty list keeps it open
        return;
    }
    QVERIFY(closedByKeys);
    QVERIFY(chosen);
    QCOMPARE(chosen->fnumber, expected);
    QCOMPARE(env.db.scalar(QStringLiteral("select fnumber from tblItem where fitemid=") + chosen->fitemid).toString(), expected);
    QVERIFY(!session().gConn);
}

void TestSelectors::arrowsKeepFocusInSearchBox()
{
    QFETCH(DbEngine, engine);
    Env env(engine);
    std::unique_ptr<CodeSelectorDialog> dialog(CodeSelectorDialog::forBasicData(kSuppliers));
    dialog->show();
    QVERIFY(QTest::qWaitForWindowActive(dialog.get()));
    auto *search = dialog->findChild<QLineEdit *>(QStringLiteral("txtSearch"));
    QTRY_VERIFY(search->hasFocus());
    QCOMPARE(dialog->currentListRow(), 0);
    QTest::keyClick(search, Qt::Key_Down);
    QTest::keyClick(search, Qt::Key_Down);
    QCOMPARE(dialog->currentListRow(), 2);
    QTest::keyClick(search, Qt::Key_Up);
    QCOMPARE(dialog->currentListRow(), 1);
    QVERIFY(search->hasFocus());
    // Typing filters anew and starts at the top.
    typeText(search, QStringLiteral("华"));
    QCOMPARE(dialog->shownRows(), 2);
    QCOMPARE(dialog->currentListRow(), 0);
    // Typing on the list goes on in the search box.
    typeText(dialog->findChild<QTableView *>(QStringLiteral("lstCodes")), QStringLiteral("南"));
    QCOMPARE(search->text(), QStringLiteral("华南"));
    QCOMPARE(dialog->shownRows(), 1);
}

void TestSelectors::doubleClickChooses()
{
    QFETCH(DbEngine, engine);
    Env env(engine);
    std::unique_ptr<CodeSelectorDialog> dialog(CodeSelectorDialog::forGoods(QStringLiteral("fNumber"), env.db.connectionString()));
    dialog->show();
    QVERIFY(QTest::qWaitForWindowExposed(dialog.get()));
    auto *list = dialog->findChild<QTableView *>(QStringLiteral("lstCodes"));
    const QRect cell = list->visualRect(list->model()->index(2, 1));
    QVERIFY(cell.isValid());
    doubleClick(list->viewport(), cell.center());
    QCOMPARE(dialog->result(), int(QDialog::Accepted));
    QVERIFY(dialog->selected());
    QCOMPARE(dialog->selected()->fnumber, QStringLiteral("G002"));
}

void TestSelectors::databaseErrorShowsMessageAndNoRows_data()
{
    QTest::addColumn<DbEngine>("engine");
    QTest::addColumn<bool>("goods");
    for (DbEngine e : TestDatabase::engines()) {
        QTest::newRow(qPrintable(engineTag(e, "goods"))) << e << true;
        QTest::newRow(qPrintable(engineTag(e, "basic data"))) << e << false;
    }
}

void TestSelectors::databaseErrorShowsMessageAndNoRows()
{
    QFETCH(DbEngine, engine);
    QFETCH(bool, goods);
    Env env(engine);
    const QString missing = QStringLiteral("Driver=SQLite;Database=") + env.ts.folder() + QStringLiteral("/no/such.db");
    std::unique_ptr<CodeSelectorDialog> dialog;
    if (goods) {
        dialog.reset(CodeSelectorDialog::forGoods(QStringLiteral("fNumber"), missing));
    } else {
        session().DBConnectionString = missing;
        dialog.reset(CodeSelectorDialog::forBasicData(kSuppliers));
    }
    QCOMPARE(dialog->shownRows(), 0);
    const auto messages = env.ts.prompts().messages();
    QCOMPARE(int(messages.size()), 1);
    QCOMPARE(messages[0].icon, int(Prompt::Critical));
    QCOMPARE(messages[0].title, session().msgTitle);
    QVERIFY(!messages[0].text.isEmpty());
    QVERIFY(!session().gConn);
    dialog->choose();
    QVERIFY(!dialog->selected());
}

void TestSelectors::hostSelectorReplacesDefault()
{
    TestSession ts;
    FakeSelector fake;
    setCodeSelector(&fake);
    const std::optional<SelectedCode> goods = codeSelector().selectGoods(QStringLiteral("fName"), QStringLiteral("Driver=SQLite;Database=x"), nullptr);
    const std::optional<SelectedCode> basic = codeSelector().selectBasicData(kSuppliers, nullptr);
    setCodeSelector(nullptr);

    QCOMPARE(fake.calls, (QStringList{QStringLiteral("goods:fName@Driver=SQLite;Database=x"), QStringLiteral("basic:4")}));
    QVERIFY(goods);
    QCOMPARE(goods->fnumber, QStringLiteral("HOST-G"));
    QVERIFY(!basic);
    QVERIFY(dynamic_cast<DefaultCodeSelector *>(&codeSelector()));
}

QTEST_MAIN(TestSelectors)
#include "tst_selectors.moc"
