#include "platform/Amount.h"
#include "platform/Connection.h"
#include "modules/StockBillLedger.h"
#include "platform/SettingsStore.h"
#include "support/PdfTools.h"
#include "support/TestDatabase.h"
#include "support/TestSession.h"
#include "support/CaseRows.h"

#include <QFileInfo>
#include <QImage>
#include <QProcess>
#include <QRegularExpression>
#include <QSet>
#include <QTest>

#include <memory>
#include <optional>

// inString: Pwd given in the connection string; variable: PURFP_DB_PASSWORD;
// input: null: no --password-stdin; stored: the password in the stored
// connection string.
struct PasswordCase { const char *name; QString inString, variable, input; int exitCode; QString stored; };
Q_DECLARE_METATYPE(PasswordCase)
// said: in the error output
struct PrintCase { const char *name; QString ids; int exitCode; QString said; };

// The purfp host program as a user runs it from a shell: init writes the
// database and the settings store, methods run through the component, the
// tour walks through the forms without a display.
class TestHost : public QObject {
    Q_OBJECT

    struct Run {
        int exitCode = -1;
        QString out;
        QString err;
    };
    // NoForms: methods are called for the host's binding and nobody closes
    // forms; Offscreen: the forms are shown, on no display; NoPlatform: not
    // even the offscreen platform is named.
    enum class Forms { NoForms, Offscreen, NoPlatform };
    static Run purfp(const QStringList &args, const QString &passwordVariable = QString(), const QByteArray &input = QByteArray(),
                     Forms forms = Forms::NoForms)
    {
        QProcess p;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        for (const char *name : {"DISPLAY", "WAYLAND_DISPLAY", "PURFP_NO_FORMS", "PURFP_DB_PASSWORD"})
            env.remove(QString::fromLatin1(name));
        if (forms == Forms::NoForms)
            env.insert(QStringLiteral("PURFP_NO_FORMS"), QStringLiteral("1"));
        else if (forms == Forms::NoPlatform)
            env.remove(QStringLiteral("QT_QPA_PLATFORM"));
        if (!passwordVariable.isEmpty())
            env.insert(QStringLiteral("PURFP_DB_PASSWORD"), passwordVariable);
        p.setProcessEnvironment(env);
        p.start(qEnvironmentVariable("PURFP_BIN_DIR") + QStringLiteral("/purfp"), args);
        p.write(input);
        p.closeWriteChannel();
        p.waitForFinished(600000);
        return {p.exitCode(), QString::fromUtf8(p.readAllStandardOutput()), QString::fromUtf8(p.readAllStandardError())};
    }

