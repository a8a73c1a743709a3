// The bill list form, driven offscreen through its objectNames and the
// message seam.
#include "list/frmMainBillResult.h"

#include "modules/Session.h"
#include "list/BillListModel.h"
#include "platform/FrozenTableView.h"
#include "support/CaseRows.h"
#include "support/ListForms.h"

#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QScrollBar>
#include <QTest>
#include <QTimer>
#include <QToolBar>

namespace {
using Env = ListFormsEnv;

// Model row, after the first, of a bill that may be audited: current
// period (column 2 holds the date), not audited, not void.
int auditableRow(BillListModel *model)
{
    const QString start = TestSession::session().gPeriodStartDate.toString(QStringLiteral("yyyy-MM-dd"));
    for (int r = 1; r < model->dataRowCount(); ++r)
        if (!model->rowState(r).audited && !model->rowState(r).isVoid && model->cellText(r, 2) >= start)
            return r;
    return -1;
}

} // namespace

// The answer to the lock prompt (or cancelled), the columns frozen, the count kept.
struct LockCase { const char *name; QString answer; bool cancelled; int frozen; QString kept; };
Q_DECLARE_METATYPE(LockCase)
// The selection mode's find variant (gFindMode).
struct FindMode { const char *name; int variant; };
Q_DECLARE_METATYPE(FindMode)

class TestFrmMainBillResult : public QObject {
    Q_OBJECT

private slots:
    void stateCommandsRefillTheList_data() { addEngineRows(); }
    void stateCommandsRefillTheList()
    {
        QFETCH(DbEngine, engine);
        Env env(engine);
        frmMainBillResult *list = env.openList();
        QVERIFY(list);
        BillListModel *model = list->model();
        QCOMPARE(model->dataRowCount(), env.count(QString()));
        auto *title = list->findChild<QLabel *>(QStringLiteral("lblTitle"));
        QVERIFY(title->text().startsWith(QStringLiteral("共计:%1张单据,").arg(model->billCount())));

        // A refused command leaves the list as it was: no refill.
        int audited = 0;
        while (audited < model->dataRowCount() && !model->rowState(audited).audited)
            ++audited;
        QVERIFY(audited < model->dataRowCount());
        title->setText(QStringLiteral("unchanged"));
        list->selectRows({audited});
        list->MenuEditCheck_Click();
        QCOMPARE(env.prompts().lastMessage().text,
                 QStringLiteral("编号为:") + model->cellText(audited, 1) + QStringLiteral("的单据已经审核!操作不成功"));
        QCOMPARE(env.prompts().lastMessage().icon, int(Prompt::Exclamation));
        QCOMPARE(title->text(), QStringLiteral("unchanged"));

        // The toolbar's commands: each refill shows the bill's new state and
        // keeps the current and top rows.
        const int row = auditableRow(model);
        QVERIFY(row > 0);
        const QString id = model->interIdText(row);
        list->selectRows({row});
        FrozenTableView *grid = list->grid();
        const int topRow = std::min(row - 1, grid->verticalScrollBar()->maximum() / 2 + 1);
        QVERIFY(topRow > 0);
        grid->setTopRow(topRow);
        const struct { const char *action; const char *message; bool isVoid; bool audited; } steps[] = {
            {"Cancel", "作废成功!", true, false}, {"UnCancel", "反作废成功!", false, false},
            {"Check", "审核成功!", false, true}, {"UnCheck", "反审核成功!", false, false}};
        for (const auto &step : steps) {
            list->findChild<QAction *>(QString::fromLatin1(step.action))->trigger();
            QCOMPARE(env.prompts().lastMessage().text, QString::fromUtf8(step.message));
            QCOMPARE(model->interIdText(row), id);
            QCOMPARE(model->rowState(row).isVoid, step.isVoid);
            QCOMPARE(model->rowState(row).audited, step.audited);
            QCOMPARE(grid->currentIndex().row(), row);
            QCOMPARE(grid->topRow(), topRow);
            if (step.isVoid)
                QCOMPARE(model->data(model->index(row, 1), Qt::ForegroundRole).value<QColor>(), BillListModel::kVoidForeground);
        }

        // Delete asks first; Yes removes the row and hands back the bill's number.
        const QString serial = env.db.scalar(QStringLiteral("select fbillNumber from tblFP where finterid=") + id).toString();
        const int rows = model->dataRowCount();
        env.prompts().answers.push_back(Prompt::No);
        list->selectRows({row});
        list->MenuEditDelete_Click();
        QCOMPARE(env.prompts().lastMessage().text, QStringLiteral("确定要删除所选定的单据吗?"));
        QCOMPARE(model->dataRowCount(), rows);

        env.prompts().answers.push_back(Prompt::Yes);
        list->MenuEditDelete_Click();
        QCOMPARE(env.prompts().lastMessage().text, QStringLiteral("删除成功!"));
        QCOMPARE(model->dataRowCount(), rows - 1);
        QVERIFY(model->interIdText(row) != id);
        QCOMPARE(list->grid()->currentIndex().row(), row);
        QCOMPARE(env.db.scalar(QStringLiteral("select count(*) from tblBillNoAdd where ftypeid=71 and finterid='") + serial + u'\'').toInt(), 1);
        QCOMPARE(list->findChild<QLineEdit *>(QStringLiteral("txtBillNumber"))->text(), serial + u',');
    }

