#include "query/frmMainBillFind.h"

#include "modules/Session.h"
#include "modules/CodeSelectors.h"
#include "modules/SetupIni.h"
#include "platform/Clock.h"
#include "platform/EnterKey.h"
#include "platform/Prompt.h"
#include "platform/VbConvert.h"
#include "query/ConditionGridDelegate.h"
#include "query/SchemeStore.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDateEdit>
#include <QEventLoop>
#include <QFrame>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>

namespace {
QPointer<frmMainBillFind> g_instance;

const QString kOptionSection = QStringLiteral("OvStock");

QString optionKey(const Session &s)
{
    return QStringLiteral("A") + QString::number(s.gBillTypeId);
}

// Widget row/column of a grid cell (the grid counts from 1).
constexpr int widgetIndex(int oneBased) { return oneBased - 1; }

// The opener of a dialog that was given none of its own.
QueryOpener &defaultOpener()
{
    static QueryOpener opener;
    return opener;
}

// Shows the text of a statement the database refused, if there is one.
void showError(const Session &s, const QString &error)
{
    if (!error.isEmpty())
        Prompt::msgBox(error, Prompt::Critical, s.msgTitle);
}

// Which selector a coded field opens: goods for item type 0 or an unknown
// field, otherwise the basic data of its code class.
std::optional<SelectedCode> selectCode(Session &s, const QString &classId, const QString &itemType, QWidget *parent)
{
    if (itemType.trimmed() == u"0" || !ConditionTable::hasCodeClass(classId))
        return codeSelector().selectGoods(s, s.gSeekItem, s.DBConnectionString, parent);
    bool ok = false;
    const int classNumber = classId.trimmed().toInt(&ok);
    if (!ok)
        return std::nullopt;
    return codeSelector().selectBasicData(s, classNumber, parent);
}
} // namespace

// ------------------------------------------------------------ instances

void frmMainBillFind::setDefaultOpener(QueryOpener opener)
{
    defaultOpener() = std::move(opener);
}

QueryOpener frmMainBillFind::opener() const
{
    return m_opener.fill ? m_opener : defaultOpener();
}

