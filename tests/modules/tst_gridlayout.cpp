#include "modules/GridLayout.h"

#include "platform/DbError.h"
#include "support/QueryModuleHelpers.h"
#include "support/CaseRows.h"

#include <QHeaderView>
#include <QStandardItemModel>
#include <QTableView>
#include <QTableWidget>
#include <QTest>

using Widths = QList<int>;
Q_DECLARE_METATYPE(Widths)

namespace {
const QString kGrid = QStringLiteral("frmMainBillResult.vsf1");
const QString kOtherGrid = QStringLiteral("frmBatchno.vsf1");

struct Env : DbEnv {
    using DbEnv::DbEnv;

    // A negative width leaves a gap in the sequence.
    void store(const QString &name, int type, const Widths &widths, bool reverse = false)
    {
        for (int k = 0; k < widths.size(); ++k) {
            const int i = reverse ? int(widths.size()) - 1 - k : k;
            if (widths[i] >= 0)
                db.conn().execute(QStringLiteral("insert into t_GS_tableinfo(ftablename,fwidth,fsequence,ftype) values(?,?,?,?)"),
                                  {name, widths[i], i, type});
        }
    }

    // The stored widths in sequence order; a gap in the sequence reads as -1.
    Widths stored(const QString &name, int type)
    {
        Recordset rs = db.conn().openRecordset(QStringLiteral("select fsequence,fwidth from t_GS_tableinfo where ftablename=? and ftype=? order by fsequence"),
                                               {name, type});
        Widths out;
        for (; !rs.eof(); rs.moveNext()) {
            while (out.size() < rs.toInt(QStringLiteral("fsequence")))
                out << -1;
            out << int(rs.toInt(QStringLiteral("fwidth")));
        }
        return out;
    }
};

std::unique_ptr<QTableWidget> makeGrid(const Widths &widths)
{
    auto grid = std::make_unique<QTableWidget>(3, int(widths.size()));
    for (int i = 0; i < widths.size(); ++i)
        grid->horizontalHeader()->resizeSection(i, widths[i]);
    return grid;
}

Widths widthsOf(const GridColumns &grid)
{
    Widths out;
    for (int i = 0; i < grid.columnCount(); ++i)
        out << grid.columnWidth(i);
    return out;
}

// Reads like a grid but fails on one column, standing for any failure that
// happens after the old layout has been deleted inside the save.
class FailingGrid : public GridColumns {
public:
    int columnCount() const override { return 3; }
    int columnWidth(int column) const override
    {
        if (column == 2)
            throw DbError(QStringLiteral("写入失败"));
        return 10 * (column + 1);
    }
    void setColumnWidth(int, int) override {}
};
} // namespace

// stored: the widths of the type loaded, none for a first load
struct LoadCase { const char *name; QString grid; int type; Widths stored, designed, expected; };
Q_DECLARE_METATYPE(LoadCase)

class TestGridLayout : public QObject {
    Q_OBJECT

private slots:
    void initTestCase_data() { addEngineRows(); }

    // Each adapter on a grid of its own, so that one cannot pass on another's widths.
    void adapters()
    {
        QStandardItemModel model(2, 4);
        QTableWidget widget(2, 4);
        QTableView view, headerView;
        view.setModel(&model);
        headerView.setModel(&model);
        TableWidgetGridColumns widgetGrid(&widget);
        TableViewGridColumns viewGrid(&view);
        HeaderGridColumns headerGrid(headerView.horizontalHeader());
        const std::pair<GridColumns *, QHeaderView *> adapters[] = {
            {&widgetGrid, widget.horizontalHeader()}, {&viewGrid, view.horizontalHeader()}, {&headerGrid, headerView.horizontalHeader()}};
        for (const auto &[grid, header] : adapters) {
            QCOMPARE(grid->columnCount(), 4);
            grid->setColumnWidth(0, 55);
            grid->setColumnWidth(3, 140);
            QCOMPARE(header->sectionSize(0), 55);
            QCOMPARE(header->sectionSize(3), 140);
            QCOMPARE(grid->columnWidth(3), 140);
            // Indexes outside the grid are ignored, not fatal.
            grid->setColumnWidth(4, 99);
            grid->setColumnWidth(-1, 99);
            QCOMPARE(grid->columnWidth(4), 0);
            QCOMPARE(grid->columnCount(), 4);
        }
        // A hidden column reads as 0, and a stored 0 must not make it vanish when shown.
        widget.setColumnHidden(0, true);
        QCOMPARE(widgetGrid.columnWidth(0), 0);
        widgetGrid.setColumnWidth(0, 0);
        widget.setColumnHidden(0, false);
        QCOMPARE(widgetGrid.columnWidth(0), 55);
    }

