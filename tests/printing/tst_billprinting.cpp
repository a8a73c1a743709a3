#include "PrintingSession.h"

#include "printing/BatchPrinting.h"
#include "platform/IniFile.h"
#include "report/Report.h"
#include "report/ReportFile.h"
#include "report/ReportText.h"
#include "support/CaseRows.h"
#include "support/PdfTools.h"

#include <QApplication>
#include <QDialog>
#include <QFileInfo>
#include <QPrinter>
#include <QRegularExpression>
#include <QTimer>

using namespace printing_test;

namespace {

// A template that differs from the demo one in its title and detail text, so
// the test can tell which row was loaded.
QByteArray markedTemplate(const QByteArray &base, const QString &mark)
{
    auto tpl = report::templateFromJson(base);
    Q_ASSERT(tpl);
    tpl->title = mark;
    tpl->band(report::BandKind::Detail).items.first().text = QStringLiteral("[fStockBillNo]") + mark;
    return report::templateToJson(*tpl);
}

void addTemplateRow(TestDatabase &db, int key, const QVariant &isDefault, const QByteArray &content,
                    const QString &fileName = QStringLiteral("PurFP.grf"), const QVariant &orderSql = QVariant())
{
    db.conn().addRow(QStringLiteral("tblBillPrint"), {{QStringLiteral("finterid"), key},
                                                       {QStringLiteral("ftypeid"), 71},
                                                       {QStringLiteral("fReportName"), QStringLiteral("采购发票%1").arg(key)},
                                                       {QStringLiteral("fViewName"), QStringLiteral("vPurFPPrint")},
                                                       {QStringLiteral("fFileName"), fileName},
                                                       {QStringLiteral("fOrderSQL"), orderSql},
                                                       {QStringLiteral("fIsDefault"), isDefault},
                                                       {QStringLiteral("fcontent"), content}});
}

// The texts placed on each page of the prepared layout, joined per page.
QStringList pageTexts(const report::ReportLayout &layout)
{
    QStringList pages;
    for (const report::LayoutPage &page : layout.pages) {
        QString text;
        for (const report::PlacedBand &band : page.bands)
            for (const report::PlacedItem &item : band.items)
                text += item.text + u'\n';
        pages << text;
    }
    return pages;
}

// set: what is set in the demo row; "none": no row at all; "several": rows 2 to 4 added.
// appFolder: the application folder exists.
struct FlagCase { const char *name; QString set; bool loaded, appFolder; };
// stored: the print option in the file before (empty: no entry).
struct PrintOptionCase { const char *name; QString stored; bool checkedBefore; bool checkedAfter; };
// picks: "first", "busiest", "last" bill; how: "pdf", "printer", "list pdf", "list printer".
struct BatchCase { const char *name; QStringList picks; QString how; };
// message: empty when the batch is cancelled.
struct RefusalCase { const char *name; QString fault; QString message; };

} // namespace

Q_DECLARE_METATYPE(FlagCase)
Q_DECLARE_METATYPE(PrintOptionCase)
Q_DECLARE_METATYPE(BatchCase)
Q_DECLARE_METATYPE(RefusalCase)

class tst_BillPrinting : public QObject {
    Q_OBJECT

