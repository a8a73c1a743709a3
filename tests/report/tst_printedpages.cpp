#include "report/ReportLayout.h"
#include "report/ReportModel.h"
#include "report/ReportPainter.h"
#include "support/PdfTools.h"

#include <QPrinter>
#include <QTemporaryDir>
#include <QTest>

using namespace report;

// What reaches the paper: the pages the clerk chose in the print dialog, and
// items that stay inside their band when dragged past its edge.
class TestPrintedPages : public QObject {
    Q_OBJECT

private slots:
    void chosenPages_data()
    {
        QTest::addColumn<bool>("range");
        QTest::addColumn<int>("from");
        QTest::addColumn<int>("to");
        QTest::addColumn<QList<int>>("pages"); // of a five-page report, from 0
        QTest::newRow("all") << false << 2 << 3 << QList<int>{0, 1, 2, 3, 4};
        QTest::newRow("2-3") << true << 2 << 3 << QList<int>{1, 2};
        QTest::newRow("one page") << true << 5 << 5 << QList<int>{4};
        QTest::newRow("beyond the end") << true << 4 << 9 << QList<int>{3, 4};
        QTest::newRow("after the end") << true << 6 << 7 << QList<int>{};
    }
    void chosenPages()
    {
        QFETCH(bool, range);
        QFETCH(int, from);
        QFETCH(int, to);
        QFETCH(QList<int>, pages);
        QPrinter printer;
        printer.setFromTo(from, to);
        printer.setPrintRange(range ? QPrinter::PageRange : QPrinter::AllPages);
        QCOMPARE(requestedPages(printer, 5), pages);
    }

    // A printer asked for pages 2 to 3 of a longer report prints those two.
    void printerPrintsTheRange()
    {
        ReportTemplate tpl;
        ReportItem line;
        line.text = QStringLiteral("[fname]");
        line.geometry = QRect(0, 0, 600, 50);
        tpl.band(BandKind::Detail).height = 50;
        tpl.band(BandKind::Detail).items << line;
        ReportData data;
        for (int i = 0; i < 200; ++i) {
            ReportRecord r;
            r.setValue(QStringLiteral("fname"), QStringLiteral("行%1").arg(i));
            data.append(r);
        }
        const ReportLayout layout = layoutReport(tpl, data, QString());
        QVERIFY(layout.pageCount() >= 3);
        QTemporaryDir dir;
        QPrinter printer(QPrinter::HighResolution);
        printer.setOutputFormat(QPrinter::PdfFormat);
        printer.setOutputFileName(dir.filePath(QStringLiteral("range.pdf")));
        printer.setFromTo(2, 3);
        printer.setPrintRange(QPrinter::PageRange);
        QCOMPARE(printLayout(layout, &printer), 2);
        const auto info = pdf_tools::runTool(QStringLiteral("pdfinfo"), {printer.outputFileName()});
        QVERIFY(info);
        QVERIFY2(info->contains(QRegularExpression(QStringLiteral("Pages:\\s+2\\n"))), qPrintable(*info));
    }

    void itemsStayInTheirBand_data()
    {
        QTest::addColumn<int>("bandHeight");
        QTest::addColumn<QRect>("item");
        QTest::addColumn<int>("heightAfter");
        QTest::addColumn<QRect>("itemAfter");
        QTest::newRow("inside") << 100 << QRect(10, 10, 50, 50) << 100 << QRect(10, 10, 50, 50);
        QTest::newRow("below the edge") << 100 << QRect(10, 80, 50, 50) << 130 << QRect(10, 80, 50, 50);
        QTest::newRow("above the top") << 100 << QRect(10, -30, 50, 50) << 100 << QRect(10, 0, 50, 50);
        QTest::newRow("band switched off") << 0 << QRect(10, 80, 50, 50) << 0 << QRect(10, 80, 50, 50);
    }
    void itemsStayInTheirBand()
    {
        QFETCH(int, bandHeight);
        QFETCH(QRect, item);
        QFETCH(int, heightAfter);
        QFETCH(QRect, itemAfter);
        ReportTemplate tpl;
        ReportItem text;
        text.geometry = item;
        tpl.band(BandKind::PageHeader).height = bandHeight;
        tpl.band(BandKind::PageHeader).items << text;
        keepItemsInBands(tpl);
        QCOMPARE(tpl.band(BandKind::PageHeader).height, heightAfter);
        QCOMPARE(tpl.band(BandKind::PageHeader).items.first().geometry, itemAfter);
    }
};

QTEST_MAIN(TestPrintedPages)
#include "tst_printedpages.moc"
