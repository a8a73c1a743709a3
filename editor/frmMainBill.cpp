#include "editor/frmMainBill.h"

#include "printing/BillPrinting.h"

#include "modules/Session.h"
#include "editor/EntryGridModel.h"
#include "editor/EntryTotalsModel.h"
#include "modules/BillAudit.h"
#include "modules/BillNumbering.h"
#include "modules/CodeLookup.h"
#include "modules/CodeSelectors.h"
#include "modules/ConnectionRoutines.h"
#include "modules/Privilege.h"
#include "modules/SetupIni.h"
#include "platform/Clock.h"
#include "platform/DbError.h"
#include "platform/FormShow.h"
#include "platform/FrozenTableView.h"
#include "platform/Prompt.h"
#include "platform/SettingsStore.h"
#include "platform/RowNumberHeader.h"
#include "platform/VbConvert.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QComboBox>
#include <QDateEdit>
#include <QEventLoop>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMenuBar>
#include <QPainter>
#include <QPushButton>
#include <QScrollBar>
#include <QStatusBar>
#include <QStyle>
#include <QTableView>
#include <QToolBar>
#include <QToolButton>
#include <QVBoxLayout>

namespace {
QPointer<frmMainBill> g_default;
std::function<void()> &listRefresher()
{
    static std::function<void()> refresher;
    return refresher;
}
EditorPrintHooks &printHooks()
{
    static EditorPrintHooks hooks;
    return hooks;
}

// Layout of the header area, in pixels. The laid-out fields bring their own
// positions; these are the fixed controls around them.
constexpr int kLabelWidth = 76;
constexpr int kLabelGap = 6;
constexpr int kRowHeight = 24;
constexpr int kTitleTop = 6;
constexpr int kBillNoTop = 40;
constexpr int kFirstColumn = 90;
constexpr int kSecondColumn = 470;

// The toolbar buttons in their order; an empty key is a separator. Button 3
// is Save (kept in split mode); 16 and 17 are the red and blue buttons.
struct ButtonDef {
    const char *key;
    const char16_t *caption;
    QStyle::StandardPixmap icon;
};
const ButtonDef kButtons[] = {
    {"New", u"新增", QStyle::SP_FileIcon},
    {"Copy", u"复制", QStyle::SP_FileDialogDetailedView},
    {"Save", u"保存", QStyle::SP_DialogSaveButton},
    {"", u"", QStyle::SP_CustomBase},
    {"Check", u"审核", QStyle::SP_DialogApplyButton},
    {"", u"", QStyle::SP_CustomBase},
    {"Preview", u"预览", QStyle::SP_FileDialogContentsView},
    {"Print", u"打印", QStyle::SP_DriveFDIcon},
    {"", u"", QStyle::SP_CustomBase},
    {"First", u"首张", QStyle::SP_MediaSkipBackward},
    {"Back", u"上张", QStyle::SP_ArrowLeft},
    {"Next", u"下张", QStyle::SP_ArrowRight},
    {"End", u"末张", QStyle::SP_MediaSkipForward},
    {"", u"", QStyle::SP_CustomBase},
    {"View", u"选择", QStyle::SP_FileDialogListView},
    {"Red", u"红字", QStyle::SP_CustomBase},
    {"Blue", u"蓝字", QStyle::SP_CustomBase},
    {"", u"", QStyle::SP_CustomBase},
    {"Exit", u"退出", QStyle::SP_DialogCloseButton},
};

// Two pages, one over the other.
QIcon copyIcon()
{
    QPixmap pm(32, 32);
    pm.fill(Qt::transparent);
    QPainter p(&pm);
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(QPen(QColor(70, 70, 70), 1.6));
    p.setBrush(QColor(235, 235, 235));
    p.drawRect(QRectF(5, 4, 15, 19));
    p.setBrush(Qt::white);
    p.drawRect(QRectF(12, 9, 15, 19));
    p.setPen(QPen(QColor(120, 120, 120), 1.2));
    for (int y = 14; y <= 24; y += 4)
        p.drawLine(QPointF(15, y), QPointF(24, y));
    return QIcon(pm);
}

// A printer with a sheet coming out.
QIcon printIcon()
{
    QPixmap pm(32, 32);
    pm.fill(Qt::transparent);
    QPainter p(&pm);
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(QPen(QColor(70, 70, 70), 1.6));
    p.setBrush(Qt::white);
    p.drawRect(QRectF(9, 3, 14, 9));
    p.setBrush(QColor(150, 160, 175));
    p.drawRoundedRect(QRectF(3, 11, 26, 12), 2, 2);
    p.setBrush(Qt::white);
    p.drawRect(QRectF(9, 19, 14, 10));
    p.setPen(QPen(QColor(120, 120, 120), 1.2));
    p.drawLine(QPointF(12, 23), QPointF(20, 23));
    p.drawLine(QPointF(12, 26), QPointF(20, 26));
    return QIcon(pm);
}

QIcon colourIcon(const QColor &colour)
{
    QPixmap pm(32, 32);
    pm.fill(Qt::transparent);
    QPainter p(&pm);
    p.setRenderHint(QPainter::Antialiasing);
    p.setBrush(colour);
    p.setPen(colour.darker(130));
    p.drawRoundedRect(QRectF(5, 5, 22, 22), 4, 4);
    return QIcon(pm);
}

// A stamp-like marker: a framed word in the stamp's colour.
QPixmap stamp(const QString &text, const QColor &colour, int width, int height)
{
    const qreal ratio = qApp ? qApp->devicePixelRatio() : 1.0;
    QPixmap pm(QSize(width, height) * ratio);
    pm.setDevicePixelRatio(ratio);
    pm.fill(Qt::transparent);
    QPainter p(&pm);
    p.setRenderHint(QPainter::Antialiasing);
    QPen pen(colour, 3);
    p.setPen(pen);
    p.drawRoundedRect(QRectF(2, 2, width - 4, height - 4), 6, 6);
    QFont f = p.font();
    f.setBold(true);
    f.setPixelSize(height / 2);
    p.setFont(f);
    p.drawText(QRectF(0, 0, width, height), Qt::AlignCenter, text);
    return pm;
}

// Room a code's name needs in its frame: a company name of 16 Chinese
// characters, a common length for registered names, is shown whole.
int codeNameWidth(const QFontMetrics &metrics)
{
    return metrics.horizontalAdvance(QString(16, QChar(0x56FD))) + 12;
}

// A code's name in its frame; a name too long for it is elided. The whole
// name is always the tool tip, so the clerk can read it either way.
void setNameText(QLabel *label, const QString &name)
{
    if (!label)
        return;
    const int room = label->width() - 2 * label->frameWidth() - 4;
    label->setText(label->fontMetrics().elidedText(name, Qt::ElideRight, std::max(room, 10)));
    label->setToolTip(name);
}

// Read-only boxes are drawn grey by the form's style sheet, which must be
// applied again when the property changes.
void setReadOnly(QLineEdit *edit, bool readOnly)
{
    if (edit->isReadOnly() == readOnly)
        return;
    edit->setReadOnly(readOnly);
    edit->style()->unpolish(edit);
    edit->style()->polish(edit);
}

QString optionsApplication()
{
    return QString::number(session().gBillTypeId) + QStringLiteral("frmMainBill");
}
const QString kOptionsSection = QStringLiteral("Options");

int optionValue(const QString &key, const QString &defaultValue)
{
    const QString text = SettingsStore::read(optionsApplication(), kOptionsSection, key, defaultValue);
    try {
        return VbConvert::toInt16(text);
    } catch (const ConversionError &) {
        return VbConvert::toInt16(defaultValue);
    }
}

// The entry finder: its list is made from the grid when it opens, so that
// loading a bill of a thousand entries does not fill it in vain.
class EntryJumpBox : public QComboBox {
public:
    EntryJumpBox(QWidget *parent, std::function<void()> fill)
        : QComboBox(parent), m_fill(std::move(fill))
    {
    }
    void showPopup() override
    {
        m_fill();
        QComboBox::showPopup();
    }

private:
    std::function<void()> m_fill;
};

QString modeWord(int mode)
{
    switch (mode) {
    case 0: return QStringLiteral("新增");
    case 1: return QStringLiteral("修改");
    case 2: return QStringLiteral("拆分");
    case 3: return QStringLiteral("查看");
    default: return {};
    }
}
} // namespace