    // The tour on a fresh demo database: what it says it wrote is there, and
    // the database holds the one invoice it entered and audited.
    static void tourOnFreshDemo(TestSession &t, const QString &db)
    {
        Connection conn(QStringLiteral("Driver=SQLite;Database=") + db);
        conn.open();
        const qint64 before = conn.openRecordset(QStringLiteral("select count(*) as n from tblFP")).value(0).toLongLong();
        const qint64 lastId = conn.openRecordset(QStringLiteral("select isnull(max(finterid),0) as n from tblFP")).value(0).toLongLong();
        conn.close();

        const QString out = t.folder() + QStringLiteral("/tour out");
        const Run r = purfp({QStringLiteral("tour"), QStringLiteral("--out"), out}, QString(), QByteArray(), Forms::Offscreen);
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        // The offscreen platform's window-hint warnings are not shown.
        QVERIFY2(!r.err.contains(QStringLiteral("propagateSizeHints")), qPrintable(r.err));

        // One path per line, each inside the output folder and present.
        const QStringList lines = r.out.split(u'\n', Qt::SkipEmptyParts);
        const QStringList expected{QStringLiteral("采购发票.png"), QStringLiteral("采购发票.pdf"), QStringLiteral("发票查询.png"),
                                   QStringLiteral("发票列表.png"), QStringLiteral("发票列表.xlsx"), QStringLiteral("未开票入库单.png"),
                                   QStringLiteral("未开票入库单.xlsx")};
        QCOMPARE(lines.size(), expected.size());
        for (const QString &name : expected) {
            const QString path = out + u'/' + name;
            QVERIFY2(lines.contains(path), qPrintable(name));
            QFile file(path);
            QVERIFY2(file.open(QIODevice::ReadOnly) && file.size() > 0, qPrintable(path));
            const QByteArray magic = file.read(5);
            if (name.endsWith(QStringLiteral(".png"))) {
                // A picture of a form, not a blank rectangle.
                const QImage image(path);
                QVERIFY2(image.width() > 200 && image.height() > 150, qPrintable(name));
                QSet<QRgb> colours;
                for (int y = 0; y < image.height(); y += 7)
                    for (int x = 0; x < image.width(); x += 7)
                        colours.insert(image.pixel(x, y));
                QVERIFY2(colours.size() > 3, qPrintable(name));
            } else {
                QVERIFY2(magic.startsWith(name.endsWith(QStringLiteral(".pdf")) ? "%PDF-" : "PK"), qPrintable(name)); // PDF, or xlsx (zip)
            }
        }

        // Exactly one new invoice, audited by the administrator, its entries
        // adding up to its total; the PDF is that invoice.
        conn.open();
        QCOMPARE(conn.openRecordset(QStringLiteral("select count(*) as n from tblFP")).value(0).toLongLong(), before + 1);
        Recordset bill = conn.openRecordset(QStringLiteral("select finterid,fbillno,fstatus,fchecker,fAmount from tblFP where finterid>")
                                            + QString::number(lastId));
        QVERIFY(!bill.eof());
        QCOMPARE(bill.value(QStringLiteral("fstatus")).toInt(), 1);
        QCOMPARE(bill.value(QStringLiteral("fchecker")).toInt(), 1);
        const QString billNo = bill.text(QStringLiteral("fbillno"));
        QVERIFY(!billNo.isEmpty());
        const Amount total = Amount::fromVariant(bill.value(QStringLiteral("fAmount")));
        QVERIFY(total.units() > 0);
        const Amount entries = Amount::fromVariant(
            conn.openRecordset(QStringLiteral("select sum(fHXAmount) as s from tblFPEntry where fInterId=") + bill.text(QStringLiteral("finterid"))).value(0));
        QCOMPARE(entries.toString(), total.toString());
        conn.close();
        if (const auto text = pdf_tools::text(out + QStringLiteral("/采购发票.pdf")))
            QVERIFY2(QString(*text).remove(QRegularExpression(QStringLiteral("\\s"))).contains(billNo), qPrintable(billNo));
    }

private slots:
    void initWritesDatabaseAndSettings()
    {
        TestSession t;
        const QString db = t.folder() + QStringLiteral("/data/demo.db");
        Run r = purfp({"init", "--db", db, "--demo", "--user-id", "2", "--user-name", "张会计", "--admin", "0", "--title", "演示进销存"});
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        const QString app = QStringLiteral("Velkam");
        QCOMPARE(SettingsStore::read(app, QStringLiteral("DBOperation"), QStringLiteral("DBConnectionString"), QString()),
                 QStringLiteral("Driver=SQLite;Database=") + db);
        QCOMPARE(SettingsStore::read(app, QStringLiteral("SystemLogin"), QStringLiteral("gLoginUserId"), QString()), QStringLiteral("2"));
        QCOMPARE(SettingsStore::read(app, QStringLiteral("SystemLogin"), QStringLiteral("IsAdmin"), QString()), QStringLiteral("0"));
        QCOMPARE(SettingsStore::read(app, QStringLiteral("SystemSetup"), QStringLiteral("msgTitle"), QString()), QStringLiteral("演示进销存"));
        QCOMPARE(SettingsStore::read(app, QStringLiteral("SystemSetup"), QStringLiteral("gAppPath"), QString()), t.folder() + QStringLiteral("/data"));
        {
            Connection c(QStringLiteral("Driver=SQLite;Database=") + db);
            c.open();
            QCOMPARE(c.openRecordset(QStringLiteral("select count(*) as n from tblFP")).toInt(QStringLiteral("n")), 500);
        }

        // A second init refuses to overwrite unless asked to.
        r = purfp({QStringLiteral("init"), QStringLiteral("--db"), db});
        QCOMPARE(r.exitCode, 1);
        QVERIFY(r.err.contains(QStringLiteral("--force")));
        r = purfp({QStringLiteral("init"), QStringLiteral("--db"), db, QStringLiteral("--force")});
        QCOMPARE(r.exitCode, 0);
        // A small database is written at once; a large one reports how far
        // the writing has come and how fast.
        QVERIFY2(!r.err.contains(QStringLiteral("每秒")), qPrintable(r.err));
        r = purfp({"init", "--db", db, "--force", "--demo", "--scale", "10000"});
        QCOMPARE(r.exitCode, 0);
        QVERIFY2(r.err.contains(QRegularExpression(QStringLiteral("采购发票 10000/10000 \\(100%\\), 每秒 [0-9]+ 张"))), qPrintable(r.err));

        // The methods run through the loaded component.
        r = purfp({QStringLiteral("findInfo2"), QStringLiteral(" and frob=1"), QStringLiteral("--right"), QStringLiteral("Q01")});
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        QVERIFY2(r.out.contains(QStringLiteral("findInfo2 返回: \"\"")) && r.out.contains(QStringLiteral("ReturnString=")), qPrintable(r.out));
        tourOnFreshDemo(t, db); // the settings of the last init: the administrator
    }

