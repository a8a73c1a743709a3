#include "modules/CodeSelectors.h"

#include "modules/Session.h"
#include "modules/ConnectionRoutines.h"
#include "platform/Amount.h"
#include "platform/Connection.h"
#include "platform/DbError.h"
#include "platform/Prompt.h"
#include "platform/SearchListKeys.h"

#include <QApplication>
#include <QDialogButtonBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTableView>
#include <QVBoxLayout>

#include <memory>

namespace {
CodeSelector *g_installed = nullptr;

enum GoodsColumn { GoodsNumber, GoodsName, GoodsModel, GoodsPrice, GoodsColumnCount };
enum BasicColumn { BasicNumber, BasicName, BasicColumnCount };

// Runs `work` on the session's shared connection. A connection that the
// caller already holds open is used and left open; otherwise it is opened
// for the work and closed afterwards, on every path.
template <typename Work>
auto onSharedConnection(Session &s, Work work)
{
    const bool wasOpen = bool(s.gConn);
    if (wasOpen)
        return work(*s.gConn);
    OpenConnection(s);
    ConnectionScope scope(s);
    return work(*s.gConn);
}

// Runs `work` on the database of `connectionString`: the shared connection
// when the string is empty or the session's own, otherwise a connection of
// its own for the duration of the work.
template <typename Work>
auto onDatabase(Session &s, const QString &connectionString, Work work)
{
    if (connectionString.isEmpty() || connectionString == s.DBConnectionString)
        return onSharedConnection(s, work);
    Connection conn(connectionString);
    conn.open();
    return work(conn);
}

void showDbError(const Session &s, const DbError &e)
{
    Prompt::msgBox(e.description(), Prompt::Critical, s.msgTitle);
}
} // namespace

void setCodeSelector(CodeSelector *selector)
{
    g_installed = selector;
}

CodeSelector &codeSelector()
{
    static DefaultCodeSelector fallback;
    return g_installed ? *g_installed : fallback;
}

QString goodsListSql()
{
    // Every column, so that the user's search column is there whatever the
    // host's view adds.
    return QStringLiteral("select * from vICItem where fislock=0 order by fNumber");
}

QString basicDataListSql(int itemClassId)
{
    return QStringLiteral("select fitemid,fnumber,fname from tblItem where fitemclassid=") + QString::number(itemClassId)
        + QStringLiteral(" and fisdetail=1 and isnull(fislock,0)=0 order by fnumber");
}

std::vector<CodeRow> readGoods(Connection &conn, const QString &seekColumn)
{
    Recordset rs = conn.openRecordset(goodsListSql());
    const bool hasSeek = !seekColumn.isEmpty() && rs.hasField(seekColumn);
    std::vector<CodeRow> rows;
    rows.reserve(size_t(rs.recordCount()));
    for (; !rs.eof(); rs.moveNext()) {
        CodeRow row;
        row.fitemid = rs.text(QStringLiteral("fitemid"));
        row.fnumber = rs.text(QStringLiteral("fNumber"));
        row.fname = rs.text(QStringLiteral("fname"));
        row.fmodel = rs.text(QStringLiteral("fmodel"));
        if (!rs.isNull(QStringLiteral("fInPrice")))
            row.price = rs.amount(QStringLiteral("fInPrice")).toString();
        if (hasSeek)
            row.seek = rs.text(seekColumn);
        rows.push_back(std::move(row));
    }
    return rows;
}

std::vector<CodeRow> readBasicData(Connection &conn, int itemClassId)
{
    Recordset rs = conn.openRecordset(basicDataListSql(itemClassId));
    std::vector<CodeRow> rows;
    rows.reserve(size_t(rs.recordCount()));
    for (; !rs.eof(); rs.moveNext()) {
        CodeRow row;
        row.fitemid = rs.text(QStringLiteral("fitemid"));
        row.fnumber = rs.text(QStringLiteral("fnumber"));
        row.fname = rs.text(QStringLiteral("fname"));
        rows.push_back(std::move(row));
    }
    return rows;
}