// --- Default instance --------------------------------------------------------

frmMainBill *frmMainBill::defaultInstance()
{
    if (!g_default) {
        g_default = new frmMainBill;
        g_default->setAttribute(Qt::WA_DeleteOnClose);
        g_default->formLoad();
    }
    return g_default;
}

frmMainBill *frmMainBill::existingInstance()
{
    return g_default;
}

void frmMainBill::showForm(bool modal)
{
    ::showForm(defaultInstance(), modal);
}

void frmMainBill::setListRefresher(std::function<void()> refresher)
{
    listRefresher() = std::move(refresher);
}

void frmMainBill::setPrintHooks(EditorPrintHooks hooks)
{
    printHooks() = std::move(hooks);
}

frmMainBill::frmMainBill(QWidget *parent)
    : QMainWindow(parent)
{
    setObjectName(QStringLiteral("frmMainBill"));
    buildWidgets();
    buildToolbarAndMenus();
}

frmMainBill::~frmMainBill() = default;

// --- Widgets -----------------------------------------------------------------

void frmMainBill::buildWidgets()
{
    auto *central = new QWidget(this);
    auto *column = new QVBoxLayout(central);
    column->setContentsMargins(6, 4, 6, 4);
    column->setSpacing(4);

    m_head = new QWidget(central);
    m_head->setObjectName(QStringLiteral("picHead"));
    column->addWidget(m_head);

    lblTitle = new QLabel(m_head);
    lblTitle->setObjectName(QStringLiteral("lblTitle"));
    QFont titleFont = lblTitle->font();
    titleFont.setPointSize(titleFont.pointSize() + 8);
    titleFont.setBold(true);
    lblTitle->setFont(titleFont);
    lblTitle->setAlignment(Qt::AlignCenter);

    auto makeLabel = [this](const QString &text, int x, int y) {
        auto *l = new QLabel(text, m_head);
        l->setGeometry(x - kLabelWidth - kLabelGap, y, kLabelWidth, kRowHeight);
        l->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
        return l;
    };
    makeLabel(QStringLiteral("单据编号"), kFirstColumn, kBillNoTop)->setObjectName(QStringLiteral("lblBillNo"));
    txtBillNo = new QLineEdit(m_head);
    txtBillNo->setObjectName(QStringLiteral("txtBillNo"));
    txtBillNo->setGeometry(kFirstColumn, kBillNoTop, 200, kRowHeight);
    makeLabel(QStringLiteral("日期"), kSecondColumn, kBillNoTop)->setObjectName(QStringLiteral("lblDate"));
    thdate = new QDateEdit(m_head);
    thdate->setObjectName(QStringLiteral("thdate"));
    thdate->setCalendarPopup(true);
    thdate->setDisplayFormat(QStringLiteral("yyyy-MM-dd"));
    thdate->setGeometry(kSecondColumn, kBillNoTop, 140, kRowHeight);

    lblAmount = new QLabel(QStringLiteral("发票金额"), m_head);
    lblAmount->setObjectName(QStringLiteral("lblAmount"));
    lblAmount->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    txtAmount = new QLineEdit(m_head);
    txtAmount->setObjectName(QStringLiteral("txtAmount"));
    txtAmount->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    cmdList = new QPushButton(QStringLiteral("选入库单"), m_head);
    cmdList->setObjectName(QStringLiteral("cmdList"));
    cmdList->setToolTip(QStringLiteral("列出供应商尚未开完票的入库单"));

    ImgRed = new QLabel(m_head);
    ImgRed->setObjectName(QStringLiteral("ImgRed"));
    ImgRed->setPixmap(stamp(QStringLiteral("红字"), QColor(220, 0, 0), 84, 34));
    ImgRed->resize(84, 34);
    ImgRed->hide();
    ImgCheck = new QLabel(m_head);
    ImgCheck->setObjectName(QStringLiteral("ImgCheck"));
    ImgCheck->setPixmap(stamp(QStringLiteral("已审核"), QColor(200, 20, 20), 100, 34));
    ImgCheck->resize(100, 34);
    ImgCheck->hide();

    m_grid = new EntryGridModel(this);
    fps1 = new FrozenTableView(central);
    fps1->setObjectName(QStringLiteral("fps1"));
    fps1->setWordWrap(false);
    fps1->setModel(m_grid);
    fps1->setItemDelegateForColumn(ColThisAmount - 1, new AmountDelegate(fps1));
    fps1->frozenView()->setItemDelegateForColumn(ColThisAmount - 1, new AmountDelegate(fps1->frozenView()));
    fps1->setEditTriggers(QAbstractItemView::DoubleClicked | QAbstractItemView::EditKeyPressed | QAbstractItemView::AnyKeyPressed
                          | QAbstractItemView::SelectedClicked);
    fps1->setSelectionMode(QAbstractItemView::SingleSelection);
    fps1->setAlternatingRowColors(true);
    fps1->verticalHeader()->setDefaultSectionSize(24);
    const int widths[kEntryColumnCount] = {120, 96, 116, 116, 116, 124, 80, 80, 80, 80};
    for (int c = 0; c < kEntryColumnCount; ++c)
        fps1->setColumnWidth(c, widths[c]);
    // Columns 7 to 10 carry nothing for an invoice.
    for (int c = 7; c <= kEntryColumnCount; ++c)
        fps1->setColumnHidden(c - 1, true);
    fps1->horizontalHeader()->setStretchLastSection(false);
    column->addWidget(fps1, 1);

    // The totals line: the same columns, scrolled and sized with the entries.
    m_totals = new EntryTotalsModel(m_grid, this);
    fps2 = new FrozenTableView(central);
    fps2->setObjectName(QStringLiteral("fps2"));
    fps2->setModel(m_totals);
    fps2->horizontalHeader()->hide();
    fps2->setWordWrap(false);
    fps2->setFocusPolicy(Qt::NoFocus);
    fps2->setSelectionMode(QAbstractItemView::NoSelection);
    fps2->setEditTriggers(QAbstractItemView::NoEditTriggers);
    fps2->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    fps2->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    fps2->verticalHeader()->setDefaultSectionSize(24);
    fps2->setFixedHeight(24 + 2 * fps2->frameWidth());
    for (int c = 0; c < kEntryColumnCount; ++c) {
        fps2->setColumnWidth(c, widths[c]);
        fps2->setColumnHidden(c, fps1->isColumnHidden(c));
    }
    column->addWidget(fps2);
    connect(fps1->horizontalHeader(), &QHeaderView::sectionResized, fps2, [this](int c, int, int width) { fps2->setColumnWidth(c, width); });
    connect(fps1->horizontalScrollBar(), &QAbstractSlider::valueChanged, fps2->horizontalScrollBar(), &QAbstractSlider::setValue);
    // The row labels widen with the row count; the scroll bar comes and goes.
    connect(fps1->verticalHeader(), &QHeaderView::sectionCountChanged, this, [this] { alignTotals(); });
    connect(fps1->verticalScrollBar(), &QAbstractSlider::rangeChanged, this, [this] { alignTotals(); });

    auto *foot = new QWidget(central);
    auto *footRow = new QHBoxLayout(foot);
    footRow->setContentsMargins(0, 0, 0, 0);
    footRow->addWidget(new QLabel(QStringLiteral("制单人"), foot));
    txtBiller = new QLineEdit(foot);
    txtBiller->setObjectName(QStringLiteral("txtBiller"));
    txtBiller->setReadOnly(true);
    txtBiller->setMaximumWidth(140);
    footRow->addWidget(txtBiller);
    footRow->addSpacing(24);
    footRow->addWidget(new QLabel(QStringLiteral("审核人"), foot));
    txtChecker = new QLineEdit(foot);
    txtChecker->setObjectName(QStringLiteral("txtChecker"));
    txtChecker->setReadOnly(true);
    txtChecker->setMaximumWidth(140);
    footRow->addWidget(txtChecker);
    footRow->addStretch(1);
    footRow->addWidget(new QLabel(QStringLiteral("定位入库单"), foot));
    cmbEntry = new EntryJumpBox(foot, [this] { fillEntryJumpList(); });
    cmbEntry->setObjectName(QStringLiteral("cmbEntry"));
    cmbEntry->setToolTip(QStringLiteral("选择入库单号，跳到它所在的明细行"));
    cmbEntry->setMinimumWidth(160);
    footRow->addWidget(cmbEntry);
    connect(cmbEntry, &QComboBox::activated, this, [this](int index) { jumpToEntry(index); });
    column->addWidget(foot);

    setCentralWidget(central);

    QStatusBar *bar = statusBar();
    bar->setObjectName(QStringLiteral("stb1"));
    const int panelWidths[] = {220, 70, 80, 60, 150};
    for (int i = 0; i < 5; ++i) {
        auto *panel = new QLabel(bar);
        panel->setObjectName(QStringLiteral("stb1_%1").arg(i + 1));
        panel->setMinimumWidth(panelWidths[i]);
        panel->setFrameShape(QFrame::StyledPanel);
        panel->setFrameShadow(QFrame::Sunken);
        if (i == 0)
            bar->addWidget(panel, 1);
        else
            bar->addPermanentWidget(panel);
        m_panels << panel;
    }

    connect(m_grid, &EntryGridModel::edited, this, [this] { markChanged(); });
    connect(txtAmount, &QLineEdit::textEdited, this, [this] { markChanged(); });
    connect(txtBillNo, &QLineEdit::textEdited, this, [this] { markChanged(); });
    connect(thdate, &QDateEdit::dateChanged, this, [this] {
        if (m_loading)
            return;
        markChanged();
        // A new bill's number follows its date (same sequence).
        if (session().gBillMode == 0 && session().gIsUpdateBillNo != 1)
            proposeBillNumber(true);
    });
    connect(cmdList, &QPushButton::clicked, this, [this] { cmdList_Click(); });

    for (QWidget *w : {static_cast<QWidget *>(txtBillNo), static_cast<QWidget *>(thdate), static_cast<QWidget *>(txtAmount)})
        w->installEventFilter(this);
    m_head->installEventFilter(this); // keeps the title centred
    // Fields that cannot be typed into look it.
    setStyleSheet(QStringLiteral("QLineEdit[readOnly=\"true\"] { background: #f2f2f2; }"));
    resize(900, 620);
}

