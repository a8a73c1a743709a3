#pragma once
// Where the public methods hand over to the forms: the bill editor and the
// query dialog. The forms register their openers; tests may replace them to
// see what a method asked for.
#include <QString>

#include <functional>

namespace FormLauncher {
using EditorOpener = std::function<void(bool modal)>;
using QueryOpener = std::function<void()>;
// A new invoice of the supplier with one of its open stock bills loaded.
using StockBillInvoiceOpener = std::function<void(const QString &supplierId, const QString &stockBillId)>;

void setEditorOpener(EditorOpener opener);
void setQueryOpener(QueryOpener opener);
void setStockBillInvoiceOpener(StockBillInvoiceOpener opener);
// With PURFP_NO_FORMS=1 in the environment both return without showing
// anything (scripted checks of a host's binding).
// Shows the bill editor (modal: waits until it closes).
void openBillEditor(bool modal);
// Shows the query dialog modally.
void openQueryDialog();
// Shows the bill editor modally on a new invoice of the supplier with the
// stock bill in its grid.
void openInvoiceForStockBill(const QString &supplierId, const QString &stockBillId);
}
