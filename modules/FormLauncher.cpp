#include "modules/FormLauncher.h"

#include <QtGlobal>

namespace {
FormLauncher::EditorOpener &editorOpener()
{
    static FormLauncher::EditorOpener opener;
    return opener;
}

FormLauncher::QueryOpener &queryOpener()
{
    static FormLauncher::QueryOpener opener;
    return opener;
}

FormLauncher::StockBillInvoiceOpener &stockBillInvoiceOpener()
{
    static FormLauncher::StockBillInvoiceOpener opener;
    return opener;
}
} // namespace

void FormLauncher::setEditorOpener(EditorOpener opener) { editorOpener() = std::move(opener); }
void FormLauncher::setQueryOpener(QueryOpener opener) { queryOpener() = std::move(opener); }
void FormLauncher::setStockBillInvoiceOpener(StockBillInvoiceOpener opener) { stockBillInvoiceOpener() = std::move(opener); }

// A scripted check of a host's binding runs the methods without anyone to
// close their forms: PURFP_NO_FORMS=1 makes them return at once.
static bool formsSuppressed()
{
    return qEnvironmentVariableIntValue("PURFP_NO_FORMS") == 1;
}

void FormLauncher::openBillEditor(bool modal)
{
    if (formsSuppressed())
        return;
    if (editorOpener())
        editorOpener()(modal);
}

void FormLauncher::openQueryDialog()
{
    if (formsSuppressed())
        return;
    if (queryOpener())
        queryOpener()();
}

void FormLauncher::openInvoiceForStockBill(const QString &supplierId, const QString &stockBillId)
{
    if (formsSuppressed())
        return;
    if (stockBillInvoiceOpener())
        stockBillInvoiceOpener()(supplierId, stockBillId);
}