    void selectionModeReturnsIds_data() { addEngineCaseRows<FindMode>({{"findInfo1", 1}, {"findInfo2", 2}}); }
    void selectionModeReturnsIds()
    {
        QFETCH(DbEngine, engine);
        QFETCH(FindMode, row);
        const int variant = row.variant;
        Env env(engine);
        Session &s = TestSession::session();
        s.gIsSelectMode = 1;
        s.gFindMode = std::int16_t(variant);
        s.gFindSql = QStringLiteral(" and fcancellation=0");
        frmMainBillResult *list = env.openList();
        QVERIFY(list);
        BillListModel *model = list->model();
        QCOMPARE(model->dataRowCount(), env.count(QStringLiteral(" and fcancellation=0")));

        QStringList toolbar;
        for (QAction *a : list->findChild<QToolBar *>(QStringLiteral("Toolbar1"))->actions())
            if (a->isVisible())
                toolbar << a->objectName();
        QCOMPARE(toolbar, (QStringList{"Filter", "Exit"}));
        auto visible = [&](const char *name) { return list->findChild<QAction *>(QString::fromLatin1(name))->isVisible(); };
        QVERIFY(!list->findChild<QMenu *>(QStringLiteral("MenuEdit"))->menuAction()->isVisible());
        QVERIFY(list->findChild<QMenu *>(QStringLiteral("MenuEdit1"))->menuAction()->isVisible());
        QCOMPARE(visible("MenuEditAppend"), variant == 1);
        QCOMPARE(visible("MenuEditDown"), variant == 2);
        QVERIFY(!visible("MenuEditAdd") && !visible("MenuEditUpdate") && !visible("MenuEditDelete"));

        // No editor in selection mode.
        int opened = 0;
        FormLauncher::setEditorOpener([&](bool) { ++opened; });
        list->selectRows({1});
        list->vsf1_DblClick();
        list->MenuEditUpdate_Click();
        QCOMPARE(opened, 0);

        auto choose = [&] { variant == 1 ? list->MenuEditAppend_Click() : list->MenuEditDown_Click(); };
        // Nothing chosen, or only the totals row: the list stays open, nothing returned.
        s.gReturnString = QStringLiteral("before");
        for (const QList<int> &rows : {QList<int>{}, QList<int>{model->dataRowCount()}}) {
            list->selectRows(rows);
            choose();
            QVERIFY(list->isVisible());
            QCOMPARE(s.gReturnString, QStringLiteral("before"));
        }

        // Rows 0 and 2 and the totals row: the totals row never counts.
        list->selectRows({2, 0, model->dataRowCount()});
        const QString expectedIds = model->interIdText(0) + u',' + model->interIdText(2);
        const QString expectedNumbers = model->cellText(0, 1) + u',' + model->cellText(2, 1);
        choose();
        QCOMPARE(s.gReturnString, expectedIds);
        QCOMPARE(s.gReturnString1, variant == 2 ? expectedNumbers : QString());
        QVERIFY(list->isHidden());
        flushDeletes();
        QVERIFY(!frmMainBillResult::existingInstance());
    }

    void lockedColumns_data()
    {
        // The demo list has 12 columns: at most 9 may be locked besides the two
        // leading ones, leaving one free.
        addEngineCaseRows<LockCase>({
            {"text", "abc", false, 0, "0"},       {"zero", "0", false, 0, "0"},       {"negative", "-1", false, 0, "0"},
            {"empty", "", false, 0, "0"},         {"cancelled", "", true, 0, "0"},    {"none left free", "10", false, 0, "0"},
            {"one left free", "9", false, 11, "9"}, {"one", "1", false, 3, "1"},      {"blanks around", " 2 ", false, 4, "2"},
        });
    }

