// The query dialog, driven offscreen.
#include "query/frmMainBillFind.h"

#include "modules/Session.h"
#include "list/BillListModel.h"
#include "platform/Clock.h"
#include "query/QuerySql.h"
#include "support/QueryModuleHelpers.h"
#include "support/CaseRows.h"
#include "support/ListForms.h"

#include <QAbstractButton>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDateEdit>
#include <QFrame>
#include <QLineEdit>
#include <QTableWidget>
#include <QTest>
#include <QTimer>
#include <QToolButton>

Q_DECLARE_METATYPE(ConditionTable)

namespace {
// Stands in for the code selectors while it lives (the fixture puts the
// default back); answers supplier S007 until told otherwise.
class FakeSelector : public CodeSelector {
public:
    QStringList calls;
    std::optional<SelectedCode> answer = SelectedCode{QStringLiteral("7"), QStringLiteral("S007"), QStringLiteral("某供应商"), QString()};
    FakeSelector() { setCodeSelector(this); }
    std::optional<SelectedCode> selectGoods(Session &, const QString &seekColumn, const QString &connectionString, QWidget *) override
    {
        calls << QStringLiteral("goods:") + seekColumn + u'|' + connectionString;
        return answer;
    }
    std::optional<SelectedCode> selectBasicData(Session &, int itemClassId, QWidget *) override
    {
        calls << QStringLiteral("basic:") + QString::number(itemClassId);
        return answer;
    }
};

struct Env : ListFormsEnv {
    using ListFormsEnv::ListFormsEnv;
    // The dialog on the grid page or the simple one, shown.
    frmMainBillFind *open(bool grid)
    {
        frmMainBillFind *dialog = frmMainBillFind::instance(TestSession::session());
        dialog->setUsesGrid(grid);
        dialog->show();
        return dialog;
    }
};

template <typename T>
T *child(QWidget *parent, const QString &name)
{
    T *w = parent->findChild<T *>(name);
    if (!w)
        qWarning("no %s", qPrintable(name));
    return w;
}

void click(QWidget *dialog, const QString &button)
{
    QTest::mouseClick(child<QAbstractButton>(dialog, button), Qt::LeftButton);
}

// Chooses an item of one of the fixed lists PC_0 to PC_4 by its text.
void choose(QWidget *dialog, const QString &list, const QString &text)
{
    auto *combo = child<QComboBox>(dialog, list);
    combo->setCurrentIndex(combo->findText(text));
}

// A grid holding one condition on the invoice amount in row 1.
ConditionTable amountCondition(const QString &kind, const QString &op, const QString &symbol, const QString &value)
{
    ConditionTable table;
    table.setRowTexts(1, {"", "发票金额", "fAmount", kind, op, symbol, value, "0", "", "0"});
    return table;
}

QStringList comboTexts(QComboBox *combo)
{
    QStringList texts;
    for (int i = 0; i < combo->count(); ++i)
        texts << combo->itemText(i);
    return texts;
}

// Text and code of each item of a fixed list.
QList<FilterItem> comboItems(QComboBox *combo)
{
    QList<FilterItem> items;
    for (int i = 0; i < combo->count(); ++i)
        items.append({combo->itemText(i), combo->itemData(i).toInt()});
    return items;
}

// The drop-down editor open in the grid (closed editors are hidden until
// they are deleted).
QComboBox *openDropDown(QTableWidget *grid)
{
    for (QComboBox *combo : grid->findChildren<QComboBox *>())
        if (!combo->isHidden())
            return combo;
    return nullptr;
}

// Picks an item of a drop-down editor of the grid, as the user does.
bool pickInGrid(QTableWidget *grid, int row, int column, const QString &text)
{
    grid->setCurrentCell(row - 1, column - 1);
    grid->edit(grid->model()->index(row - 1, column - 1));
    QComboBox *combo = openDropDown(grid);
    if (!combo)
        return false;
    const int index = combo->findText(text);
    if (index < 0)
        return false;
    combo->setCurrentIndex(index);
    emit combo->activated(index);
    QCoreApplication::processEvents();
    flushDeletes();
    return true;
}

QString cellOf(QTableWidget *grid, int row, int column)
{
    return grid->item(row - 1, column - 1)->text();
}
} // namespace