void frmMainBill::buildToolbarAndMenus()
{
    Toolbar1 = addToolBar(QStringLiteral("Toolbar1"));
    Toolbar1->setObjectName(QStringLiteral("Toolbar1"));
    Toolbar1->setMovable(false);
    Toolbar1->setToolButtonStyle(Qt::ToolButtonTextUnderIcon);
    Toolbar1->setIconSize(QSize(22, 22));
    for (const ButtonDef &b : kButtons) {
        const QString key = QString::fromLatin1(b.key);
        if (key.isEmpty()) {
            Toolbar1->addSeparator();
            continue;
        }
        QIcon icon;
        if (key == u"Copy")
            icon = copyIcon();
        else if (key == u"Print")
            icon = printIcon();
        else if (key == u"Red")
            icon = colourIcon(QColor(220, 30, 30));
        else if (key == u"Blue")
            icon = colourIcon(QColor(30, 80, 220));
        else
            icon = style()->standardIcon(b.icon);
        QAction *a = Toolbar1->addAction(icon, QString::fromUtf16(b.caption));
        a->setObjectName(key);
        if (key == u"Red" || key == u"Blue")
            a->setCheckable(true);
        connect(a, &QAction::triggered, this, [this, key] { Toolbar1_ButtonClick(key); });
        m_buttons.insert(key, a);
    }

    QMenuBar *bar = menuBar();
    auto addMenu = [bar](const QString &name, const QString &title) {
        QMenu *m = bar->addMenu(title);
        m->setObjectName(name);
        return m;
    };
    auto addEntry = [this](QMenu *menu, const QString &name, const QString &text, void (frmMainBill::*handler)(),
                           const QKeySequence &shortcut = {}, bool checkable = false) {
        QAction *a = menu->addAction(text);
        a->setObjectName(name);
        a->setShortcut(shortcut);
        a->setCheckable(checkable);
        connect(a, &QAction::triggered, this, [this, handler] { (this->*handler)(); });
        m_menu.insert(name, a);
        return a;
    };

    QMenu *file = addMenu(QStringLiteral("MenuFile"), QStringLiteral("文件(&F)"));
    addEntry(file, QStringLiteral("MenuNew"), QStringLiteral("新增(&N)"), &frmMainBill::MenuNew_Click, QKeySequence(QStringLiteral("Ctrl+N")));
    addEntry(file, QStringLiteral("MenuCopy"), QStringLiteral("复制(&C)"), &frmMainBill::MenuCopy_Click);
    addEntry(file, QStringLiteral("MenuSave"), QStringLiteral("保存(&S)"), &frmMainBill::MenuSave_Click, QKeySequence(QStringLiteral("Ctrl+S")));
    file->addSeparator();
    addEntry(file, QStringLiteral("MenuPreview"), QStringLiteral("打印预览(&V)"), &frmMainBill::MenuPreview_Click);
    addEntry(file, QStringLiteral("MenuPrint"), QStringLiteral("打印(&P)"), &frmMainBill::MenuPrint_Click, QKeySequence(QStringLiteral("Ctrl+P")));
    addEntry(file, QStringLiteral("MenuExportPdf"), QStringLiteral("导出PDF(&D)..."), &frmMainBill::MenuExportPdf_Click);
    addEntry(file, QStringLiteral("MenuDefaultPrint"), QStringLiteral("默认打印"), &frmMainBill::MenuDefaultPrint_Click, {}, true);
    addEntry(file, QStringLiteral("MenuDesignModle"), QStringLiteral("打印模板设计(&D)"), &frmMainBill::MenuDesignModle_Click);
    file->addSeparator();
    addEntry(file, QStringLiteral("MenuExit"), QStringLiteral("退出(&X)"), &frmMainBill::MenuExit_Click);

    MenuEdit = addMenu(QStringLiteral("MenuEdit"), QStringLiteral("编辑(&E)"));
    addEntry(MenuEdit, QStringLiteral("MenuCheck"), QStringLiteral("审核(&A)"), &frmMainBill::MenuCheck_Click);
    MenuEdit->addSeparator();
    addEntry(MenuEdit, QStringLiteral("MenuRed"), QStringLiteral("红字(&R)"), &frmMainBill::MenuRed_Click);
    addEntry(MenuEdit, QStringLiteral("MenuBlue"), QStringLiteral("蓝字(&B)"), &frmMainBill::MenuBlue_Click);

    QMenu *browse = addMenu(QStringLiteral("MenuBrowse"), QStringLiteral("浏览(&V)"));
    addEntry(browse, QStringLiteral("MenuFirst"), QStringLiteral("第一张(&F)"), &frmMainBill::MenuFirst_Click, QKeySequence(QStringLiteral("Ctrl+Home")));
    addEntry(browse, QStringLiteral("MenuPre"), QStringLiteral("上一张(&P)"), &frmMainBill::MenuPre_Click, QKeySequence(QStringLiteral("Ctrl+PgUp")));
    addEntry(browse, QStringLiteral("MenuNext"), QStringLiteral("下一张(&N)"), &frmMainBill::MenuNext_Click, QKeySequence(QStringLiteral("Ctrl+PgDown")));
    addEntry(browse, QStringLiteral("MenuLast"), QStringLiteral("最后一张(&L)"), &frmMainBill::MenuLast_Click, QKeySequence(QStringLiteral("Ctrl+End")));

    QMenu *options = addMenu(QStringLiteral("MenuOption"), QStringLiteral("选项(&O)"));
    addEntry(options, QStringLiteral("MenuNewAfterSave"), QStringLiteral("保存后新增单据"), &frmMainBill::MenuNewAfterSave_Click, {}, true);
    addEntry(options, QStringLiteral("MenuBillHead"), QStringLiteral("复制时保留表头"), &frmMainBill::MenuBillHead_Click, {}, true);
    options->addSeparator();
    addEntry(options, QStringLiteral("MenuLockCol"), QStringLiteral("锁定列(&L)..."), &frmMainBill::MenuLockCol_Click);
}

