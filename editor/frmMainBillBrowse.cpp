#include "editor/frmMainBill.h"

#include "editor/EntryGridModel.h"
#include "editor/frmMainBillParts.h"
#include "modules/ConnectionRoutines.h"
#include "modules/Session.h"
#include "platform/DbError.h"
#include "platform/Prompt.h"

#include <QDateEdit>
#include <QLabel>
#include <QLineEdit>

#include <optional>

using namespace frmMainBillParts;

void frmMainBill::loadBill()
{
    Session &s = m_session;
    std::optional<LoadedBill> bill;
    // Within a caller's unit of work the connection stays open for it; a
    // failure closes it in any case.
    std::optional<ConnectionScope> scope;
    if (!s.gConn)
        scope.emplace(s);
    try {
        OpenConnection(s);
        BillStore store(*s.gConn, BillSettings::fromSession(s));
        bill = store.loadBill(s.gCurInterId, m_layout);
    } catch (const DbError &e) {
        if (!scope)
            scope.emplace(s);
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
    setReadOnly(txtBillNo, m_session.gIsUpdateBillNo != 1);
    if (bill.date.isValid())
        thdate->setDate(bill.date);
    txtAmount->setText(bill.amountText);
    txtBiller->setText(bill.billerName);
    txtChecker->setText(bill.checkerName);
    m_checkerId = bill.checkerId;
    txtChecker->setProperty("tag", bill.checkerId);
    m_status = bill.status;
    m_cancellation = bill.cancellation;
    m_earlierPeriod = bill.date.isValid() && bill.date < m_session.gPeriodStartDate;
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

// The list's ids, browsed by position.
void frmMainBill::navigateTo(int position)
{
    Session &s = m_session;
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
    {
        // One connection for the bill and the texts of its codes.
        ConnectionScope scope(s);
        try {
            OpenConnection(s);
        } catch (const DbError &e) {
            Prompt::msgBox(e.description(), Prompt::Critical, s.msgTitle);
            return;
        }
        loadBill();
        refreshLookupTexts();
    }
    updateState();
}

void frmMainBill::MenuFirst_Click()
{
    navigateTo(0);
}

void frmMainBill::MenuPre_Click()
{
    navigateTo(m_session.gListIndex - 1);
}

void frmMainBill::MenuNext_Click()
{
    navigateTo(m_session.gListIndex + 1);
}

void frmMainBill::MenuLast_Click()
{
    navigateTo(int(m_session.gListInterIds.size()) - 1);
}