// page: "grid", "simple"; range: text of PC_1; note: typed into the simple page's box for fNote; where: the same rows, as the test writes it
struct OkFillsAndShowsTheListCase { const char *name; QString page; QString range; QString hostSql; ConditionTable conditions; QString note; QString where; };
Q_DECLARE_METATYPE(OkFillsAndShowsTheListCase)

// icon: of the one message shown; 0: none; message: what the message must say
struct OkRefusesWhatCannotRunCase { const char *name; ConditionTable conditions; QString hostSql; int icon; QString message; };
Q_DECLARE_METATYPE(OkRefusesWhatCannotRunCase)

class TestFrmMainBillFind : public QObject {
    Q_OBJECT

private slots:
    void initTestCase_data() { addEngineRows(); }
    void dateRange_data()
    {
        QTest::addColumn<bool>("withYear");
        QTest::addColumn<QString>("stored"); // null: no settings file yet
        QTest::addColumn<QString>("shown");
        QTest::newRow("first opening, year set") << true << QString() << "全部";
        QTest::newRow("本期 kept") << true << "1" << "本期";
        QTest::newRow("index 1 without a year") << false << "1" << "本月";
        QTest::newRow("out of range") << true << "9" << "全部";
        QTest::newRow("not a number") << true << "abc" << "全部";
    }

    void dateRange()
    {
        QFETCH_GLOBAL(DbEngine, engine);
        QFETCH(bool, withYear);
        QFETCH(QString, stored);
        QFETCH(QString, shown);
        Env env(engine);
        QVERIFY2(env.startError.isEmpty(), qPrintable(env.startError));
        Session &s = TestSession::session();
        QVERIFY(s.gCurrentYear != 0);
        if (!withYear)
            s.gCurrentYear = 0;
        if (stored.isNull())
            QVERIFY(!QFile::exists(IniPath(s)));
        else
            WriteIni(s, QStringLiteral("OvStock"), QStringLiteral("A71"), stored);

        frmMainBillFind *dialog = frmMainBillFind::instance(s);
        auto *range = child<QComboBox>(dialog, QStringLiteral("PC_1"));
        QCOMPARE(comboItems(range), FixedFilters::items(FixedFilters::DateRange, withYear));
        QCOMPARE(range->currentText(), shown);
        // Reading the absent key wrote the default.
        if (stored.isNull())
            QCOMPARE(env.iniValue(QStringLiteral("OvStock"), QStringLiteral("A71")), QString::number(range->currentIndex()));
        // The other lists open at "全部": no fixed condition but the range's.
        if (shown == u"全部")
            QCOMPARE(dialog->mainSQL(), QString());
        else if (shown == u"本期")
            QCOMPARE(dialog->mainSQL(), QStringLiteral(" and fYear=%1 and fperiod=%2").arg(s.gCurrentYear).arg(s.gCurrentPeriod));

        // Closing writes the range chosen.
        dialog->show();
        child<QComboBox>(dialog, QStringLiteral("PC_1"))->setCurrentIndex(2);
        click(dialog, QStringLiteral("cmdXPClose"));
        QVERIFY(dialog->isHidden());
        QCOMPARE(env.iniValue(QStringLiteral("OvStock"), QStringLiteral("A71")), QStringLiteral("2"));
        flushDeletes();
        // Closed on its own, the dialog is let go: the next query starts afresh
        // and finds the stored range.
        QVERIFY(!frmMainBillFind::existingInstance());
        QCOMPARE(child<QComboBox>(frmMainBillFind::instance(s), QStringLiteral("PC_1"))->currentIndex(), 2);
    }

