// The list's commands: the toolbar and menus, opening the editor, the state
// operations, refills, returning a selection, export and column widths.
#include "list/frmMainBillResult.h"

#include "list/BillListModel.h"
#include "list/ListCommands.h"
#include "list/ListExport.h"
#include "list/frmUninvoiced.h"
#include "modules/FormLauncher.h"
#include "modules/GridLayout.h"
#include "modules/Privilege.h"
#include "modules/Session.h"
#include "platform/FrozenTableView.h"
#include "platform/GridColumns.h"
#include "platform/Prompt.h"
#include "printing/BatchPrinting.h"
#include "query/frmMainBillFind.h"

#include <QLineEdit>
#include <QMenu>

namespace {
// Layout type of the designed widths recorded at the first display.
constexpr std::int16_t kDesignedLayout = 0;

const QString kExported = QStringLiteral("导出成功!");

QString withSuffix(QString file, const QString &suffix)
{
    if (!file.endsWith(suffix, Qt::CaseInsensitive))
        file += suffix;
    return file;
}
} // namespace

void frmMainBillResult::Toolbar1_ButtonClick(const QString &key)
{
    if (key == u"Exit")
        MenuFileExit_Click();
    else if (key == u"Check")
        MenuEditCheck_Click();
    else if (key == u"Filter")
        filter();
    else if (key == u"Refresh")
        refresh();
    else if (key == u"New")
        MenuEditAdd_Click();
    else if (key == u"Delete")
        MenuEditDelete_Click();
    else if (key == u"Update")
        MenuEditUpdate_Click();
    else if (key == u"UnCheck")
        MenuEditUnCheck_Click();
    else if (key == u"Cancel")
        MenuEditCancel_Click();
    else if (key == u"UnCancel")
        MenuEditUnCancel_Click();
}

void frmMainBillResult::vsf1_ContextMenu(const QPoint &viewportPos)
{
    QMenu *menu = m_selectMode ? m_menuEdit1 : m_menuEdit;
    menu->popup(m_grid->viewport()->mapToGlobal(viewportPos));
}

bool frmMainBillResult::currentBillCheck()
{
    if (m_model->rowCount() == 0)
        return false;
    const QModelIndex current = m_grid->currentIndex();
    if (!current.isValid() || m_model->isTotalsRow(current.row()))
        return false;
    const QString id = m_model->interIdText(current.row());
    if (id.isEmpty())
        return false;
    Session &s = m_session;
    s.gCurInterId = id.toInt();
    s.gBillMode = 1;
    s.gFromList = 1;
    s.gListInterIds = listBillIds(*m_model);
    s.gListIndex = std::max(0, int(s.gListInterIds.indexOf(id)));
    return true;
}

void frmMainBillResult::openEditor()
{
    const GridPosition position = gridPosition();
    FormLauncher::openBillEditor(true);
    restoreGridPosition(position);
}

void frmMainBillResult::MenuEditAdd_Click()
{
    Session &s = m_session;
    if (!HasPrivilege(s, s.gRightPrefix + QStringLiteral("01")))
        return;
    s.gBillMode = 0;
    s.gFromList = 1;
    s.gIsSelectMode = 0;
    s.gCurInterId = 0;
    s.gListInterIds = listBillIds(*m_model);
    s.gListIndex = 0;
    openEditor();
}

void frmMainBillResult::MenuEditUpdate_Click()
{
    Session &s = m_session;
    if (!HasPrivilege(s, s.gRightPrefix + QStringLiteral("02")))
        return;
    if (s.gIsSelectMode == 1 || !currentBillCheck())
        return;
    openEditor();
}

void frmMainBillResult::vsf1_DblClick()
{
    if (m_session.gIsSelectMode == 1 || !currentBillCheck())
        return;
    openEditor();
}

void frmMainBillResult::runStateCommand(ListCommand command)
{
    const GridPosition position = gridPosition();
    const ListGridState grid = listGridState(*m_model, selectedRowFlags(), position.currentRow);
    if (!m_operations.mayRun(command, grid))
        return;
    if (command == ListCommand::Delete
        && Prompt::msgBox(BillStateOperations::kConfirmDelete, Prompt::YesNo, Prompt::Question, m_session.msgTitle) != Prompt::Yes)
        return;
    const StateOutcome outcome = m_operations.runCommand(command, grid);
    if (command == ListCommand::Delete)
        m_billNumbers->setText(outcome.billNumbers);
    for (const ListMessage &message : outcome.messages)
        Prompt::msgBox(message.text, message.icon, m_session.msgTitle);
    if (!outcome.done)
        return;
    requery(false);
    restoreGridPosition(position);
}

