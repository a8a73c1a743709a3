#include "modules/CodeSelectors.h"

#include "modules/ConnectionRoutines.h"
#include "support/QueryModuleHelpers.h"
#include "support/CaseRows.h"

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

struct Env : DbEnv {
    explicit Env(DbEngine engine)
        : DbEnv(engine)
    {
        db.exec(QStringLiteral("insert into tblItemclass(fitemclassid,fname,fItemType) values(4,'供应商',1)"));
        db.exec(QStringLiteral("insert into tblItemclass(fitemclassid,fname,fItemType) values(2,'部门',1)"));
        db.exec(QStringLiteral("insert into tblItemclass(fitemclassid,fname,fItemType) values(3,'商品',0)"));
        const QVariant null;
        item(101, "S01", "华东五金供应商", kSuppliers, 1, 0);
        item(102, "S02", "华南贸易公司", kSuppliers, 1, null);  // null lock: usable
        item(103, "S03", "停用的供应商", kSuppliers, 1, 1);      // locked
        item(104, "S", "供应商汇总", kSuppliers, 0, 0);          // not a detail code
        item(105, "S04", "Acme Trading", kSuppliers, 1, 0);
        item(106, "S05", "明细未定", kSuppliers, null, 0);       // detail flag unknown
        item(201, "D01", "采购部", kDepartments, 1, 0);
        item(601, "X01", "其他", kUnnamedClass, 1, 0);
        item(301, "G001", "螺丝", 3, 1, 0);
        item(302, "G002", "螺母", 3, 1, 0);
        item(303, "G003", "停用商品", 3, 1, 1);
        item(304, "A100", "Bolt", 3, 1, 0);
        item(305, "G005", "垫圈", 3, 1, null); // no icitem row
        goods(301, "M6x20", 0.12);
        goods(302, "M6", 0.05);
        goods(303, "M6", 1);
        goods(304, "m8-STEEL", 12.5);
    }
    void item(int id, const char *number, const char *name, int classId, const QVariant &detail, const QVariant &lock)
    {
        db.conn().execute(QStringLiteral("insert into tblItem(fitemid,fnumber,fname,fitemclassid,fisdetail,fislock) values(?,?,?,?,?,?)"),
                          {id, QString::fromUtf8(number), QString::fromUtf8(name), classId, detail, lock});
    }
    void goods(int id, const char *model, double price)
    {
        db.conn().execute(QStringLiteral("insert into icitem(fitemid,fnumber,fname,fModel,fInPrice) select fitemid,fnumber,fname,?,? from tblItem where fitemid=?"),
                          {QString::fromUtf8(model), price, id});
    }
};

