// Exporting the bill list: the workbook and the text file must hold exactly
// the grid's cells, header first and totals last, every workbook cell as
// text. The workbook is read back by unpacking its XML.
#include "list/BillListModel.h"
#include "list/ListExport.h"
#include "list/frmMainBillResult.h"

#include "modules/Session.h"
#include "query/QuerySql.h"
#include "support/TestDatabase.h"
#include "support/TestSession.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QMap>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QXmlStreamReader>

#include <memory>

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

// "AB12" -> (row 11, column 27), both counted from 0.
std::pair<int, int> cellPosition(const QString &reference)
{
    int letters = 0;
    int column = 0;
    for (; letters < reference.size() && reference[letters].isLetter(); ++letters)
        column = column * 26 + (reference[letters].unicode() - u'A' + 1);
    return {reference.mid(letters).toInt() - 1, column - 1};
}

QByteArray unzipEntry(const QString &file, const QString &entry)
{
    QProcess unzip;
    unzip.start(QStringLiteral("unzip"), {QStringLiteral("-p"), file, entry});
    if (!unzip.waitForFinished(30000) || unzip.exitCode() != 0)
        return {};
    return unzip.readAllStandardOutput();
}

struct SheetCell {
    QString text;
    int style = 0;
    QString type;
};

// The first worksheet as (row, column) -> cell, shared strings resolved.
QMap<std::pair<int, int>, SheetCell> readWorkbook(const QString &file, QStringList *styleNumberFormats)
{
    QStringList shared;
    QXmlStreamReader strings(unzipEntry(file, QStringLiteral("xl/sharedStrings.xml")));
    QString current;
    bool inItem = false;
    while (!strings.atEnd()) {
        strings.readNext();
        if (strings.isStartElement() && strings.name() == u"si") {
            inItem = true;
            current.clear();
        } else if (strings.isStartElement() && strings.name() == u"t" && inItem) {
            current += strings.readElementText();
        } else if (strings.isEndElement() && strings.name() == u"si") {
            shared << current;
            inItem = false;
        }
    }

    styleNumberFormats->clear();
    QXmlStreamReader styles(unzipEntry(file, QStringLiteral("xl/styles.xml")));
    bool inCellXfs = false;
    // Format codes of the workbook's own number formats; 49 is the
    // built-in text format "@".
    QMap<int, QString> formatCodes{{49, QStringLiteral("@")}};
    while (!styles.atEnd()) {
        styles.readNext();
        if (styles.isStartElement() && styles.name() == u"numFmt")
            formatCodes.insert(styles.attributes().value(QStringLiteral("numFmtId")).toInt(),
                               styles.attributes().value(QStringLiteral("formatCode")).toString());
        else if (styles.isStartElement() && styles.name() == u"cellXfs")
            inCellXfs = true;
        else if (styles.isEndElement() && styles.name() == u"cellXfs")
            inCellXfs = false;
        else if (inCellXfs && styles.isStartElement() && styles.name() == u"xf")
            *styleNumberFormats << formatCodes.value(styles.attributes().value(QStringLiteral("numFmtId")).toInt());
    }

    QMap<std::pair<int, int>, SheetCell> cells;
    QXmlStreamReader sheet(unzipEntry(file, QStringLiteral("xl/worksheets/sheet1.xml")));
    while (!sheet.atEnd()) {
        sheet.readNext();
        if (!sheet.isStartElement() || sheet.name() != u"c")
            continue;
        const auto position = cellPosition(sheet.attributes().value(QStringLiteral("r")).toString());
        SheetCell cell;
        cell.style = sheet.attributes().value(QStringLiteral("s")).toInt();
        cell.type = sheet.attributes().value(QStringLiteral("t")).toString();
        while (!(sheet.isEndElement() && sheet.name() == u"c") && !sheet.atEnd()) {
            sheet.readNext();
            if (sheet.isStartElement() && sheet.name() == u"v") {
                const QString v = sheet.readElementText();
                cell.text = cell.type == u"s" ? shared.value(v.toInt()) : v;
            }
        }
        cells.insert(position, cell);
    }
    return cells;
}

// A list form on the demo data, filled with the bills of a condition.
struct FormEnv {
    TestSession ts;
    TestDatabase db;
    std::unique_ptr<frmMainBillResult> list;
    explicit FormEnv(DbEngine engine, int userId = 1, bool admin = true)
        : db(engine, TestDatabase::Content::Demo)
    {
        Session &s = session();
        s.DBConnectionString = db.connectionString();
        s.gLoginUserId = QString::number(userId);
        s.IsAdmin = admin ? 1 : 0;
        s.gAppPath = ts.folder();
        s.msgTitle = QStringLiteral("测试");
    }
    ~FormEnv()
    {
        if (list)
            list->MenuFileExit_Click();
    }
    bool fill(const QString &where)
    {
        list = std::make_unique<frmMainBillResult>();
        return list->fillList(buildFindStatement(session().gViewName, QString(), where, QString(), QString()));
    }
};
} // namespace

