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
bool openOrComplain()
{
    try {
        OpenConnection();
        return true;
    } catch (const DbError &) {
        Prompt::msgBox(connectionFailed(), Prompt::Exclamation, session().msgTitle);
        return false;
    }
}

void showDbError(const DbError &e)
{
    Prompt::msgBox(e.description(), Prompt::Critical, session().msgTitle);
}

QString rightCode(const char *digits)
{
    return session().gRightPrefix + QString::fromLatin1(digits);
}

// The right and the saved-bill check shared by preview, print and PDF.
bool mayPrint(bool isNewBill)
{
    if (!HasPrivilege(rightCode("08")))
        return false;
    if (isNewBill) {
        Prompt::msgBox(QStringLiteral("请先保存单据!"), Prompt::Exclamation, session().msgTitle);
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
    if (!holder) {
        holder = std::make_unique<report::Report>();
        holder->setFetchRecords([](report::ReportData &data) { Report_FetchRecord(data); });
    }
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

QString templateFolder()
{
    const QString app = session().gAppPath;
    if (isWritableFolder(app))
        return QDir(app).absolutePath();
    return QDir::tempPath();
}

QString templateFilePath(const QString &storedName)
{
    QString name = storedName.trimmed();
    // Names stored by Windows installations may carry a folder with either
    // separator; only the file's own name is used.
    const qsizetype cut = std::max(name.lastIndexOf(u'/'), name.lastIndexOf(u'\\'));
    if (cut >= 0)
        name = name.mid(cut + 1);
    if (name.isEmpty() || name == u"." || name == u"..")
        name = QString::number(session().gBillTypeId) + QStringLiteral(".grf");
    return QDir(templateFolder()).filePath(name);
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

bool initReport()
{
    Session &s = session();
    report::Report &rep = billReport();
    ConnectionScope scope;
    if (!openOrComplain())
        return false;

    bool found = false;
    QString fileName;
    try {
        Recordset rs = s.gConn->openRecordset(defaultTemplateSql(s.gBillTypeId));
        for (; !rs.eof(); rs.moveNext()) {
            fileName = templateFilePath(rs.text(QStringLiteral("fFileName")));
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
        showDbError(e);
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

void Report_FetchRecord(report::ReportData &data)
{
    Session &s = session();
    ConnectionScope scope;
    try {
        OpenConnection();
        readBillRecords(*s.gConn, source().viewName, s.gCurInterId, source().orderSql, data);
    } catch (const DbError &e) {
        showDbError(e);
    }
}

bool previewBill(QWidget *parent)
{
    if (!initReport())
        return false;
    return billReport().preview(parent);
}

bool printBill(QWidget *parent)
{
    if (!initReport())
        return false;
    return billReport().printWithDialog(parent);
}

bool exportBillPdf(const QString &path, QString *error)
{
    if (!initReport())
        return false;
    report::Report &rep = billReport();
    if (!rep.exportPdf(path)) {
        if (error)
            *error = rep.errorString();
        return false;
    }
    return true;
}

void menuPreview(bool isNewBill, QWidget *parent)
{
    if (mayPrint(isNewBill))
        previewBill(parent);
}

void menuPrint(bool isNewBill, QWidget *parent)
{
    if (mayPrint(isNewBill))
        printBill(parent);
}

QString askPdfFileName(const QString &caption)
{
    QString file = Prompt::saveFileName(caption, QStringLiteral("PDF文件(*.pdf)|*.pdf"), session().gBillName + QStringLiteral(".pdf"));
    if (file.trimmed().isEmpty())
        return QString();
    if (QFileInfo(file).suffix().isEmpty())
        file += QStringLiteral(".pdf");
    return file;
}

void menuExportPdf(bool isNewBill, QWidget *parent)
{
    Q_UNUSED(parent);
    if (!mayPrint(isNewBill))
        return;
    Session &s = session();
    const QString file = askPdfFileName(QStringLiteral("导出PDF"));
    if (file.isEmpty())
        return;
    QString error;
    if (!exportBillPdf(file, &error)) {
        // Without a template nothing is written and nothing is said, as for
        // preview and print.
        if (!error.isEmpty())
            Prompt::msgBox(error, Prompt::Critical, s.msgTitle);
        return;
    }
    Prompt::msgBox(QStringLiteral("文件导出成功!"), Prompt::Information, s.msgTitle);
}

QString defaultPrintKey()
{
    return QString::number(session().gBillTypeId) + QStringLiteral("Print");
}

bool readDefaultPrintOption()
{
    computeIniPath();
    return ReadIni(QStringLiteral("Print"), defaultPrintKey(), QStringLiteral("0")) == u"1";
}

void writeDefaultPrintOption(bool on)
{
    computeIniPath();
    WriteIni(QStringLiteral("Print"), defaultPrintKey(), on ? QStringLiteral("1") : QStringLiteral("0"));
}

bool menuDefaultPrint(bool checkedBefore)
{
    const bool checked = !checkedBefore;
    writeDefaultPrintOption(checked);
    return checked;
}

QString designWorkFile()
{
    // The application folder as the settings name it; when it cannot be
    // written (a shared install, a read-only share) the user's cache folder,
    // and the temp folder as the last resort.
    const QString name = QStringLiteral("DesignTemp.grf");
    const QString app = session().gAppPath;
    if (!app.trimmed().isEmpty() && QDir().mkpath(app) && isWritableFolder(app))
        return QDir(app).filePath(name);
    const QString cache = QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation) + QStringLiteral("/TamsorPurFP");
    if (QDir().mkpath(cache) && isWritableFolder(cache))
        return QDir(cache).filePath(name);
    return QDir(QDir::tempPath()).filePath(name);
}

DesignSource exportDefaultTemplate(const QString &workFile)
{
    Session &s = session();
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

void menuDesignModle(QWidget *parent, bool modal)
{
    if (!HasPrivilege(rightCode("21")))
        return;
    designDefaultTemplate(parent, modal);
}

void designDefaultTemplate(QWidget *parent, bool modal)
{
    Session &s = session();
    const QString workFile = designWorkFile();
    QDir().mkpath(QFileInfo(workFile).absolutePath());
    DesignSource design;
    QStringList fieldNames;
    {
        ConnectionScope scope;
        if (!openOrComplain())
            return;
        try {
            design = exportDefaultTemplate(workFile);
            for (const QString &line : fieldDescriptionLines(*s.gConn, s.gBillTypeId))
                fieldNames << line.section(u'\t', 1);
        } catch (const DbError &e) {
            showDbError(e);
            return;
        }
    }

    frmUserDesign *form = frmUserDesign::defaultInstance(parent);
    form->setDesignSession(s.gBillName, s.gBillTypeId, design.key, workFile);
    form->setPreviewSource(design.viewName, design.orderSql);
    form->designer()->setFieldNames(fieldNames);
    frmUserDesign::showForm(modal);
}
