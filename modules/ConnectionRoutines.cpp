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
// The timer belongs to the session, so that it goes with a session that
// ends first.
void scheduleIdleExpiry(Session &s)
{
    QCoreApplication *app = QCoreApplication::instance();
    if (!app || QThread::currentThread() != app->thread())
        return;
    if (!s.idleTimers)
        s.idleTimers = std::make_unique<QObject>();
    const qint64 parkedAt = s.idleSinceMs;
    QTimer::singleShot(kIdleLimitMs, s.idleTimers.get(), [&s, parkedAt] {
        if (s.idleConn && s.idleSinceMs == parkedAt)
            ReleaseIdleConnection(s);
    });
}
} // namespace

bool OpenConnection(Session &s)
{
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

void CloseConnection(Session &s)
{
    if (!s.gConn)
        return;
    std::unique_ptr<Connection> conn = std::move(s.gConn);
    // A connection on which the engine failed a command is not kept: it may
    // be broken, and the next unit of work is better served by a fresh one.
    if (!conn->isOpen() || conn->inTransaction() || conn->hadError()) {
        conn->close();
        return;
    }
    ReleaseIdleConnection(s);
    s.idleConn = std::move(conn);
    s.idleConnString = s.DBConnectionString;
    s.idleSinceMs = nowMs();
    scheduleIdleExpiry(s);
}

void ReleaseIdleConnection(Session &s)
{
    if (!s.idleConn)
        return;
    s.idleConn->close();
    s.idleConn.reset();
}
