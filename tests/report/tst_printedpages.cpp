#include "ReportSamples.h"

#include "report/ReportPainter.h"
#include "support/CaseRows.h"
#include "support/PdfTools.h"

#include <QPrinter>
#include <QTemporaryDir>
#include <QTest>

#include <set>

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

// range: a page range rather than all pages; pages: those of a five-page report, from 0.
struct ChosenCase { const char *name; bool range; int from; int to; QList<int> pages; };
struct FramesCase { const char *name; QVector<Cell> cells; QString lines; };
struct BandFitCase { const char *name; int bandHeight; QRect item; int heightAfter; QRect itemAfter; };

} // namespace

Q_DECLARE_METATYPE(ChosenCase)
Q_DECLARE_METATYPE(FramesCase)
Q_DECLARE_METATYPE(BandFitCase)

// What reaches the paper: the pages the clerk chose in the print dialog, and
// items that stay inside their band when dragged past its edge.
class TestPrintedPages : public QObject {
    Q_OBJECT

private slots:
    void chosenPages_data()
    {
        addCaseRows<ChosenCase>({{"all", false, 2, 3, {0, 1, 2, 3, 4}}, {"2-3", true, 2, 3, {1, 2}}, {"one page", true, 5, 5, {4}},
                                 {"beyond the end", true, 4, 9, {3, 4}}, {"after the end", true, 6, 7, {}}});
    }
    // The pages chosen in the print dialog, and a five-page report printed
    // with that choice: only those pages reach the paper.
    void chosenPages()
    {
        QFETCH(ChosenCase, row);
        const ReportLayout layout = layoutReport(samples::bandTemplate({}), samples::numberedRecords(30), QString());
        QCOMPARE(layout.pageCount(), 5);
        QTemporaryDir dir;
        QPrinter printer(QPrinter::HighResolution);
        printer.setOutputFormat(QPrinter::PdfFormat);
        printer.setOutputFileName(dir.filePath(QStringLiteral("range.pdf")));
        printer.setFromTo(row.from, row.to);
        printer.setPrintRange(row.range ? QPrinter::PageRange : QPrinter::AllPages);
        QCOMPARE(requestedPages(printer, 5), row.pages);
        QCOMPARE(printLayout(layout, &printer), row.pages.size());
        if (!row.pages.isEmpty())
            QCOMPARE(pdf_tools::pageCount(printer.outputFileName()), row.pages.size());
    }

    // Frame sides are drawn as joined lines: collinear sides with the same
    // pen that touch or overlap make one line, anything else stays apart.
    void framesJoin_data()
    {
        const Frame box = Frame::box(3);
        const Frame topOnly{false, true, false, false, 3};
        addCaseRows<FramesCase>({
            {"one cell", {{QRectF(0, 0, 10, 5), box}},
             "0,0-0,5/w3/#000000 0,0-10,0/w3/#000000 0,5-10,5/w3/#000000 10,0-10,5/w3/#000000"},
            {"two cells side by side share a side", {{QRectF(0, 0, 10, 5), box}, {QRectF(10, 0, 10, 5), box}},
             "0,0-0,5/w3/#000000 0,0-20,0/w3/#000000 0,5-20,5/w3/#000000 10,0-10,5/w3/#000000 20,0-20,5/w3/#000000"},
            {"rows stacked: columns run through", {{QRectF(0, 0, 10, 5), box}, {QRectF(0, 5, 10, 5), box}, {QRectF(0, 10, 10, 5), box}},
             "0,0-0,15/w3/#000000 0,0-10,0/w3/#000000 0,10-10,10/w3/#000000 0,15-10,15/w3/#000000 "
             "0,5-10,5/w3/#000000 10,0-10,15/w3/#000000"},
            {"a gap keeps two lines", {{QRectF(0, 0, 10, 5), topOnly}, {QRectF(11, 0, 10, 5), topOnly}},
             "0,0-10,0/w3/#000000 11,0-21,0/w3/#000000"},
            {"overlap and containment", {{QRectF(0, 0, 10, 5), topOnly}, {QRectF(5, 0, 10, 5), topOnly}, {QRectF(2, 0, 3, 5), topOnly}},
             "0,0-15,0/w3/#000000"},
            {"other width stays apart", {{QRectF(0, 0, 10, 5), topOnly}, {QRectF(10, 0, 10, 5), Frame{false, true, false, false, 5}}},
             "0,0-10,0/w3/#000000 10,0-20,0/w5/#000000"},
            {"other colour stays apart", {{QRectF(0, 0, 10, 5), topOnly}, {QRectF(10, 0, 10, 5), topOnly, 0xffff0000}},
             "0,0-10,0/w3/#000000 10,0-20,0/w3/#ff0000"},
            {"no frame, zero width", {{QRectF(0, 0, 10, 5), Frame{}}, {QRectF(0, 0, 10, 5), Frame::box(0)}}, ""},
            {"thick box around thin ones keeps both", {{QRectF(0, 0, 20, 5), Frame::box(5)}, {QRectF(0, 0, 10, 5), topOnly}},
             "0,0-0,5/w5/#000000 0,0-10,0/w3/#000000 0,0-20,0/w5/#000000 0,5-20,5/w5/#000000 20,0-20,5/w5/#000000"},
        });
    }
    void framesJoin()
    {
        QFETCH(FramesCase, row);
        GridLines grid;
        for (const Cell &c : row.cells)
            grid.addFrame(FramePen{c.color, c.frame.width}, c.frame, c.rect);
        QCOMPARE(describe(grid.joined()), row.lines);
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
        addCaseRows<BandFitCase>({{"inside", 100, QRect(10, 10, 50, 50), 100, QRect(10, 10, 50, 50)},
                                  {"below the edge", 100, QRect(10, 80, 50, 50), 130, QRect(10, 80, 50, 50)},
                                  {"above the top", 100, QRect(10, -30, 50, 50), 100, QRect(10, 0, 50, 50)},
                                  {"band switched off", 0, QRect(10, 80, 50, 50), 0, QRect(10, 80, 50, 50)}});
    }
    void itemsStayInTheirBand()
    {
        QFETCH(BandFitCase, row);
        ReportTemplate tpl;
        Band &band = tpl.band(BandKind::PageHeader);
        band.height = row.bandHeight;
        band.items << ReportItem{};
        band.items.first().geometry = row.item;
        keepItemsInBands(tpl);
        QCOMPARE(band.height, row.heightAfter);
        QCOMPARE(band.items.first().geometry, row.itemAfter);
    }
};

QTEST_MAIN(TestPrintedPages)
#include "tst_printedpages.moc"