QString basicDataCaption(Connection &conn, int itemClassId)
{
    const Recordset rs = conn.openRecordset(QStringLiteral("select fname from tblItemclass where fitemclassid=")
                                            + QString::number(itemClassId));
    const QString name = rs.eof() ? QString() : rs.text(QStringLiteral("fname")).trimmed();
    return QStringLiteral("选择") + (name.isEmpty() ? QStringLiteral("代码") : name);
}

std::vector<int> filterCodeRows(const std::vector<CodeRow> &rows, const QString &text)
{
    const QString wanted = text.trimmed();
    std::vector<int> shown;
    shown.reserve(rows.size());
    for (size_t i = 0; i < rows.size(); ++i) {
        const CodeRow &r = rows[i];
        if (wanted.isEmpty() || r.seek.contains(wanted, Qt::CaseInsensitive) || r.fnumber.contains(wanted, Qt::CaseInsensitive)
            || r.fname.contains(wanted, Qt::CaseInsensitive) || r.fmodel.contains(wanted, Qt::CaseInsensitive))
            shown.push_back(int(i));
    }
    return shown;
}

// ---------------------------------------------------------------------------

CodeListModel::CodeListModel(Kind kind, int priceDecimals, QObject *parent)
    : QAbstractTableModel(parent), m_kind(kind), m_priceDecimals(qBound(0, priceDecimals, Amount::Decimals))
{
}

void CodeListModel::setRows(std::vector<CodeRow> rows)
{
    beginResetModel();
    m_rows = std::move(rows);
    m_shown = filterCodeRows(m_rows, QString());
    endResetModel();
}

void CodeListModel::setFilter(const QString &text)
{
    beginResetModel();
    m_shown = filterCodeRows(m_rows, text);
    endResetModel();
}

const CodeRow *CodeListModel::rowAt(int listRow) const
{
    if (listRow < 0 || listRow >= int(m_shown.size()))
        return nullptr;
    return &m_rows[size_t(m_shown[size_t(listRow)])];
}

int CodeListModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_shown.size());
}

int CodeListModel::columnCount(const QModelIndex &parent) const
{
    if (parent.isValid())
        return 0;
    return m_kind == Kind::Goods ? int(GoodsColumnCount) : int(BasicColumnCount);
}

QVariant CodeListModel::data(const QModelIndex &index, int role) const
{
    const CodeRow *row = index.isValid() ? rowAt(index.row()) : nullptr;
    if (!row)
        return {};
    const bool isPrice = m_kind == Kind::Goods && index.column() == GoodsPrice;
    if (role == Qt::TextAlignmentRole)
        return isPrice ? int(Qt::AlignRight | Qt::AlignVCenter) : int(Qt::AlignLeft | Qt::AlignVCenter);
    if (role != Qt::DisplayRole)
        return {};
    switch (index.column()) {
    case 0: return row->fnumber;
    case 1: return row->fname;
    case 2: return row->fmodel;
    case 3: {
        // Shown with the workstation's price decimals; the exact value stays
        // in the row.
        const std::optional<Amount> price = Amount::parse(row->price);
        return price ? price->toFixed(m_priceDecimals) : QString();
    }
    default: return {};
    }
}

QVariant CodeListModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return QAbstractTableModel::headerData(section, orientation, role);
    switch (section) {
    case 0: return QStringLiteral("代码");
    case 1: return QStringLiteral("名称");
    case 2: return QStringLiteral("规格型号");
    case 3: return QStringLiteral("进价");
    default: return {};
    }
}

// ---------------------------------------------------------------------------

