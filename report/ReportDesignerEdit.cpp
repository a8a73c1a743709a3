// The designer's formatting toolbar and the editing commands behind it:
// images, font style, colours, lines, text wrapping and alignment, copy and
// paste, aligning and sizing a selection, zoom, and templates in files.
#include "report/ReportDesigner.h"

#include "platform/Prompt.h"
#include "report/ReportFile.h"
#include "report/ReportPainter.h"
#include "report/ReportText.h"

#include <QAction>
#include <QActionGroup>
#include <QApplication>
#include <QBuffer>
#include <QClipboard>
#include <QColorDialog>
#include <QFileInfo>
#include <QGraphicsScene>
#include <QGraphicsView>
#include <QImage>
#include <QLabel>
#include <QMenu>
#include <QMimeData>
#include <QToolBar>
#include <QToolButton>
#include <QUndoStack>

#include <algorithm>

namespace report {

namespace {

// The clipboard's format for items copied in the designer: a template
// holding only them, in their bands.
const QString ItemsMimeType = QStringLiteral("application/x-purfp-report-items");
// Line widths offered, in tenths of a millimetre.
constexpr int LineWidths[] = {1, 2, 3, 5, 8, 10};
// The widest an inserted image starts, and its least size, in tenths.
constexpr int ImageStartWidth = 400;
constexpr int MinImageSize = 10;
// The largest picture kept, in pixels along either side.
constexpr int MaxImagePixels = 1200;
const QString TemplateFilter = QStringLiteral("单据打印模板文件(*.grf)|*.grf");

bool isText(const ReportItem &item) { return item.kind == ItemKind::Text; }
bool isStroked(const ReportItem &item) { return item.kind == ItemKind::Line || item.kind == ItemKind::Rect; }

} // namespace

QAction *ReportDesigner::addToolAction(QToolBar *bar, const QString &name, const QString &text, const QString &tip,
                                       std::function<void()> slot)
{
    QAction *a = bar->addAction(text);
    a->setObjectName(name);
    a->setToolTip(tip);
    a->setStatusTip(tip);
    connect(a, &QAction::triggered, this, [slot = std::move(slot)] { slot(); });
    m_actions.insert(name, a);
    return a;
}

void ReportDesigner::buildFormatActions()
{
    m_formatBar = new QToolBar(this);
    m_formatBar->setObjectName(QStringLiteral("formatToolbar"));
    QToolBar *bar = m_formatBar;
    m_chooseColor = [this](const QString &current, const QString &caption) {
        const QColor c = QColorDialog::getColor(QColor(current.isEmpty() ? QStringLiteral("#ffffff") : current), this, caption);
        return c.isValid() ? c.name() : QString();
    };
    addToolAction(m_toolbar, QStringLiteral("actInsertImage"), QStringLiteral("图片"),
                  QStringLiteral("插入图片（如公司标志），图片保存在模板中"), [this] { actInsertImage_Triggered(); });
    m_toolbar->addSeparator();
    addToolAction(m_toolbar, QStringLiteral("actImportTemplate"), QStringLiteral("导入"),
                  QStringLiteral("从文件导入模板，替换当前模板（可撤销）"), [this] { actImportTemplate_Triggered(); });
    addToolAction(m_toolbar, QStringLiteral("actExportTemplate"), QStringLiteral("导出"),
                  QStringLiteral("把当前模板导出为文件"), [this] { actExportTemplate_Triggered(); });

    QAction *copy = addToolAction(bar, QStringLiteral("actCopy"), QStringLiteral("复制"),
                                  QStringLiteral("复制选中的对象 (Ctrl+C)"), [this] { copySelected(); });
    copy->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_C));
    QAction *pasteAction = addToolAction(bar, QStringLiteral("actPaste"), QStringLiteral("粘贴"),
                                         QStringLiteral("粘贴复制的对象，位置略向右下错开 (Ctrl+V)"), [this] { paste(); });
    pasteAction->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_V));
    bar->addSeparator();

    QAction *italic = addToolAction(bar, QStringLiteral("actItalic"), QStringLiteral("斜体"),
                                    QStringLiteral("文字用斜体"), [] {});
    QAction *underline = addToolAction(bar, QStringLiteral("actUnderline"), QStringLiteral("下划线"),
                                       QStringLiteral("文字加下划线"), [] {});
    QAction *wrap = addToolAction(bar, QStringLiteral("actWordWrap"), QStringLiteral("换行"),
                                  QStringLiteral("文字超出宽度时自动换行（多行文字）"), [] {});
    for (QAction *a : {italic, underline, wrap})
        a->setCheckable(true);
    connect(italic, &QAction::triggered, this, [this](bool on) { setItalic(on); });
    connect(underline, &QAction::triggered, this, [this](bool on) { setUnderline(on); });
    connect(wrap, &QAction::triggered, this, [this](bool on) { setWordWrap(on); });
    addToolAction(bar, QStringLiteral("actTextColor"), QStringLiteral("颜色"),
                  QStringLiteral("文字颜色；线和框的线条颜色"), [this] { actTextColor_Triggered(); });
    addToolAction(bar, QStringLiteral("actFillColor"), QStringLiteral("填充"),
                  QStringLiteral("文字和框的底色"), [this] { actFillColor_Triggered(); });

    // Line width and style choose from a menu under the button.
    auto menuAction = [this, bar](const QString &name, const QString &text, const QString &tip) {
        QAction *a = addToolAction(bar, name, text, tip, [] {});
        auto *menu = new QMenu(this);
        menu->setObjectName(name + QStringLiteral("Menu"));
        a->setMenu(menu);
        if (auto *button = qobject_cast<QToolButton *>(bar->widgetForAction(a)))
            button->setPopupMode(QToolButton::InstantPopup);
        return menu;
    };
    QMenu *widths = menuAction(QStringLiteral("actLineWidth"), QStringLiteral("线宽"),
                               QStringLiteral("线、框和文字边框的线宽"));
    for (int w : LineWidths) {
        QAction *a = widths->addAction(QStringLiteral("%1 mm").arg(w / 10.0));
        a->setObjectName(QStringLiteral("lineWidth%1").arg(w));
        a->setData(w);
        connect(a, &QAction::triggered, this, [this, w] { setLineWidth(w); });
    }
    QMenu *styles = menuAction(QStringLiteral("actLineStyle"), QStringLiteral("线型"),
                               QStringLiteral("线和框的线型：实线、虚线或点线"));
    const std::pair<LineStyle, QString> styleNames[] = {
        {LineStyle::Solid, QStringLiteral("实线")}, {LineStyle::Dash, QStringLiteral("虚线")}, {LineStyle::Dot, QStringLiteral("点线")}};
    for (const auto &[style, caption] : styleNames) {
        QAction *a = styles->addAction(caption);
        const QString key = lineStyleKey(style);
        a->setObjectName(QStringLiteral("lineStyle") + key.left(1).toUpper() + key.mid(1));
        connect(a, &QAction::triggered, this, [this, style] { setLineStyle(style); });
    }
    bar->addSeparator();

    auto *vAligns = new QActionGroup(this);
    const std::tuple<const char *, VAlign, const char16_t *, const char16_t *> vAlignActions[] = {
        {"actVAlignTop", VAlign::Top, u"顶端", u"文字靠上"},
        {"actVAlignMiddle", VAlign::Center, u"居中", u"文字上下居中"},
        {"actVAlignBottom", VAlign::Bottom, u"底端", u"文字靠下"}};
    for (const auto &[name, align, text, tip] : vAlignActions) {
        const VAlign v = align;
        QAction *a = addToolAction(bar, QString::fromLatin1(name), QString::fromUtf16(text), QString::fromUtf16(tip),
                                   [this, v] { setVAlign(v); });
        a->setCheckable(true);
        vAligns->addAction(a);
    }
    bar->addSeparator();

    const std::tuple<const char *, Edge, const char16_t *, const char16_t *> edgeActions[] = {
        {"actAlignLeft", Edge::Left, u"左齐", u"选中的对象左边对齐"},
        {"actAlignRight", Edge::Right, u"右齐", u"选中的对象右边对齐"},
        {"actAlignTop", Edge::Top, u"上齐", u"选中的对象上边对齐"},
        {"actAlignBottom", Edge::Bottom, u"下齐", u"选中的对象下边对齐"}};
    for (const auto &[name, edge, text, tip] : edgeActions) {
        const Edge e = edge;
        addToolAction(bar, QString::fromLatin1(name), QString::fromUtf16(text), QString::fromUtf16(tip),
                      [this, e] { alignSelected(e); });
    }
    addToolAction(bar, QStringLiteral("actSameWidth"), QStringLiteral("等宽"),
                  QStringLiteral("选中的对象与最后点选的对象同宽"), [this] { sameSize(Qt::Horizontal); });
    addToolAction(bar, QStringLiteral("actSameHeight"), QStringLiteral("等高"),
                  QStringLiteral("选中的对象与最后点选的对象同高"), [this] { sameSize(Qt::Vertical); });
    bar->addSeparator();

    QAction *out = addToolAction(bar, QStringLiteral("actZoomOut"), QStringLiteral("缩小"),
                                 QStringLiteral("缩小显示 (Ctrl+-)"), [this] { zoomOut(); });
    out->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Minus));
    m_zoomLabel = new QLabel;
    m_zoomLabel->setObjectName(QStringLiteral("zoomLabel"));
    m_zoomLabel->setMinimumWidth(m_zoomLabel->fontMetrics().horizontalAdvance(QStringLiteral(" 400% ")));
    m_zoomLabel->setAlignment(Qt::AlignCenter);
    bar->addWidget(m_zoomLabel);
    QAction *in = addToolAction(bar, QStringLiteral("actZoomIn"), QStringLiteral("放大"),
                                QStringLiteral("放大显示 (Ctrl++)"), [this] { zoomIn(); });
    in->setShortcuts({QKeySequence(Qt::CTRL | Qt::Key_Plus), QKeySequence(Qt::CTRL | Qt::Key_Equal)});
}

