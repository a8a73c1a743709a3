// The bill editor driven as a user drives it, offscreen, on the demo
// database; after each step the database is checked.
#include "editor/EntryGridModel.h"
#include "editor/frmMainBill.h"

#include "modules/Session.h"
#include "modules/CodeSelectors.h"
#include "modules/SetupIni.h"
#include "modules/StockBillLedger.h"
#include "platform/Clock.h"
#include "platform/FrozenTableView.h"
#include "platform/IniFile.h"
#include "platform/SettingsStore.h"
#include "support/StartedSession.h"

#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QDateEdit>
#include <QHeaderView>
#include <QInputMethodEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTableView>
#include <QTest>
#include <QToolBar>

namespace {
struct OpenStock {
    QString supplierNumber;
    QString supplierId;
    QString supplierName;
    int offered = 0;
};

// The supplier with the most stock-in bills still open to invoicing, and
// how many the fill will offer.
OpenStock busiestSupplier(TestDatabase &db)
{
    const QString open = QStringLiteral(" ftrantype=1 and fcancellation=0 and isnull(fAllAmount,0)<>isnull(fKPAmount,0) and isnull(fISKP,1)=1 ");
    Recordset rs = db.conn().openRecordset(QStringLiteral("select fsupplyid,count(*) as n from icstockbill where") + open
                                           + QStringLiteral("and fAllAmount>0 group by fsupplyid order by count(*) desc, fsupplyid"));
    OpenStock s;
    s.supplierId = rs.text(QStringLiteral("fsupplyid"));
    Recordset item = db.conn().openRecordset(QStringLiteral("select fnumber,fname from tblItem where fitemid=") + s.supplierId);
    s.supplierNumber = item.text(QStringLiteral("fnumber"));
    s.supplierName = item.text(QStringLiteral("fname"));
    s.offered = int(db.scalar(QStringLiteral("select count(*) from icstockbill where fsupplyid=") + s.supplierId + QStringLiteral(" and") + open).toInt());
    return s;
}

Amount amountOf(TestDatabase &db, const QString &sql)
{
    return Amount::fromVariant(db.scalar(sql));
}

Amount kpOf(TestDatabase &db, const QString &stockId)
{
    return amountOf(db, QStringLiteral("select isnull(fKPAmount,0) from icstockbill where finterid=") + stockId);
}

class NoSelector : public CodeSelector {
public:
    int calls = 0;
    std::optional<SelectedCode> selectGoods(Session &, const QString &, const QString &, QWidget *) override { ++calls; return std::nullopt; }
    std::optional<SelectedCode> selectBasicData(Session &, int, QWidget *) override { ++calls; return std::nullopt; }
};
} // namespace

class TestFrmMainBill : public QObject {
    Q_OBJECT

    template <typename T>
    static T *child(QWidget *form, const QString &name)
    {
        T *w = form->findChild<T *>(name);
        if (!w)
            qWarning("no widget %s", qPrintable(name));
        return w;
    }
    static QAction *button(QWidget *form, const QString &key)
    {
        return child<QToolBar>(form, QStringLiteral("Toolbar1"))->findChild<QAction *>(key);
    }
    static QAction *menu(QWidget *form, const QString &name) { return form->findChild<QAction *>(name); }

    // Types into a cell of fps1 through its editor and commits with Enter.
    static void typeIntoCell(QWidget *form, int gridRow, int gridColumn, const QString &text)
    {
        auto *grid = child<FrozenTableView>(form, QStringLiteral("fps1"));
        QLineEdit *editor = grid->editCell(grid->model()->index(gridRow - 1, gridColumn - 1));
        QVERIFY(editor);
        QPointer<QLineEdit> open = editor;
        editor->selectAll();
        QTest::keyClicks(editor, text);
        QTest::keyClick(editor, Qt::Key_Return);
        // The delegate commits and closes on Enter through the event loop.
        QCoreApplication::processEvents();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(!open || !open->isVisible());
    }