CodeSelectorDialog::CodeSelectorDialog(CodeListModel::Kind kind, int priceDecimals, QWidget *parent)
    : QDialog(parent)
{
    const bool goods = kind == CodeListModel::Kind::Goods;
    setObjectName(goods ? QStringLiteral("frmGoodsSelector") : QStringLiteral("frmItemSelector"));
    setWindowTitle(goods ? QStringLiteral("选择商品") : QStringLiteral("选择代码"));

    auto *label = new QLabel(QStringLiteral("查找:"), this);
    label->setObjectName(QStringLiteral("lblSearch"));
    m_search = new QLineEdit(this);
    m_search->setObjectName(QStringLiteral("txtSearch"));
    m_search->setPlaceholderText(goods ? QStringLiteral("输入代码、名称或规格型号的一部分")
                                       : QStringLiteral("输入代码或名称的一部分"));
    m_search->setClearButtonEnabled(true);
    label->setBuddy(m_search);

    m_model = new CodeListModel(kind, priceDecimals, this);
    m_list = new QTableView(this);
    m_list->setObjectName(QStringLiteral("lstCodes"));
    m_list->setModel(m_model);
    m_list->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_list->setSelectionMode(QAbstractItemView::SingleSelection);
    m_list->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_list->setAlternatingRowColors(true);
    m_list->setWordWrap(false);
    m_list->setFocusPolicy(Qt::ClickFocus);
    m_list->verticalHeader()->hide();
    m_list->verticalHeader()->setDefaultSectionSize(m_list->fontMetrics().height() + 8);
    m_list->horizontalHeader()->setHighlightSections(false);
    m_list->horizontalHeader()->setDefaultAlignment(Qt::AlignCenter);
    m_list->horizontalHeader()->setStretchLastSection(true);

    const int em = m_list->fontMetrics().horizontalAdvance(QStringLiteral("名"));
    if (goods) {
        m_list->setColumnWidth(GoodsNumber, em * 8);
        m_list->setColumnWidth(GoodsName, em * 16);
        m_list->setColumnWidth(GoodsModel, em * 11);
        m_list->setColumnWidth(GoodsPrice, em * 7);
    } else {
        m_list->setColumnWidth(BasicNumber, em * 8);
        m_list->setColumnWidth(BasicName, em * 22);
    }

    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    buttons->setObjectName(QStringLiteral("buttons"));
    buttons->button(QDialogButtonBox::Ok)->setText(QStringLiteral("确定"));
    buttons->button(QDialogButtonBox::Ok)->setObjectName(QStringLiteral("cmdOK"));
    buttons->button(QDialogButtonBox::Cancel)->setText(QStringLiteral("取消"));
    buttons->button(QDialogButtonBox::Cancel)->setObjectName(QStringLiteral("cmdCancel"));
    // Enter is the search box's; the buttons are for the mouse.
    for (QAbstractButton *b : buttons->buttons()) {
        if (auto *push = qobject_cast<QPushButton *>(b)) {
            push->setAutoDefault(false);
            push->setDefault(false);
        }
        b->setFocusPolicy(Qt::NoFocus);
    }

    auto *searchRow = new QHBoxLayout;
    searchRow->addWidget(label);
    searchRow->addWidget(m_search, 1);
    auto *layout = new QVBoxLayout(this);
    layout->addLayout(searchRow);
    layout->addWidget(m_list, 1);
    layout->addWidget(buttons);
    resize(goods ? em * 48 : em * 36, em * 32);

    connect(m_search, &QLineEdit::textChanged, this, &CodeSelectorDialog::txtSearch_Change);
    connect(m_list, &QAbstractItemView::doubleClicked, this, [this](const QModelIndex &index) {
        if (!index.isValid())
            return;
        setCurrentListRow(index.row());
        choose();
    });
    connect(buttons, &QDialogButtonBox::accepted, this, &CodeSelectorDialog::choose);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    m_search->installEventFilter(this);
    m_list->installEventFilter(this);
    m_search->setFocus();
}

