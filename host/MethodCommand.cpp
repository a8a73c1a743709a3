// purfp METHOD: loads libTamsorPurFP.so, creates clsCGIn through the C entry
// points, binds the method by name and calls it, as any late-binding host
// would.
#include "host/HostCommands.h"

#include "component/CApi.h"

#include <QByteArray>
#include <QFileInfo>

#include <cstdio>
#include <dlfcn.h>
#include <unistd.h>

namespace {
using CreateFn = int32_t (*)(const char *, void **, char *, int32_t);
using NamesFn = int32_t (*)(void *, const char *, int32_t *);
using InvokeFn = int32_t (*)(void *, int32_t, int32_t, const char *, char *, int32_t);
using ReleaseFn = void (*)(void *);

struct Component {
    void *handle = nullptr;
    CreateFn create = nullptr;
    NamesFn names = nullptr;
    InvokeFn invoke = nullptr;
    ReleaseFn release = nullptr;
};

QString executableFolder()
{
    char path[4096];
    const ssize_t n = readlink("/proc/self/exe", path, sizeof(path) - 1);
    if (n <= 0)
        return QStringLiteral(".");
    path[n] = '\0';
    return QFileInfo(QString::fromLocal8Bit(path)).absolutePath();
}

bool load(const QString &libraryPath, Component &c, QString *error)
{
    c.handle = dlopen(libraryPath.toLocal8Bit().constData(), RTLD_NOW | RTLD_LOCAL);
    if (!c.handle) {
        *error = QStringLiteral("无法加载组件 %1: %2").arg(libraryPath, QString::fromLocal8Bit(dlerror()));
        return false;
    }
    c.create = reinterpret_cast<CreateFn>(dlsym(c.handle, "TamsorPurFP_CreateInstance"));
    c.names = reinterpret_cast<NamesFn>(dlsym(c.handle, "TamsorPurFP_GetIDsOfNames"));
    c.invoke = reinterpret_cast<InvokeFn>(dlsym(c.handle, "TamsorPurFP_Invoke"));
    c.release = reinterpret_cast<ReleaseFn>(dlsym(c.handle, "TamsorPurFP_Release"));
    if (!c.create || !c.names || !c.invoke || !c.release) {
        *error = QStringLiteral("组件 %1 缺少入口函数").arg(libraryPath);
        return false;
    }
    return true;
}

QString hresultText(int32_t hr)
{
    switch (hr) {
    case PURFP_DISP_E_UNKNOWNNAME: return QStringLiteral("未知的名称");
    case PURFP_DISP_E_MEMBERNOTFOUND: return QStringLiteral("成员不是方法");
    case PURFP_E_INVALIDARG: return QStringLiteral("参数无效");
    default: return QStringLiteral("调用失败");
    }
}

constexpr int kTextSize = 1 << 20;

// Every method opens a form and waits for the clerk. Without a display the
// component would show it where nobody sees it and wait for ever, so the host
// stops before that unless a platform was asked for on purpose (offscreen,
// for scripts) or forms are switched off.
bool formsCanBeSeen()
{
    return !qEnvironmentVariableIsEmpty("DISPLAY") || !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")
        || !qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") || qEnvironmentVariable("PURFP_NO_FORMS") == u"1";
}
} // namespace

void printUsage()
{
    std::printf(
        "用法:\n"
        "  purfp init (--db 路径 | --connection 连接字符串) [--demo] [--scale N] [--seed N] [--force]\n"
        "             [--user-id N] [--user-name 名称] [--admin 0|1] [--title 标题] [--app-path 目录]\n"
        "  purfp init (--db 路径 | --connection 连接字符串) --update-indexes    (按当前版本重建已有数据库的索引)\n"
        "  purfp newInfo | findInfo | findInfo1 条件 | findInfo2 条件 | downFromOrder 单据内码列表\n"
        "             [--right 权限] [--lib libTamsorPurFP.so 的路径]\n");
}

