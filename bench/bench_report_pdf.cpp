// Invoice to PDF: a purchase invoice of N entries (5,000 unless given) printed
// through the default invoice template (sql/PurFP.grf) by the report engine
// (records in, layout, PDF out), against QPdfWriter drawing the same picture
// with nothing else to do: the same strings in the same boxes with the same
// fonts, the same fills and the same grid, its borders drawn as joined lines,
// on the same pages. Both in the same run, best of three. Prints the times,
// the ratio engine / QPdfWriter and its goal, and a FAIL line when missed.
// The ratio is taken on processor time, which other work on a shared machine
// does not inflate; wall-clock times are printed beside it.
#include "report/Report.h"
#include "report/ReportFont.h"
#include "report/ReportLayout.h"
#include "report/ReportPainter.h"

#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QMap>
#include <QPainter>
#include <QPdfWriter>
#include <QTemporaryDir>
#include <cstdio>
#include <ctime>

using namespace report;

namespace {

constexpr double Goal = 1.5;

// The rows of the invoice's print view, typed as SQLite returns them: dates
// and numbers as text where the column stores text.
ReportData invoiceRecords(int entries)
{
    ReportData data;
    for (int i = 0; i < entries; ++i) {
        const double amount = 1000 + (i * 37) % 9000 + (i % 100) / 100.0;
        data.append(ReportRecord{
            {QStringLiteral("finterid"), 123},
            {QStringLiteral("forderid"), i + 1},
            {QStringLiteral("fbillno"), QStringLiteral("CGFP000123")},
            {QStringLiteral("fdate"), QStringLiteral("2024-03-15")},
            {QStringLiteral("fInvoiceNo"), QStringLiteral("04400231")},
            {QStringLiteral("fAmount"), 12345678.9},
            {QStringLiteral("fNote"), QStringLiteral("三月份货款")},
            {QStringLiteral("fSupplyIdName"), QStringLiteral("上海华东五金制品有限公司")},
            {QStringLiteral("fDeptIdName"), QStringLiteral("采购部")},
            {QStringLiteral("fOperatorName"), QStringLiteral("王芳")},
            {QStringLiteral("fCheckerName"), QStringLiteral("李强")},
            {QStringLiteral("fStockBillNo"), QStringLiteral("WIN%1").arg(100000 + i)},
            {QStringLiteral("fStockDate"),
             QStringLiteral("2024-%1-%2").arg(1 + i % 12, 2, 10, QLatin1Char('0')).arg(1 + i % 28, 2, 10, QLatin1Char('0'))},
            {QStringLiteral("fAllAmount"), amount},
            {QStringLiteral("fHXAmount"), amount - (i % 3) * 10},
        });
    }
    return data;
}

// What one page shows, as QPdfWriter is given it.
struct TextOp {
    QRectF rect;
    int flags;
    int font; // index into Picture::fonts
    QColor color;
    QString text;
};
struct Segment {
    QPointF from, to;
    double width;
    QColor color;
};
struct PageOps {
    QVector<QPair<QRectF, QColor>> fills;
    QVector<TextOp> texts;
    QVector<Segment> lines;
};
struct Picture {
    QVector<QPair<QFont, double>> fonts; // font at its size in points
    QVector<PageOps> pages;
};

int flagsOf(const ReportItem &item)
{
    int a = item.align == HAlign::Left ? Qt::AlignLeft : item.align == HAlign::Center ? Qt::AlignHCenter : Qt::AlignRight;
    a |= item.valign == VAlign::Top ? Qt::AlignTop : item.valign == VAlign::Center ? Qt::AlignVCenter : Qt::AlignBottom;
    return a;
}

// Frame sides of a page joined: collinear sides with the same pen that touch
// or overlap become one line.
void joinLines(QVector<Segment> &sides, QVector<Segment> &out)
{
    auto keyOf = [](const Segment &s) {
        const bool horizontal = s.from.y() == s.to.y();
        return std::make_tuple(horizontal, horizontal ? s.from.y() : s.from.x(), s.width, s.color.rgba(),
                               horizontal ? s.from.x() : s.from.y());
    };
    std::sort(sides.begin(), sides.end(), [&](const Segment &a, const Segment &b) { return keyOf(a) < keyOf(b); });
    for (const Segment &s : sides) {
        if (!out.isEmpty()) {
            Segment &last = out.last();
            const auto [h1, c1, w1, k1, a1] = keyOf(last);
            const auto [h2, c2, w2, k2, a2] = keyOf(s);
            const double lastEnd = h1 ? last.to.x() : last.to.y();
            if (h1 == h2 && c1 == c2 && w1 == w2 && k1 == k2 && a2 <= lastEnd) {
                const double end = std::max(lastEnd, h2 ? s.to.x() : s.to.y());
                (h1 ? last.to.rx() : last.to.ry()) = end;
                continue;
            }
        }
        out << s;
    }
}

// The picture of the engine's layout (made before anything is timed).
Picture pictureOf(const ReportLayout &layout)
{
    Picture pic;
    QMap<QString, int> fontIndex;
    for (const LayoutPage &page : layout.pages) {
        PageOps ops;
        QVector<Segment> sides;
        for (const PlacedBand &band : page.bands) {
            const Band &model = layout.tpl.band(band.kind);
            for (const PlacedItem &placed : band.items) {
                const ReportItem &item = model.items[placed.item];
                const QRectF &r = placed.rect;
                const QColor color(item.color.isEmpty() ? QStringLiteral("#000000") : item.color);
                if (item.kind == ItemKind::Line) {
                    ops.lines << Segment{r.topLeft(), r.bottomRight(), double(item.lineWidth), color};
                    continue;
                }
                if (item.kind != ItemKind::Text)
                    continue;
                if (!item.fillColor.isEmpty())
                    ops.fills << qMakePair(r, QColor(item.fillColor));
                if (!placed.text.isEmpty()) {
                    const QFont font = itemFont(layout.tpl, item);
                    const double size = itemFontSize(layout.tpl, item);
                    const QString key = font.toString() + QString::number(size);
                    if (!fontIndex.contains(key)) {
                        fontIndex.insert(key, int(pic.fonts.size()));
                        pic.fonts << qMakePair(font, size);
                    }
                    const QRectF inner = r.adjusted(TextPaddingX, TextPaddingY, -TextPaddingX, -TextPaddingY);
                    ops.texts << TextOp{inner, flagsOf(item), fontIndex.value(key), color, placed.text};
                }
                const Frame &f = item.frame;
                if (f.any() && f.width > 0) {
                    if (f.top)
                        sides << Segment{r.topLeft(), r.topRight(), double(f.width), color};
                    if (f.bottom)
                        sides << Segment{r.bottomLeft(), r.bottomRight(), double(f.width), color};
                    if (f.left)
                        sides << Segment{r.topLeft(), r.bottomLeft(), double(f.width), color};
                    if (f.right)
                        sides << Segment{r.topRight(), r.bottomRight(), double(f.width), color};
                }
            }
        }
        joinLines(sides, ops.lines);
        pic.pages << ops;
    }
    return pic;
}

// QPdfWriter drawing the picture: fills, then text, then lines, per page.
bool plainPdf(const QString &path, const PageSettings &paper, const Picture &pic)
{
    QPdfWriter writer(path);
    writer.setResolution(1200);
    writer.setPageLayout(pageLayoutFor(paper));
    QPainter painter(&writer);
    painter.scale(writer.logicalDpiX() / TenthsPerInch, writer.logicalDpiY() / TenthsPerInch);
    painter.setRenderHint(QPainter::Antialiasing, true);
    QVector<QFont> fonts;
    for (const auto &[font, size] : pic.fonts)
        fonts << fontForTenths(font, size, &writer);
    for (int p = 0; p < pic.pages.size(); ++p) {
        if (p > 0)
            writer.newPage();
        const PageOps &ops = pic.pages[p];
        for (const auto &[rect, color] : ops.fills)
            painter.fillRect(rect, color);
        for (const TextOp &t : ops.texts) {
            painter.setFont(fonts[t.font]);
            painter.setPen(t.color);
            painter.drawText(t.rect, t.flags, t.text);
        }
        for (const Segment &s : ops.lines) {
            QPen pen(s.color);
            pen.setWidthF(s.width);
            pen.setCapStyle(Qt::SquareCap);
            painter.setPen(pen);
            painter.drawLine(s.from, s.to);
        }
    }
    return painter.end();
}

// Wall-clock and processor time of one step, in milliseconds.
struct Stopwatch {
    QElapsedTimer wall;
    std::clock_t cpu = 0;
    Stopwatch() { restart(); }
    void restart()
    {
        wall.start();
        cpu = std::clock();
    }
    std::pair<double, double> millis() const
    {
        return {wall.nsecsElapsed() / 1e6, (std::clock() - cpu) * 1000.0 / CLOCKS_PER_SEC};
    }
};

struct Best {
    double wall = 1e300, cpu = 1e300;
    void take(std::pair<double, double> t)
    {
        wall = std::min(wall, t.first);
        cpu = std::min(cpu, t.second);
    }
};

} // namespace

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    Q_INIT_RESOURCE(purfp_sql_scripts);
    const int entries = argc > 1 ? std::max(1, atoi(argv[1])) : 5000;
    const int rounds = 3;

    QFile file(QStringLiteral(":/sql/PurFP.grf"));
    if (!file.open(QIODevice::ReadOnly)) {
        std::fprintf(stderr, "cannot read the invoice template\n");
        return 1;
    }
    const QByteArray grf = file.readAll();
    const ReportData data = invoiceRecords(entries);
    Report rep;
    if (!rep.loadFromData(grf)) {
        std::fprintf(stderr, "%s\n", qPrintable(rep.errorString()));
        return 1;
    }
    rep.setTitle(QStringLiteral("采购发票"));
    rep.setFetchRecords([&data](ReportData &out) { out = data; });

    QTemporaryDir dir;
    const QString enginePath = dir.filePath(QStringLiteral("engine.pdf"));
    const QString plainPath = dir.filePath(QStringLiteral("plain.pdf"));
    const Picture picture = pictureOf(rep.prepare());
    int pages = int(picture.pages.size()), strings = 0, lines = 0, frameSides = 0;
    for (const PageOps &ops : picture.pages) {
        strings += int(ops.texts.size());
        lines += int(ops.lines.size());
    }
    for (const LayoutPage &page : rep.layout().pages) {
        for (const PlacedBand &band : page.bands) {
            for (const PlacedItem &placed : band.items) {
                const Frame &f = rep.reportTemplate().band(band.kind).items[placed.item].frame;
                frameSides += int(f.left) + int(f.top) + int(f.right) + int(f.bottom);
            }
        }
    }

    // Warm-up: fonts loaded and cached once for both sides.
    rep.exportPdf(enginePath);
    plainPdf(plainPath, rep.reportTemplate().page, picture);

    Best layout, engine, plain;
    for (int round = 0; round < rounds; ++round) {
        Stopwatch t;
        rep.prepare();
        layout.take(t.millis());
        t.restart();
        if (!rep.exportPdf(enginePath)) { // prepares again: records, layout and PDF
            std::fprintf(stderr, "%s\n", qPrintable(rep.errorString()));
            return 1;
        }
        engine.take(t.millis());
        t.restart();
        if (!plainPdf(plainPath, rep.reportTemplate().page, picture)) {
            std::fprintf(stderr, "cannot write %s\n", qPrintable(plainPath));
            return 1;
        }
        plain.take(t.millis());
    }
    const double ratio = engine.cpu / plain.cpu;
    std::printf("invoice to PDF: %d entries, %d pages, %d strings, %d frame sides, %d lines joined (best of %d)\n",
                entries, pages, strings, frameSides, lines, rounds);
    std::printf("                                 processor     wall\n");
    std::printf("  engine (records, layout, PDF): %9.1f ms %9.1f ms   %lld bytes\n", engine.cpu, engine.wall,
                QFileInfo(enginePath).size());
    std::printf("    of which records and layout: %9.1f ms %9.1f ms\n", layout.cpu, layout.wall);
    std::printf("  QPdfWriter, same picture:      %9.1f ms %9.1f ms   %lld bytes\n", plain.cpu, plain.wall,
                QFileInfo(plainPath).size());
    std::printf("  ratio engine / QPdfWriter:     %9.2f    %9.2f      (goal <= %.1f, on processor time)\n", ratio,
                engine.wall / plain.wall, Goal);
    if (ratio > Goal)
        std::printf("FAIL invoice to PDF: %.2f > %.1f\n", ratio, Goal);
    return 0;
}
