// The query dialog's widgets: the condition grid, the simple page, the
// scheme panel and the fixed filter lists, each with the objectNames the
// dialog's code and its users find them by.
#include "query/frmMainBillFind.h"

#include "query/ConditionGridDelegate.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDateEdit>
#include <QFrame>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QStyle>
#include <QTableWidget>
#include <QToolButton>
#include <QVBoxLayout>

namespace {
// Widget row/column of a grid cell (the grid counts from 1).
constexpr int widgetIndex(int oneBased) { return oneBased - 1; }
} // namespace

QWidget *frmMainBillFind::buildConditionGrid()
{
    m_fps1 = new QTableWidget(ConditionTable::kRows, ConditionTable::kColumns);
    m_fps1->setObjectName(QStringLiteral("fps1"));
    m_fps1->setHorizontalHeaderLabels({QStringLiteral("连接"), QStringLiteral("字段"), QStringLiteral("字段名"), QStringLiteral("类型"),
                                       QStringLiteral("比较"), QStringLiteral("符号"), QStringLiteral("值"), QStringLiteral("代码类别"),
                                       QStringLiteral("代码字段"), QStringLiteral("项目类型")});
    for (int r = 0; r < ConditionTable::kRows; ++r) {
        for (int c = 0; c < ConditionTable::kColumns; ++c) {
            auto *item = new QTableWidgetItem;
            // Row 1 has no connector.
            if (r == 0 && c == widgetIndex(ConditionTable::ColConnector))
                item->setFlags(item->flags() & ~Qt::ItemIsEditable);
            m_fps1->setItem(r, c, item);
        }
    }
    m_delegate = new ConditionGridDelegate(m_fps1);
    m_fps1->setItemDelegate(m_delegate);
    m_fps1->setSelectionMode(QAbstractItemView::SingleSelection);
    m_fps1->setEditTriggers(QAbstractItemView::DoubleClicked | QAbstractItemView::SelectedClicked
                            | QAbstractItemView::EditKeyPressed | QAbstractItemView::AnyKeyPressed);
    m_fps1->verticalHeader()->setDefaultSectionSize(26);
    m_fps1->verticalHeader()->setSectionResizeMode(QHeaderView::Stretch);
    m_fps1->horizontalHeader()->setStretchLastSection(false);
    m_fps1->setColumnWidth(widgetIndex(ConditionTable::ColConnector), 56);
    m_fps1->setColumnWidth(widgetIndex(ConditionTable::ColCaption), 150);
    m_fps1->setColumnWidth(widgetIndex(ConditionTable::ColOperator), 100);
    m_fps1->setColumnWidth(widgetIndex(ConditionTable::ColValue), 200);
    m_fps1->horizontalHeader()->setSectionResizeMode(widgetIndex(ConditionTable::ColValue), QHeaderView::Stretch);
    for (int hidden : {ConditionTable::ColFieldName, ConditionTable::ColKind, ConditionTable::ColSymbol, ConditionTable::ColClassId,
                       ConditionTable::ColNumberName, ConditionTable::ColItemType})
        m_fps1->setColumnHidden(widgetIndex(hidden), true);
    m_fps1->installEventFilter(this);

    connect(m_delegate, &ConditionGridDelegate::captionChosen, this, &frmMainBillFind::chooseCaption);
    connect(m_delegate, &ConditionGridDelegate::operatorChosen, this, &frmMainBillFind::chooseOperator);
    connect(m_delegate, &ConditionGridDelegate::lookupRequested, this, &frmMainBillFind::lookupValue);
    return m_fps1;
}

QList<frmMainBillFind::TextBox> frmMainBillFind::textBoxDefinitions()
{
    // Tag: caption, "1" for a coded field (F7 picks the code), view column.
    return {
        {QStringLiteral("单据编号"), QStringLiteral("单据编号,0,fbillno")},
        {QStringLiteral("供应商代码"), QStringLiteral("供应商代码,1,fSupplyIdNumber")},
        {QStringLiteral("供应商"), QStringLiteral("供应商,0,fSupplyIdName")},
        {QStringLiteral("部门"), QStringLiteral("部门,0,fDeptIdName")},
        {QStringLiteral("发票号码"), QStringLiteral("发票号码,0,fInvoiceNo")},
        {QStringLiteral("备注"), QStringLiteral("备注,0,fNote")},
    };
}