// The codes of the rows shown, or of all rows.
QStringList numbers(const std::vector<CodeRow> &rows, const std::vector<int> *shown = nullptr)
{
    QStringList list;
    for (size_t i = 0; i < (shown ? shown->size() : rows.size()); ++i)
        list << rows[shown ? size_t((*shown)[i]) : i].fnumber;
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

// A host's own selectors, answering nothing.
struct HostSelector : CodeSelector {
    std::optional<SelectedCode> selectGoods(Session &, const QString &, const QString &, QWidget *) override { return std::nullopt; }
    std::optional<SelectedCode> selectBasicData(Session &, int, QWidget *) override { return std::nullopt; }
};

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

// goods: else the supplier selector; downs: -1: a double-click instead of Enter; expected: empty: nothing chosen
struct DialogByKeysCase { const char *name; bool goods; QString typed; int downs; bool escape; QString expected; };
Q_DECLARE_METATYPE(DialogByKeysCase)

class TestSelectors : public QObject {
    Q_OBJECT

private slots:
    void initTestCase_data() { addEngineRows(); }

    void basicDataOfAClass_data()
    {
        QTest::addColumn<int>("classId");
        QTest::addColumn<QStringList>("expected"); // usable detail codes only
        QTest::addColumn<QString>("caption");
        QTest::newRow("suppliers") << kSuppliers << QStringList{"S01", "S02", "S04"} << "选择供应商";
        QTest::newRow("departments") << kDepartments << QStringList{"D01"} << "选择部门";
        QTest::newRow("class without name") << kUnnamedClass << QStringList{"X01"} << "选择代码";
        QTest::newRow("unknown class") << 99 << QStringList{} << "选择代码";
    }

    void basicDataOfAClass()
    {
        QFETCH_GLOBAL(DbEngine, engine);
        QFETCH(int, classId);
        QFETCH(QStringList, expected);
        QFETCH(QString, caption);
        Session &s = TestSession::session();
        Env env(engine);
        const std::vector<CodeRow> rows = readBasicData(env.db.conn(), classId);
        QCOMPARE(numbers(rows), expected); // ids and names: dialogByKeys
        QCOMPARE(basicDataCaption(env.db.conn(), classId), caption);
        std::unique_ptr<CodeSelectorDialog> dialog(CodeSelectorDialog::forBasicData(s, classId));
        QCOMPARE(dialog->windowTitle(), caption);
        QCOMPARE(dialog->shownRows(), int(expected.size()));
        // The dialog opened the shared connection for itself and closed it
        // again; a caller holding it open keeps it.
        expectQuiet(env.ts);
        OpenConnection(s);
        dialog.reset(CodeSelectorDialog::forGoods(s, QStringLiteral("fNumber"), QString()));
        QCOMPARE(dialog->shownRows(), 4);
        QVERIFY(s.gConn && s.gConn->isOpen());
        CloseConnection(s);
        expectQuiet(env.ts);
    }

    void filtering_data()
    {
        QTest::addColumn<QString>("seekColumn");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QStringList>("expected");
        const QString number = QStringLiteral("fNumber");
        const QStringList all{QStringLiteral("A100"), QStringLiteral("G001"), QStringLiteral("G002"), QStringLiteral("G005")};
        QTest::newRow("empty keeps all") << number << QString() << all;
        QTest::newRow("blanks only keep all") << number << "  " << all;
        QTest::newRow("number, any case") << number << "g00" << QStringList{"G001", "G002", "G005"};
        QTest::newRow("name") << number << "螺" << QStringList{"G001", "G002"};
        QTest::newRow("name, any case") << number << "bOLT" << QStringList{"A100"};
        QTest::newRow("model") << number << "m6" << QStringList{"G001", "G002"};
        QTest::newRow("model, any case") << number << "steel" << QStringList{"A100"};
        QTest::newRow("no match") << number << "zz" << QStringList{};
        QTest::newRow("price is not searched") << number << "12.5" << QStringList{};
        QTest::newRow("seek column") << "fitemid" << "305" << QStringList{"G005"};
        QTest::newRow("seek column named in other case") << "FITEMID" << "302" << QStringList{"G002"};
        QTest::newRow("unknown seek column ignored") << "fhelpcode" << "g001" << QStringList{"G001"};
    }

    void filtering()
    {
        QFETCH_GLOBAL(DbEngine, engine);
        QFETCH(QString, seekColumn);
        QFETCH(QString, text);
        QFETCH(QStringList, expected);
        Env env(engine);
        const std::vector<CodeRow> rows = readGoods(env.db.conn(), seekColumn);
        const std::vector<int> shown = filterCodeRows(rows, text);
        QCOMPARE(numbers(rows, &shown), expected);
        // Without an icitem row, no model (the shown cells: dialogByKeys).
        if (seekColumn == u"fNumber" && text.isEmpty())
            QCOMPARE(rows[3].fmodel, QString());
    }

    void dialogByKeys_data()
    {
        addCaseRows<DialogByKeysCase>({
            {"goods, first row", true, QString(), 0, false, "A100"},
            {"goods, model then Down", true, "M6", 1, false, "G002"},
            {"goods, Down stops at the end", true, "g0", 9, false, "G005"},
            {"goods, name", true, "垫", 0, false, "G005"},
            {"goods, double-click", true, QString(), -1, false, "G002"},
            {"goods, Enter on empty list", true, "zz", 1, false, QString()},
            {"supplier, first row", false, QString(), 0, false, "S01"},
            {"supplier, number then Down", false, "s0", 1, false, "S02"},
            {"supplier, name", false, "acme", 0, false, "S04"},
            {"supplier, locked code not offered", false, "停用", 0, false, QString()},
            {"supplier, Escape", false, "S0", 1, true, QString()},
        });
    }

    void dialogByKeys()
    {
        QFETCH_GLOBAL(DbEngine, engine);
        QFETCH(DialogByKeysCase, row);
        Session &s = TestSession::session();
        auto [caseName, goods, typed, downs, escape, expected] = row;
        Env env(engine);
        s.intPriceNumber = 3;
        // A host's selector serves until the host takes it back; then the
        // default dialogs below serve again.
        HostSelector host;
        setCodeSelector(&host);
        QCOMPARE(&codeSelector(), static_cast<CodeSelector *>(&host));
        setCodeSelector(nullptr);
        QString title;
        int shownAfterTyping = -1;
        bool closedByKeys = false;
        whenModal([&](QWidget *dialog) {
            QCOMPARE(dialog->objectName(), goods ? QStringLiteral("frmGoodsSelector") : QStringLiteral("frmItemSelector"));
            title = dialog->windowTitle();
            auto *search = dialog->findChild<QLineEdit *>(QStringLiteral("txtSearch"));
            auto *list = dialog->findChild<QTableView *>(QStringLiteral("lstCodes"));
            typeText(search, typed);
            shownAfterTyping = list->model()->rowCount();
            for (int i = 0; i < downs; ++i)
                QTest::keyClick(search, Qt::Key_Down);
            if (goods && typed.isEmpty() && downs == 0) {
                // The cells shown: the price right-aligned in the session's
                // price decimals, none without an icitem row.
                const QAbstractItemModel *m = list->model();
                QCOMPARE(m->index(0, 0).data().toString(), QStringLiteral("A100"));
                QCOMPARE(m->index(0, 1).data().toString(), QStringLiteral("Bolt"));
                QVERIFY(!m->index(0, 1).data(Qt::ToolTipRole).isValid());
                QCOMPARE(m->index(0, 2).data().toString(), QStringLiteral("m8-STEEL"));
                QCOMPARE(m->index(0, 3).data().toString(), QStringLiteral("12.500"));
                QCOMPARE(m->index(0, 3).data(Qt::TextAlignmentRole).toInt(), int(Qt::AlignRight | Qt::AlignVCenter));
                QCOMPARE(m->index(3, 3).data().toString(), QString());
            }
            if (downs < 0) // a double-click on the third row
                doubleClick(list->viewport(), list->visualRect(list->model()->index(2, 1)).center());
            else
                QTest::keyClick(search, escape ? Qt::Key_Escape : Qt::Key_Return);
            closedByKeys = !dialog->isVisible();
        });
        const std::optional<SelectedCode> chosen = goods ? codeSelector().selectGoods(s, QStringLiteral("fNumber"), env.db.connectionString(), nullptr)
                                                         : codeSelector().selectBasicData(s, kSuppliers, nullptr);
        QCOMPARE(title, goods ? QStringLiteral("选择商品") : QStringLiteral("选择供应商"));
        QVERIFY(!s.gConn);
        QCOMPARE(bool(chosen), !expected.isEmpty());
        QCOMPARE(closedByKeys, !expected.isEmpty() || escape); // Enter on an empty list keeps it open
        QCOMPARE(shownAfterTyping == 0, expected.isEmpty() && !escape);
        if (!chosen)
            return;
        QCOMPARE(chosen->fnumber, expected);
        // The code chosen is the one of its id in tblItem.
        const QString byId = QStringLiteral(" from tblItem where fitemid=") + chosen->fitemid;
        QCOMPARE(env.db.scalar(QStringLiteral("select fnumber") + byId).toString(), expected);
        QCOMPARE(env.db.scalar(QStringLiteral("select fname") + byId).toString(), chosen->fname);
        if (expected == QLatin1String("G002"))
            QCOMPARE(chosen->fmodel, QStringLiteral("M6"));
    }

    void arrowsKeepFocusInSearchBox()
    {
        QFETCH_GLOBAL(DbEngine, engine);
        Env env(engine);
        std::unique_ptr<CodeSelectorDialog> dialog(CodeSelectorDialog::forBasicData(TestSession::session(), kSuppliers));
        dialog->show();
        QVERIFY(activate(dialog.get()));
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

    void databaseErrorShowsMessageAndNoRows()
    {
        QFETCH_GLOBAL(DbEngine, engine);
        Session &s = TestSession::session();
        Env env(engine);
        const QString missing = QStringLiteral("Driver=SQLite;Database=") + env.ts.folder() + QStringLiteral("/no/such.db");
        for (bool goods : {true, false}) {
            env.ts.prompts().clear();
            std::unique_ptr<CodeSelectorDialog> dialog;
            if (goods) {
                dialog.reset(CodeSelectorDialog::forGoods(s, QStringLiteral("fNumber"), missing));
            } else {
                s.DBConnectionString = missing;
                dialog.reset(CodeSelectorDialog::forBasicData(s, kSuppliers));
            }
            QCOMPARE(dialog->shownRows(), 0);
            expectOneError(env.ts);
            QVERIFY(!s.gConn);
            dialog->choose();
            QVERIFY(!dialog->selected());
        }
    }
};

QTEST_MAIN(TestSelectors)
#include "tst_selectors.moc"
#include "support/TestSession.h"