frmMainBillFind *frmMainBillFind::instance(Session &s)
{
    if (!g_instance)
        g_instance = new frmMainBillFind(s);
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

void frmMainBillFind::showQuery(Session &s)
{
    instance(s)->showModal();
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

frmMainBillFind::frmMainBillFind(Session &s, QWidget *parent)
    : QDialog(parent), m_session(s)
{
    setObjectName(QStringLiteral("frmMainBillFind"));
    computeIniPath(s);
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
    connect(clear, &QPushButton::clicked, this, &frmMainBillFind::cmdClearSeek_Click);
    connect(ok, &QPushButton::clicked, this, &frmMainBillFind::cmdXPOK_Click);
    connect(close, &QPushButton::clicked, this, &frmMainBillFind::cmdXPClose_Click);

    QString error;
    if (std::optional<FieldCatalogue> catalogue = loadFieldCatalogue(s, s.gBillTypeId, &error)) {
        m_catalogue = *catalogue;
        m_catalogueLoaded = true;
    } else {
        showError(s, error);
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

void frmMainBillFind::prepareGrid()
{
    // Without the catalogue (no connection) the grid offers no fields.
    m_delegate->setCaptions(m_catalogueLoaded ? m_catalogue.list(FieldCatalogue::Caption) : QStringList());
}

void frmMainBillFind::fillFilterLists()
{
    Session &s = m_session;
    m_withPeriod = FixedFilters::offersPeriod(s.gCurrentYear);
    for (int list = 0; list < FixedFilters::kListCount; ++list) {
        QComboBox *combo = m_pc[list];
        combo->clear();
        for (const FilterItem &item : FixedFilters::items(list, m_withPeriod))
            combo->addItem(item.text, item.code);
        combo->setCurrentIndex(FixedFilters::allIndex(list, m_withPeriod));
    }
    const int all = FixedFilters::allIndex(FixedFilters::DateRange, m_withPeriod);
    const QString stored = ReadIni(s, kOptionSection, optionKey(s), QString::number(all)).trimmed();
    bool ok = false;
    const int index = stored.toInt(&ok);
    m_pc[FixedFilters::DateRange]->setCurrentIndex(FixedFilters::validIndex(FixedFilters::DateRange, ok ? index : -1, m_withPeriod));
}

void frmMainBillFind::listSchemes()
{
    m_fps3->setRowCount(0);
    QString error;
    const QList<SchemeStore::Scheme> schemes = SchemeStore::list(m_session, &error);
    showError(m_session, error);
    for (const SchemeStore::Scheme &scheme : schemes) {
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
    const std::optional<SelectedCode> code = selectCode(m_session, classId, table.cell(row, ConditionTable::ColItemType), this);
    if (!code)
        return;
    if (QTableWidgetItem *item = m_fps1->item(widgetIndex(row), widgetIndex(ConditionTable::ColValue)))
        item->setText(code->fnumber);
}

void frmMainBillFind::cmdClearSeek_Click()
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
    if (const std::optional<SelectedCode> code = selectCode(m_session, classId, itemType, this))
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

void frmMainBillFind::Pic1_Click(int index)
{
    if (index == 0)
        saveScheme();
    else if (index == 1)
        deleteScheme();
    else
        cmdClearSeek_Click();
}

void frmMainBillFind::saveScheme()
{
    Session &s = m_session;
    const std::optional<QString> name = Prompt::inputBox(SchemeStore::kNamePrompt, s.msgTitle);
    if (!name || name->isEmpty()) {
        Prompt::msgBox(SchemeStore::kNameMissing, Prompt::Exclamation, s.msgTitle);
        return;
    }
    const SchemeStore::SaveResult result = SchemeStore::save(s, *name, conditionTable());
    if (result.status != SchemeStore::SaveResult::Saved) {
        showError(s, result.error);
        return;
    }
    const int row = m_fps3->rowCount();
    m_fps3->insertRow(row);
    m_fps3->setItem(row, 0, new QTableWidgetItem(*name));
    m_fps3->setItem(row, 1, new QTableWidgetItem(QString::number(result.id)));
    Prompt::msgBox(SchemeStore::kSaved, Prompt::Information, s.msgTitle);
}

void frmMainBillFind::deleteScheme()
{
    Session &s = m_session;
    const int row = m_fps3->currentRow();
    if (m_fps3->rowCount() == 0 || row < 0 || row >= m_fps3->rowCount())
        return;
    const QTableWidgetItem *idItem = m_fps3->item(row, 1);
    const QString id = idItem ? idItem->text().trimmed() : QString();
    if (id.isEmpty())
        return;
    if (Prompt::msgBox(SchemeStore::kConfirmDelete, Prompt::YesNo, Prompt::Question, s.msgTitle) != Prompt::Yes)
        return;
    QString error;
    if (!SchemeStore::remove(s, id, &error)) {
        showError(s, error);
        return;
    }
    Prompt::msgBox(SchemeStore::kDeleted, Prompt::Information, s.msgTitle);
    m_fps3->removeRow(row);
    if (m_fps3->rowCount() > 0)
        m_fps3->setCurrentCell(std::min(row, m_fps3->rowCount() - 1), 0);
}

void frmMainBillFind::fps3_Click(int schemeRow)
{
    if (schemeRow < 0 || schemeRow >= m_fps3->rowCount())
        return;
    const QTableWidgetItem *idItem = m_fps3->item(schemeRow, 1);
    const QString id = idItem ? idItem->text().trimmed() : QString();
    if (id.isEmpty())
        return;
    ConditionTable table = conditionTable();
    QString error;
    if (!SchemeStore::load(m_session, id, table, &error)) {
        showError(m_session, error);
        return;
    }
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
    const Session &s = m_session;
    return buildMainSQL(filterCodes(), s.gCurrentYear, s.gCurrentPeriod);
}

QString frmMainBillFind::orderSQL() const
{
    return buildOrderSQL();
}

QString frmMainBillFind::findStatement(const QString &seek, const QString &main, const QString &order) const
{
    const Session &s = m_session;
    const QString statement = buildFindStatement(s.gViewName, seek, main, s.gFindSql, order);
    SchemeStore::readStoredCondition(m_session);
    return statement;
}

void frmMainBillFind::cmdXPOK_Click()
{
    QString seek;
    try {
        seek = seekSQL();
    } catch (const ConditionValueError &e) {
        // A value that is no number or no date: say which, run nothing and
        // stay open for the user to correct it.
        Prompt::msgBox(e.text(), Prompt::Exclamation, m_session.msgTitle);
        return;
    } catch (const ConversionError &) {
        // The dialog stays open for the user to correct the grid.
        return;
    }
    // Nothing of this dialog is touched after the bills are shown: closing
    // them may release the dialog.
    const QueryOpener opener = this->opener();
    if (!opener.fill)
        return;
    {
        WaitCursor wait;
        const QString main = mainSQL();
        const QString order = orderSQL();
        const QueryChoice choice{seek, findStatement(seek, main, order)};
        if (!opener.fill(choice))
            return;
        // Only a condition that ran is kept for the list's refills.
        m_session.gSeekSql = seek;
    }
    hide();
    if (opener.show)
        opener.show();
}

void frmMainBillFind::cmdXPClose_Click()
{
    reject();
}

void frmMainBillFind::done(int result)
{
    QDialog::done(result);
    // While what the dialog filled is open it refills itself through this
    // dialog, which then only hides and keeps its conditions.
    if (const QueryOpener opener = this->opener(); opener.closing && opener.closing())
        return;
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
    WriteIni(m_session, kOptionSection, optionKey(m_session), QString::number(m_pc[FixedFilters::DateRange]->currentIndex()));
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
    if (isPlainEnter(key)) {
        // Enter acts as Tab in the entry fields.
        if (qobject_cast<QWidget *>(watched)) {
            focusNextChild();
            return true;
        }
    }
    return QDialog::eventFilter(watched, event);
}
