#include "query/frmMainBillFind.h"

#include "modules/Session.h"
#include "list/frmMainBillResult.h"
#include "modules/CodeSelectors.h"
#include "modules/ConnectionRoutines.h"
#include "modules/SetupIni.h"
#include "platform/Clock.h"
#include "platform/DbError.h"
#include "platform/Prompt.h"
#include "platform/Recordset.h"
#include "platform/VbConvert.h"
#include "query/ConditionGridDelegate.h"
#include "query/SchemeStore.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDateEdit>
#include <QEventLoop>
#include <QFrame>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QStyle>
#include <QTableWidget>
#include <QToolButton>
#include <QVBoxLayout>

namespace {
QPointer<frmMainBillFind> g_instance;

const QString kOptionSection = QStringLiteral("OvStock");

QString optionKey()
{
    return QStringLiteral("A") + QString::number(session().gBillTypeId);
}

// Widget row/column of a grid cell (the grid counts from 1).
constexpr int widgetIndex(int oneBased) { return oneBased - 1; }

// The user's stored default condition is read with every find, as the
// module always did; nothing uses it yet. The connection is left open for
// the fill that follows, which closes it.
void readStoredCondition()
{
    Session &s = session();
    // The user id goes in unquoted: a login that is no number has no row.
    bool numericUser = false;
    s.gLoginUserId.trimmed().toLongLong(&numericUser);
    if (!numericUser)
        return;
    try {
        OpenConnection();
        s.gConn->openRecordset(QStringLiteral("select isnull(fsql,'') as fsql from tblFindSeek where fuserid=") + s.gLoginUserId.trimmed()
                               + QStringLiteral(" and ftypeid=") + QString::number(s.gBillTypeId));
    } catch (const DbError &) {
        // The fill reports a connection or database that does not answer.
    }
}

// Which selector a coded field opens: goods for item type 0 or an unknown
// field, otherwise the basic data of its code class.
std::optional<SelectedCode> selectCode(const QString &classId, const QString &itemType, QWidget *parent)
{
    Session &s = session();
    if (itemType.trimmed() == u"0" || !ConditionTable::hasCodeClass(classId))
        return codeSelector().selectGoods(s.gSeekItem, s.DBConnectionString, parent);
    bool ok = false;
    const int classNumber = classId.trimmed().toInt(&ok);
    if (!ok)
        return std::nullopt;
    return codeSelector().selectBasicData(classNumber, parent);
}
} // namespace

// ------------------------------------------------------------ instances

frmMainBillFind *frmMainBillFind::instance()
{
    if (!g_instance)
        g_instance = new frmMainBillFind;
    return g_instance;
}

frmMainBillFind *frmMainBillFind::existingInstance()
{
    return g_instance;
}

void frmMainBillFind::releaseInstance()
{
    if (!g_instance)
        return;
    frmMainBillFind *dialog = g_instance;
    g_instance = nullptr;
    dialog->unload();
    dialog->hide();
    dialog->deleteLater();
}

void frmMainBillFind::showQuery()
{
    instance()->showModal();
}

void frmMainBillFind::showModal()
{
    setWindowModality(Qt::ApplicationModal);
    show();
    raise();
    activateWindow();
    if (isHidden())
        return;
    QEventLoop loop;
    connect(this, &frmMainBillFind::dismissed, &loop, &QEventLoop::quit);
    connect(this, &QObject::destroyed, &loop, &QEventLoop::quit);
    loop.exec(QEventLoop::DialogExec);
}

// ------------------------------------------------------------- Form_Load

