// Bill editor: saving an invoice with 1,000 entries, and opening it again,
// each against the database engine itself in the same run on the same data.
//
// Save: BillStore::insertBill against the raw engine (sqlite3's C API or
// libpq) doing the same work in one transaction: the two counters advanced
// and read, the header inserted, the stock bills read (as the save reads
// them to check and lock them), then one prepared statement per kind of
// write bound per row (the entries; the stock bills' invoiced amounts) and
// the invoice's matched amount moved once. Goal: at most 1.5 times the raw
// engine on SQLite, 1.2 times on PostgreSQL.
//
// Open: BillStore::loadBill (the header and the entries statements read, the
// rows made up as the grid shows them) and the rows handed to the grid
// model, against the raw engine reading every column of the same two
// statements. Goal: at most 1.3 times on SQLite, 1.2 times on PostgreSQL.
//
// Each side is timed in turns with the other, `runs` times for a save and
// ten times as often for an open; the ratio is of the best times, which on
// a machine shared with other work are the ones least disturbed by it (the
// medians are printed beside them). A ratio beyond its goal prints a FAIL
// line (and the exit status is 1).
//
//   bench_editor [--runs N] [--entries N] [--pg "Driver=PostgreSQL;..."]
// Without --pg the database is a SQLite file in a temporary folder. With
// --pg a database purfp_bench_<pid> is created on that server and dropped
// afterwards.
#include "RawEngine.h"
#include "editor/BillStore.h"
#include "editor/EntryGridModel.h"
#include "platform/Connection.h"
#include "platform/DbError.h"
#include "platform/SqlDialect.h"
#include "platform/SqliteFunctions.h"
#include "sql/DatabaseSetup.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <vector>

