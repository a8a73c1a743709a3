#include "ReportSamples.h"

#include "report/ReportFont.h"
#include "report/ReportLayout.h"
#include "report/ReportText.h"
#include "support/CaseRows.h"

#include <QTest>

using namespace report;

namespace {

// One word per band on each page: R P H S F for the report header, page
// header, detail header, summary and footer, the record's index for a
// detail band; "!" marks a band that was cut short.
QStringList describe(const ReportLayout &layout)
{
    QStringList pages;
    for (const LayoutPage &page : layout.pages) {
        QStringList words;
        for (const PlacedBand &band : page.bands) {
            static const char letters[] = "RPH-SF"; // by BandKind
            QString w = band.kind == BandKind::Detail ? QString::number(band.record)
                                                      : QString(QLatin1Char(letters[int(band.kind)]));
            if (band.clipped)
                w += u'!';
            words << w;
        }
        pages << words.join(u' ');
    }
    return pages;
}

// What must hold for every layout, whatever the template and the data.
void checkInvariants(const ReportLayout &layout, int records)
{
    const ReportTemplate &tpl = layout.tpl;
    const QRect content = tpl.page.contentRect();
    const int footer = tpl.band(BandKind::PageFooter).height;
    const double footerTop = content.top() + content.height() - footer;
    QVERIFY(layout.pageCount() >= 1);
    int nextRecord = 0;
    int summaries = 0;
    for (int p = 0; p < layout.pageCount(); ++p) {
        const LayoutPage &page = layout.pages[p];
        double previousBottom = content.top();
        int footers = 0;
        for (const PlacedBand &band : page.bands) {
            QVERIFY(band.rect.left() == content.left() && band.rect.width() == content.width());
            if (band.kind == BandKind::PageFooter) {
                ++footers;
                QVERIFY2(band.rect.top() >= previousBottom, qPrintable(QStringLiteral("page %1: bands overlap").arg(p + 1)));
                QCOMPARE(band.rect.top(), footerTop);
                QCOMPARE(band.rect.height(), double(footer));
            } else {
                // One under the other from the top; nothing but the footer in
                // the footer's room.
                QCOMPARE(band.rect.top(), previousBottom);
                QVERIFY2(band.rect.bottom() <= footerTop, qPrintable(QStringLiteral("page %1: band over the footer").arg(p + 1)));
            }
            previousBottom = band.rect.bottom();
            if (band.clipped) {
                // Cut off at the footer, clipped, its items as tall as drawn.
                QVERIFY(band.clip);
                QCOMPARE(band.rect.bottom(), footerTop);
                for (const PlacedItem &item : band.items)
                    QCOMPARE(item.rect.height(), double(tpl.band(band.kind).items[item.item].geometry.height()));
            }
            if (band.kind == BandKind::Detail) {
                QCOMPARE(band.record, nextRecord);
                ++nextRecord;
            }
            if (band.kind == BandKind::Summary) {
                ++summaries;
                QCOMPARE(p, layout.pageCount() - 1);
            }
            if (!band.clip) {
                for (const PlacedItem &item : band.items) {
                    // Compared by edges: a line's box has no height.
                    const QRectF &r = item.rect;
                    QVERIFY(r.left() >= band.rect.left() && r.right() <= band.rect.right());
                    QVERIFY(r.top() >= band.rect.top() && r.bottom() <= band.rect.bottom());
                }
            }
        }
        QCOMPARE(footers, footer > 0 ? 1 : 0);
        if (tpl.band(BandKind::PageHeader).height > 0) {
            const int expectedAt = (p == 0 && tpl.band(BandKind::ReportHeader).height > 0) ? 1 : 0;
            QVERIFY(page.bands.size() > expectedAt);
            QCOMPARE(page.bands[expectedAt].kind, BandKind::PageHeader);
        }
    }
    QCOMPARE(nextRecord, tpl.band(BandKind::Detail).height > 0 ? records : 0);
    QCOMPARE(summaries, tpl.band(BandKind::Summary).height > 0 ? 1 : 0);
}

const PlacedBand *findBand(const LayoutPage &page, BandKind kind)
{
    for (const PlacedBand &band : page.bands) {
        if (band.kind == kind)
            return &band;
    }
    return nullptr;
}

// A band layout, its record count and the bands each page holds.
struct PaginationCase { const char *name; samples::Bands bands; int records; QStringList pages; };
// Records, the page count they make, and whether the footer wraps its text.
struct PageNumberCase { const char *name; int records; int pages; bool wrap; };
struct SumCase { const char *name; QVariantList values; QString format; QString expected; };
struct GrowCase { const char *name; QString content; bool grows; };

} // namespace