    // The bill exported to `pdf`: its header, stock bills and total on the
    // page, and in the text copied out of the PDF. (A bill over several
    // pages: batchPages.)
    static void checkExportedBill(Env &env, const QString &pdf)
    {
        const int bill = TestSession::session().gCurInterId;
        Recordset head = env.db.conn().openRecordset(
            QStringLiteral("select a.fbillno,s.fname as fsupplier from tblFP as a "
                           "left join tblItem as s on s.fitemid=a.fSupplyId where a.finterid=%1").arg(bill));
        QVERIFY(!head.eof());
        const Amount total = Amount::fromVariant(
            env.db.scalar(QStringLiteral("select sum(fHXAmount) from tblFPEntry where finterid=%1").arg(bill)));
        QStringList printed{QStringLiteral("采购发票"), QStringLiteral("江南示范商贸有限公司"), head.text(QStringLiteral("fbillno")),
                            head.text(QStringLiteral("fsupplier")), QStringLiteral("第 1 页 / 共 1 页")};
        Recordset entries = env.db.conn().openRecordset(
            QStringLiteral("select b.fbillno from tblFPEntry as e join icstockbill as b on b.finterid=e.fStockInterId "
                           "where e.finterid=%1 order by e.fEntryId").arg(bill));
        for (; !entries.eof(); entries.moveNext())
            printed << entries.text(QStringLiteral("fbillno"));
        QVERIFY(printed.size() >= 7);
        const QString page = pageTexts(billReport().layout()).join(u'\f');
        for (const QString &expected : printed)
            QVERIFY2(page.contains(expected), qPrintable(expected + u'\n' + page.left(800)));
        // The total under the table and the invoice amount line both show it.
        const QString totalText = report::formatAmount(total, QStringLiteral("#,##0.00"));
        QVERIFY2(totalText.contains(u'.') && page.count(totalText) >= 2, qPrintable(totalText + u'\n' + page));
        // Text copied out of the PDF is what was printed: 示 and 页, not the
        // radicals ⽰ and ⻚ that share their glyphs in some fonts.
        const auto copied = pdf_tools::text(pdf);
        QVERIFY(copied);
        const QString flat = QString(*copied).remove(QRegularExpression(QStringLiteral("\\s+")));
        QVERIFY2(flat.contains(QStringLiteral("江南示范商贸有限公司")) && flat.contains(QStringLiteral("第1页/共1页")), qPrintable(*copied));
    }

private slots:
    // The default template row that initReport loads, written to its file
    // (in the application folder when that exists, else the temp folder) and
    // read from there; the records come from the row's view in its order.
    void defaultTemplate_data()
    {
        addEngineCaseRows<FlagCase>({{"several", "several", true, false},
                                     {"one, stored order, app folder", "fIsDefault=1,fOrderSQL=' order by forderid desc '", true, true},
                                     {"null", "fIsDefault=null", true, false}, {"zero", "fIsDefault=0", false, false},
                                     {"two", "fIsDefault=2", false, false}, {"no-row", "none", false, false}});
    }
    void defaultTemplate()
    {
        QFETCH(DbEngine, engine);
        QFETCH(FlagCase, row);
        Session &s = TestSession::session();
        const auto &[name, set, loaded, appFolder] = row;
        START_ENV(env, engine);
        // A template from an earlier call must not survive a call that finds none.
        QVERIFY(initReport(s));
        QVERIFY(billReport().hasTemplate());
        if (set == u"several") {
            // Rows 2 and 3 are defaults too (a null flag counts), row 4 is not.
            const QByteArray base = env.storedContent();
            addTemplateRow(env.db, 2, 1, markedTemplate(base, QStringLiteral("第二")), QStringLiteral("Second.grf"));
            addTemplateRow(env.db, 3, QVariant(), markedTemplate(base, QStringLiteral("第三")), QStringLiteral("Third.grf"),
                           QStringLiteral(" order by forderid desc "));
            addTemplateRow(env.db, 4, 0, markedTemplate(base, QStringLiteral("第四")), QStringLiteral("Fourth.grf"));
        } else {
            env.db.exec(set == u"none" ? QStringLiteral("delete from tblBillPrint") : QStringLiteral("update tblBillPrint set ") + set);
        }
        if (appFolder)
            QDir().mkpath(env.appPath());
        const QString folder = appFolder ? env.appPath() : env.ts.folder() + QStringLiteral("/tmp");
        QCOMPARE(QFileInfo(templateFolder(s)).canonicalFilePath(), QFileInfo(folder).canonicalFilePath());
        // Whatever order the engine returns the default rows in, the last one
        // read is the one printed.
        Recordset rs = env.db.conn().openRecordset(defaultTemplateSql(71));
        QCOMPARE(rs.recordCount(), !loaded ? 0 : set == u"several" ? 3 : 1);
        rs.setPosition(rs.recordCount() - 1);
        // A leftover of an earlier run, longer than the stored template and
        // not a template at all: a load that read it, or kept its tail, would
        // fail.
        const QString leftover = QDir(folder).filePath(loaded ? rs.text(QStringLiteral("fFileName")) : QStringLiteral("PurFP.grf"));
        {
            QFile f(leftover);
            QVERIFY(f.open(QIODevice::WriteOnly));
            f.write(QByteArray(env.storedContent().size() * 2, 'x'));
        }
        const int bill = env.busiestInvoice();
        s.gCurInterId = bill;

        QCOMPARE(initReport(s), loaded);
        QCOMPARE(billReport().hasTemplate(), loaded);
        QVERIFY2(env.prompts().calls.empty(), qPrintable(env.prompts().messageTexts().join(u'|')));
        if (!loaded) {
            QVERIFY(!billReport().preview()); // nothing to show, and no window
            return;
        }
        QCOMPARE(billReport().reportTemplate(), *report::templateFromJson(rs.value(QStringLiteral("fcontent")).toByteArray()));
        QCOMPARE(printSource().orderSql, rs.text(QStringLiteral("fOrderSQL")));
        QCOMPARE(QFileInfo(s.gTemplateFile).absoluteFilePath(), QFileInfo(leftover).absoluteFilePath());
        // The loaded file is removed; those of earlier default rows stay.
        QVERIFY(!QFileInfo::exists(leftover));
        QCOMPARE(QDir(folder).entryList(QDir::Files).size(), rs.recordCount() - 1);
        QCOMPARE(billReport().title(), QStringLiteral("采购发票"));

        QVERIFY(billReport().prepare().pageCount() >= 1);
        const report::ReportData &data = billReport().data();
        QCOMPARE(s.gConn.get(), nullptr); // the feed closes the connection
        Recordset expected = env.db.conn().openRecordset(
            QStringLiteral("select * from vPurFPPrint where finterid=%1 order by forderid").arg(bill));
        QVERIFY(data.count() >= 2);
        QCOMPARE(data.count(), expected.recordCount());
        const bool descending = !printSource().orderSql.isEmpty();
        for (int i = 0; i < data.count(); ++i) {
            expected.setPosition(descending ? data.count() - 1 - i : i);
            const report::ReportRecord &record = data.at(i);
            QCOMPARE(record.size(), expected.fieldCount());
            // Every column of the view, whatever case the engine reports it in.
            for (const QString &name : expected.fieldNames()) {
                QVERIFY2(record.contains(name.toUpper()), qPrintable(name));
                QCOMPARE(Recordset::variantText(record.value(name.toUpper())), expected.text(name));
            }
        }
    }

