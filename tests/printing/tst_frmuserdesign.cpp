#include "PrintingSession.h"

#include "printing/frmFieldDescription.h"
#include "report/Report.h"
#include "report/ReportFile.h"

#include <QAction>
#include <QComboBox>
#include <QFileInfo>
#include <QPushButton>
#include <QToolBar>

using namespace printing_test;

namespace {

QAction *toolbarButton(frmUserDesign *form, const QString &key)
{
    auto *bar = form->findChild<QToolBar *>(QStringLiteral("Toolbar1"));
    if (!bar)
        return nullptr;
    for (QAction *a : bar->actions())
        if (a->objectName() == key)
            return a;
    return nullptr;
}

void triggerMenu(frmUserDesign *form, const char *name)
{
    form->findChild<QAction *>(QString::fromLatin1(name))->trigger();
}

// Opens the designer as the editor's menu does; null when it did not open.
frmUserDesign *openDesigner()
{
    menuDesignModle(nullptr, false);
    return frmUserDesign::existingInstance();
}

// The rows under a key, and the first one's columns besides the template:
// type, view, file, name, order clause and default flag, NULL shown as such.
struct Row {
    int count = 0;
    QStringList columns;
    QByteArray content;
};

Row readRow(TestDatabase &db, int key)
{
    Row row;
    Recordset rs = db.conn().openRecordset(QStringLiteral("select * from tblBillPrint where finterid=%1").arg(key));
    row.count = rs.recordCount();
    if (rs.eof())
        return row;
    for (const char *name : {"ftypeid", "fViewName", "fFileName", "fReportName", "fOrderSQL", "fIsDefault"}) {
        const QVariant v = rs.value(QString::fromLatin1(name));
        row.columns << (v.isNull() ? QStringLiteral("<null>") : Recordset::variantText(v));
    }
    row.content = rs.value(QStringLiteral("fcontent")).toByteArray();
    return row;
}

} // namespace

class tst_FrmUserDesign : public QObject {
    Q_OBJECT
private slots:
    void opensDefaultTemplate_data() { addEngineFlagRows("withRow", "default-row", "no-default-row"); }
    void opensDefaultTemplate()
    {
        QFETCH(DbEngine, engine);
        QFETCH(bool, withRow);
        START_ENV(env, engine);
        const QByteArray stored = env.storedContent();
        if (!withRow)
            env.db.exec(QStringLiteral("update tblBillPrint set fIsDefault=0"));
        // The clerk, without Q21 in the demo data, is refused silently.
        session().IsAdmin = 0;
        session().gLoginUserId = QString::number(Demo::kClerkUserId);
        QVERIFY(!openDesigner());
        QVERIFY(env.prompts().calls.empty());
        QVERIFY(!QFileInfo::exists(designWorkFile()));
        session().IsAdmin = 1;
        session().gLoginUserId = QStringLiteral("1");
        // A working file from an earlier session is replaced, or, without a
        // default template, not opened again.
        QDir().mkpath(env.appPath());
        const QString work = env.appPath() + QStringLiteral("/DesignTemp.grf");
        {
            QFile f(work);
            QVERIFY(f.open(QIODevice::WriteOnly));
            f.write("{ left over }");
        }
        QCOMPARE(designWorkFile(), work);

        frmUserDesign *form = openDesigner();
        QVERIFY2(env.prompts().calls.empty(), qPrintable(env.prompts().messageTexts().join(u'|')));
        QVERIFY(form);
        QVERIFY(form->isVisible());
        QCOMPARE(form->workFile(), work);
        QVERIFY(form->windowTitle().startsWith(QStringLiteral("采购发票")));
        QVERIFY(!form->designer()->isModified());
        if (withRow) {
            QCOMPARE(form->templateKey(), 1);
            QCOMPARE(form->designer()->reportTemplate(), *report::templateFromJson(stored));
            QFile f(work);
            QVERIFY(f.open(QIODevice::ReadOnly));
            QCOMPARE(f.readAll(), stored);
        } else {
            QCOMPARE(form->templateKey(), 0);
            QCOMPARE(form->designer()->reportTemplate(), report::ReportTemplate());
            QVERIFY(!QFileInfo::exists(work));
        }
        // Switching views changes nothing in the template.
        triggerMenu(form, "MenuPageView");
        QCOMPARE(form->designer()->viewMode(), report::ReportDesigner::ViewMode::Page);
        triggerMenu(form, "MenuNormalView");
        QCOMPARE(form->designer()->viewMode(), report::ReportDesigner::ViewMode::Normal);
        QVERIFY(!form->designer()->isModified());
    }

