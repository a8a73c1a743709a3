// purfp init: creates the schema (and demo data) and writes the settings
// store of the current user so that the component finds its database.
#include "host/HostCommands.h"

#include "platform/Connection.h"
#include "platform/DbError.h"
#include "platform/SettingsStore.h"
#include "sql/DatabaseSetup.h"
#include "sql/DemoData.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <string>

#include <sys/stat.h>

namespace {
void fail(const QString &text)
{
    std::fprintf(stderr, "purfp init: %s\n", qPrintable(text));
}

struct InitOptions {
    QString dbPath;
    QString connection;
    bool demo = false;
    int scale = 0;
    quint32 seed = DemoOptions().seed;
    bool force = false;
    bool updateIndexes = false; // an existing database: only its indexes are made anew
    QString userId = QStringLiteral("1");
    QString userName = QStringLiteral("管理员");
    QString admin = QStringLiteral("1");
    QString title;
    QString appPath;
    bool passwordStdin = false;
};

// A connection string's key=value pairs that hold a password.
bool isPasswordKey(const QString &pair)
{
    const QString key = pair.left(pair.indexOf(u'=')).trimmed().toLower();
    return key == u"pwd" || key == u"password";
}

// The connection string as it may be shown: every password masked.
QString maskedConnectionString(const QString &connectionString)
{
    QStringList parts = connectionString.split(u';');
    for (QString &part : parts) {
        if (part.contains(u'=') && isPasswordKey(part))
            part = part.left(part.indexOf(u'=') + 1) + QStringLiteral("******");
    }
    return parts.join(u';');
}

// Whether the connection string gives a password that is not empty.
bool hasPassword(const QString &connectionString)
{
    for (const QString &part : connectionString.split(u';')) {
        if (part.contains(u'=') && isPasswordKey(part) && !part.mid(part.indexOf(u'=') + 1).trimmed().isEmpty())
            return true;
    }
    return false;
}

// The connection string with `password` in place of an empty or missing one.
QString withPassword(const QString &connectionString, const QString &password)
{
    QStringList parts;
    for (const QString &part : connectionString.split(u';', Qt::SkipEmptyParts)) {
        if (!(part.contains(u'=') && isPasswordKey(part)))
            parts << part;
    }
    parts << QStringLiteral("Pwd=") + password;
    return parts.join(u';');
}

// Takes the password from standard input (one line) or from the environment
// when the connection string has none, so that it never shows among the
// program's arguments.
bool supplyPassword(InitOptions &o, QString *error)
{
    if (o.connection.isEmpty()) {
        if (o.passwordStdin) {
            *error = QStringLiteral("--password-stdin 只能与 --connection 一起使用");
            return false;
        }
        return true;
    }
    if (hasPassword(o.connection)) {
        if (o.passwordStdin) {
            *error = QStringLiteral("连接字符串中已有 Pwd, 不能再用 --password-stdin");
            return false;
        }
        return true;
    }
    QString password;
    if (o.passwordStdin) {
        std::string line;
        if (!std::getline(std::cin, line)) {
            *error = QStringLiteral("--password-stdin: 标准输入中没有密码");
            return false;
        }
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        password = QString::fromStdString(line);
    } else {
        password = qEnvironmentVariable("PURFP_DB_PASSWORD");
    }
    if (password.isEmpty())
        return true;
    if (password.contains(u';') || password != password.trimmed()) {
        *error = QStringLiteral("密码不能含有分号, 首尾也不能有空白");
        return false;
    }
    o.connection = withPassword(o.connection, password);
    return true;
}

// Files created while it lives are readable and writable by their owner
// alone: the SQLite database and the journal files SQLite makes beside it.
class PrivateFiles {
public:
    PrivateFiles() : m_previous(::umask(077)) {}
    ~PrivateFiles() { ::umask(m_previous); }
    PrivateFiles(const PrivateFiles &) = delete;
    PrivateFiles &operator=(const PrivateFiles &) = delete;

private:
    mode_t m_previous;
};

bool parse(const QStringList &args, InitOptions &o, QString *error)
{
    for (int i = 0; i < args.size(); ++i) {
        const QString &a = args[i];
        auto next = [&](QString *out) {
            if (i + 1 >= args.size()) {
                *error = QStringLiteral("%1 需要一个值").arg(a);
                return false;
            }
            *out = args[++i];
            return true;
        };
        QString value;
        if (a == u"--db") { if (!next(&o.dbPath)) return false; }
        else if (a == u"--connection") { if (!next(&o.connection)) return false; }
        else if (a == u"--demo") o.demo = true;
        else if (a == u"--force") o.force = true;
        else if (a == u"--update-indexes") o.updateIndexes = true;
        else if (a == u"--scale" || a == u"--seed") {
            if (!next(&value)) return false;
            bool ok = false;
            const uint n = value.toUInt(&ok);
            if (!ok || n == 0) { *error = QStringLiteral("%1 需要一个正整数: %2").arg(a, value); return false; }
            if (a == u"--scale") { o.scale = int(n); o.demo = true; } else o.seed = n;
        }
        else if (a == u"--user-id") { if (!next(&o.userId)) return false; }
        else if (a == u"--user-name") { if (!next(&o.userName)) return false; }
        else if (a == u"--admin") { if (!next(&o.admin)) return false; }
        else if (a == u"--title") { if (!next(&o.title)) return false; }
        else if (a == u"--app-path") { if (!next(&o.appPath)) return false; }
        else if (a == u"--password-stdin") o.passwordStdin = true;
        else { *error = QStringLiteral("未知的选项: %1").arg(a); return false; }
    }
    if (o.dbPath.isEmpty() == o.connection.isEmpty()) {
        *error = QStringLiteral("请给出 --db 路径 或 --connection 连接字符串 (二者取一)");
        return false;
    }
    if (o.updateIndexes && (o.demo || o.force)) {
        *error = QStringLiteral("--update-indexes 只更新已有数据库的索引, 不能与 --demo、--scale 或 --force 一起使用");
        return false;
    }
    return supplyPassword(o, error);
}

void writeSettings(const InitOptions &o, const QString &connectionString, const QString &appPath)
{
    const QString app = QStringLiteral("Velkam");
    SettingsStore::write(app, QStringLiteral("DBOperation"), QStringLiteral("DBConnectionString"), connectionString);
    SettingsStore::write(app, QStringLiteral("DBOperation"), QStringLiteral("DBPath"), o.dbPath);
    SettingsStore::write(app, QStringLiteral("SystemLogin"), QStringLiteral("gLoginUserId"), o.userId);
    SettingsStore::write(app, QStringLiteral("SystemLogin"), QStringLiteral("gLoginUserName"), o.userName);
    SettingsStore::write(app, QStringLiteral("SystemLogin"), QStringLiteral("IsAdmin"), o.admin);
    SettingsStore::write(app, QStringLiteral("SystemSetup"), QStringLiteral("gAppPath"), appPath);
    if (!o.title.isEmpty())
        SettingsStore::write(app, QStringLiteral("SystemSetup"), QStringLiteral("msgTitle"), o.title);
}
// Remakes the indexes of an existing database; the settings store is left
// as it is.
int updateIndexes(const InitOptions &o)
{
    QString connectionString = o.connection;
    if (!o.dbPath.isEmpty()) {
        if (!QFileInfo::exists(o.dbPath)) {
            fail(QStringLiteral("数据库文件不存在: %1").arg(o.dbPath));
            return 1;
        }
        ConnectionString cs;
        cs.engine = DbEngine::SQLite;
        cs.database = QFileInfo(o.dbPath).absoluteFilePath();
        connectionString = cs.toString();
    }
    try {
        Connection conn(connectionString);
        conn.open();
        QElapsedTimer timer;
        timer.start();
        std::fprintf(stderr, "正在重建索引, 数据多时需要一些时间…\n");
        const int made = DatabaseSetup::rebuildIndexes(conn);
        std::printf("索引已重建: %d 个 (%.1f 秒)\n", made, timer.elapsed() / 1000.0);
    } catch (const DbError &e) {
        fail(e.description());
        return 1;
    }
    return 0;
}
} // namespace