Q_DECLARE_METATYPE(PaginationCase)
Q_DECLARE_METATYPE(PageNumberCase)
Q_DECLARE_METATYPE(SumCase)
Q_DECLARE_METATYPE(GrowCase)

class TestReportLayout : public QObject {
    Q_OBJECT
private slots:
    void pagination_data()
    {
        // Content 1000 tenths high; page header 100. With page header,
        // detail header and footer of 100 each, seven rows of 100 fit.
        addCaseRows<PaginationCase>({
            {"no records: one page with headers and summary", {.summary = 100}, 0, {"P H S F"}},
            {"rows exactly fill the page, no extra page", {}, 7, {"P H 0 1 2 3 4 5 6 F"}},
            {"one row more than fits", {}, 8, {"P H 0 1 2 3 4 5 6 F", "P H 7 F"}},
            {"summary fits after the rows", {.summary = 100}, 6, {"P H 0 1 2 3 4 5 S F"}},
            {"summary moves to page 2 with headers repeated", {.summary = 100}, 7, {"P H 0 1 2 3 4 5 6 F", "P H S F"}},
            {"report header on page 1 only", {.reportHeader = 200}, 8, {"R P H 0 1 2 3 4 F", "P H 5 6 7 F"}},
            {"row taller than a page is cut off, one per page",
             {.detail = 1500, .summary = 100}, 3, {"P H 0! F", "P H 1! F", "P H 2! F", "P H S F"}},
            {"summary taller than a page", {.summary = 1500}, 1, {"P H 0 F", "P H S! F"}},
            {"no footer: the room is used", {.pageFooter = 0}, 8, {"P H 0 1 2 3 4 5 6 7"}},
            {"no detail header", {.detailHeader = 0}, 9, {"P 0 1 2 3 4 5 6 7 F", "P 8 F"}},
            {"rows that do not divide the room", {.detail = 130}, 10, {"P H 0 1 2 3 4 F", "P H 5 6 7 8 9 F"}},
            {"report header taller than a page", {.reportHeader = 1500}, 1, {"R! P! H! F", "P H 0 F"}},
            {"no bands: one empty page", {.pageHeader = 0, .detailHeader = 0, .detail = 0, .pageFooter = 0}, 5, {""}},
        });
    }
    void pagination()
    {
        QFETCH(PaginationCase, row);
        const ReportLayout layout = layoutReport(samples::bandTemplate(row.bands), samples::numberedRecords(row.records), QString());
        QCOMPARE(describe(layout), row.pages);
        checkInvariants(layout, row.records);
    }

    void pageNumbersOnEveryPage_data()
    {
        // A wrapping item measures the page count with a stand-in; its lines
        // carry the real count.
        addCaseRows<PageNumberCase>({{"none", 0, 1, false}, {"one page", 7, 1, false}, {"two pages", 8, 2, false},
                                     {"eleven pages", 75, 11, false}, {"wrapped, three pages", 20, 3, true}});
    }
    void pageNumbersOnEveryPage()
    {
        QFETCH(PageNumberCase, row);
        ReportTemplate tpl = samples::bandTemplate({});
        tpl.band(BandKind::PageFooter).items[0].wordWrap = row.wrap;
        const ReportLayout layout = layoutReport(tpl, samples::numberedRecords(row.records), QString());
        QCOMPARE(layout.pageCount(), row.pages);
        for (int p = 0; p < row.pages; ++p) {
            const PlacedBand *header = findBand(layout.pages[p], BandKind::PageHeader);
            const PlacedBand *footer = findBand(layout.pages[p], BandKind::PageFooter);
            QVERIFY(header && footer);
            QCOMPARE(header->items[0].text, QStringLiteral("第%1页 共%2页").arg(p + 1).arg(row.pages));
            const QString number = QStringLiteral("%1/%2").arg(p + 1).arg(row.pages);
            QCOMPARE(footer->items[0].text, number);
            if (row.wrap)
                QCOMPARE(footer->items[0].lines, QStringList{number});
        }
    }