    // The grid's drop-down editors, and the value lookup of a coded field.
    void gridEditors()
    {
        QFETCH_GLOBAL(DbEngine, engine);
        Env env(engine);
        FakeSelector selector;
        frmMainBillFind *dialog = env.open(true);
        QVERIFY(dialog->catalogueLoaded());
        auto *grid = child<QTableWidget>(dialog, QStringLiteral("fps1"));

        // Row 1 has no connector editor.
        grid->edit(grid->model()->index(0, 0));
        QVERIFY(!openDropDown(grid));

        QVERIFY(pickInGrid(grid, 2, 1, QStringLiteral("或")));
        QVERIFY(pickInGrid(grid, 2, 2, QStringLiteral("发票金额")));
        QCOMPARE(dialog->conditionTable().rowTexts(2),
                 (QStringList{"或", "发票金额", "fAmount", "1", "", "", "", "0", "", "0"}));
        QVERIFY(pickInGrid(grid, 2, 5, QStringLiteral("大于等于")));
        QCOMPARE(cellOf(grid, 2, 6), QStringLiteral(">="));
        grid->item(1, 6)->setText(QStringLiteral("1000"));
        // Picking the same field again keeps the row as it is.
        QVERIFY(pickInGrid(grid, 2, 2, QStringLiteral("发票金额")));
        QCOMPARE(cellOf(grid, 2, 7), QStringLiteral("1000"));

        // Another field goes through the model: the date field starts at today.
        QVERIFY(pickInGrid(grid, 2, 2, QStringLiteral("日期")));
        QCOMPARE(cellOf(grid, 2, 3), QStringLiteral("fdate"));
        QCOMPARE(cellOf(grid, 2, 7), Clock::today().toString(QStringLiteral("yyyy-MM-dd")));

        // The operator list follows the field's kind.
        QVERIFY(pickInGrid(grid, 3, 2, QStringLiteral("制单人")));
        grid->edit(grid->model()->index(2, 4));
        QComboBox *ops = openDropDown(grid);
        QVERIFY(ops);
        QCOMPARE(comboTexts(ops), operatorNames(2));
        emit grid->itemDelegate()->closeEditor(ops, QAbstractItemDelegate::RevertModelCache);
        flushDeletes();

        click(dialog, QStringLiteral("cmdClearSeek"));
        QVERIFY(dialog->conditionTable().isEmpty());
        QCOMPARE(grid->currentRow(), 0);
        QCOMPARE(grid->currentColumn(), 1);

        // 供应商代码 carries the supplier class: the basic-data selector.
        QVERIFY(pickInGrid(grid, 1, 2, QStringLiteral("供应商代码")));
        QVERIFY(pickInGrid(grid, 1, 5, QStringLiteral("等于")));
        grid->setCurrentCell(0, 6);
        QTest::keyClick(grid, Qt::Key_F7);
        QCOMPARE(selector.calls, QStringList{QStringLiteral("basic:4")});
        QCOMPARE(cellOf(grid, 1, 7), QStringLiteral("S007"));
        QCOMPARE(dialog->seekSQL(), QStringLiteral(" and ( fSupplyIdNumber='S007'"));

        // A double click on the value cell starts the lookup too.
        selector.answer->fnumber = QStringLiteral("S008");
        doubleClick(grid->viewport(), grid->visualRect(grid->model()->index(0, 6)).center());
        QCOMPARE(selector.calls.size(), 2);
        QCOMPARE(cellOf(grid, 1, 7), QStringLiteral("S008"));

        // A goods field (item type 0) opens the goods selector with the user's
        // search column and the connection; a field without a class types freely.
        ConditionTable table = dialog->conditionTable();
        table.setRowTexts(2, {"与", "商品", "fItemNumber", "2", "等于", "=", "", "3", "fnumber", "0"});
        table.setRowTexts(3, {"与", "备注", "fNote", "2", "包含", "Like", "", "0", "", "0"});
        dialog->setConditionTable(table);
        dialog->lookupValue(2);
        QCOMPARE(selector.calls.last(), QStringLiteral("goods:fNumber|") + env.db.connectionString());
        dialog->lookupValue(3);
        QCOMPARE(selector.calls.size(), 3);

        // Cancelling leaves the value.
        selector.answer.reset();
        dialog->lookupValue(1);
        QCOMPARE(cellOf(grid, 1, 7), QStringLiteral("S008"));
    }