int runInit(const QStringList &args)
{
    int argc = 1;
    char name[] = "purfp";
    char *argv[] = {name, nullptr};
    QCoreApplication app(argc, argv);

    InitOptions o;
    QString error;
    if (!parse(args, o, &error)) {
        fail(error);
        return 2;
    }
    if (o.updateIndexes)
        return updateIndexes(o);
    QString connectionString = o.connection;
    if (!o.dbPath.isEmpty()) {
        o.dbPath = QFileInfo(o.dbPath).absoluteFilePath();
        if (QFileInfo::exists(o.dbPath)) {
            if (!o.force) {
                fail(QStringLiteral("数据库文件已存在: %1 (用 --force 重新创建)").arg(o.dbPath));
                return 1;
            }
            QFile::remove(o.dbPath);
        }
        QDir().mkpath(QFileInfo(o.dbPath).absolutePath());
        ConnectionString cs;
        cs.engine = DbEngine::SQLite;
        cs.database = o.dbPath;
        connectionString = cs.toString();
    }
    QString appPath = o.appPath;
    if (appPath.isEmpty())
        appPath = o.dbPath.isEmpty() ? QDir::currentPath() : QFileInfo(o.dbPath).absolutePath();
    appPath = QFileInfo(appPath).absoluteFilePath();
    try {
        // A new SQLite database (and its journal) is private to its user.
        const PrivateFiles privateFiles;
        Connection conn(connectionString, Connection::OpenMode::CreateIfMissing);
        conn.open();
        if (conn.engine() == DbEngine::PostgreSQL && o.force)
            DatabaseSetup::dropSchema(conn);
        QElapsedTimer timer;
        timer.start();
        if (!o.demo)
            DatabaseSetup::createSchema(conn);
        if (o.demo) {
            const DemoOptions options = o.scale > 0 ? DemoOptions::scaled(o.scale) : DemoOptions();
            DemoOptions seeded = options;
            seeded.seed = o.seed;
            // Large databases take a while: say how far the writing has come
            // and how fast, on the error stream so the summary stays clean.
            QElapsedTimer stage;
            seeded.progress = [&stage](const QString &what, int done, int total) {
                if (done == 0)
                    stage.start();
                if (done == 0 || total < 10000) // a small database is written at once
                    return;
                const double seconds = std::max(stage.elapsed(), qint64(1)) / 1000.0;
                std::fprintf(stderr, "  %s %d/%d (%d%%), 每秒 %.0f 张\n", qPrintable(what), done, total,
                             total > 0 ? int(qint64(done) * 100 / total) : 100, done / seconds);
            };
            const DemoSummary summary = createDemoDatabase(conn, seeded);
            std::printf("演示数据: %d 张入库单, %d 张采购发票 (%.1f 秒)\n", summary.stockBills, summary.invoices,
                        timer.elapsed() / 1000.0);
        }
        conn.close();
    } catch (const DbError &e) {
        fail(e.description());
        return 1;
    }
    QDir().mkpath(appPath);
    writeSettings(o, connectionString, appPath);
    std::printf("数据库: %s\n设置: %s\n", qPrintable(o.dbPath.isEmpty() ? maskedConnectionString(connectionString) : o.dbPath),
                qPrintable(SettingsStore::filePath(QStringLiteral("Velkam"))));
    return 0;
}
