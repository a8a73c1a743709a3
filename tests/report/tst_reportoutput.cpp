#include "ReportSamples.h"

#include "report/Report.h"
#include "report/ReportPainter.h"
#include "support/PdfTools.h"

#include <QApplication>
#include <QPrintPreviewDialog>
#include <QPrintPreviewWidget>
#include <QPrinter>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

using namespace report;

namespace {

// Sets the report up for the sample bill over `records` generated lines.
void useInvoice(Report &r, int records, const QString &title = QString())
{
    r.setReportTemplate(samples::invoiceTemplate());
    if (!title.isEmpty())
        r.setTitle(title);
    r.setFetchRecords([records](ReportData &data) { data = samples::invoiceRecords(records); });
}

void addDpiRows(std::initializer_list<int> dpis)
{
    QTest::addColumn<int>("dpi");
    for (int dpi : dpis)
        QTest::newRow(qPrintable(QStringLiteral("%1 dpi").arg(dpi))) << dpi;
}

// Bands with thick frames and no text: on a page image only the frames are
// dark, so the painted rules can be measured.
ReportTemplate framedBands()
{
    ReportTemplate tpl = samples::bandTemplate({});
    for (Band &band : tpl.bands) {
        for (ReportItem &item : band.items) {
            item.text.clear();
            item.frame = Frame::box(5);
        }
    }
    return tpl;
}

} // namespace

class TestReportOutput : public QObject {
    Q_OBJECT
private slots:
    // Records come from the callback each time the report is prepared, or
    // from the signal when there is no callback.
    void recordsFeed()
    {
        Report r;
        r.setReportTemplate(samples::invoiceTemplate());
        QCOMPARE(r.title(), QStringLiteral("单据"));
        connect(&r, &Report::fetchRecords, this, [](ReportData *data) {
            data->append(QVariantMap{{QStringLiteral("FITEMNAME"), QStringLiteral("垫圈")}});
        });
        const ReportLayout &bySignal = r.prepare();
        QCOMPARE(r.data().count(), 1);
        QCOMPARE(bySignal.pages[0].bands[0].items[0].text, QStringLiteral("单据"));
        QCOMPARE(bySignal.pages[0].bands[3].kind, BandKind::Detail);
        QCOMPARE(bySignal.pages[0].bands[3].items[2].text, QStringLiteral("垫圈"));

        disconnect(&r, &Report::fetchRecords, this, nullptr);
        int asked = 0;
        r.setFetchRecords([&](ReportData &data) {
            ++asked;
            const ReportData rows = samples::invoiceRecords(3);
            for (const ReportRecord &record : rows.records())
                data.append(record);
        });
        r.setTitle(QStringLiteral("采购发票"));
        const ReportLayout &layout = r.prepare();
        QCOMPARE(asked, 1);
        QCOMPARE(r.data().count(), 3);
        QCOMPARE(layout.pages[0].bands[0].items[0].text, QStringLiteral("采购发票"));
        // Preparing again asks again and does not keep the old records.
        r.prepare();
        QCOMPARE(asked, 2);
        QCOMPARE(r.data().count(), 3);
    }

    // The writer and a printer break the pages alike at every resolution;
    // the writer's file embeds the Chinese font, and its text reads back.
    void pdfAtEveryResolution_data() { addDpiRows({96, 300, 1200}); }
    void pdfAtEveryResolution()
    {
        QFETCH(int, dpi);
        QTemporaryDir dir;
        Report r;
        useInvoice(r, 120, QStringLiteral("采购发票"));
        const int pages = r.prepare().pageCount();
        QVERIFY(pages > 2);

        QPrinter printer(QPrinter::HighResolution);
        printer.setOutputFormat(QPrinter::PdfFormat);
        printer.setOutputFileName(dir.filePath(QStringLiteral("printer.pdf")));
        printer.setResolution(dpi);
        QCOMPARE(r.print(&printer), pages);
        QCOMPARE(pdf_tools::pageCount(printer.outputFileName()), pages);

        const QString path = dir.filePath(QStringLiteral("发票.pdf"));
        QVERIFY2(r.exportPdf(path, dpi), qPrintable(r.errorString()));
        QCOMPARE(pdf_tools::pageCount(path), pages);
        const auto fonts = pdf_tools::fonts(path);
        if (!fonts)
            QSKIP("pdffonts (poppler-utils) is not installed: embedding not checked");
        bool cjk = false;
        for (const pdf_tools::Font &font : *fonts) {
            QVERIFY2(font.embedded, qPrintable(font.name));
            cjk = cjk || font.name.contains(QStringLiteral("WenQuanYi")); // the face Noto Sans CJK is drawn with
        }
        QVERIFY(cjk);

        const auto extracted = pdf_tools::text(path);
        QVERIFY(extracted);
        // The writer maps a glyph that the font shares between an ideograph
        // and a Kangxi radical back to the radical; compatibility
        // normalisation turns those into the ideographs again.
        const QString text = extracted->normalized(QString::NormalizationForm_KC);
        QVERIFY2(text.contains(QStringLiteral("上海华东五金制品有限公司")), qPrintable(text.left(600)));
        QVERIFY(text.contains(QStringLiteral("采购发票")));
        // Digits inside mixed text keep their characters.
        QVERIFY(text.contains(QStringLiteral("CGFP-2024-000123")));
        QVERIFY(text.contains(QStringLiteral("1/%1").arg(r.layout().pageCount())));
    }

