// Bill list fill against the engine itself: on a database of 100,000
// invoices (demo data), the list's statement returning 20000 bills is filled
// into the list model with its totals row, and the same translated statement
// is stepped by the raw engine (sqlite3's C API, or libpq with --pg) reading
// the columns the list reads, alternately in the same run. Prints both
// medians and the ratio (goal: at most 1.2), then the whole find into the
// list form and the memory it takes, for information.
//
// With --million, the list's default statements (every bill in date order,
// and the query dialog's default of the last month) are timed at a million
// invoices (goal: under 100 ms), with the date filters "本月" and "本期".
//
//   bench_find [--invoices N] [--runs N] [--db path] [--million path]
//              [--pg "Driver=PostgreSQL;Server=...;Database=postgres;..."]
// A SQLite file given with --db or --million is reused, and created there
// when missing. With --pg the database purfp_bench_find_<N> is made on that
// server once and kept for later runs.
#include "RawEngine.h"

#include "component/ComponentSession.h"
#include "list/BillListModel.h"
#include "list/frmMainBillResult.h"
#include "modules/Session.h"
#include "platform/Clock.h"
#include "platform/Connection.h"
#include "platform/SqlDialect.h"
#include "query/QuerySql.h"
#include "query/frmMainBillFind.h"
#include "sql/DatabaseSetup.h"
#include "sql/DemoData.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QLabel>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <malloc.h>
#include <vector>

