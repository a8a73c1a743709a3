#include "editor/frmMainBill.h"

#include "editor/frmMainBillParts.h"
#include "modules/BillNumbering.h"
#include "modules/CodeLookup.h"
#include "modules/CodeSelectors.h"
#include "modules/ConnectionRoutines.h"
#include "modules/Session.h"
#include "platform/DbError.h"
#include "platform/EnterKey.h"
#include "platform/Prompt.h"

#include <QApplication>
#include <QDateEdit>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QPushButton>
#include <QStyle>
#include <QToolButton>

using namespace frmMainBillParts;

namespace {
// Layout of the header area, in pixels. The laid-out fields bring their own
// positions; these are the fixed controls around them.
constexpr int kLabelWidth = 76;
constexpr int kLabelGap = 6;
constexpr int kRowHeight = 24;
constexpr int kTitleTop = 6;
constexpr int kBillNoTop = 40;
constexpr int kFirstColumn = 90;
constexpr int kSecondColumn = 470;

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
} // namespace

void frmMainBillParts::setNameText(QLabel *label, const QString &name)
{
    if (!label)
        return;
    const int room = label->width() - 2 * label->frameWidth() - 4;
    label->setText(label->fontMetrics().elidedText(name, Qt::ElideRight, std::max(room, 10)));
    label->setToolTip(name);
}

void frmMainBillParts::setReadOnly(QLineEdit *edit, bool readOnly)
{
    if (edit->isReadOnly() == readOnly)
        return;
    edit->setReadOnly(readOnly);
    edit->style()->unpolish(edit);
    edit->style()->polish(edit);
}

// --- Fixed fields --------------------------------------------------------------

// The title, number and date at the top, amount and list button below the
// laid-out fields, the red and audited markers at the right.
QWidget *frmMainBill::buildHeaderArea(QWidget *parent)
{
    m_head = new QWidget(parent);
    m_head->setObjectName(QStringLiteral("picHead"));

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

    connect(txtAmount, &QLineEdit::textEdited, this, [this] { markChanged(); });
    connect(txtBillNo, &QLineEdit::textEdited, this, [this] { markChanged(); });
    connect(thdate, &QDateEdit::dateChanged, this, [this] { thdate_Change(); });
    connect(cmdList, &QPushButton::clicked, this, [this] { cmdList_Click(); });

    for (QWidget *w : {static_cast<QWidget *>(txtBillNo), static_cast<QWidget *>(thdate), static_cast<QWidget *>(txtAmount)})
        w->installEventFilter(this);
    m_head->installEventFilter(this); // keeps the title centred
    return m_head;
}

// --- Laid-out fields -----------------------------------------------------------

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
            connect(hc.button, &QToolButton::clicked, this, [this, field] { cmdTd_Click(field); });
            connect(hc.edit, &QLineEdit::textEdited, this, [this] { markChanged(); });
            connect(hc.edit, &QLineEdit::editingFinished, this, [this, field] { td_LostFocus(field); });
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

void frmMainBill::clearHeader()
{
    for (size_t i = 0; i < m_header.size(); ++i) {
        m_header[i].edit->clear();
        setNameText(m_header[i].name, QString());
        m_lookupValues[int(i)].clear();
    }
}

void frmMainBill::proposeBillNumber(bool keepSerial)
{
    Session &s = m_session;
    const QString number = MakeBillNo(s, s.gBillTypeId, thdate->date(), keepSerial ? 1 : 0);
    txtBillNo->setText(number);
    setReadOnly(txtBillNo, s.gIsUpdateBillNo != 1);
}

void frmMainBill::thdate_Change()
{
    if (m_loading)
        return;
    markChanged();
    // A new bill's number follows its date (same sequence).
    if (m_session.gBillMode == 0 && m_session.gIsUpdateBillNo != 1)
        proposeBillNumber(true);
}

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

// Leaving a lookup field looks the typed code up.
void frmMainBill::td_LostFocus(int field)
{
    if (!m_loading)
        resolveLookup(field, false);
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
    Session &s = m_session;
    if (SeekCode(s, 1, std::int16_t(def.itemClassId), typed)) {
        setLookup(field, s.gItemNumber, s.gItemId, s.gItemName);
        return;
    }
    m_lookupValues[field].clear();
    setNameText(hc.name, QString());
    if (openSelectorWhenUnknown)
        cmdTd_Click(field);
}

// The selector of the field's class; the chosen code fills the field.
void frmMainBill::cmdTd_Click(int field)
{
    const HeaderFieldDef &def = m_layout.fields[size_t(field)];
    if (m_header[size_t(field)].edit->isReadOnly())
        return;
    const std::optional<SelectedCode> chosen = codeSelector().selectBasicData(m_session, def.itemClassId, this);
    if (!chosen)
        return;
    setLookup(field, chosen->fnumber, chosen->fitemid, chosen->fname);
}

// Each lookup field shows the current number and name of its stored item.
void frmMainBill::refreshLookupTexts()
{
    Session &s = m_session;
    // Within a caller's unit of work the connection stays open for it.
    const bool wasOpen = bool(s.gConn);
    std::optional<ConnectionScope> scope;
    if (!wasOpen)
        scope.emplace(s);
    try {
        OpenConnection(s);
        BillStore store(*s.gConn, BillSettings::fromSession(s));
        for (size_t i = 0; i < m_header.size(); ++i) {
            if (!m_layout.fields[i].isLookup())
                continue;
            const QString id = lookupItemId(m_lookupValues[int(i)]);
            bool numeric = false;
            id.toLongLong(&numeric);
            if (!numeric)
                continue;
            const std::optional<ItemText> item = store.itemText(id);
            if (!item)
                continue;
            m_loading = true;
            m_lookupValues[int(i)] = lookupValue(item->number, id);
            m_header[i].edit->setText(item->number);
            setNameText(m_header[i].name, item->name);
            m_loading = false;
        }
    } catch (const DbError &e) {
        m_loading = false;
        Prompt::msgBox(e.description(), Prompt::Critical, s.msgTitle);
        // A failure closes the connection in any case.
        if (!scope)
            scope.emplace(s);
    }
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
        if (isPlainEnter(key)) {
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
