// Bill editor: saving an invoice with 1,000 entries, and opening it again.
//
// Save: BillStore::insertBill (counters in their own short transactions, then
// header and 3,000 entry statements in one transaction) against the same
// statements, translated beforehand, run directly through QSqlQuery on the
// same connection in one transaction. Target: ratio at most 2.
//
// Open: the editor showing the bill (MenuFirst over a one-bill list: the
// shared connection taken, the two statements read, the grid filled, the
// lookup texts refreshed) against the bill's two statements run directly on
// an open connection, every value read. Target: ratio at most 2. Printed
// beside it: the same with the form's first paint, which costs the same for
// any bill that fills the visible rows; the bill read into a grid model on
// the open connection; and what connecting and closing costs when the
// connection is kept idle in between.
//
//   bench_editor [--runs N] [--entries N] [--pg "Driver=PostgreSQL;..."]
// Without --pg the database is a SQLite file in a temporary folder. With
// --pg a database purfp_bench_<pid> is created on that server and dropped
// afterwards.
#include "modules/Session.h"
#include "editor/BillStore.h"
#include "editor/EntryGridModel.h"
#include "editor/frmMainBill.h"
#include "modules/ConnectionRoutines.h"
#include "platform/Connection.h"
#include "platform/DbError.h"
#include "platform/Prompt.h"
#include "platform/SqlDialect.h"
#include "sql/DatabaseSetup.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QSqlError>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <vector>

namespace {

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    const size_t n = values.size();
    return n % 2 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
}

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

struct Prepared {
    QString sql;
    QVariantList params;
};

// The statements a save of `draft` runs, in their order, already translated
// for the engine, with the bill's id and number fixed.
std::vector<Prepared> saveStatements(BillStore &store, const BillDraft &draft, int id, const QString &number, DbEngine engine)
{
    std::vector<Prepared> out;
    auto add = [&](const QString &sql, const QVariantList &params = {}) { out.push_back({translateSql(sql, engine), params}); };
    add(QStringLiteral("update tblmaxNum set fmaxnum=fmaxnum+1 where ftablename='tblFP'"));
    add(QStringLiteral("select * from tblmaxNum where ftablename='tblFP'"));
    add(QStringLiteral("update tblMaxBillNo set fbillno=fbillno+1 where ftypeid=71"));
    add(QStringLiteral("select * from tblMaxBillNo where ftypeid=71"));
    const HeaderStatement h = store.insertHeader(draft);
    QVariantList params = h.params;
    params << QStringLiteral("0001") << number;
    add(h.sql + QString::number(id) + h.tail, params);
    const QString key = QString::number(id);
    for (size_t r = 0; r < draft.rows.size(); ++r) {
        const QString amount = cellAmount(draft.rows[r].cell(ColThisAmount))->toString();
        const QString stock = draft.rows[r].stockId;
        add(QStringLiteral("insert into tblFPEntry(fInterId,fEntryId,fStockInterId,fHXAmount) values(") + key + u',' + QString::number(r + 1)
            + u',' + stock + u',' + amount + u')');
        add(QStringLiteral("update icstockbill set fKPAmount=isnull(fKPAmount,0)+") + amount + QStringLiteral(" where finterid=") + stock);
        add(QStringLiteral("update tblFP set fEndAmount=isnull(fEndAmount,0)+") + amount + QStringLiteral(" where finterid=") + key);
    }
    return out;
}

double runDirect(Connection &conn, const std::vector<Prepared> &statements)
{
    QSqlDatabase db = conn.database();
    QElapsedTimer t;
    t.start();
    if (!db.transaction())
        die(db.lastError().text());
    for (const Prepared &p : statements) {
        QSqlQuery q(db);
        q.setForwardOnly(true);
        bool ok;
        if (p.params.isEmpty()) {
            ok = q.exec(p.sql);
        } else {
            ok = q.prepare(p.sql);
            for (const QVariant &v : p.params)
                q.addBindValue(v);
            ok = ok && q.exec();
        }
        if (!ok)
            die(q.lastError().text() + QStringLiteral(" in ") + p.sql);
        while (q.isSelect() && q.next()) {
        }
    }
    if (!db.commit())
        die(db.lastError().text());
    return msSince(t);
}

