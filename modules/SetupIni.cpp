#include "modules/SetupIni.h"

#include "modules/Session.h"
#include "platform/IniFile.h"

#include <QDir>

QString computeIniPath(Session &s)
{
    QString folder = s.gAppPath;
    if (folder.isEmpty()) {
        QString base = qEnvironmentVariable("XDG_DATA_HOME");
        if (base.isEmpty())
            base = QDir::homePath() + QStringLiteral("/.local/share");
        folder = base + QStringLiteral("/TamsorPurFP");
    }
    while (folder.size() > 1 && (folder.endsWith(u'/') || folder.endsWith(u'\\')))
        folder.chop(1);
    s.gIniPath = folder + QStringLiteral("/SetupInfo.ini");
    return s.gIniPath;
}

QString IniPath(Session &s)
{
    if (s.gIniPath.isEmpty())
        computeIniPath(s);
    return s.gIniPath;
}

QString ReadIni(Session &s, const QString &section, const QString &key, const QString &defaultValue)
{
    constexpr int kBufferSize = 144;
    const QString stored = IniFile(IniPath(s)).value(section, key).value_or(QString());
    if (stored.isEmpty()) {
        WriteIni(s, section, key, defaultValue);
        return defaultValue;
    }
    QString result;
    for (int i = 0; i < stored.size() && i < kBufferSize; ++i) {
        const char16_t c = stored[i].unicode();
        if (c == 0 || c > 127)
            break;
        result += QChar(c);
    }
    return result;
}

void WriteIni(Session &s, const QString &section, const QString &key, const QString &value)
{
    IniFile(IniPath(s)).setValue(section, key, value);
}
