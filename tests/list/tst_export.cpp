// Exporting the bill list: the workbook (read back from its XML) and the
// text file hold exactly the grid's cells, every workbook cell as text.
#include "list/BillListModel.h"
#include "list/ListExport.h"

#include "support/ListForms.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QMap>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QXmlStreamReader>

namespace {
ListColumn column(const char *field, const char *title, int align = 0, const char *format = "", bool sum = false)
{
    return {QString::fromLatin1(field), QString::fromUtf8(title), align, QString::fromLatin1(format), false, sum};
}

// The grid texts of a sample list, with cells that a careless export would
// change: grouped amounts, a code with leading zeros, a formula-like text,
// quotes and commas, an empty cell, blanks at the ends, Chinese text.
QList<QStringList> sampleRows(DbEngine engine)
{
    TestDatabase db(engine, TestDatabase::Content::Empty);
    BillListModel model;
    model.setColumns({column("finterid", "内码", 2), column("fbillno", "单据编号"), column("fname", "供应商"),
                      column("fcode", "代码"), column("famount", "发票金额", 2, "#,##0.00", true), column("fdate", "日期", 1, "yyyy-MM-dd")});
    model.fill(db.conn(), QStringLiteral(
        "select 1 as finterid, 'CGFP2024030001' as fbillno, '华东五金, \"总店\"' as fname, '0012' as fcode, 1234567.5 as famount, '2024-03-01' as fdate "
        "union all select 2, 'CGFP2024030002', '=1+1', '007', -0.5, '2024-03-02' "
        "union all select 3, 'CGFP2024030003', '', ' 前后有空格 ', 12, '2024-03-03'"));
    return listGridTexts(model);
}

QByteArray unzipEntry(const QString &file, const QString &entry)
{
    QProcess unzip;
    unzip.start(QStringLiteral("unzip"), {QStringLiteral("-p"), file, entry});
    return unzip.waitForFinished(30000) && unzip.exitCode() == 0 ? unzip.readAllStandardOutput() : QByteArray();
}

// Walks the start elements of one part of the workbook.
template<typename F>
void eachElement(const QString &file, const char *entry, F f)
{
    QXmlStreamReader xml(unzipEntry(file, QString::fromLatin1(entry)));
    while (!xml.atEnd())
        if (xml.readNext() == QXmlStreamReader::StartElement)
            f(xml);
}

// The first worksheet as (row, column) -> "type|number format|text", shared
// strings and the cells' number formats resolved.
QMap<std::pair<int, int>, QString> readWorkbook(const QString &file)
{
    QStringList shared;
    eachElement(file, "xl/sharedStrings.xml", [&](QXmlStreamReader &x) {
        if (x.name() == u"si")
            shared << QString();
        else if (x.name() == u"t")
            shared.last() += x.readElementText();
    });
    // 49 is the built-in text format "@".
    QMap<int, QString> formatCodes{{49, QStringLiteral("@")}};
    QStringList styleFormats;
    eachElement(file, "xl/styles.xml", [&](QXmlStreamReader &x) {
        const auto id = [&] { return x.attributes().value(QStringLiteral("numFmtId")).toInt(); };
        if (x.name() == u"numFmt")
            formatCodes.insert(id(), x.attributes().value(QStringLiteral("formatCode")).toString());
        else if (x.name() == u"cellXfs")
            while (!(x.readNext() == QXmlStreamReader::EndElement && x.name() == u"cellXfs") && !x.atEnd())
                if (x.isStartElement() && x.name() == u"xf")
                    styleFormats << formatCodes.value(id());
    });
    QMap<std::pair<int, int>, QString> cells;
    eachElement(file, "xl/worksheets/sheet1.xml", [&](QXmlStreamReader &x) {
        if (x.name() != u"c")
            return;
        // "AB12" -> (row 11, column 27), both counted from 0.
        const QString ref = x.attributes().value(QStringLiteral("r")).toString();
        int letters = 0, column = 0;
        for (; letters < ref.size() && ref[letters].isLetter(); ++letters)
            column = column * 26 + (ref[letters].unicode() - u'A' + 1);
        // A string in place (the constant-memory writer's) reads as a shared one.
        QString type = x.attributes().value(QStringLiteral("t")).toString();
        const bool inPlace = type == u"inlineStr";
        if (inPlace)
            type = QStringLiteral("s");
        QString cell = type + u'|' + styleFormats.value(x.attributes().value(QStringLiteral("s")).toInt(), QStringLiteral("?")) + u'|';
        while (!(x.readNext() == QXmlStreamReader::EndElement && x.name() == u"c") && !x.atEnd())
            if (x.isStartElement() && x.name() == (inPlace ? u"t" : u"v")) {
                const QString v = x.readElementText();
                cell += type == u"s" && !inPlace ? shared.value(v.toInt()) : v;
            }
        cells.insert({ref.mid(letters).toInt() - 1, column - 1}, cell);
    });
    return cells;
}

} // namespace

