// The report of what is received but not invoiced, against the engine
// itself, on a demo database (100,000 invoices by default; --invoices
// 1000000 for the figure the goals are about):
//   - the form's opening read: the totals per supplier with their codes and
//     names, every supplier;
//   - one supplier: its totals and its bills (the supplier with most bills),
//     what the form reads when a code is typed and the supplier expanded;
//   - the full CSV of every bill as the command writes it: the suppliers
//     (without amounts), then each one's bills written out as they are read
//     (here into a buffer emptied every 64 KB).
// The raw engine (sqlite3's C API, or libpq with --pg) runs the same
// statements the same way and reads all their columns: the bills' statement
// prepared once and run for each supplier, on PostgreSQL through a pipeline
// with binary rows as the reader runs it. A second line for the full CSV
// times the raw engine with a statement text per supplier, each result
// taken whole (PQexec on PostgreSQL), as the reader read before. Medians of the runs; the goal of
// each is under a second at a million invoices (a FAIL line when missed).
// The plan of each statement is printed, with the editor's list of a
// supplier's open bills, which shares the index.
//
//   bench_uninvoiced [--invoices N] [--runs N] [--db path] [--only opening|supplier|csv]
//                    [--pg "Driver=PostgreSQL;Server=...;Database=postgres;..."]
// --only makes that one read once, without the raw engine, so that the
// process's time and peak memory (/usr/bin/time -v) are its own.
// A SQLite file given with --db is reused, and created there when missing.
// With --pg the database purfp_bench_uninvoiced_<N> is made on that server
// once and kept.
#include "RawEngine.h"

#include "editor/BillStore.h"
#include "list/UninvoicedBills.h"
#include "platform/Connection.h"
#include "platform/SqlDialect.h"
#include "platform/SqliteFunctions.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <vector>

