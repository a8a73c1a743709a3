#include "ReportSamples.h"

#include "report/Report.h"
#include "report/ReportFile.h"

#include <QBuffer>
#include <QFile>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

using namespace report;

Q_DECLARE_METATYPE(report::ReportTemplate)

namespace {

QByteArray pngBytes()
{
    QImage image(8, 4, QImage::Format_RGB32);
    image.fill(Qt::red);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return bytes;
}

// The items name only the members that differ from their defaults.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"
ReportTemplate everyKindOfItem()
{
    ReportTemplate tpl;
    tpl.title = QStringLiteral("采购发票 \"引号\" \\ 斜杠");
    tpl.page = PageSettings{QStringLiteral("票据纸"), 2410, 1400, Orientation::Landscape, Margins{55, 60, 75, 80}};
    tpl.fontFamily = QStringLiteral("Noto Serif CJK SC");
    tpl.fontSize = 10.5;
    Band &detail = tpl.band(BandKind::Detail);
    detail.height = 73;
    detail.items << ReportItem{.kind = ItemKind::Text, .name = QStringLiteral("txtQty"), .geometry = QRect(-5, 1, 333, 72),
                               .text = QStringLiteral("[fqty|#,##0.00] [[x] 数量\n第二行"), .format = QStringLiteral("0.00;-0.00;"),
                               .font = FontSpec{QStringLiteral("Noto Sans CJK SC"), 12.25, true, true, true}, .align = HAlign::Right,
                               .valign = VAlign::Bottom, .frame = Frame{true, false, true, false, 7}, .wordWrap = true, .canGrow = true,
                               .color = QStringLiteral("#123456"), .fillColor = QStringLiteral("#fedcba")}
                 << ReportItem{.kind = ItemKind::Line, .geometry = QRect(0, 72, 1000, 0), .lineWidth = 5, .lineStyle = LineStyle::Dash}
                 << ReportItem{.kind = ItemKind::Rect, .geometry = QRect(10, 10, 50, 50), .fillColor = QStringLiteral("#00ff00"),
                               .lineWidth = 0, .lineStyle = LineStyle::Dot}
                 << ReportItem{.kind = ItemKind::Image, .geometry = QRect(100, 0, 80, 40), .png = pngBytes(), .keepAspect = false};
    tpl.band(BandKind::PageFooter).height = 1;
    return tpl;
}
#pragma GCC diagnostic pop

QByteArray validJson()
{
    return templateToJson(samples::invoiceTemplate());
}

// The valid file with one value replaced (a path of keys, "bands.3.items.0.x").
QByteArray withValue(const QString &path, const QJsonValue &value, const QByteArray &base = validJson())
{
    QJsonObject root = QJsonDocument::fromJson(base).object();
    const QStringList keys = path.split(u'.');
    std::function<QJsonValue(QJsonValue, int)> set = [&](QJsonValue node, int depth) -> QJsonValue {
        if (depth == keys.size())
            return value;
        bool isIndex = false;
        const int index = keys[depth].toInt(&isIndex);
        if (isIndex) {
            QJsonArray a = node.toArray();
            a[index] = set(a[index], depth + 1);
            return a;
        }
        QJsonObject o = node.toObject();
        if (value.isUndefined() && depth == keys.size() - 1)
            o.remove(keys[depth]);
        else
            o[keys[depth]] = set(o[keys[depth]], depth + 1);
        return o;
    };
    return QJsonDocument(set(root, 0).toObject()).toJson();
}

} // namespace