namespace {

constexpr double kFillGoal = 1.2;     // fill / raw engine
constexpr double kMillionGoalMs = 100; // default list query at a million invoices
int failures = 0;

double msSince(const QElapsedTimer &timer)
{
    return double(timer.nsecsElapsed()) / 1e6;
}

void verdict(bool met, const char *what)
{
    if (!met) {
        std::printf("FAIL: %s\n", what);
        ++failures;
    }
}

long heapKiB()
{
    malloc_trim(0);
    return long(mallinfo2().uordblks / 1024);
}

// The columns the list reads: those it shows and the three of its row states.
QStringList listFields(const BillListModel &model)
{
    QStringList fields;
    for (const ListColumn &c : model.columns())
        fields << c.field;
    fields << QStringLiteral("fstatus") << QStringLiteral("fcancellation") << QStringLiteral("frob");
    return fields;
}

struct Timing {
    double fill = 0;
    double raw = 0;
    int rows = 0;
};

// Fill and raw read alternately, after one warm-up of each; medians.
Timing fillAgainstRaw(Connection &conn, RawEngine &raw, BillListModel &model, const QString &statement, int runs)
{
    const QString translated = translateSql(statement, conn.engine());
    const QStringList fields = listFields(model);
    raw.query(translated, fields);
    model.fill(conn, statement);
    std::vector<double> fills, raws;
    Timing t;
    for (int i = 0; i < runs; ++i) {
        model.clearRows();
        QElapsedTimer timer;
        timer.start();
        t.rows = raw.query(translated, fields).rows;
        raws.push_back(msSince(timer));
        timer.start();
        model.fill(conn, statement);
        fills.push_back(msSince(timer));
    }
    t.fill = medianOf(fills);
    t.raw = medianOf(raws);
    return t;
}

void benchMillion(const QString &path, int runs)
{
    const QString connectionString = benchSqliteFile(path);
    ensureDemoDatabase(connectionString, 1000000);
    Connection conn(connectionString);
    conn.open();
    RawEngine raw(conn.settings());
    BillListModel model;
    model.setColumns(readListColumns(conn, Demo::kInvoiceTypeId, QStringLiteral("1"), true));
    const int invoices = conn.openRecordset(QStringLiteral("select count(*) as n from tblFP")).toInt(QStringLiteral("n"));
    const Session s; // the bill kind's view name
    const QDate today = Clock::today();
    const FilterCodes all{10, 10, 10, 10, 10};
    FilterCodes month = all;
    month[FixedFilters::DateRange] = 2;
    FilterCodes period = all;
    period[FixedFilters::DateRange] = 20;
    struct Query {
        const char *name;
        QString statement;
        bool goal;
    };
    const std::vector<Query> queries{
        {"every bill, date order", buildFindStatement(s.gViewName, {}, {}, {}, {}), true},
        {"the dialog's default (last month)",
         buildFindStatement(s.gViewName, buildSeekSQLB(today.addMonths(-1), today, {}), buildMainSQL(all, 0, 0), {}, {}), true},
        {"本月", buildFindStatement(s.gViewName, {}, buildMainSQL(month, 0, 0), {}, {}), false},
        {"本期", buildFindStatement(s.gViewName, {}, buildMainSQL(period, today.year(), today.month()), {}, {}), false},
    };
    std::printf("\nat %d invoices (SQLite):\n", invoices);
    for (const Query &q : queries) {
        const Timing t = fillAgainstRaw(conn, raw, model, q.statement, runs);
        std::printf("  %-36s fill %7.1f ms, raw %7.1f ms, %5d rows%s\n", q.name, t.fill, t.raw, t.rows,
                    q.goal ? " (goal < 100 ms)" : "");
        if (q.goal)
            verdict(t.fill < kMillionGoalMs, "the default list query at a million invoices takes 100 ms or more");
    }
}

} // namespace

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);

    int invoices = 100000;
    int runs = 9;
    QString dbPath, millionPath, pg;
    const QStringList args = app.arguments();
    for (int i = 1; i + 1 < args.size(); ++i) {
        if (args[i] == u"--invoices")
            invoices = args[++i].toInt();
        else if (args[i] == u"--runs")
            runs = std::max(1, args[++i].toInt());
        else if (args[i] == u"--db")
            dbPath = args[++i];
        else if (args[i] == u"--million")
            millionPath = args[++i];
        else if (args[i] == u"--pg")
            pg = args[++i];
    }

    QTemporaryDir dir;
    if (dbPath.isEmpty())
        dbPath = dir.filePath(QStringLiteral("bench.db"));
    const QString connectionString = pg.isEmpty() ? benchSqliteFile(dbPath) : benchPostgresDatabase(pg, QStringLiteral("purfp_bench_find_%1").arg(invoices));
    ensureDemoDatabase(connectionString, invoices);

    Session &s = componentSession();
    s.DBConnectionString = connectionString;
    s.IsAdmin = 1;
    s.gLoginUserId = QStringLiteral("1");
    s.gAppPath = dir.path();

    // The list's statement with every fixed list at "全部" and no seek
    // condition: the first 20000 bills in date order.
    const QString statement = buildFindStatement(s.gViewName, QString(), QString(), QString(), buildOrderSQL());
    {
        Connection conn(connectionString);
        conn.open();
        RawEngine raw(conn.settings());
        BillListModel model;
        model.setColumns(readListColumns(conn, s.gBillTypeId, s.gLoginUserId, true));
        const Timing t = fillAgainstRaw(conn, raw, model, statement, runs);
        const char *engine = conn.engine() == DbEngine::SQLite ? "sqlite3 C API" : "libpq";
        std::printf("engine %s, %d invoices, %d rows of %lld columns read, %d runs\n", engine, invoices, t.rows,
                    qlonglong(listFields(model).size()), runs);
        std::printf("raw engine (%s)         %8.1f ms\n", engine, t.raw);
        std::printf("fill the list with totals row %8.1f ms (%d bills)\n", t.fill, model.billCount());
        std::printf("ratio fill / raw engine       %8.2f   (goal <= %.1f)\n", t.fill / t.raw, kFillGoal);
        verdict(t.fill / t.raw <= kFillGoal, "the list fill is more than 1.2 times the raw engine");
    }

    // The whole find through the query dialog into the list form: columns,
    // connection opened and closed, rows, widths and title line.
    auto *list = frmMainBillResult::instance(s);
    auto *dialog = frmMainBillFind::instance(s);
    list->resize(1040, 660);
    list->show();
    QCoreApplication::processEvents();
    const long heapBefore = heapKiB();
    std::vector<double> finds;
    for (int i = 0; i < runs; ++i) {
        QElapsedTimer timer;
        timer.start();
        if (!list->fillList(dialog->findStatement(QString(), QString(), QString()))) {
            std::fprintf(stderr, "find failed\n");
            return 1;
        }
        finds.push_back(msSince(timer));
        QCoreApplication::processEvents();
    }
    std::printf("whole find into the form      %8.1f ms (for information)\n", medianOf(finds));
    std::printf("title line                    %s\n", qPrintable(list->findChild<QLabel *>(QStringLiteral("lblTitle"))->text()));
    std::printf("list memory for %d rows: heap %+.1f MB above the empty form; model's own count %.1f MB\n",
                list->model()->dataRowCount(), double(heapKiB() - heapBefore) / 1024,
                double(list->model()->approximateBytes()) / (1024 * 1024));
    list->MenuFileExit_Click();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);

    if (!millionPath.isEmpty())
        benchMillion(millionPath, runs);
    std::printf(failures ? "\n%d goal(s) missed\n" : "\nevery goal met\n", failures);
    return failures ? 1 : 0;
}