    // Only the file name of the stored one is kept, in the application folder.
    void templateFilePathKeepsFileName()
    {
        Session &s = TestSession::session();
        TestSession ts;
        s.gAppPath = ts.folder();
        const QList<QPair<QString, QString>> cases{{"PurFP.grf", "PurFP.grf"},
                                                   {"  PurFP.grf ", "PurFP.grf"},
                                                   {"C:\\Program Files\\App\\Bill.grf", "Bill.grf"},
                                                   {"../../etc/x.grf", "x.grf"},
                                                   {QString(), "71.grf"},
                                                   {"..", "71.grf"}};
        for (const auto &[stored, expected] : cases)
            QCOMPARE(templateFilePath(s, stored), QDir(ts.folder()).filePath(expected));
    }

    void noConnection()
    {
        Session &s = TestSession::session();
        TestSession ts;
        s.DBConnectionString = QStringLiteral("Driver=SQLite;Database=") + ts.folder() + QStringLiteral("/missing/none.db");
        QVERIFY(!initReport(s));
        QCOMPARE(ts.prompts().messageTexts(), QStringList{QStringLiteral("数据库连接失败!")});
        QCOMPARE(ts.prompts().lastMessage().icon, int(Prompt::Exclamation));
        QVERIFY(!billReport().hasTemplate());
        releaseBillReport();
    }