    void simplePageKeys()
    {
        QFETCH_GLOBAL(DbEngine, engine);
        Env env(engine);
        FakeSelector selector;
        frmMainBillFind *dialog = env.open(false);
        QVERIFY(activate(dialog));

        // Which box is coded comes from its tag; each searches a column of the bill view.
        const TextBoxes boxes = dialog->textBoxes();
        int coded = -1, plain = -1;
        for (int i = 0; i < boxes.size(); ++i) {
            (boxes[i].second.split(u',').value(1) == u"1" ? coded : plain) = i;
            const QString column = boxes[i].second.split(u',').value(2);
            QVERIFY2(env.db.conn().openRecordset("select " + column + " from vPurFP where 1=0").fieldCount() == 1, qPrintable(column));
        }
        QVERIFY(coded >= 0 && plain >= 0);
        auto *codedBox = child<QLineEdit>(dialog, QStringLiteral("txt_%1").arg(coded));
        auto *plainBox = child<QLineEdit>(dialog, QStringLiteral("txt_%1").arg(plain));

        QTest::keyClick(plainBox, Qt::Key_F7);
        QVERIFY(selector.calls.isEmpty());
        QTest::keyClick(codedBox, Qt::Key_F7);
        QCOMPARE(selector.calls, QStringList{QStringLiteral("basic:4")});
        QCOMPARE(codedBox->text(), QStringLiteral("S007"));

        codedBox->clear();
        plainBox->setFocus();
        click(dialog, QStringLiteral("ImgSeek_%1").arg(coded));
        QCOMPARE(codedBox->text(), QStringLiteral("S007"));
        QVERIFY(codedBox->hasFocus());
        QVERIFY(!child<QToolButton>(dialog, QStringLiteral("ImgSeek_%1").arg(plain))->isVisibleTo(dialog));

        // Enter moves on like Tab and runs nothing; the keypad's Enter too.
        plainBox->setFocus();
        QTest::keyClick(plainBox, Qt::Key_Return);
        QVERIFY(!plainBox->hasFocus());
        plainBox->setFocus();
        QTest::keyClick(plainBox, Qt::Key_Enter, Qt::KeypadModifier);
        QVERIFY(!plainBox->hasFocus());
        QVERIFY(dialog->isVisible());
        QVERIFY(!frmMainBillResult::existingInstance());
        auto *start = child<QDateEdit>(dialog, QStringLiteral("dtp_0"));
        start->setFocus();
        QTest::keyClick(start, Qt::Key_Enter, Qt::KeypadModifier);
        QVERIFY(!start->hasFocus());
        QVERIFY(!frmMainBillResult::existingInstance());

        // Check1 switches the pages; each page gives its own condition.
        auto *check = child<QCheckBox>(dialog, QStringLiteral("Check1"));
        auto *grid = child<QTableWidget>(dialog, QStringLiteral("fps1"));
        auto *frame = child<QFrame>(dialog, QStringLiteral("Frame1"));

        check->setChecked(true);
        QVERIFY(grid->isVisible() && !frame->isVisible());
        const ConditionTable table = amountCondition("1", "大于", ">", "1000");
        dialog->setConditionTable(table);
        QCOMPARE(dialog->seekSQL(), buildSeekSQL(table));

        check->setChecked(false);
        QVERIFY(!grid->isVisible() && frame->isVisible());
        child<QDateEdit>(dialog, QStringLiteral("dtp_0"))->setDate(QDate(2024, 1, 1));
        child<QDateEdit>(dialog, QStringLiteral("dtp_1"))->setDate(QDate(2024, 12, 31));
        child<QLineEdit>(dialog, QStringLiteral("txt_0"))->setText(QStringLiteral(" 0001 "));
        QVERIFY(dialog->seekSQL().contains(QStringLiteral(" and fbillno like '%0001%' escape '\\'  ")));

        choose(dialog, QStringLiteral("PC_2"), QStringLiteral("未审核"));
        choose(dialog, QStringLiteral("PC_4"), QStringLiteral("蓝字"));
        QCOMPARE(dialog->mainSQL(), QStringLiteral(" and fstatus=0 and frob=0"));
        QCOMPARE(dialog->orderSQL(), QString());
    }

