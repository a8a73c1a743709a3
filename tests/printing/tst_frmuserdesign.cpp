#include "PrintingSession.h"

#include "printing/frmFieldDescription.h"
#include "report/Report.h"
#include "report/ReportFile.h"
#include "report/ReportText.h"
#include "support/CaseRows.h"

#include <QAction>
#include <QComboBox>
#include <QFileInfo>
#include <QImage>
#include <QMenu>
#include <QMenuBar>
#include <QPushButton>
#include <QRegularExpression>
#include <QToolBar>

using namespace printing_test;

namespace {

QAction *toolbarButton(frmUserDesign *form, const QString &key)
{
    return form->findChild<QToolBar *>(QStringLiteral("Toolbar1"))->findChild<QAction *>(key);
}

void triggerMenu(frmUserDesign *form, const char *name)
{
    form->findChild<QAction *>(QString::fromLatin1(name))->trigger();
}

// Opens the designer as the editor's menu does; null when it did not open.
frmUserDesign *openDesigner()
{
    menuDesignModle(TestSession::session(), nullptr, false);
    return frmUserDesign::existingInstance();
}

// The template rows of a bill kind, and the first one's columns besides the
// template: key, view, file, name, order clause and default flag, NULL shown
// as such.
struct Row {
    int count = 0;
    QStringList columns;
    QByteArray content;
};

Row readRow(TestDatabase &db, int billTypeId)
{
    Row row;
    Recordset rs = db.conn().openRecordset(QStringLiteral("select * from tblBillPrint where ftypeid=%1").arg(billTypeId));
    row.count = rs.recordCount();
    if (rs.eof())
        return row;
    for (const char *name : {"finterid", "fViewName", "fFileName", "fReportName", "fOrderSQL", "fIsDefault"}) {
        const QVariant v = rs.value(QString::fromLatin1(name));
        row.columns << (v.isNull() ? QStringLiteral("<null>") : Recordset::variantText(v));
    }
    row.content = rs.value(QStringLiteral("fcontent")).toByteArray();
    return row;
}

struct OpenCase { const char *name; bool withRow; };
// The template row before the save (a statement on the demo row), whether
// printing finds it usable then, and whether it says why not.
struct SaveCase { const char *name, *before; bool printsBefore, saysWhy; };
// A changed template saved as a file under `file` (empty: cancelled), written
// as `written`, then the answer to the question on close.
struct SaveAs { const char *name; bool change; QString file, written; int answer; };
// A copy button on a list of lines at a row, and what it copies (empty:
// nothing goes to the clipboard).
struct Copy { const char *name; const char *button; bool filled; int row; QString copied; };
} // namespace
Q_DECLARE_METATYPE(OpenCase)
Q_DECLARE_METATYPE(SaveCase)
Q_DECLARE_METATYPE(SaveAs)
Q_DECLARE_METATYPE(Copy)

