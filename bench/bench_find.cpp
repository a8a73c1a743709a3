// Bill list fill: on a database of 100,000 invoices (SQLite file, demo data),
// the list's query returning 20000 bills is filled into the list model with
// its totals row, against the same translated statement run and stepped
// through every row on the same connection, in the same run. Prints the
// medians and the ratio fill / step (target: at most 1.5), the ratio of the
// whole find (columns read, connection opened and closed, grid widths and
// title) for information, and the memory the list takes for 20000 rows above
// the empty form (target: under 40 MB).
//
//   bench_find [--invoices N] [--runs N] [--db path]
// With --db an existing file is reused (and created there when missing).
#include "modules/Session.h"
#include "list/BillListModel.h"
#include "list/frmMainBillResult.h"
#include "modules/ConnectionRoutines.h"
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
#include <QSqlQuery>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <malloc.h>
#include <unistd.h>
#include <vector>

namespace {

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    const size_t n = values.size();
    return n % 2 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
}

// The engine alone: run the statement and step through every row.
double stepThrough(Connection &conn, const QString &translated, int *rows)
{
    QElapsedTimer timer;
    timer.start();
    QSqlQuery query(conn.database());
    query.setForwardOnly(true);
    query.setNumericalPrecisionPolicy(QSql::HighPrecision);
    if (!query.exec(translated)) {
        std::fprintf(stderr, "statement failed\n");
        std::exit(1);
    }
    int n = 0;
    while (query.next())
        ++n;
    *rows = n;
    return double(timer.nsecsElapsed()) / 1e6;
}

// Fills the model; `fresh` empties it first, outside the timing, as for the
// first query of a list, otherwise the 20000 rows of the last fill are
// replaced, as when the list refills itself.
double fillModel(Connection &conn, BillListModel &model, const QString &statement, bool fresh)
{
    if (fresh)
        model.clearRows();
    QElapsedTimer timer;
    timer.start();
    model.fill(conn, statement);
    return double(timer.nsecsElapsed()) / 1e6;
}

// The same rows through a recordset (a whole copy of the result) and then
// into a table of values, to show why the model reads the query directly.
double fillThroughRecordset(Connection &conn, const QString &statement, int columns)
{
    QElapsedTimer timer;
    timer.start();
    Recordset rs = conn.openRecordset(statement);
    std::vector<QVariant> cells;
    cells.reserve(size_t(rs.recordCount()) * size_t(columns));
    for (int r = 0; r < rs.recordCount(); ++r)
        for (int c = 0; c < columns && c < rs.fieldCount(); ++c)
            cells.push_back(rs.valueAt(r, c));
    return double(timer.nsecsElapsed()) / 1e6;
}

long residentKiB()
{
    QFile statm(QStringLiteral("/proc/self/statm"));
    if (!statm.open(QIODevice::ReadOnly))
        return 0;
    const QList<QByteArray> parts = statm.readAll().split(' ');
    return parts.size() > 1 ? parts[1].toLong() * (sysconf(_SC_PAGESIZE) / 1024) : 0;
}