int runMethod(const QStringList &input)
{
    QStringList args = input;
    QString right;
    QString library = qEnvironmentVariable("PURFP_LIB");
    for (int i = 0; i < args.size();) {
        if ((args[i] == u"--right" || args[i] == u"--lib") && i + 1 < args.size()) {
            (args[i] == u"--right" ? right : library) = args[i + 1];
            args.remove(i, 2);
        } else if (args[i].startsWith(u"--")) {
            std::fprintf(stderr, "purfp: 未知的选项: %s\n", qPrintable(args[i]));
            return 2;
        } else {
            ++i;
        }
    }
    const QString method = args.value(0);
    if (args.size() > 2) {
        std::fprintf(stderr, "purfp: 参数过多\n");
        return 2;
    }
    const bool hasArgument = args.size() == 2;
    if (!formsCanBeSeen()) {
        std::fprintf(stderr,
                     "purfp: 没有显示器 (DISPLAY 和 WAYLAND_DISPLAY 均未设置), 无法打开窗体。\n"
                     "  请在图形桌面中运行; 或设置 QT_QPA_PLATFORM=offscreen (窗体不可见, 供脚本使用);\n"
                     "  或运行 purfp tour --out 目录, 不用显示器走一遍各窗体。\n");
        return 3;
    }
    if (library.isEmpty()) {
        library = executableFolder() + QStringLiteral("/libTamsorPurFP.so");
        // Installed, the component is in the library folder: the loader
        // finds it there through purfp's own search path.
        if (!QFileInfo::exists(library))
            library = QStringLiteral("libTamsorPurFP.so");
    }

    Component c;
    QString error;
    if (!load(library, c, &error)) {
        std::fprintf(stderr, "purfp: %s\n", qPrintable(error));
        return 1;
    }
    QByteArray text(kTextSize, '\0');
    void *instance = nullptr;
    int32_t hr = c.create("clsCGIn", &instance, text.data(), kTextSize);
    if (hr != PURFP_S_OK) {
        std::fprintf(stderr, "purfp: 创建 clsCGIn 失败: %s\n", text.constData());
        return 1;
    }
    int status = 0;
    int32_t id = 0;
    const QByteArray methodName = method.toUtf8();
    hr = c.names(instance, methodName.constData(), &id);
    if (hr != PURFP_S_OK) {
        std::fprintf(stderr, "purfp: clsCGIn 没有名为 %s 的方法\n", methodName.constData());
        c.release(instance);
        return 2;
    }
    int32_t rightId = 0;
    c.names(instance, "UserRight", &rightId);
    c.invoke(instance, rightId, PURFP_DISPATCH_PROPERTYPUT, right.toUtf8().constData(), text.data(), kTextSize);

    const QByteArray argument = hasArgument ? args[1].toUtf8() : QByteArray();
    hr = c.invoke(instance, id, PURFP_DISPATCH_METHOD, hasArgument ? argument.constData() : nullptr, text.data(), kTextSize);
    if (hr != PURFP_S_OK) {
        std::fprintf(stderr, "purfp: %s 失败 (%s, 0x%08x)%s%s\n", methodName.constData(), qPrintable(hresultText(hr)),
                     unsigned(hr), text[0] ? ": " : "", text.constData());
        status = hr == PURFP_E_INVALIDARG ? 2 : 1;
    } else {
        std::printf("%s 返回: \"%s\"\n", methodName.constData(), text.constData());
        if (method.compare(u"findInfo1", Qt::CaseInsensitive) == 0 || method.compare(u"findInfo2", Qt::CaseInsensitive) == 0) {
            for (const char *property : {"ReturnString", "ReturnString1"}) {
                int32_t pid = 0;
                c.names(instance, property, &pid);
                c.invoke(instance, pid, PURFP_DISPATCH_PROPERTYGET, nullptr, text.data(), kTextSize);
                std::printf("%s=%s\n", property, text.constData());
            }
        }
    }
    c.release(instance);
    return status;
}
