#include "printing/BillPrinting.h"
#include "printing/frmUserDesign.h"
#include "report/Report.h"
#include "report/ReportDesigner.h"
#include "report/ReportFile.h"
#include "report/ReportText.h"
#include "support/StartedSession.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QComboBox>
#include <QImage>
#include <QMenu>
#include <QMenuBar>
#include <QRegularExpression>
#include <QTest>

// A bill kind without a template row, or with a row that names no view, must
// not leave printing broken: the designer's save makes a usable default and
// mends a row without a view, and printing refuses such a row with a message.
class TestDesignerSave : public QObject {
    Q_OBJECT

    static frmUserDesign *openDesigner()
    {
        designDefaultTemplate(nullptr, false);
        return frmUserDesign::existingInstance();
    }
    static void closeDesigner(frmUserDesign *form)
    {
        form->designer()->setModified(false);
        form->close();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

private slots:
    void saveMakesAUsableDefault_data()
    {
        QTest::addColumn<DbEngine>("engine");
        QTest::addColumn<QString>("prepare"); // what the bill kind's template rows look like
        for (DbEngine e : TestDatabase::engines()) {
            engineRow(e, QStringLiteral("no row")) << QStringLiteral("delete from tblBillPrint");
            engineRow(e, QStringLiteral("row without a view")) << QStringLiteral("update tblBillPrint set fViewName=null");
        }
    }
    void saveMakesAUsableDefault()
    {
        QFETCH(DbEngine, engine);
        QFETCH(QString, prepare);
        StartedSession ss(engine, TestDatabase::Content::Demo, smallDemo());
        QCOMPARE(ss.startError, QString());
        ss.db.exec(prepare);
        session().gCurInterId = 1;
        ss.prompts().clear();
        QVERIFY(!initReport());
        const bool rowKept = prepare.startsWith(QStringLiteral("update"));
        // A row without a view says why nothing prints; no row says nothing.
        QCOMPARE(ss.prompts().messageTexts().size(), rowKept ? 1 : 0);

        frmUserDesign *form = openDesigner();
        QVERIFY(form);
        report::ReportTemplate tpl;
        tpl.title = QStringLiteral("新模板");
        form->designer()->setReportTemplate(tpl);
        ss.prompts().clear();
        form->MenuSaleToModule_Click();
        QCOMPARE(ss.prompts().messageTexts(), QStringList{QStringLiteral("保存成功!")});
        const QString work = form->workFile();
        QVERIFY(QFileInfo::exists(work));
        closeDesigner(form);
        QVERIFY(!QFileInfo::exists(work)); // the working file goes with the designer

        Recordset rows = ss.conn().openRecordset(QStringLiteral("select finterid,fViewName,fIsDefault from tblBillPrint where ftypeid=71"));
        QCOMPARE(rows.recordCount(), 1);
        QVERIFY(rows.toInt(QStringLiteral("finterid")) > 0);
        QCOMPARE(rows.text(QStringLiteral("fViewName")), QStringLiteral("vPurFPPrint"));
        QCOMPARE(rows.toInt(QStringLiteral("fIsDefault")), 1);
        ss.prompts().clear();
        QVERIFY(initReport());
        QVERIFY(ss.prompts().calls.empty());
    }

    // What the designer's commands set is saved into the template row, read
    // back by printing and carried by the item placed on the page.
    void featuresSurviveSaveAndPrint_data()
    {
        QTest::addColumn<DbEngine>("engine");
        QTest::addColumn<int>("item");        // report header: 0 text, 1 line, 2 box, 3 an inserted image
        QTest::addColumn<QString>("command"); // an action, "action/menu entry" or "panel box=text"
        QTest::addColumn<QString>("expected");
        const char *rows[][4] = {
            {"image", "3", "actInsertImage", "image 16x8"}, {"italic", "0", "actItalic", "italic"},
            {"underline", "0", "actUnderline", "underline"}, {"text colour", "0", "actTextColor", "color #c00000"},
            {"fill colour", "2", "actFillColor", "fill #c00000"}, {"line width", "1", "actLineWidth/lineWidth8", "width 8"},
            {"dashed line", "1", "actLineStyle/lineStyleDash", "dash"}, {"dotted box", "2", "actLineStyle/lineStyleDot", "dot"},
            {"word wrap", "0", "actWordWrap", "金额|38.00"}, {"bottom", "0", "actVAlignBottom", "valign 2"},
            {"amount in words", "0", "propFormat=大写金额", "金额\n叁拾捌元整"}};
        for (DbEngine e : TestDatabase::engines())
            for (const auto &r : rows)
                engineRow(e, r[0]) << atoi(r[1]) << QString::fromUtf8(r[2]) << QString::fromUtf8(r[3]);
    }
    void featuresSurviveSaveAndPrint()
    {
        QFETCH(DbEngine, engine);
        QFETCH(int, item);
        QFETCH(QString, command);
        QFETCH(QString, expected);
        StartedSession ss(engine, TestDatabase::Content::Demo, smallDemo());
        QCOMPARE(ss.startError, QString());
        session().gCurInterId = 1;
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
        designer->selectItem(report::BandKind::ReportHeader, std::min(item, 2));
        ss.prompts().clear();
        ss.prompts().fileNames.push_back(logoPath);
        const QStringList parts = command.split(QRegularExpression(QStringLiteral("[/=]")));
        if (command.contains(u'=')) {
            designer->findChild<QComboBox *>(parts[0])->setCurrentText(parts[1]);
        } else {
            // Through the form's menus, where the clerk finds the command.
            QAction *a = nullptr;
            for (QMenu *menu : form->menuBar()->findChildren<QMenu *>())
                for (QAction *entry : menu->actions())
                    a = entry->objectName() == parts[0] ? entry : a;
            QVERIFY(a);
            (parts.size() > 1 ? a->menu()->findChild<QAction *>(parts[1]) : a)->trigger();
        }
        QVERIFY(designer->isModified());
        form->MenuSaleToModule_Click();
        QCOMPARE(ss.prompts().messageTexts(), QStringList{QStringLiteral("保存成功!")});
        closeDesigner(form);

        QVERIFY(initReport());
        const report::ReportLayout &layout = billReport().prepare();
        QVERIFY(layout.pageCount() > 0);
        const report::PlacedItem *placed = nullptr;
        for (const report::PlacedBand &band : layout.pages[0].bands)
            for (const report::PlacedItem &p : band.items)
                if (band.kind == report::BandKind::ReportHeader && p.item == item)
                    placed = &p;
        QVERIFY(placed);
        const report::ReportItem &printed = layout.tpl.band(report::BandKind::ReportHeader).items[item];
        const QImage image = QImage::fromData(printed.png, "PNG");
        const QString got = QStringList{
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
        }.join(QString()).trimmed();
        QCOMPARE(got, expected);
        QVERIFY(!billReport().renderPage(0, 50).isNull()); // the page paints with it
    }

    // An application folder that cannot be written sends the working file to
    // the user's cache folder.
    void workFileFallsBackToTheCache()
    {
        StartedSession ss(DbEngine::SQLite, TestDatabase::Content::Empty);
        const QString blocker = ss.ts.folder() + QStringLiteral("/not-a-folder");
        QFile file(blocker);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.close();
        session().gAppPath = blocker + QStringLiteral("/app");
        QCOMPARE(designWorkFile(), ss.ts.folder() + QStringLiteral("/cache/TamsorPurFP/DesignTemp.grf"));
        session().gAppPath = ss.ts.folder() + QStringLiteral("/app");
        QCOMPARE(designWorkFile(), ss.ts.folder() + QStringLiteral("/app/DesignTemp.grf"));
    }
};

QTEST_MAIN(TestDesignerSave)
#include "tst_designersave.moc"
