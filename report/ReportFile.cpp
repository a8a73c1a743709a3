#include "report/ReportFile.h"

#include <QColor>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>
#include <cmath>

namespace report {

namespace {

const QString FormatName = QStringLiteral("purfp-report");
constexpr int FormatVersion = 1;
// Largest length accepted anywhere in a file: 10 metres.
constexpr int MaxLength = 100000;

QString hAlignKey(HAlign a)
{
    switch (a) {
    case HAlign::Left: return QStringLiteral("left");
    case HAlign::Center: return QStringLiteral("center");
    case HAlign::Right: return QStringLiteral("right");
    }
    return QString();
}

QString vAlignKey(VAlign a)
{
    switch (a) {
    case VAlign::Top: return QStringLiteral("top");
    case VAlign::Center: return QStringLiteral("center");
    case VAlign::Bottom: return QStringLiteral("bottom");
    }
    return QString();
}

QJsonObject fontToJson(const FontSpec &f)
{
    return QJsonObject{{QStringLiteral("family"), f.family},
                       {QStringLiteral("size"), f.size},
                       {QStringLiteral("bold"), f.bold},
                       {QStringLiteral("italic"), f.italic},
                       {QStringLiteral("underline"), f.underline}};
}

QJsonObject frameToJson(const Frame &f)
{
    return QJsonObject{{QStringLiteral("left"), f.left},   {QStringLiteral("top"), f.top},
                       {QStringLiteral("right"), f.right}, {QStringLiteral("bottom"), f.bottom},
                       {QStringLiteral("width"), f.width}};
}

QJsonObject itemToJson(const ReportItem &item)
{
    QJsonObject o;
    o.insert(QStringLiteral("type"), itemKindKey(item.kind));
    o.insert(QStringLiteral("name"), item.name);
    o.insert(QStringLiteral("x"), item.geometry.x());
    o.insert(QStringLiteral("y"), item.geometry.y());
    o.insert(QStringLiteral("width"), item.geometry.width());
    o.insert(QStringLiteral("height"), item.geometry.height());
    o.insert(QStringLiteral("color"), item.color);
    switch (item.kind) {
    case ItemKind::Text:
        o.insert(QStringLiteral("text"), item.text);
        o.insert(QStringLiteral("format"), item.format);
        o.insert(QStringLiteral("font"), fontToJson(item.font));
        o.insert(QStringLiteral("align"), hAlignKey(item.align));
        o.insert(QStringLiteral("valign"), vAlignKey(item.valign));
        o.insert(QStringLiteral("frame"), frameToJson(item.frame));
        o.insert(QStringLiteral("wordWrap"), item.wordWrap);
        o.insert(QStringLiteral("canGrow"), item.canGrow);
        o.insert(QStringLiteral("fillColor"), item.fillColor);
        break;
    case ItemKind::Line:
        o.insert(QStringLiteral("lineWidth"), item.lineWidth);
        o.insert(QStringLiteral("lineStyle"), lineStyleKey(item.lineStyle));
        break;
    case ItemKind::Rect:
        o.insert(QStringLiteral("lineWidth"), item.lineWidth);
        o.insert(QStringLiteral("lineStyle"), lineStyleKey(item.lineStyle));
        o.insert(QStringLiteral("fillColor"), item.fillColor);
        break;
    case ItemKind::Image:
        o.insert(QStringLiteral("png"), QString::fromLatin1(item.png.toBase64()));
        o.insert(QStringLiteral("keepAspect"), item.keepAspect);
        break;
    }
    return o;
}

// Reads one JSON object, remembering where it is in the document so that an
// error names the place ("bands[3].items[2].x").
class Reader {
public:
    Reader(const QJsonObject &o, QString path) : m_o(o), m_path(std::move(path)) {}

    QString where(const QString &key) const { return m_path.isEmpty() ? key : m_path + u'.' + key; }

    bool has(const QString &key) const { return m_o.contains(key); }

