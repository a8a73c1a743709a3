#include "report/ReportLayout.h"
#include "report/ReportModel.h"
#include "ReportSamples.h"

#include "report/ReportPainter.h"
#include "support/PdfTools.h"

#include <QPrinter>
#include <set>
#include <QTemporaryDir>
#include <QTest>

using namespace report;

namespace {

struct Cell {
    QRectF rect;
    Frame frame;
    QRgb color = 0xff000000;
};

QString describe(const QVector<GridLine> &lines)
{
    QStringList out;
    for (const GridLine &l : lines)
        out << QStringLiteral("%1,%2-%3,%4/w%5/%6")
                   .arg(l.line.x1()).arg(l.line.y1()).arg(l.line.x2()).arg(l.line.y2()).arg(l.pen.width)
                   .arg(QColor::fromRgba(l.pen.color).name());
    out.sort();
    return out.join(u' ');
}

} // namespace

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

    // Frame sides are drawn as joined lines: collinear sides with the same
    // pen that touch or overlap make one line, anything else stays apart.
    void framesJoin_data()
    {
        QTest::addColumn<QVector<Cell>>("cells");
        QTest::addColumn<QString>("lines");
        const Frame box = Frame::box(3);
        const Frame thick = Frame::box(5);
        const Frame topOnly{false, true, false, false, 3};
        QTest::newRow("one cell") << QVector<Cell>{{QRectF(0, 0, 10, 5), box}}
                                  << "0,0-0,5/w3/#000000 0,0-10,0/w3/#000000 0,5-10,5/w3/#000000 10,0-10,5/w3/#000000";
        QTest::newRow("two cells side by side share a side")
            << QVector<Cell>{{QRectF(0, 0, 10, 5), box}, {QRectF(10, 0, 10, 5), box}}
            << "0,0-0,5/w3/#000000 0,0-20,0/w3/#000000 0,5-20,5/w3/#000000 10,0-10,5/w3/#000000 20,0-20,5/w3/#000000";
        QTest::newRow("rows stacked: columns run through")
            << QVector<Cell>{{QRectF(0, 0, 10, 5), box}, {QRectF(0, 5, 10, 5), box}, {QRectF(0, 10, 10, 5), box}}
            << "0,0-0,15/w3/#000000 0,0-10,0/w3/#000000 0,10-10,10/w3/#000000 0,15-10,15/w3/#000000 "
               "0,5-10,5/w3/#000000 10,0-10,15/w3/#000000";
        QTest::newRow("a gap keeps two lines")
            << QVector<Cell>{{QRectF(0, 0, 10, 5), topOnly}, {QRectF(11, 0, 10, 5), topOnly}}
            << "0,0-10,0/w3/#000000 11,0-21,0/w3/#000000";
        QTest::newRow("overlap and containment")
            << QVector<Cell>{{QRectF(0, 0, 10, 5), topOnly}, {QRectF(5, 0, 10, 5), topOnly}, {QRectF(2, 0, 3, 5), topOnly}}
            << "0,0-15,0/w3/#000000";
        QTest::newRow("other width stays apart")
            << QVector<Cell>{{QRectF(0, 0, 10, 5), topOnly}, {QRectF(10, 0, 10, 5), Frame{false, true, false, false, 5}}}
            << "0,0-10,0/w3/#000000 10,0-20,0/w5/#000000";
        QTest::newRow("other colour stays apart")
            << QVector<Cell>{{QRectF(0, 0, 10, 5), topOnly}, {QRectF(10, 0, 10, 5), topOnly, 0xffff0000}}
            << "0,0-10,0/w3/#000000 10,0-20,0/w3/#ff0000";
        QTest::newRow("no frame, zero width") << QVector<Cell>{{QRectF(0, 0, 10, 5), Frame{}}, {QRectF(0, 0, 10, 5), Frame::box(0)}}
                                              << "";
        QTest::newRow("thick box around thin ones keeps both")
            << QVector<Cell>{{QRectF(0, 0, 20, 5), thick}, {QRectF(0, 0, 10, 5), topOnly}} << 
               "0,0-0,5/w5/#000000 0,0-10,0/w3/#000000 0,0-20,0/w5/#000000 0,5-20,5/w5/#000000 20,0-20,5/w5/#000000";
    }
    void framesJoin()
    {
        QFETCH(QVector<Cell>, cells);
        QFETCH(QString, lines);
        GridLines grid;
        for (const Cell &c : cells)
            grid.addFrame(FramePen{c.color, c.frame.width}, c.frame, c.rect);
        QCOMPARE(describe(grid.joined()), lines);
    }

    // On every page of a long framed table the joined lines ink exactly the
    // unit steps (the layout places frames on whole tenths) that the frame
    // sides drawn one by one ink, with the same pens, in far fewer lines.
    void joinedGridCoversTheSameSides()
    {
        const ReportLayout layout = layoutReport(samples::invoiceTemplate(), samples::invoiceRecords(120), QString());
        QVERIFY(layout.pageCount() > 2);
        auto steps = [](const QVector<GridLine> &lines) {
            std::set<std::tuple<QRgb, int, bool, int, int>> out; // pen, vertical, where, step
            for (const GridLine &g : lines) {
                const QLineF &l = g.line;
                const bool vertical = l.x1() == l.x2();
                for (int i = qRound(vertical ? l.y1() : l.x1()); i < qRound(vertical ? l.y2() : l.x2()); ++i)
                    out.insert({g.pen.color, g.pen.width, vertical, qRound(vertical ? l.x1() : l.y1()), i});
            }
            return out;
        };
        for (const LayoutPage &page : layout.pages) {
            GridLines grid;
            QVector<GridLine> sides; // each side on its own
            for (const PlacedBand &band : page.bands) {
                for (const PlacedItem &placed : band.items) {
                    const ReportItem &item = layout.tpl.band(band.kind).items[placed.item];
                    grid.addFrame(framePenOf(item), item.frame, placed.rect);
                    GridLines one;
                    one.addFrame(framePenOf(item), item.frame, placed.rect);
                    sides += one.joined(); // a single box joins nothing
                }
            }
            const QVector<GridLine> joined = grid.joined();
            QVERIFY(joined.size() * 4 < grid.sideCount());
            QCOMPARE(steps(joined), steps(sides));
        }
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