frmMainBillFind::frmMainBillFind(QWidget *parent)
    : QDialog(parent)
{
    Session &s = session();
    setObjectName(QStringLiteral("frmMainBillFind"));
    computeIniPath();
    setWindowTitle(s.gBillName + QStringLiteral("查询"));
    setWindowFlags(windowFlags() & ~Qt::WindowContextHelpButtonHint);

    auto *conditions = new QVBoxLayout;
    m_check1 = new QCheckBox(QStringLiteral("使用条件表查询"));
    m_check1->setObjectName(QStringLiteral("Check1"));
    conditions->addWidget(m_check1);
    conditions->addWidget(buildConditionGrid(), 1);
    conditions->addWidget(buildSimplePage(), 1);

    auto *top = new QHBoxLayout;
    top->addLayout(conditions, 3);
    top->addWidget(buildSchemePanel(), 1);

    auto *buttons = new QHBoxLayout;
    auto *clear = new QPushButton(QStringLiteral("清除条件"));
    clear->setObjectName(QStringLiteral("cmdClearSeek"));
    auto *ok = new QPushButton(QStringLiteral("确定"));
    ok->setObjectName(QStringLiteral("cmdXPOK"));
    auto *close = new QPushButton(QStringLiteral("关闭"));
    close->setObjectName(QStringLiteral("cmdXPClose"));
    // Enter moves between fields; only a click (or Space) runs a button.
    for (QPushButton *b : {clear, ok, close}) {
        b->setAutoDefault(false);
        b->setDefault(false);
        b->setMinimumWidth(88);
    }
    buttons->addStretch(1);
    buttons->addWidget(clear);
    buttons->addWidget(ok);
    buttons->addWidget(close);

    auto *layout = new QVBoxLayout(this);
    layout->addLayout(top, 1);
    layout->addWidget(buildFilterLists());
    layout->addLayout(buttons);

    connect(m_check1, &QCheckBox::toggled, this, [this](bool grid) { setUsesGrid(grid); });
    connect(clear, &QPushButton::clicked, this, &frmMainBillFind::clearConditions);
    connect(ok, &QPushButton::clicked, this, &frmMainBillFind::cmdXPOK);
    connect(close, &QPushButton::clicked, this, &frmMainBillFind::cmdXPClose);

    if (std::optional<FieldCatalogue> catalogue = loadFieldCatalogue(s.gBillTypeId)) {
        m_catalogue = *catalogue;
        m_catalogueLoaded = true;
    }
    prepareGrid();
    fillFilterLists();
    const QDate today = Clock::today();
    m_dtp0->setDate(today.addMonths(-1));
    m_dtp1->setDate(today);
    listSchemes();
    for (int row = 1; row <= ConditionTable::kRows; ++row) {
        if (!conditionTable().cell(row, ConditionTable::ColCaption).isEmpty())
            setupRowEditors(row);
    }
    setUsesGrid(false);
    resize(900, 560);
}

frmMainBillFind::~frmMainBillFind()
{
    if (g_instance == this)
        g_instance = nullptr;
}

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
        if (i == 0)
            connect(b, &QToolButton::clicked, this, &frmMainBillFind::saveScheme);
        else if (i == 1)
            connect(b, &QToolButton::clicked, this, &frmMainBillFind::deleteScheme);
        else
            connect(b, &QToolButton::clicked, this, &frmMainBillFind::clearConditions);
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
    connect(m_fps3, &QTableWidget::cellClicked, this, [this](int row, int) { loadScheme(row); });
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

void frmMainBillFind::prepareGrid()
{
    // Without the catalogue (no connection) the grid offers no fields.
    m_delegate->setCaptions(m_catalogueLoaded ? m_catalogue.list(FieldCatalogue::Caption) : QStringList());
}

void frmMainBillFind::fillFilterLists()
{
    Session &s = session();
    m_withPeriod = FixedFilters::offersPeriod(s.gCurrentYear);
    for (int list = 0; list < FixedFilters::kListCount; ++list) {
        QComboBox *combo = m_pc[list];
        combo->clear();
        for (const FilterItem &item : FixedFilters::items(list, m_withPeriod))
            combo->addItem(item.text, item.code);
        combo->setCurrentIndex(FixedFilters::allIndex(list, m_withPeriod));
    }
    const int all = FixedFilters::allIndex(FixedFilters::DateRange, m_withPeriod);
    const QString stored = ReadIni(kOptionSection, optionKey(), QString::number(all)).trimmed();
    bool ok = false;
    const int index = stored.toInt(&ok);
    m_pc[FixedFilters::DateRange]->setCurrentIndex(FixedFilters::validIndex(FixedFilters::DateRange, ok ? index : -1, m_withPeriod));
}

void frmMainBillFind::listSchemes()
{
    m_fps3->setRowCount(0);
    for (const SchemeStore::Scheme &scheme : SchemeStore::list()) {
        const int row = m_fps3->rowCount();
        m_fps3->insertRow(row);
        m_fps3->setItem(row, 0, new QTableWidgetItem(scheme.name));
        m_fps3->setItem(row, 1, new QTableWidgetItem(scheme.id));
    }
}

// ------------------------------------------------------------- the grid

ConditionTable frmMainBillFind::conditionTable() const
{
    ConditionTable table;
    for (int r = 1; r <= ConditionTable::kRows; ++r) {
        for (int c = 1; c <= ConditionTable::kColumns; ++c) {
            if (const QTableWidgetItem *item = m_fps1->item(widgetIndex(r), widgetIndex(c)))
                table.setCell(r, c, item->text());
        }
    }
    return table;
}

void frmMainBillFind::setConditionTable(const ConditionTable &table)
{
    for (int r = 1; r <= ConditionTable::kRows; ++r)
        writeRow(r, table);
}

void frmMainBillFind::writeRow(int row, const ConditionTable &table)
{
    for (int c = 1; c <= ConditionTable::kColumns; ++c) {
        if (QTableWidgetItem *item = m_fps1->item(widgetIndex(row), widgetIndex(c)))
            item->setText(table.cell(row, c));
    }
}