// The laid-out fields at their positions: caption label to the left of the
// field, lookup fields as a code box with a lookup button and the code's name.
void frmMainBill::buildHeader()
{
    m_header.clear();
    m_header.resize(m_layout.fields.size());
    m_lookupValues = QStringList();
    for (size_t i = 0; i < m_layout.fields.size(); ++i)
        m_lookupValues << QString();

    // Lookup fields whose name box is narrower than a long company name
    // grow, and what lies to their right moves along.
    m_widenedLookups.clear();
    const int nameWanted = codeNameWidth(m_head->fontMetrics());
    for (const HeaderFieldDef &def : m_layout.fields) {
        if (!def.isLookup() || !def.visible)
            continue;
        const int width = std::max(def.width, 60);
        const int nameWidth = std::max(width - std::clamp(width / 3, 64, 100) - 27, 40);
        if (nameWidth < nameWanted)
            m_widenedLookups.emplace_back(def.left + width, nameWanted - nameWidth);
    }

    const std::vector<int> order = m_layout.labelOrder();
    int leftIndex = 0, rightIndex = 0, lookupIndex = 0, textIndex = 0;
    const int leftmost = order.empty() ? 0 : m_layout.fields[size_t(order.front())].left;
    for (int i : order) {
        const HeaderFieldDef &def = m_layout.fields[size_t(i)];
        HeaderControl &hc = m_header[size_t(i)];
        hc.label = new QLabel(m_head);
        hc.label->setObjectName(def.left == leftmost ? QStringLiteral("lblL_%1").arg(leftIndex++) : QStringLiteral("lblR_%1").arg(rightIndex++));
        hc.label->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
        hc.label->setProperty("caption", def.caption);
        if (def.required()) {
            hc.label->setText(QStringLiteral("<span style='color:#c00000'>*</span>") + def.caption.toHtmlEscaped());
            hc.label->setToolTip(QStringLiteral("必须录入"));
        } else {
            hc.label->setText(def.caption);
        }
        hc.label->setGeometry(shiftedX(def.left) - kLabelWidth - kLabelGap, def.top, kLabelWidth, kRowHeight);
    }
    // Fields in their own order (tab order follows ftabindex below).
    std::vector<int> byTab(m_layout.fields.size());
    for (size_t i = 0; i < byTab.size(); ++i)
        byTab[i] = int(i);
    std::stable_sort(byTab.begin(), byTab.end(),
                     [this](int a, int b) { return m_layout.fields[size_t(a)].tabIndex < m_layout.fields[size_t(b)].tabIndex; });

    for (size_t i = 0; i < m_layout.fields.size(); ++i) {
        const HeaderFieldDef &def = m_layout.fields[i];
        HeaderControl &hc = m_header[i];
        hc.edit = new QLineEdit(m_head);
        hc.edit->setProperty("fieldName", def.fieldName);
        hc.edit->setProperty("caption", def.caption);
        const int width = std::max(def.width, 60);
        const int left = shiftedX(def.left);
        if (def.isLookup()) {
            // The supplier's code, button and name sit in one box, teB; the
            // other lookup fields are placed on the header directly.
            QWidget *box = m_head;
            int x = left, y = def.top;
            const int codeWidth = std::clamp(width / 3, 64, 100);
            const int nameWidth = std::max({width - codeWidth - 27, 40, def.visible ? nameWanted : 0});
            if (int(i) == m_layout.supplierIndex()) {
                teB = new QWidget(m_head);
                teB->setObjectName(QStringLiteral("teB"));
                teB->setGeometry(left, def.top, codeWidth + 27 + nameWidth, kRowHeight);
                box = teB;
                x = y = 0;
                hc.edit->setParent(teB);
            }
            hc.lookupIndex = lookupIndex;
            hc.edit->setObjectName(QStringLiteral("td_%1").arg(lookupIndex++));
            hc.edit->setGeometry(x, y, codeWidth, kRowHeight);
            hc.edit->setPlaceholderText(QStringLiteral("代码"));
            hc.button = new QToolButton(box);
            hc.button->setObjectName(QStringLiteral("cmdTd_%1").arg(hc.lookupIndex));
            hc.button->setText(QStringLiteral("…"));
            hc.button->setToolTip(QStringLiteral("选择") + def.caption);
            hc.button->setGeometry(x + codeWidth + 1, y, 24, kRowHeight);
            hc.button->setFocusPolicy(Qt::NoFocus);
            hc.name = new QLabel(box);
            hc.name->setObjectName(QStringLiteral("lblTdName_%1").arg(hc.lookupIndex));
            hc.name->setFrameShape(QFrame::StyledPanel);
            hc.name->setFrameShadow(QFrame::Sunken);
            hc.name->setGeometry(x + codeWidth + 27, y, nameWidth, kRowHeight);
            const int field = int(i);
            connect(hc.button, &QToolButton::clicked, this, [this, field] { chooseLookup(field); });
            connect(hc.edit, &QLineEdit::textEdited, this, [this] { markChanged(); });
            connect(hc.edit, &QLineEdit::editingFinished, this, [this, field] {
                if (!m_loading)
                    resolveLookup(field, false);
            });
        } else {
            hc.edit->setObjectName(QStringLiteral("txt_%1").arg(textIndex++));
            hc.edit->setGeometry(left, def.top, width, kRowHeight);
            connect(hc.edit, &QLineEdit::textEdited, this, [this] { markChanged(); });
        }
        hc.edit->installEventFilter(this);
        const bool visible = def.visible;
        if (hc.edit->parentWidget() == teB && teB)
            teB->setVisible(visible);
        hc.label->setVisible(visible);
        hc.edit->setVisible(visible);
        if (hc.button)
            hc.button->setVisible(visible);
        if (hc.name)
            hc.name->setVisible(visible);
    }
    QWidget *previous = nullptr;
    for (int i : byTab) {
        QWidget *w = m_header[size_t(i)].edit;
        if (previous)
            setTabOrder(previous, w);
        previous = w;
    }
    if (previous)
        setTabOrder(previous, txtAmount);
    placeHeaderExtras();
}

// Amount box and list button below the laid-out fields, markers at the right.
void frmMainBill::placeHeaderExtras()
{
    // The date sits in the second column, which moves with the laid-out
    // fields when a name box grew.
    const int dateLeft = shiftedX(kSecondColumn);
    thdate->move(dateLeft, kBillNoTop);
    if (auto *lblDate = m_head->findChild<QLabel *>(QStringLiteral("lblDate")))
        lblDate->move(dateLeft - kLabelWidth - kLabelGap, kBillNoTop);

    int bottom = kBillNoTop + kRowHeight;
    int right = dateLeft + 200;
    for (const HeaderControl &hc : m_header) {
        if (!hc.edit || !hc.edit->isVisibleTo(m_head))
            continue;
        const QWidget *outer = hc.name ? static_cast<QWidget *>(hc.name) : hc.edit;
        const QRect box(outer->mapTo(m_head, QPoint(0, 0)), outer->size());
        bottom = std::max(bottom, box.bottom() + 1);
        right = std::max(right, box.right() + 1);
    }
    const int top = bottom + 6;
    lblAmount->setGeometry(kFirstColumn - kLabelWidth - kLabelGap, top, kLabelWidth, kRowHeight);
    txtAmount->setGeometry(kFirstColumn, top, 150, kRowHeight);
    cmdList->setGeometry(kFirstColumn + 158, top, 96, kRowHeight);
    m_fieldsRight = right;
    m_head->setMinimumWidth(right + 140); // room for the markers
    m_head->setFixedHeight(top + kRowHeight + 6);
    placeTitleAndMarkers();
}

