// purfp: a small host for the purchase-invoice component. It creates
// databases, writes the settings store the component reads, and loads the
// component to call one of its methods by name.
#include "host/HostCommands.h"

#include <QGuiApplication>
#include <QString>

#include <cstdio>

namespace {
QtMessageHandler g_defaultHandler = nullptr;

// The offscreen platform (scripts, the tour) warns about window hints it has
// no window manager to pass on to ("This plugin does not support
// propagateSizeHints()"). Harmless there, they read like errors; every other
// message goes through.
void quietOffscreenHints(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    if (type == QtWarningMsg && message.contains(QLatin1String("propagateSizeHints"))
        && QGuiApplication::platformName() == QLatin1String("offscreen"))
        return;
    g_defaultHandler(type, context, message);
}
} // namespace

int main(int argc, char **argv)
{
    QStringList args;
    for (int i = 1; i < argc; ++i)
        args << QString::fromLocal8Bit(argv[i]);
    if (args.isEmpty() || args[0] == u"--help" || args[0] == u"-h" || args[0] == u"help") {
        printUsage();
        std::printf("  purfp uninvoiced [--supplier 供应商代码] [--as-of yyyy-MM-dd] [--csv]    (已入库未开票的入库单)\n");
        std::printf("  purfp print --ids 单据内码,单据内码,... --pdf 文件    (按默认模板把这些发票打印到一个 PDF, 每张另起一页)\n");
        std::printf("  purfp tour --out 目录    (无显示器时走一遍各窗体, 图片、PDF 和 Excel 文件写入该目录)\n");
        std::printf("  连接字符串不含 Pwd 时, init 从环境变量 PURFP_DB_PASSWORD 取密码, 或加 --password-stdin 从标准输入读一行\n");
        return args.isEmpty() ? 2 : 0;
    }
    g_defaultHandler = qInstallMessageHandler(quietOffscreenHints);
    const QString command = args.takeFirst();
    if (command == u"init")
        return runInit(args);
    if (command == u"tour")
        return runTour(args);
    if (command == u"uninvoiced")
        return runUninvoiced(args);
    if (command == u"print")
        return runPrint(args);
    args.prepend(command);
    return runMethod(args);
}