QWidget *frmMainBillFind::buildSimplePage()
{
    m_frame1 = new QFrame;
    m_frame1->setObjectName(QStringLiteral("Frame1"));
    m_frame1->setFrameShape(QFrame::StyledPanel);
    auto *grid = new QGridLayout(m_frame1);
    grid->setColumnStretch(1, 1);
    grid->setColumnStretch(4, 1);

    m_dtp0 = new QDateEdit;
    m_dtp0->setObjectName(QStringLiteral("dtp_0"));
    m_dtp1 = new QDateEdit;
    m_dtp1->setObjectName(QStringLiteral("dtp_1"));
    for (QDateEdit *d : {m_dtp0, m_dtp1}) {
        d->setCalendarPopup(true);
        d->setDisplayFormat(QStringLiteral("yyyy-MM-dd"));
        d->installEventFilter(this);
    }
    // Every entry field leaves room at its right for a seek picture, so
    // that the fields line up.
    const int pictureWidth = QToolButton().sizeHint().width() + 2;
    auto field = [pictureWidth](QWidget *w) {
        auto *cell = new QHBoxLayout;
        cell->setSpacing(2);
        cell->addWidget(w, 1);
        cell->addSpacing(pictureWidth);
        return cell;
    };
    grid->addWidget(new QLabel(QStringLiteral("开始日期")), 0, 0);
    grid->addLayout(field(m_dtp0), 0, 1);
    grid->addWidget(new QLabel(QStringLiteral("结束日期")), 0, 3);
    grid->addLayout(field(m_dtp1), 0, 4);

    const QList<TextBox> boxes = textBoxDefinitions();
    for (int i = 0; i < boxes.size(); ++i) {
        auto *edit = new QLineEdit;
        edit->setObjectName(QStringLiteral("txt_%1").arg(i));
        edit->setProperty("tag", boxes[i].tag);
        edit->installEventFilter(this);
        auto *seek = new QToolButton;
        seek->setObjectName(QStringLiteral("ImgSeek_%1").arg(i));
        seek->setIcon(style()->standardIcon(QStyle::SP_FileDialogContentsView));
        seek->setToolTip(QStringLiteral("选择代码 (F7)"));
        seek->setAutoRaise(true);
        const bool coded = boxes[i].tag.split(u',').value(1) == u"1";
        if (!coded)
            seek->hide();
        connect(seek, &QToolButton::clicked, this, [this, i] {
            seekCode(i);
            m_txt[i]->setFocus();
        });
        m_txt << edit;
        m_imgSeek << seek;
        // Two boxes per line: label, box, picture.
        const int line = 1 + i / 2;
        const int column = (i % 2) * 3;
        grid->addWidget(new QLabel(boxes[i].caption), line, column);
        auto *cell = new QHBoxLayout;
        cell->setSpacing(2);
        cell->addWidget(edit, 1);
        cell->addWidget(seek);
        if (!coded)
            cell->addSpacing(pictureWidth);
        grid->addLayout(cell, line, column + 1);
    }
    grid->setRowStretch(1 + int(boxes.size() + 1) / 2, 1);
    auto *hint = new QLabel(QStringLiteral("文本框中输入的内容按“包含”匹配；带选择按钮的代码框也可按 F7 选择。"));
    hint->setWordWrap(true);
    hint->setStyleSheet(QStringLiteral("color: #666666;"));
    grid->addWidget(hint, 2 + int(boxes.size() + 1) / 2, 0, 1, 5);
    return m_frame1;
}

QWidget *frmMainBillFind::buildSchemePanel()
{
    auto *box = new QGroupBox(QStringLiteral("查询方案"));
    auto *layout = new QVBoxLayout(box);
    auto *buttons = new QHBoxLayout;
    const struct {
        const char16_t *caption;
        QStyle::StandardPixmap icon;
    } pics[] = {{u"保存", QStyle::SP_DialogSaveButton}, {u"删除", QStyle::SP_TrashIcon}, {u"清除", QStyle::SP_DialogResetButton}};
    for (int i = 0; i < 3; ++i) {
        auto *b = new QToolButton;
        b->setObjectName(QStringLiteral("Pic1_%1").arg(i));
        b->setText(QString::fromUtf16(pics[i].caption));
        b->setIcon(style()->standardIcon(pics[i].icon));
        b->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
        buttons->addWidget(b);
        connect(b, &QToolButton::clicked, this, [this, i] { Pic1_Click(i); });
    }
    buttons->addStretch(1);
    layout->addLayout(buttons);

    m_fps3 = new QTableWidget(0, 2);
    m_fps3->setObjectName(QStringLiteral("fps3"));
    m_fps3->setHorizontalHeaderLabels({QStringLiteral("方案名称"), QStringLiteral("编号")});
    m_fps3->horizontalHeader()->setSectionResizeMode(0, QHeaderView::Stretch);
    m_fps3->setColumnHidden(1, true);
    m_fps3->verticalHeader()->hide();
    m_fps3->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_fps3->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_fps3->setSelectionMode(QAbstractItemView::SingleSelection);
    connect(m_fps3, &QTableWidget::cellClicked, this, [this](int row, int) { fps3_Click(row); });
    layout->addWidget(m_fps3, 1);
    return box;
}

QWidget *frmMainBillFind::buildFilterLists()
{
    auto *box = new QGroupBox(QStringLiteral("过滤条件"));
    auto *layout = new QHBoxLayout(box);
    // Shown in this order; named by their list index.
    const struct {
        int list;
        const char16_t *caption;
    } lists[] = {{FixedFilters::DateRange, u"日期范围"}, {FixedFilters::Audit, u"审核状态"}, {FixedFilters::Cancellation, u"作废状态"},
                 {FixedFilters::RedBlue, u"红蓝字"}, {FixedFilters::Matching, u"钩稽状态"}};
    m_pc.resize(FixedFilters::kListCount);
    for (const auto &l : lists) {
        auto *combo = new QComboBox;
        combo->setObjectName(QStringLiteral("PC_%1").arg(l.list));
        combo->setMinimumWidth(90);
        combo->installEventFilter(this);
        m_pc[l.list] = combo;
        layout->addWidget(new QLabel(QString::fromUtf16(l.caption)));
        layout->addWidget(combo);
        layout->addSpacing(8);
    }
    layout->addStretch(1);
    return box;
}
