#include "platform/IniFile.h"
#include "platform/SettingsStore.h"
#include "support/CaseRows.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>

// before: -1: no file yet; folderAfter: -1: the folder existed
struct FileModesCase { const char *name; bool settingsStore; int before; int after; int folderAfter; };
Q_DECLARE_METATYPE(FileModesCase)

class TestIniFile : public QObject {
    Q_OBJECT

    static QString contents(const QString &path)
    {
        QFile f(path);
        f.open(QIODevice::ReadOnly);
        return QString::fromUtf8(f.readAll());
    }
    static int mode(const QString &path)
    {
        struct stat st {};
        return ::stat(QFile::encodeName(path).constData(), &st) == 0 ? int(st.st_mode & 07777) : -1;
    }
    static void write(const QString &path, const QString &text)
    {
        QFile f(path);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write(text.toUtf8());
    }

private slots:
    void writeKeepsEverythingElse()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("sub/SetupInfo.ini"));
        IniFile ini(path);
        QVERIFY(ini.setValue(QStringLiteral("Print"), QStringLiteral("71Print"), QStringLiteral("1")));
        write(path, QStringLiteral("; kept comment\n[Print]\n71Print=1\nOther = x\n\n[LockCols]\nA1=3\n"));
        QVERIFY(ini.setValue(QStringLiteral("print"), QStringLiteral("71PRINT"), QStringLiteral("0")));
        QVERIFY(ini.setValue(QStringLiteral("Print"), QStringLiteral("New"), QStringLiteral("值")));
        QVERIFY(ini.setValue(QStringLiteral("OvStock"), QStringLiteral("A71"), QStringLiteral("2")));
        QCOMPARE(contents(path), QStringLiteral("; kept comment\n[Print]\n71PRINT=0\nOther = x\nNew=值\n\n"
                                                "[LockCols]\nA1=3\n\n[OvStock]\nA71=2\n"));
        QCOMPARE(ini.value(QStringLiteral("PRINT"), QStringLiteral("other")), std::optional<QString>(QStringLiteral("x")));
        QCOMPARE(ini.value(QStringLiteral("LockCols"), QStringLiteral("A1")), std::optional<QString>(QStringLiteral("3")));
        QCOMPARE(ini.value(QStringLiteral("LockCols"), QStringLiteral("A2")), std::nullopt);
        QCOMPARE(ini.value(QStringLiteral("Nope"), QStringLiteral("A1")), std::nullopt);
        // A key with leading blanks is another key.
        QCOMPARE(ini.value(QStringLiteral("Print"), QStringLiteral("   New")), std::nullopt);

        IniFile unwritable(QStringLiteral("/proc/purfp-no-such/SetupInfo.ini"));
        QVERIFY(!unwritable.setValue(QStringLiteral("S"), QStringLiteral("K"), QStringLiteral("V")));
        QCOMPARE(unwritable.value(QStringLiteral("S"), QStringLiteral("K")), std::nullopt);
    }

    // The settings store holds the database password: its file is the
    // owner's alone however it was before; other files keep their rights.
    void fileModes_data()
    {
        addCaseRows<FileModesCase>({
            {"new settings store", true, -1, 0600, 0700},
            {"settings store readable by all", true, 0644, 0600, -1},
            {"settings store writable by all", true, 0666, 0600, -1},
            {"settings store already private", true, 0600, 0600, -1},
            {"shared file keeps its rights", false, 0640, 0640, -1},
        });
    }
    void fileModes()
    {
        QFETCH(FileModesCase, row);
        auto [caseName, settingsStore, before, after, folderAfter] = row;
        QTemporaryDir dir;
        qputenv("XDG_CONFIG_HOME", dir.path().toUtf8());
        const QString path = settingsStore ? SettingsStore::filePath(QStringLiteral("Velkam")) : dir.filePath(QStringLiteral("SetupInfo.ini"));
        if (before >= 0) {
            QDir().mkpath(QFileInfo(path).absolutePath());
            write(path, QStringLiteral("[DBOperation]\nDBPath=x\n"));
            QCOMPARE(::chmod(QFile::encodeName(path).constData(), mode_t(before)), 0);
        }
        const QString section = QStringLiteral("DBOperation");
        const QString key = QStringLiteral("DBConnectionString");
        const QString value = QStringLiteral("Driver=PostgreSQL;Server=h;Database=d;Uid=u;Pwd=secret");
        QVERIFY(settingsStore ? SettingsStore::write(QStringLiteral("Velkam"), section, key, value)
                              : IniFile(path).setValue(section, key, value));
        QCOMPARE(mode(path), after);
        if (folderAfter >= 0)
            QCOMPARE(mode(QFileInfo(path).absolutePath()), folderAfter);
        QCOMPARE(IniFile(path).value(section, key), std::optional<QString>(value));
    }

    void settingsStoreFollowsXdgAndNeverWritesOnRead()
    {
        QTemporaryDir dir;
        qputenv("XDG_CONFIG_HOME", dir.path().toUtf8());
        const QString path = SettingsStore::filePath(QStringLiteral("Velkam"));
        QCOMPARE(path, dir.filePath(QStringLiteral("app-settings/Velkam.ini")));
        QCOMPARE(SettingsStore::read(QStringLiteral("Velkam"), QStringLiteral("SystemSetup"), QStringLiteral("msgTitle"), QStringLiteral("默认")),
                 QStringLiteral("默认"));
        QVERIFY(!QFile::exists(path));
        QVERIFY(SettingsStore::write(QStringLiteral("Velkam"), QStringLiteral("SystemSetup"), QStringLiteral("msgTitle"), QStringLiteral("标题")));
        QCOMPARE(SettingsStore::read(QStringLiteral("Velkam"), QStringLiteral("systemsetup"), QStringLiteral("MSGTITLE"), QString()),
                 QStringLiteral("标题"));
    }
};

QTEST_GUILESS_MAIN(TestIniFile)
#include "tst_inifile.moc"
