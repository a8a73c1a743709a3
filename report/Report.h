#pragma once
// A report: a template, the records it prints and its outputs. The records
// are asked for each time the report is prepared: through the callback set
// with setFetchRecords(), or else through the fetchRecords signal (connect it
// directly); either answers by appending records to the data it is given.
//
//     report::Report r;
//     r.loadFromFile(path);
//     r.setTitle(QStringLiteral("报表标题"));
//     r.setFetchRecords([&](report::ReportData &data) { data.append(record); });
//     r.preview(parentWidget);
#include "report/ReportData.h"
#include "report/ReportLayout.h"
#include "report/ReportModel.h"

#include <QImage>
#include <QObject>

#include <optional>

class QPrinter;
class QWidget;

namespace report {

class Report : public QObject {
    Q_OBJECT
public:
    explicit Report(QObject *parent = nullptr);

    // Loading replaces the template; on failure the report keeps none and
    // errorString() tells why.
    bool loadFromFile(const QString &path);
    bool loadFromData(const QByteArray &json);
    bool saveToFile(const QString &path);
    void setReportTemplate(const ReportTemplate &tpl);
    const ReportTemplate &reportTemplate() const { return m_tpl; }
    // False until a template was loaded or set.
    bool hasTemplate() const { return m_hasTemplate; }
    QString errorString() const { return m_error; }

    // The title [#Title] prints and the PDF carries; the template's title
    // until one is set.
    void setTitle(const QString &title);
    QString title() const;

    void setFetchRecords(FetchRecords fetch) { m_fetch = std::move(fetch); }

    // Asks for the records and lays them out.
    const ReportLayout &prepare();
    // The last layout (prepared on first use).
    const ReportLayout &layout();
    const ReportData &data() const { return m_data; }

    // Outputs; each prepares the report first.
    bool exportPdf(const QString &path, int resolution = 1200);
    int print(QPrinter *printer);
    QImage renderPage(int page, int dpi);
    // Shows the preview window (modal). Returns false without a template.
    bool preview(QWidget *parent = nullptr);
    // Shows the print dialog, then prints; false when cancelled.
    bool printWithDialog(QWidget *parent = nullptr);
    // Paper and orientation of the template on a printer.
    void setupPrinter(QPrinter *printer) const;

signals:
    void fetchRecords(report::ReportData *data);

private:
    bool adopt(const std::optional<ReportTemplate> &tpl, const QString &error);
    ReportTemplate m_tpl;
    bool m_hasTemplate = false;
    QString m_error;
    QString m_title;
    bool m_titleSet = false;
    FetchRecords m_fetch;
    ReportData m_data;
    ReportLayout m_layout;
    bool m_prepared = false;
};

} // namespace report
