#pragma once
// Templates and records shared by the report tests.
#include "platform/Amount.h"
#include "report/ReportData.h"
#include "report/ReportModel.h"

#include <QDate>

namespace samples {

using namespace report;

inline ReportItem text(int x, int y, int w, int h, const QString &content, HAlign align = HAlign::Left,
                       bool framed = false)
{
    ReportItem item;
    item.kind = ItemKind::Text;
    item.geometry = QRect(x, y, w, h);
    item.text = content;
    item.align = align;
    if (framed)
        item.frame = Frame::box();
    return item;
}

// A band that a test can find on the page: one text item over its whole width.
inline void setBand(ReportTemplate &tpl, BandKind kind, int height, const QString &content)
{
    Band &band = tpl.band(kind);
    band.height = height;
    band.items.clear();
    if (height > 0)
        band.items.append(text(0, 0, tpl.page.contentRect().width(), height, content));
}

// Page 2100 x (contentHeight + 200) tenths with margins of 100 all round.
struct Bands {
    int contentHeight = 1000;
    int reportHeader = 0;
    int pageHeader = 100;
    int detailHeader = 100;
    int detail = 100;
    int summary = 0;
    int pageFooter = 100;
};

inline ReportTemplate bandTemplate(const Bands &b)
{
    ReportTemplate tpl;
    tpl.page.paper = QStringLiteral("Test");
    tpl.page.width = 2100;
    tpl.page.height = b.contentHeight + 200;
    tpl.page.margins = Margins{100, 100, 100, 100};
    setBand(tpl, BandKind::ReportHeader, b.reportHeader, QStringLiteral("报表头"));
    setBand(tpl, BandKind::PageHeader, b.pageHeader, QStringLiteral("第[#Page]页 共[#Pages]页"));
    setBand(tpl, BandKind::DetailHeader, b.detailHeader, QStringLiteral("序号"));
    setBand(tpl, BandKind::Detail, b.detail, QStringLiteral("[fno]"));
    setBand(tpl, BandKind::Summary, b.summary, QStringLiteral("合计 [#Sum(famount)]"));
    setBand(tpl, BandKind::PageFooter, b.pageFooter, QStringLiteral("[#Page]/[#Pages]"));
    return tpl;
}

inline ReportData numberedRecords(int count)
{
    ReportData data;
    for (int i = 0; i < count; ++i)
        data.append(ReportRecord{{QStringLiteral("fno"), i + 1}, {QStringLiteral("famount"), QStringLiteral("1.5")}});
    return data;
}

// A bill as it prints: title, header fields, a framed table, totals, page
// numbers. Content width 1800 tenths on A4. The records leave some fields
// out: those print empty.
inline ReportTemplate invoiceTemplate()
{
    ReportTemplate tpl;
    tpl.title = QStringLiteral("单据");
    tpl.page.margins = Margins{150, 120, 150, 120};
    tpl.fontSize = 9;

    Band &rh = tpl.band(BandKind::ReportHeader);
    rh.height = 300;
    ReportItem title = text(0, 0, 1800, 120, QStringLiteral("[#Title]"), HAlign::Center);
    title.font.size = 18;
    title.font.bold = true;
    rh.items << title;
    ReportItem rule;
    rule.kind = ItemKind::Line;
    rule.geometry = QRect(650, 120, 500, 0);
    rule.lineWidth = 4;
    rh.items << rule;
    rh.items << text(0, 150, 600, 60, QStringLiteral("发票号码：[fbillno]"))
             << text(600, 150, 600, 60, QStringLiteral("开票日期：[fdate|yyyy年MM月dd日]"))
             << text(1200, 150, 600, 60, QStringLiteral("币别：[fcurrency]"))
             << text(0, 220, 1200, 60, QStringLiteral("供应商：[fsupplier]"))
             << text(1200, 220, 600, 60, QStringLiteral("部门：[fdept]"));

    Band &ph = tpl.band(BandKind::PageHeader);
    ph.height = 60;
    ph.items << text(1200, 0, 600, 60, QStringLiteral("第 [#Page] 页 / 共 [#Pages] 页"), HAlign::Right);

    struct Column {
        const char *caption;
        const char *field;
        int width;
        HAlign align;
    };
    const Column columns[] = {
        {"序号", "[#Row]", 100, HAlign::Center},
        {"物料代码", "[fitemno]", 220, HAlign::Left},
        {"物料名称", "[fitemname]", 400, HAlign::Left},
        {"规格型号", "[fmodel]", 260, HAlign::Left},
        {"数量", "[fqty|#,##0.00]", 180, HAlign::Right},
        {"单价", "[fprice|#,##0.00]", 200, HAlign::Right},
        {"金额", "[fHXAmount|#,##0.00]", 440, HAlign::Right},
    };
    Band &dh = tpl.band(BandKind::DetailHeader);
    Band &detail = tpl.band(BandKind::Detail);
    dh.height = 70;
    detail.height = 60;
    int x = 0;
    for (const Column &c : columns) {
        ReportItem caption = text(x, 0, c.width, 70, QString::fromUtf8(c.caption), HAlign::Center, true);
        caption.font.bold = true;
        caption.fillColor = QStringLiteral("#e8e8e8");
        dh.items << caption;
        ReportItem cell = text(x, 0, c.width, 60, QString::fromUtf8(c.field), c.align, true);
        if (QByteArray(c.field) == "[fitemname]")
            cell.canGrow = true;
        detail.items << cell;
        x += c.width;
    }

    Band &summary = tpl.band(BandKind::Summary);
    summary.height = 160;
    // Under the table's columns: quantity at 980, price, amount.
    ReportItem label = text(0, 0, 980, 60, QStringLiteral("合计（共 [#Count] 行）"), HAlign::Center, true);
    label.font.bold = true;
    summary.items << label
                  << text(980, 0, 180, 60, QStringLiteral("[#Sum(fqty)]"), HAlign::Right, true)
                  << text(1160, 0, 200, 60, QString(), HAlign::Right, true)
                  << text(1360, 0, 440, 60, QStringLiteral("[#Sum(fHXAmount)]"), HAlign::Right, true);
    summary.items[1].format = QStringLiteral("#,##0.00");
    summary.items[3].format = QStringLiteral("#,##0.00");
    summary.items << text(1200, 90, 600, 60, QStringLiteral("打印日期：[#Date]"), HAlign::Right);

    Band &pf = tpl.band(BandKind::PageFooter);
    pf.height = 60;
    ReportItem pageSum = text(0, 0, 1000, 60, QStringLiteral("本页金额小计：[#PageSum(fHXAmount)|#,##0.00]"));
    pf.items << pageSum << text(1000, 0, 800, 60, QStringLiteral("[#Page]/[#Pages]"), HAlign::Right);
    return tpl;
}

inline ReportData invoiceRecords(int count)
{
    ReportData data;
    for (int i = 0; i < count; ++i) {
        const int qty = 1 + i % 7;
        const QString price = QStringLiteral("%1.%2").arg(10 + i % 13).arg(i % 100, 2, 10, QLatin1Char('0'));
        const Amount amount = Amount::fromUnits(Amount::parse(price)->units() * qty);
        QString name = QStringLiteral("不锈钢六角螺栓 M%1").arg(6 + i % 10);
        if (i % 9 == 4)
            name += QStringLiteral("（加长型，表面镀锌处理，适用于户外钢结构连接）");
        data.append(ReportRecord{
            {QStringLiteral("FBillNo"), QStringLiteral("CGFP-2024-000123")},
            {QStringLiteral("FDate"), QStringLiteral("2024-03-15")},
            {QStringLiteral("FSupplier"), QStringLiteral("上海华东五金制品有限公司")},
            {QStringLiteral("FItemNo"), QStringLiteral("01.02.%1").arg(i + 1, 4, 10, QLatin1Char('0'))},
            {QStringLiteral("FItemName"), name},
            {QStringLiteral("FQty"), qty},
            {QStringLiteral("FPrice"), price.toDouble()},
            {QStringLiteral("FHXAmount"), amount.toString()},
        });
    }
    return data;
}

} // namespace samples
