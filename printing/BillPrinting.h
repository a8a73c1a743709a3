#pragma once
// Printing of the current invoice through the default template of the bill
// kind, kept in tblBillPrint, and the editor's print commands.
//
// The editor calls, for each of its commands:
//
//   MenuPreview       menuPreview(s, isNewBill, this)
//   MenuPrint         menuPrint(s, isNewBill, this)
//   (PDF export)      menuExportPdf(s, isNewBill, this)
//   MenuDefaultPrint  action->setChecked(menuDefaultPrint(s, action->isChecked()))
//                     (pass the state the entry had before the click)
//   MenuDesignModle   menuDesignModle(s, this)
//   form activation   action->setChecked(readDefaultPrintOption(s))
//   form unload       writeDefaultPrintOption(s, action->isChecked()), then
//                     releaseBillReport()
//
// `isNewBill` is the editor's new-bill state (gBillMode 0: never saved). The
// bill printed is s.gCurInterId. The menu commands check the right
// themselves ("Q08" for preview, print and PDF, "Q21" for the designer) and
// end silently without it. A caller that has made those checks already calls
// previewBill, printBill, exportBillPdf and designDefaultTemplate directly.
#include "printing/TemplateStore.h"
#include "report/ReportData.h"

#include <QByteArray>
#include <QString>
#include <QVariant>

class Connection;
struct Session;
class QWidget;

namespace report {
class Report;
}

// The report object of the invoice, created on first use and kept until
// releaseBillReport(). initReport sets Report_FetchRecord, for its session,
// as the source of its records.
report::Report &billReport();
void releaseBillReport();

// The view and order clause of the template that initReport read last.
struct PrintSource {
    QString viewName;
    QString orderSql;
};
const PrintSource &printSource();

// The folder the template file is written to before it is loaded: gAppPath
// when that folder exists and can be written, otherwise the temp folder.
QString templateFolder(Session &s);
// The stored file name placed in that folder. A stored name that carries a
// folder ("x\\y.grf", "../y.grf") keeps only its last part; an empty one
// becomes "<bill kind>.grf".
QString templateFilePath(Session &s, const QString &storedName);
// Writes bytes to `path`, replacing a file already there. False with the
// reason in *error when the file cannot be written.
bool writeTemplateFile(const QString &path, const QByteArray &bytes, QString *error = nullptr);

// Prepares billReport() with the default template of the bill kind: the last
// default row read wins; its content goes to the template file (replacing a
// leftover one), is loaded, and the file is removed again; the title becomes
// gBillName. Returns true when the report has a template afterwards.
// No connection: "数据库连接失败!" (exclamation), nothing prepared. No
// default row: the report has no layout and nothing is said. A default row
// without a view says so (exclamation) and prepares nothing.
bool initReport(Session &s);
// What is said when the default template names no view.
QString noPrintViewText();
// The report's request for records: the rows of the template's view for
// s.gCurInterId. Closes the shared connection.
void Report_FetchRecord(Session &s, report::ReportData &data);

// initReport, then the preview window / the print dialog and printing / a
// PDF file. False when there is no template (or printing was cancelled, or
// the PDF could not be written; the reason then in *error).
bool previewBill(Session &s, QWidget *parent = nullptr);
bool printBill(Session &s, QWidget *parent = nullptr);
bool exportBillPdf(Session &s, const QString &path, QString *error = nullptr);

// The editor's commands.
void menuPreview(Session &s, bool isNewBill, QWidget *parent = nullptr);
void menuPrint(Session &s, bool isNewBill, QWidget *parent = nullptr);
// Asks for a PDF file name ("PDF文件(*.pdf)|*.pdf", the bill name suggested);
// ".pdf" is added to a name without a suffix; empty when cancelled.
QString askPdfFileName(Session &s, const QString &caption);
// Asks for a file name ("PDF文件(*.pdf)|*.pdf"), writes the PDF and says
// "文件导出成功!".
void menuExportPdf(Session &s, bool isNewBill, QWidget *parent = nullptr);

// The default-print option in SetupInfo.ini: section "Print", key the bill
// kind followed by "Print" (71Print), "1" or "0". This is the one place that reads
// and writes it.
QString defaultPrintKey(Session &s);
bool readDefaultPrintOption(Session &s);
void writeDefaultPrintOption(Session &s, bool on);
// Flips the entry's state, stores it and returns the new state.
bool menuDefaultPrint(Session &s, bool checkedBefore);

// The designer's working file: gAppPath + "/DesignTemp.grf"; when that folder
// cannot be made or written, the same name in the user's cache folder
// (~/.cache/TamsorPurFP), then in the temp folder. The designer removes it
// when it closes.
QString designWorkFile(Session &s);
// What the designer edits: the key of the template row and whether a default
// row was found at all.
struct DesignSource {
    bool found = false;
    qint32 key = 0;
    QString viewName;
    QString orderSql;
};
// Writes the default template of the bill kind to the working file (the last
// row read wins) and returns its key. Without a default row an old working
// file is removed, so that the designer starts on an empty template. Throws DbError; uses the shared
// connection, which the caller opened.
DesignSource exportDefaultTemplate(Session &s, const QString &workFile);
// Exports the default template to the working file and opens frmUserDesign
// on it. No connection: "数据库连接失败!", no designer. `modal` false returns
// at once with the designer shown.
void designDefaultTemplate(Session &s, QWidget *parent = nullptr, bool modal = true);
// The editor's command: right "Q21", then designDefaultTemplate.
void menuDesignModle(Session &s, QWidget *parent = nullptr, bool modal = true);
