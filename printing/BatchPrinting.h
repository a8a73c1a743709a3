#pragma once
// Printing several invoices at once, from the list's selection or the
// command line: every bill through the default template of the bill kind
// (the last default row read wins, as for one bill), each bill starting on a
// new page, in the order given, into one PDF file or one print job.
//
// The bills are read before anything is written: an id without a bill, no
// default template or a template without a view fails with nothing written.
// A PDF is written to a temporary file beside the target and put in place
// only when complete, so a cancel or a failure leaves no partial file (and an
// older file of that name as it was).
#include <QList>
#include <QString>

#include <functional>
#include <optional>

class Connection;
struct Session;
class QPrinter;
class QWidget;

struct BatchRequest {
    int billTypeId = 0;
    QList<qint32> ids; // in print order, each once
    QString title;     // what [#Title] prints and the PDF carries
};

// Told after each bill is on the pages: bills done and the total. Returning
// false cancels.
using BatchProgress = std::function<bool(int done, int total)>;

struct BatchOutcome {
    enum Status { Done, Cancelled, Failed };
    Status status = Failed;
    QString message;       // Failed: what went wrong
    QList<int> pageStarts; // Done: the first page of each bill, from 0, in order
    int pageCount = 0;
};

// "12, 7,12" -> 12, 7: whole numbers above 0, blanks around them ignored,
// each once in the order first given. No value for anything else, with the
// piece that is not an id in *bad.
std::optional<QList<qint32>> parseBillIds(const QString &text, QString *bad = nullptr);

// Reads the template and the bills on an open connection, then writes the PDF
// or prints. A database error becomes a Failed outcome with its message.
BatchOutcome writeBatchPdf(Connection &conn, const BatchRequest &request, const QString &path,
                           const BatchProgress &progress = {});
BatchOutcome printBatch(Connection &conn, const BatchRequest &request, QPrinter *printer,
                        const BatchProgress &progress = {});

// How the list's print command chooses the printer: the print dialog unless
// replaced (tests give a PDF printer). False: cancelled.
using PrinterChooser = std::function<bool(QPrinter *printer, QWidget *parent)>;
void setBatchPrinterChooser(PrinterChooser chooser);

// The list's commands for the session's bills `ids` (list order): right
// "Q08" (ends silently without it); no id: "请先选择要打印的单据!". The PDF
// command asks for the file ("PDF文件(*.pdf)|*.pdf") and says
// "文件导出成功!"; both show a progress dialog that can cancel, and say what
// went wrong.
void menuBatchPdf(Session &s, const QList<qint32> &ids, QWidget *parent = nullptr);
void menuBatchPrint(Session &s, const QList<qint32> &ids, QWidget *parent = nullptr);
