#include "printing/BatchPrinting.h"

#include "modules/ConnectionRoutines.h"
#include "modules/Privilege.h"
#include "modules/Session.h"
#include "platform/Connection.h"
#include "platform/DbError.h"
#include "platform/Prompt.h"
#include "platform/Recordset.h"
#include "printing/BillPrinting.h"
#include "printing/TemplateStore.h"
#include "report/ReportFile.h"
#include "report/ReportLayout.h"
#include "report/ReportPainter.h"

#include <QCoreApplication>
#include <QPainter>
#include <QPdfWriter>
#include <QPrintDialog>
#include <QPrinter>
#include <QProgressDialog>
#include <QSaveFile>

namespace {

// The template and every bill's records, read before anything is written.
struct Batch {
    report::ReportTemplate tpl;
    QVector<report::ReportData> bills;
};

BatchOutcome failed(const QString &message)
{
    BatchOutcome outcome;
    outcome.message = message;
    return outcome;
}

std::optional<Batch> readBatch(Connection &conn, const BatchRequest &request, BatchOutcome &outcome)
{
    if (request.ids.isEmpty()) {
        outcome = failed(QStringLiteral("请先选择要打印的单据!"));
        return std::nullopt;
    }
    Batch batch;
    QByteArray content;
    QString viewName;
    QString orderSql;
    bool found = false;
    try {
        Recordset rs = conn.openRecordset(defaultTemplateSql(request.billTypeId));
        for (; !rs.eof(); rs.moveNext()) {
            content = rs.value(QStringLiteral("fcontent")).toByteArray();
            viewName = rs.text(QStringLiteral("fViewName"));
            orderSql = rs.text(QStringLiteral("fOrderSQL"));
            found = true;
        }
        if (!found) {
            outcome = failed(QStringLiteral("没有默认打印模板, 无法打印。请先在打印模板设计中保存模板。"));
            return std::nullopt;
        }
        if (viewName.trimmed().isEmpty()) {
            outcome = failed(noPrintViewText());
            return std::nullopt;
        }
        QString error;
        const std::optional<report::ReportTemplate> tpl = report::templateFromJson(content, &error);
        if (!tpl) {
            outcome = failed(error);
            return std::nullopt;
        }
        batch.tpl = *tpl;
        for (const qint32 id : request.ids) {
            report::ReportData data;
            readBillRecords(conn, viewName, id, orderSql, data);
            if (data.isEmpty()) {
                outcome = failed(QStringLiteral("单据内码 %1 不存在, 没有打印任何单据。").arg(id));
                return std::nullopt;
            }
            batch.bills.append(std::move(data));
        }
    } catch (const DbError &e) {
        outcome = failed(e.description());
        return std::nullopt;
    }
    return batch;
}

// Lays out and paints the bills one after the other onto the device the
// painter is open on.
BatchOutcome paintBatch(const Batch &batch, const QString &title, QPainter &painter, QPagedPaintDevice &device,
                        const BatchProgress &progress)
{
    BatchOutcome outcome;
    const int total = int(batch.bills.size());
    for (int b = 0; b < total; ++b) {
        const report::ReportLayout layout = report::layoutReport(batch.tpl, batch.bills[b], title);
        report::PagePainter pages(layout, &device);
        outcome.pageStarts << outcome.pageCount;
        for (int i = 0; i < layout.pageCount(); ++i) {
            if (outcome.pageCount > 0)
                device.newPage();
            report::scaleToTenths(painter, &device);
            pages.paint(painter, i);
            ++outcome.pageCount;
        }
        if (progress && !progress(b + 1, total)) {
            outcome.status = BatchOutcome::Cancelled;
            return outcome;
        }
    }
    outcome.status = BatchOutcome::Done;
    return outcome;
}

PrinterChooser &printerChooser()
{
    static PrinterChooser chooser;
    return chooser;
}

// A progress dialog for `total` bills that the clerk can cancel.
class BatchProgressDialog {
public:
    BatchProgressDialog(int total, const QString &title, QWidget *parent)
        : m_dialog(QStringLiteral("正在打印单据..."), QStringLiteral("取消"), 0, total, parent)
    {
        m_dialog.setObjectName(QStringLiteral("BatchProgress"));
        m_dialog.setWindowTitle(title);
        m_dialog.setWindowModality(Qt::WindowModal);
        m_dialog.setMinimumDuration(500);
        m_dialog.setValue(0);
    }
    BatchProgress callback()
    {
        return [this](int done, int total) {
            m_dialog.setLabelText(QStringLiteral("正在打印单据 %1/%2 ...").arg(done).arg(total));
            m_dialog.setValue(done);
            QCoreApplication::processEvents();
            return !m_dialog.wasCanceled();
        };
    }

private:
    QProgressDialog m_dialog;
};

bool mayBatchPrint(Session &s, const QList<qint32> &ids)
{
    if (!HasPrivilege(s, s.gRightPrefix + QStringLiteral("08")))
        return false;
    if (ids.isEmpty()) {
        Prompt::msgBox(QStringLiteral("请先选择要打印的单据!"), Prompt::Exclamation, s.msgTitle);
        return false;
    }
    return true;
}

// Runs a batch on the shared connection; false after saying why it failed.
template <typename Run>
std::optional<BatchOutcome> onSharedConnection(Session &s, Run run)
{
    ConnectionScope scope(s);
    try {
        OpenConnection(s);
    } catch (const DbError &) {
        Prompt::msgBox(QStringLiteral("数据库连接失败!"), Prompt::Exclamation, s.msgTitle);
        return std::nullopt;
    }
    const BatchOutcome outcome = run(*s.gConn);
    if (outcome.status == BatchOutcome::Failed) {
        Prompt::msgBox(outcome.message, Prompt::Critical, s.msgTitle);
        return std::nullopt;
    }
    return outcome;
}

} // namespace