// The title centred over the header, the markers at its right, clear of the
// laid-out fields.
void frmMainBill::placeTitleAndMarkers()
{
    lblTitle->setGeometry(0, kTitleTop, m_head->width(), 30);
    const int left = std::max(m_head->width() - 124, m_fieldsRight + 12);
    ImgRed->move(left + 8, kTitleTop + 2);
    ImgCheck->move(left, kTitleTop + 40);
}

int frmMainBill::shiftedX(int layoutX) const
{
    int shift = 0;
    for (const auto &[edge, extra] : m_widenedLookups)
        if (layoutX >= edge)
            shift = std::max(shift, extra);
    return layoutX + shift;
}

// --- Initialisation ----------------------------------------------------------

void frmMainBill::formLoad()
{
    Session &s = session();
    m_loading = true;
    QPalette title = lblTitle->palette();
    title.setColor(QPalette::WindowText, QColor(255, 0, 0));
    lblTitle->setPalette(title);
    lblTitle->setText(s.gBillName);

    try {
        OpenConnection();
        m_layout = readHeaderLayout(*s.gConn, s.gBillTypeId, s.gLoginUserId, s.IsAdmin == 1);
    } catch (const DbError &e) {
        Prompt::msgBox(e.description(), Prompt::Critical, s.msgTitle);
        m_layout = HeaderLayout{};
    }
    CloseConnection();
    buildHeader();

    m_grid->clear();
    readOptions();
    QFont gridFont(QStringLiteral("Arial"));
    gridFont.setPointSize(11);
    fps1->setFont(gridFont);
    gridFont.setBold(true);
    fps2->setFont(gridFont);

    // The session's editor field is the red/blue flag of the bill in hand
    // (0 blue, 1 red), written to frob when a new bill is saved.
    s.gEditorFlag = 0;
    m_loading = false;
    setUpMode();
    updateState();
}

void frmMainBill::readOptions()
{
    m_optAfterSaveNew = optionValue(QStringLiteral("AfterSaveNew"), QStringLiteral("1"));
    // Read under a key with three leading blanks, while the value is written
    // under "CopyHeader": the option therefore always reads its default.
    m_optCopyHeader = optionValue(QStringLiteral("   CopyHeader"), QStringLiteral("0"));
    m_optCopyEntry = optionValue(QStringLiteral("CopyEntry"), QStringLiteral("0"));
    m_optItemNotice = optionValue(QStringLiteral("ItemNotice"), QStringLiteral("0"));
    m_menu.value(QStringLiteral("MenuNewAfterSave"))->setChecked(m_optAfterSaveNew == 0);
    m_menu.value(QStringLiteral("MenuBillHead"))->setChecked(m_optCopyHeader != 1);
}

void frmMainBill::writeOptions()
{
    const Session &s = session();
    computeIniPath();
    const QString type = QString::number(s.gBillTypeId);
    writeDefaultPrintOption(m_menu.value(QStringLiteral("MenuDefaultPrint"))->isChecked());
    WriteIni(QStringLiteral("BillMainLockCols"), type + QStringLiteral("Lock"), m_lockCols);
    const QString app = optionsApplication();
    SettingsStore::write(app, kOptionsSection, QStringLiteral("AfterSaveNew"), QString::number(afterSaveNew()));
    SettingsStore::write(app, kOptionsSection, QStringLiteral("CopyHeader"), QString::number(copyHeaderOption()));
    SettingsStore::write(app, kOptionsSection, QStringLiteral("CopyEntry"), QString::number(m_optCopyEntry));
    SettingsStore::write(app, kOptionsSection, QStringLiteral("ItemNotice"), QString::number(m_optItemNotice));
}

int frmMainBill::afterSaveNew() const
{
    return m_menu.value(QStringLiteral("MenuNewAfterSave"))->isChecked() ? 0 : 1;
}

int frmMainBill::copyHeaderOption() const
{
    return m_menu.value(QStringLiteral("MenuBillHead"))->isChecked() ? 0 : 1;
}

void frmMainBill::showEvent(QShowEvent *event)
{
    QMainWindow::showEvent(event);
    const QString type = QString::number(session().gBillTypeId);
    computeIniPath();
    m_menu.value(QStringLiteral("MenuDefaultPrint"))->setChecked(readDefaultPrintOption());
    const QString lock = ReadIni(QStringLiteral("BillMainLockCols"), type + QStringLiteral("Lock"), QStringLiteral("0"));
    if (!lock.isEmpty())
        m_lockCols = lock;
    applyFrozenColumns();
    alignTotals();
}

void frmMainBill::setUpMode()
{
    Session &s = session();
    const QString word = modeWord(s.gBillMode);
    if (word.isEmpty())
        return; // no set-up for an unknown mode
    setWindowTitle(word + lblTitle->text());
    switch (s.gBillMode) {
    case 0:
        m_loading = true;
        thdate->setDate(Clock::today());
        txtBiller->setText(s.gLoginUserName);
        m_loading = false;
        proposeBillNumber(false);
        break;
    case 1:
        loadBill();
        break;
    case 2: {
        loadBill();
        const QList<QAction *> actions = Toolbar1->actions();
        for (int i = 0; i < actions.size() && i < 23; ++i)
            actions[i]->setVisible(false);
        if (actions.size() >= 3)
            actions[2]->setVisible(true);
        MenuEdit->menuAction()->setVisible(false);
        break;
    }
    case 3:
    default:
        break;
    }
    updateState();
}

void frmMainBill::proposeBillNumber(bool keepSerial)
{
    const Session &s = session();
    const QString number = MakeBillNo(s.gBillTypeId, thdate->date(), keepSerial ? 1 : 0);
    txtBillNo->setText(number);
    setReadOnly(txtBillNo, s.gIsUpdateBillNo != 1);
}

// --- Loading and browsing ----------------------------------------------------

void frmMainBill::loadBill()
{
    Session &s = session();
    std::optional<LoadedBill> bill;
    const bool wasOpen = bool(s.gConn);
    try {
        OpenConnection();
        BillStore store(*s.gConn, BillSettings::fromSession());
        bill = store.loadBill(s.gCurInterId, m_layout);
        if (!wasOpen)
            CloseConnection();
    } catch (const DbError &e) {
        CloseConnection();
        Prompt::msgBox(e.description(), Prompt::Critical, s.msgTitle);
        return;
    }
    if (!bill) {
        Prompt::msgBox(QStringLiteral("数据读取错误!"), Prompt::Exclamation, s.msgTitle);
        m_grid->clear();
        return;
    }
    applyLoaded(std::move(*bill));
}

void frmMainBill::applyLoaded(LoadedBill bill)
{
    m_loading = true;
    txtBillNo->setText(bill.billNo);
    setReadOnly(txtBillNo, session().gIsUpdateBillNo != 1);
    if (bill.date.isValid())
        thdate->setDate(bill.date);
    txtAmount->setText(bill.amountText);
    txtBiller->setText(bill.billerName);
    txtChecker->setText(bill.checkerName);
    m_checkerId = bill.checkerId;
    txtChecker->setProperty("tag", bill.checkerId);
    m_status = bill.status;
    m_cancellation = bill.cancellation;
    m_earlierPeriod = bill.date.isValid() && bill.date < session().gPeriodStartDate;
    for (size_t i = 0; i < m_header.size() && i < bill.fields.size(); ++i) {
        const HeaderValue &v = bill.fields[i];
        m_header[i].edit->setText(v.text);
        m_lookupValues[int(i)] = v.value;
        setNameText(m_header[i].name, v.name);
    }
    m_grid->setRows(std::move(bill.rows));
    setRob(bill.rob);
    ImgCheck->setVisible(m_status == 1);
    m_loading = false;
    m_changed = false;
    updateState();
}