// Checks the toggles after the selection's first item and enables what
// applies to the selection.
void ReportDesigner::updateActions()
{
    const auto refs = selectedItems();
    const ReportItem *first = refs.isEmpty() ? nullptr : &m_tpl.band(refs[0].band).items[refs[0].index];
    const bool text = first && isText(*first);
    auto set = [this](const char *name, bool enabled, bool checked) {
        QAction *a = m_actions.value(QString::fromLatin1(name));
        a->setEnabled(enabled);
        if (a->isCheckable())
            a->setChecked(checked);
    };
    set("actItalic", text, text && first->font.italic);
    set("actUnderline", text, text && first->font.underline);
    set("actWordWrap", text, text && first->wordWrap);
    set("actVAlignTop", text, text && first->valign == VAlign::Top);
    set("actVAlignMiddle", text, text && first->valign == VAlign::Center);
    set("actVAlignBottom", text, text && first->valign == VAlign::Bottom);
    for (const char *name : {"actTextColor", "actFillColor", "actLineWidth", "actLineStyle", "actCopy"})
        set(name, first != nullptr, false);
    for (const char *name : {"actAlignLeft", "actAlignRight", "actAlignTop", "actAlignBottom", "actSameWidth", "actSameHeight"})
        set(name, refs.size() > 1, false);
}