    // nullFlags: fIsDefault null and an order clause, kept as they are.
    void saveReplacesRowUnderKey_data() { addEngineFlagRows("nullFlags", "null-default", "demo-row"); }
    void saveReplacesRowUnderKey()
    {
        QFETCH(DbEngine, engine);
        QFETCH(bool, nullFlags);
        START_ENV(env, engine);
        if (nullFlags)
            env.db.exec(QStringLiteral("update tblBillPrint set fIsDefault=null,fOrderSQL=' order by forderid desc '"));
        // A template of another bill kind under another key is left alone.
        env.db.exec(QStringLiteral("insert into tblBillPrint(finterid,ftypeid,fReportName,fViewName,fFileName,fIsDefault) "
                                   "values(7,72,'其他','vOther','Other.grf',1)"));
        const Row before = readRow(env.db, 1);
        QCOMPARE(before.columns.value(0), QStringLiteral("71"));
        const int rowsBefore = env.db.scalar(QStringLiteral("select count(*) from tblBillPrint")).toInt();

        frmUserDesign *form = openDesigner();
        QVERIFY(form);
        report::ReportDesigner *grds1 = form->designer();
        grds1->insertItem(report::ItemKind::Text, QStringLiteral("新加的文字"));
        QVERIFY(grds1->isModified());

        // Saved with the toolbar button, then again from the menu.
        for (int round = 1; round <= 2; ++round) {
            env.prompts().clear();
            if (round == 1)
                toolbarButton(form, QStringLiteral("Save"))->trigger();
            else
                triggerMenu(form, "MenuSaleToModule");
            QCOMPARE(env.prompts().messageTexts(), QStringList{QStringLiteral("保存成功!")});
            QCOMPARE(env.prompts().lastMessage().icon, int(Prompt::Information));
            QVERIFY(!grds1->isModified());

            const Row after = readRow(env.db, 1);
            QCOMPARE(after.count, 1);
            QCOMPARE(env.db.scalar(QStringLiteral("select count(*) from tblBillPrint")).toInt(), rowsBefore);
            QCOMPARE(after.columns, before.columns);
            // What was saved loads back as the designer holds it.
            const auto stored = report::templateFromJson(after.content);
            QVERIFY(stored);
            QCOMPARE(*stored, grds1->reportTemplate());
            QVERIFY(*stored != *report::templateFromJson(before.content));
            if (round == 1) {
                grds1->moveSelected(10, 0);
                QVERIFY(grds1->isModified());
            }
        }
        QCOMPARE(readRow(env.db, 7).count, 1);

        // The saved template is the one the invoice prints with.
        QVERIFY(initReport());
        QCOMPARE(billReport().reportTemplate(), grds1->reportTemplate());
    }

    // A changed template saved as a file: the database stays as it was and
    // the designer modified; closing then asks whether to save it.
    void saveAsFileAndClose_data()
    {
        QTest::addColumn<DbEngine>("engine");
        QTest::addColumn<bool>("change");
        QTest::addColumn<QString>("file");    // the name chosen to save as; empty: cancelled
        QTest::addColumn<QString>("written"); // the file written
        QTest::addColumn<int>("answer");      // to the question on close
        for (DbEngine e : TestDatabase::engines()) {
            engineRow(e, "unchanged") << false << QString() << QString() << 0;
            engineRow(e, "copy-then-save") << true << QStringLiteral("copy.grf") << QStringLiteral("copy.grf") << int(Prompt::Yes);
            engineRow(e, "copy-without-suffix-then-discard") << true << QStringLiteral("copy") << QStringLiteral("copy.grf") << int(Prompt::No);
            engineRow(e, "copy-cancelled-then-save") << true << QString() << QString() << int(Prompt::Yes);
        }
    }
    void saveAsFileAndClose()
    {
        QFETCH(DbEngine, engine);
        QFETCH(bool, change);
        QFETCH(QString, file);
        QFETCH(QString, written);
        QFETCH(int, answer);
        START_ENV(env, engine);
        const QByteArray before = env.storedContent();
        frmUserDesign *form = openDesigner();
        QVERIFY(form);
        const QString question = QStringLiteral("单据模板已经更改,是否保存?");
        QStringList messages;
        report::ReportTemplate edited;
        env.prompts().clear();
        if (change) {
            form->designer()->insertItem(report::ItemKind::Rect);
            edited = form->designer()->reportTemplate();
            if (!file.isEmpty())
                env.prompts().fileNames.push_back(env.ts.folder() + u'/' + file);
            triggerMenu(form, "MenuFileSaveAS");
            QCOMPARE(env.prompts().calls.front().kind, Prompt::Call::SaveFile);
            QCOMPARE(env.prompts().calls.front().filter, QStringLiteral("单据打印模板文件(*.grf)|*.grf"));
            QCOMPARE(int(env.prompts().calls.size()), written.isEmpty() ? 1 : 2);
            if (!written.isEmpty()) {
                messages << QStringLiteral("文件导出成功!");
                const auto copy = report::loadTemplate(env.ts.folder() + u'/' + written);
                QVERIFY(copy);
                QCOMPARE(*copy, edited);
            }
            QCOMPARE(env.storedContent(), before);
            QVERIFY(form->designer()->isModified());
            messages << question;
            if (answer == Prompt::Yes)
                messages << QStringLiteral("保存成功!");
            env.prompts().answers.push_back(answer);
        }

        toolbarButton(form, QStringLiteral("Exit"))->trigger();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);