void frmMainBill::navigateTo(int position)
{
    Session &s = session();
    if (position < 0 || position >= s.gListInterIds.size())
        return; // the buttons at the ends are disabled; a stray call stays put
    if (!askToSave())
        return;
    s.gListIndex = position;
    bool ok = false;
    const int id = s.gListInterIds[position].trimmed().toInt(&ok);
    s.gCurInterId = ok ? id : 0;
    if (s.gBillMode == 0 || s.gBillMode == 3) {
        s.gBillMode = 1;
        setWindowTitle(modeWord(1) + s.gBillName);
    }
    // One connection for the bill and the texts of its codes.
    try {
        OpenConnection();
    } catch (const DbError &e) {
        Prompt::msgBox(e.description(), Prompt::Critical, s.msgTitle);
        return;
    }
    loadBill();
    refreshLookupTexts();
    CloseConnection();
    updateState();
}

void frmMainBill::MenuFirst_Click()
{
    navigateTo(0);
}

void frmMainBill::MenuPre_Click()
{
    navigateTo(session().gListIndex - 1);
}

void frmMainBill::MenuNext_Click()
{
    navigateTo(session().gListIndex + 1);
}

void frmMainBill::MenuLast_Click()
{
    navigateTo(int(session().gListInterIds.size()) - 1);
}

// Each lookup field shows the current number and name of its stored item.
void frmMainBill::refreshLookupTexts()
{
    Session &s = session();
    const bool wasOpen = bool(s.gConn);
    try {
        OpenConnection();
        for (size_t i = 0; i < m_header.size(); ++i) {
            if (!m_layout.fields[i].isLookup())
                continue;
            const QString id = lookupItemId(m_lookupValues[int(i)]);
            bool numeric = false;
            id.toLongLong(&numeric);
            if (!numeric)
                continue;
            const Recordset rs = s.gConn->openRecordset(QStringLiteral("select fnumber,fname from tblItem where fitemid=") + id);
            if (rs.eof())
                continue;
            m_loading = true;
            m_lookupValues[int(i)] = lookupValue(rs.text(QStringLiteral("fnumber")), id);
            m_header[i].edit->setText(rs.text(QStringLiteral("fnumber")));
            setNameText(m_header[i].name, rs.text(QStringLiteral("fname")));
            m_loading = false;
        }
    } catch (const DbError &e) {
        m_loading = false;
        Prompt::msgBox(e.description(), Prompt::Critical, s.msgTitle);
        CloseConnection();
        return;
    }
    if (!wasOpen)
        CloseConnection();
}

// --- Asking, new bill, closing -----------------------------------------------

bool frmMainBill::askToSave()
{
    if (!m_changed)
        return true;
    const int answer = Prompt::msgBox(QStringLiteral("单据已经改变，是否保存？"), Prompt::YesNoCancel, Prompt::Question, session().msgTitle);
    if (answer == Prompt::Cancel)
        return false;
    if (answer == Prompt::Yes) {
        MenuSave_Click();
        return m_saveSucceeded;
    }
    return true;
}

void frmMainBill::clearHeader()
{
    for (size_t i = 0; i < m_header.size(); ++i) {
        m_header[i].edit->clear();
        setNameText(m_header[i].name, QString());
        m_lookupValues[int(i)].clear();
    }
}

void frmMainBill::startNewBill()
{
    Session &s = session();
    m_loading = true;
    clearHeader();
    txtAmount->clear();
    txtChecker->clear();
    txtChecker->setProperty("tag", QString());
    m_checkerId.clear();
    txtBiller->setText(s.gLoginUserName);
    thdate->setDate(Clock::today());
    m_grid->clear();
    m_grid->setLocked(false);
    m_status = 0;
    m_cancellation = 0;
    m_earlierPeriod = false;
    // A new bill starts blue, its marker hidden.
    setRob(0);
    ImgCheck->hide();
    for (QAction *a : Toolbar1->actions())
        a->setVisible(true);
    s.gBillMode = 0;
    setWindowTitle(modeWord(0) + s.gBillName);
    m_loading = false;
    proposeBillNumber(false);
    m_changed = false;
    updateState();
}

void frmMainBill::MenuNew_Click()
{
    if (!askToSave())
        return;
    startNewBill();
}

void frmMainBill::MenuNewAfterSave_Click()
{
    // The entry's own checked state has already flipped.
}

void frmMainBill::MenuBillHead_Click()
{
}

void frmMainBill::MenuExit_Click()
{
    close();
}

void frmMainBill::closeEvent(QCloseEvent *event)
{
    if (!askToSave()) {
        event->ignore();
        return;
    }
    writeOptions();
    Session &s = session();
    if (s.gFromList == 1 && s.gBillMode != 3) {
        if (listRefresher())
            listRefresher()();
        s.gFromList = 0;
    }
    event->accept();
}

// --- Saving ------------------------------------------------------------------

std::vector<HeaderLabel> frmMainBill::headerLabels() const
{
    std::vector<HeaderLabel> labels;
    for (int i : m_layout.labelOrder()) {
        const HeaderFieldDef &def = m_layout.fields[size_t(i)];
        if (!def.visible)
            continue; // the user cannot fill what he does not see
        HeaderLabel l;
        l.caption = def.caption;
        l.required = def.required();
        l.text = def.isLookup() ? lookupNumber(m_lookupValues[i]) : m_header[size_t(i)].edit->text();
        labels.push_back(l);
    }
    return labels;
}

BillDraft frmMainBill::draft() const
{
    BillDraft d;
    d.billNo = txtBillNo->text();
    d.date = thdate->date();
    d.amountText = txtAmount->text().trimmed();
    d.rob = session().gEditorFlag;
    for (size_t i = 0; i < m_layout.fields.size(); ++i) {
        const HeaderFieldDef &def = m_layout.fields[i];
        if (def.fieldName.isEmpty())
            continue;
        HeaderValue v;
        v.fieldName = def.fieldName;
        v.lookup = def.isLookup();
        v.value = v.lookup ? m_lookupValues[int(i)] : QString();
        v.text = v.lookup ? lookupNumber(v.value) : m_header[i].edit->text();
        d.fields.push_back(v);
    }
    d.rows = m_grid->rows();
    return d;
}

void frmMainBill::MenuSave_Click()
{
    Session &s = session();
    m_saveSucceeded = false;
    // What is still being typed into a cell counts.
    for (QTableView *view : {static_cast<QTableView *>(fps1), fps1->frozenView()}) {
        QAbstractItemDelegate *delegate = view->itemDelegateForColumn(ColThisAmount - 1);
        for (QLineEdit *editor : view->viewport()->findChildren<QLineEdit *>()) {
            if (editor->isVisible()) {
                emit delegate->commitData(editor);
                emit delegate->closeEditor(editor);
            }
        }
    }
    setStatusText(QStringLiteral("正在保存单据信息，请稍候..."));
    SaveOutcome outcome;
    {
        WaitCursor wait;
        if (s.gBillMode == 0)
            outcome = prepareInsert(draft(), headerLabels());
        else if (s.gBillMode == 1)
            outcome = prepareUpdate(draft(), headerLabels(), s.gCurInterId);
    }
    if (!outcome.saved) {
        if (outcome.focusAmount)
            txtAmount->setFocus();
        setStatusText(QStringLiteral("就绪："));
        return;
    }
    const bool wasNew = s.gBillMode == 0;
    if (wasNew) {
        s.gCurInterId = outcome.interId;
        m_loading = true;
        txtBillNo->setText(outcome.billNo);
        m_loading = false;
    } else {
        txtBiller->setText(s.gLoginUserName);
    }
    Prompt::msgBox(wasNew ? QStringLiteral("数据保存成功！") : QStringLiteral("数据修改成功！"), Prompt::Information, s.msgTitle);
    m_changed = false;
    m_saveSucceeded = true;

    if (afterSaveNew() != 0) {
        s.gBillMode = 1;
        setWindowTitle(modeWord(1) + s.gBillName);
        for (QAction *a : Toolbar1->actions())
            a->setVisible(true);
    } else {
        startNewBill();
    }
    m_changed = false;
    setStatusText(QStringLiteral("就绪："));
    refreshLookupTexts();
    updateState();
}