void frmMainBillFind::setupRowEditors(int row)
{
    ConditionTable table = conditionTable();
    table.applyKindSetup(row);
    writeRow(row, table);
}

void frmMainBillFind::chooseCaption(int row, int listIndex)
{
    ConditionTable table = conditionTable();
    table.chooseCaption(row, listIndex, m_catalogue);
    // An operator left from the field chosen before may not suit this one;
    // the user then picks again from the new field's list.
    const QString op = table.cell(row, ConditionTable::ColOperator);
    const int kind = table.cell(row, ConditionTable::ColKind).trimmed().toInt();
    if (!op.isEmpty() && !operatorNames(kind).contains(op)) {
        table.setCell(row, ConditionTable::ColOperator, QString());
        table.setCell(row, ConditionTable::ColSymbol, QString());
    }
    writeRow(row, table);
}

void frmMainBillFind::chooseOperator(int row, int listIndex)
{
    ConditionTable table = conditionTable();
    if (table.chooseOperator(row, listIndex))
        writeRow(row, table);
}

void frmMainBillFind::lookupValue(int row)
{
    const ConditionTable table = conditionTable();
    const QString classId = table.cell(row, ConditionTable::ColClassId);
    if (!ConditionTable::hasCodeClass(classId))
        return;
    const std::optional<SelectedCode> code = selectCode(classId, table.cell(row, ConditionTable::ColItemType), this);
    if (!code)
        return;
    if (QTableWidgetItem *item = m_fps1->item(widgetIndex(row), widgetIndex(ConditionTable::ColValue)))
        item->setText(code->fnumber);
}

void frmMainBillFind::clearConditions()
{
    setConditionTable(ConditionTable());
    m_fps1->setCurrentCell(0, widgetIndex(ConditionTable::ColCaption));
}

// ---------------------------------------------------------- simple page

TextBoxes frmMainBillFind::textBoxes() const
{
    TextBoxes boxes;
    for (const QLineEdit *edit : m_txt)
        boxes.append({edit->text(), edit->property("tag").toString()});
    return boxes;
}

void frmMainBillFind::seekCode(int index)
{
    if (index < 0 || index >= m_txt.size())
        return;
    const QStringList tag = m_txt[index]->property("tag").toString().split(u',');
    if (tag.value(1) != u"1")
        return;
    // The field's code class comes from the catalogue entry of its column.
    const QString column = tag.value(2);
    QString classId;
    QString itemType;
    for (int i = 1; i <= m_catalogue.fieldCount(); ++i) {
        if (m_catalogue.value(FieldCatalogue::FieldName, i).compare(column, Qt::CaseInsensitive) == 0) {
            classId = m_catalogue.value(FieldCatalogue::ItemClassId, i);
            itemType = m_catalogue.value(FieldCatalogue::ItemType, i);
            break;
        }
    }
    if (const std::optional<SelectedCode> code = selectCode(classId, itemType, this))
        m_txt[index]->setText(code->fnumber);
}

bool frmMainBillFind::usesGrid() const
{
    return m_check1->isChecked();
}

void frmMainBillFind::setUsesGrid(bool grid)
{
    if (m_check1->isChecked() != grid)
        m_check1->setChecked(grid); // comes back here through toggled
    m_fps1->setVisible(grid);
    m_frame1->setVisible(!grid);
}

// --------------------------------------------------------------- schemes

void frmMainBillFind::saveScheme()
{
    Session &s = session();
    const std::optional<QString> name = Prompt::inputBox(SchemeStore::kNamePrompt, s.msgTitle);
    if (!name || name->isEmpty()) {
        Prompt::msgBox(SchemeStore::kNameMissing, Prompt::Exclamation, s.msgTitle);
        return;
    }
    const SchemeStore::SaveResult result = SchemeStore::save(*name, conditionTable());
    if (result.status != SchemeStore::SaveResult::Saved)
        return;
    const int row = m_fps3->rowCount();
    m_fps3->insertRow(row);
    m_fps3->setItem(row, 0, new QTableWidgetItem(*name));
    m_fps3->setItem(row, 1, new QTableWidgetItem(QString::number(result.id)));
    Prompt::msgBox(SchemeStore::kSaved, Prompt::Information, s.msgTitle);
}

void frmMainBillFind::deleteScheme()
{
    Session &s = session();
    const int row = m_fps3->currentRow();
    if (m_fps3->rowCount() == 0 || row < 0 || row >= m_fps3->rowCount())
        return;
    const QTableWidgetItem *idItem = m_fps3->item(row, 1);
    const QString id = idItem ? idItem->text().trimmed() : QString();
    if (id.isEmpty())
        return;
    if (Prompt::msgBox(SchemeStore::kConfirmDelete, Prompt::YesNo, Prompt::Question, s.msgTitle) != Prompt::Yes)
        return;
    if (!SchemeStore::remove(id))
        return;
    Prompt::msgBox(SchemeStore::kDeleted, Prompt::Information, s.msgTitle);
    m_fps3->removeRow(row);
    if (m_fps3->rowCount() > 0)
        m_fps3->setCurrentCell(std::min(row, m_fps3->rowCount() - 1), 0);
}