    // The editor's commands on a saved bill: preview and print show their
    // dialog (closed again), the export asks for a file once and writes the
    // bill.
    // On a bill not saved yet they warn and load nothing; without the right
    // (the clerk holds Q08 in the demo data) they end silently.
    void editorCommands_data() { addEngineRows(); }
    void editorCommands()
    {
        QFETCH(DbEngine, engine);
        Session &s = TestSession::session();
        START_ENV(env, engine, Demo::kClerkUserId, false);
        s.gCurInterId = env.busiestInvoice();
        const QString pdf = env.ts.folder() + QStringLiteral("/bill");
        // A dialog that the command opens is noted and closed again.
        QStringList dialogs;
        QTimer watcher;
        watcher.setInterval(20);
        connect(&watcher, &QTimer::timeout, [&dialogs] {
            if (QWidget *w = QApplication::activeModalWidget()) {
                dialogs << QString::fromLatin1(w->metaObject()->className());
                if (auto *d = qobject_cast<QDialog *>(w))
                    d->reject();
            }
        });
        for (const QString state : {"saved", "new-bill", "no-right"}) {
            if (state == u"no-right")
                env.db.exec(QStringLiteral("delete from tblUserPrivillenge where fuserid=%1 and fNumber='Q08'").arg(Demo::kClerkUserId));
            const bool isNewBill = state == u"new-bill";
            for (const QString command : {"preview", "print", "pdf"}) {
                releaseBillReport();
                env.prompts().clear();
                env.prompts().fileNames.push_back(pdf);
                dialogs.clear();
                watcher.start();
                if (command == u"preview")
                    menuPreview(s, isNewBill);
                else if (command == u"print")
                    menuPrint(s, isNewBill);
                else
                    menuExportPdf(s, isNewBill);
                watcher.stop();
                const QString tag = state + u'/' + command;
                const QStringList messages = env.prompts().messageTexts();
                if (state != u"saved") {
                    if (isNewBill) {
                        QCOMPARE(messages, QStringList{QStringLiteral("请先保存单据!")});
                        QCOMPARE(env.prompts().lastMessage().icon, int(Prompt::Exclamation));
                        QCOMPARE(env.prompts().lastMessage().title, QStringLiteral("测试"));
                    } else {
                        QVERIFY2(env.prompts().calls.empty(), qPrintable(tag + u':' + messages.join(u'|')));
                    }
                    QVERIFY2(dialogs.isEmpty() && !billReport().hasTemplate(), qPrintable(tag));
                    continue;
                }
                QVERIFY(billReport().hasTemplate());
                QVERIFY(command == u"print" || billReport().data().count() >= 2); // the print dialog is cancelled first
                const QString dialog = command == u"preview" ? QStringLiteral("QPrintPreviewDialog")
                                                             : command == u"print" ? QStringLiteral("PrintDialog") : QString();
                QVERIFY2(dialog.isEmpty() ? dialogs.isEmpty() : dialogs.value(0).contains(dialog), qPrintable(dialogs.join(u',')));
                QCOMPARE(messages, dialog.isEmpty() ? QStringList{QStringLiteral("文件导出成功!")} : QStringList());
                if (dialog.isEmpty()) {
                    QCOMPARE(env.prompts().lastMessage().icon, int(Prompt::Information));
                    QCOMPARE(std::count_if(env.prompts().calls.begin(), env.prompts().calls.end(),
                                           [](const Prompt::Call &c) { return c.kind == Prompt::Call::SaveFile; }), 1);
                    checkExportedBill(env, pdf + QStringLiteral(".pdf"));
                }
            }
        }
    }