namespace {

double msSince(const QElapsedTimer &t)
{
    return double(t.nsecsElapsed()) / 1e6;
}

[[noreturn]] void die(const QString &text)
{
    std::fprintf(stderr, "bench_editor: %s\n", qPrintable(text));
    std::exit(1);
}

BillSettings benchSettings()
{
    BillSettings s;
    s.loginUserId = QStringLiteral("1");
    s.currentYear = 2025;
    s.currentPeriod = 3;
    s.periodStartDate = QDate(2025, 3, 1);
    return s;
}

void seed(Connection &c, int stockBills)
{
    c.execute(QStringLiteral("insert into tblUser(fuserid,fname,fisadmin) values(1,'管理员',1)"));
    c.execute(QStringLiteral("insert into tblItem(fitemid,fnumber,fname,fitemclassid,fisdetail,fislock) values(10,'04.001','甲供应商',4,1,0)"));
    c.execute(QStringLiteral("insert into tblMaxBillNo(ftypeid,fNewBillName,fbillno,fPreLetter,flength,fYLength) values(71,'采购发票',0,'CGFP年月序号',4,4)"));
    c.execute(QStringLiteral("insert into tblmaxNum(ftablename,fmaxnum) values('tblFP',0)"));
    const char *layout[] = {
        "71,1,4,'供应商',72,90,260,1,1,'fSupplyId',1,0",
        "71,2,2,'部门',72,470,200,2,1,'fDeptId',1,1",
        "71,3,0,'发票号码',102,90,260,3,1,'fInvoiceNo',0,0",
        "71,4,0,'备注',102,470,200,4,1,'fNote',0,1",
    };
    for (const char *row : layout)
        c.execute(QStringLiteral("insert into tblBillInfo(ftypeid,findex,fitemclassid,fcaption,ftop,fleft,fwidth,ftabindex,fisvisible,FFieldName,fFieldType,fCanNull) values(")
                  + QString::fromUtf8(row) + u')');
    c.beginTrans();
    for (int i = 1; i <= stockBills; ++i)
        c.execute(QStringLiteral("insert into icstockbill(finterid,fbillno,fdate,fsupplyid,ftrantype,fcancellation,fAllAmount,fKPAmount,fISKP) "
                                 "values(%1,'WIN%2','2025-03-02',10,1,0,100000000,null,1)")
                      .arg(i)
                      .arg(i, 6, 10, QLatin1Char('0')));
    c.commitTrans();
}

BillDraft draftWith(int entries)
{
    BillDraft d;
    d.date = QDate(2025, 3, 15);
    d.amountText = QStringLiteral("99999999");
    d.fields = {{QStringLiteral("fSupplyId"), true, QStringLiteral("04.001"), QStringLiteral("04.001&**&10"), QStringLiteral("甲供应商")},
                {QStringLiteral("fDeptId"), true, QString(), QString(), QString()},
                {QStringLiteral("fInvoiceNo"), false, QStringLiteral("No.1"), QString(), QString()},
                {QStringLiteral("fNote"), false, QStringLiteral("bench"), QString(), QString()}};
    for (int i = 1; i <= entries; ++i) {
        EntryRow row = EntryRow::fromStockBill(QString::number(i), QStringLiteral("WIN"), QStringLiteral("2025-03-02"),
                                               *Amount::parse(QStringLiteral("100000000")), Amount());
        row.setCell(ColThisAmount, QStringLiteral("%1.%2").arg(i % 97 + 1).arg(i % 100, 2, 10, QLatin1Char('0')));
        d.rows.push_back(row);
    }
    return d;
}

// "?" placeholders as the engine numbers them.
QString placeholders(QString sql, DbEngine engine)
{
    if (engine == DbEngine::PostgreSQL)
        for (int n = 1, at = 0; (at = int(sql.indexOf(u'?', at))) >= 0; ++n)
            sql.replace(at, 1, u'$' + QString::number(n));
    return sql;
}

std::string utf8(const QVariant &value)
{
    return value.toString().toStdString();
}

// The save of `draft` under the id `id`, done by the raw engine: what
// insertBill writes, each kind of write one prepared statement.
void rawSave(RawEngine &raw, BillStore &store, const BillDraft &draft, int id)
{
    const DbEngine engine = raw.engine();
    auto sql = [&](const QString &text) { return placeholders(translateSql(text, engine), engine); };
    const HeaderStatement h = store.insertHeader(draft);
    std::vector<std::string> header;
    for (const QVariant &v : h.params)
        header.push_back(utf8(v));
    header.push_back("0001");
    header.push_back(QStringLiteral("RAW-%1").arg(id).toStdString());

    std::vector<std::vector<std::string>> entries, stocks;
    Amount total;
    QStringList stockIds;
    for (size_t r = 0; r < draft.rows.size(); ++r) {
        const Amount amount = *draft.rows[r].amount(ColThisAmount);
        total += amount;
        const std::string stock = draft.rows[r].stockId().toStdString();
        entries.push_back({std::to_string(id), std::to_string(r + 1), stock, amount.toString().toStdString()});
        stocks.push_back({amount.toString().toStdString(), stock});
        stockIds << draft.rows[r].stockId();
    }

    raw.exec(QStringLiteral("begin"));
    raw.exec(sql(QStringLiteral("update tblmaxNum set fmaxnum=fmaxnum+1 where ftablename='tblFP'")));
    raw.query(sql(QStringLiteral("select * from tblmaxNum where ftablename='tblFP'")));
    raw.exec(sql(QStringLiteral("update tblMaxBillNo set fbillno=fbillno+1 where ftypeid=71")));
    raw.query(sql(QStringLiteral("select * from tblMaxBillNo where ftypeid=71")));
    raw.runPrepared(sql(h.sql + QString::number(id) + h.tail), {header});
    raw.query(sql(QStringLiteral("select finterid,fbillno,isnull(fAllAmount,0) as fallamount,isnull(fKPAmount,0) as fkpamount "
                                 "from icstockbill where finterid in (")
                  + stockIds.join(u',') + QStringLiteral(") order by finterid")
                  + (engine == DbEngine::PostgreSQL ? QStringLiteral(" for no key update") : QString())));
    raw.runPrepared(sql(QStringLiteral("insert into tblFPEntry(fInterId,fEntryId,fStockInterId,fHXAmount) values(?,?,?,?)")), entries);
    raw.runPrepared(sql(QStringLiteral("update icstockbill set fKPAmount=isnull(fKPAmount,0)+? where finterid=?")), stocks);
    raw.exec(sql(QStringLiteral("update tblFP set fEndAmount=isnull(fEndAmount,0)+") + total.toString()
                 + QStringLiteral(" where finterid=") + QString::number(id)));
    raw.exec(QStringLiteral("commit"));
}

// Prints the line of one comparison; false when the ratio of the best
// times misses its goal.
bool report(const char *what, const char *component, const std::vector<double> &mine, const std::vector<double> &raw, double goal)
{
    const double best = *std::min_element(mine.begin(), mine.end());
    const double rawBest = *std::min_element(raw.begin(), raw.end());
    const double ratio = best / rawBest;
    std::printf("%s: %s %.2f ms, raw engine %.2f ms, ratio %.2f (goal <= %.1f); medians %.2f / %.2f ms\n", what, component, best,
                rawBest, ratio, goal, medianOf(mine), medianOf(raw));
    if (ratio <= goal)
        return true;
    std::printf("FAIL: %s is %.2f times the raw engine, beyond the goal of %.1f\n", what, ratio, goal);
    return false;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    int runs = 9;
    int entries = 1000;
    QString pg;
    const QStringList args = app.arguments();
    for (int i = 1; i + 1 < args.size(); ++i) {
        if (args[i] == u"--runs")
            runs = std::max(1, args[++i].toInt());
        else if (args[i] == u"--entries")
            entries = std::max(1, args[++i].toInt());
        else if (args[i] == u"--pg")
            pg = args[++i];
    }

    QTemporaryDir dir;
    QString benchDatabase;
    ConnectionString server;
    bool met = true;
    try {
        ConnectionString cs;
        if (pg.isEmpty()) {
            cs.engine = DbEngine::SQLite;
            cs.database = dir.filePath(QStringLiteral("bench.db"));
            Connection create(cs.toString(), Connection::OpenMode::CreateIfMissing);
            create.open();
        } else {
            server = ConnectionString::parse(pg);
            benchDatabase = QStringLiteral("purfp_bench_%1").arg(QCoreApplication::applicationPid());
            Connection admin(server.toString());
            admin.open();
            admin.executeNative(QStringLiteral("drop database if exists %1").arg(benchDatabase));
            admin.executeNative(QStringLiteral("create database %1 encoding 'UTF8' template template0").arg(benchDatabase));
            cs = server;
            cs.database = benchDatabase;
        }

        Connection conn(cs.toString());
        conn.open();
        DatabaseSetup::createSchema(conn);
        seed(conn, entries);
        const DbEngine engine = conn.engine();
        RawEngine raw(cs);
        // The statements call the module's functions, which SQLite knows on
        // the connections that register them.
        if (engine == DbEngine::SQLite && !registerSqliteFunctions(raw.sqliteHandle()))
            die(QStringLiteral("cannot register the SQLite functions"));
        BillStore store(conn, benchSettings());
        const BillDraft draft = draftWith(entries);

        // Both paths warmed once; then each run saves one bill each way.
        if (!store.insertBill(store.insertHeader(draft), draft).saved)
            die(QStringLiteral("save failed"));
        rawSave(raw, store, draft, 900000);
        std::vector<double> saves, raws;
        int lastId = 0;
        for (int r = 0; r < runs; ++r) {
            QElapsedTimer t;
            t.start();
            const SaveResult saved = store.insertBill(store.insertHeader(draft), draft);
            saves.push_back(msSince(t));
            if (!saved.saved)
                die(QStringLiteral("save failed: ") + (saved.message ? saved.message->text : QString()));
            lastId = saved.interId;
            t.restart();
            rawSave(raw, store, draft, 900001 + r);
            raws.push_back(msSince(t));
        }
        std::printf("engine: %s, entries per invoice: %d, runs: %d\n", engine == DbEngine::SQLite ? "SQLite" : "PostgreSQL",
                    entries, runs);
        const bool pgEngine = engine == DbEngine::PostgreSQL;
        met &= report("save", "insertBill", saves, raws, pgEngine ? 1.2 : 1.5);

        const HeaderLayout layout = readHeaderLayout(conn, 71, QStringLiteral("1"), true);
        const QString headSql = translateSql(billHeaderSql(store.settings().viewName, lastId), engine);
        const QString linesSql = translateSql(billEntriesSql(lastId), engine);
        EntryGridModel model;
        std::vector<double> opens, reads;
        for (int r = 0; r <= 10 * runs; ++r) {
            QElapsedTimer t;
            t.start();
            std::optional<LoadedBill> bill = store.loadBill(lastId, layout);
            if (!bill || int(bill->rows.size()) != entries)
                die(QStringLiteral("load failed"));
            model.setRows(std::move(bill->rows));
            const double open = msSince(t);
            t.restart();
            const RawResult head = raw.query(headSql);
            const RawResult lines = raw.query(linesSql);
            const double read = msSince(t);
            if (head.rows != 1 || lines.rows != entries)
                die(QStringLiteral("the raw engine read %1 + %2 rows").arg(head.rows).arg(lines.rows));
            if (r > 0) { // the first round warms both
                opens.push_back(open);
                reads.push_back(read);
            }
        }
        met &= report("open", "loadBill into the grid model", opens, reads, pgEngine ? 1.2 : 1.3);
        conn.close();
    } catch (const DbError &e) {
        die(e.description());
    }
    if (!benchDatabase.isEmpty()) {
        Connection admin(server.toString());
        admin.open();
        admin.executeNative(QStringLiteral("drop database if exists %1").arg(benchDatabase));
    }
    return met ? 0 : 1;
}