    // The password reaches the settings store, which only its user may read,
    // and never the output; it can come from the environment or standard
    // input instead of the arguments. A new SQLite database is private too.
    void initKeepsThePasswordPrivate_data()
    {
        QTest::addColumn<DbEngine>("engine");
        QTest::addColumn<PasswordCase>("row");
        const auto row = [](DbEngine e, const PasswordCase &c) { engineRow(e, QString::fromUtf8(c.name)) << c; };
        row(DbEngine::SQLite, {"new database", "", "Var-secret1", QString(), 0, ""});
        row(DbEngine::SQLite, {"standard input without a server", "", "", "In-secret1\n", 2, ""});
        if (!TestDatabase::postgresConfigured())
            return;
        const DbEngine pg = DbEngine::PostgreSQL;
        row(pg, {"in the string", "Str-secret2", "", QString(), 0, "Str-secret2"});
        row(pg, {"from the environment", "", "Var-secret3", QString(), 0, "Var-secret3"});
        row(pg, {"from standard input", "", "Var-secret4", "In-secret4\r\nnext line\n", 0, "In-secret4"});
        row(pg, {"string before environment", "Str-secret5", "Var-secret5", QString(), 0, "Str-secret5"});
        row(pg, {"string and standard input", "Str-secret6", "", "In-secret6\n", 2, ""});
        row(pg, {"semicolon refused", "", "Var;secret7", QString(), 2, ""});
    }
    void initKeepsThePasswordPrivate()
    {
        QFETCH(DbEngine, engine);
        QFETCH(PasswordCase, row);
        auto [caseName, inString, variable, input, exitCode, stored] = row;
        TestSession t;
        const QString dbFile = t.folder() + QStringLiteral("/data/new.db");
        QStringList args{QStringLiteral("init")};
        std::unique_ptr<TestDatabase> server;
        if (engine == DbEngine::SQLite) {
            args << QStringLiteral("--db") << dbFile;
        } else {
            // A server database that holds the tables already: --force writes them again.
            server = std::make_unique<TestDatabase>(engine, TestDatabase::Content::Schema);
            ConnectionString cs = ConnectionString::parse(server->connectionString());
            QVERIFY(cs.password.isEmpty()); // the test server trusts every password
            QString text = cs.toString();
            text.chop(int(qstrlen(";Pwd=")));
            args << QStringLiteral("--force") << QStringLiteral("--connection")
                 << (inString.isEmpty() ? text : text + QStringLiteral(";Pwd=") + inString);
        }
        if (!input.isNull())
            args << QStringLiteral("--password-stdin");
        const Run r = purfp(args, variable, input.toUtf8());
        QVERIFY2(r.exitCode == exitCode, qPrintable(r.err));
        for (const QString &secret : {inString, variable, input.section(u'\r', 0, 0).trimmed()}) {
            if (!secret.isEmpty())
                QVERIFY2(!r.out.contains(secret) && !r.err.contains(secret), qPrintable(r.out + r.err));
        }
        if (exitCode != 0)
            return;
        const QString settings = SettingsStore::filePath(QStringLiteral("Velkam"));
        QCOMPARE(QFileInfo(settings).permissions() & 0x7777, QFile::ReadOwner | QFile::WriteOwner | QFile::ReadUser | QFile::WriteUser);
        const QString connection = SettingsStore::read(QStringLiteral("Velkam"), QStringLiteral("DBOperation"),
                                                       QStringLiteral("DBConnectionString"), QString());
        QCOMPARE(ConnectionString::parse(connection).password, stored);
        if (engine == DbEngine::SQLite) {
            QCOMPARE(QFileInfo(dbFile).permissions() & 0x7777, QFile::ReadOwner | QFile::WriteOwner | QFile::ReadUser | QFile::WriteUser);
        } else {
            QVERIFY2(r.out.contains(QStringLiteral("Pwd=******")), qPrintable(r.out));
            Connection c(connection);
            c.open();
            QCOMPARE(c.openRecordset(QStringLiteral("select count(*) as n from tblFP")).toInt(QStringLiteral("n")), 0);
        }
    }

