#include "modules/ConnectionRoutines.h"

#include "modules/Session.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QThread>
#include <QTimer>

namespace {
// How long a closed connection stays open for reuse, and after how long
// idle a server connection is probed before it is used again.
constexpr qint64 kIdleLimitMs = 60'000;
constexpr qint64 kProbeAfterMs = 5'000;

qint64 nowMs()
{
    return QDateTime::currentMSecsSinceEpoch();
}

// Closes the idle connection once its minute is up, when an event loop
// runs; otherwise the next OpenConnection finds it expired.
void scheduleIdleExpiry()
{
    QCoreApplication *app = QCoreApplication::instance();
    if (!app || QThread::currentThread() != app->thread())
        return;
    const qint64 parkedAt = session().idleSinceMs;
    QTimer::singleShot(kIdleLimitMs, app, [parkedAt] {
        if (session().idleConn && session().idleSinceMs == parkedAt)
            ReleaseIdleConnection();
    });
}
} // namespace

bool OpenConnection()
{
    Session &s = session();
    if (s.gConn)
        return true;
    if (s.idleConn) {
        const qint64 idle = nowMs() - s.idleSinceMs;
        std::unique_ptr<Connection> idleConn = std::move(s.idleConn);
        if (s.idleConnString == s.DBConnectionString && idle < kIdleLimitMs && idleConn->stillUsable(idle >= kProbeAfterMs)) {
            s.gConn = std::move(idleConn);
            return true;
        }
        idleConn->close();
    }
    auto conn = std::make_unique<Connection>(s.DBConnectionString);
    conn->open();
    s.gConn = std::move(conn);
    return true;
}

void CloseConnection()
{
    Session &s = session();
    if (!s.gConn)
        return;
    std::unique_ptr<Connection> conn = std::move(s.gConn);
    // A connection on which the engine failed a command is not kept: it may
    // be broken, and the next unit of work is better served by a fresh one.
    if (!conn->isOpen() || conn->inTransaction() || conn->hadError()) {
        conn->close();
        return;
    }
    ReleaseIdleConnection();
    s.idleConn = std::move(conn);
    s.idleConnString = s.DBConnectionString;
    s.idleSinceMs = nowMs();
    scheduleIdleExpiry();
}

void ReleaseIdleConnection()
{
    Session &s = session();
    if (!s.idleConn)
        return;
    s.idleConn->close();
    s.idleConn.reset();
}