// --- Filling from stock bills ------------------------------------------------

void frmMainBill::cmdList_Click()
{
    Session &s = session();
    const int supplier = m_layout.supplierIndex();
    if (supplier < 0)
        return;
    const QString supplierId = lookupItemId(m_lookupValues[supplier]);
    if (supplierId.isEmpty())
        return;
    const QString total = txtAmount->text().trimmed();
    if (total.isEmpty()) {
        Prompt::msgBox(QStringLiteral("请录入开票金额！"), Prompt::Exclamation, s.msgTitle);
        return;
    }
    if (!numericAmount(total)) {
        Prompt::msgBox(QStringLiteral("金额请录入数字！"), Prompt::Exclamation, s.msgTitle);
        return;
    }
    std::vector<EntryRow> rows;
    try {
        WaitCursor wait;
        OpenConnection();
        BillStore store(*s.gConn, BillSettings::fromSession());
        rows = store.openStockBills(supplierId, m_grid->rows());
    } catch (const DbError &) {
        // A failed query adds nothing; the grid keeps its rows.
    }
    CloseConnection();
    if (!rows.empty()) {
        m_grid->appendRows(rows);
        markChanged();
        fps1->setCurrentIndex(m_grid->index(m_grid->gridRowCount() - int(rows.size()), ColThisAmount - 1));
    }
}

// --- Red, blue, copy, audit --------------------------------------------------

void frmMainBill::setRob(int rob)
{
    session().gEditorFlag = std::int16_t(rob == 1 ? 1 : 0);
    const bool red = rob == 1;
    m_buttons.value(QStringLiteral("Red"))->setChecked(red);
    m_buttons.value(QStringLiteral("Blue"))->setChecked(!red);
    m_grid->setForeground(red ? QColor(255, 0, 0) : QColor(0, 0, 0));
    ImgRed->setVisible(red);
    updateStatusBar();
}

void frmMainBill::MenuRed_Click()
{
    setRob(1);
}

void frmMainBill::MenuBlue_Click()
{
    setRob(0);
}

void frmMainBill::MenuCheck_Click()
{
    Session &s = session();
    if (s.gBillMode == 0) {
        Prompt::msgBox(QStringLiteral("请先保存单据!"), Prompt::Exclamation, s.msgTitle);
        return;
    }
    if (!HasPrivilege(s.gRightPrefix + QStringLiteral("04")))
        return;
    if (!CheckBills(QString::number(s.gCurInterId)))
        return;
    Prompt::msgBox(QStringLiteral("审核成功!"), Prompt::Information, s.msgTitle);
    m_grid->setLocked(true);
    txtChecker->setText(s.gLoginUserName);
    txtChecker->setProperty("tag", s.gLoginUserId);
    m_checkerId = s.gLoginUserId;
    ImgCheck->show();
    m_status = 1;
    updateState();
}

void frmMainBill::MenuCopy_Click()
{
    Session &s = session();
    if (!askToSave())
        return;
    m_loading = true;
    if (copyHeaderOption() == 1)
        clearHeader();
    // The copy never takes the entries along (whatever CopyEntry says, the
    // grid ends up empty): no stock bill is invoiced twice by copying.
    m_grid->clear();
    m_grid->setLocked(false);
    txtBiller->setText(s.gLoginUserName);
    txtChecker->clear();
    txtChecker->setProperty("tag", QString());
    m_checkerId.clear();
    thdate->setDate(Clock::today());
    ImgCheck->hide();
    for (QAction *a : Toolbar1->actions())
        a->setVisible(true);
    setRob(s.gEditorFlag);
    m_status = 0;
    m_cancellation = 0;
    m_earlierPeriod = false;
    s.gBillMode = 0;
    setWindowTitle(modeWord(0) + s.gBillName);
    m_loading = false;
    proposeBillNumber(false);
    refreshLookupTexts();
    m_changed = false;
    updateState();
}

// --- Printing ----------------------------------------------------------------

// Preview and print need the print right and a bill that has been saved.
bool frmMainBill::mayPrintShownBill() const
{
    Session &s = session();
    if (!HasPrivilege(s.gRightPrefix + QStringLiteral("08")))
        return false;
    if (s.gBillMode == 0) {
        Prompt::msgBox(QStringLiteral("请先保存单据!"), Prompt::Exclamation, s.msgTitle);
        return false;
    }
    return true;
}

void frmMainBill::MenuPreview_Click()
{
    if (mayPrintShownBill() && printHooks().preview)
        printHooks().preview(*this);
}

void frmMainBill::MenuPrint_Click()
{
    if (mayPrintShownBill() && printHooks().print)
        printHooks().print(*this);
}

// The printed invoice as a PDF file; the same right and the same refusal of
// an unsaved bill as printing.
void frmMainBill::MenuExportPdf_Click()
{
    menuExportPdf(session().gBillMode == 0, this);
}

void frmMainBill::MenuDefaultPrint_Click()
{
    computeIniPath();
    writeDefaultPrintOption(m_menu.value(QStringLiteral("MenuDefaultPrint"))->isChecked());
}

void frmMainBill::MenuDesignModle_Click()
{
    Session &s = session();
    if (!HasPrivilege(s.gRightPrefix + QStringLiteral("21")))
        return;
    if (printHooks().design)
        printHooks().design(*this);
}

// --- Toolbar -----------------------------------------------------------------

void frmMainBill::Toolbar1_ButtonClick(const QString &key)
{
    if (key == u"Exit") {
        MenuExit_Click();
    } else if (key == u"Blue") {
        MenuBlue_Click();
    } else if (key == u"Red") {
        MenuRed_Click();
    } else if (key == u"View") {
        QWidget *focus = QApplication::focusWidget();
        if (focus && focus->objectName().startsWith(QStringLiteral("td_")))
            for (size_t i = 0; i < m_header.size(); ++i)
                if (m_header[i].edit == focus)
                    chooseLookup(int(i));
    } else if (key == u"Save") {
        MenuSave_Click();
    } else if (key == u"Check") {
        MenuCheck_Click();
    } else if (key == u"Next") {
        MenuNext_Click();
    } else if (key == u"Back") {
        MenuPre_Click();
    } else if (key == u"First") {
        MenuFirst_Click();
    } else if (key == u"End") {
        MenuLast_Click();
    } else if (key == u"New") {
        MenuNew_Click();
    } else if (key == u"Copy") {
        MenuCopy_Click();
    } else if (key == u"Preview") {
        MenuPreview_Click();
    } else if (key == u"Print") {
        MenuPrint_Click();
    }
}