    void sumsAreExactDecimals_data()
    {
        addCaseRows<SumCase>({
            {"0.1 + 0.2 as doubles", {0.1, 0.2}, {}, "0.3"},
            {"0.1 + 0.2 formatted", {0.1, 0.2}, "0.00", "0.30"},
            {"ten times 0.1", QVariantList(10, 0.1), {}, "1"},
            {"33.33 three times, as text", QVariantList(3, QStringLiteral("33.33")), "#,##0.00", "99.99"},
            {"large with thousands", {1234567.89, QStringLiteral("0.11")}, "#,##0.00", "1,234,568.00"},
            {"negative and integer", {QStringLiteral("-5.5"), 2}, {}, "-3.5"},
            {"nulls and blanks count as nothing", {QVariant(), QString(), 1.25}, {}, "1.25"},
            {"four decimals kept", {0.0001, 0.0002}, {}, "0.0003"},
        });
    }
    void sumsAreExactDecimals()
    {
        QFETCH(SumCase, row);
        ReportTemplate tpl = samples::bandTemplate({});
        samples::setBand(tpl, BandKind::Summary, 100, QStringLiteral("[#Sum(fhxamount)]"));
        tpl.band(BandKind::Summary).items[0].format = row.format;
        ReportData data;
        for (const QVariant &v : row.values)
            data.append(ReportRecord{{QStringLiteral("FHXAmount"), v}});
        const ReportLayout layout = layoutReport(tpl, data, QString());
        const PlacedBand *summary = findBand(layout.pages.last(), BandKind::Summary);
        QVERIFY(summary);
        QCOMPARE(summary->items[0].text, row.expected);
    }

    // Each page's footer sums its own rows and the summary all of them; the
    // rows that grow never cross the footer.
    void pageSumsAddUpToTheTotal()
    {
        const ReportData data = samples::invoiceRecords(200);
        const ReportLayout layout = layoutReport(samples::invoiceTemplate(), data, QStringLiteral("采购发票"));
        QVERIFY(layout.pageCount() >= 2);
        checkInvariants(layout, 200);
        Amount all;
        int grown = 0;
        for (const LayoutPage &page : layout.pages) {
            Amount onPage;
            for (const PlacedBand &band : page.bands) {
                if (band.kind != BandKind::Detail)
                    continue;
                onPage += Amount::parse(data.at(band.record).value(QStringLiteral("fhxamount")).toString()).value();
                grown += band.rect.height() > 60;
            }
            all += onPage;
            const PlacedBand *footer = findBand(page, BandKind::PageFooter);
            QCOMPARE(footer->items[0].text, QStringLiteral("本页金额小计：") + formatAmount(onPage, QStringLiteral("#,##0.00")));
        }
        QVERIFY(grown > 0);
        const PlacedBand *summary = findBand(layout.pages.last(), BandKind::Summary);
        QVERIFY(summary);
        QCOMPARE(summary->items[3].text, formatAmount(all, QStringLiteral("#,##0.00")));
        QCOMPARE(summary->items[0].text, QStringLiteral("合计（共 200 行）"));
    }