void ReportDesigner::editSelected(const QString &text, const std::function<void(ReportItem &)> &edit)
{
    const auto refs = selectedItems();
    if (refs.isEmpty())
        return;
    ReportTemplate after = m_tpl;
    for (const ItemRef &r : refs)
        edit(after.band(r.band).items[r.index]);
    change(after, text);
}

void ReportDesigner::insertImage(const QByteArray &png)
{
    const QImage image = QImage::fromData(png, "PNG");
    if (image.isNull())
        return;
    const BandKind band = targetBand();
    ReportTemplate after = m_tpl;
    Band &b = after.band(band);
    ReportItem item;
    item.kind = ItemKind::Image;
    item.png = png;
    const int width = std::max(MinImageSize, std::min(ImageStartWidth, snap(image.width() * 2)));
    item.geometry = QRect(0, 0, width, std::max(MinImageSize, width * image.height() / std::max(1, image.width())));
    b.height = std::max(b.height, item.geometry.height());
    b.items.append(item);
    m_pendingSelection = {ItemRef{band, int(b.items.size()) - 1}};
    change(after, QStringLiteral("插入图片"));
}

void ReportDesigner::actInsertImage_Triggered()
{
    const QString path = Prompt::openFileName(QStringLiteral("插入图片"),
                                              QStringLiteral("图片文件(*.png *.jpg *.jpeg *.bmp *.gif)|*.png *.jpg *.jpeg *.bmp *.gif"));
    if (path.isEmpty())
        return;
    QImage image(path);
    if (image.isNull()) {
        Prompt::msgBox(QStringLiteral("无法读取图片文件：%1").arg(path), Prompt::Exclamation, m_messageTitle);
        return;
    }
    // A photo straight from a camera would make every template row
    // megabytes long; this is plenty for a logo printed a few centimetres wide.
    if (image.width() > MaxImagePixels || image.height() > MaxImagePixels)
        image = image.scaled(MaxImagePixels, MaxImagePixels, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    // Stored as PNG whatever it was read from, so that the template carries
    // one known format.
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    insertImage(png);
}

void ReportDesigner::setItalic(bool on)
{
    editSelected(QStringLiteral("斜体"), [on](ReportItem &i) { if (isText(i)) i.font.italic = on; });
}

void ReportDesigner::setUnderline(bool on)
{
    editSelected(QStringLiteral("下划线"), [on](ReportItem &i) { if (isText(i)) i.font.underline = on; });
}

void ReportDesigner::setTextColor(const QString &color)
{
    if (!QColor::isValidColorName(color))
        return;
    editSelected(QStringLiteral("颜色"), [&color](ReportItem &i) { if (i.kind != ItemKind::Image) i.color = color; });
}

void ReportDesigner::setFillColor(const QString &color)
{
    if (!color.isEmpty() && !QColor::isValidColorName(color))
        return;
    editSelected(QStringLiteral("填充"), [&color](ReportItem &i) {
        if (isText(i) || i.kind == ItemKind::Rect)
            i.fillColor = color;
    });
}

void ReportDesigner::setLineWidth(int tenths)
{
    editSelected(QStringLiteral("线宽"), [tenths](ReportItem &i) {
        if (isText(i))
            i.frame.width = tenths;
        else if (isStroked(i))
            i.lineWidth = tenths;
    });
}

void ReportDesigner::setLineStyle(LineStyle style)
{
    editSelected(QStringLiteral("线型"), [style](ReportItem &i) { if (isStroked(i)) i.lineStyle = style; });
}

void ReportDesigner::setWordWrap(bool on)
{
    editSelected(QStringLiteral("换行"), [on](ReportItem &i) { if (isText(i)) i.wordWrap = on; });
}

void ReportDesigner::setVAlign(VAlign align)
{
    editSelected(QStringLiteral("垂直对齐"), [align](ReportItem &i) { if (isText(i)) i.valign = align; });
}

void ReportDesigner::setFormat(const QString &format)
{
    editSelected(QStringLiteral("格式"), [&format](ReportItem &i) { if (isText(i)) i.format = format; });
}

void ReportDesigner::actTextColor_Triggered()
{
    const auto refs = selectedItems();
    if (refs.isEmpty())
        return;
    const QString current = m_tpl.band(refs[0].band).items[refs[0].index].color;
    const QString color = m_chooseColor ? m_chooseColor(current, QStringLiteral("颜色"))
                                        : QString();
    if (!color.isEmpty())
        setTextColor(color);
}

void ReportDesigner::actFillColor_Triggered()
{
    const auto refs = selectedItems();
    if (refs.isEmpty())
        return;
    const QString current = m_tpl.band(refs[0].band).items[refs[0].index].fillColor;
    const QString color = m_chooseColor ? m_chooseColor(current, QStringLiteral("填充颜色")) : QString();
    if (!color.isEmpty())
        setFillColor(color);
}

void ReportDesigner::alignSelected(Edge edge)
{
    const auto refs = selectedItems();
    if (refs.size() < 2)
        return;
    std::optional<int> target;
    for (const ItemRef &r : refs) {
        const QRect g = m_tpl.band(r.band).items[r.index].geometry;
        switch (edge) {
        case Edge::Left: target = std::min(target.value_or(g.left()), g.left()); break;
        case Edge::Right: target = std::max(target.value_or(g.x() + g.width()), g.x() + g.width()); break;
        case Edge::Top: target = std::min(target.value_or(g.top()), g.top()); break;
        case Edge::Bottom: target = std::max(target.value_or(g.y() + g.height()), g.y() + g.height()); break;
        }
    }
    const int t = *target;
    editSelected(QStringLiteral("对齐"), [edge, t](ReportItem &i) {
        QRect &g = i.geometry;
        switch (edge) {
        case Edge::Left: g.moveLeft(t); break;
        case Edge::Right: g.moveLeft(std::max(0, t - g.width())); break;
        case Edge::Top: g.moveTop(t); break;
        case Edge::Bottom: g.moveTop(std::max(0, t - g.height())); break;
        }
    });
}

void ReportDesigner::sameSize(Qt::Orientation orientation)
{
    const auto from = anchor();
    if (!from || selectedItems().size() < 2)
        return;
    const QSize size = m_tpl.band(from->band).items[from->index].geometry.size();
    editSelected(orientation == Qt::Horizontal ? QStringLiteral("等宽") : QStringLiteral("等高"),
                 [orientation, size](ReportItem &i) {
                     if (orientation == Qt::Horizontal)
                         i.geometry.setWidth(size.width());
                     else
                         i.geometry.setHeight(size.height());
                 });
}

void ReportDesigner::copySelected()
{
    const auto refs = selectedItems();
    if (refs.isEmpty())
        return;
    ReportTemplate copied;
    copied.page = m_tpl.page;
    copied.fontFamily = m_tpl.fontFamily;
    copied.fontSize = m_tpl.fontSize;
    QStringList texts;
    for (const ItemRef &r : refs) {
        const ReportItem &item = m_tpl.band(r.band).items[r.index];
        copied.band(r.band).items.append(item);
        if (isText(item))
            texts << item.text;
    }
    auto *mime = new QMimeData;
    mime->setData(ItemsMimeType, templateToJson(copied));
    mime->setText(texts.join(u'\n'));
    QApplication::clipboard()->setMimeData(mime);
    m_pasteCount = 0;
}

void ReportDesigner::paste()
{
    const QMimeData *mime = QApplication::clipboard()->mimeData();
    if (!mime || !mime->hasFormat(ItemsMimeType))
        return;
    const auto copied = templateFromJson(mime->data(ItemsMimeType));
    if (!copied)
        return;
    ++m_pasteCount;
    const int offset = std::max(20, snap(20)) * m_pasteCount;
    ReportTemplate after = m_tpl;
    QVector<ItemRef> pasted;
    for (const Band &band : copied->bands) {
        Band &target = after.band(band.kind);
        for (ReportItem item : band.items) {
            item.geometry.translate(offset, offset);
            target.items.append(item);
            pasted.append(ItemRef{band.kind, int(target.items.size()) - 1});
        }
    }
    if (pasted.isEmpty())
        return;
    m_pendingSelection = pasted;
    change(after, QStringLiteral("粘贴"));
}

const QVector<int> &ReportDesigner::zoomSteps()
{
    static const QVector<int> steps{25, 50, 75, 100, 125, 150, 200, 300, 400};
    return steps;
}

void ReportDesigner::setZoom(int percent)
{
    m_zoom = std::clamp(percent, zoomSteps().first(), zoomSteps().last());
    // Tenths to the screen's pixels at 100%.
    const double scale = logicalDpiX() / TenthsPerInch * m_zoom / 100.0;
    m_view->setTransform(QTransform::fromScale(scale, scale));
    if (m_zoomLabel)
        m_zoomLabel->setText(QStringLiteral("%1%").arg(m_zoom));
    m_actions.value(QStringLiteral("actZoomIn"))->setEnabled(m_zoom < zoomSteps().last());
    m_actions.value(QStringLiteral("actZoomOut"))->setEnabled(m_zoom > zoomSteps().first());
}

void ReportDesigner::zoomIn()
{
    const auto &steps = zoomSteps();
    const auto next = std::upper_bound(steps.begin(), steps.end(), m_zoom);
    setZoom(next == steps.end() ? steps.last() : *next);
}

void ReportDesigner::zoomOut()
{
    const auto &steps = zoomSteps();
    const auto next = std::lower_bound(steps.begin(), steps.end(), m_zoom);
    setZoom(next == steps.begin() ? steps.first() : *(next - 1));
}

bool ReportDesigner::importTemplate(const QString &path, QString *error)
{
    const auto tpl = loadTemplate(path, error);
    if (!tpl)
        return false;
    clearSelection();
    change(*tpl, QStringLiteral("导入模板"));
    return true;
}

void ReportDesigner::actImportTemplate_Triggered()
{
    const QString path = Prompt::openFileName(QStringLiteral("导入模板"), TemplateFilter);
    if (path.trimmed().isEmpty())
        return;
    QString error;
    if (!importTemplate(path, &error))
        Prompt::msgBox(error, Prompt::Exclamation, m_messageTitle);
}

void ReportDesigner::actExportTemplate_Triggered()
{
    QString path = Prompt::saveFileName(QStringLiteral("另存为"), TemplateFilter);
    if (path.trimmed().isEmpty())
        return;
    if (QFileInfo(path).suffix().isEmpty())
        path += QStringLiteral(".grf");
    // A copy in a file does not save the template where it came from, so the
    // designer stays modified.
    QString error;
    if (!exportTemplate(path, &error)) {
        Prompt::msgBox(error, Prompt::Critical, m_messageTitle);
        return;
    }
    Prompt::msgBox(QStringLiteral("文件导出成功!"), Prompt::Information, m_messageTitle);
}

bool ReportDesigner::exportTemplate(const QString &path, QString *error) const
{
    return saveTemplate(m_tpl, path, error);
}

} // namespace report