    void lockedColumns()
    {
        QFETCH(DbEngine, engine);
        QFETCH(LockCase, row);
        const auto [caseName, answer, cancelled, frozen, kept] = row;
        Env env(engine);
        frmMainBillResult *list = env.openList();
        QVERIFY(list);
        QCOMPARE(list->model()->columnCount(), 12);
        QCOMPARE(list->grid()->frozenColumns(), 0);
        QList<int> widths;
        for (int c = 0; c < list->model()->columnCount(); ++c)
            widths << list->grid()->columnWidth(c);
        env.prompts().inputs.push_back(cancelled ? std::optional<QString>() : std::optional<QString>(answer));
        list->MenuLockCol_Click();
        QCOMPARE(env.prompts().calls.back().kind, Prompt::Call::Input);
        QCOMPARE(env.prompts().calls.back().text, QStringLiteral("请输入锁定列数(整型)"));
        QCOMPARE(env.prompts().calls.back().title, QStringLiteral("测试"));
        QCOMPARE(list->grid()->frozenColumns(), frozen);
        QCOMPARE(list->grid()->frozenView()->isHidden(), frozen == 0);
        QCOMPARE(list->lockedColumns(), kept);
        // Locking changes no width; the overlay shows the locked columns as wide
        // as the grid does.
        for (int c = 0; c < widths.size(); ++c) {
            QCOMPARE(list->grid()->columnWidth(c), widths[c]);
            if (c < frozen)
                QCOMPARE(list->grid()->frozenView()->columnWidth(c), widths[c]);
        }
        // A width changed in the overlay applies to the grid, and back.
        if (frozen > 0) {
            list->grid()->frozenView()->setColumnWidth(1, widths[1] + 30);
            QCOMPARE(list->grid()->columnWidth(1), widths[1] + 30);
            list->grid()->setColumnWidth(0, widths[0] + 12);
            QCOMPARE(list->grid()->frozenView()->columnWidth(0), widths[0] + 12);
        }

        // The count is kept for the next opening.
        list->MenuFileExit_Click();
        flushDeletes();
        list = env.openList();
        QVERIFY(list);
        QTableView *overlay = list->grid()->frozenView();
        QCOMPARE(list->grid()->frozenColumns(), frozen);
        QCOMPARE(overlay->isHidden(), frozen == 0);
        if (frozen == 0)
            return;
        QCOMPARE(env.iniValue(QStringLiteral("LockCols"), QStringLiteral("A1")), kept);
        QVERIFY(!overlay->isColumnHidden(frozen - 1));
        QVERIFY(overlay->isColumnHidden(frozen));
        QCOMPARE(overlay->columnWidth(1), list->grid()->columnWidth(1));
        // A stored count that no longer fits freezes nothing.
        list->MenuFileExit_Click();
        flushDeletes();
        WriteIni(TestSession::session(), QStringLiteral("LockCols"), QStringLiteral("A1"), QStringLiteral("50"));
        QCOMPARE(env.openList()->grid()->frozenColumns(), 0);
    }

