// `purfp tour` as a newcomer runs it: init writes the demo database and the
// settings store, the tour walks through the forms without a display, and
// what it says it wrote is there and holds the invoice it entered.
#include "platform/Amount.h"
#include "platform/Connection.h"
#include "platform/Recordset.h"

#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QProcess>
#include <QRegularExpression>
#include <QSet>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

class TestTour : public QObject {
    Q_OBJECT

    struct Run {
        int exitCode = -1;
        QString out;
        QString err;
    };

    QTemporaryDir m_dir;

    QProcessEnvironment environment() const
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("XDG_CONFIG_HOME"), m_dir.filePath(QStringLiteral("config")));
        env.insert(QStringLiteral("XDG_DATA_HOME"), m_dir.filePath(QStringLiteral("data")));
        env.remove(QStringLiteral("DISPLAY"));
        env.remove(QStringLiteral("WAYLAND_DISPLAY"));
        return env;
    }

    Run purfp(const QStringList &args) const
    {
        QProcess p;
        p.setProcessEnvironment(environment());
        p.start(qEnvironmentVariable("PURFP_BIN_DIR") + QStringLiteral("/purfp"), args);
        p.waitForFinished(600000);
        return {p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1,
                QString::fromUtf8(p.readAllStandardOutput()), QString::fromUtf8(p.readAllStandardError())};
    }

    QString database() const { return m_dir.filePath(QStringLiteral("data/demo.db")); }

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        const Run r = purfp({QStringLiteral("init"), QStringLiteral("--db"), database(), QStringLiteral("--demo"), QStringLiteral("--force")});
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
    }

    void tourWritesPicturesWorkbookAndPdf()
    {
        Connection conn(QStringLiteral("Driver=SQLite;Database=") + database());
        conn.open();
        const qint64 before = conn.openRecordset(QStringLiteral("select count(*) as n from tblFP")).value(0).toLongLong();
        const qint64 lastId = conn.openRecordset(QStringLiteral("select isnull(max(finterid),0) as n from tblFP")).value(0).toLongLong();
        conn.close();

        const QString out = m_dir.filePath(QStringLiteral("tour out"));
        const Run r = purfp({QStringLiteral("tour"), QStringLiteral("--out"), out});
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));

        // One path per line, each inside the output folder and present.
        const QStringList lines = r.out.split(u'\n', Qt::SkipEmptyParts);
        const QStringList expected{QStringLiteral("采购发票.png"), QStringLiteral("采购发票.pdf"), QStringLiteral("发票查询.png"),
                                   QStringLiteral("发票列表.png"), QStringLiteral("发票列表.xlsx")};
        QCOMPARE(lines.size(), expected.size());
        for (const QString &name : expected) {
            const QString path = out + u'/' + name;
            QVERIFY2(lines.contains(path), qPrintable(name));
            QVERIFY2(QFileInfo(path).size() > 0, qPrintable(path));
        }
        for (const QString &name : {QStringLiteral("采购发票.png"), QStringLiteral("发票查询.png"), QStringLiteral("发票列表.png")}) {
            QImage image(out + u'/' + name);
            QVERIFY2(!image.isNull(), qPrintable(name));
            QVERIFY(image.width() > 200 && image.height() > 150);
            // A picture of a form, not a blank rectangle.
            QSet<QRgb> colours;
            for (int y = 0; y < image.height(); y += 7)
                for (int x = 0; x < image.width(); x += 7)
                    colours.insert(image.pixel(x, y));
            QVERIFY2(colours.size() > 3, qPrintable(name));
        }

        // The workbook is a zip container (xlsx).
        QFile xlsx(out + QStringLiteral("/发票列表.xlsx"));
        QVERIFY(xlsx.open(QIODevice::ReadOnly));
        QCOMPARE(xlsx.read(2), QByteArray("PK"));

        // Exactly one new invoice, audited by the administrator, its entries
        // adding up to its total.
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

        // The PDF is the saved invoice.
        QFile pdf(out + QStringLiteral("/采购发票.pdf"));
        QVERIFY(pdf.open(QIODevice::ReadOnly));
        QCOMPARE(pdf.read(5), QByteArray("%PDF-"));
        pdf.close();
        const QString pdftotext = QStandardPaths::findExecutable(QStringLiteral("pdftotext"));
        if (pdftotext.isEmpty()) {
            qInfo("pdftotext not installed: the PDF's text is not checked");
        } else {
            QProcess p;
            p.start(pdftotext, {pdf.fileName(), QStringLiteral("-")});
            QVERIFY(p.waitForFinished(60000));
            const QString text = QString::fromUtf8(p.readAllStandardOutput()).remove(QRegularExpression(QStringLiteral("\\s")));
            QVERIFY2(text.contains(billNo), qPrintable(billNo));
        }
    }

    void tourWithoutOutputFolderFails()
    {
        const Run r = purfp({QStringLiteral("tour")});
        QVERIFY(r.exitCode != 0);
        QVERIFY(!r.err.isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestTour)
#include "tst_tour.moc"