        QCOMPARE(env.prompts().messageTexts(), messages);
        if (change) {
            const Prompt::Call asked = env.prompts().messages()[size_t(messages.indexOf(question))];
            QCOMPARE(asked.buttons, int(Prompt::YesNo));
            QCOMPARE(asked.title, QStringLiteral("测试"));
        }
        QVERIFY(!frmUserDesign::existingInstance());
        if (answer == Prompt::Yes)
            QCOMPARE(*report::templateFromJson(env.storedContent()), edited);
        else
            QCOMPARE(env.storedContent(), before);
    }

    void fieldDescription_data() { addEngineRows(); }
    void fieldDescription()
    {
        QFETCH(DbEngine, engine);
        START_ENV(env, engine);
        env.db.exec(QStringLiteral("insert into tblViewDesc(fTypeid,fFieldName,fFieldDesc) values(71,'fExtra','附加：说明：')"));
        env.db.exec(QStringLiteral("insert into tblViewDesc(fTypeid,fFieldName,fFieldDesc) values(72,'fOther','别的单据：')"));
        const int rows = env.db.scalar(QStringLiteral("select count(*) from tblViewDesc where fTypeid=71")).toInt();

        frmUserDesign *form = openDesigner();
        QVERIFY(form);
        triggerMenu(form, "MenuFieldDescription");
        frmFieldDescription *list = form->fieldDescription();
        QVERIFY(list);
        QVERIFY(list->isVisible());
        QCOMPARE(list->gridRows(), rows + 1);
        QMap<QString, QString> byField;
        for (int r = 1; r < list->gridRows(); ++r) {
            QVERIFY2(!list->cellText(r, 1).contains(QStringLiteral("：")), qPrintable(list->cellText(r, 1)));
            byField.insert(list->cellText(r, 2), list->cellText(r, 1));
        }
        QCOMPARE(byField.value(QStringLiteral("fbillno")), QStringLiteral("单据编号"));
        QCOMPARE(byField.value(QStringLiteral("fHXAmount")), QStringLiteral("本次钩稽金额"));
        QCOMPARE(byField.value(QStringLiteral("fExtra")), QStringLiteral("附加说明"));
        QVERIFY(!byField.contains(QStringLiteral("fOther")));

        // Opening it again refills it instead of adding rows twice.
        form->MenuFieldDescription_Click();
        QCOMPARE(list->gridRows(), rows + 1);
        // The designer offers the same fields for insertion.
        auto *fields = form->designer()->findChild<QComboBox *>(QStringLiteral("fieldList"));
        QVERIFY(fields);
        QCOMPARE(fields->count(), rows);
        QVERIFY(fields->findText(QStringLiteral("fExtra")) >= 0);
    }

    void copyButtons_data()
    {
        QTest::addColumn<QString>("button");
        QTest::addColumn<QStringList>("lines");
        QTest::addColumn<int>("row");
        QTest::addColumn<QString>("copied"); // empty: nothing goes to the clipboard
        const QStringList lines{QStringLiteral("单据编号\tfbillno"), QStringLiteral("供应商\tfSupplyIdName"),
                                QStringLiteral("入库单号\tfStockBillNo")};
        QTest::newRow("description-first") << QStringLiteral("cmdCopy1") << lines << 1 << QStringLiteral("单据编号");
        QTest::newRow("field-second") << QStringLiteral("cmdCopy2") << lines << 2 << QStringLiteral("fSupplyIdName");
        QTest::newRow("description-last") << QStringLiteral("cmdCopy1") << lines << 3 << QStringLiteral("入库单号");
        QTest::newRow("field-last") << QStringLiteral("cmdCopy2") << lines << 3 << QStringLiteral("fStockBillNo");
        QTest::newRow("empty-list") << QStringLiteral("cmdCopy2") << QStringList() << 0 << QString();
    }
    void copyButtons()
    {
        QFETCH(QString, button);
        QFETCH(QStringList, lines);
        QFETCH(int, row);
        QFETCH(QString, copied);
        TestSession ts;
        frmFieldDescription list;
        for (const QString &line : lines)
            list.addItem(line);
        list.setCurrentRow(row);
        QCOMPARE(list.currentRow(), row);
        auto *b = list.findChild<QPushButton *>(button);
        QVERIFY(b);
        QTest::mouseClick(b, Qt::LeftButton);
        if (copied.isEmpty()) {
            QVERIFY(ts.prompts().calls.empty());
        } else {
            QCOMPARE(int(ts.prompts().calls.size()), 1);
            QCOMPARE(ts.prompts().calls.front().kind, Prompt::Call::Clipboard);
            QCOMPARE(ts.prompts().clipboardText, copied);
        }
    }
};

QTEST_MAIN(tst_FrmUserDesign)
#include "tst_frmuserdesign.moc"