    // Every band's frame is inked on the pixel row of its edges, and nothing
    // between the edges along the middle of the page.
    void paintedRulesSitWhereTheLayoutPutsThem_data() { addDpiRows({96, 150, 300}); }
    void paintedRulesSitWhereTheLayoutPutsThem()
    {
        QFETCH(int, dpi);
        const ReportLayout layout = layoutReport(framedBands(), samples::numberedRecords(20), QString());
        QCOMPARE(layout.pageCount(), 3);
        for (int page : {0, 2}) {
            const QImage image = renderPageImage(layout, page, dpi);
            auto inked = [&](double from, double to) {
                for (int y = qMax(0, int(from * dpi / TenthsPerInch)); y <= int(to * dpi / TenthsPerInch) && y < image.height(); ++y)
                    if (qGray(image.pixel(image.width() / 2, y)) < 128)
                        return true;
                return false;
            };
            for (const PlacedBand &band : layout.pages[page].bands) {
                QVERIFY2(inked(band.rect.top() - 1, band.rect.top() + 1) && inked(band.rect.bottom() - 1, band.rect.bottom() + 1),
                         qPrintable(QStringLiteral("page %1, band at %2").arg(page).arg(band.rect.top())));
                QVERIFY(!inked(band.rect.top() + 6, band.rect.bottom() - 6));
            }
        }
    }

    void nothingIsPaintedOverTheFooter()
    {
        // A row taller than the page, filled black, must stop at the footer.
        ReportTemplate tpl = samples::bandTemplate({});
        tpl.band(BandKind::PageFooter).items.clear();
        Band &detail = tpl.band(BandKind::Detail);
        detail.height = 1500;
        ReportItem fill;
        fill.kind = ItemKind::Rect;
        fill.geometry = QRect(0, 0, 1900, 1500);
        fill.fillColor = QStringLiteral("#000000");
        detail.items = {fill};
        const ReportLayout layout = layoutReport(tpl, samples::numberedRecords(1), QString());
        const int dpi = 96;
        const QImage image = renderPageImage(layout, 0, dpi);
        QCOMPARE(image.size(), QSize(qRound(2100 * dpi / 254.0), qRound(1200 * dpi / 254.0)));
        auto row = [&](double tenths) { return int(tenths * dpi / TenthsPerInch); };
        const int footerTop = row(1000); // content 100..1100, footer 100 high
        const int x = image.width() / 2;
        QCOMPARE(qGray(image.pixel(x, footerTop - 2)), 0);
        for (int y = footerTop + 1; y < image.height(); ++y)
            QVERIFY2(image.pixel(x, y) == qRgb(255, 255, 255), qPrintable(QStringLiteral("row %1").arg(y)));
    }

    void previewShowsEveryPage()
    {
        Report r;
        QVERIFY(!r.preview()); // nothing to show without a template
        useInvoice(r, 60);
        int shown = -1;
        QTimer::singleShot(0, this, [&] {
            auto *dialog = qobject_cast<QPrintPreviewDialog *>(QApplication::activeModalWidget());
            if (!dialog)
                return;
            auto *widget = dialog->findChild<QPrintPreviewWidget *>();
            widget->updatePreview();
            shown = widget->pageCount();
            dialog->reject();
        });
        QVERIFY(r.preview());
        QCOMPARE(shown, r.layout().pageCount());
    }
};

QTEST_MAIN(TestReportOutput)
#include "tst_reportoutput.moc"