    void defaultPrintOption_data()
    {
        addCaseRows<PrintOptionCase>({{"on", "0", false, true}, {"off", "1", true, false}, {"on-without-entry", {}, false, true}});
    }
    void defaultPrintOption()
    {
        QFETCH(PrintOptionCase, row);
        Session &s = TestSession::session();
        const auto &[name, stored, checkedBefore, checkedAfter] = row;
        TestSession ts;
        s.gAppPath = ts.folder() + QStringLiteral("/app");
        const QString ini = ts.folder() + QStringLiteral("/app/SetupInfo.ini");
        IniFile file(ini);
        // Other entries of the file are kept.
        QVERIFY(file.setValue(QStringLiteral("LockCols"), QStringLiteral("A1"), QStringLiteral("3")));
        if (!stored.isEmpty()) {
            QVERIFY(file.setValue(QStringLiteral("Print"), QStringLiteral("71Print"), stored));
            QCOMPARE(readDefaultPrintOption(s), checkedBefore);
        }

        QCOMPARE(menuDefaultPrint(s, checkedBefore), checkedAfter);
        QCOMPARE(file.value(QStringLiteral("Print"), QStringLiteral("71Print")).value_or(QString()),
                 checkedAfter ? QStringLiteral("1") : QStringLiteral("0"));
        QCOMPARE(readDefaultPrintOption(s), checkedAfter);
        QCOMPARE(file.value(QStringLiteral("LockCols"), QStringLiteral("A1")).value_or(QString()), QStringLiteral("3"));
        QCOMPARE(s.gIniPath, ini);
    }

    // A batch is the bills one after the other, in the order given, each
    // starting on a new page with the pages it has when printed alone; a bill
    // chosen twice is printed once. Directly, to a printer, and through the
    // list's commands.
    void batchPages_data()
    {
        addEngineCaseRows<BatchCase>({{"in order", {"first", "busiest", "last"}, "pdf"},
                                      {"reversed, printer", {"last", "busiest", "first"}, "printer"},
                                      {"one bill", {"busiest"}, "pdf"},
                                      {"chosen twice, list", {"busiest", "first", "busiest"}, "list pdf"},
                                      {"list printer", {"first", "last"}, "list printer"}});
    }
    void batchPages()
    {
        QFETCH(DbEngine, engine);
        QFETCH(BatchCase, row);
        Session &s = TestSession::session();
        const auto &[name, picks, how] = row;
        START_ENV(env, engine);
        // Tall rows: the busiest bill runs over several pages.
        auto tpl = report::templateFromJson(env.storedContent());
        tpl->band(report::BandKind::Detail).height = 700;
        env.db.conn().execute(QStringLiteral("update tblBillPrint set fcontent=?"), {report::templateToJson(*tpl)});
        const QHash<QString, int> known{{"first", env.db.scalar(QStringLiteral("select min(finterid) from tblFP")).toInt()},
                                        {"busiest", env.busiestInvoice()},
                                        {"last", env.db.scalar(QStringLiteral("select max(finterid) from tblFP")).toInt()}};
        QList<qint32> ids;
        for (const QString &pick : picks)
            if (!ids.contains(known[pick]))
                ids << known[pick];

        QList<int> starts; // each bill printed alone
        int pages = 0;
        for (const qint32 id : ids) {
            s.gCurInterId = id;
            QVERIFY(initReport(s));
            starts << pages;
            pages += billReport().prepare().pageCount();
        }
        QVERIFY(pages > ids.size());

        const QString path = env.ts.folder() + QStringLiteral("/batch.pdf");
        QList<int> told;
        const BatchProgress progress = [&told](int done, int total) { return told << done << total, true; };
        const PrinterChooser toPdf = [&path](QPrinter *p, QWidget *) {
            p->setOutputFormat(QPrinter::PdfFormat);
            p->setOutputFileName(path);
            return true;
        };
        setBatchPrinterChooser(toPdf);
        QPrinter printer(QPrinter::HighResolution);
        toPdf(&printer, nullptr);
        if (how.startsWith(u"list")) {
            env.prompts().fileNames.push_back(path);
            how == u"list pdf" ? menuBatchPdf(s, ids) : menuBatchPrint(s, ids);
            QCOMPARE(env.prompts().messageTexts(), how == u"list pdf" ? QStringList{QStringLiteral("文件导出成功!")} : QStringList{});
        } else {
            const BatchRequest request{71, ids, QStringLiteral("采购发票")};
            const BatchOutcome out = how == u"pdf" ? writeBatchPdf(env.db.conn(), request, path, progress)
                                                   : printBatch(env.db.conn(), request, &printer, progress);
            QCOMPARE(out.status, BatchOutcome::Done);
            QCOMPARE(out.pageStarts, starts);
            QCOMPARE(out.pageCount, pages);
            QCOMPARE(told.size(), 2 * ids.size());
            QCOMPARE(told.mid(told.size() - 2), (QList<int>{int(ids.size()), int(ids.size())}));
        }
        setBatchPrinterChooser({});

        QCOMPARE(pdf_tools::pageCount(path), pages);
        for (int i = 0; i < ids.size(); ++i) {
            const auto text = pdf_tools::text(path, starts[i] + 1);
            const QString billNo = env.db.scalar(QStringLiteral("select fbillno from tblFP where finterid=%1").arg(ids[i])).toString();
            QVERIFY2(text && text->contains(QStringLiteral("单据编号：") + billNo), qPrintable(billNo + u'@' + QString::number(starts[i] + 1)));
        }
    }

