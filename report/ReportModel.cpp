#include "report/ReportModel.h"

#include <QStringList>

#include <algorithm>

namespace report {

ReportTemplate::ReportTemplate()
{
    bands.resize(BandKindCount);
    for (int i = 0; i < BandKindCount; ++i)
        bands[i].kind = BandKind(i);
}

QString bandKindKey(BandKind kind)
{
    switch (kind) {
    case BandKind::ReportHeader: return QStringLiteral("reportHeader");
    case BandKind::PageHeader: return QStringLiteral("pageHeader");
    case BandKind::DetailHeader: return QStringLiteral("detailHeader");
    case BandKind::Detail: return QStringLiteral("detail");
    case BandKind::Summary: return QStringLiteral("summary");
    case BandKind::PageFooter: return QStringLiteral("pageFooter");
    }
    return QString();
}

QString bandKindCaption(BandKind kind)
{
    switch (kind) {
    case BandKind::ReportHeader: return QStringLiteral("报表头");
    case BandKind::PageHeader: return QStringLiteral("页眉");
    case BandKind::DetailHeader: return QStringLiteral("明细表头");
    case BandKind::Detail: return QStringLiteral("明细");
    case BandKind::Summary: return QStringLiteral("合计");
    case BandKind::PageFooter: return QStringLiteral("页脚");
    }
    return QString();
}

QString itemKindKey(ItemKind kind)
{
    switch (kind) {
    case ItemKind::Text: return QStringLiteral("text");
    case ItemKind::Line: return QStringLiteral("line");
    case ItemKind::Rect: return QStringLiteral("rect");
    case ItemKind::Image: return QStringLiteral("image");
    }
    return QString();
}

QString lineStyleKey(LineStyle style)
{
    switch (style) {
    case LineStyle::Solid: return QStringLiteral("solid");
    case LineStyle::Dash: return QStringLiteral("dash");
    case LineStyle::Dot: return QStringLiteral("dot");
    }
    return QString();
}

namespace {
struct Paper {
    const char *name;
    int width;
    int height;
};
constexpr Paper papers[] = {
    {"A3", 2970, 4200}, {"A4", 2100, 2970}, {"A5", 1480, 2100},
    {"B5", 1760, 2500}, {"Letter", 2159, 2794}, {"Legal", 2159, 3556},
};
}

bool standardPaperSize(const QString &name, int *width, int *height)
{
    for (const Paper &p : papers) {
        if (name.compare(QLatin1String(p.name), Qt::CaseInsensitive) == 0) {
            *width = p.width;
            *height = p.height;
            return true;
        }
    }
    return false;
}

QStringList standardPaperNames()
{
    QStringList names;
    for (const Paper &p : papers)
        names << QString::fromLatin1(p.name);
    return names;
}

void keepItemsInBands(ReportTemplate &tpl)
{
    for (Band &band : tpl.bands) {
        if (band.height <= 0)
            continue; // a band switched off stays off
        for (ReportItem &item : band.items) {
            if (item.geometry.y() < 0)
                item.geometry.moveTop(0);
            band.height = std::max(band.height, item.geometry.y() + item.geometry.height());
        }
    }
}

} // namespace report
