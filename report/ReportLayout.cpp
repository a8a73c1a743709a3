#include "report/ReportLayout.h"

#include "platform/Clock.h"
#include "report/ReportFont.h"
#include "report/ReportText.h"

#include <QHash>
#include <cmath>

namespace report {

namespace {

// Stands in for the page count until the last page is known.
const QChar PagesMark(0xE000);
// Stands for the widest page count while text is measured.
const QString PagesMeasure = QStringLiteral("999");

struct CompiledItem {
    const ReportItem *item = nullptr;
    QVector<TextSegment> segments;
    bool isStatic = false;  // literal text only
    bool wraps = false;     // word wrap or can grow
    bool usesPages = false;
    QFont font;             // for measuring
    double lineHeight = 0;
};

struct CompiledBand {
    const Band *band = nullptr;
    QVector<CompiledItem> items;
    bool anyGrows = false;
    bool itemsStickOut = false;
};

// What references in a band resolve against.
struct Context {
    const ReportRecord *record = nullptr;
    int recordIndex = -1;
    int page = 1;
    int pageFirst = -1; // records of the page so far, for [#PageSum]
    int pageLast = -1;
};

struct Instance {
    int height = 0;
    QVector<PlacedItem> items; // rects relative to the band's top-left
    bool usesPages = false;
};

class Layouter {
public:
    Layouter(const ReportTemplate &tpl, const ReportData &data, const QString &title)
        : m_tpl(tpl), m_data(data), m_title(title)
    {
        for (int k = 0; k < BandKindCount; ++k)
            compile(m_tpl.bands[k], m_bands[k]);
        m_content = m_tpl.page.contentRect();
    }

    ReportLayout run();

private:
    void compile(const Band &band, CompiledBand &out);
    QString expand(const CompiledItem &ci, const Context &ctx, bool *usesPages);
    Amount total(const QString &key);
    Amount pageTotal(const QString &key, const Context &ctx) const;
    Instance measure(BandKind kind, const Context &ctx);

    bool hasBand(BandKind kind) const { return m_tpl.band(kind).height > 0; }
    Context contextFor(int record) const;
    void startPage(bool first);
    void finishPage();
    void place(BandKind kind, const Context &ctx, bool flows);
    void append(BandKind kind, const Context &ctx, Instance instance, int height);

    const ReportTemplate &m_tpl;
    const ReportData &m_data;
    QString m_title;
    CompiledBand m_bands[BandKindCount];
    TextMeasurer m_measurer;
    QHash<QString, Amount> m_totals;
    QRect m_content;