class tst_FrmUserDesign : public QObject {
    Q_OBJECT
private slots:
    void opensDefaultTemplate_data() { addEngineCaseRows<OpenCase>({{"default-row", true}, {"no-default-row", false}}); }
    void opensDefaultTemplate()
    {
        QFETCH(DbEngine, engine);
        QFETCH(OpenCase, row);
        Session &s = TestSession::session();
        const bool withRow = row.withRow;
        START_ENV(env, engine);
        const QByteArray stored = env.storedContent();
        env.db.exec(QStringLiteral("insert into tblViewDesc(fTypeid,fFieldName,fFieldDesc) values(71,'fExtra','附加：说明：')"));
        env.db.exec(QStringLiteral("insert into tblViewDesc(fTypeid,fFieldName,fFieldDesc) values(72,'fOther','别的单据：')"));
        const int rows = env.db.scalar(QStringLiteral("select count(*) from tblViewDesc where fTypeid=71")).toInt();
        if (!withRow)
            env.db.exec(QStringLiteral("update tblBillPrint set fIsDefault=0"));
        // The clerk, without Q21 in the demo data, is refused silently.
        s.IsAdmin = 0;
        s.gLoginUserId = QString::number(Demo::kClerkUserId);
        QVERIFY(!openDesigner());
        QVERIFY(env.prompts().calls.empty());
        QVERIFY(!QFileInfo::exists(designWorkFile(s)));
        s.IsAdmin = 1;
        s.gLoginUserId = QStringLiteral("1");
        // A working file from an earlier session is replaced, or, without a
        // default template, not opened again.
        QDir().mkpath(env.appPath());
        const QString work = env.appPath() + QStringLiteral("/DesignTemp.grf");
        {
            QFile f(work);
            QVERIFY(f.open(QIODevice::WriteOnly));
            f.write("{ left over }");
        }
        QCOMPARE(designWorkFile(s), work);
        // An application folder that cannot be written sends it to the cache.
        const QString app = env.appPath();
        s.gAppPath = work + QStringLiteral("/app");
        QCOMPARE(designWorkFile(s), env.ts.folder() + QStringLiteral("/cache/TamsorPurFP/DesignTemp.grf"));
        s.gAppPath = app;

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

        // The field descriptions of this bill kind, without the colons.
        triggerMenu(form, "MenuFieldDescription");
        frmFieldDescription *list = form->fieldDescription();
        QVERIFY(list);
        QVERIFY(list->isVisible());
        QCOMPARE(list->gridRows(), rows + 1);
        QMap<QString, QString> byField;
        for (int r = 1; r < list->gridRows(); ++r)
            byField.insert(list->cellText(r, 2), list->cellText(r, 1));
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

    // The designer saves into the bill kind's template row, under its key,
    // with the toolbar button and again from the menu: the other columns are
    // kept (a null default flag and an order clause too), a row without a view
    // is mended and without a row a new default one is added, so that
    // printing, refused before, prints what was saved. Another bill kind's
    // row is left alone; the working file goes with the designer.
    void saveReplacesTheTemplateRow_data()
    {
        addEngineCaseRows<SaveCase>({{"demo row", "", true, false},
                                     {"null default", "update tblBillPrint set fIsDefault=null,fOrderSQL=' order by forderid desc '", true, false},
                                     {"row without a view", "update tblBillPrint set fViewName=null", false, true},
                                     {"no row", "delete from tblBillPrint", false, false}});
    }
    void saveReplacesTheTemplateRow()
    {
        QFETCH(DbEngine, engine);
        QFETCH(SaveCase, row);
        Session &s = TestSession::session();
        START_ENV(env, engine);
        if (*row.before)
            env.db.exec(QString::fromUtf8(row.before));
        const Row before = readRow(env.db, 71);
        const int rowsBefore = env.db.scalar(QStringLiteral("select count(*) from tblBillPrint")).toInt();
        QCOMPARE(initReport(s), row.printsBefore);
        QCOMPARE(env.prompts().messageTexts(), row.saysWhy ? QStringList{noPrintViewText()} : QStringList());

        frmUserDesign *form = openDesigner();
        QVERIFY(form);
        report::ReportDesigner *grds1 = form->designer();
        grds1->insertItem(report::ItemKind::Text, QStringLiteral("新加的文字"));
        Row after;
        for (int round = 1; round <= 2; ++round) {
            if (round == 2) {
                // Another bill kind's row, only now so that the first save
                // without a row found the table empty.
                env.db.exec(QStringLiteral("insert into tblBillPrint(finterid,ftypeid,fReportName,fViewName,fFileName,fIsDefault) "
                                           "values(7,72,'其他','vOther','Other.grf',1)"));
                grds1->moveSelected(10, 0);
            }
            QVERIFY(grds1->isModified());
            env.prompts().clear();
            if (round == 1)
                toolbarButton(form, QStringLiteral("Save"))->trigger();
            else
                triggerMenu(form, "MenuSaleToModule");
            QCOMPARE(env.prompts().messageTexts(), QStringList{QStringLiteral("保存成功!")});
            QCOMPARE(env.prompts().lastMessage().icon, int(Prompt::Information));
            QVERIFY(!grds1->isModified());

            after = readRow(env.db, 71);
            QCOMPARE(after.count, 1);
            QCOMPARE(env.db.scalar(QStringLiteral("select count(*) from tblBillPrint")).toInt(), rowsBefore + (before.count ? 0 : 1) + round - 1);
            QVERIFY(form->templateKey() > 0);
            QStringList expected = before.count ? before.columns
                                                : QStringList{QString::number(form->templateKey()), QString(), QStringLiteral("71.grf"),
                                                              QStringLiteral("采购发票"), QStringLiteral("<null>"), QStringLiteral("1")};
            expected[1] = QStringLiteral("vPurFPPrint");
            QCOMPARE(after.columns, expected);
            QVERIFY(after.content != before.content);
            // What was saved loads back as the designer holds it.
            QCOMPARE(*report::templateFromJson(after.content), grds1->reportTemplate());
        }
        QCOMPARE(readRow(env.db, 72).count, 1);
        const QString work = form->workFile();
        QVERIFY(QFileInfo::exists(work));
        Env::closeDesigner();
        QVERIFY(!QFileInfo::exists(work));

        env.prompts().clear();
        QVERIFY(initReport(s));
        QVERIFY(env.prompts().calls.empty());
        QCOMPARE(billReport().reportTemplate(), *report::templateFromJson(after.content));
    }

    // A changed template saved as a file: the database stays as it was and
    // the designer modified; closing then asks whether to save it.
    void saveAsFileAndClose_data()
    {
        addEngineCaseRows<SaveAs>({{"unchanged", false, QString(), QString(), 0},
                                   {"copy-then-save", true, "copy.grf", "copy.grf", Prompt::Yes},
                                   {"copy-without-suffix-then-discard", true, "copy", "copy.grf", Prompt::No},
                                   {"copy-cancelled-then-save", true, QString(), QString(), Prompt::Yes}});
    }
    void saveAsFileAndClose()
    {
        QFETCH(DbEngine, engine);
        QFETCH(SaveAs, row);
        const auto &[name, change, file, written, answer] = row;
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

    // What the designer's commands, found in the form's menus or its
    // property panel, set on the report header's items is saved into the
    // template row, read back by printing and carried by the items placed on
    // the page. Each command alone is checked with the designer.
    void featuresSurviveSaveAndPrint_data() { addEngineRows(); }
    void featuresSurviveSaveAndPrint()
    {
        QFETCH(DbEngine, engine);
        Session &s = TestSession::session();
        START_ENV(ss, engine);
        s.gCurInterId = 1;
        ss.db.exec(QStringLiteral("update tblFP set fAmount=38 where finterid=1"));
        QImage logo(16, 8, QImage::Format_RGB32);
        logo.fill(Qt::blue);
        const QString logoPath = ss.ts.folder() + QStringLiteral("/logo.jpg");
        QVERIFY(logo.save(logoPath));

        const auto tpl = report::templateFromJson(R"({"format":"purfp-report","version":1,"page":{"width":2100,"height":2970},
            "bands":[{"kind":"reportHeader","height":300,"items":[
            {"type":"text","x":0,"y":0,"width":1000,"height":100,"text":"金额\n[fAmount]","format":"0.00"},
            {"type":"line","x":0,"y":150,"width":1000,"height":0},{"type":"rect","x":0,"y":200,"width":500,"height":80}]}]})");
        frmUserDesign *form = openDesigner();
        QVERIFY(form);
        report::ReportDesigner *designer = form->designer();
        designer->setReportTemplate(*tpl);
        designer->setColorChooser([](const QString &, const QString &) { return QStringLiteral("#c00000"); });
        ss.prompts().fileNames.push_back(logoPath);
        // Items 0 text, 1 line, 2 box; the image inserted becomes item 3.
        const QList<QPair<int, QString>> commands{
            {2, "actInsertImage"}, {0, "actItalic"}, {0, "actUnderline"}, {0, "actTextColor"}, {0, "actWordWrap"},
            {0, "actVAlignBottom"}, {0, "propFormat=大写金额"}, {1, "actLineWidth/lineWidth8"}, {1, "actLineStyle/lineStyleDash"},
            {2, "actFillColor"}, {2, "actLineStyle/lineStyleDot"}};
        for (const auto &[item, command] : commands) {
            designer->selectItem(report::BandKind::ReportHeader, item);
            const QStringList parts = command.split(QRegularExpression(QStringLiteral("[/=]")));
            if (command.contains(u'=')) {
                designer->findChild<QComboBox *>(parts[0])->setCurrentText(parts[1]);
                continue;
            }
            QAction *a = nullptr;
            for (QMenu *menu : form->menuBar()->findChildren<QMenu *>())
                for (QAction *entry : menu->actions())
                    a = entry->objectName() == parts[0] ? entry : a;
            QVERIFY2(a, qPrintable(command));
            (parts.size() > 1 ? a->menu()->findChild<QAction *>(parts[1]) : a)->trigger();
        }
        ss.prompts().clear();
        form->MenuSaleToModule_Click();
        QCOMPARE(ss.prompts().messageTexts(), QStringList{QStringLiteral("保存成功!")});
        Env::closeDesigner();

        QVERIFY(initReport(s));
        const report::ReportLayout &layout = billReport().prepare();
        QVERIFY(layout.pageCount() > 0);
        const QStringList expected{"italic underline color #c00000 金额|叁拾捌元整 valign 2 金额\n叁拾捌元整", "width 8 dash",
                                   "fill #c00000 dot", "image 16x8"};
        for (int item = 0; item < 4; ++item) {
            const report::PlacedItem *placed = nullptr;
            for (const report::PlacedBand &band : layout.pages[0].bands)
                for (const report::PlacedItem &p : band.items)
                    if (band.kind == report::BandKind::ReportHeader && p.item == item)
                        placed = &p;
            QVERIFY(placed);
            const report::ReportItem &printed = layout.tpl.band(report::BandKind::ReportHeader).items[item];
            const QImage image = QImage::fromData(printed.png, "PNG");
            QStringList got{
                image.isNull() ? QString() : QStringLiteral("image %1x%2").arg(image.width()).arg(image.height()),
                printed.font.italic ? QStringLiteral("italic") : QString(),
                printed.font.underline ? QStringLiteral("underline") : QString(),
                printed.color != u"#000000" ? QStringLiteral("color ") + printed.color : QString(),
                printed.fillColor.isEmpty() ? QString() : QStringLiteral("fill ") + printed.fillColor,
                printed.lineWidth != 2 ? QStringLiteral("width %1").arg(printed.lineWidth) : QString(),
                printed.lineStyle != report::LineStyle::Solid ? report::lineStyleKey(printed.lineStyle) : QString(),
                placed->wrapped ? placed->lines.join(u'|') : QString(),
                printed.valign != report::VAlign::Center ? QStringLiteral("valign %1").arg(int(printed.valign)) : QString(),
                printed.format == report::amountInWordsFormat() ? placed->text : QString(),
            };
            got.removeAll(QString());
            QCOMPARE(got.join(u' '), expected[item]);
        }
        QVERIFY(!billReport().renderPage(0, 50).isNull()); // the page paints with it
    }

    void copyButtons_data()
    {
        addCaseRows<Copy>({{"description-first", "cmdCopy1", true, 1, "单据编号"},
                           {"field-second", "cmdCopy2", true, 2, "fSupplyIdName"},
                           {"description-last", "cmdCopy1", true, 3, "入库单号"},
                           {"field-last", "cmdCopy2", true, 3, "fStockBillNo"},
                           {"empty-list", "cmdCopy2", false, 0, QString()}});
    }
    void copyButtons()
    {
        QFETCH(Copy, row);
        const auto &[name, button, filled, current, copied] = row;
        const QStringList lines{QStringLiteral("单据编号\tfbillno"), QStringLiteral("供应商\tfSupplyIdName"), QStringLiteral("入库单号\tfStockBillNo")};
        TestSession ts;
        frmFieldDescription list;
        for (const QString &line : filled ? lines : QStringList())
            list.addItem(line);
        list.setCurrentRow(current);
        QCOMPARE(list.currentRow(), current);
        auto *b = list.findChild<QPushButton *>(QString::fromLatin1(button));
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
#include "support/TestSession.h"
