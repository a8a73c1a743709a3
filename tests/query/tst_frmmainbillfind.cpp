// The query dialog, driven offscreen: its fixed lists and their stored
// date range, the condition grid's editors, the value lookup and F7, the
// pages, the saved schemes, and OK, which fills and shows the list.
#include "query/frmMainBillFind.h"

#include "component/FormLauncher.h"
#include "component/Session.h"
#include "component/clsCGIn.h"
#include "list/BillListModel.h"
#include "list/frmMainBillResult.h"
#include "modules/CodeSelectors.h"
#include "modules/SetupIni.h"
#include "platform/Clock.h"
#include "platform/IniFile.h"
#include "query/QuerySql.h"
#include "support/TestDatabase.h"
#include "support/TestSession.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDateEdit>
#include <QDir>
#include <QFrame>
#include <QHeaderView>
#include <QLineEdit>
#include <QPushButton>
#include <QTableWidget>
#include <QTest>
#include <QTimer>
#include <QToolButton>

namespace {
void flushDeletes()
{
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

class FakeSelector : public CodeSelector {
public:
    QStringList calls;
    std::optional<SelectedCode> answer;
    std::optional<SelectedCode> selectGoods(const QString &seekColumn, const QString &connectionString, QWidget *) override
    {
        calls << QStringLiteral("goods:") + seekColumn + u'|' + connectionString;
        return answer;
    }
    std::optional<SelectedCode> selectBasicData(int itemClassId, QWidget *) override
    {
        calls << QStringLiteral("basic:") + QString::number(itemClassId);
        return answer;
    }
};

struct Env {
    TestSession ts;
    TestDatabase db;
    QString startError;
    explicit Env(DbEngine engine, int userId = 1, bool admin = true)
        : db(engine, TestDatabase::Content::Demo)
    {
        ts.writeHostSettings(db.connectionString(), userId, admin);
        startError = ts.start();
        session().msgTitle = QStringLiteral("测试");
    }
    ~Env()
    {
        if (frmMainBillResult *list = frmMainBillResult::existingInstance())
            list->menuFileExit();
        frmMainBillFind::releaseInstance();
        flushDeletes();
        setCodeSelector(nullptr);
    }
    Prompt::RecordingResponder &prompts() { return ts.prompts(); }
    int count(const QString &where)
    {
        return db.scalar(QStringLiteral("select count(*) from vPurFP where 1=1 ") + where).toInt();
    }
    QString iniValue(const QString &key)
    {
        return IniFile(IniPath()).value(QStringLiteral("OvStock"), key).value_or(QStringLiteral("<absent>"));
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

QStringList comboTexts(QComboBox *combo)
{
    QStringList texts;
    for (int i = 0; i < combo->count(); ++i)
        texts << combo->itemText(i);
    return texts;
}

QList<int> comboCodes(QComboBox *combo)
{
    QList<int> codes;
    for (int i = 0; i < combo->count(); ++i)
        codes << combo->itemData(i).toInt();
    return codes;
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

class TestFrmMainBillFind : public QObject {
    Q_OBJECT

private slots:
    void dateRangeOnFirstOpening_data();
    void dateRangeOnFirstOpening();
    void storedDateRange_data();
    void storedDateRange();
    void closingWritesTheDateRange_data() { addEngineRows(); }
    void closingWritesTheDateRange();
    void controls_data() { addEngineRows(); }
    void controls();
    void gridEditors_data() { addEngineRows(); }
    void gridEditors();
    void valueLookup_data() { addEngineRows(); }
    void valueLookup();
    void simplePageKeys_data() { addEngineRows(); }
    void simplePageKeys();
    void pagesAndSeekCondition_data() { addEngineRows(); }
    void pagesAndSeekCondition();
    void schemes_data() { addEngineRows(); }
    void schemes();
    void okFillsAndShowsTheList_data();
    void okFillsAndShowsTheList();
    void okWithAMalformedGridStays_data() { addEngineRows(); }
    void okWithAMalformedGridStays();
    void okWhileTheListIsOpenRefillsIt_data() { addEngineRows(); }
    void okWhileTheListIsOpenRefillsIt();
    void findInfo1ThroughTheComponent_data() { addEngineRows(); }
    void findInfo1ThroughTheComponent();
    void renders();
};

void TestFrmMainBillFind::dateRangeOnFirstOpening_data()
{
    QTest::addColumn<DbEngine>("engine");
    QTest::addColumn<bool>("withYear");
    for (DbEngine e : TestDatabase::engines()) {
        QTest::newRow(qPrintable(engineTag(e, QStringLiteral("year set")))) << e << true;
        QTest::newRow(qPrintable(engineTag(e, QStringLiteral("year 0")))) << e << false;
    }
}

void TestFrmMainBillFind::dateRangeOnFirstOpening()
{
    QFETCH(DbEngine, engine);
    QFETCH(bool, withYear);
    Env env(engine);
    QVERIFY2(env.startError.isEmpty(), qPrintable(env.startError));
    QVERIFY(session().gCurrentYear != 0);
    if (!withYear)
        session().gCurrentYear = 0;
    QVERIFY(!QFile::exists(IniPath()));
    frmMainBillFind *dialog = frmMainBillFind::instance();
    auto *range = child<QComboBox>(dialog, QStringLiteral("PC_1"));
    if (withYear) {
        QCOMPARE(comboTexts(range), (QStringList{"今天", "本期", "本月", "今年", "全部"}));
        QCOMPARE(comboCodes(range), (QList<int>{1, 20, 2, 3, 10}));
    } else {
        QCOMPARE(comboTexts(range), (QStringList{"今天", "本月", "今年", "全部"}));
    }
    QCOMPARE(range->currentText(), QStringLiteral("全部"));
    // Reading the absent key wrote the default.
    QCOMPARE(env.iniValue(QStringLiteral("A71")), QString::number(range->currentIndex()));
    // The other lists open at "全部" too: no fixed condition at all.
    QCOMPARE(dialog->mainSQL(), QString());
}

void TestFrmMainBillFind::storedDateRange_data()
{
    QTest::addColumn<DbEngine>("engine");
    QTest::addColumn<bool>("withYear");
    QTest::addColumn<QString>("stored");
    QTest::addColumn<QString>("shown");
    for (DbEngine e : TestDatabase::engines()) {
        QTest::newRow(qPrintable(engineTag(e, QStringLiteral("本期 kept")))) << e << true << "1" << "本期";
        QTest::newRow(qPrintable(engineTag(e, QStringLiteral("index 4 without a year")))) << e << false << "4" << "全部";
        QTest::newRow(qPrintable(engineTag(e, QStringLiteral("index 1 without a year")))) << e << false << "1" << "本月";
        QTest::newRow(qPrintable(engineTag(e, QStringLiteral("out of range")))) << e << true << "9" << "全部";
        QTest::newRow(qPrintable(engineTag(e, QStringLiteral("not a number")))) << e << true << "abc" << "全部";
    }
}

void TestFrmMainBillFind::storedDateRange()
{
    QFETCH(DbEngine, engine);
    QFETCH(bool, withYear);
    QFETCH(QString, stored);
    QFETCH(QString, shown);
    Env env(engine);
    if (!withYear)
        session().gCurrentYear = 0;
    WriteIni(QStringLiteral("OvStock"), QStringLiteral("A71"), stored);
    frmMainBillFind *dialog = frmMainBillFind::instance();
    QCOMPARE(child<QComboBox>(dialog, QStringLiteral("PC_1"))->currentText(), shown);
    if (shown == u"本期") {
        const Session &s = session();
        QCOMPARE(dialog->mainSQL(), QStringLiteral(" and fYear=%1 and fperiod=%2").arg(s.gCurrentYear).arg(s.gCurrentPeriod));
    }
}

void TestFrmMainBillFind::closingWritesTheDateRange()
{
    QFETCH(DbEngine, engine);
    Env env(engine);
    frmMainBillFind *dialog = frmMainBillFind::instance();
    dialog->show();
    child<QComboBox>(dialog, QStringLiteral("PC_1"))->setCurrentIndex(2);
    QTest::mouseClick(child<QPushButton>(dialog, QStringLiteral("cmdXPClose")), Qt::LeftButton);
    QVERIFY(dialog->isHidden());
    QCOMPARE(env.iniValue(QStringLiteral("A71")), QStringLiteral("2"));
    flushDeletes();
    // Closed on its own, the dialog is let go: the next query starts afresh
    // and finds the stored range.
    QVERIFY(!frmMainBillFind::existingInstance());
    QCOMPARE(child<QComboBox>(frmMainBillFind::instance(), QStringLiteral("PC_1"))->currentText(), QStringLiteral("本月"));
}

void TestFrmMainBillFind::controls()
{
    QFETCH(DbEngine, engine);
    Env env(engine);
    frmMainBillFind *dialog = frmMainBillFind::instance();
    QCOMPARE(dialog->objectName(), QStringLiteral("frmMainBillFind"));
    QCOMPARE(dialog->windowTitle(), QStringLiteral("采购发票查询"));
    auto *grid = child<QTableWidget>(dialog, QStringLiteral("fps1"));
    QCOMPARE(grid->rowCount(), 10);
    QCOMPARE(grid->columnCount(), 10);
    QList<int> hidden;
    for (int c = 0; c < 10; ++c)
        if (grid->isColumnHidden(c))
            hidden << c + 1;
    QCOMPARE(hidden, (QList<int>{3, 4, 6, 8, 9, 10}));
    QVERIFY(!(grid->item(0, 0)->flags() & Qt::ItemIsEditable));
    QVERIFY(grid->item(1, 0)->flags() & Qt::ItemIsEditable);

    const struct {
        int list;
        QStringList texts;
        QList<int> codes;
    } lists[] = {
        {0, {"未钩稽", "部分钩稽", "全部钩稽", "全部"}, {0, 1, 2, 10}},
        {2, {"审核", "未审核", "全部"}, {1, 2, 10}},
        {3, {"作废", "正常", "全部"}, {1, 2, 10}},
        {4, {"红字", "蓝字", "全部"}, {1, 0, 10}},
    };
    for (const auto &l : lists) {
        auto *combo = child<QComboBox>(dialog, QStringLiteral("PC_%1").arg(l.list));
        QCOMPARE(comboTexts(combo), l.texts);
        QCOMPARE(comboCodes(combo), l.codes);
        QCOMPARE(combo->currentText(), QStringLiteral("全部"));
    }
    for (const char *name : {"Frame1", "Check1", "fps3", "Pic1_0", "Pic1_1", "Pic1_2", "cmdXPOK", "cmdXPClose", "cmdClearSeek", "dtp_0", "dtp_1"})
        QVERIFY2(dialog->findChild<QWidget *>(QString::fromLatin1(name)), name);
    const TextBoxes boxes = dialog->textBoxes();
    QVERIFY(boxes.size() >= 2);
    for (int i = 0; i < boxes.size(); ++i) {
        QVERIFY(child<QLineEdit>(dialog, QStringLiteral("txt_%1").arg(i)));
        QVERIFY(child<QToolButton>(dialog, QStringLiteral("ImgSeek_%1").arg(i)));
        // The third item of the tag is a column of the bill view.
        const QString column = boxes[i].second.split(u',').value(2);
        QVERIFY2(env.db.conn().openRecordset(QStringLiteral("select ") + column + QStringLiteral(" from vPurFP where 1=0")).fieldCount() == 1,
                 qPrintable(column));
    }
    QCOMPARE(child<QDateEdit>(dialog, QStringLiteral("dtp_0"))->date(), Clock::today().addMonths(-1));
    QCOMPARE(child<QDateEdit>(dialog, QStringLiteral("dtp_1"))->date(), Clock::today());
}

void TestFrmMainBillFind::gridEditors()
{
    QFETCH(DbEngine, engine);
    Env env(engine);
    frmMainBillFind *dialog = frmMainBillFind::instance();
    dialog->setUsesGrid(true);
    dialog->show();
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

    // Another field clears the value; an operator it also offers stays.
    QVERIFY(pickInGrid(grid, 2, 2, QStringLiteral("日期")));
    QCOMPARE(cellOf(grid, 2, 3), QStringLiteral("fdate"));
    QCOMPARE(cellOf(grid, 2, 5), QStringLiteral("大于等于"));
    QCOMPARE(cellOf(grid, 2, 7), Clock::today().toString(QStringLiteral("yyyy-MM-dd")));
    // One it does not offer is cleared, so the row drops out until the
    // user picks again.
    QVERIFY(pickInGrid(grid, 2, 5, QStringLiteral("不等于")));
    QVERIFY(pickInGrid(grid, 2, 2, QStringLiteral("单据编号")));
    QCOMPARE(cellOf(grid, 2, 5), QStringLiteral("不等于"));
    QVERIFY(pickInGrid(grid, 2, 5, QStringLiteral("包含")));
    QCOMPARE(cellOf(grid, 2, 6), QStringLiteral("Like"));
    QVERIFY(pickInGrid(grid, 2, 2, QStringLiteral("发票金额")));
    QCOMPARE(cellOf(grid, 2, 5), QString());
    QCOMPARE(cellOf(grid, 2, 6), QString());
    // "无" empties the hidden columns.
    QVERIFY(pickInGrid(grid, 2, 2, QStringLiteral("无")));
    QCOMPARE(dialog->conditionTable().rowTexts(2), (QStringList{"或", "无", "", "", "", "", "", "", "", ""}));

    // The operator list follows the field's kind.
    QVERIFY(pickInGrid(grid, 3, 2, QStringLiteral("制单人")));
    grid->edit(grid->model()->index(2, 4));
    QComboBox *ops = openDropDown(grid);
    QVERIFY(ops);
    QCOMPARE(comboTexts(ops), operatorNames(2));
    emit grid->itemDelegate()->closeEditor(ops, QAbstractItemDelegate::RevertModelCache);
    flushDeletes();

    QTest::mouseClick(child<QPushButton>(dialog, QStringLiteral("cmdClearSeek")), Qt::LeftButton);
    QVERIFY(dialog->conditionTable().isEmpty());
    QCOMPARE(grid->currentRow(), 0);
    QCOMPARE(grid->currentColumn(), 1);
}

void TestFrmMainBillFind::valueLookup()
{
    QFETCH(DbEngine, engine);
    Env env(engine);
    FakeSelector selector;
    setCodeSelector(&selector);
    selector.answer = SelectedCode{QStringLiteral("7"), QStringLiteral("S007"), QStringLiteral("某供应商"), QString()};
    frmMainBillFind *dialog = frmMainBillFind::instance();
    dialog->setUsesGrid(true);
    dialog->show();
    auto *grid = child<QTableWidget>(dialog, QStringLiteral("fps1"));

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
    const QRect cell = grid->visualRect(grid->model()->index(0, 6));
    // The press and release that come before a double click on a screen.
    QTest::mouseClick(grid->viewport(), Qt::LeftButton, {}, cell.center());
    QTest::mouseDClick(grid->viewport(), Qt::LeftButton, {}, cell.center());
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

void TestFrmMainBillFind::simplePageKeys()
{
    QFETCH(DbEngine, engine);
    Env env(engine);
    FakeSelector selector;
    setCodeSelector(&selector);
    selector.answer = SelectedCode{QStringLiteral("7"), QStringLiteral("S007"), QStringLiteral("某供应商"), QString()};
    frmMainBillFind *dialog = frmMainBillFind::instance();
    dialog->setUsesGrid(false);
    dialog->show();
    QVERIFY(QTest::qWaitForWindowActive(dialog));

    // Which box is coded comes from its tag.
    const TextBoxes boxes = dialog->textBoxes();
    int coded = -1, plain = -1;
    for (int i = 0; i < boxes.size(); ++i)
        (boxes[i].second.split(u',').value(1) == u"1" ? coded : plain) = i;
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
    QTest::mouseClick(child<QToolButton>(dialog, QStringLiteral("ImgSeek_%1").arg(coded)), Qt::LeftButton);
    QCOMPARE(codedBox->text(), QStringLiteral("S007"));
    QVERIFY(codedBox->hasFocus());
    QVERIFY(!child<QToolButton>(dialog, QStringLiteral("ImgSeek_%1").arg(plain))->isVisibleTo(dialog));

    // Enter moves on like Tab and runs nothing.
    plainBox->setFocus();
    QTest::keyClick(plainBox, Qt::Key_Return);
    QVERIFY(!plainBox->hasFocus());
    QVERIFY(dialog->isVisible());
    QVERIFY(!frmMainBillResult::existingInstance());
    auto *start = child<QDateEdit>(dialog, QStringLiteral("dtp_0"));
    start->setFocus();
    QTest::keyClick(start, Qt::Key_Enter);
    QVERIFY(!start->hasFocus());
    QVERIFY(!frmMainBillResult::existingInstance());
}

void TestFrmMainBillFind::pagesAndSeekCondition()
{
    QFETCH(DbEngine, engine);
    Env env(engine);
    frmMainBillFind *dialog = frmMainBillFind::instance();
    dialog->show();
    auto *check = child<QCheckBox>(dialog, QStringLiteral("Check1"));
    auto *grid = child<QTableWidget>(dialog, QStringLiteral("fps1"));
    auto *frame = child<QFrame>(dialog, QStringLiteral("Frame1"));

    check->setChecked(true);
    QVERIFY(grid->isVisible() && !frame->isVisible());
    ConditionTable table;
    table.setRowTexts(1, {"", "发票金额", "fAmount", "1", "大于", ">", "1000", "0", "", "0"});
    table.setRowTexts(3, {"或", "单据编号", "fbillno", "2", "包含", "Like", "0001", "0", "", "0"});
    dialog->setConditionTable(table);
    QCOMPARE(dialog->conditionTable(), table);
    QCOMPARE(dialog->seekSQL(), buildSeekSQL(table));

    check->setChecked(false);
    QVERIFY(!grid->isVisible() && frame->isVisible());
    child<QDateEdit>(dialog, QStringLiteral("dtp_0"))->setDate(QDate(2024, 1, 1));
    child<QDateEdit>(dialog, QStringLiteral("dtp_1"))->setDate(QDate(2024, 12, 31));
    child<QLineEdit>(dialog, QStringLiteral("txt_0"))->setText(QStringLiteral(" 0001 "));
    QCOMPARE(dialog->seekSQL(), buildSeekSQLB(QDate(2024, 1, 1), QDate(2024, 12, 31), dialog->textBoxes()));
    QVERIFY(dialog->seekSQL().contains(QStringLiteral(" and fbillno like '%0001%'  ")));

    auto *audit = child<QComboBox>(dialog, QStringLiteral("PC_2"));
    audit->setCurrentIndex(audit->findText(QStringLiteral("未审核")));
    auto *redBlue = child<QComboBox>(dialog, QStringLiteral("PC_4"));
    redBlue->setCurrentIndex(redBlue->findText(QStringLiteral("蓝字")));
    QCOMPARE(dialog->mainSQL(), QStringLiteral(" and fstatus=0 and frob=0"));
    QCOMPARE(dialog->orderSQL(), QString());
}

void TestFrmMainBillFind::schemes()
{
    QFETCH(DbEngine, engine);
    Env env(engine);
    frmMainBillFind *dialog = frmMainBillFind::instance();
    dialog->show();
    auto *schemes = child<QTableWidget>(dialog, QStringLiteral("fps3"));
    QCOMPARE(schemes->rowCount(), 0);
    auto &prompts = env.prompts();

    // No name: nothing is written.
    prompts.inputs.push_back(QString());
    QTest::mouseClick(child<QToolButton>(dialog, QStringLiteral("Pic1_0")), Qt::LeftButton);
    QCOMPARE(prompts.calls.front().text, QStringLiteral("请输入方案名称"));
    QCOMPARE(prompts.lastMessage().text, QStringLiteral("请输入方案名称!"));
    QCOMPARE(env.db.scalar(QStringLiteral("select count(*) from tblProject")).toInt(), 0);

    ConditionTable table;
    table.setRowTexts(1, {"", "发票金额", "fAmount", "1", "大于", ">", "1000", "0", "", "0"});
    dialog->setConditionTable(table);
    prompts.inputs.push_back(QStringLiteral("大额发票"));
    QTest::mouseClick(child<QToolButton>(dialog, QStringLiteral("Pic1_0")), Qt::LeftButton);
    QCOMPARE(prompts.lastMessage().text, QStringLiteral("方案保存成功!"));
    QCOMPARE(prompts.lastMessage().icon, int(Prompt::Information));
    QCOMPARE(schemes->rowCount(), 1);
    QCOMPARE(schemes->item(0, 0)->text(), QStringLiteral("大额发票"));
    QCOMPARE(schemes->item(0, 1)->text(), QStringLiteral("1"));

    // Clear, then a click on the scheme brings it back and ticks Check1.
    child<QCheckBox>(dialog, QStringLiteral("Check1"))->setChecked(false);
    QTest::mouseClick(child<QToolButton>(dialog, QStringLiteral("Pic1_2")), Qt::LeftButton);
    QVERIFY(dialog->conditionTable().isEmpty());
    QTest::mouseClick(schemes->viewport(), Qt::LeftButton, {}, schemes->visualRect(schemes->model()->index(0, 0)).center());
    QCOMPARE(dialog->conditionTable(), table);
    QVERIFY(dialog->usesGrid());

    // Delete asks; No keeps it, Yes removes it.
    prompts.clear();
    prompts.answers.push_back(Prompt::No);
    QTest::mouseClick(child<QToolButton>(dialog, QStringLiteral("Pic1_1")), Qt::LeftButton);
    QCOMPARE(prompts.lastMessage().text, QStringLiteral("确定要删除吗?"));
    QCOMPARE(prompts.lastMessage().buttons, int(Prompt::YesNo));
    QCOMPARE(schemes->rowCount(), 1);
    prompts.answers.push_back(Prompt::Yes);
    QTest::mouseClick(child<QToolButton>(dialog, QStringLiteral("Pic1_1")), Qt::LeftButton);
    QCOMPARE(prompts.lastMessage().text, QStringLiteral("删除成功!"));
    QCOMPARE(schemes->rowCount(), 0);
    QCOMPARE(env.db.scalar(QStringLiteral("select count(*) from tblProject")).toInt(), 0);
    // Nothing selected: nothing asked.
    prompts.clear();
    QTest::mouseClick(child<QToolButton>(dialog, QStringLiteral("Pic1_1")), Qt::LeftButton);
    QVERIFY(prompts.calls.empty());
}

void TestFrmMainBillFind::okFillsAndShowsTheList_data()
{
    QTest::addColumn<DbEngine>("engine");
    QTest::addColumn<QString>("page");   // "grid", "simple"
    QTest::addColumn<QString>("range");  // text of PC_1
    QTest::addColumn<QString>("hostSql");
    QTest::addColumn<QString>("where");  // the same rows, as the test writes it
    const QString today = Clock::today().toString(QStringLiteral("yyyy-MM-dd"));
    const QString monthAgo = Clock::today().addMonths(-1).toString(QStringLiteral("yyyy-MM-dd"));
    for (DbEngine e : TestDatabase::engines()) {
        QTest::newRow(qPrintable(engineTag(e, QStringLiteral("grid, everything"))))
            << e << "grid" << "全部" << QString() << QString();
        QTest::newRow(qPrintable(engineTag(e, QStringLiteral("simple page, empty boxes"))))
            << e << "simple" << "全部" << QString()
            << QStringLiteral(" and fdate>='%1' and fdate<='%2'").arg(monthAgo, today);
        QTest::newRow(qPrintable(engineTag(e, QStringLiteral("current period and host condition"))))
            << e << "grid" << "本期" << QStringLiteral(" and fAmount>1000") << QStringLiteral("CURRENT and fAmount>1000");
    }
}

void TestFrmMainBillFind::okFillsAndShowsTheList()
{
    QFETCH(DbEngine, engine);
    QFETCH(QString, page);
    QFETCH(QString, range);
    QFETCH(QString, hostSql);
    QFETCH(QString, where);
    Env env(engine);
    Session &s = session();
    s.gFindSql = hostSql;
    where.replace(QStringLiteral("CURRENT"), QStringLiteral(" and fyear=%1 and fperiod=%2").arg(s.gCurrentYear).arg(s.gCurrentPeriod));
    const int expected = env.count(where);
    QVERIFY(expected > 0);

    frmMainBillFind *dialog = frmMainBillFind::instance();
    dialog->setUsesGrid(page == u"grid");
    auto *pc1 = child<QComboBox>(dialog, QStringLiteral("PC_1"));
    pc1->setCurrentIndex(pc1->findText(range));
    dialog->show();

    int shown = -1;
    bool modal = false;
    QTimer::singleShot(0, [&] {
        frmMainBillResult *list = frmMainBillResult::existingInstance();
        if (!list)
            return;
        modal = QApplication::activeModalWidget() == list;
        shown = list->isVisible() ? list->model()->dataRowCount() : -1;
        list->menuFileExit();
    });
    QTest::mouseClick(child<QPushButton>(dialog, QStringLiteral("cmdXPOK")), Qt::LeftButton);
    QVERIFY(modal);
    QCOMPARE(shown, expected);
    QCOMPARE(s.gSeekSql, page == u"grid" ? QString() : buildSeekSQLB(Clock::today().addMonths(-1), Clock::today(), {}));
    flushDeletes();
    QVERIFY(!frmMainBillFind::existingInstance());
    QCOMPARE(env.iniValue(QStringLiteral("A71")), QString::number(range == u"本期" ? 1 : 4));
}

void TestFrmMainBillFind::okWithAMalformedGridStays()
{
    QFETCH(DbEngine, engine);
    Env env(engine);
    frmMainBillFind *dialog = frmMainBillFind::instance();
    dialog->setUsesGrid(true);
    dialog->show();
    // A kind that is not a number cannot be read.
    ConditionTable table;
    table.setRowTexts(1, {"", "发票金额", "fAmount", "x", "大于", ">", "1", "0", "", "0"});
    dialog->setConditionTable(table);
    QTest::mouseClick(child<QPushButton>(dialog, QStringLiteral("cmdXPOK")), Qt::LeftButton);
    QVERIFY(dialog->isVisible());
    QVERIFY(!frmMainBillResult::existingInstance());
    QVERIFY(env.prompts().calls.empty());

    // A value the database refuses: its message, and the dialog stays.
    table.setRowTexts(1, {"", "发票金额", "fAmount", "1", "大于", ">", "abc", "0", "", "0"});
    dialog->setConditionTable(table);
    QTest::mouseClick(child<QPushButton>(dialog, QStringLiteral("cmdXPOK")), Qt::LeftButton);
    QVERIFY(dialog->isVisible());
    QCOMPARE(env.prompts().lastMessage().icon, int(Prompt::Critical));
    QVERIFY(!frmMainBillResult::existingInstance() || !frmMainBillResult::existingInstance()->isVisible());

    // Closing the dialog then lets the unshown list go too: the next query
    // may be a selection and needs a list made for it.
    QTest::mouseClick(child<QPushButton>(dialog, QStringLiteral("cmdXPClose")), Qt::LeftButton);
    flushDeletes();
    QVERIFY(!frmMainBillFind::existingInstance());
    QVERIFY(!frmMainBillResult::existingInstance());
}

void TestFrmMainBillFind::okWhileTheListIsOpenRefillsIt()
{
    QFETCH(DbEngine, engine);
    Env env(engine);
    frmMainBillFind *dialog = frmMainBillFind::instance();
    dialog->setUsesGrid(true);
    frmMainBillResult *list = frmMainBillResult::instance();
    QVERIFY(dialog->find(QString(), QString(), QString(), list));
    list->show();
    QCOMPARE(list->model()->dataRowCount(), env.count(QString()));

    dialog->show();
    auto *cancelled = child<QComboBox>(dialog, QStringLiteral("PC_3"));
    cancelled->setCurrentIndex(cancelled->findText(QStringLiteral("作废")));
    // Should the list be shown again it would wait modally: close it then
    // and note that it happened.
    bool shownAgain = false;
    QTimer::singleShot(0, [&] {
        if (QApplication::activeModalWidget() == list) {
            shownAgain = true;
            list->hide();
        }
    });
    QTest::mouseClick(child<QPushButton>(dialog, QStringLiteral("cmdXPOK")), Qt::LeftButton);
    QVERIFY(!shownAgain);
    QVERIFY(dialog->isHidden());
    QVERIFY(list->isVisible());
    QCOMPARE(frmMainBillResult::existingInstance(), list);
    QCOMPARE(list->model()->dataRowCount(), env.count(QStringLiteral(" and fcancellation=1")));
}

void TestFrmMainBillFind::findInfo1ThroughTheComponent()
{
    QFETCH(DbEngine, engine);
    Env env(engine);
    // The component registers the query dialog as what the find methods open.
    auto component = clsCGIn::create();
    QVERIFY(component);
    session().msgTitle = QStringLiteral("测试");
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
            list->menuEditAppend();
            // Nothing was selected: leave without choosing.
            if (list->isVisible())
                list->menuFileExit();
        });
        QTest::mouseClick(dialog->findChild<QPushButton *>(QStringLiteral("cmdXPOK")), Qt::LeftButton);
    });
    component->findInfo1(where);
    QVERIFY(!expected.isEmpty());
    QCOMPARE(component->ReturnString(), expected);
    const QStringList ids = expected.split(u',');
    for (const QString &id : ids)
        QCOMPARE(env.db.scalar(QStringLiteral("select fstatus from tblFP where finterid=") + id).toInt(), 1);
    flushDeletes();
    QVERIFY(!frmMainBillFind::existingInstance());
    QVERIFY(!frmMainBillResult::existingInstance());
}

void TestFrmMainBillFind::renders()
{
    const QString folder = qEnvironmentVariable("PURFP_RENDER_DIR");
    if (folder.isEmpty())
        QSKIP("set PURFP_RENDER_DIR to write the dialog's pictures");
    Env env(DbEngine::SQLite);
    QDir().mkpath(folder);
    frmMainBillFind *dialog = frmMainBillFind::instance();
    ConditionTable table;
    table.setRowTexts(1, {"", "发票金额", "fAmount", "1", "大于等于", ">=", "1000", "0", "", "0"});
    table.setRowTexts(2, {"与", "供应商代码", "fSupplyIdNumber", "2", "等于", "=", "S001", "4", "fnumber", "1"});
    table.setRowTexts(3, {"或", "日期", "fdate", "3", "大于", ">", "2025-01-01", "0", "", "0"});
    dialog->setConditionTable(table);
    env.prompts().inputs.push_back(QStringLiteral("大额发票"));
    dialog->saveScheme();
    env.prompts().inputs.push_back(QStringLiteral("本月未审核"));
    dialog->saveScheme();
    dialog->setUsesGrid(true);
    dialog->show();
    QCoreApplication::processEvents();
    QVERIFY(dialog->grab().save(folder + QStringLiteral("/find-grid.png")));
    dialog->setUsesGrid(false);
    child<QLineEdit>(dialog, QStringLiteral("txt_2"))->setText(QStringLiteral("华东"));
    QCoreApplication::processEvents();
    QVERIFY(dialog->grab().save(folder + QStringLiteral("/find-simple.png")));
}

QTEST_MAIN(TestFrmMainBillFind)
#include "tst_frmmainbillfind.moc"