    ReportLayout m_layout;
    int m_y = 0;
    int m_limit = 0;
    bool m_body = false;       // the page holds more than its repeated headers
    int m_nextRecord = 0;
    QVector<QPair<int, int>> m_pagesMarks; // (page, band) whose text waits for the page count
};

void Layouter::compile(const Band &band, CompiledBand &out)
{
    out.band = &band;
    for (const ReportItem &item : band.items) {
        CompiledItem ci;
        ci.item = &item;
        if (item.kind == ItemKind::Text) {
            ci.segments = parseItemText(item.text);
            ci.isStatic = std::all_of(ci.segments.cbegin(), ci.segments.cend(),
                                      [](const TextSegment &s) { return s.kind == TextSegment::Literal; });
            ci.usesPages = std::any_of(ci.segments.cbegin(), ci.segments.cend(),
                                       [](const TextSegment &s) { return s.kind == TextSegment::Pages; });
            ci.wraps = item.wordWrap || item.canGrow;
            ci.font = itemFont(m_tpl, item);
            if (ci.wraps)
                ci.lineHeight = m_measurer.lineHeight(ci.font);
            out.anyGrows = out.anyGrows || item.canGrow;
        }
        const QRect g = item.geometry;
        if (g.x() < 0 || g.y() < 0 || g.x() + g.width() > m_tpl.page.contentRect().width()
            || g.y() + g.height() > band.height)
            out.itemsStickOut = true;
        out.items.append(ci);
    }
}

Amount Layouter::total(const QString &key)
{
    auto it = m_totals.find(key);
    if (it != m_totals.end())
        return *it;
    Amount sum;
    for (const ReportRecord &r : m_data.records())
        sum += Amount::fromVariant(r.valueByKey(key));
    m_totals.insert(key, sum);
    return sum;
}

Amount Layouter::pageTotal(const QString &key, const Context &ctx) const
{
    Amount sum;
    if (ctx.pageFirst < 0)
        return sum;
    for (int i = ctx.pageFirst; i <= ctx.pageLast; ++i)
        sum += Amount::fromVariant(m_data.at(i).valueByKey(key));
    return sum;
}

QString Layouter::expand(const CompiledItem &ci, const Context &ctx, bool *usesPages)
{
    const QString &itemFormat = ci.item->format;
    QString out;
    for (const TextSegment &s : ci.segments) {
        const QString &format = s.format.isEmpty() ? itemFormat : s.format;
        switch (s.kind) {
        case TextSegment::Literal:
            out += s.text;
            break;
        case TextSegment::Field:
            if (ctx.record)
                out += formatValue(ctx.record->valueByKey(s.text), format);
            break;
        case TextSegment::Page:
            out += QString::number(ctx.page);
            break;
        case TextSegment::Pages:
            out += PagesMark;
            *usesPages = true;
            break;
        case TextSegment::Sum:
            out += formatAmount(total(s.text), isNumberFormat(format) ? format : QString());
            break;
        case TextSegment::PageSum:
            out += formatAmount(pageTotal(s.text, ctx), isNumberFormat(format) ? format : QString());
            break;
        case TextSegment::Count:
            out += formatAmount(Amount::fromInt(m_data.count()), isNumberFormat(format) ? format : QString());
            break;
        case TextSegment::Row:
            if (ctx.recordIndex >= 0)
                out += QString::number(ctx.recordIndex + 1);
            break;
        case TextSegment::Title:
            out += m_title;
            break;
        case TextSegment::Date:
            out += formatValue(Clock::today(), isDateFormat(format) ? format : QStringLiteral("yyyy-MM-dd"));
            break;
        }
    }
    return out;
}

Instance Layouter::measure(BandKind kind, const Context &ctx)
{
    const CompiledBand &cb = m_bands[int(kind)];
    const int nominal = cb.band->height;
    Instance inst;
    inst.items.reserve(cb.items.size());
    int height = nominal;
    for (int i = 0; i < cb.items.size(); ++i) {
        const CompiledItem &ci = cb.items[i];
        PlacedItem placed;
        placed.item = i;
        placed.rect = QRectF(ci.item->geometry);
        if (ci.item->kind == ItemKind::Text) {
            bool pages = false;
            placed.text = ci.isStatic ? (ci.segments.isEmpty() ? QString() : ci.segments.first().text)
                                      : expand(ci, ctx, &pages);
            inst.usesPages = inst.usesPages || pages;
            if (ci.wraps) {
                QString measured = placed.text;
                if (pages)
                    measured.replace(PagesMark, PagesMeasure);
                placed.wrapped = true;
                placed.lineHeight = ci.lineHeight;
                placed.lines = m_measurer.wrap(measured, ci.font, placed.rect.width() - 2 * TextPaddingX);
                if (ci.item->canGrow) {
                    const int need = int(std::ceil(placed.lines.size() * ci.lineHeight + 2 * TextPaddingY - 1e-6));
                    if (need > placed.rect.height()) {
                        const int below = std::max(0, nominal - ci.item->geometry.bottom() - 1);
                        placed.rect.setHeight(need);
                        height = std::max(height, int(placed.rect.bottom()) + below);
                    }
                }
                // With a page count in the text, the lines are made again
                // once the count is known; the height keeps the stand-in's.
            }
        }
        inst.items.append(placed);
    }
    if (height > nominal) {
        // Items that reach the band's bottom edge stretch with it, so the
        // frames of a table row stay closed when one cell grows.
        const int growth = height - nominal;
        for (int i = 0; i < cb.items.size(); ++i) {
            const QRect g = cb.items[i].item->geometry;
            if (g.y() + g.height() >= nominal && g.y() < nominal) {
                QRectF &r = inst.items[i].rect;
                r.setHeight(std::max(r.height(), double(g.height() + growth)));
            }
        }
    }
    inst.height = height;
    return inst;
}

Context Layouter::contextFor(int record) const
{
    Context ctx;
    ctx.page = int(m_layout.pages.size());
    if (record >= 0 && record < m_data.count()) {
        ctx.record = &m_data.at(record);
        ctx.recordIndex = record;
    }
    const LayoutPage &page = m_layout.pages.last();
    ctx.pageFirst = page.firstRecord;
    ctx.pageLast = page.lastRecord;
    return ctx;
}

void Layouter::append(BandKind kind, const Context &ctx, Instance instance, int height)
{
    PlacedBand band;
    band.kind = kind;
    band.record = kind == BandKind::Detail ? ctx.recordIndex : -1;
    band.rect = QRectF(m_content.left(), m_y, m_content.width(), height);
    band.clipped = height < instance.height;
    band.clip = band.clipped || m_bands[int(kind)].itemsStickOut;
    const QPointF offset = band.rect.topLeft();
    for (PlacedItem &item : instance.items)
        item.rect.translate(offset);
    band.items = std::move(instance.items);
    LayoutPage &page = m_layout.pages.last();
    if (instance.usesPages)
        m_pagesMarks.append({int(m_layout.pages.size()) - 1, int(page.bands.size())});
    page.bands.append(std::move(band));
    m_y += height;
}

void Layouter::place(BandKind kind, const Context &ctx, bool flows)
{
    Instance inst = measure(kind, ctx);
    if (flows && m_body && m_y + inst.height > m_limit) {
        finishPage();
        startPage(false);
        // Page number and page sums belong to the new page now.
        Context moved = contextFor(ctx.recordIndex);
        moved.record = ctx.record;
        if (kind == BandKind::Detail) {
            moved.pageFirst = moved.pageLast = ctx.recordIndex;
        }
        inst = measure(kind, moved);
    }
    // Whatever does not fit on an empty page is cut off at the footer, so
    // the layout always moves on.
    const int height = std::max(0, std::min(inst.height, m_limit - m_y));
    append(kind, ctx, std::move(inst), height);
    m_body = true;
}

void Layouter::startPage(bool first)
{
    m_layout.pages.append(LayoutPage());
    m_y = m_content.top();
    m_limit = m_content.bottom() + 1 - m_tpl.band(BandKind::PageFooter).height;
    m_body = false;
    const int headerRecord = m_nextRecord < m_data.count() ? m_nextRecord : m_data.count() - 1;
    if (first && hasBand(BandKind::ReportHeader)) {
        place(BandKind::ReportHeader, contextFor(headerRecord), false);
    }
    const bool reportHeaderPlaced = m_body;
    if (hasBand(BandKind::PageHeader))
        place(BandKind::PageHeader, contextFor(headerRecord), false);
    if (hasBand(BandKind::DetailHeader))
        place(BandKind::DetailHeader, contextFor(headerRecord), false);
    // Repeated headers alone do not make a page worth leaving.
    m_body = reportHeaderPlaced;
}

void Layouter::finishPage()
{
    if (!hasBand(BandKind::PageFooter))
        return;
    const LayoutPage &page = m_layout.pages.last();
    const int record = page.lastRecord >= 0 ? page.lastRecord : std::min(m_nextRecord, m_data.count() - 1);
    const Context ctx = contextFor(record);
    Instance inst = measure(BandKind::PageFooter, ctx);
    // The footer keeps its height; it was reserved on the page.
    m_y = m_limit;
    const int height = m_tpl.band(BandKind::PageFooter).height;
    append(BandKind::PageFooter, ctx, std::move(inst), std::min(height, m_content.bottom() + 1 - m_y));
}

ReportLayout Layouter::run()
{
    m_layout.tpl = m_tpl;
    startPage(true);
    if (hasBand(BandKind::Detail)) {
        for (m_nextRecord = 0; m_nextRecord < m_data.count(); ++m_nextRecord) {
            Context ctx = contextFor(m_nextRecord);
            // The record joins the page before it is measured so that
            // [#PageSum] in the band includes it.
            if (ctx.pageFirst < 0)
                ctx.pageFirst = m_nextRecord;
            ctx.pageLast = m_nextRecord;
            place(BandKind::Detail, ctx, true);
            LayoutPage &page = m_layout.pages.last();
            if (page.firstRecord < 0)
                page.firstRecord = m_nextRecord;
            page.lastRecord = m_nextRecord;
        }
    }
    m_nextRecord = m_data.count();
    if (hasBand(BandKind::Summary))
        place(BandKind::Summary, contextFor(m_data.count() - 1), true);
    finishPage();

    // Second pass: the number of pages is known now.
    const QString pages = QString::number(m_layout.pages.size());
    for (const auto &[page, bandIndex] : m_pagesMarks) {
        PlacedBand &band = m_layout.pages[page].bands[bandIndex];
        for (PlacedItem &item : band.items) {
            if (!item.text.contains(PagesMark))
                continue;
            item.text.replace(PagesMark, pages);
            if (item.wrapped) {
                const CompiledItem &ci = m_bands[int(band.kind)].items[item.item];
                item.lines = m_measurer.wrap(item.text, ci.font, item.rect.width() - 2 * TextPaddingX);
            }
        }
    }
    return std::move(m_layout);
}

} // namespace

ReportLayout layoutReport(const ReportTemplate &tpl, const ReportData &data, const QString &title)
{
    Layouter layouter(tpl, data, title);
    return layouter.run();
}

} // namespace report