    void load_data()
    {
        const Widths designed{90, 110, 130};
        addCaseRows<LoadCase>({
            {"one row per column", kGrid, 2, {60, 70, 80}, {100, 100, 100}, {60, 70, 80}},
            {"more columns than rows", kGrid, 2, {60, 70}, {100, 110, 120, 130}, {60, 70, 120, 130}},
            {"more rows than columns", kGrid, 2, {60, 70, 80, 90, 95}, {100, 110}, {60, 70}},
            {"gap in the sequence", kGrid, 2, {60, -1, 80}, {100, 110, 120}, {60, 110, 80}},
            {"first load, default type", kGrid, 0, {}, designed, designed},
            {"first load, user type", kGrid, 5, {}, designed, designed},
            {"first load, name with quotes", QStringLiteral("frm'O'K'.vsf1"), 5, {}, designed, designed},
        });
    }

    void load()
    {
        QFETCH_GLOBAL(DbEngine, engine);
        QFETCH(LoadCase, row);
        Session &s = TestSession::session();
        const auto &[caseName, name, type, stored, designed, expected] = row;
        const bool first = stored.isEmpty();
        Env env(engine);
        // Rows go in backwards, so applying them relies on the sequence column.
        env.store(name, type, stored, true);
        const Widths oldDefault = first ? Widths{11, 12, 13, 14} : Widths(designed.size(), 45);
        if (type != 0)
            env.store(name, 0, oldDefault);
        env.store(name, 3, Widths(designed.size(), 300));
        env.store(kOtherGrid, 0, {7, 8});

        auto widget = makeGrid(designed);
        TableWidgetGridColumns grid(widget.get());
        QVERIFY(LoadGridLayout(s, name, grid, std::int16_t(type)));
        QCOMPARE(widthsOf(grid), expected);
        // A stored layout is only read; a first load records the designed
        // layout as the grid's default.
        QCOMPARE(env.stored(name, type), first && type == 0 ? designed : stored);
        QCOMPARE(env.stored(name, 0), first ? designed : oldDefault);
        QCOMPARE(env.stored(kOtherGrid, 0), Widths({7, 8}));
        expectQuiet(env.ts);
        if (!first)
            return;
        // The recorded default is what a later load of type 0 applies.
        auto other = makeGrid({40, 40, 40});
        TableWidgetGridColumns otherGrid(other.get());
        QVERIFY(LoadGridLayout(s, name, otherGrid, 0));
        QCOMPARE(widthsOf(otherGrid), designed);
    }

    // A save replaces the set of its grid and type only; a save that fails
    // half-way keeps the old set, and the next save works again.
    void saveReplacesOnlyItsOwnLayout()
    {
        QFETCH_GLOBAL(DbEngine, engine);
        Session &s = TestSession::session();
        Env env(engine);
        env.store(kGrid, 1, {1, 2, 3, 4, 5});
        env.store(kGrid, 0, {100, 100});
        env.store(kOtherGrid, 1, {7, 8});
        FailingGrid failing;
        QVERIFY(!SaveGridLayout(s, kGrid, failing, 1));
        expectOneError(env.ts);
        QCOMPARE(env.stored(kGrid, 1), Widths({1, 2, 3, 4, 5}));
        QVERIFY(!s.gConn);
        env.ts.prompts().clear();

        auto widget = makeGrid({50, 80, 120});
        TableWidgetGridColumns grid(widget.get());
        QVERIFY(SaveGridLayout(s, kGrid, grid, 1));
        QCOMPARE(env.stored(kGrid, 1), Widths({50, 80, 120}));
        grid.setColumnWidth(1, 95);
        QVERIFY(SaveGridLayout(s, kGrid, grid, 1));
        QCOMPARE(env.stored(kGrid, 1), Widths({50, 95, 120}));
        QCOMPARE(env.stored(kGrid, 0), Widths({100, 100}));
        QCOMPARE(env.stored(kOtherGrid, 1), Widths({7, 8}));
        expectQuiet(env.ts);

        // Without the table neither loading nor saving changes anything.
        env.db.exec(QStringLiteral("drop table t_GS_tableinfo"));
        for (bool load : {true, false}) {
            env.ts.prompts().clear();
            QVERIFY(!(load ? LoadGridLayout(s, kGrid, grid, 1) : SaveGridLayout(s, kGrid, grid, 1)));
            expectOneError(env.ts);
            QCOMPARE(widthsOf(grid), Widths({50, 95, 120}));
            QVERIFY(!s.gConn);
        }
    }
};

QTEST_MAIN(TestGridLayout)
#include "tst_gridlayout.moc"
#include "support/TestSession.h"