    void schemes()
    {
        QFETCH_GLOBAL(DbEngine, engine);
        Env env(engine);
        frmMainBillFind *dialog = frmMainBillFind::instance(TestSession::session());
        dialog->show();
        auto *schemes = child<QTableWidget>(dialog, QStringLiteral("fps3"));
        QCOMPARE(schemes->rowCount(), 0);
        auto &prompts = env.prompts();

        // No name: nothing is written.
        prompts.inputs.push_back(QString());
        click(dialog, QStringLiteral("Pic1_0"));
        QCOMPARE(prompts.calls.front().text, QStringLiteral("请输入方案名称"));
        QCOMPARE(prompts.lastMessage().text, QStringLiteral("请输入方案名称!"));
        QCOMPARE(env.db.scalar(QStringLiteral("select count(*) from tblProject")).toInt(), 0);

        const ConditionTable table = amountCondition("1", "大于", ">", "1000");
        dialog->setConditionTable(table);
        prompts.inputs.push_back(QStringLiteral("大额发票"));
        click(dialog, QStringLiteral("Pic1_0"));
        QCOMPARE(prompts.lastMessage().text, QStringLiteral("方案保存成功!"));
        QCOMPARE(prompts.lastMessage().icon, int(Prompt::Information));
        QCOMPARE(schemes->rowCount(), 1);
        QCOMPARE(schemes->item(0, 0)->text(), QStringLiteral("大额发票"));
        QCOMPARE(schemes->item(0, 1)->text(), QStringLiteral("1"));

        // Clear, then a click on the scheme brings it back and ticks Check1.
        child<QCheckBox>(dialog, QStringLiteral("Check1"))->setChecked(false);
        click(dialog, QStringLiteral("Pic1_2"));
        QVERIFY(dialog->conditionTable().isEmpty());
        QTest::mouseClick(schemes->viewport(), Qt::LeftButton, {}, schemes->visualRect(schemes->model()->index(0, 0)).center());
        QCOMPARE(dialog->conditionTable(), table);
        QVERIFY(dialog->usesGrid());

        // Delete asks; No keeps it, Yes removes it.
        prompts.clear();
        prompts.answers.push_back(Prompt::No);
        click(dialog, QStringLiteral("Pic1_1"));
        QCOMPARE(prompts.lastMessage().text, QStringLiteral("确定要删除吗?"));
        QCOMPARE(prompts.lastMessage().buttons, int(Prompt::YesNo));
        QCOMPARE(schemes->rowCount(), 1);
        prompts.answers.push_back(Prompt::Yes);
        click(dialog, QStringLiteral("Pic1_1"));
        QCOMPARE(prompts.lastMessage().text, QStringLiteral("删除成功!"));
        QCOMPARE(schemes->rowCount(), 0);
        QCOMPARE(env.db.scalar(QStringLiteral("select count(*) from tblProject")).toInt(), 0);
        // Nothing selected: nothing asked.
        prompts.clear();
        click(dialog, QStringLiteral("Pic1_1"));
        QVERIFY(prompts.calls.empty());
    }