// The two statements that load a bill, every value of every row read.
double readDirect(Connection &conn, const QString &viewName, int id, int *rows)
{
    QSqlDatabase db = conn.database();
    const DbEngine engine = conn.engine();
    const QString head = translateSql(billHeaderSql(viewName, id), engine);
    const QString lines = translateSql(billEntriesSql(id), engine);
    QElapsedTimer t;
    t.start();
    int n = 0;
    for (const QString &sql : {head, lines}) {
        QSqlQuery q(db);
        q.setForwardOnly(true);
        q.setNumericalPrecisionPolicy(QSql::HighPrecision);
        if (!q.exec(sql))
            die(q.lastError().text());
        const int columns = q.record().count();
        while (q.next()) {
            for (int c = 0; c < columns; ++c) {
                const QVariant v = q.value(c);
                Q_UNUSED(v);
            }
            ++n;
        }
    }
    *rows = n;
    return msSince(t);
}

class SilentResponder : public Prompt::RecordingResponder {
public:
    int message(const Prompt::Call &call) override
    {
        if (call.icon == Prompt::Critical || call.icon == Prompt::Exclamation)
            std::fprintf(stderr, "message: %s\n", qPrintable(call.text));
        return Prompt::RecordingResponder::message(call);
    }
};

} // namespace

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
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
    qputenv("XDG_CONFIG_HOME", dir.filePath(QStringLiteral("config")).toUtf8());
    qputenv("XDG_DATA_HOME", dir.filePath(QStringLiteral("data")).toUtf8());
    SilentResponder responder;
    Prompt::setResponder(&responder);

    QString connectionString;
    QString benchDatabase;
    ConnectionString server;
    try {
        if (pg.isEmpty()) {
            ConnectionString cs;
            cs.engine = DbEngine::SQLite;
            cs.database = dir.filePath(QStringLiteral("bench.db"));
            connectionString = cs.toString();
            Connection create(connectionString, Connection::OpenMode::CreateIfMissing);
            create.open();
        } else {
            server = ConnectionString::parse(pg);
            benchDatabase = QStringLiteral("purfp_bench_%1").arg(QCoreApplication::applicationPid());
            Connection admin(server.toString());
            admin.open();
            admin.executeNative(QStringLiteral("drop database if exists %1").arg(benchDatabase));
            admin.executeNative(QStringLiteral("create database %1 encoding 'UTF8' template template0").arg(benchDatabase));
            ConnectionString cs = server;
            cs.database = benchDatabase;
            connectionString = cs.toString();
        }

        Connection conn(connectionString);
        conn.open();
        DatabaseSetup::createSchema(conn);
        seed(conn, entries);
        const DbEngine engine = conn.engine();
        BillStore store(conn, benchSettings());
        const BillDraft draft = draftWith(entries);

        // Warm both paths once.
        if (!store.insertBill(store.insertHeader(draft), draft).saved)
            die(QStringLiteral("save failed"));
        runDirect(conn, saveStatements(store, draft, 900000, QStringLiteral("DIRECT-0"), engine));

        std::vector<double> saves, directs;
        int lastId = 0;
        for (int r = 0; r < runs; ++r) {
            QElapsedTimer t;
            t.start();
            const SaveResult saved = store.insertBill(store.insertHeader(draft), draft);
            saves.push_back(msSince(t));
            if (!saved.saved)
                die(QStringLiteral("save failed: ") + (saved.message ? saved.message->text : QString()));
            lastId = saved.interId;
            const std::vector<Prepared> statements = saveStatements(store, draft, 900001 + r, QStringLiteral("DIRECT-%1").arg(r + 1), engine);
            directs.push_back(runDirect(conn, statements));
        }
        const double save = median(saves), direct = median(directs);
        std::printf("engine: %s, entries per invoice: %d, runs: %d\n", engine == DbEngine::SQLite ? "SQLite" : "PostgreSQL", entries, runs);
        std::printf("save:  insertBill %.2f ms, same statements directly %.2f ms, ratio %.2f (target <= 2)\n", save, direct, save / direct);

        // Opening: the editor on a one-bill list, browsed to that bill.
        Session &s = session();
        resetSession();
        s.DBConnectionString = connectionString;
        s.gLoginUserId = QStringLiteral("1");
        s.gLoginUserName = QStringLiteral("管理员");
        s.IsAdmin = 1;
        s.gAppPath = dir.filePath(QStringLiteral("app"));
        s.gPeriodStartDate = QDate(2025, 3, 1);
        s.gListInterIds = QStringList{QString::number(lastId)};
        s.gListIndex = 0;
        s.gCurInterId = lastId;
        s.gBillMode = 1;
        frmMainBill *form = frmMainBill::defaultInstance();
        form->show();
        QCoreApplication::processEvents();
        if (form->grid()->gridRowCount() != entries)
            die(QStringLiteral("the editor shows %1 rows").arg(form->grid()->gridRowCount()));

        std::vector<double> opens, shows, reads;
        int rows = 0;
        for (int r = 0; r < runs; ++r) {
            form->grid()->clear();
            QCoreApplication::processEvents();
            QElapsedTimer t;
            t.start();
            form->MenuFirst_Click();
            opens.push_back(msSince(t));
            QCoreApplication::processEvents(); // what changed is laid out and painted
            shows.push_back(msSince(t));
            if (form->grid()->gridRowCount() != entries)
                die(QStringLiteral("the editor shows %1 rows").arg(form->grid()->gridRowCount()));
            reads.push_back(readDirect(conn, s.gViewName, lastId, &rows));
        }
        const double open = median(opens), shown = median(shows), read = median(reads);
        std::printf("open:  editor holds the bill %.2f ms, its two statements directly %.2f ms (%d rows), ratio %.2f (target <= 2)\n", open,
                    read, rows, open / read);
        std::printf("       with the first paint of the form %.2f ms, ratio %.2f (the paint covers the visible rows only)\n", shown,
                    shown / read);

        // Apart, for information: the bill read into a grid model on the open
        // connection (no connection to open, nothing to paint), and what
        // opening and closing the shared connection costs by itself.
        std::vector<double> loads, connects;
        const HeaderLayout layout = readHeaderLayout(conn, 71, QStringLiteral("1"), true);
        EntryGridModel model;
        for (int r = 0; r < runs; ++r) {
            QElapsedTimer t;
            t.start();
            std::optional<LoadedBill> bill = store.loadBill(lastId, layout);
            if (!bill || int(bill->rows.size()) != entries)
                die(QStringLiteral("load failed"));
            model.setRows(std::move(bill->rows));
            loads.push_back(msSince(t));
            t.restart();
            OpenConnection();
            CloseConnection();
            connects.push_back(msSince(t));
        }
        std::printf("load:  bill read into the grid model %.2f ms, ratio %.2f to its two statements\n", median(loads), median(loads) / read);
        std::printf("       (opening and closing the shared connection alone: %.2f ms)\n", median(connects));

        delete form;
        CloseConnection();
        ReleaseIdleConnection();
        conn.close();
    } catch (const DbError &e) {
        die(e.description());
    }
    if (!benchDatabase.isEmpty()) {
        Connection admin(server.toString());
        admin.open();
        admin.executeNative(QStringLiteral("drop database if exists %1").arg(benchDatabase));
    }
    Prompt::setResponder(nullptr);
    return 0;
}
