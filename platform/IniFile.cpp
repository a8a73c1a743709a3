#include "platform/IniFile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

namespace {
bool isSectionLine(const QString &trimmed) { return trimmed.startsWith(u'[') && trimmed.endsWith(u']'); }
QString sectionName(const QString &trimmed) { return trimmed.mid(1, trimmed.size() - 2).trimmed(); }
bool isComment(const QString &trimmed) { return trimmed.startsWith(u';') || trimmed.startsWith(u'#'); }

// The key of a "key=value" line, trimmed; empty when the line holds none.
QString lineKey(const QString &line)
{
    const qsizetype eq = line.indexOf(u'=');
    return eq < 0 ? QString() : line.left(eq).trimmed();
}
} // namespace

QStringList IniFile::readLines() const
{
    QFile file(m_path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QString text = QString::fromUtf8(file.readAll());
    text.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    QStringList lines = text.split(u'\n');
    if (!lines.isEmpty() && lines.last().isEmpty())
        lines.removeLast();
    return lines;
}

std::optional<QString> IniFile::value(const QString &section, const QString &key) const
{
    bool inSection = false;
    for (const QString &line : readLines()) {
        const QString trimmed = line.trimmed();
        if (isSectionLine(trimmed)) {
            inSection = sectionName(trimmed).compare(section, Qt::CaseInsensitive) == 0;
            continue;
        }
        if (!inSection || isComment(trimmed))
            continue;
        const QString k = lineKey(line);
        if (!k.isEmpty() && k.compare(key, Qt::CaseInsensitive) == 0)
            return line.mid(line.indexOf(u'=') + 1).trimmed();
    }
    return std::nullopt;
}

bool IniFile::setValue(const QString &section, const QString &key, const QString &value) const
{
    QStringList lines = readLines();
    QString clean = value;
    clean.replace(u'\n', u' ').replace(u'\r', u' ');
    const QString entry = key + u'=' + clean;

    int sectionStart = -1;  // index of the section header
    int sectionEnd = -1;    // one past the last non-blank line of the section
    bool inSection = false;
    for (int i = 0; i < lines.size(); ++i) {
        const QString trimmed = lines[i].trimmed();
        if (isSectionLine(trimmed)) {
            if (inSection)
                break;
            inSection = sectionName(trimmed).compare(section, Qt::CaseInsensitive) == 0;
            if (inSection) {
                sectionStart = i;
                sectionEnd = i + 1;
            }
            continue;
        }
        if (!inSection)
            continue;
        if (!trimmed.isEmpty())
            sectionEnd = i + 1;
        if (isComment(trimmed))
            continue;
        const QString k = lineKey(lines[i]);
        if (!k.isEmpty() && k.compare(key, Qt::CaseInsensitive) == 0) {
            lines[i] = entry;
            sectionStart = -2; // written
            break;
        }
    }
    if (sectionStart >= 0) {
        lines.insert(sectionEnd, entry);
    } else if (sectionStart == -1) {
        if (!lines.isEmpty() && !lines.last().trimmed().isEmpty())
            lines << QString();
        lines << u'[' + section + u']' << entry;
    }

    const QString folder = QFileInfo(m_path).absolutePath();
    if (!QFileInfo::exists(folder)) {
        QDir().mkpath(folder);
        // A folder made for a private file is private too.
        if (m_access == Access::Private)
            QFile::setPermissions(folder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }
    QSaveFile file(m_path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    // The new content goes to a temporary file that replaces the old one on
    // commit: restrict it before anything is written into it.
    if (m_access == Access::Private && !file.setPermissions(QFile::ReadOwner | QFile::WriteOwner)) {
        file.cancelWriting();
        return false;
    }
    file.write(lines.join(u'\n').toUtf8());
    file.write("\n");
    return file.commit();
}
