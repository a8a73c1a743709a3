#include "component/clsCGIn.h"

#include "component/ComponentSession.h"
#include "component/SessionStartup.h"
#include "modules/FormLauncher.h"
#include "modules/Session.h"
#include "editor/frmMainBill.h"
#include "list/frmMainBillResult.h"
#include "modules/ConnectionRoutines.h"
#include "platform/DbError.h"
#include "platform/VbConvert.h"
#include "printing/BillPrinting.h"
#include "query/frmMainBillFind.h"

namespace {
// The query dialog's opener for the component: its statement fills the
// list's default instance, which then shows modally unless it is showing
// already. Closed without a query, the dialog stays loaded while the list is
// open; otherwise a list that was filled but never shown goes with it.
QueryOpener listOpener(Session &s)
{
    QueryOpener opener;
    opener.fill = [&s](const QueryChoice &choice) { return frmMainBillResult::instance(s)->fillList(choice.statement); };
    opener.show = [] {
        if (frmMainBillResult *list = frmMainBillResult::existingInstance(); list && !list->isVisible())
            list->exec();
    };
    opener.closing = [] {
        if (frmMainBillResult *list = frmMainBillResult::existingInstance(); list && list->isVisible())
            return true;
        frmMainBillResult::discardUnshownInstance();
        return false;
    };
    return opener;
}
} // namespace

void clsCGIn::connectForms()
{
    static bool connected = false;
    if (connected)
        return;
    connected = true;
    Session &s = componentSession();
    FormLauncher::setQueryOpener([&s] { frmMainBillFind::showQuery(s); });
    frmMainBillFind::setDefaultOpener(listOpener(s));
    FormLauncher::setEditorOpener([&s](bool modal) { frmMainBill::showForm(s, modal); });
    FormLauncher::setStockBillInvoiceOpener([&s](const QString &supplierId, const QString &stockBillId) {
        frmMainBill::showNewFromStockBill(s, supplierId, stockBillId, true);
    });
    frmMainBill::setPrintHooks({
        [](frmMainBill &form) { previewBill(form.session(), &form); },
        [](frmMainBill &form) { printBill(form.session(), &form); },
        [](frmMainBill &form) { designDefaultTemplate(form.session(), &form); },
    });
    frmMainBill::setListRefresher([] {
        if (frmMainBillResult *list = frmMainBillResult::existingInstance())
            list->refresh();
    });
}

std::unique_ptr<clsCGIn> clsCGIn::create(QString *error)
{
    connectForms();
    try {
        Class_Initialize(componentSession());
    } catch (const DbError &e) {
        if (error)
            *error = e.description();
        return nullptr;
    } catch (const ConversionError &e) {
        if (error)
            *error = e.text();
        return nullptr;
    }
    std::unique_ptr<clsCGIn> obj(new clsCGIn);
    // When the host lets go of the component (deleting it, or through
    // TamsorPurFP_Release), the connection kept idle for reuse is closed at
    // once rather than held open on the server until it expires.
    QObject::connect(obj.get(), &QObject::destroyed, [] { ReleaseIdleConnection(componentSession()); });
    return obj;
}

bool clsCGIn::newInfo()
{
    Session &s = componentSession();
    s.gUserRight = m_userRight;
    s.gBillMode = 0;
    s.gFromList = 0;
    s.gIsSelectMode = 0;
    FormLauncher::openBillEditor(true);
    return false;
}

bool clsCGIn::downFromOrder(const QString &strInterIds)
{
    Session &s = componentSession();
    s.gUserRight = m_userRight;
    s.gBillMode = 0;
    s.gFromList = 0;
    s.gIsSelectMode = 0;
    // Kept for the caller's sake; the editor opens as for a new bill.
    s.gIsDownFromOrder = 1;
    s.gDownInterIds = strInterIds;
    FormLauncher::openBillEditor(false);
    return false;
}

bool clsCGIn::findInfo()
{
    Session &s = componentSession();
    s.gUserRight = m_userRight;
    s.gFindMode = 0;
    s.gFindSql.clear();
    // gIsSelectMode stays as it stands.
    FormLauncher::openQueryDialog();
    return false;
}

bool clsCGIn::findInfo1(const QString &strSql)
{
    Session &s = componentSession();
    s.gUserRight = m_userRight;
    s.gIsSelectMode = 1;
    s.gFindMode = 1;
    s.gFindSql = strSql;
    FormLauncher::openQueryDialog();
    setReturnString(s.gReturnString);
    setReturnString1(s.gReturnString1);
    return false;
}

QString clsCGIn::findInfo2(const QString &strSql)
{
    const QString result;
    Session &s = componentSession();
    s.gUserRight = m_userRight;
    s.gIsSelectMode = 1;
    s.gFindMode = 2;
    s.gFindSql = strSql;
    FormLauncher::openQueryDialog();
    setReturnString(s.gReturnString);
    setReturnString1(s.gReturnString1);
    return result;
}