void frmMainBillFind::loadScheme(int schemeRow)
{
    if (schemeRow < 0 || schemeRow >= m_fps3->rowCount())
        return;
    const QTableWidgetItem *idItem = m_fps3->item(schemeRow, 1);
    const QString id = idItem ? idItem->text().trimmed() : QString();
    if (id.isEmpty())
        return;
    ConditionTable table = conditionTable();
    if (!SchemeStore::load(id, table))
        return;
    setConditionTable(table);
    setUsesGrid(true);
}

// ------------------------------------------------------ building the query

FilterCodes frmMainBillFind::filterCodes() const
{
    FilterCodes codes;
    for (int list = 0; list < FixedFilters::kListCount; ++list) {
        const QComboBox *combo = m_pc[list];
        codes[list] = combo->currentIndex() < 0 ? FixedFilters::kNoSelection : combo->currentData().toInt();
    }
    return codes;
}

QString frmMainBillFind::seekSQL() const
{
    if (usesGrid())
        return buildSeekSQL(conditionTable());
    return buildSeekSQLB(m_dtp0->date(), m_dtp1->date(), textBoxes());
}

QString frmMainBillFind::mainSQL() const
{
    const Session &s = session();
    return buildMainSQL(filterCodes(), s.gCurrentYear, s.gCurrentPeriod);
}

QString frmMainBillFind::orderSQL() const
{
    return buildOrderSQL();
}

bool frmMainBillFind::find(const QString &seek, const QString &main, const QString &order, frmMainBillResult *list)
{
    if (!list)
        return false;
    const Session &s = session();
    const QString statement = buildFindStatement(s.gViewName, seek, main, s.gFindSql, order);
    readStoredCondition();
    return list->fillList(statement);
}

void frmMainBillFind::cmdXPOK()
{
    QString seek;
    try {
        seek = seekSQL();
    } catch (const ConditionValueError &e) {
        // A value that is no number or no date: say which, run nothing and
        // stay open for the user to correct it.
        Prompt::msgBox(e.text(), Prompt::Exclamation, session().msgTitle);
        return;
    } catch (const ConversionError &) {
        // The dialog stays open for the user to correct the grid.
        return;
    }
    frmMainBillResult *list = nullptr;
    {
        WaitCursor wait;
        const QString main = mainSQL();
        const QString order = orderSQL();
        list = frmMainBillResult::instance();
        if (!find(seek, main, order, list))
            return;
        // Only a condition that ran is kept for the list's refills.
        session().gSeekSql = seek;
    }
    hide();
    // Nothing of this dialog is touched after the list closes: closing the
    // list releases the dialog.
    if (!list->isVisible())
        list->exec();
}

void frmMainBillFind::cmdXPClose()
{
    reject();
}

void frmMainBillFind::done(int result)
{
    QDialog::done(result);
    // While the list is open it refills itself through this dialog, which
    // then only hides and keeps its conditions.
    if (frmMainBillResult *list = frmMainBillResult::existingInstance(); list && list->isVisible())
        return;
    frmMainBillResult::discardUnshownInstance();
    if (g_instance == this)
        releaseInstance();
    else
        unload();
}

void frmMainBillFind::unload()
{
    if (m_unloaded)
        return;
    m_unloaded = true;
    WriteIni(kOptionSection, optionKey(), QString::number(m_pc[FixedFilters::DateRange]->currentIndex()));
}

void frmMainBillFind::hideEvent(QHideEvent *event)
{
    QDialog::hideEvent(event);
    emit dismissed();
}

bool frmMainBillFind::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() != QEvent::KeyPress)
        return QDialog::eventFilter(watched, event);
    const auto *key = static_cast<QKeyEvent *>(event);
    if (watched == m_fps1) {
        if (key->key() == Qt::Key_F7 && m_fps1->currentColumn() == widgetIndex(ConditionTable::ColValue)) {
            lookupValue(m_fps1->currentRow() + 1);
            return true;
        }
        return QDialog::eventFilter(watched, event);
    }
    const int box = m_txt.indexOf(qobject_cast<QLineEdit *>(watched));
    if (box >= 0 && key->key() == Qt::Key_F7) {
        seekCode(box);
        return true;
    }
    if ((key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter) && key->modifiers() == Qt::NoModifier) {
        // Enter acts as Tab in the entry fields.
        if (qobject_cast<QWidget *>(watched)) {
            focusNextChild();
            return true;
        }
    }
    return QDialog::eventFilter(watched, event);
}
