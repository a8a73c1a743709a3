// purfp print: writes the invoices named by their internal ids into one PDF
// through the default invoice template, each starting on a new page, in the
// order given, on the database that `purfp init` wrote. Nothing is written
// when an id names no invoice.
#include "host/HostCommands.h"
#include "host/OffscreenApplication.h"

#include "component/ComponentSession.h"
#include "component/clsCGIn.h"
#include "modules/ConnectionRoutines.h"
#include "modules/Session.h"
#include "platform/DbError.h"
#include "platform/Prompt.h"
#include "printing/BatchPrinting.h"

#include <QDir>
#include <QFileInfo>

#include <cstdio>

int runPrint(const QStringList &input)
{
    QString idsText;
    QString pdf;
    for (int i = 0; i < input.size(); ++i) {
        if ((input[i] == u"--ids" || input[i] == u"--pdf") && i + 1 < input.size()) {
            (input[i] == u"--ids" ? idsText : pdf) = input[i + 1];
            ++i;
        } else {
            std::fprintf(stderr, "purfp print: 未知的参数: %s\n", qPrintable(input[i]));
            return 2;
        }
    }
    if (idsText.trimmed().isEmpty() || pdf.trimmed().isEmpty()) {
        std::fprintf(stderr, "purfp print: 请用 --ids 单据内码,单据内码,... --pdf 文件 指定要打印的单据和 PDF 文件\n");
        return 2;
    }
    QString bad;
    const std::optional<QList<qint32>> ids = parseBillIds(idsText, &bad);
    if (!ids) {
        std::fprintf(stderr, "purfp print: \"%s\" 不是单据内码\n", qPrintable(bad));
        return 2;
    }

    // The pages are drawn in memory; whatever the session start-up would ask
    // or say goes to the error output.
    OffscreenApplication app;
    Prompt::RecordingResponder &prompts = app.prompts;
    int status = 0;
    {
        QString error;
        // The session from the settings store: connection, bill kind, title.
        std::unique_ptr<clsCGIn> component = clsCGIn::create(&error);
        if (!component) {
            std::fprintf(stderr, "purfp print: 无法启动组件: %s\n", qPrintable(error));
            status = 1;
        } else {
            Session &s = componentSession();
            ConnectionScope scope(s);
            try {
                OpenConnection(s);
                const BatchOutcome outcome = writeBatchPdf(*s.gConn, {s.gBillTypeId, *ids, s.gBillName}, pdf);
                if (outcome.status == BatchOutcome::Done) {
                    std::printf("%s\n", qPrintable(QDir::toNativeSeparators(QFileInfo(pdf).absoluteFilePath())));
                    std::printf("%lld 张单据, %d 页\n", qlonglong(ids->size()), outcome.pageCount);
                } else {
                    std::fprintf(stderr, "purfp print: %s\n", qPrintable(outcome.message));
                    status = 1;
                }
            } catch (const DbError &e) {
                std::fprintf(stderr, "purfp print: 数据库连接失败: %s\n", qPrintable(e.description()));
                status = 1;
            }
        }
    }
    CloseConnection(componentSession());
    for (const QString &text : prompts.messageTexts())
        std::fprintf(stderr, "purfp print: %s\n", qPrintable(text));
    return status;
}
