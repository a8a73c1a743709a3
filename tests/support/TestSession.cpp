#include "support/TestSession.h"

#include "component/ComponentSession.h"
#include "component/SessionStartup.h"
#include "modules/Session.h"
#include "modules/ConnectionRoutines.h"
#include "platform/Clock.h"
#include "platform/DbError.h"
#include "platform/SettingsStore.h"
#include "platform/VbConvert.h"
#include "support/TestDatabase.h"

TestSession::TestSession()
{
    qputenv("XDG_CONFIG_HOME", m_dir.filePath(QStringLiteral("config")).toUtf8());
    qputenv("XDG_DATA_HOME", m_dir.filePath(QStringLiteral("data")).toUtf8());
    qputenv("XDG_CACHE_HOME", m_dir.filePath(QStringLiteral("cache")).toUtf8());
    resetComponentSession();
    Prompt::setResponder(&m_responder);
    Clock::setToday(testToday());
}

TestSession::~TestSession()
{
    resetComponentSession();
    Prompt::setResponder(nullptr);
    Clock::setToday(QDate());
}

Session &TestSession::session()
{
    return componentSession();
}

void TestSession::setSetting(const QString &section, const QString &key, const QString &value)
{
    SettingsStore::write(QString::fromLatin1(kSettingsApplication), section, key, value);
}

void TestSession::writeHostSettings(const QString &connectionString, int userId, bool admin)
{
    setSetting(QStringLiteral("DBOperation"), QStringLiteral("DBConnectionString"), connectionString);
    setSetting(QStringLiteral("SystemLogin"), QStringLiteral("gLoginUserId"), QString::number(userId));
    setSetting(QStringLiteral("SystemLogin"), QStringLiteral("gLoginUserName"), admin ? QStringLiteral("管理员") : QStringLiteral("张会计"));
    setSetting(QStringLiteral("SystemLogin"), QStringLiteral("IsAdmin"), admin ? QStringLiteral("1") : QStringLiteral("0"));
    setSetting(QStringLiteral("SystemSetup"), QStringLiteral("gAppPath"), m_dir.filePath(QStringLiteral("app")));
}

QString TestSession::start()
{
    try {
        Class_Initialize(componentSession());
    } catch (const DbError &e) {
        return e.description();
    } catch (const ConversionError &e) {
        return e.text();
    }
    return {};
}
