#include "component/CApi.h"

#include "component/clsCGIn.h"

#include <QApplication>

#include <cstring>
#include <exception>

namespace {
enum class Member { BillName, StrAppPath, ReturnString1, ReturnString, UserRight,
                    NewInfo, DownFromOrder, FindInfo, FindInfo1, FindInfo2 };

struct MemberInfo {
    const char *name;
    int32_t dispId;
    Member member;
    bool isProperty;
};

// The interface's fixed dispatch ids.
constexpr MemberInfo kMembers[] = {
    {"billName", 0x68030004, Member::BillName, true},
    {"strAppPath", 0x68030003, Member::StrAppPath, true},
    {"ReturnString1", 0x68030002, Member::ReturnString1, true},
    {"ReturnString", 0x68030001, Member::ReturnString, true},
    {"UserRight", 0x68030000, Member::UserRight, true},
    {"newInfo", 0x60030006, Member::NewInfo, false},
    {"downFromOrder", 0x60030007, Member::DownFromOrder, false},
    {"findInfo", 0x60030008, Member::FindInfo, false},
    {"findInfo1", 0x60030009, Member::FindInfo1, false},
    {"findInfo2", 0x6003000a, Member::FindInfo2, false},
};

const MemberInfo *memberById(int32_t id)
{
    for (const MemberInfo &m : kMembers)
        if (m.dispId == id)
            return &m;
    return nullptr;
}

void copyText(const QString &value, char *text, int32_t textSize)
{
    if (!text || textSize <= 0)
        return;
    const QByteArray utf8 = value.toUtf8();
    qsizetype n = std::min<qsizetype>(utf8.size(), textSize - 1);
    // Never cut a UTF-8 sequence in half.
    while (n > 0 && n < utf8.size() && (uchar(utf8[n]) & 0xC0) == 0x80)
        --n;
    std::memcpy(text, utf8.constData(), size_t(n));
    text[n] = '\0';
}

// Modal methods need a GUI application; a host without one gets ours.
void ensureApplication()
{
    if (QCoreApplication::instance())
        return;
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") && qEnvironmentVariableIsEmpty("DISPLAY")
        && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    static int argc = 1;
    static char name[] = "TamsorPurFP";
    static char *argv[] = {name, nullptr};
    new QApplication(argc, argv);
}

QString argumentText(const char *argument)
{
    return argument ? QString::fromUtf8(argument) : QString();
}
} // namespace

extern "C" int32_t TamsorPurFP_CreateInstance(const char *className, void **instance, char *text, int32_t textSize)
{
    if (!instance)
        return PURFP_E_INVALIDARG;
    *instance = nullptr;
    if (!className || qstricmp(className, "clsCGIn") != 0) {
        copyText(QStringLiteral("没有名为 %1 的类").arg(QString::fromUtf8(className ? className : "")), text, textSize);
        return PURFP_CLASS_E_CLASSNOTAVAILABLE;
    }
    try {
        ensureApplication();
        QString error;
        std::unique_ptr<clsCGIn> obj = clsCGIn::create(&error);
        if (!obj) {
            copyText(error, text, textSize);
            return PURFP_E_FAIL;
        }
        *instance = obj.release();
        copyText(QString(), text, textSize);
        return PURFP_S_OK;
    } catch (const std::exception &e) {
        copyText(QString::fromUtf8(e.what()), text, textSize);
        return PURFP_E_FAIL;
    }
}

extern "C" int32_t TamsorPurFP_GetIDsOfNames(void *instance, const char *memberName, int32_t *dispId)
{
    if (!instance || !memberName || !dispId)
        return PURFP_E_INVALIDARG;
    for (const MemberInfo &m : kMembers) {
        if (qstricmp(m.name, memberName) == 0) {
            *dispId = m.dispId;
            return PURFP_S_OK;
        }
    }
    *dispId = -1; // DISPID_UNKNOWN
    return PURFP_DISP_E_UNKNOWNNAME;
}

extern "C" int32_t TamsorPurFP_Invoke(void *instance, int32_t dispId, int32_t invokeKind, const char *argument, char *text, int32_t textSize)
{
    if (!instance)
        return PURFP_E_INVALIDARG;
    auto *obj = static_cast<clsCGIn *>(instance);
    const MemberInfo *info = memberById(dispId);
    if (!info)
        return PURFP_DISP_E_MEMBERNOTFOUND;
    try {
        if (info->isProperty) {
            if (invokeKind & PURFP_DISPATCH_PROPERTYPUT) {
                if (!argument)
                    return PURFP_E_INVALIDARG;
                const QString value = QString::fromUtf8(argument);
                switch (info->member) {
                case Member::BillName: obj->setBillName(value); break;
                case Member::StrAppPath: obj->setStrAppPath(value); break;
                case Member::ReturnString1: obj->setReturnString1(value); break;
                case Member::ReturnString: obj->setReturnString(value); break;
                default: obj->setUserRight(value); break;
                }
                copyText(QString(), text, textSize);
                return PURFP_S_OK;
            }
            if (invokeKind & PURFP_DISPATCH_PROPERTYGET) {
                QString value;
                switch (info->member) {
                case Member::BillName: value = obj->billName(); break;
                case Member::StrAppPath: value = obj->strAppPath(); break;
                case Member::ReturnString1: value = obj->ReturnString1(); break;
                case Member::ReturnString: value = obj->ReturnString(); break;
                default: value = obj->UserRight(); break;
                }
                copyText(value, text, textSize);
                return PURFP_S_OK;
            }
            return PURFP_DISP_E_MEMBERNOTFOUND;
        }
        if (!(invokeKind & PURFP_DISPATCH_METHOD))
            return PURFP_DISP_E_MEMBERNOTFOUND;
        const bool needsArgument = info->member == Member::DownFromOrder || info->member == Member::FindInfo1
            || info->member == Member::FindInfo2;
        if (needsArgument && !argument)
            return PURFP_E_INVALIDARG;
        QString result;
        switch (info->member) {
        case Member::NewInfo: result = obj->newInfo() ? QStringLiteral("-1") : QStringLiteral("0"); break;
        case Member::DownFromOrder: result = obj->downFromOrder(argumentText(argument)) ? QStringLiteral("-1") : QStringLiteral("0"); break;
        case Member::FindInfo: result = obj->findInfo() ? QStringLiteral("-1") : QStringLiteral("0"); break;
        case Member::FindInfo1: result = obj->findInfo1(argumentText(argument)) ? QStringLiteral("-1") : QStringLiteral("0"); break;
        default: result = obj->findInfo2(argumentText(argument)); break;
        }
        copyText(result, text, textSize);
        return PURFP_S_OK;
    } catch (const std::exception &e) {
        copyText(QString::fromUtf8(e.what()), text, textSize);
        return PURFP_E_FAIL;
    }
}

extern "C" void TamsorPurFP_Release(void *instance)
{
    delete static_cast<clsCGIn *>(instance);
}
