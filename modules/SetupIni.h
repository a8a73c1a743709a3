#pragma once
// The component's own settings file "SetupInfo.ini" in the application
// folder: options of the forms that are not kept in the database.
#include <QString>

struct Session;

// gAppPath + "/SetupInfo.ini"; with an empty gAppPath the file lives in
// $XDG_DATA_HOME/TamsorPurFP (~/.local/share when unset). Also stores the
// result in s.gIniPath.
QString computeIniPath(Session &s);
// s.gIniPath, computed first when still empty.
QString IniPath(Session &s);
// The stored value, cut at 144 characters and at the first character outside
// ASCII (values here are numbers and flags). An absent or empty entry returns
// `defaultValue` and writes it into the file.
QString ReadIni(Session &s, const QString &section, const QString &key, const QString &defaultValue);
void WriteIni(Session &s, const QString &section, const QString &key, const QString &value);