    // A batch that cannot be printed whole writes nothing: an older file of
    // the name stays as it was and no temporary file is left.
    void batchRefused_data()
    {
        addEngineCaseRows<RefusalCase>({
            {"unknown id", "unknown", QStringLiteral("单据内码 999999 不存在, 没有打印任何单据。")},
            {"no default template", "no template", QStringLiteral("没有默认打印模板, 无法打印。请先在打印模板设计中保存模板。")},
            {"template without view", "no view", noPrintViewText()},
            {"nothing chosen", "none", QStringLiteral("请先选择要打印的单据!")},
            {"cancelled after the first bill", "cancel", QString()},
        });
    }
    void batchRefused()
    {
        QFETCH(DbEngine, engine);
        QFETCH(RefusalCase, row);
        const auto &[name, fault, message] = row;
        START_ENV(env, engine);
        QList<qint32> ids{env.busiestInvoice(), env.db.scalar(QStringLiteral("select min(finterid) from tblFP")).toInt()};
        if (fault == u"unknown")
            ids.insert(1, 999999);
        else if (fault == u"no template")
            env.db.exec(QStringLiteral("update tblBillPrint set fIsDefault=0"));
        else if (fault == u"no view")
            env.db.exec(QStringLiteral("update tblBillPrint set fViewName=' '"));
        else if (fault == u"none")
            ids.clear();
        const QString folder = env.ts.folder() + QStringLiteral("/out");
        QVERIFY(QDir().mkpath(folder));
        const QString path = folder + QStringLiteral("/batch.pdf");
        QFile old(path);
        QVERIFY(old.open(QIODevice::WriteOnly) && old.write("old") == 3);
        old.close();
        int told = 0;
        const BatchOutcome out = writeBatchPdf(env.db.conn(), {71, ids, QStringLiteral("采购发票")}, path, [&](int, int) {
            ++told;
            return fault != u"cancel";
        });
        QCOMPARE(out.status, message.isEmpty() ? BatchOutcome::Cancelled : BatchOutcome::Failed);
        QCOMPARE(out.message, message);
        QCOMPARE(told, fault == u"cancel" ? 1 : 0);
        QVERIFY(old.open(QIODevice::ReadOnly));
        QCOMPARE(old.readAll(), QByteArray("old"));
        QCOMPARE(QDir(folder).entryList(QDir::Files | QDir::Hidden), QStringList{QStringLiteral("batch.pdf")});
    }
};

QTEST_MAIN(tst_BillPrinting)
#include "tst_billprinting.moc"
#include "support/TestSession.h"