    void okFillsAndShowsTheList_data()
    {
        const QString today = Clock::today().toString(QStringLiteral("yyyy-MM-dd"));
        const QString monthAgo = Clock::today().addMonths(-1).toString(QStringLiteral("yyyy-MM-dd"));
        const ConditionTable none;
        ConditionTable alwaysTrue;
        alwaysTrue.setRowTexts(1, {"", "备注", "fNote", "2", "等于", "=", kAlwaysTrue, "0", "", "0"});
        addCaseRows<OkFillsAndShowsTheListCase>({
            {"grid, everything", "grid", "全部", QString(), none, QString(), QString()},
            {"simple page, empty boxes", "simple", "全部", QString(), none, QString(), QStringLiteral(" and fdate>='%1' and fdate<='%2'").arg(monthAgo, today)},
            {"current period and host condition", "grid", "本期", " and fAmount>1000", none, QString(), "CURRENT and fAmount>1000"},
            // Typed values reach the list as data from either page (every kind of
            // value is run against both engines by the statement tests).
            {"always true is a note", "grid", "全部", QString(), alwaysTrue, QString(), " and finterid=900011"},
            {"simple page, delete is a note", "simple", "全部", QString(), none, kDeleteBills, " and finterid=900012"},
        });
    }

    void okFillsAndShowsTheList()
    {
        QFETCH_GLOBAL(DbEngine, engine);
        QFETCH(OkFillsAndShowsTheListCase, row);
        auto [caseName, page, range, hostSql, conditions, note, where] = row;
        Env env(engine);
        seedTypedBills(env.db, Clock::today());
        Session &s = TestSession::session();
        s.gFindSql = hostSql;
        where.replace(QStringLiteral("CURRENT"), QStringLiteral(" and fyear=%1 and fperiod=%2").arg(s.gCurrentYear).arg(s.gCurrentPeriod));
        const int expected = env.count(where);
        const QString before = billsSnapshot(env.db);

        frmMainBillFind *dialog = frmMainBillFind::instance(s);
        dialog->setUsesGrid(page == u"grid");
        choose(dialog, QStringLiteral("PC_1"), range);
        dialog->setConditionTable(conditions);
        const TextBoxes boxes = dialog->textBoxes();
        for (int i = 0; i < boxes.size(); ++i) {
            if (boxes[i].second.split(u',').value(2) == u"fNote")
                child<QLineEdit>(dialog, QStringLiteral("txt_%1").arg(i))->setText(note);
        }
        const QString seek = dialog->seekSQL();
        dialog->show();

        int shown = -1;
        bool modal = false;
        QTimer::singleShot(0, [&] {
            frmMainBillResult *list = frmMainBillResult::existingInstance();
            if (!list)
                return;
            modal = QApplication::activeModalWidget() == list;
            shown = list->isVisible() ? list->model()->dataRowCount() : -1;
            list->MenuFileExit_Click();
        });
        click(dialog, QStringLiteral("cmdXPOK"));
        QVERIFY(modal);
        QCOMPARE(shown, expected);
        QVERIFY(env.prompts().calls.empty());
        QCOMPARE(s.gSeekSql, seek);
        QCOMPARE(billsSnapshot(env.db), before);
        flushDeletes();
        QVERIFY(!frmMainBillFind::existingInstance());
        QCOMPARE(env.iniValue(QStringLiteral("OvStock"), QStringLiteral("A71")), QString::number(range == u"本期" ? 1 : 4));
    }

    void okRefusesWhatCannotRun_data()
    {
        const int refused = Prompt::Exclamation;
        const QString notNumber = QStringLiteral("第1行“发票金额”的值不是数字");
        addCaseRows<OkRefusesWhatCannotRunCase>({
            // A kind that is not a number cannot be read: nothing to tell the user.
            {"kind that is no number", amountCondition("x", "大于", ">", "1"), QString(), 0, QString()},
            {"amount with a second statement", amountCondition("1", "大于", ">", "0; delete from tblFPEntry; delete from tblFP"), QString(), refused, notNumber},
            // The host's condition is trusted as it stands; the engine's own error
            // tells what it made of it.
            {"host condition the database refuses", amountCondition("1", "大于", ">", "1"), " and fNoSuchColumn=1", int(Prompt::Critical), QString()},
            // Even the host's condition cannot carry a second statement.
            {"host condition with a second statement", amountCondition("1", "大于", ">", "1"), " and 1=1; delete from tblFPEntry; delete from tblFP", int(Prompt::Critical), QStringLiteral("一次只能执行一条SQL语句")},
        });
    }

