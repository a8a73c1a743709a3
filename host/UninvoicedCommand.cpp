// purfp uninvoiced: the stock-in bills received but not yet invoiced, per
// supplier, on the database that `purfp init` wrote into the settings store;
// as text with totals, or as CSV for a spreadsheet.
#include "host/HostCommands.h"

#include "component/SessionStartup.h"
#include "list/UninvoicedBills.h"
#include "platform/Connection.h"
#include "platform/DbError.h"
#include "platform/SettingsStore.h"

#include <QCoreApplication>

#include <algorithm>
#include <cstdio>

namespace {
int usage(const QString &problem)
{
    std::fprintf(stderr, "purfp uninvoiced: %s\n  用法: purfp uninvoiced [--supplier 供应商代码] [--as-of yyyy-MM-dd] [--csv]\n",
                 qPrintable(problem));
    return 2;
}

// Pads to `width` terminal columns; a Chinese character takes two.
QString padded(const QString &text, int width, bool right)
{
    int columns = 0;
    for (QChar c : text)
        columns += c.unicode() < 0x1100 ? 1 : 2;
    const QString fill(std::max(0, width - columns), u' ');
    return right ? fill + text : text + fill;
}

// A bill line, or a total line under its label: bill number and date to the
// left, amounts to the right.
void printLine(const QString &label, const QStringList &cells)
{
    QString line = QStringLiteral("  ") + padded(label, 14, false) + u' ' + padded(cells[3], 10, false);
    for (int c = 4; c < 7; ++c)
        line += u' ' + padded(cells[c], 16, true);
    std::printf("%s\n", line.toUtf8().constData());
}

void printText(const UninvoicedReport &report)
{
    if (report.suppliers.empty()) {
        std::printf("没有未开票的入库单\n");
        return;
    }
    const QStringList header = uninvoicedHeader();
    for (const UninvoicedLine &line : uninvoicedLines(report)) {
        if (line.supplier < 0) {
            std::printf("\n");
            printLine(line.cells[0] + u' ' + line.cells[2], line.cells);
            continue;
        }
        if (line.bill == 0) {
            std::printf("%s %s\n", line.cells[0].toUtf8().constData(), line.cells[1].toUtf8().constData());
            printLine(header[2], {QString(), QString(), header[2], header[3], header[4], header[5], header[6]});
        }
        printLine(line.cells[2], line.cells);
    }
}
} // namespace

int runUninvoiced(const QStringList &args)
{
    UninvoicedFilter filter;
    bool csv = false;
    for (int i = 0; i < args.size(); ++i) {
        if (args[i] == u"--csv") {
            csv = true;
        } else if (args[i] == u"--supplier" && i + 1 < args.size()) {
            filter.supplierNumber = args[++i];
        } else if (args[i] == u"--as-of" && i + 1 < args.size()) {
            filter.asOf = QDate::fromString(args[++i], QStringLiteral("yyyy-MM-dd"));
            if (!filter.asOf.isValid())
                return usage(QStringLiteral("日期 %1 无效").arg(args[i]));
        } else {
            return usage(QStringLiteral("未知的参数: %1").arg(args[i]));
        }
    }
    static int argc = 1;
    static char name[] = "purfp";
    static char *argv[] = {name, nullptr};
    QCoreApplication app(argc, argv);
    const QString connection = SettingsStore::read(QString::fromLatin1(kSettingsApplication), QStringLiteral("DBOperation"),
                                                   QStringLiteral("DBConnectionString"), QString());
    if (connection.trimmed().isEmpty()) {
        std::fprintf(stderr, "purfp uninvoiced: 设置中没有数据库连接, 请先运行 purfp init\n");
        return 1;
    }
    try {
        Connection conn(connection);
        conn.open();
        const UninvoicedReport report = readUninvoiced(conn, filter);
        if (csv) {
            const QByteArray text = uninvoicedCsv(report);
            std::fwrite(text.constData(), 1, size_t(text.size()), stdout);
        } else {
            printText(report);
        }
    } catch (const DbError &e) {
        std::fprintf(stderr, "purfp uninvoiced: 数据库错误: %s\n", qPrintable(e.description()));
        return 1;
    }
    return 0;
}
