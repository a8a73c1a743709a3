#include "printing/BillPrinting.h"

#include "modules/Session.h"
#include "modules/ConnectionRoutines.h"
#include "modules/Privilege.h"
#include "modules/SetupIni.h"
#include "platform/DbError.h"
#include "platform/Prompt.h"
#include "printing/frmUserDesign.h"
#include "report/Report.h"
#include "report/ReportDesigner.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

#include <memory>

namespace {

std::unique_ptr<report::Report> &reportHolder()
{
    static std::unique_ptr<report::Report> holder;
    return holder;
}

PrintSource &source()
{
    static PrintSource s;
    return s;
}

const QString &connectionFailed()
{
    static const QString text = QStringLiteral("数据库连接失败!");
    return text;
}

// Opens the shared connection; on failure says so and gives false. The
// caller holds a ConnectionScope.
bool openOrComplain(Session &s)
{
    try {
        OpenConnection(s);
        return true;
    } catch (const DbError &) {
        Prompt::msgBox(connectionFailed(), Prompt::Exclamation, s.msgTitle);
        return false;
    }
}

void showDbError(Session &s, const DbError &e)
{
    Prompt::msgBox(e.description(), Prompt::Critical, s.msgTitle);
}

QString rightCode(Session &s, const char *digits)
{
    return s.gRightPrefix + QString::fromLatin1(digits);
}

// The right and the saved-bill check shared by preview, print and PDF.
bool mayPrint(Session &s, bool isNewBill)
{
    if (!HasPrivilege(s, rightCode(s, "08")))
        return false;
    if (isNewBill) {
        Prompt::msgBox(QStringLiteral("请先保存单据!"), Prompt::Exclamation, s.msgTitle);
        return false;
    }
    return true;
}

bool isWritableFolder(const QString &path)
{
    if (path.trimmed().isEmpty())
        return false;
    const QFileInfo info(path);
    return info.isDir() && info.isWritable();
}

} // namespace

QString noPrintViewText()
{
    return QStringLiteral("默认打印模板没有指定数据视图, 无法打印。请在打印模板设计中重新保存模板。");
}

report::Report &billReport()
{
    auto &holder = reportHolder();
    if (!holder)
        holder = std::make_unique<report::Report>();
    return *holder;
}

void releaseBillReport()
{
    reportHolder().reset();
}

const PrintSource &printSource()
{
    return source();
}

QString templateFolder(Session &s)
{
    const QString app = s.gAppPath;
    if (isWritableFolder(app))
        return QDir(app).absolutePath();
    return QDir::tempPath();
}

QString templateFilePath(Session &s, const QString &storedName)
{
    QString name = storedName.trimmed();
    // Names stored by Windows installations may carry a folder with either
    // separator; only the file's own name is used.
    const qsizetype cut = std::max(name.lastIndexOf(u'/'), name.lastIndexOf(u'\\'));
    if (cut >= 0)
        name = name.mid(cut + 1);
    if (name.isEmpty() || name == u"." || name == u"..")
        name = QString::number(s.gBillTypeId) + QStringLiteral(".grf");
    return QDir(templateFolder(s)).filePath(name);
}

bool writeTemplateFile(const QString &path, const QByteArray &bytes, QString *error)
{
    if (QFileInfo::exists(path) && !QFile::remove(path)) {
        if (error)
            *error = QStringLiteral("无法替换文件 %1").arg(QDir::toNativeSeparators(path));
        return false;
    }
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size()) {
        if (error)
            *error = QStringLiteral("无法写入文件 %1：%2").arg(QDir::toNativeSeparators(path), file.errorString());
        file.close();
        QFile::remove(path);
        return false;
    }
    file.close();
    return true;
}

bool initReport(Session &s)
{
    report::Report &rep = billReport();
    rep.setFetchRecords([&s](report::ReportData &data) { Report_FetchRecord(s, data); });
    ConnectionScope scope(s);
    if (!openOrComplain(s))
        return false;

    bool found = false;
    QString fileName;
    try {
        Recordset rs = s.gConn->openRecordset(defaultTemplateSql(s.gBillTypeId));
        for (; !rs.eof(); rs.moveNext()) {
            fileName = templateFilePath(s, rs.text(QStringLiteral("fFileName")));
            s.gTemplateFile = fileName;
            source().viewName = rs.text(QStringLiteral("fViewName"));
            source().orderSql = rs.text(QStringLiteral("fOrderSQL"));
            QString error;
            if (!writeTemplateFile(fileName, rs.value(QStringLiteral("fcontent")).toByteArray(), &error)) {
                Prompt::msgBox(error, Prompt::Critical, s.msgTitle);
                rep.loadFromData(QByteArray()); // leaves the report without a layout
                return false;
            }
            found = true;
        }
    } catch (const DbError &e) {
        showDbError(s, e);
        rep.loadFromData(QByteArray());
        return false;
    }

    if (!found) {
        // No default template: the report has no layout.
        rep.loadFromData(QByteArray());
        return false;
    }

    if (source().viewName.trimmed().isEmpty()) {
        // The records would be read from no view at all.
        QFile::remove(fileName);
        rep.loadFromData(QByteArray());
        Prompt::msgBox(noPrintViewText(), Prompt::Exclamation, s.msgTitle);
        return false;
    }
    const bool loaded = rep.loadFromFile(fileName);
    QFile::remove(fileName);
    if (!loaded) {
        Prompt::msgBox(rep.errorString(), Prompt::Exclamation, s.msgTitle);
        return false;
    }
    rep.setTitle(s.gBillName);
    // The records are read when the report asks for them
    // (Report_FetchRecord), on the connection parked here.
    return true;
}