    // Field names ignore case and blanks; header fields print from the
    // first record, the summary from the last; [#Title] is the caller's title.
    void fieldsOfTheirRecords()
    {
        ReportTemplate tpl = samples::bandTemplate({});
        samples::setBand(tpl, BandKind::ReportHeader, 100, QStringLiteral("[#Title] [fno]"));
        samples::setBand(tpl, BandKind::Detail, 100, QStringLiteral("[fbillno]|[FBILLNO]|[FbIlLnO]|[ fBillNo ]|[missing]"));
        samples::setBand(tpl, BandKind::Summary, 100, QStringLiteral("last [fno] of [#Count]"));
        ReportData data;
        for (int i = 1; i <= 3; ++i) {
            ReportRecord record{{QStringLiteral("FBillNo"), QStringLiteral("old")}, {QStringLiteral("fno"), i}};
            record.setValue(QStringLiteral("fbillNO"), QStringLiteral("CG-00%1").arg(i));
            QCOMPARE(record.fieldNames(), (QStringList{QStringLiteral("FBillNo"), QStringLiteral("fno")}));
            data.append(record);
        }
        const ReportLayout layout = layoutReport(tpl, data, QStringLiteral("采购发票"));
        const LayoutPage &page = layout.pages[0];
        QCOMPARE(findBand(page, BandKind::Detail)->items[0].text, QStringLiteral("CG-001|CG-001|CG-001|CG-001|"));
        QCOMPARE(findBand(page, BandKind::ReportHeader)->items[0].text, QStringLiteral("采购发票 1"));
        QCOMPARE(findBand(page, BandKind::Summary)->items[0].text, QStringLiteral("last 3 of 3"));
    }

    void textThatCanGrowMakesItsBandTaller_data()
    {
        addCaseRows<GrowCase>({
            {"short", QStringLiteral("螺栓"), false},
            {"long Chinese", QStringLiteral("不锈钢六角螺栓加长型表面镀锌处理").repeated(4), true},
            {"long words", QStringLiteral("stainless hexagon bolt extra long zinc plated for outdoor use").repeated(2), true},
            {"line feeds", QStringLiteral("一\n二\n三"), true},
        });
    }
    void textThatCanGrowMakesItsBandTaller()
    {
        QFETCH(GrowCase, row);
        ReportTemplate tpl = samples::bandTemplate({});
        Band &detail = tpl.band(BandKind::Detail);
        detail.height = 60;
        detail.items = {samples::text(0, 0, 400, 60, QStringLiteral("[fname]"), HAlign::Left, true),
                        samples::text(400, 0, 300, 60, QStringLiteral("[fno]"), HAlign::Right, true),
                        samples::text(700, 0, 300, 40, QStringLiteral("top only"))};
        detail.items[0].canGrow = true;
        ReportData data;
        data.append(ReportRecord{{QStringLiteral("fname"), row.content}, {QStringLiteral("fno"), 1}});
        data.append(ReportRecord{{QStringLiteral("fname"), QStringLiteral("x")}, {QStringLiteral("fno"), 2}});
        const ReportLayout layout = layoutReport(tpl, data, QString());
        checkInvariants(layout, 2);
        const PlacedBand &band = layout.pages[0].bands[2];
        const PlacedItem &cell = band.items[0];
        QCOMPARE(band.record, 0);
        QCOMPARE(band.rect.height() > 60, row.grows);
        QCOMPARE(cell.lines.size() > 1, row.grows);
        // Nothing lost, every line within the cell.
        QString original = row.content;
        QCOMPARE(cell.lines.join(QString()).remove(u' '), original.remove(u' ').remove(u'\n'));
        const TextMeasurer measurer;
        const QFont font = itemFont(tpl, detail.items[0]);
        for (const QString &line : cell.lines)
            QVERIFY(measurer.textWidth(line, font) <= 400 - 2 * TextPaddingX + 0.01);
        QVERIFY(cell.rect.height() >= cell.lines.size() * cell.lineHeight);
        // The framed neighbour reaching the bottom stretches; the item that
        // stops short does not; the next row starts below the grown row.
        QCOMPARE(band.items[1].rect.height(), band.rect.height());
        QCOMPARE(band.items[2].rect.height(), 40.0);
        QCOMPARE(layout.pages[0].bands[3].rect.top(), band.rect.bottom());
    }
};

QTEST_MAIN(TestReportLayout)
#include "tst_reportlayout.moc"
