#include "component/SessionStartup.h"

#include "modules/Session.h"
#include "modules/ConnectionRoutines.h"
#include "platform/DbError.h"
#include "platform/Prompt.h"
#include "platform/SettingsStore.h"
#include "platform/VbConvert.h"

namespace {
QString setting(const char *section, const char *key, const char *defaultValue)
{
    return SettingsStore::read(QString::fromLatin1(kSettingsApplication), QString::fromLatin1(section),
                               QString::fromLatin1(key), QString::fromUtf8(defaultValue));
}

std::int16_t intSetting(const char *section, const char *key, const char *defaultValue)
{
    return VbConvert::toInt16(setting(section, key, defaultValue));
}

std::int16_t int16Field(const Recordset &rs, const char *name)
{
    const QVariant v = rs.value(QString::fromLatin1(name));
    if (v.isNull())
        throw ConversionError(QStringLiteral("无效使用 Null"));
    return VbConvert::toInt16(Recordset::variantText(v));
}

void readDatabaseValues(Session &s)
{
    Recordset rs = s.gConn->openRecordset(QStringLiteral("select * from tblMaxBillNo where ftypeid=") + QString::number(s.gBillTypeId));
    if (!rs.eof())
        s.gBillName = rs.text(QStringLiteral("fNewBillName"));

    s.gCurrentYear = 0;
    s.gCurrentPeriod = 0;
    rs = s.gConn->openRecordset(QStringLiteral("select fvalue,ftypeid from tblSystemInfo where ftypeid in (4,5) "));
    for (; !rs.eof(); rs.moveNext()) {
        const qint64 type = rs.toInt(QStringLiteral("ftypeid"));
        if (type == 4)
            s.gCurrentYear = int16Field(rs, "fvalue");
        else if (type == 5)
            s.gCurrentPeriod = int16Field(rs, "fvalue");
    }

    s.gPeriodStartDate = QDate(1900, 1, 1);
    rs = s.gConn->openRecordset(QStringLiteral("select isnull(fstartdate,'1900-01-01') as fstartdate from tblPeriod where fYear=")
                                + QString::number(s.gCurrentYear) + QStringLiteral(" and fPeriod=")
                                + QString::number(s.gCurrentPeriod));
    if (!rs.eof()) {
        const QDate start = rs.date(QStringLiteral("fstartdate"));
        if (!start.isValid())
            throw ConversionError(QStringLiteral("类型不匹配"));
        s.gPeriodStartDate = start;
    }
}
} // namespace

void Class_Initialize(Session &s)
{
    // 1. The host's settings, in this order, each with its default.
    s.msgTitle = setting("SystemSetup", "msgTitle", "维卡进销存");
    s.DBConnectionString = setting("DBOperation", "DBConnectionString", "");
    s.gLoginUserId = setting("SystemLogin", "gLoginUserId", "0");
    s.gLoginUserName = setting("SystemLogin", "gLoginUserName", "");
    s.gCurrentYear = intSetting("SystemSetup", "gCurrentYear", "0");
    s.gCurrentPeriod = intSetting("SystemSetup", "gCurrentPeriod", "0");
    s.gBillLength = intSetting("SystemSetup", "gBillLength", "6");
    s.gIsCloseStock = intSetting("SystemSetup", "gIsCloseStock", "0");
    s.gIsUpdateBillNo = intSetting("SystemSetup", "gIsUpdateBillNo", "0");
    s.fTax1 = VbConvert::toDouble(setting("SystemSetup", "fTax1", "17"));
    s.fTax2 = VbConvert::toDouble(setting("SystemSetup", "fTax2", "0"));
    s.IsAdmin = intSetting("SystemLogin", "IsAdmin", "0");
    s.gSeekItem = setting("SystemSetup", "gSeekItem", "fNumber");
    s.gIsShowTip = VbConvert::toBool(setting("SystemSetup", "gIsShowTip", "true"));
    s.gAppPath = setting("SystemSetup", "gAppPath", "");
    s.gIsAddDelNumber = intSetting("SystemSetup", "gIsAddDelNumber", "0");
    s.gFPrice1 = intSetting("SystemSetup", "gFPrice1", "0");
    s.intZeroNumber = intSetting("SystemSetup", "intZeroNumber", "0");
    s.intPriceNumber = intSetting("SystemSetup", "intPriceNumber", "2");
    s.DBPath = setting("DBOperation", "DBPath", "");

    // 2. The bill kind this component handles.
    s.gBillName = QStringLiteral("采购发票");
    s.gBillTypeId = 71;
    s.gFromList = 0;
    s.gViewName = QStringLiteral("vPurFP");
    s.gEditorFlag = 0;
    s.gCurInterId = 0;
    s.gIsSelectMode = 0;
    s.gRightPrefix = QStringLiteral("Q");

    // 3.
    s.gIsUpdateInPrice1 = intSetting("SystemSetup", "gIsUpdateInPrice1", "0");

    // 4. A connection that cannot be opened fails the creation.
    ConnectionScope scope(s);
    OpenConnection(s);

    // 5.-9. From here on errors are reported and start-up ends normally.
    try {
        readDatabaseValues(s);
    } catch (const DbError &e) {
        Prompt::msgBox(e.description(), Prompt::Critical, s.msgTitle);
    } catch (const ConversionError &e) {
        Prompt::msgBox(e.text(), Prompt::Critical, s.msgTitle);
    }
}
