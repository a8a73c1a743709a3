// Report to PDF: a bill of N rows (5,000 unless given) laid out and written
// by the report engine, against QPdfWriter drawing the same strings at fixed
// places with no layout, on the same number of pages, in the same run. Prints
// the times and the ratio engine / plain drawing (target: at most 3).
#include "report/ReportFont.h"
#include "report/ReportLayout.h"
#include "report/ReportPainter.h"

#include <QElapsedTimer>
#include <QFileInfo>
#include <QGuiApplication>
#include <QPainter>
#include <QPdfWriter>
#include <QTemporaryDir>
#include <cstdio>

using namespace report;

namespace {

ReportItem cell(int x, int w, int h, const QString &text, HAlign align)
{
    ReportItem item;
    item.geometry = QRect(x, 0, w, h);
    item.text = text;
    item.align = align;
    item.frame = Frame::box();
    return item;
}

ReportTemplate billTemplate()
{
    ReportTemplate tpl;
    tpl.page.margins = Margins{150, 120, 150, 120};
    Band &rh = tpl.band(BandKind::ReportHeader);
    rh.height = 200;
    ReportItem title;
    title.geometry = QRect(0, 0, 1800, 120);
    title.text = QStringLiteral("[#Title]");
    title.align = HAlign::Center;
    title.font.size = 18;
    title.font.bold = true;
    ReportItem header;
    header.geometry = QRect(0, 130, 1800, 60);
    header.text = QStringLiteral("发票号码：[fbillno]    供应商：[fsupplier]    日期：[fdate|yyyy年MM月dd日]");
    rh.items << title << header;
    Band &ph = tpl.band(BandKind::PageHeader);
    ph.height = 60;
    ReportItem page;
    page.geometry = QRect(1000, 0, 800, 60);
    page.text = QStringLiteral("第 [#Page] 页 / 共 [#Pages] 页");
    page.align = HAlign::Right;
    ph.items << page;
    struct Column {
        const char *caption;
        const char *field;
        int width;
        HAlign align;
    };
    const Column columns[] = {
        {"序号", "[#Row]", 100, HAlign::Center},   {"物料代码", "[fitemno]", 220, HAlign::Left},
        {"物料名称", "[fitemname]", 400, HAlign::Left}, {"规格型号", "[fmodel]", 260, HAlign::Left},
        {"数量", "[fqty|#,##0.00]", 180, HAlign::Right}, {"单价", "[fprice|#,##0.00]", 200, HAlign::Right},
        {"金额", "[famount|#,##0.00]", 240, HAlign::Right}, {"备注", "[fnote]", 200, HAlign::Left},
    };
    Band &dh = tpl.band(BandKind::DetailHeader);
    Band &detail = tpl.band(BandKind::Detail);
    dh.height = 70;
    detail.height = 60;
    int x = 0;
    for (const Column &c : columns) {
        dh.items << cell(x, c.width, 70, QString::fromUtf8(c.caption), HAlign::Center);
        detail.items << cell(x, c.width, 60, QString::fromUtf8(c.field), c.align);
        x += c.width;
    }
    Band &summary = tpl.band(BandKind::Summary);
    summary.height = 60;
    summary.items << cell(0, 1360, 60, QStringLiteral("合计（共 [#Count] 行）"), HAlign::Center)
                  << cell(1360, 240, 60, QStringLiteral("[#Sum(famount)|#,##0.00]"), HAlign::Right);
    Band &pf = tpl.band(BandKind::PageFooter);
    pf.height = 60;
    ReportItem pageSum;
    pageSum.geometry = QRect(0, 0, 1800, 60);
    pageSum.text = QStringLiteral("本页小计：[#PageSum(famount)|#,##0.00]");
    pf.items << pageSum;
    return tpl;
}

ReportData billRecords(int rows)
{
    ReportData data;
    for (int i = 0; i < rows; ++i) {
        const int qty = 1 + i % 7;
        const QString price = QStringLiteral("%1.%2").arg(10 + i % 13).arg(i % 100, 2, 10, QLatin1Char('0'));
        data.append(ReportRecord{
            {QStringLiteral("FBillNo"), QStringLiteral("CGFP-2024-000123")},
            {QStringLiteral("FSupplier"), QStringLiteral("上海华东五金制品有限公司")},
            {QStringLiteral("FDate"), QStringLiteral("2024-03-15")},
            {QStringLiteral("FItemNo"), QStringLiteral("01.02.%1").arg(i + 1, 5, 10, QLatin1Char('0'))},
            {QStringLiteral("FItemName"), QStringLiteral("不锈钢六角螺栓 M%1").arg(6 + i % 10)},
            {QStringLiteral("FModel"), QStringLiteral("GB/T 5782")},
            {QStringLiteral("FQty"), qty},
            {QStringLiteral("FPrice"), price.toDouble()},
            {QStringLiteral("FAmount"), QString::number(price.toDouble() * qty, 'f', 2)},
            {QStringLiteral("FNote"), i % 5 == 0 ? QStringLiteral("急用") : QString()},
        });
    }
    return data;
}

struct Strings {
    QVector<QStringList> pages; // the strings each page shows
};

// The same strings the report prints, page by page.
Strings stringsOf(const ReportLayout &layout)
{
    Strings s;
    for (const LayoutPage &page : layout.pages) {
        QStringList texts;
        for (const PlacedBand &band : page.bands) {
            for (const PlacedItem &item : band.items) {
                if (!item.text.isEmpty())
                    texts << item.text;
            }
        }
        s.pages << texts;
    }
    return s;
}

// QPdfWriter with the same page and font, every string at the next slot of
// a fixed grid: eight to a line, 60 tenths apart.
void plainPdf(const QString &path, const Strings &strings)
{
    QPdfWriter writer(path);
    writer.setResolution(1200);
    writer.setPageLayout(pageLayoutFor(PageSettings()));
    QPainter painter(&writer);
    // The engine's own font settings, so that only the engine's work differs.
    painter.setFont(itemFont(ReportTemplate(), ReportItem()));
    const double scale = writer.resolution() / TenthsPerInch;
    for (int p = 0; p < strings.pages.size(); ++p) {
        if (p > 0)
            writer.newPage();
        const QStringList &texts = strings.pages[p];
        for (int i = 0; i < texts.size(); ++i) {
            const double x = 150 + (i % 8) * 225;
            const double y = 170 + (i / 8) * 60;
            painter.drawText(QPointF(x * scale, y * scale), texts[i]);
        }
    }
}

double millis(QElapsedTimer &t) { return t.nsecsElapsed() / 1e6; }

} // namespace

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    const int rows = argc > 1 ? std::max(1, atoi(argv[1])) : 5000;
    const int rounds = 3;

    const ReportTemplate tpl = billTemplate();
    const ReportData data = billRecords(rows);
    QTemporaryDir dir;
    const QString enginePath = dir.filePath(QStringLiteral("engine.pdf"));
    const QString plainPath = dir.filePath(QStringLiteral("plain.pdf"));

    // Warm-up: fonts loaded and cached once for both sides.
    {
        const ReportLayout warm = layoutReport(tpl, billRecords(50), QStringLiteral("采购发票"));
        writePdf(warm, enginePath, QString());
        plainPdf(plainPath, stringsOf(warm));
    }

    double bestLayout = 1e300, bestEngine = 1e300, bestPlain = 1e300;
    Strings strings;
    int pages = 0;
    for (int round = 0; round < rounds; ++round) {
        QElapsedTimer t;
        t.start();
        const ReportLayout layout = layoutReport(tpl, data, QStringLiteral("采购发票"));
        const double layoutMs = millis(t);
        if (!writePdf(layout, enginePath, QStringLiteral("采购发票"))) {
            std::fprintf(stderr, "cannot write %s\n", qPrintable(enginePath));
            return 1;
        }
        const double engineMs = millis(t);
        if (round == 0) {
            strings = stringsOf(layout);
            pages = layout.pageCount();
        }
        QElapsedTimer u;
        u.start();
        plainPdf(plainPath, strings);
        const double plainMs = millis(u);
        bestLayout = std::min(bestLayout, layoutMs);
        bestEngine = std::min(bestEngine, engineMs);
        bestPlain = std::min(bestPlain, plainMs);
    }
    int strings_ = 0;
    for (const QStringList &p : strings.pages)
        strings_ += int(p.size());
    std::printf("report to PDF: %d rows, %d pages, %d strings (best of %d)\n", rows, pages, strings_, rounds);
    std::printf("  engine (layout + PDF):   %9.1f ms   of which layout %.1f ms   %lld bytes\n", bestEngine, bestLayout,
                QFileInfo(enginePath).size());
    std::printf("  plain QPdfWriter text:   %9.1f ms   %lld bytes\n", bestPlain, QFileInfo(plainPath).size());
    std::printf("  ratio engine / plain:    %9.2f   (target <= 3)\n", bestEngine / bestPlain);
    return 0;
}