void frmMainBillResult::MenuEditDelete_Click() { runStateCommand(ListCommand::Delete); }
void frmMainBillResult::MenuEditCheck_Click() { runStateCommand(ListCommand::Audit); }
void frmMainBillResult::MenuEditUnCheck_Click() { runStateCommand(ListCommand::UnAudit); }
void frmMainBillResult::MenuEditCancel_Click() { runStateCommand(ListCommand::Void); }
void frmMainBillResult::MenuEditUnCancel_Click() { runStateCommand(ListCommand::UnVoid); }

void frmMainBillResult::requery(bool rebuildSeek)
{
    frmMainBillFind *dialog = frmMainBillFind::instance(m_session);
    QString seek = m_session.gSeekSql;
    if (rebuildSeek) {
        try {
            seek = dialog->seekSQL();
            m_session.gSeekSql = seek;
        } catch (const ConversionError &) {
            // The grid cannot be read: keep the condition of the last query.
        }
    }
    fillList(dialog->findStatement(seek, dialog->mainSQL(), dialog->orderSQL()));
}

void frmMainBillResult::refresh()
{
    const GridPosition position = gridPosition();
    requery(true);
    restoreGridPosition(position);
}

void frmMainBillResult::filter()
{
    const GridPosition position = gridPosition();
    // A new query refills this list, which stays open; closing the dialog
    // keeps it loaded for the refills.
    frmMainBillFind *dialog = frmMainBillFind::instance(m_session);
    QueryOpener opener;
    opener.fill = [this](const QueryChoice &choice) { return fillList(choice.statement); };
    opener.closing = [] { return true; };
    dialog->setOpener(opener);
    dialog->showModal();
    restoreGridPosition(position);
}

void frmMainBillResult::returnSelection(bool withSecondList)
{
    const std::optional<SelectionReturn> chosen = selectionReturn(*m_model, selectedRowFlags());
    if (!chosen)
        return;
    Session &s = m_session;
    s.gReturnString = chosen->ids;
    s.gReturnString1 = withSecondList ? chosen->billNumbers : QString();
    MenuFileExit_Click();
}

void frmMainBillResult::MenuEditAppend_Click() { returnSelection(false); }
void frmMainBillResult::MenuEditDown_Click() { returnSelection(true); }

void frmMainBillResult::exportTo(bool spreadsheet)
{
    Session &s = m_session;
    if (spreadsheet && !HasPrivilege(s, s.gRightPrefix + QStringLiteral("19")))
        return;
    const QString filter = spreadsheet ? QStringLiteral("Excel文件(*.xlsx)|*.xlsx") : QStringLiteral("文本文件(*.txt)|*.txt");
    QString file = Prompt::saveFileName(spreadsheet ? QStringLiteral("导出到Excel") : QStringLiteral("导出到文本文件"), filter);
    if (file.trimmed().isEmpty())
        return;
    file = withSuffix(file, spreadsheet ? QStringLiteral(".xlsx") : QStringLiteral(".txt"));
    QString error;
    bool written = false;
    {
        WaitCursor wait;
        const QList<QStringList> rows = listGridTexts(*m_model);
        written = spreadsheet ? writeXlsx(file, rows, &error) : writeTabText(file, rows, &error);
    }
    if (written)
        Prompt::msgBox(kExported, Prompt::Information, s.msgTitle);
    else
        Prompt::msgBox(error, Prompt::Critical, s.msgTitle);
}

void frmMainBillResult::MenuExcel_Click() { exportTo(true); }
void frmMainBillResult::menuBatchPdf_Click() { menuBatchPdf(m_session, selectedBillIds(*m_model, selectedRowFlags()), this); }
void frmMainBillResult::menuBatchPrint_Click() { menuBatchPrint(m_session, selectedBillIds(*m_model, selectedRowFlags()), this); }
void frmMainBillResult::MenuText_Click() { exportTo(false); }
void frmMainBillResult::menuUninvoiced_Click() { frmUninvoiced::showForm(m_session); }

void frmMainBillResult::MenuLockCol_Click()
{
    const std::optional<QString> answer = Prompt::inputBox(QStringLiteral("请输入锁定列数(整型)"), m_session.msgTitle);
    if (!answer)
        return;
    const std::optional<int> count = lockedColumnCount(*answer, m_model->columnCount());
    if (!count)
        return;
    m_grid->setFrozenColumns(*count + 2);
    m_lockCols = QString::number(*count);
}

void frmMainBillResult::MenuRestoreColWidth_Click()
{
    TableViewGridColumns columns(m_grid);
    LoadGridLayout(m_session, layoutKey(), columns, kDesignedLayout);
}

void frmMainBillResult::MenuFileExit_Click()
{
    // done() also unloads a list that was never shown.
    done(QDialog::Rejected);
}
