#pragma once
// Sectioned key=value text file, read and written the way profile strings
// are: sections and keys compared without regard to case, every other
// section, key and comment kept when a value is written. UTF-8.
#include <QString>
#include <QStringList>

#include <optional>

class IniFile {
public:
    // Who may read the file once written: a private file (one holding a
    // password) is made readable and writable by its owner alone, also when
    // it existed with wider rights; a shared one keeps the rights it has, or
    // gets the usual ones when new.
    enum class Access { Shared, Private };

    explicit IniFile(QString path, Access access = Access::Shared) : m_path(std::move(path)), m_access(access) {}

    const QString &path() const { return m_path; }
    // No value when the file, the section or the key is absent. The key is
    // compared as given: " Key" does not find "Key".
    std::optional<QString> value(const QString &section, const QString &key) const;
    // Creates the folder, file, section or key as needed. Returns false when
    // the file cannot be written. The file is replaced as a whole, never left
    // half written; a private file never has wider rights, not even for a
    // moment.
    bool setValue(const QString &section, const QString &key, const QString &value) const;

private:
    QStringList readLines() const;
    QString m_path;
    Access m_access;
};