    void layoutEditorRefreshAndFilter_data() { addEngineRows(); }
    // The column layout is kept across openings; the editor opens on bill
    // rows only; Refresh and Filter refill the list in place.
    void layoutEditorRefreshAndFilter()
    {
        QFETCH(DbEngine, engine);
        Env env(engine);
        Session &s = TestSession::session();
        QList<bool> calls;
        FormLauncher::setEditorOpener([&](bool modal) { calls << modal; });
        // A list that was never filled has only its header row.
        auto *empty = new frmMainBillResult(s);
        empty->MenuEditUpdate_Click();
        empty->vsf1_DblClick();
        QVERIFY(calls.isEmpty());
        empty->MenuFileExit_Click();
        delete empty;

        frmMainBillResult *list = env.openList();
        QVERIFY(list);
        const QString key = list->layoutKey();
        QCOMPARE(key, QStringLiteral("frmMainBillResult71C"));
        auto stored = [&](int type) {
            return env.db.scalar(QStringLiteral("select count(*) from t_GS_tableinfo where ftablename='%1' and ftype=%2").arg(key).arg(type)).toInt();
        };
        // The first display records the designed widths as the default layout.
        QCOMPARE(stored(0), 12);
        QCOMPARE(stored(1), 0);
        const int designed = list->grid()->columnWidth(3);
        list->grid()->setColumnWidth(3, designed + 77);
        // Activating again does not reload the layout.
        list->hide();
        list->show();
        QCOMPARE(list->grid()->columnWidth(3), designed + 77);

        BillListModel *model = list->model();
        list->selectRows({model->dataRowCount()});
        list->MenuEditUpdate_Click();
        list->vsf1_DblClick();
        QVERIFY(calls.isEmpty());
        list->selectRows({3});
        list->MenuEditUpdate_Click();
        QCOMPARE(calls, QList<bool>{true});
        QCOMPARE(s.gBillMode, std::int16_t(1));
        QCOMPARE(s.gFromList, std::int16_t(1));
        QCOMPARE(QString::number(s.gCurInterId), model->interIdText(3));
        QCOMPARE(s.gListInterIds.size(), model->dataRowCount());
        QCOMPARE(s.gListInterIds.value(s.gListIndex), model->interIdText(3));
        s.gBillMode = 7;
        list->vsf1_DblClick();
        QCOMPARE(calls.size(), 2);
        QCOMPARE(s.gBillMode, std::int16_t(1));
        s.gIsSelectMode = 1; // set by a caller, cleared by "new"
        list->MenuEditAdd_Click();
        QCOMPARE(calls.size(), 3);
        QCOMPARE(s.gBillMode, std::int16_t(0));
        QCOMPARE(s.gFromList, std::int16_t(1));
        QCOMPARE(s.gIsSelectMode, std::int16_t(0));

        list->MenuFileExit_Click();
        QCOMPARE(s.gFromList, std::int16_t(0));
        flushDeletes();
        QCOMPARE(stored(1), 12);
        list = env.openList();
        QCOMPARE(list->grid()->columnWidth(3), designed + 77);
        list->MenuRestoreColWidth_Click();
        QCOMPARE(list->grid()->columnWidth(3), designed);

        model = list->model();
        const int row = auditableRow(model);
        QVERIFY(row > 0);
        list->selectRows({row});

        // Someone else audits the bill; Refresh shows it and keeps the row.
        env.db.exec(QStringLiteral("update tblFP set fstatus=1 where finterid=") + model->interIdText(row));
        list->findChild<QAction *>(QStringLiteral("Refresh"))->trigger();
        QVERIFY(model->rowState(row).audited);
        QCOMPARE(list->grid()->currentIndex().row(), row);

        // Filter: the dialog comes back, its OK refills this list in place
        // (shown again, the list would wait modally: note it and close it).
        frmMainBillFind *dialog = frmMainBillFind::existingInstance();
        QVERIFY(dialog);
        bool sawDialog = false, shownAgain = false;
        QTimer::singleShot(0, [&] {
            sawDialog = dialog->isVisible() && QApplication::activeModalWidget() == dialog;
            auto *audit = dialog->findChild<QComboBox *>(QStringLiteral("PC_2"));
            audit->setCurrentIndex(audit->findText(QStringLiteral("审核")));
            QTimer::singleShot(0, [&] {
                if ((shownAgain = QApplication::activeModalWidget() == list))
                    list->hide();
            });
            QTest::mouseClick(dialog->findChild<QPushButton *>(QStringLiteral("cmdXPOK")), Qt::LeftButton);
        });
        list->findChild<QAction *>(QStringLiteral("Filter"))->trigger();
        QVERIFY(sawDialog);
        QVERIFY(!shownAgain);
        QVERIFY(dialog->isHidden());
        QCOMPARE(frmMainBillResult::existingInstance(), list);
        QVERIFY(list->isVisible());
        QCOMPARE(model->dataRowCount(), env.count(QStringLiteral(" and fstatus=1")));

        // Closing the dialog while the list is open keeps its conditions.
        QTimer::singleShot(0, [&] { QTest::mouseClick(dialog->findChild<QPushButton *>(QStringLiteral("cmdXPClose")), Qt::LeftButton); });
        list->filter();
        flushDeletes();
        QCOMPARE(frmMainBillFind::existingInstance(), dialog);
        list->refresh();
        QCOMPARE(model->dataRowCount(), env.count(QStringLiteral(" and fstatus=1")));
    }
};

QTEST_MAIN(TestFrmMainBillResult)
#include "tst_frmmainbillresult.moc"
#include "support/TestSession.h"