namespace {

constexpr double kGoalMs = 1000; // each read at a million invoices
int failures = 0;

double msSince(const QElapsedTimer &timer)
{
    return double(timer.nsecsElapsed()) / 1e6;
}

struct Timing {
    double ours = 0;
    double raw = 0;
};

// Both sides alternately after a warm-up of each; medians.
Timing time(int runs, const std::function<void()> &ours, const std::function<void()> &raw)
{
    ours();
    raw();
    std::vector<double> a, b;
    for (int i = 0; i < runs; ++i) {
        QElapsedTimer timer;
        timer.start();
        raw();
        b.push_back(msSince(timer));
        timer.start();
        ours();
        a.push_back(msSince(timer));
    }
    return {medianOf(a), medianOf(b)};
}

void report(const char *what, const Timing &t, const QString &rows)
{
    std::printf("  %-22s %9.1f ms, raw engine %9.1f ms, ratio %5.2f  (%s; goal < %.0f ms at 1M)\n", what, t.ours, t.raw,
                t.ours / t.raw, qPrintable(rows), kGoalMs);
    if (t.ours >= kGoalMs) {
        std::printf("FAIL: %s takes %.0f ms, the goal is under %.0f ms\n", what, t.ours, kGoalMs);
        ++failures;
    }
}

// The engine's plan of a statement, one line per step.
void printPlan(RawEngine &raw, const char *what, const QString &translated)
{
    const bool sqlite = raw.engine() == DbEngine::SQLite;
    const RawResult plan = raw.query((sqlite ? QStringLiteral("explain query plan ") : QStringLiteral("explain ")) + translated,
                                     {sqlite ? QStringLiteral("detail") : QStringLiteral("QUERY PLAN")});
    std::printf("  %s:\n", what);
    for (const std::string &line : plan.texts)
        std::printf("      %s\n", line.c_str());
}

// A supplier's bills with its id in the text, as one statement of its own.
QString billsOf(const UninvoicedSupplier &s, const QDate &asOf, DbEngine engine)
{
    const QString sql = translateSql(uninvoicedBillsSql(!s.supplierId.isEmpty(), asOf, engine), engine);
    return s.supplierId.isEmpty() ? sql : QString(sql).replace(u'?', s.supplierId);
}

// The statements the full CSV runs on the raw engine: the suppliers, their
// names, each supplier's bills: the bills' statement run for each supplier
// with an id (queryEach, as the reader runs it), or with `eachOnItsOwn` one
// statement text per supplier through PQexec (as the reader did before).
void rawReport(RawEngine &raw, DbEngine engine, const UninvoicedFilter &filter, const UninvoicedTotals &totals, int *rows,
               bool eachOnItsOwn = false)
{
    raw.query(translateSql(uninvoicedTotalsSql(filter, engine, false), engine));
    QStringList ids;
    std::vector<std::vector<std::string>> sets;
    for (const UninvoicedSupplier &s : totals.suppliers)
        if (!s.supplierId.isEmpty()) {
            ids << s.supplierId;
            sets.push_back({s.supplierId.toStdString()});
        }
    if (!ids.isEmpty())
        raw.query(translateSql(uninvoicedNamesSql(ids), engine));
    int n = 0;
    for (const UninvoicedSupplier &s : totals.suppliers)
        if (eachOnItsOwn || s.supplierId.isEmpty())
            n += raw.query(billsOf(s, filter.asOf, engine)).rows;
    if (!eachOnItsOwn)
        n += raw.queryEach(translateSql(uninvoicedBillsSql(true, filter.asOf, engine), engine), sets);
    if (rows)
        *rows = n;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    auto option = [&](const char *name, const QString &otherwise = {}) {
        const qsizetype at = args.indexOf(QLatin1StringView(name));
        return at > 0 && at + 1 < args.size() ? args[at + 1] : otherwise;
    };
    const int invoices = option("--invoices", QStringLiteral("100000")).toInt();
    const int runs = std::max(1, option("--runs", QStringLiteral("5")).toInt());
    QString dbPath = option("--db");
    const QString pg = option("--pg"), only = option("--only");
    QTemporaryDir dir;
    if (dbPath.isEmpty())
        dbPath = dir.filePath(QStringLiteral("bench.db"));
    const QString connectionString = pg.isEmpty() ? benchSqliteFile(dbPath)
                                                   : benchPostgresDatabase(pg, QStringLiteral("purfp_bench_uninvoiced_%1").arg(invoices));
    ensureDemoDatabase(connectionString, invoices);

    Connection conn(connectionString);
    conn.open();
    const DbEngine engine = conn.engine();
    RawEngine raw(conn.settings());
    if (engine == DbEngine::SQLite && !registerSqliteFunctions(raw.sqliteHandle())) {
        std::fprintf(stderr, "cannot register the functions on the raw engine\n");
        return 1;
    }
    const UninvoicedFilter all;
    const UninvoicedTotals totals = readUninvoicedTotals(conn, all);
    if (totals.suppliers.empty()) {
        std::fprintf(stderr, "no open stock bills\n");
        return 1;
    }
    const UninvoicedSupplier biggest = *std::max_element(totals.suppliers.begin(), totals.suppliers.end(),
                                                         [](const UninvoicedSupplier &a, const UninvoicedSupplier &b) { return a.billCount < b.billCount; });
    const UninvoicedFilter one{biggest.number, {}};
    std::printf("engine %s, %d invoices: %d open stock bills of %d suppliers; %d runs\n",
                engine == DbEngine::SQLite ? "sqlite3 C API" : "libpq", invoices, totals.billCount, int(totals.suppliers.size()), runs);

    std::printf("plans:\n");
    printPlan(raw, "totals", translateSql(uninvoicedTotalsSql(all, engine), engine));
    printPlan(raw, "a supplier's bills", billsOf(biggest, {}, engine));
    printPlan(raw, "the editor's open bills", translateSql(openStockBillsSql(biggest.supplierId, {}), engine));

    // The three reads as the form and the command make them.
    auto opening = [&] { readUninvoicedTotals(conn, all); };
    auto oneSupplier = [&] {
        const UninvoicedTotals t = readUninvoicedTotals(conn, one);
        readUninvoicedBills(conn, t.suppliers.front(), {});
    };
    qint64 bytes = 0;
    auto fullCsv = [&] {
        const UninvoicedTotals t = readUninvoicedTotals(conn, all, false);
        QByteArray out = uninvoicedCsvHeader();
        bytes = 0;
        QByteArray fields;
        size_t fieldsOf = SIZE_MAX;
        readUninvoicedRows(conn, t.suppliers, {}, [&](size_t supplier, const UninvoicedRow &row) {
            if (supplier != fieldsOf) {
                fields = uninvoicedCsvSupplier(t.suppliers[supplier]);
                fieldsOf = supplier;
            }
            appendUninvoicedCsv(out, fields, row);
            if (out.size() >= (1 << 16)) {
                bytes += out.size();
                out.resize(0);
            }
        });
        bytes += out.size();
    };
    if (!only.isEmpty()) {
        const std::function<void()> read = only == u"opening" ? std::function<void()>(opening)
            : only == u"supplier"                             ? std::function<void()>(oneSupplier)
                                                              : std::function<void()>(fullCsv);
        QElapsedTimer timer;
        timer.start();
        read();
        std::printf("%s alone, once: %.1f ms\n", qPrintable(only), msSince(timer));
        return 0;
    }

    std::printf("times (medians):\n");
    const Timing openingTime = time(runs, opening, [&] {
        raw.query(translateSql(uninvoicedTotalsSql(all, engine), engine));
        QStringList ids;
        for (const UninvoicedSupplier &s : totals.suppliers)
            ids << s.supplierId;
        raw.query(translateSql(uninvoicedNamesSql(ids), engine));
    });
    report("form opening (totals)", openingTime, QStringLiteral("%1 suppliers").arg(totals.suppliers.size()));

    const Timing supplierTime = time(runs, oneSupplier, [&] {
        raw.query(translateSql(uninvoicedTotalsSql(one, engine), engine));
        raw.query(translateSql(uninvoicedNamesSql({biggest.supplierId}), engine));
        raw.queryEach(translateSql(uninvoicedBillsSql(true, {}, engine), engine), {{biggest.supplierId.toStdString()}});
    });
    report("one supplier", supplierTime, QStringLiteral("%1 bills of %2").arg(biggest.billCount).arg(biggest.number));

    int rawRows = 0;
    const Timing csvTime = time(runs, fullCsv, [&] { rawReport(raw, engine, all, totals, &rawRows); });
    report("full CSV", csvTime, QStringLiteral("%1 rows, %2 MB").arg(rawRows).arg(double(bytes) / (1 << 20), 0, 'f', 1));
    // The raw engine as the reader ran before: one statement text per
    // supplier, each result taken whole.
    const Timing oneByOne = time(runs, fullCsv, [&] { rawReport(raw, engine, all, totals, &rawRows, true); });
    std::printf("  %-22s %9.1f ms, raw engine %9.1f ms, ratio %5.2f  (the raw engine with a statement text per supplier)\n", "full CSV", oneByOne.ours,
                oneByOne.raw, oneByOne.ours / oneByOne.raw);

    std::printf(failures ? "\n%d goal(s) missed\n" : "\nevery goal met\n", failures);
    return failures ? 1 : 0;
}