class TestExport : public QObject {
    Q_OBJECT

private slots:
    // The sample list as a text file and as a workbook; files that cannot
    // be written give an error text.
    void sampleListFiles_data() { addEngineRows(); }
    void sampleListFiles()
    {
        QFETCH(DbEngine, engine);
        QList<QStringList> rows = sampleRows(engine);
        QCOMPARE(rows.size(), 5);
        QCOMPARE(rows.first(), (QStringList{"内码", "单据编号", "供应商", "代码", "发票金额", "日期"}));
        QCOMPARE(rows[1], (QStringList{"1", "CGFP2024030001", "华东五金, \"总店\"", "0012", "1,234,567.50", "2024-03-01"}));
        QCOMPARE(rows[3], (QStringList{"3", "CGFP2024030003", "", " 前后有空格 ", "12.00", "2024-03-03"}));
        QCOMPARE(rows.last(), (QStringList{"合计", "", "", "", "1,234,579.00", ""}));
        QTemporaryDir dir;
        QString error;
        if (!QStandardPaths::findExecutable(QStringLiteral("unzip")).isEmpty()) {
            // Written whole, and a row at a time in constant memory.
            const QString xlsx = dir.filePath(QStringLiteral("列表.xlsx")), streamed = dir.filePath(QStringLiteral("逐行.xlsx"));
            QVERIFY2(writeXlsx(xlsx, rows, &error), qPrintable(error));
            XlsxRowWriter writer(streamed);
            for (const QStringList &row : rows)
                writer.add(row);
            QVERIFY2(writer.close(&error), qPrintable(error));
            // Every cell in the text format "@", filled cells as strings.
            for (const QString &book : {xlsx, streamed}) {
                const auto cells = readWorkbook(book);
                for (int r = 0; r < rows.size(); ++r)
                    for (int c = 0; c < rows[r].size(); ++c)
                        QCOMPARE(cells.value({r, c}), (rows[r][c].isEmpty() ? QString() : QStringLiteral("s")) + QStringLiteral("|@|") + rows[r][c]);
                QCOMPARE(cells.size(), rows.size() * rows.first().size());
            }
        }

        rows[2][2] = QStringLiteral("带\t制表符\n和换行");
        const QString file = dir.filePath(QStringLiteral("list.txt"));
        QVERIFY(writeTabText(file, rows));
        QFile f(file);
        QVERIFY(f.open(QIODevice::ReadOnly));
        const QStringList lines = QString::fromUtf8(f.readAll()).split(u'\n');
        QCOMPARE(lines.size(), rows.size() + 1); // the last line ends with a line break
        QCOMPARE(lines.last(), QString());
        for (int r = 0; r < rows.size(); ++r) {
            QStringList expected = rows[r];
            if (r == 2)
                expected[2] = QStringLiteral("带 制表符 和换行");
            QCOMPARE(lines[r].split(u'\t'), expected);
        }

        error.clear();
        QVERIFY(!writeXlsx(QStringLiteral("/nonexistent-folder/x.xlsx"), rows, &error));
        QVERIFY(!error.isEmpty());
        error.clear();
        XlsxRowWriter nowhere(QStringLiteral("/nonexistent-folder/y.xlsx"));
        nowhere.add(rows.first());
        QVERIFY(!nowhere.close(&error));
        QVERIFY(!error.isEmpty());
        error.clear();
        QVERIFY(!writeTabText(QStringLiteral("/nonexistent-folder/x.txt"), rows, &error));
        QVERIFY(!error.isEmpty());
    }

    void menuCommands_data() { addEngineRows(); }
    void menuCommands()
    {
        QFETCH(DbEngine, engine);
        Session &s = TestSession::session();
        ListFormsEnv env(engine);
        frmMainBillResult *list = env.openList();
        QVERIFY(list);
        const QList<QStringList> grid = listGridTexts(*list->model());
        auto &prompts = env.prompts();

        // Cancelled: no file, no message.
        list->MenuExcel_Click();
        QCOMPARE(prompts.calls.size(), size_t(1));
        QCOMPARE(prompts.calls[0].kind, Prompt::Call::SaveFile);
        QCOMPARE(prompts.calls[0].filter, QStringLiteral("Excel文件(*.xlsx)|*.xlsx"));
        QVERIFY(prompts.messages().empty());

        const QString xlsx = env.ts.folder() + QStringLiteral("/导出");
        prompts.fileNames.push_back(xlsx);
        list->MenuExcel_Click();
        QCOMPARE(prompts.lastMessage().text, QStringLiteral("导出成功!"));
        QCOMPARE(prompts.lastMessage().icon, int(Prompt::Information));
        QVERIFY(QFile::exists(xlsx + QStringLiteral(".xlsx")));
        if (!QStandardPaths::findExecutable(QStringLiteral("unzip")).isEmpty()) { // reads the workbook back
            const auto cells = readWorkbook(xlsx + QStringLiteral(".xlsx"));
            QCOMPARE(cells.size(), grid.size() * grid.first().size());
            QCOMPARE(cells.value({0, 1}), QStringLiteral("s|@|单据编号"));
            QCOMPARE(cells.value({int(grid.size()) - 1, 6}), QStringLiteral("s|@|") + grid.last()[6]);
        }

        prompts.clear();
        const QString txt = env.ts.folder() + QStringLiteral("/list.txt");
        prompts.fileNames.push_back(txt);
        list->MenuText_Click();
        QCOMPARE(prompts.calls.front().filter, QStringLiteral("文本文件(*.txt)|*.txt"));
        QCOMPARE(prompts.lastMessage().text, QStringLiteral("导出成功!"));
        QFile f(txt);
        QVERIFY(f.open(QIODevice::ReadOnly));
        QStringList lines = QString::fromUtf8(f.readAll()).split(u'\n');
        lines.removeLast();
        QCOMPARE(lines.size(), grid.size());
        QCOMPARE(lines.last().split(u'\t'), grid.last());

        // A user without the right: the workbook asks nothing, the text
        // export asks for none.
        s.gLoginUserId = QStringLiteral("9");
        s.IsAdmin = 0;
        prompts.clear();
        list->MenuExcel_Click();
        QVERIFY(prompts.calls.empty());
        list->MenuText_Click();
        QCOMPARE(prompts.calls.size(), size_t(1));
    }
};

QTEST_MAIN(TestExport)
#include "tst_export.moc"
#include "support/TestSession.h"