class TestExport : public QObject {
    Q_OBJECT

private slots:
    void gridTexts_data() { addEngineRows(); }
    void gridTexts();
    void workbookHoldsTheGridAsText_data() { addEngineRows(); }
    void workbookHoldsTheGridAsText();
    void textFile_data() { addEngineRows(); }
    void textFile();
    void unwritableFiles();
    void menuCommands_data() { addEngineRows(); }
    void menuCommands();
    void excelNeedsTheRight_data() { addEngineRows(); }
    void excelNeedsTheRight();
};

void TestExport::gridTexts()
{
    QFETCH(DbEngine, engine);
    const QList<QStringList> rows = sampleRows(engine);
    QCOMPARE(rows.size(), 5);
    QCOMPARE(rows.first(), (QStringList{"内码", "单据编号", "供应商", "代码", "发票金额", "日期"}));
    QCOMPARE(rows[1], (QStringList{"1", "CGFP2024030001", "华东五金, \"总店\"", "0012", "1,234,567.50", "2024-03-01"}));
    QCOMPARE(rows[3], (QStringList{"3", "CGFP2024030003", "", " 前后有空格 ", "12.00", "2024-03-03"}));
    QCOMPARE(rows.last(), (QStringList{"合计", "", "", "", "1,234,579.00", ""}));
}

void TestExport::workbookHoldsTheGridAsText()
{
    if (QStandardPaths::findExecutable(QStringLiteral("unzip")).isEmpty())
        QSKIP("unzip is not installed (Debian package unzip)");
    QFETCH(DbEngine, engine);
    const QList<QStringList> rows = sampleRows(engine);
    QTemporaryDir dir;
    const QString file = dir.filePath(QStringLiteral("列表.xlsx"));
    QString error;
    QVERIFY2(writeXlsx(file, rows, &error), qPrintable(error));

    QStringList formats;
    const auto cells = readWorkbook(file, &formats);
    int filled = 0;
    for (int r = 0; r < rows.size(); ++r) {
        for (int c = 0; c < rows[r].size(); ++c) {
            const auto it = cells.find({r, c});
            QVERIFY2(it != cells.end(), qPrintable(QStringLiteral("no cell %1,%2").arg(r).arg(c)));
            QCOMPARE(it->text, rows[r][c]);
            // The text format "@" on every cell.
            QVERIFY(it->style >= 0 && it->style < formats.size());
            QCOMPARE(formats[it->style], QStringLiteral("@"));
            if (!rows[r][c].isEmpty()) {
                QCOMPARE(it->type, QStringLiteral("s"));
                ++filled;
            }
        }
    }
    QCOMPARE(cells.size(), rows.size() * rows.first().size());
    QVERIFY(filled > 0);
}

void TestExport::textFile()
{
    QFETCH(DbEngine, engine);
    QList<QStringList> rows = sampleRows(engine);
    rows[2][2] = QStringLiteral("带\t制表符\n和换行");
    QTemporaryDir dir;
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
}

void TestExport::unwritableFiles()
{
    const QList<QStringList> rows{{QStringLiteral("a")}};
    QString error;
    QVERIFY(!writeXlsx(QStringLiteral("/nonexistent-folder/x.xlsx"), rows, &error));
    QVERIFY(!error.isEmpty());
    error.clear();
    QVERIFY(!writeTabText(QStringLiteral("/nonexistent-folder/x.txt"), rows, &error));
    QVERIFY(!error.isEmpty());
}

void TestExport::menuCommands()
{
    if (QStandardPaths::findExecutable(QStringLiteral("unzip")).isEmpty())
        QSKIP("unzip is not installed (Debian package unzip)");
    QFETCH(DbEngine, engine);
    FormEnv env(engine);
    QVERIFY(env.fill(QStringLiteral(" and fstatus=1")));
    frmMainBillResult *list = env.list.get();
    const QList<QStringList> grid = listGridTexts(*list->model());
    auto &prompts = env.ts.prompts();

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
    QStringList formats;
    const auto cells = readWorkbook(xlsx + QStringLiteral(".xlsx"), &formats);
    QCOMPARE(cells.size(), grid.size() * grid.first().size());
    QCOMPARE(cells.value({0, 1}).text, QStringLiteral("单据编号"));
    QCOMPARE(cells.value({int(grid.size()) - 1, 0}).text, QStringLiteral("合计"));
    QCOMPARE(cells.value({int(grid.size()) - 1, 6}).text, grid.last()[6]);

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
}

void TestExport::excelNeedsTheRight()
{
    QFETCH(DbEngine, engine);
    // User 9 holds no right at all; the text export asks for none.
    FormEnv env(engine, 9, false);
    QVERIFY(env.fill(QString()));
    env.list->MenuExcel_Click();
    QVERIFY(env.ts.prompts().calls.empty());
    env.list->MenuText_Click();
    QCOMPARE(env.ts.prompts().calls.size(), size_t(1));
}

QTEST_MAIN(TestExport)
#include "tst_export.moc"