    // Without any display a method would wait for a form nobody sees: it
    // stops at once and says how to run it instead.
    void methodWithoutDisplayStops()
    {
        const Run r = purfp({QStringLiteral("findInfo1"), QStringLiteral(" and 1=1")}, QString(), QByteArray(), Forms::NoPlatform);
        QCOMPARE(r.exitCode, 3);
        QVERIFY2(r.err.contains(QStringLiteral("QT_QPA_PLATFORM=offscreen")) && r.err.contains(QStringLiteral("purfp tour")), qPrintable(r.err));
    }

    void clearErrors_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("message");
        QTest::newRow("no arguments") << QStringList{} << 2 << "";
        QTest::newRow("init without database") << QStringList{"init"} << 2 << "--db";
        QTest::newRow("init with both") << QStringList{"init", "--db", "x.db", "--connection", "Driver=SQLite;Database=y"} << 2 << "--db";
        QTest::newRow("bad connection string") << QStringList{"init", "--connection", "Driver=Nope;Database=x"} << 1 << "Nope";
        QTest::newRow("unreachable server") << QStringList{"init", "--connection", "Driver=PostgreSQL;Server=127.0.0.1;Port=1;Database=x;Uid=u"} << 1 << "";
        QTest::newRow("bad scale") << QStringList{"init", "--db", "x.db", "--scale", "many"} << 2 << "--scale";
        QTest::newRow("tour without a folder") << QStringList{"tour"} << 2 << "--out";
        QTest::newRow("unknown option") << QStringList{"findInfo", "--colour"} << 2 << "--colour";
        QTest::newRow("missing database") << QStringList{"findInfo"} << 1 << "missing.db";
        QTest::newRow("unknown method") << QStringList{"printAll"} << 2 << "printAll";
        QTest::newRow("property called as method") << QStringList{"UserRight"} << 1 << "UserRight";
        QTest::newRow("method without its argument") << QStringList{"findInfo1"} << 2 << "findInfo1";
    }
    void clearErrors()
    {
        QFETCH(QStringList, args);
        QFETCH(int, exitCode);
        QFETCH(QString, message);
        TestSession t;
        // Methods look for a database that is not there, unless the row needs one.
        std::optional<TestDatabase> db;
        const bool withDb = args.value(0) == u"printAll" || args.value(0) == u"UserRight" || args == QStringList{"findInfo1"};
        if (withDb)
            db.emplace(DbEngine::SQLite);
        t.writeHostSettings(withDb ? db->connectionString() : QStringLiteral("Driver=SQLite;Database=") + t.folder() + QStringLiteral("/missing.db"));
        const Run r = purfp(args);
        QCOMPARE(r.exitCode, exitCode);
        QVERIFY2(r.err.contains(message) || (!withDb && r.out.contains(message)), qPrintable(r.err + r.out));
        QVERIFY2(!r.err.isEmpty() || !r.out.isEmpty(), "a failure is never silent");
    }

    // purfp uninvoiced on the database the settings name, every supplier and
    // one (its name quoted): the CSV is, byte for byte, what one statement
    // joining the open bills to their suppliers in the report's order gives
    // (the command reads supplier by supplier and writes as it reads); the
    // text form ends with the total.
    void uninvoicedCommand_data() { addEngineRows(); }
    void uninvoicedCommand()
    {
        QFETCH(DbEngine, engine);
        TestSession t;
        TestDatabase db(engine, TestDatabase::Content::Demo);
        t.writeHostSettings(db.connectionString());
        const QString open = QStringLiteral(" from icstockbill b left outer join tblItem s on s.fitemid=b.fsupplyid where 1=1")
            + openStockBillCondition(QStringLiteral("b."));
        const QString supplier = db.scalar(QStringLiteral("select max(b.fsupplyid)") + open).toString();
        db.exec(QStringLiteral("update tblItem set fname='甲,\"商行\"' where fitemid=") + supplier);
        const QString code = db.scalar(QStringLiteral("select fnumber from tblItem where fitemid=") + supplier).toString();

        for (const QString &only : {QString(), code}) {
            const QString where = only.isEmpty() ? QString() : QStringLiteral(" and b.fsupplyid=") + supplier;
            Recordset rs = db.conn().openRecordset(
                QStringLiteral("select isnull(s.fnumber,'') as fnumber,isnull(s.fname,'') as fname,isnull(b.fbillno,'') as fbillno,b.fdate,"
                               "isnull(b.fAllAmount,0) as fall,isnull(b.fKPAmount,0) as fkp")
                + open + where + QStringLiteral(" order by fnumber,b.fsupplyid,b.fdate,fbillno,b.finterid"));
            auto field = [](QString text) {
                return text.contains(u',') || text.contains(u'"') ? u'"' + text.replace(u'"', QStringLiteral("\"\"")) + u'"' : text;
            };
            QString expected = QStringLiteral("供应商代码,供应商名称,入库单号,日期,金额,已开票金额,未开票金额\n");
            for (; !rs.eof(); rs.moveNext())
                expected += QStringList{field(rs.text(QStringLiteral("fnumber"))), field(rs.text(QStringLiteral("fname"))),
                                        field(rs.text(QStringLiteral("fbillno"))), rs.date(QStringLiteral("fdate")).toString(Qt::ISODate),
                                        rs.amount(QStringLiteral("fall")).toFixed(2), rs.amount(QStringLiteral("fkp")).toFixed(2),
                                        (rs.amount(QStringLiteral("fall")) - rs.amount(QStringLiteral("fkp"))).toFixed(2)}
                                .join(u',')
                    + u'\n';
            const Run r = purfp(only.isEmpty() ? QStringList{"uninvoiced", "--csv"} : QStringList{"uninvoiced", "--supplier", only, "--csv"});
            QVERIFY2(r.exitCode == 0, qPrintable(r.err));
            QVERIFY(expected.count(u'\n') > 1);
            QCOMPARE(r.out, expected);
        }
        const Run text = purfp({QStringLiteral("uninvoiced"), QStringLiteral("--supplier"), code});
        QVERIFY2(text.exitCode == 0 && text.out.contains(QStringLiteral("合计")), qPrintable(text.out + text.err));
        QCOMPARE(purfp({QStringLiteral("uninvoiced"), QStringLiteral("--cvs")}).exitCode, 2);
    }

    // purfp print writes the invoices asked for into one PDF, one bill after
    // the other; an id that names no invoice, or text that is no id, writes
    // nothing. One demo database for all the calls.
    void printWritesTheChosenInvoices_data() { addEngineRows(); }
    void printWritesTheChosenInvoices()
    {
        QFETCH(DbEngine, engine);
        TestSession t;
        TestDatabase db(engine, TestDatabase::Content::Demo);
        t.writeHostSettings(db.connectionString());
        const QString pdf = t.folder() + QStringLiteral("/批量.pdf");
        const PrintCase cases[] = {{"unknown id", "1,999999", 1, "单据内码 999999 不存在"},
                                   {"not an id", "1,x", 2, "\"x\" 不是单据内码"},
                                   {"two invoices", "3, 1", 0, ""}};
        for (const auto &[caseName, ids, exitCode, said] : cases) {
            const Run r = purfp({QStringLiteral("print"), QStringLiteral("--ids"), ids, QStringLiteral("--pdf"), pdf});
            QVERIFY2(r.exitCode == exitCode && r.err.contains(said), qPrintable(QString::fromUtf8(caseName) + u':' + r.err));
            QCOMPARE(QFileInfo::exists(pdf), exitCode == 0);
            if (exitCode != 0)
                continue;
            QVERIFY2(r.out.startsWith(pdf + u'\n') && r.out.contains(QStringLiteral("2 张单据")), qPrintable(r.out));
            auto billNo = [&db](int id) { return db.scalar(QStringLiteral("select fbillno from tblFP where finterid=%1").arg(id)).toString(); };
            if (const auto text = pdf_tools::text(pdf)) {
                const qsizetype third = text->indexOf(billNo(3)), first = text->indexOf(billNo(1));
                QVERIFY2(third >= 0 && first > third && text->count(u'\f') >= 2, qPrintable(*text));
            }
        }
    }
};

QTEST_GUILESS_MAIN(TestHost)
#include "tst_host.moc"
