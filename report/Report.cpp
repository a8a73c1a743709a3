#include "report/Report.h"

#include "report/ReportFile.h"
#include "report/ReportPainter.h"

#include <QPrintDialog>
#include <QPrintPreviewDialog>
#include <QPrinter>

#include <algorithm>

namespace report {

Report::Report(QObject *parent) : QObject(parent) {}

bool Report::loadFromFile(const QString &path)
{
    QString error;
    return adopt(loadTemplate(path, &error), error);
}

bool Report::loadFromData(const QByteArray &json)
{
    QString error;
    return adopt(templateFromJson(json, &error), error);
}

// Takes a loaded template, or on failure drops the layout and keeps the reason.
bool Report::adopt(const std::optional<ReportTemplate> &tpl, const QString &error)
{
    if (!tpl) {
        m_tpl = ReportTemplate();
        m_hasTemplate = false;
        m_error = error;
        m_prepared = false;
        return false;
    }
    setReportTemplate(*tpl);
    return true;
}

bool Report::saveToFile(const QString &path)
{
    return saveTemplate(m_tpl, path, &m_error);
}

void Report::setReportTemplate(const ReportTemplate &tpl)
{
    m_tpl = tpl;
    m_hasTemplate = true;
    m_error.clear();
    m_prepared = false;
}

void Report::setTitle(const QString &title)
{
    m_title = title;
    m_titleSet = true;
    m_prepared = false;
}

QString Report::title() const
{
    return m_titleSet ? m_title : m_tpl.title;
}

const ReportLayout &Report::prepare()
{
    m_data.clear();
    if (m_fetch)
        m_fetch(m_data);
    else
        emit fetchRecords(&m_data);
    m_layout = layoutReport(m_tpl, m_data, title());
    m_prepared = true;
    return m_layout;
}

const ReportLayout &Report::layout()
{
    if (!m_prepared)
        prepare();
    return m_layout;
}

bool Report::exportPdf(const QString &path, int resolution)
{
    prepare();
    return writePdf(m_layout, path, title(), &m_error, resolution);
}

int Report::print(QPrinter *printer)
{
    prepare();
    return printLayout(m_layout, printer);
}

QImage Report::renderPage(int page, int dpi)
{
    return renderPageImage(layout(), page, dpi);
}

void Report::setupPrinter(QPrinter *printer) const
{
    printer->setFullPage(true);
    printer->setPageLayout(pageLayoutFor(m_tpl.page));
    printer->setDocName(title());
}

bool Report::preview(QWidget *parent)
{
    if (!m_hasTemplate)
        return false;
    prepare();
    QPrinter printer(QPrinter::HighResolution);
    setupPrinter(&printer);
    QPrintPreviewDialog dialog(&printer, parent);
    dialog.setWindowTitle(QStringLiteral("打印预览 - %1").arg(title()));
    // The preview repaints from the prepared layout; records are not asked
    // for again while it is open.
    connect(&dialog, &QPrintPreviewDialog::paintRequested, this,
            [this](QPrinter *p) { printLayout(m_layout, p); });
    dialog.resize(1000, 800);
    dialog.exec();
    return true;
}

bool Report::printWithDialog(QWidget *parent)
{
    if (!m_hasTemplate)
        return false;
    QPrinter printer(QPrinter::HighResolution);
    setupPrinter(&printer);
    // The records are read once, before the dialog, so that it can offer the
    // report's pages for a page range.
    prepare();
    QPrintDialog dialog(&printer, parent);
    dialog.setMinMax(1, std::max(1, m_layout.pageCount()));
    dialog.setOption(QAbstractPrintDialog::PrintPageRange, true);
    if (dialog.exec() != QDialog::Accepted)
        return false;
    return printLayout(m_layout, &printer) > 0;
}

} // namespace report
