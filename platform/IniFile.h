#pragma once
// Sectioned key=value text file, read and written the way profile strings
// are: sections and keys compared without regard to case, every other
// section, key and comment kept when a value is written. UTF-8.
#include <QString>
#include <QStringList>

#include <optional>

class IniFile {
public:
    explicit IniFile(QString path) : m_path(std::move(path)) {}

    const QString &path() const { return m_path; }
    // No value when the file, the section or the key is absent. The key is
    // compared as given: " Key" does not find "Key".
    std::optional<QString> value(const QString &section, const QString &key) const;
    // Creates the folder, file, section or key as needed. Returns false when
    // the file cannot be written.
    bool setValue(const QString &section, const QString &key, const QString &value) const;

private:
    QStringList readLines() const;
    QString m_path;
};