    // Latin keys are typed; other characters arrive as an input method
    // commits them.
    static void typeText(QWidget *edit, const QString &text)
    {
        QString latin;
        auto flush = [&] {
            if (!latin.isEmpty())
                QTest::keyClicks(edit, latin);
            latin.clear();
        };
        for (QChar c : text) {
            if (c.unicode() < 128) {
                latin += c;
                continue;
            }
            flush();
            QInputMethodEvent commit;
            commit.setCommitString(QString(c));
            QApplication::sendEvent(edit, &commit);
        }
        flush();
    }

    static void typeInto(QWidget *form, const QString &name, const QString &text, bool enter = true)
    {
        auto *edit = child<QLineEdit>(form, name);
        edit->setFocus();
        edit->selectAll();
        typeText(edit, text);
        if (enter)
            QTest::keyClick(edit, Qt::Key_Return);
    }

    static frmMainBill *open(int mode)
    {
        Session &s = TestSession::session();
        s.gBillMode = std::int16_t(mode);
        frmMainBill *f = frmMainBill::defaultInstance(s);
        f->show();
        QApplication::setActiveWindow(f);
        return f;
    }

    static void closeForm(frmMainBill *f)
    {
        f->close();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
    static void signIn(const QString &id, const QString &name) { TestSession::session().gLoginUserId = id, TestSession::session().gLoginUserName = name; }

private slots:
    void cleanup()
    {
        delete frmMainBill::existingInstance();
        setCodeSelector(nullptr);
    }

    // A clerk enters, changes and is refused; the supervisor audits; then
    // the list's bills are browsed.
    void enterChangeAuditAndRefuse_data() { addEngineRows(); }
    void enterChangeAuditAndRefuse()
    {
        QFETCH(DbEngine, engine);
        StartedSession ss(engine, TestDatabase::Content::Demo, smallDemo(), 2, false);
        QCOMPARE(ss.startError, QString());
        TestSession &t = ss.ts;
        TestDatabase &db = ss.db;
        Session &s = TestSession::session();
        const OpenStock stock = busiestSupplier(db);
        QVERIFY(stock.offered >= 2);

        // A new bill: number proposed and locked, today's date, the clerk as biller.
        frmMainBill *f = open(0);
        QCOMPARE(f->windowTitle(), QStringLiteral("新增采购发票"));
        auto *billNo = child<QLineEdit>(f, QStringLiteral("txtBillNo"));
        QVERIFY(billNo->isReadOnly());
        QVERIFY(billNo->text().startsWith(QStringLiteral("CGFP")));
        QCOMPARE(child<QLineEdit>(f, QStringLiteral("txtBiller"))->text(), QStringLiteral("张会计"));
        QVERIFY(!child<QLabel>(f, QStringLiteral("ImgRed"))->isVisible());
        QVERIFY(!button(f, QStringLiteral("First"))->isEnabled());

        // Saving with nothing typed names the first required field.
        f->MenuSave_Click();
        QCOMPARE(t.prompts().lastMessage().text, QStringLiteral("供应商不能为空"));
        QCOMPARE(t.prompts().lastMessage().icon, 48);

        // Supplier by code, invoice number, total; then the stock bills.
        typeInto(f, QStringLiteral("td_0"), stock.supplierNumber);
        QCOMPARE(f->fieldValue(QStringLiteral("fSupplyId")), stock.supplierNumber + QStringLiteral("&**&") + stock.supplierId);
        // The whole name is the tool tip of the name box.
        QCOMPARE(child<QLabel>(f, QStringLiteral("lblTdName_0"))->toolTip(), stock.supplierName);
        typeInto(f, QStringLiteral("txt_0"), QStringLiteral("No.8841'A"));
        t.prompts().clear();
        QTest::mouseClick(child<QPushButton>(f, QStringLiteral("cmdList")), Qt::LeftButton);
        QCOMPARE(t.prompts().messageTexts(), QStringList{QStringLiteral("请录入开票金额！")});
        typeInto(f, QStringLiteral("txtAmount"), QStringLiteral("12x"));
        QTest::mouseClick(child<QPushButton>(f, QStringLiteral("cmdList")), Qt::LeftButton);
        QCOMPARE(t.prompts().lastMessage().text, QStringLiteral("金额请录入数字！"));
        QCOMPARE(f->grid()->gridRowCount(), 0);

        // The invoice takes part of the first two blue bills.
        typeInto(f, QStringLiteral("txtAmount"), QStringLiteral("100"));
        QTest::mouseClick(child<QPushButton>(f, QStringLiteral("cmdList")), Qt::LeftButton);
        QCOMPARE(f->grid()->gridRowCount(), stock.offered);
        std::vector<int> blue;
        for (int r = 1; r <= f->grid()->gridRowCount() && blue.size() < 2; ++r)
            if (numericAmount(f->grid()->cellText(r, ColAllAmount))->units() > 0 && numericAmount(f->grid()->cellText(r, ColOpenAmount))->units() >= 1000000)
                blue.push_back(r);
        QCOMPARE(int(blue.size()), 2);
        const QString stockA = f->grid()->rowTag(blue[0]);
        const QString stockB = f->grid()->rowTag(blue[1]);
        const Amount kpA = kpOf(db, stockA), kpB = kpOf(db, stockB);
        typeIntoCell(f, blue[0], ColThisAmount, QStringLiteral("60.1"));
        typeIntoCell(f, blue[1], ColThisAmount, QStringLiteral("39.9"));
        QCOMPARE(f->grid()->cellText(blue[0], ColThisAmount), QStringLiteral("60.1"));
        QVERIFY(f->isChanged());

        // Too much for the total first, then saved.
        typeInto(f, QStringLiteral("txtAmount"), QStringLiteral("99.99"));
        t.prompts().clear();
        button(f, QStringLiteral("Save"))->trigger();
        QCOMPARE(t.prompts().messageTexts(), QStringList{QStringLiteral("明细开票金额不能大于发票总额！")});
        QCOMPARE(f->grid()->cellText(blue[1], ColThisAmount), QStringLiteral("39.9")); // the entries stay
        typeInto(f, QStringLiteral("txtAmount"), QStringLiteral("100"));
        t.prompts().clear();
        button(f, QStringLiteral("Save"))->trigger();
        QCOMPARE(t.prompts().messageTexts(), QStringList{QStringLiteral("数据保存成功！")});
        QCOMPARE(t.prompts().lastMessage().icon, 64);
        QVERIFY(!f->isChanged());
        QCOMPARE(f->windowTitle(), QStringLiteral("修改采购发票"));
        QCOMPARE(int(s.gBillMode), 1);
        const int id = s.gCurInterId;
        const QString idText = QString::number(id);

        Recordset h = db.conn().openRecordset(QStringLiteral("select * from tblFP where finterid=") + idText);
        QCOMPARE((QStringList{h.text(QStringLiteral("fbillno")), h.text(QStringLiteral("fInvoiceNo")), h.text(QStringLiteral("fSupplyId")),
                              h.amount(QStringLiteral("fAmount")).toString(), h.amount(QStringLiteral("fEndAmount")).toString(),
                              QString::number(h.toInt(QStringLiteral("fOperator"))), h.date(QStringLiteral("fdate")).toString(Qt::ISODate)}),
                 (QStringList{billNo->text(), QStringLiteral("No.8841'A"), stock.supplierId, QStringLiteral("100"), QStringLiteral("100"),
                              QStringLiteral("2"), Clock::today().toString(Qt::ISODate)}));
        QCOMPARE(db.scalar(QStringLiteral("select count(*) from tblFPEntry where fInterId=") + idText).toInt(), stock.offered);
        QCOMPARE(kpOf(db, stockA), kpA + *Amount::parse(QStringLiteral("60.1")));
        QCOMPARE(kpOf(db, stockB), kpB + *Amount::parse(QStringLiteral("39.9")));

        // Changed: another share and a note with quotes.
        typeIntoCell(f, blue[0], ColThisAmount, QStringLiteral("50"));
        typeInto(f, QStringLiteral("txt_1"), QStringLiteral("王'五 说\"可以\""));
        t.prompts().clear();
        button(f, QStringLiteral("Save"))->trigger();
        QCOMPARE(t.prompts().messageTexts(), QStringList{QStringLiteral("数据修改成功！")});
        QCOMPARE(kpOf(db, stockA), kpA + *Amount::parse(QStringLiteral("50")));
        QCOMPARE(kpOf(db, stockB), kpB + *Amount::parse(QStringLiteral("39.9")));
        QCOMPARE(amountOf(db, QStringLiteral("select fEndAmount from tblFP where finterid=") + idText).toString(), QStringLiteral("89.9"));
        QCOMPARE(db.scalar(QStringLiteral("select fNote from tblFP where finterid=") + idText).toString(), QStringLiteral("王'五 说\"可以\""));
        QCOMPARE(db.scalar(QStringLiteral("select count(*) from tblFPEntry where fInterId=") + idText).toInt(), stock.offered);

        // The clerk may not audit: nothing happens.
        t.prompts().clear();
        button(f, QStringLiteral("Check"))->trigger();
        QVERIFY(t.prompts().messageTexts().isEmpty());
        QCOMPARE(db.scalar(QStringLiteral("select fstatus from tblFP where finterid=") + idText).toInt(), 0);

        // The supervisor audits it in the same editor.
        signIn(QStringLiteral("3"), QStringLiteral("李主管"));
        button(f, QStringLiteral("Check"))->trigger();
        QCOMPARE(t.prompts().messageTexts(), QStringList{QStringLiteral("审核成功!")});
        QCOMPARE(db.scalar(QStringLiteral("select fstatus from tblFP where finterid=") + idText).toInt(), 1);
        QCOMPARE(db.scalar(QStringLiteral("select fchecker from tblFP where finterid=") + idText).toInt(), 3);
        QCOMPARE(child<QLineEdit>(f, QStringLiteral("txtChecker"))->text(), QStringLiteral("李主管"));
        QVERIFY(child<QLabel>(f, QStringLiteral("ImgCheck"))->isVisible());
        QVERIFY(!button(f, QStringLiteral("Save"))->isEnabled());
        QVERIFY(!(f->grid()->flags(f->grid()->index(blue[0] - 1, ColThisAmount - 1)) & Qt::ItemIsEditable));
        QVERIFY(child<QLineEdit>(f, QStringLiteral("txtAmount"))->isReadOnly());

        // Saving it anyway is refused by the store, and nothing changes.
        signIn(QStringLiteral("2"), QStringLiteral("张会计"));
        f->grid()->setCellText(blue[0], ColThisAmount, QStringLiteral("1"));
        t.prompts().clear();
        f->MenuSave_Click();
        QCOMPARE(t.prompts().messageTexts(), QStringList{QStringLiteral("该单据已经审核,不能修改,操作不成功")});
        QVERIFY(!f->saveSucceeded());
        QCOMPARE(kpOf(db, stockA), kpA + *Amount::parse(QStringLiteral("50")));
        QCOMPARE(amountOf(db, QStringLiteral("select fEndAmount from tblFP where finterid=") + idText).toString(), QStringLiteral("89.9"));

        // Closing writes the options; the "CopyHeader" read key stays apart.
        closeForm(f);
        QVERIFY(!frmMainBill::existingInstance());
        const QString app = QStringLiteral("71frmMainBill");
        QCOMPARE(SettingsStore::read(app, QStringLiteral("Options"), QStringLiteral("AfterSaveNew"), {}), QStringLiteral("1"));
        QCOMPARE(SettingsStore::read(app, QStringLiteral("Options"), QStringLiteral("CopyHeader"), {}), QStringLiteral("0"));
        QCOMPARE(SettingsStore::read(app, QStringLiteral("Options"), QStringLiteral("   CopyHeader"), QStringLiteral("absent")), QStringLiteral("absent"));
        QCOMPARE(IniFile(IniPath(s)).value(QStringLiteral("Print"), QStringLiteral("71Print")).value_or(QString()), QStringLiteral("0"));

        // Browsing the ids the list handed over, as the administrator, with
        // the buttons following the position and the bill's state.
        signIn(QStringLiteral("1"), QStringLiteral("管理员"));
        s.IsAdmin = 1;
        // An audited red bill, a void bill and an open blueId bill.
        const QString red = db.scalar(QStringLiteral("select min(finterid) from tblFP where frob=1 and fstatus=1 and fcancellation=0")).toString();
        const QString voided = db.scalar(QStringLiteral("select min(finterid) from tblFP where fcancellation=1")).toString();
        const QString blueId = db.scalar(QStringLiteral("select max(finterid) from tblFP where frob=0 and fstatus=0 and fcancellation=0 and fdate>='")
                                       + s.gPeriodStartDate.toString(Qt::ISODate) + QStringLiteral("'")).toString();
        QVERIFY(!red.isEmpty() && !voided.isEmpty() && !blueId.isEmpty());
        s.gListInterIds = QStringList{blueId, red, voided};
        s.gListIndex = 0;
        s.gCurInterId = blueId.toInt();
        s.gFromList = 1;
        int refreshed = 0;
        frmMainBill::setListRefresher([&] { ++refreshed; });

        f = open(1);
        QCOMPARE(f->windowTitle(), QStringLiteral("修改采购发票"));
        QCOMPARE(child<QLineEdit>(f, QStringLiteral("txtBillNo"))->text(),
                 db.scalar(QStringLiteral("select fbillno from tblFP where finterid=") + blueId).toString());
        QCOMPARE(f->grid()->gridRowCount(), db.scalar(QStringLiteral("select count(*) from tblFPEntry where fInterId=") + blueId).toInt());
        QVERIFY(!button(f, QStringLiteral("First"))->isEnabled());
        QVERIFY(button(f, QStringLiteral("Next"))->isEnabled());
        QVERIFY(button(f, QStringLiteral("Save"))->isEnabled());
        QVERIFY(!f->isChanged());
        QVERIFY(!f->fieldText(QStringLiteral("fSupplyId")).isEmpty());

        // The menu exports the shown bill (the file itself is the printing's concern).
        t.prompts().fileNames.push_back(t.folder() + QStringLiteral("/bill.pdf"));
        menu(f, QStringLiteral("MenuExportPdf"))->trigger();
        QCOMPARE(t.prompts().lastMessage().text, QStringLiteral("文件导出成功!"));

        button(f, QStringLiteral("Next"))->trigger();
        QCOMPARE(s.gCurInterId, red.toInt());
        QVERIFY(child<QLabel>(f, QStringLiteral("ImgRed"))->isVisible());
        QVERIFY(child<QLabel>(f, QStringLiteral("ImgCheck"))->isVisible());
        QVERIFY(button(f, QStringLiteral("Red"))->isChecked());
        QVERIFY(!button(f, QStringLiteral("Save"))->isEnabled());
        QCOMPARE(f->grid()->foreground(), QColor(255, 0, 0));
        QVERIFY(button(f, QStringLiteral("Back"))->isEnabled());

        menu(f, QStringLiteral("MenuLast"))->trigger();
        QCOMPARE(s.gListIndex, 2);
        QVERIFY(!button(f, QStringLiteral("Next"))->isEnabled());
        QVERIFY(!button(f, QStringLiteral("Red"))->isEnabled());
        QVERIFY(child<QLineEdit>(f, QStringLiteral("td_0"))->isReadOnly());
        QVERIFY(!child<QPushButton>(f, QStringLiteral("cmdList"))->isEnabled());
        // A stray step past the end stays on the last bill.
        f->MenuNext_Click();
        QCOMPARE(s.gListIndex, 2);

        // Back to the blueId one, change it, and cancel leaving: the form stays.
        button(f, QStringLiteral("First"))->trigger();
        QCOMPARE(s.gCurInterId, blueId.toInt());
        typeInto(f, QStringLiteral("txt_1"), QStringLiteral("改"), false);
        QVERIFY(f->isChanged());
        t.prompts().clear();
        t.prompts().answers = {Prompt::Cancel};
        f->close();
        QVERIFY(frmMainBill::existingInstance());
        QCOMPARE(t.prompts().lastMessage().text, QStringLiteral("单据已经改变，是否保存？"));
        QCOMPARE(refreshed, 0);
        // No: leaves without saving, and the list is refilled.
        const QString note = db.scalar(QStringLiteral("select fNote from tblFP where finterid=") + blueId).toString();
        t.prompts().answers = {Prompt::No};
        closeForm(f);
        QVERIFY(!frmMainBill::existingInstance());
        QCOMPARE(refreshed, 1);
        QCOMPARE(s.gFromList, std::int16_t(0));
        QCOMPARE(db.scalar(QStringLiteral("select fNote from tblFP where finterid=") + blueId).toString(), note);
        frmMainBill::setListRefresher({});
    }

    // New, copy, red and blue, audit of an unsaved bill, the option of
    // starting a new bill after each save; then a total spread over the
    // stock bills (toolbar 分配金额).
    void smallerCommands_data() { addEngineRows(); }
    void smallerCommands()
    {
        QFETCH(DbEngine, engine);
        StartedSession ss(engine, TestDatabase::Content::Demo, smallDemo());
        QCOMPARE(ss.startError, QString());
        TestSession &t = ss.ts;
        TestDatabase &db = ss.db;
        Session &s = TestSession::session();
        NoSelector selector;
        setCodeSelector(&selector);
        const OpenStock stock = busiestSupplier(db);

        frmMainBill *f = open(0);
        // A new bill is blue, and its button shows it from the first open.
        QVERIFY(button(f, QStringLiteral("Blue"))->isChecked());
        QVERIFY(!button(f, QStringLiteral("Red"))->isChecked());
        button(f, QStringLiteral("Check"))->trigger();
        QCOMPARE(t.prompts().lastMessage().text, QStringLiteral("请先保存单据!"));

        button(f, QStringLiteral("Red"))->trigger();
        QCOMPARE(int(s.gEditorFlag), 1);
        QVERIFY(child<QLabel>(f, QStringLiteral("ImgRed"))->isVisible());
        button(f, QStringLiteral("Blue"))->trigger();
        QCOMPARE(int(s.gEditorFlag), 0);
        QVERIFY(!child<QLabel>(f, QStringLiteral("ImgRed"))->isVisible());
        QCOMPARE(f->grid()->foreground(), QColor(0, 0, 0));

        // An unknown code offers the selector on Enter and leaves no choice.
        typeInto(f, QStringLiteral("td_0"), QStringLiteral("no-such-code"));
        QCOMPARE(selector.calls, 1);
        QCOMPARE(f->fieldValue(QStringLiteral("fSupplyId")), QString());

        // A red invoice saved with "new bill after save" checked; the
        // supplier's code confirmed with the keypad's Enter.
        typeInto(f, QStringLiteral("td_0"), stock.supplierNumber, false);
        QTest::keyClick(child<QLineEdit>(f, QStringLiteral("td_0")), Qt::Key_Enter, Qt::KeypadModifier);
        QCOMPARE(f->fieldValue(QStringLiteral("fSupplyId")), stock.supplierNumber + QStringLiteral("&**&") + stock.supplierId);
        typeInto(f, QStringLiteral("txt_0"), QStringLiteral("R-1"));
        typeInto(f, QStringLiteral("txtAmount"), QStringLiteral("-10"));
        button(f, QStringLiteral("Red"))->trigger();
        menu(f, QStringLiteral("MenuNewAfterSave"))->trigger();
        const qint64 before = db.scalar(QStringLiteral("select count(*) from tblFP")).toLongLong();
        // The supplier's invoice number is already on one of its invoices
        // (other case and blanks): asked, naming that invoice and not a void
        // one with the number; No keeps the bill unsaved, Yes saves.
        const QString supplierBills = QStringLiteral(" from tblFP where fSupplyId=") + stock.supplierId;
        const QString valid = QStringLiteral("select max(finterid)") + supplierBills + QStringLiteral(" and isnull(fcancellation,0)=0");
        const QString voided = QStringLiteral("select max(finterid)") + supplierBills + QStringLiteral(" and fcancellation=1");
        db.exec(QStringLiteral("update tblFP set fInvoiceNo='r- 1' where finterid in (%1) or finterid in (%2)").arg(valid, voided));
        const QString twin = db.scalar(QStringLiteral("select fbillno from tblFP where finterid in (%1)").arg(valid)).toString();
        QVERIFY(!twin.isEmpty());
        const QString question = QStringLiteral("该供应商已有相同发票号码的发票 %1，是否继续保存？").arg(twin);
        t.prompts().clear();
        t.prompts().answers.push_back(Prompt::No);
        button(f, QStringLiteral("Save"))->trigger();
        QCOMPARE(t.prompts().messageTexts(), QStringList{question});
        QCOMPARE(db.scalar(QStringLiteral("select count(*) from tblFP")).toLongLong(), before);
        QVERIFY(child<QLineEdit>(f, QStringLiteral("txt_0"))->hasFocus());
        t.prompts().clear();
        t.prompts().answers.push_back(Prompt::Yes);
        button(f, QStringLiteral("Save"))->trigger();
        QCOMPARE(t.prompts().messageTexts(), (QStringList{question, QStringLiteral("数据保存成功！")}));
        QCOMPARE(db.scalar(QStringLiteral("select count(*) from tblFP")).toLongLong(), before + 1);
        QCOMPARE(db.scalar(QStringLiteral("select frob from tblFP where finterid=") + QString::number(s.gCurInterId)).toInt(), 1);
        QCOMPARE(int(s.gBillMode), 0);
        QCOMPARE(f->windowTitle(), QStringLiteral("新增采购发票"));
        QCOMPARE(f->fieldText(QStringLiteral("fSupplyId")), QString());
        QVERIFY(child<QLineEdit>(f, QStringLiteral("txtAmount"))->text().isEmpty());

        // Copy keeps the header, never the entries.
        typeInto(f, QStringLiteral("td_0"), stock.supplierNumber);
        typeInto(f, QStringLiteral("txtAmount"), QStringLiteral("5"));
        QTest::mouseClick(child<QPushButton>(f, QStringLiteral("cmdList")), Qt::LeftButton);
        QVERIFY(f->grid()->gridRowCount() > 0);

        // The supplier's box, the totals line and the entry finder.
        QCOMPARE(child<QLineEdit>(f, QStringLiteral("td_0"))->parentWidget()->objectName(), QStringLiteral("teB"));
        const int last = f->grid()->gridRowCount();
        typeIntoCell(f, last, ColThisAmount, QStringLiteral("0.1"));
        if (last > 1)
            typeIntoCell(f, 1, ColThisAmount, QStringLiteral("0.2"));
        auto *totals = child<QTableView>(f, QStringLiteral("fps2"));
        QCOMPARE(totals->model()->index(0, ColThisAmount - 1).data().toString(), last > 1 ? QStringLiteral("0.30") : QStringLiteral("0.10"));
        auto *finder = child<QComboBox>(f, QStringLiteral("cmbEntry"));
        finder->showPopup();
        finder->hidePopup();
        QCOMPARE(finder->count(), last);
        emit finder->activated(last - 1);
        QCOMPARE(child<QTableView>(f, QStringLiteral("fps1"))->currentIndex().row(), last - 1);

        // Frozen entry columns: a bad count is refused, a good one applies to
        // both grids and is kept when the form closes.
        t.prompts().inputs = {QStringLiteral("6")};
        menu(f, QStringLiteral("MenuLockCol"))->trigger();
        QCOMPARE(t.prompts().lastMessage().text, QStringLiteral("锁定列数请录入0到5之间的整数！"));
        QCOMPARE(child<FrozenTableView>(f, QStringLiteral("fps1"))->frozenColumns(), 0);
        t.prompts().inputs = {QStringLiteral("2")};
        menu(f, QStringLiteral("MenuLockCol"))->trigger();
        QCOMPARE(child<FrozenTableView>(f, QStringLiteral("fps1"))->frozenColumns(), 2);
        QCOMPARE(child<FrozenTableView>(f, QStringLiteral("fps2"))->frozenColumns(), 2);

        t.prompts().answers = {Prompt::No};
        button(f, QStringLiteral("Copy"))->trigger();
        QCOMPARE(t.prompts().lastMessage().text, QStringLiteral("单据已经改变，是否保存？"));
        QCOMPARE(f->grid()->gridRowCount(), 0);
        QCOMPARE(f->fieldText(QStringLiteral("fSupplyId")), stock.supplierNumber);
        QCOMPARE(int(s.gBillMode), 0);

        // New after a change, answered Cancel: everything stays.
        typeInto(f, QStringLiteral("txt_0"), QStringLiteral("X"), false);
        t.prompts().answers = {Prompt::Cancel};
        button(f, QStringLiteral("New"))->trigger();
        QCOMPARE(f->fieldText(QStringLiteral("fSupplyId")), stock.supplierNumber);
        t.prompts().answers = {Prompt::No};
        button(f, QStringLiteral("New"))->trigger();
        QCOMPARE(f->fieldText(QStringLiteral("fSupplyId")), QString());
        QVERIFY(!f->isChanged());
        closeForm(f);
        QCOMPARE(SettingsStore::read(QStringLiteral("71frmMainBill"), QStringLiteral("Options"), QStringLiteral("AfterSaveNew"), {}),
                 QStringLiteral("0"));
        QCOMPARE(ReadIni(s, QStringLiteral("BillMainLockCols"), QStringLiteral("71Lock"), {}), QStringLiteral("2"));
        f = open(0);
        QCOMPARE(child<FrozenTableView>(f, QStringLiteral("fps1"))->frozenColumns(), 2);
        closeForm(f);

        // A new invoice opened on one of the supplier's stock bills, the other
        // open bills added, then a total beyond what is open spread over them
        // from the toolbar: every blue bill is filled in full, and it saves.
        const QString blueOpen = QStringLiteral(" from icstockbill where fAllAmount>0 and fsupplyid=") + stock.supplierId + openStockBillCondition();
        const QString first = db.scalar(QStringLiteral("select min(finterid)") + blueOpen).toString();
        const Amount openSum = amountOf(db, QStringLiteral("select sum(fAllAmount-isnull(fKPAmount,0))") + blueOpen);
        frmMainBill::showNewFromStockBill(s, stock.supplierId, first, false);
        f = frmMainBill::existingInstance();
        QVERIFY(f && f->isVisible());
        QCOMPARE(f->fieldValue(QStringLiteral("fSupplyId")), stock.supplierNumber + QStringLiteral("&**&") + stock.supplierId);
        QCOMPARE(f->grid()->gridRowCount(), 1);
        QCOMPARE(f->grid()->rowTag(1), first);
        typeInto(f, QStringLiteral("txt_0"), QStringLiteral("AL-1"));
        typeInto(f, QStringLiteral("txtAmount"), QStringLiteral("1"));
        QTest::mouseClick(child<QPushButton>(f, QStringLiteral("cmdList")), Qt::LeftButton);
        QCOMPARE(f->grid()->gridRowCount(), stock.offered);

        const Amount total = openSum + Amount::fromInt(1);
        t.prompts().inputs = {total.toString()};
        button(f, QStringLiteral("cmdAllocate"))->trigger();
        QVERIFY2(t.prompts().lastMessage().text.endsWith(QStringLiteral("尚余 1.00 没有入库单可分配。")), qPrintable(t.prompts().lastMessage().text));
        QCOMPARE(child<QLineEdit>(f, QStringLiteral("txtAmount"))->text(), total.toString());
        button(f, QStringLiteral("Save"))->trigger();
        QVERIFY2(t.prompts().messageTexts().contains(QStringLiteral("数据保存成功！")), qPrintable(t.prompts().messageTexts().join(u'|')));
        QCOMPARE(db.scalar(QStringLiteral("select count(*)") + blueOpen).toInt(), 0);
    }
};

QTEST_MAIN(TestFrmMainBill)
#include "tst_frmmainbill.moc"
