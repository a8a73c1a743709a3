#include "platform/SettingsStore.h"

#include "platform/IniFile.h"

#include <QDir>

QString SettingsStore::filePath(const QString &application)
{
    QString base = qEnvironmentVariable("XDG_CONFIG_HOME");
    if (base.isEmpty())
        base = QDir::homePath() + QStringLiteral("/.config");
    return base + QStringLiteral("/app-settings/") + application + QStringLiteral(".ini");
}

QString SettingsStore::read(const QString &application, const QString &section, const QString &key, const QString &defaultValue)
{
    return IniFile(filePath(application)).value(section, key).value_or(defaultValue);
}

bool SettingsStore::write(const QString &application, const QString &section, const QString &key, const QString &value)
{
    // The store holds the database password: for its user's eyes only.
    return IniFile(filePath(application), IniFile::Access::Private).setValue(section, key, value);
}
