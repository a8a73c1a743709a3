#pragma once
// The per-user settings store, addressed by application, section and key.
// One INI file per application: $XDG_CONFIG_HOME/app-settings/<app>.ini
// (~/.config when XDG_CONFIG_HOME is unset).
#include <QString>

namespace SettingsStore {
QString filePath(const QString &application);
// The stored text, or `defaultValue` when the key is absent. Never writes.
QString read(const QString &application, const QString &section, const QString &key, const QString &defaultValue);
// Writes the file readable and writable by its owner alone (mode 0600), as it
// holds the database password; a folder it creates is 0700.
bool write(const QString &application, const QString &section, const QString &key, const QString &value);
}