    bool integer(const QString &key, int *out, int min, int max, QString *error, bool required = false) const
    {
        if (!m_o.contains(key)) {
            if (required)
                *error = QStringLiteral("缺少 %1").arg(where(key));
            return !required;
        }
        const QJsonValue v = m_o.value(key);
        const double d = v.toDouble(std::nan(""));
        if (!v.isDouble() || std::isnan(d) || d != std::floor(d) || d < min || d > max) {
            *error = QStringLiteral("%1 应为 %2 到 %3 之间的整数").arg(where(key)).arg(min).arg(max);
            return false;
        }
        *out = int(d);
        return true;
    }

    bool number(const QString &key, double *out, double min, double max, QString *error) const
    {
        if (!m_o.contains(key))
            return true;
        const QJsonValue v = m_o.value(key);
        if (!v.isDouble() || !(v.toDouble() >= min && v.toDouble() <= max)) {
            *error = QStringLiteral("%1 应为 %2 到 %3 之间的数").arg(where(key)).arg(min).arg(max);
            return false;
        }
        *out = v.toDouble();
        return true;
    }

    bool boolean(const QString &key, bool *out, QString *error) const
    {
        if (!m_o.contains(key))
            return true;
        const QJsonValue v = m_o.value(key);
        if (!v.isBool()) {
            *error = QStringLiteral("%1 应为 true 或 false").arg(where(key));
            return false;
        }
        *out = v.toBool();
        return true;
    }

    bool string(const QString &key, QString *out, QString *error) const
    {
        if (!m_o.contains(key))
            return true;
        const QJsonValue v = m_o.value(key);
        if (!v.isString()) {
            *error = QStringLiteral("%1 应为文本").arg(where(key));
            return false;
        }
        *out = v.toString();
        return true;
    }

    bool color(const QString &key, QString *out, bool allowEmpty, QString *error) const
    {
        QString s = *out;
        if (!string(key, &s, error))
            return false;
        if (!(allowEmpty && s.isEmpty()) && !QColor::isValidColorName(s)) {
            *error = QStringLiteral("%1 不是有效的颜色：%2").arg(where(key), s);
            return false;
        }
        *out = s;
        return true;
    }

    // One of the given keys, by position.
    bool choice(const QString &key, const QStringList &keys, int *out, QString *error) const
    {
        QString s;
        if (!m_o.contains(key))
            return true;
        if (!string(key, &s, error))
            return false;
        const int i = keys.indexOf(s);
        if (i < 0) {
            *error = QStringLiteral("%1 的值“%2”无效（可用：%3）").arg(where(key), s, keys.join(QStringLiteral("、")));
            return false;
        }
        *out = i;
        return true;
    }

    bool object(const QString &key, QJsonObject *out, QString *error, bool required = false) const
    {
        if (!m_o.contains(key)) {
            if (required)
                *error = QStringLiteral("缺少 %1").arg(where(key));
            return !required;
        }
        if (!m_o.value(key).isObject()) {
            *error = QStringLiteral("%1 应为对象").arg(where(key));
            return false;
        }
        *out = m_o.value(key).toObject();
        return true;
    }