std::optional<QList<qint32>> parseBillIds(const QString &text, QString *bad)
{
    QList<qint32> ids;
    for (const QString &piece : text.split(u',')) {
        bool ok = false;
        const qint32 id = piece.trimmed().toInt(&ok);
        if (!ok || id <= 0) {
            if (bad)
                *bad = piece.trimmed();
            return std::nullopt;
        }
        if (!ids.contains(id))
            ids << id;
    }
    return ids;
}

BatchOutcome writeBatchPdf(Connection &conn, const BatchRequest &request, const QString &path,
                           const BatchProgress &progress)
{
    BatchOutcome outcome;
    const std::optional<Batch> batch = readBatch(conn, request, outcome);
    if (!batch)
        return outcome;
    const QString cannotWrite = QStringLiteral("无法写入 PDF 文件：%1").arg(path);
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return failed(cannotWrite);
    QPdfWriter writer(&file);
    writer.setResolution(1200);
    writer.setTitle(request.title);
    writer.setCreator(QCoreApplication::applicationName());
    writer.setPageLayout(report::pageLayoutFor(batch->tpl.page));
    QPainter painter;
    if (!painter.begin(&writer))
        return failed(cannotWrite);
    outcome = paintBatch(*batch, request.title, painter, writer, progress);
    const bool ended = painter.end();
    if (outcome.status != BatchOutcome::Done) {
        file.cancelWriting(); // the temporary file goes, the target stays as it was
        return outcome;
    }
    if (!ended || !file.commit())
        return failed(cannotWrite);
    return outcome;
}

BatchOutcome printBatch(Connection &conn, const BatchRequest &request, QPrinter *printer, const BatchProgress &progress)
{
    BatchOutcome outcome;
    const std::optional<Batch> batch = readBatch(conn, request, outcome);
    if (!batch)
        return outcome;
    printer->setFullPage(true);
    printer->setPageLayout(report::pageLayoutFor(batch->tpl.page));
    printer->setDocName(request.title);
    QPainter painter;
    if (!painter.begin(printer))
        return failed(QStringLiteral("无法开始打印。"));
    outcome = paintBatch(*batch, request.title, painter, *printer, progress);
    if (outcome.status == BatchOutcome::Cancelled)
        printer->abort();
    painter.end();
    return outcome;
}

void setBatchPrinterChooser(PrinterChooser chooser)
{
    printerChooser() = std::move(chooser);
}

void menuBatchPdf(Session &s, const QList<qint32> &ids, QWidget *parent)
{
    if (!mayBatchPrint(s, ids))
        return;
    const QString file = askPdfFileName(s, QStringLiteral("批量打印为PDF"));
    if (file.isEmpty())
        return;
    BatchProgressDialog dialog(int(ids.size()), s.msgTitle, parent);
    const auto outcome = onSharedConnection(s, [&](Connection &conn) {
        return writeBatchPdf(conn, {s.gBillTypeId, ids, s.gBillName}, file, dialog.callback());
    });
    if (outcome && outcome->status == BatchOutcome::Done)
        Prompt::msgBox(QStringLiteral("文件导出成功!"), Prompt::Information, s.msgTitle);
}

void menuBatchPrint(Session &s, const QList<qint32> &ids, QWidget *parent)
{
    if (!mayBatchPrint(s, ids))
        return;
    QPrinter printer(QPrinter::HighResolution);
    printer.setDocName(s.gBillName);
    const bool chosen = printerChooser() ? printerChooser()(&printer, parent)
                                         : QPrintDialog(&printer, parent).exec() == QDialog::Accepted;
    if (!chosen)
        return;
    BatchProgressDialog dialog(int(ids.size()), s.msgTitle, parent);
    onSharedConnection(s, [&](Connection &conn) {
        return printBatch(conn, {s.gBillTypeId, ids, s.gBillName}, &printer, dialog.callback());
    });
}