CodeSelectorDialog *CodeSelectorDialog::forGoods(Session &s, const QString &seekColumn, const QString &connectionString,
                                                 QWidget *parent)
{
    auto *dialog = new CodeSelectorDialog(CodeListModel::Kind::Goods, s.intPriceNumber, parent);
    std::vector<CodeRow> rows;
    {
        WaitCursor wait;
        try {
            rows = onDatabase(s, connectionString, [&](Connection &conn) { return readGoods(conn, seekColumn); });
        } catch (const DbError &e) {
            rows.clear();
            showDbError(s, e);
        }
    }
    dialog->setRows(std::move(rows));
    return dialog;
}

CodeSelectorDialog *CodeSelectorDialog::forBasicData(Session &s, int itemClassId, QWidget *parent)
{
    auto *dialog = new CodeSelectorDialog(CodeListModel::Kind::BasicData, s.intPriceNumber, parent);
    std::vector<CodeRow> rows;
    QString caption;
    {
        WaitCursor wait;
        try {
            onSharedConnection(s, [&](Connection &conn) {
                rows = readBasicData(conn, itemClassId);
                caption = basicDataCaption(conn, itemClassId);
                return 0;
            });
        } catch (const DbError &e) {
            rows.clear();
            showDbError(s, e);
        }
    }
    if (!caption.isEmpty())
        dialog->setWindowTitle(caption);
    dialog->setRows(std::move(rows));
    return dialog;
}

void CodeSelectorDialog::setRows(std::vector<CodeRow> rows)
{
    m_model->setRows(std::move(rows));
    txtSearch_Change(); // filter the new rows by the text already typed
}

void CodeSelectorDialog::txtSearch_Change()
{
    m_model->setFilter(m_search->text());
    setCurrentListRow(0);
}

int CodeSelectorDialog::shownRows() const
{
    return m_model->rowCount();
}

int CodeSelectorDialog::currentListRow() const
{
    const QModelIndex current = m_list->currentIndex();
    return current.isValid() ? current.row() : -1;
}

void CodeSelectorDialog::setCurrentListRow(int row)
{
    if (row < 0 || row >= m_model->rowCount())
        return;
    const QModelIndex index = m_model->index(row, 0);
    m_list->selectionModel()->setCurrentIndex(index, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    m_list->scrollTo(index);
}

void CodeSelectorDialog::choose()
{
    const CodeRow *row = m_model->rowAt(currentListRow());
    if (!row)
        return;
    SelectedCode code;
    code.fitemid = row->fitemid;
    code.fnumber = row->fnumber;
    code.fname = row->fname;
    code.fmodel = row->fmodel;
    m_selected = code;
    accept();
}

bool CodeSelectorDialog::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() != QEvent::KeyPress)
        return QDialog::eventFilter(watched, event);
    switch (routeSearchListKey(watched, static_cast<QKeyEvent *>(event), m_search, m_list)) {
    case SearchKeyAction::Choose:
        choose();
        return true;
    case SearchKeyAction::Navigated:
        if (currentListRow() < 0)
            setCurrentListRow(0);
        return true;
    case SearchKeyAction::Typed:
        return true;
    case SearchKeyAction::None:
        break;
    }
    return QDialog::eventFilter(watched, event);
}

// ---------------------------------------------------------------------------

namespace {
std::optional<SelectedCode> runSelector(CodeSelectorDialog *dialog)
{
    std::unique_ptr<CodeSelectorDialog> owner(dialog);
    if (dialog->exec() != QDialog::Accepted)
        return std::nullopt;
    return dialog->selected();
}
} // namespace

std::optional<SelectedCode> DefaultCodeSelector::selectGoods(Session &s, const QString &seekColumn, const QString &connectionString,
                                                             QWidget *parent)
{
    return runSelector(CodeSelectorDialog::forGoods(s, seekColumn, connectionString, parent));
}

std::optional<SelectedCode> DefaultCodeSelector::selectBasicData(Session &s, int itemClassId, QWidget *parent)
{
    return runSelector(CodeSelectorDialog::forBasicData(s, itemClassId, parent));
}