    bool array(const QString &key, QJsonArray *out, QString *error, bool required = false) const
    {
        if (!m_o.contains(key)) {
            if (required)
                *error = QStringLiteral("缺少 %1").arg(where(key));
            return !required;
        }
        if (!m_o.value(key).isArray()) {
            *error = QStringLiteral("%1 应为数组").arg(where(key));
            return false;
        }
        *out = m_o.value(key).toArray();
        return true;
    }

private:
    QJsonObject m_o;
    QString m_path;
};

bool readFont(const QJsonObject &o, const QString &path, FontSpec *f, QString *error)
{
    Reader r(o, path);
    return r.string(QStringLiteral("family"), &f->family, error)
        && r.number(QStringLiteral("size"), &f->size, 0, 400, error)
        && r.boolean(QStringLiteral("bold"), &f->bold, error)
        && r.boolean(QStringLiteral("italic"), &f->italic, error)
        && r.boolean(QStringLiteral("underline"), &f->underline, error);
}

bool readFrame(const QJsonObject &o, const QString &path, Frame *f, QString *error)
{
    Reader r(o, path);
    return r.boolean(QStringLiteral("left"), &f->left, error) && r.boolean(QStringLiteral("top"), &f->top, error)
        && r.boolean(QStringLiteral("right"), &f->right, error)
        && r.boolean(QStringLiteral("bottom"), &f->bottom, error)
        && r.integer(QStringLiteral("width"), &f->width, 0, 100, error);
}

bool readItem(const QJsonObject &o, const QString &path, ReportItem *item, QString *error)
{
    Reader r(o, path);
    static const QStringList kinds{QStringLiteral("text"), QStringLiteral("line"), QStringLiteral("rect"),
                                   QStringLiteral("image")};
    int kind = -1;
    if (!r.has(QStringLiteral("type"))) {
        *error = QStringLiteral("缺少 %1").arg(r.where(QStringLiteral("type")));
        return false;
    }
    if (!r.choice(QStringLiteral("type"), kinds, &kind, error))
        return false;
    item->kind = ItemKind(kind);
    int x = 0, y = 0, w = 0, h = 0;
    if (!r.integer(QStringLiteral("x"), &x, -MaxLength, MaxLength, error, true)
        || !r.integer(QStringLiteral("y"), &y, -MaxLength, MaxLength, error, true)
        || !r.integer(QStringLiteral("width"), &w, 0, MaxLength, error, true)
        || !r.integer(QStringLiteral("height"), &h, 0, MaxLength, error, true))
        return false;
    item->geometry = QRect(x, y, w, h);
    if (!r.string(QStringLiteral("name"), &item->name, error)
        || !r.color(QStringLiteral("color"), &item->color, false, error))
        return false;

    static const QStringList hAligns{QStringLiteral("left"), QStringLiteral("center"), QStringLiteral("right")};
    static const QStringList vAligns{QStringLiteral("top"), QStringLiteral("center"), QStringLiteral("bottom")};
    static const QStringList lineStyles{lineStyleKey(LineStyle::Solid), lineStyleKey(LineStyle::Dash),
                                        lineStyleKey(LineStyle::Dot)};
    int lineStyle = int(item->lineStyle);
    switch (item->kind) {
    case ItemKind::Text: {
        int ha = int(item->align), va = int(item->valign);
        QJsonObject font, frame;
        if (!r.string(QStringLiteral("text"), &item->text, error)
            || !r.string(QStringLiteral("format"), &item->format, error)
            || !r.object(QStringLiteral("font"), &font, error)
            || !readFont(font, r.where(QStringLiteral("font")), &item->font, error)
            || !r.choice(QStringLiteral("align"), hAligns, &ha, error)
            || !r.choice(QStringLiteral("valign"), vAligns, &va, error)
            || !r.object(QStringLiteral("frame"), &frame, error)
            || !readFrame(frame, r.where(QStringLiteral("frame")), &item->frame, error)
            || !r.boolean(QStringLiteral("wordWrap"), &item->wordWrap, error)
            || !r.boolean(QStringLiteral("canGrow"), &item->canGrow, error)
            || !r.color(QStringLiteral("fillColor"), &item->fillColor, true, error))
            return false;
        item->align = HAlign(ha);
        item->valign = VAlign(va);
        break;
    }
    case ItemKind::Line:
        if (!r.integer(QStringLiteral("lineWidth"), &item->lineWidth, 0, 100, error)
            || !r.choice(QStringLiteral("lineStyle"), lineStyles, &lineStyle, error))
            return false;
        item->lineStyle = LineStyle(lineStyle);
        break;
    case ItemKind::Rect:
        if (!r.integer(QStringLiteral("lineWidth"), &item->lineWidth, 0, 100, error)
            || !r.choice(QStringLiteral("lineStyle"), lineStyles, &lineStyle, error)
            || !r.color(QStringLiteral("fillColor"), &item->fillColor, true, error))
            return false;
        item->lineStyle = LineStyle(lineStyle);
        break;
    case ItemKind::Image: {
        QString base64;
        if (!r.string(QStringLiteral("png"), &base64, error)
            || !r.boolean(QStringLiteral("keepAspect"), &item->keepAspect, error))
            return false;
        const auto decoded = QByteArray::fromBase64Encoding(base64.toLatin1(), QByteArray::AbortOnBase64DecodingErrors);
        if (!decoded || (!decoded.decoded.isEmpty() && !decoded.decoded.startsWith("\x89PNG\r\n\x1a\n"))) {
            *error = QStringLiteral("%1 不是 Base64 编码的 PNG 图片").arg(r.where(QStringLiteral("png")));
            return false;
        }
        item->png = decoded.decoded;
        break;
    }
    }
    return true;
}

void setError(QString *error, const QString &text)
{
    if (error)
        *error = text;
}

} // namespace

QByteArray templateToJson(const ReportTemplate &tpl)
{
    QJsonObject root;
    root.insert(QStringLiteral("format"), FormatName);
    root.insert(QStringLiteral("version"), FormatVersion);
    root.insert(QStringLiteral("units"), QStringLiteral("0.1mm"));
    root.insert(QStringLiteral("title"), tpl.title);
    const PageSettings &p = tpl.page;
    root.insert(QStringLiteral("page"),
                QJsonObject{{QStringLiteral("paper"), p.paper},
                            {QStringLiteral("width"), p.width},
                            {QStringLiteral("height"), p.height},
                            {QStringLiteral("orientation"), p.orientation == Orientation::Landscape
                                                                ? QStringLiteral("landscape")
                                                                : QStringLiteral("portrait")},
                            {QStringLiteral("margins"), QJsonObject{{QStringLiteral("left"), p.margins.left},
                                                                    {QStringLiteral("top"), p.margins.top},
                                                                    {QStringLiteral("right"), p.margins.right},
                                                                    {QStringLiteral("bottom"), p.margins.bottom}}}});
    root.insert(QStringLiteral("font"), QJsonObject{{QStringLiteral("family"), tpl.fontFamily},
                                                    {QStringLiteral("size"), tpl.fontSize}});
    QJsonArray bands;
    for (const Band &band : tpl.bands) {
        QJsonArray items;
        for (const ReportItem &item : band.items)
            items.append(itemToJson(item));
        bands.append(QJsonObject{{QStringLiteral("kind"), bandKindKey(band.kind)},
                                 {QStringLiteral("height"), band.height},
                                 {QStringLiteral("items"), items}});
    }
    root.insert(QStringLiteral("bands"), bands);
    return QJsonDocument(root).toJson(QJsonDocument::Indented);
}

std::optional<ReportTemplate> templateFromJson(const QByteArray &input, QString *errorOut)
{
    QByteArray bytes = input;
    if (bytes.startsWith("\xEF\xBB\xBF"))
        bytes.remove(0, 3);
    QString error;
    auto fail = [&](const QString &text) {
        setError(errorOut, QStringLiteral("报表模板无法读取：%1").arg(text));
        return std::nullopt;
    };
    if (bytes.trimmed().isEmpty())
        return fail(QStringLiteral("文件为空"));
    QJsonParseError parseError;
    const QJsonDocument doc = QJsonDocument::fromJson(bytes, &parseError);
    if (parseError.error != QJsonParseError::NoError)
        return fail(QStringLiteral("不是有效的 JSON（位置 %1：%2）").arg(parseError.offset).arg(parseError.errorString()));
    if (!doc.isObject())
        return fail(QStringLiteral("顶层应为对象"));
    const QJsonObject root = doc.object();
    if (root.value(QStringLiteral("format")).toString() != FormatName)
        return fail(QStringLiteral("不是报表模板文件（format 应为 \"%1\"）").arg(FormatName));
    Reader r(root, QString());
    int version = 0;
    if (!r.integer(QStringLiteral("version"), &version, 1, 1000000, &error, true))
        return fail(error);
    if (version > FormatVersion)
        return fail(QStringLiteral("模板版本 %1 比本程序支持的版本 %2 新").arg(version).arg(FormatVersion));
    QString units = QStringLiteral("0.1mm");
    if (!r.string(QStringLiteral("units"), &units, &error))
        return fail(error);
    if (units != QStringLiteral("0.1mm"))
        return fail(QStringLiteral("不支持的长度单位：%1").arg(units));

    ReportTemplate tpl;
    if (!r.string(QStringLiteral("title"), &tpl.title, &error))
        return fail(error);

    QJsonObject page;
    if (!r.object(QStringLiteral("page"), &page, &error, true))
        return fail(error);
    Reader pr(page, QStringLiteral("page"));
    int orientation = 0;
    if (!pr.string(QStringLiteral("paper"), &tpl.page.paper, &error)
        || !pr.integer(QStringLiteral("width"), &tpl.page.width, 100, MaxLength, &error, true)
        || !pr.integer(QStringLiteral("height"), &tpl.page.height, 100, MaxLength, &error, true)
        || !pr.choice(QStringLiteral("orientation"), {QStringLiteral("portrait"), QStringLiteral("landscape")},
                      &orientation, &error))
        return fail(error);
    tpl.page.orientation = Orientation(orientation);
    QJsonObject margins;
    if (!pr.object(QStringLiteral("margins"), &margins, &error))
        return fail(error);
    Reader mr(margins, QStringLiteral("page.margins"));
    Margins &m = tpl.page.margins;
    if (!mr.integer(QStringLiteral("left"), &m.left, 0, MaxLength, &error)
        || !mr.integer(QStringLiteral("top"), &m.top, 0, MaxLength, &error)
        || !mr.integer(QStringLiteral("right"), &m.right, 0, MaxLength, &error)
        || !mr.integer(QStringLiteral("bottom"), &m.bottom, 0, MaxLength, &error))
        return fail(error);
    if (tpl.page.contentRect().width() < 10 || tpl.page.contentRect().height() < 10)
        return fail(QStringLiteral("页边距过大，纸张上没有可打印的区域"));

    QJsonObject font;
    if (!r.object(QStringLiteral("font"), &font, &error))
        return fail(error);
    Reader fr(font, QStringLiteral("font"));
    if (!fr.string(QStringLiteral("family"), &tpl.fontFamily, &error)
        || !fr.number(QStringLiteral("size"), &tpl.fontSize, 1, 400, &error))
        return fail(error);

    QJsonArray bands;
    if (!r.array(QStringLiteral("bands"), &bands, &error, true))
        return fail(error);
    QVector<bool> seen(BandKindCount, false);
    QStringList kindKeys;
    for (int k = 0; k < BandKindCount; ++k)
        kindKeys << bandKindKey(BandKind(k));
    for (int b = 0; b < bands.size(); ++b) {
        const QString where = QStringLiteral("bands[%1]").arg(b);
        if (!bands.at(b).isObject())
            return fail(QStringLiteral("%1 应为对象").arg(where));
        Reader br(bands.at(b).toObject(), where);
        int kind = -1;
        if (!br.has(QStringLiteral("kind")))
            return fail(QStringLiteral("缺少 %1.kind").arg(where));
        if (!br.choice(QStringLiteral("kind"), kindKeys, &kind, &error))
            return fail(error);
        if (seen[kind])
            return fail(QStringLiteral("%1：区域“%2”出现了两次").arg(where, kindKeys[kind]));
        seen[kind] = true;
        Band &band = tpl.bands[kind];
        if (!br.integer(QStringLiteral("height"), &band.height, 0, MaxLength, &error, true))
            return fail(error);
        QJsonArray items;
        if (!br.array(QStringLiteral("items"), &items, &error))
            return fail(error);
        for (int i = 0; i < items.size(); ++i) {
            const QString itemWhere = QStringLiteral("%1.items[%2]").arg(where).arg(i);
            if (!items.at(i).isObject())
                return fail(QStringLiteral("%1 应为对象").arg(itemWhere));
            ReportItem item;
            if (!readItem(items.at(i).toObject(), itemWhere, &item, &error))
                return fail(error);
            band.items.append(item);
        }
    }
    return tpl;
}

bool saveTemplate(const ReportTemplate &tpl, const QString &path, QString *error)
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        setError(error, QStringLiteral("无法写入文件 %1：%2").arg(path, file.errorString()));
        return false;
    }
    file.write(templateToJson(tpl));
    if (!file.commit()) {
        setError(error, QStringLiteral("无法写入文件 %1：%2").arg(path, file.errorString()));
        return false;
    }
    return true;
}

std::optional<ReportTemplate> loadTemplate(const QString &path, QString *error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        setError(error, QStringLiteral("无法打开报表模板 %1：%2").arg(path, file.errorString()));
        return std::nullopt;
    }
    return templateFromJson(file.readAll(), error);
}

} // namespace report