// What may be done follows the bill: an audited bill can no longer be saved
// or audited, a void one cannot be changed at all, and browsing stops at the
// ends of the list.
void frmMainBill::updateState()
{
    const Session &s = session();
    const bool audited = m_status == 1;
    const bool voided = m_cancellation != 0;
    // A bill of an earlier period can no longer be changed or audited either.
    const bool frozen = audited || voided || m_earlierPeriod;
    const bool viewOnly = s.gBillMode == 3;
    const bool editable = !frozen && !viewOnly;

    auto enable = [this](const QString &key, const QString &menu, bool on) {
        if (QAction *a = m_buttons.value(key))
            a->setEnabled(on);
        if (QAction *m = m_menu.value(menu))
            m->setEnabled(on);
    };
    enable(QStringLiteral("Save"), QStringLiteral("MenuSave"), editable);
    enable(QStringLiteral("Check"), QStringLiteral("MenuCheck"), !frozen && !viewOnly);
    enable(QStringLiteral("Red"), QStringLiteral("MenuRed"), editable);
    enable(QStringLiteral("Blue"), QStringLiteral("MenuBlue"), editable);

    const int count = int(s.gListInterIds.size());
    const int at = s.gListIndex;
    const bool onList = count > 0 && s.gBillMode != 0;
    enable(QStringLiteral("First"), QStringLiteral("MenuFirst"), count > 0 && (!onList || at > 0));
    enable(QStringLiteral("Back"), QStringLiteral("MenuPre"), onList && at > 0 && at < count);
    enable(QStringLiteral("Next"), QStringLiteral("MenuNext"), onList && at >= 0 && at < count - 1);
    enable(QStringLiteral("End"), QStringLiteral("MenuLast"), count > 0 && (!onList || at < count - 1));

    m_grid->setLocked(!editable);
    for (const HeaderControl &hc : m_header) {
        setReadOnly(hc.edit, !editable);
        if (hc.button)
            hc.button->setEnabled(editable);
    }
    setReadOnly(txtAmount, !editable);
    thdate->setEnabled(editable);
    cmdList->setEnabled(editable);
    if (!editable)
        setReadOnly(txtBillNo, true);
    updateStatusBar();
}

void frmMainBill::updateStatusBar()
{
    const Session &s = session();
    if (m_panels.size() < 5)
        return;
    if (m_panels[0]->text().isEmpty())
        m_panels[0]->setText(QStringLiteral("就绪："));
    m_panels[1]->setText(modeWord(s.gBillMode));
    QString state = m_status == 1 ? QStringLiteral("已审核") : QStringLiteral("未审核");
    if (m_cancellation != 0)
        state = QStringLiteral("已作废");
    else if (m_earlierPeriod && m_status != 1)
        state = QStringLiteral("以前期间");
    m_panels[2]->setText(state);
    m_panels[3]->setText(s.gEditorFlag == 1 ? QStringLiteral("红字") : QStringLiteral("蓝字"));
    QPalette p = m_panels[3]->palette();
    p.setColor(QPalette::WindowText, s.gEditorFlag == 1 ? QColor(220, 0, 0) : QColor(0, 60, 200));
    m_panels[3]->setPalette(p);
    m_panels[4]->setText(QStringLiteral("操作员：") + s.gLoginUserName);
}

void frmMainBill::setStatusText(const QString &text)
{
    if (!m_panels.isEmpty())
        m_panels[0]->setText(text);
}

void frmMainBill::markChanged()
{
    if (!m_loading)
        m_changed = true;
}

// --- Grid helpers ------------------------------------------------------------

// The stored number of frozen columns, when it is one the grid can take.
void frmMainBill::applyFrozenColumns()
{
    const int count = frozenEntryColumns(m_lockCols).value_or(0);
    fps1->setFrozenColumns(count);
    fps2->setFrozenColumns(count);
}

void frmMainBill::MenuLockCol_Click()
{
    const std::optional<QString> answer = Prompt::inputBox(QStringLiteral("请输入锁定列数(整型)"), session().msgTitle, m_lockCols);
    if (!answer)
        return;
    const std::optional<int> count = frozenEntryColumns(*answer);
    if (!count) {
        Prompt::msgBox(QStringLiteral("锁定列数请录入0到%1之间的整数！").arg(ColThisAmount - 1), Prompt::Exclamation, session().msgTitle);
        return;
    }
    m_lockCols = QString::number(*count);
    applyFrozenColumns();
}

// The totals line keeps its cells under the entries' cells: the same row
// header width, and room at the right where the entries have a scroll bar.
void frmMainBill::alignTotals()
{
    auto *rowHeader = static_cast<RowNumberHeader *>(fps1->verticalHeader());
    const int totalsLabel = fps2->verticalHeader()->fontMetrics().horizontalAdvance(QStringLiteral("合计")) + 12;
    const int width = std::max(rowHeader->labelWidth(), totalsLabel);
    fps1->verticalHeader()->setMinimumWidth(width);
    fps2->verticalHeader()->setMinimumWidth(width);
    QScrollBar *bar = fps1->verticalScrollBar();
    fps2->setRightMargin(bar->maximum() > bar->minimum() ? bar->sizeHint().width() : 0);
}

void frmMainBill::fillEntryJumpList()
{
    cmbEntry->clear();
    for (int r = 1; r <= m_grid->gridRowCount(); ++r)
        cmbEntry->addItem(QStringLiteral("%1  %2").arg(r).arg(m_grid->cellText(r, ColStockBillNo)));
}

void frmMainBill::jumpToEntry(int index)
{
    if (index < 0 || index >= m_grid->gridRowCount())
        return;
    const QModelIndex at = m_grid->index(index, ColThisAmount - 1);
    fps1->setCurrentIndex(at);
    fps1->scrollTo(at, QAbstractItemView::PositionAtCenter);
    fps1->setFocus();
}

// --- Lookup fields -----------------------------------------------------------

QString frmMainBill::fieldText(const QString &fieldName) const
{
    const int i = m_layout.indexOf(fieldName);
    return i < 0 ? QString() : m_header[size_t(i)].edit->text();
}

QString frmMainBill::fieldValue(const QString &fieldName) const
{
    const int i = m_layout.indexOf(fieldName);
    return i < 0 ? QString() : m_lookupValues[i];
}

void frmMainBill::setLookup(int field, const QString &number, const QString &id, const QString &name)
{
    HeaderControl &hc = m_header[size_t(field)];
    const QString value = lookupValue(number, id);
    if (value != m_lookupValues[field])
        markChanged();
    m_lookupValues[field] = value;
    hc.edit->setText(value.isEmpty() ? QString() : number);
    setNameText(hc.name, value.isEmpty() ? QString() : name);
}

// The typed code is looked up in its class: a usable code fills number and
// name; an unknown one clears the choice, or offers the selector when the
// user pressed Enter on it.
void frmMainBill::resolveLookup(int field, bool openSelectorWhenUnknown)
{
    const HeaderFieldDef &def = m_layout.fields[size_t(field)];
    HeaderControl &hc = m_header[size_t(field)];
    const QString typed = hc.edit->text().trimmed();
    if (typed.isEmpty()) {
        setLookup(field, QString(), QString(), QString());
        return;
    }
    if (!m_lookupValues[field].isEmpty() && lookupNumber(m_lookupValues[field]) == typed)
        return;
    Session &s = session();
    if (SeekCode(1, std::int16_t(def.itemClassId), typed)) {
        setLookup(field, s.gItemNumber, s.gItemId, s.gItemName);
        return;
    }
    m_lookupValues[field].clear();
    setNameText(hc.name, QString());
    if (openSelectorWhenUnknown)
        chooseLookup(field);
}

void frmMainBill::chooseLookup(int field)
{
    const HeaderFieldDef &def = m_layout.fields[size_t(field)];
    if (m_header[size_t(field)].edit->isReadOnly())
        return;
    const std::optional<SelectedCode> chosen = codeSelector().selectBasicData(def.itemClassId, this);
    if (!chosen)
        return;
    setLookup(field, chosen->fnumber, chosen->fitemid, chosen->fname);
}

// Enter in a data-entry field of the header moves on to the next field; in a
// lookup field it first looks the typed code up.
bool frmMainBill::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_head && event->type() == QEvent::Resize) {
        placeTitleAndMarkers();
        return false;
    }
    if (event->type() == QEvent::KeyPress) {
        auto *key = static_cast<QKeyEvent *>(event);
        if ((key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter) && key->modifiers() == Qt::NoModifier) {
            for (size_t i = 0; i < m_header.size(); ++i) {
                if (m_header[i].edit == watched && m_layout.fields[i].isLookup() && !m_header[i].edit->isReadOnly()) {
                    resolveLookup(int(i), true);
                    break;
                }
            }
            focusNextChild();
            return true;
        }
    }
    return QMainWindow::eventFilter(watched, event);
}