long heapKiB()
{
    malloc_trim(0);
    return long(mallinfo2().uordblks / 1024);
}

} // namespace

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);

    int invoices = 100000;
    int runs = 9;
    QString dbPath;
    const QStringList args = app.arguments();
    for (int i = 1; i + 1 < args.size(); ++i) {
        if (args[i] == u"--invoices")
            invoices = args[++i].toInt();
        else if (args[i] == u"--runs")
            runs = std::max(1, args[++i].toInt());
        else if (args[i] == u"--db")
            dbPath = args[++i];
    }

    QTemporaryDir dir;
    if (dbPath.isEmpty())
        dbPath = dir.filePath(QStringLiteral("bench.db"));
    const QString connectionString = QStringLiteral("Driver=SQLite;Database=") + dbPath;
    if (!QFile::exists(dbPath)) {
        std::printf("creating %d invoices in %s ...\n", invoices, qPrintable(dbPath));
        std::fflush(stdout);
        QElapsedTimer timer;
        timer.start();
        Connection setup(connectionString, Connection::OpenMode::CreateIfMissing);
        setup.open();
        DatabaseSetup::createSchema(setup);
        generateDemoData(setup, DemoOptions::scaled(invoices));
        setup.executeNative(QStringLiteral("analyze"));
        setup.close();
        std::printf("  done in %.1f s\n", double(timer.elapsed()) / 1000);
    }

    Session &s = session();
    s.DBConnectionString = connectionString;
    s.IsAdmin = 1;
    s.gLoginUserId = QStringLiteral("1");
    s.gAppPath = dir.path();

    // The list's statement with every fixed list at "全部" and no seek
    // condition: the first 20000 bills in date order.
    const QString statement = buildFindStatement(s.gViewName, QString(), QString(), QString(), buildOrderSQL());

    Connection conn(connectionString);
    conn.open();
    const QString translated = translateSql(statement, conn.engine());
    BillListModel model;
    model.setColumns(readListColumns(conn, s.gBillTypeId, s.gLoginUserId, true));

    // Warm the page cache once, then alternate the two so that neither
    // profits from running second.
    int steppedRows = 0;
    stepThrough(conn, translated, &steppedRows);
    fillModel(conn, model, statement, true);
    std::vector<double> stepTimes, fillTimes, refillTimes, recordsetTimes;
    for (int i = 0; i < runs; ++i) {
        stepTimes.push_back(stepThrough(conn, translated, &steppedRows));
        fillTimes.push_back(fillModel(conn, model, statement, true));
        refillTimes.push_back(fillModel(conn, model, statement, false));
        recordsetTimes.push_back(fillThroughRecordset(conn, statement, model.columnCount()));
    }
    const double step = median(stepTimes);
    const double fill = median(fillTimes);
    const double refill = median(refillTimes);
    const double recordset = median(recordsetTimes);
    const double bestStep = *std::min_element(stepTimes.begin(), stepTimes.end());
    const double bestFill = *std::min_element(fillTimes.begin(), fillTimes.end());
    std::printf("invoices in database        %d\n", invoices);
    std::printf("rows returned               %d (model: %d bill rows + totals row, %d bills)\n", steppedRows,
                model.dataRowCount(), model.billCount());
    std::printf("run + step through (engine) %8.1f ms (median of %d; best %.1f)\n", step, runs, bestStep);
    std::printf("fill model with totals      %8.1f ms (best %.1f)\n", fill, bestFill);
    std::printf("ratio fill / step           %8.2f   (target <= 1.5; best against best %.2f)\n", fill / step,
                bestFill / bestStep);
    std::printf("refill replacing 20000 rows %8.1f ms, ratio %.2f (for information)\n", refill, refill / step);
    std::printf("recordset copy, for comparison %5.1f ms, ratio %.2f\n", recordset, recordset / step);
    conn.close();

    // The whole find through the query dialog into the list form: columns,
    // connection opened and closed, rows, widths and title line.
    auto *list = frmMainBillResult::instance();
    auto *dialog = frmMainBillFind::instance();
    list->resize(1040, 660);
    list->show();
    QCoreApplication::processEvents();
    const long heapBefore = heapKiB();
    const long rssBefore = residentKiB();
    std::vector<double> findTimes;
    for (int i = 0; i < runs; ++i) {
        QElapsedTimer timer;
        timer.start();
        if (!list->fillList(dialog->findStatement(QString(), QString(), QString()))) {
            std::fprintf(stderr, "find failed\n");
            return 1;
        }
        findTimes.push_back(double(timer.nsecsElapsed()) / 1e6);
        QCoreApplication::processEvents();
    }
    const long heapAfter = heapKiB();
    const long rssAfter = residentKiB();
    const double find = median(findTimes);
    std::printf("whole find into the form    %8.1f ms, ratio to step %.2f (for information)\n", find, find / step);
    std::printf("title line                  %s\n", qPrintable(list->findChild<QLabel *>(QStringLiteral("lblTitle"))->text()));
    std::printf("list memory for %d rows: heap %+.1f MB, resident %+.1f MB above the empty form (target < 40 MB); "
                "model's own estimate %.1f MB\n",
                list->model()->dataRowCount(), double(heapAfter - heapBefore) / 1024, double(rssAfter - rssBefore) / 1024,
                double(list->model()->approximateBytes()) / (1024 * 1024));
    list->MenuFileExit_Click();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    return 0;
}