void Report_FetchRecord(Session &s, report::ReportData &data)
{
    ConnectionScope scope(s);
    try {
        OpenConnection(s);
        readBillRecords(*s.gConn, source().viewName, s.gCurInterId, source().orderSql, data);
    } catch (const DbError &e) {
        showDbError(s, e);
    }
}

bool previewBill(Session &s, QWidget *parent)
{
    if (!initReport(s))
        return false;
    return billReport().preview(parent);
}

bool printBill(Session &s, QWidget *parent)
{
    if (!initReport(s))
        return false;
    return billReport().printWithDialog(parent);
}

bool exportBillPdf(Session &s, const QString &path, QString *error)
{
    if (!initReport(s))
        return false;
    report::Report &rep = billReport();
    if (!rep.exportPdf(path)) {
        if (error)
            *error = rep.errorString();
        return false;
    }
    return true;
}

void menuPreview(Session &s, bool isNewBill, QWidget *parent)
{
    if (mayPrint(s, isNewBill))
        previewBill(s, parent);
}

void menuPrint(Session &s, bool isNewBill, QWidget *parent)
{
    if (mayPrint(s, isNewBill))
        printBill(s, parent);
}

QString askPdfFileName(Session &s, const QString &caption)
{
    QString file = Prompt::saveFileName(caption, QStringLiteral("PDF文件(*.pdf)|*.pdf"), s.gBillName + QStringLiteral(".pdf"));
    if (file.trimmed().isEmpty())
        return QString();
    if (QFileInfo(file).suffix().isEmpty())
        file += QStringLiteral(".pdf");
    return file;
}

void menuExportPdf(Session &s, bool isNewBill, QWidget *parent)
{
    Q_UNUSED(parent);
    if (!mayPrint(s, isNewBill))
        return;
    const QString file = askPdfFileName(s, QStringLiteral("导出PDF"));
    if (file.isEmpty())
        return;
    QString error;
    if (!exportBillPdf(s, file, &error)) {
        // Without a template nothing is written and nothing is said, as for
        // preview and print.
        if (!error.isEmpty())
            Prompt::msgBox(error, Prompt::Critical, s.msgTitle);
        return;
    }
    Prompt::msgBox(QStringLiteral("文件导出成功!"), Prompt::Information, s.msgTitle);
}

QString defaultPrintKey(Session &s)
{
    return QString::number(s.gBillTypeId) + QStringLiteral("Print");
}

bool readDefaultPrintOption(Session &s)
{
    computeIniPath(s);
    return ReadIni(s, QStringLiteral("Print"), defaultPrintKey(s), QStringLiteral("0")) == u"1";
}

void writeDefaultPrintOption(Session &s, bool on)
{
    computeIniPath(s);
    WriteIni(s, QStringLiteral("Print"), defaultPrintKey(s), on ? QStringLiteral("1") : QStringLiteral("0"));
}

bool menuDefaultPrint(Session &s, bool checkedBefore)
{
    const bool checked = !checkedBefore;
    writeDefaultPrintOption(s, checked);
    return checked;
}

QString designWorkFile(Session &s)
{
    // The application folder as the settings name it; when it cannot be
    // written (a shared install, a read-only share) the user's cache folder,
    // and the temp folder as the last resort.
    const QString name = QStringLiteral("DesignTemp.grf");
    const QString app = s.gAppPath;
    if (!app.trimmed().isEmpty() && QDir().mkpath(app) && isWritableFolder(app))
        return QDir(app).filePath(name);
    const QString cache = QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation) + QStringLiteral("/TamsorPurFP");
    if (QDir().mkpath(cache) && isWritableFolder(cache))
        return QDir(cache).filePath(name);
    return QDir(QDir::tempPath()).filePath(name);
}

DesignSource exportDefaultTemplate(Session &s, const QString &workFile)
{
    DesignSource result;
    Recordset rs = s.gConn->openRecordset(defaultTemplateSql(s.gBillTypeId));
    for (; !rs.eof(); rs.moveNext()) {
        result.key = qint32(rs.toInt(QStringLiteral("finterid")));
        result.viewName = rs.text(QStringLiteral("fViewName"));
        result.orderSql = rs.text(QStringLiteral("fOrderSQL"));
        result.found = true;
        QString error;
        if (!writeTemplateFile(workFile, rs.value(QStringLiteral("fcontent")).toByteArray(), &error))
            throw DbError(error);
    }
    if (!result.found)
        QFile::remove(workFile); // the designer starts on an empty template, not an old file
    return result;
}

void menuDesignModle(Session &s, QWidget *parent, bool modal)
{
    if (!HasPrivilege(s, rightCode(s, "21")))
        return;
    designDefaultTemplate(s, parent, modal);
}

void designDefaultTemplate(Session &s, QWidget *parent, bool modal)
{
    const QString workFile = designWorkFile(s);
    QDir().mkpath(QFileInfo(workFile).absolutePath());
    DesignSource design;
    QStringList fieldNames;
    {
        ConnectionScope scope(s);
        if (!openOrComplain(s))
            return;
        try {
            design = exportDefaultTemplate(s, workFile);
            for (const QString &line : fieldDescriptionLines(*s.gConn, s.gBillTypeId))
                fieldNames << line.section(u'\t', 1);
        } catch (const DbError &e) {
            showDbError(s, e);
            return;
        }
    }

    frmUserDesign *form = frmUserDesign::defaultInstance(s, parent);
    form->setDesignSession(s.gBillName, s.gBillTypeId, design.key, workFile);
    form->setPreviewSource(design.viewName, design.orderSql);
    form->designer()->setFieldNames(fieldNames);
    frmUserDesign::showForm(s, modal);
}