class TestReportFile : public QObject {
    Q_OBJECT
private slots:
    void roundTrip_data()
    {
        QTest::addColumn<ReportTemplate>("tpl");
        QTest::newRow("empty template") << ReportTemplate();
        QTest::newRow("bill layout") << samples::invoiceTemplate();
        QTest::newRow("every kind of item and setting") << everyKindOfItem();
    }
    void roundTrip()
    {
        QFETCH(ReportTemplate, tpl);
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("模板.grf"));
        QString error;
        QVERIFY2(saveTemplate(tpl, path, &error), qPrintable(error));
        const auto loaded = loadTemplate(path, &error);
        QVERIFY2(loaded, qPrintable(error));
        QVERIFY(*loaded == tpl);
        // A second save writes the same bytes.
        QCOMPARE(templateToJson(*loaded), templateToJson(tpl));
    }

    // The file is UTF-8 JSON in tenths of a millimetre; a byte order mark
    // is accepted and values left out take their defaults.
    void fileFormat()
    {
        const QByteArray json = templateToJson(everyKindOfItem());
        QVERIFY(json.contains("采购发票"));
        QJsonParseError error;
        const QJsonDocument doc = QJsonDocument::fromJson(json, &error);
        QCOMPARE(error.error, QJsonParseError::NoError);
        QCOMPARE(doc.object().value(QStringLiteral("units")).toString(), QStringLiteral("0.1mm"));
        QVERIFY(templateFromJson("\xEF\xBB\xBF" + validJson()));

        const QByteArray minimal = R"({"format":"purfp-report","version":1,"page":{"width":2100,"height":2970},
            "bands":[{"kind":"detail","height":50,"items":[{"type":"text","x":0,"y":0,"width":100,"height":50},
            {"type":"line","x":0,"y":0,"width":100,"height":0}]}]})";
        QString text;
        const auto tpl = templateFromJson(minimal, &text);
        QVERIFY2(tpl, qPrintable(text));
        QCOMPARE(tpl->fontFamily, QStringLiteral("Noto Sans CJK SC"));
        // A template from before underline and line styles looks as it did.
        const QVector<ReportItem> &items = tpl->band(BandKind::Detail).items;
        QCOMPARE(items.size(), 2);
        QVERIFY(!items[0].font.underline && !items[0].font.italic);
        QVERIFY(items[1].lineStyle == LineStyle::Solid);
        QCOMPARE(tpl->band(BandKind::Summary).height, 0);
        QCOMPARE(tpl->page.margins, Margins());
    }

    void malformed_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("mentions");
        QTest::newRow("empty file") << QByteArray() << "文件为空";
        QTest::newRow("not JSON") << QByteArray("<report/>") << "JSON";
        QTest::newRow("truncated") << validJson().left(200) << "JSON";
        QTest::newRow("array at top") << QByteArray("[1,2]") << "顶层";
        QTest::newRow("some other JSON") << QByteArray(R"({"name":"x"})") << "format";
        QTest::newRow("newer version") << withValue(QStringLiteral("version"), 2) << "版本";
        QTest::newRow("other units") << withValue(QStringLiteral("units"), QStringLiteral("inch")) << "单位";
        QTest::newRow("no page") << withValue(QStringLiteral("page"), QJsonValue::Undefined) << "page";
        QTest::newRow("page width as text") << withValue(QStringLiteral("page.width"), QStringLiteral("210")) << "page.width";
        QTest::newRow("margins eat the paper") << withValue(QStringLiteral("page.margins.left"), 2100) << "页边距";
        QTest::newRow("bad orientation") << withValue(QStringLiteral("page.orientation"), QStringLiteral("sideways")) << "orientation";
        QTest::newRow("bands not an array") << withValue(QStringLiteral("bands"), 3) << "bands";
        QTest::newRow("unknown band") << withValue(QStringLiteral("bands.0.kind"), QStringLiteral("groupHeader")) << "bands[0].kind";
        QTest::newRow("band twice") << withValue(QStringLiteral("bands.1.kind"), QStringLiteral("reportHeader")) << "两次";
        QTest::newRow("negative band height") << withValue(QStringLiteral("bands.3.height"), -1) << "bands[3].height";
        QTest::newRow("item without type") << withValue(QStringLiteral("bands.3.items.0.type"), QJsonValue::Undefined) << "bands[3].items[0].type";
        QTest::newRow("unknown item type") << withValue(QStringLiteral("bands.3.items.0.type"), QStringLiteral("chart")) << "chart";
        QTest::newRow("fractional x") << withValue(QStringLiteral("bands.3.items.0.x"), 1.5) << "bands[3].items[0].x";
        QTest::newRow("negative width") << withValue(QStringLiteral("bands.3.items.0.width"), -10) << "width";
        QTest::newRow("bold as text") << withValue(QStringLiteral("bands.3.items.0.font.bold"), QStringLiteral("yes")) << "font.bold";
        QTest::newRow("unknown line style") << withValue(QStringLiteral("bands.0.items.1.lineStyle"), QStringLiteral("wavy")) << "bands[0].items[1].lineStyle";
        QTest::newRow("underline as number") << withValue(QStringLiteral("bands.3.items.0.font.underline"), 1) << "font.underline";
        QTest::newRow("bad colour") << withValue(QStringLiteral("bands.3.items.0.color"), QStringLiteral("#zz")) << "颜色";
        QTest::newRow("item not an object") << withValue(QStringLiteral("bands.3.items.0"), 5) << "items[0]";
        const QByteArray image = withValue(QStringLiteral("bands.0.items.1.type"), QStringLiteral("image"));
        QTest::newRow("image not PNG") << withValue(QStringLiteral("bands.0.items.1.png"), QStringLiteral("R0lGODlh"), image) << "PNG";
        QTest::newRow("image not Base64") << withValue(QStringLiteral("bands.0.items.1.png"), QStringLiteral("*#!"), image) << "PNG";
    }
    void malformed()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, mentions);
        QString error;
        const auto tpl = templateFromJson(bytes, &error);
        QVERIFY(!tpl);
        QVERIFY2(error.contains(mentions), qPrintable(error));

        // Through the report object and a file as the editor uses it.
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("bad.grf"));
        QFile f(path);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write(bytes);
        f.close();
        Report r;
        QVERIFY(r.loadFromData(validJson()));
        QVERIFY(!r.loadFromFile(path));
        QVERIFY(!r.hasTemplate());
        QVERIFY(r.errorString().contains(mentions));
    }

    void missingFileAndUnwritablePath()
    {
        QString error;
        QVERIFY(!loadTemplate(QStringLiteral("/nonexistent/purfp/x.grf"), &error));
        QVERIFY(error.contains(QStringLiteral("/nonexistent/purfp/x.grf")));
        error.clear();
        QVERIFY(!saveTemplate(ReportTemplate(), QStringLiteral("/proc/purfp-no-such/x.grf"), &error));
        QVERIFY(!error.isEmpty());
    }
};

QTEST_MAIN(TestReportFile)
#include "tst_reportfile.moc"