    void okRefusesWhatCannotRun()
    {
        QFETCH_GLOBAL(DbEngine, engine);
        QFETCH(OkRefusesWhatCannotRunCase, row);
        Session &s = TestSession::session();
        auto [caseName, conditions, hostSql, icon, message] = row;
        Env env(engine);
        const QString before = billsSnapshot(env.db);
        s.gFindSql = hostSql;
        // The condition of the last query that ran; one that cannot run must
        // not take its place for the list's refills.
        s.gSeekSql = QStringLiteral(" and ( fAmount >0");
        frmMainBillFind *dialog = env.open(true);
        dialog->setConditionTable(conditions);
        click(dialog, QStringLiteral("cmdXPOK"));
        QVERIFY(dialog->isVisible());
        QCOMPARE(s.gSeekSql, QStringLiteral(" and ( fAmount >0"));
        if (icon == Prompt::Critical) {
            QVERIFY(!frmMainBillResult::existingInstance()->isVisible());
        } else {
            // No list was made, so no statement ran.
            QVERIFY(!frmMainBillResult::existingInstance());
        }
        if (icon == 0) {
            QVERIFY(env.prompts().calls.empty());
        } else {
            QCOMPARE(int(env.prompts().messages().size()), 1);
            const Prompt::Call shownMessage = env.prompts().lastMessage();
            QVERIFY2(shownMessage.text.contains(message), qPrintable(shownMessage.text));
            QCOMPARE(shownMessage.icon, icon);
            QCOMPARE(shownMessage.title, s.msgTitle);
        }
        QCOMPARE(billsSnapshot(env.db), before);

        // Closing the dialog then lets an unshown list go too: the next query
        // may be a selection and needs a list made for it.
        click(dialog, QStringLiteral("cmdXPClose"));
        flushDeletes();
        QVERIFY(!frmMainBillFind::existingInstance());
        QVERIFY(!frmMainBillResult::existingInstance());
    }

    void findInfo1ThroughTheComponent()
    {
        QFETCH_GLOBAL(DbEngine, engine);
        Env env(engine);
        // The component registers the query dialog as what the find methods open.
        auto component = clsCGIn::create();
        QVERIFY(component);
        TestSession::session().msgTitle = QStringLiteral("测试");
        const QString where = QStringLiteral(" and fstatus=1");
        QString expected;
        QTimer::singleShot(0, [&] {
            auto *dialog = qobject_cast<frmMainBillFind *>(QApplication::activeModalWidget());
            if (!dialog)
                return;
            dialog->setUsesGrid(true);
            QTimer::singleShot(0, [&] {
                frmMainBillResult *list = frmMainBillResult::existingInstance();
                if (!list)
                    return;
                list->selectRows({1, 3});
                expected = list->model()->interIdText(1) + u',' + list->model()->interIdText(3);
                list->MenuEditAppend_Click();
                // Nothing was selected: leave without choosing.
                if (list->isVisible())
                    list->MenuFileExit_Click();
            });
            click(dialog, QStringLiteral("cmdXPOK"));
        });
        component->findInfo1(where);
        QVERIFY(!expected.isEmpty());
        QCOMPARE(component->ReturnString(), expected);
        for (const QString &id : expected.split(u','))
            QCOMPARE(env.db.scalar(QStringLiteral("select fstatus from tblFP where finterid=") + id).toInt(), 1);
        flushDeletes();
        QVERIFY(!frmMainBillFind::existingInstance());
        QVERIFY(!frmMainBillResult::existingInstance());
    }
};

QTEST_MAIN(TestFrmMainBillFind)
#include "tst_frmmainbillfind.moc"
#include "support/TestSession.h"
