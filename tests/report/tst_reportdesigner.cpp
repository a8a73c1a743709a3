#include "ReportSamples.h"
#include "support/CaseRows.h"

#include "report/ReportDesigner.h"
#include "report/ReportFile.h"
#include "platform/Prompt.h"

#include <QAction>
#include <QCheckBox>
#include <QClipboard>
#include <QGraphicsView>
#include <QLineEdit>
#include <QMenu>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QUndoStack>

using namespace report;

namespace {

// Sends a press, a move in steps and a release to the view at scene points.
void drag(QGraphicsView *view, QPointF from, QPointF to)
{
    QWidget *viewport = view->viewport();
    const QPoint a = view->mapFromScene(from);
    const QPoint b = view->mapFromScene(to);
    QTest::mousePress(viewport, Qt::LeftButton, Qt::NoModifier, a);
    for (int i = 1; i <= 4; ++i) {
        const QPoint p = a + (b - a) * i / 4;
        QMouseEvent move(QEvent::MouseMove, p, viewport->mapToGlobal(p), Qt::NoButton, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(viewport, &move);
    }
    QTest::mouseRelease(viewport, Qt::LeftButton, Qt::NoModifier, b);
}

// "reportHeader:1,detail:2" as item references.
QVector<ReportDesigner::ItemRef> refs(const QString &text)
{
    QVector<ReportDesigner::ItemRef> out;
    for (const QString &part : text.split(u',', Qt::SkipEmptyParts)) {
        const QStringList p = part.split(u':');
        for (int k = 0; k < BandKindCount; ++k)
            if (bandKindKey(BandKind(k)) == p[0])
                out.append({BandKind(k), p[1].toInt()});
    }
    return out;
}

// One property of an item as text.
QString property(const ReportItem &item, const QString &name)
{
    const QRect g = item.geometry;
    const QString values[] = {
        item.font.underline ? "underline" : "", item.font.italic ? "italic" : "", item.wordWrap ? "wrap" : "",
        item.color, item.fillColor,
        QString::number(item.kind == ItemKind::Text ? item.frame.width : item.lineWidth), lineStyleKey(item.lineStyle),
        QStringList{"top", "center", "bottom"}[int(item.valign)],
        QStringLiteral("%1 %2 %3 %4").arg(g.x()).arg(g.y()).arg(g.width()).arg(g.height())};
    static const QStringList names{"underline", "italic", "wordWrap", "color", "fill", "lineWidth", "lineStyle", "valign", "geometry"};
    return values[names.indexOf(name)];
}

// Triggers an action, or "actLineWidth/lineWidth5": an entry of its menu.
void trigger(ReportDesigner *designer, const QString &path)
{
    const QStringList parts = path.split(u'/');
    QAction *a = designer->action(parts[0]);
    QVERIFY2(a && !a->toolTip().isEmpty(), qPrintable(path));
    if (parts.size() > 1)
        a = a->menu()->findChild<QAction *>(parts[1]);
    QVERIFY2(a, qPrintable(path));
    a->trigger();
}

// An insert command, the kind it makes, and what was undone before the
// designer goes (0: nothing; 1: the insert, the redo stack holding it).
struct Insert { const char *name; const char *action; ItemKind kind; int undoneBeforeClose; };
// Detail item 1 starts at (100, 0), 220 x 60; grid 10 unless snapping is off.
struct Arrow { const char *name; Qt::Key key; Qt::KeyboardModifiers modifiers; int presses; QRect expected; bool snap; };
// Detail item 2, at (320, 0) 400 x 60 before the drag.
struct Drag { const char *name; const char *what; QPointF delta; QRect expected; };
// The selection (the last one is the anchor), the command, the property read
// back and its value per selected item, in order.
struct Format { const char *name; const char *selection, *action, *property; QStringList expected; };
struct Paste { const char *name; const char *selection; int pastes; };
struct Zoom { const char *name; QStringList actions; int zoom; };
} // namespace
Q_DECLARE_METATYPE(Insert)
Q_DECLARE_METATYPE(Arrow)
Q_DECLARE_METATYPE(Drag)
Q_DECLARE_METATYPE(Format)
Q_DECLARE_METATYPE(Paste)
Q_DECLARE_METATYPE(Zoom)

class TestReportDesigner : public QObject {
    Q_OBJECT

    std::unique_ptr<ReportDesigner> designer;
    ReportTemplate original;

    QRect geometryOf(BandKind band, int index) const
    {
        return designer->reportTemplate().band(band).items[index].geometry;
    }

private slots:
    void init()
    {
        original = samples::invoiceTemplate();
        designer = std::make_unique<ReportDesigner>();
        designer->resize(1400, 900);
        designer->setReportTemplate(original);
        designer->show();
        QVERIFY(QTest::qWaitForWindowExposed(designer.get()));
        // One pixel per tenth keeps mouse positions exact.
        designer->view()->setTransform(QTransform());
        designer->view()->setFocus();
    }
    void cleanup() { designer.reset(); }

    // The designer tells its listeners nothing more once going, whatever
    // its undo stack holds.
    void insertUndoRedo_data()
    {
        addCaseRows<Insert>({{"text", "InsertText", ItemKind::Text, 0},
                             {"field", "InsertField", ItemKind::Text, 1},
                             {"line", "InsertLine", ItemKind::Line, 0},
                             {"box", "InsertBox", ItemKind::Rect, 1}});
    }
    void insertUndoRedo()
    {
        QFETCH(Insert, row);
        designer->setFieldNames({QStringLiteral("fbillno"), QStringLiteral("fqty")});
        QSignalSpy modified(designer.get(), &ReportDesigner::modifiedChanged);
        designer->selectItem(BandKind::Summary, 0);
        const int before = int(original.band(BandKind::Summary).items.size());
        designer->findChild<QAction *>(row.action)->trigger();
        const Band &band = designer->reportTemplate().band(BandKind::Summary);
        QCOMPARE(band.items.size(), before + 1);
        QCOMPARE(band.items.last().kind, row.kind);
        if (row.name == QByteArray("field"))
            QCOMPARE(band.items.last().text, QStringLiteral("[fbillno]"));
        // The new item is selected, on the grid.
        QCOMPARE(designer->selectedItems(), (QVector<ReportDesigner::ItemRef>{{BandKind::Summary, before}}));
        QCOMPARE(band.items.last().geometry.width() % designer->gridSize(), 0);
        QVERIFY(designer->isModified());
        QCOMPARE(modified.count(), 1);

        designer->findChild<QAction *>(QStringLiteral("actUndo"))->trigger();
        QVERIFY(designer->reportTemplate() == original);
        QVERIFY(!designer->isModified());
        designer->findChild<QAction *>(QStringLiteral("actRedo"))->trigger();
        QCOMPARE(designer->reportTemplate().band(BandKind::Summary).items.size(), before + 1);
        for (int i = 0; i < row.undoneBeforeClose; ++i)
            designer->undoStack()->undo();
        int signalled = 0;
        connect(designer.get(), &ReportDesigner::modifiedChanged, [&signalled] { ++signalled; });
        designer.reset();
        QCOMPARE(signalled, 0);
    }

    void arrowKeys_data()
    {
        addCaseRows<Arrow>({
            {"right moves a grid step", Qt::Key_Right, {}, 3, QRect(130, 0, 220, 60), true},
            {"down", Qt::Key_Down, {}, 2, QRect(100, 20, 220, 60), true},
            {"up stops at the band's top", Qt::Key_Up, {}, 2, QRect(100, 0, 220, 60), true},
            {"control moves a tenth", Qt::Key_Left, Qt::ControlModifier, 3, QRect(97, 0, 220, 60), true},
            {"shift widens", Qt::Key_Right, Qt::ShiftModifier, 2, QRect(100, 0, 240, 60), true},
            {"without snapping a tenth", Qt::Key_Right, {}, 1, QRect(101, 0, 220, 60), false},
            {"shift lowers", Qt::Key_Up, Qt::ShiftModifier, 1, QRect(100, 0, 220, 50), true},
        });
    }
    void arrowKeys()
    {
        QFETCH(Arrow, row);
        if (!row.snap)
            designer->findChild<QAction *>(QStringLiteral("SnapToGrid"))->trigger();
        QCOMPARE(designer->snapToGrid(), row.snap);
        designer->selectItem(BandKind::Detail, 1);
        for (int i = 0; i < row.presses; ++i)
            QTest::keyClick(designer->view(), row.key, row.modifiers);
        QCOMPARE(geometryOf(BandKind::Detail, 1), row.expected);
        QCOMPARE(designer->selectedItems().size(), 1);
        // Repeated presses are one step to undo.
        if (row.expected != original.band(BandKind::Detail).items[1].geometry) {
            designer->undoStack()->undo();
            QCOMPARE(geometryOf(BandKind::Detail, 1), original.band(BandKind::Detail).items[1].geometry);
        }
    }

    // Dragging with the mouse moves an item (snapped to the grid), resizes
    // it at its corner, or sets a band's height at the handle under it; one
    // step to undo.
    void mouseDrags_data()
    {
        addCaseRows<Drag>({{"item moves and snaps", "move", QPointF(57, 23), QRect(380, 20, 400, 60)},
                           {"corner resizes", "corner", QPointF(-84, 36), QRect(320, 0, 310, 90)},
                           {"band height", "band", QPointF(0, 43), QRect(320, 0, 400, 60)}});
    }
    void mouseDrags()
    {
        QFETCH(Drag, row);
        const QString what = QString::fromLatin1(row.what);
        const QRectF band = designer->bandRect(BandKind::Detail);
        const QRect start = geometryOf(BandKind::Detail, 2);
        const double summaryTop = designer->bandRect(BandKind::Summary).top();
        QPointF from = band.topLeft() + QPointF(start.x() + 100, 30);
        if (what == u"corner") {
            designer->selectItem(BandKind::Detail, 2);
            from = band.topLeft() + QPointF(start.right() + 1 - 3, start.bottom() + 1 - 3);
        } else if (what == u"band") {
            from = QPointF(200, band.bottom() + 8);
        }
        drag(designer->view(), from, from + row.delta);
        QTRY_COMPARE(geometryOf(BandKind::Detail, 2), row.expected);
        if (what == u"band") {
            QTRY_COMPARE(designer->reportTemplate().band(BandKind::Detail).height, 100);
            // The bands below move down with it.
            QCOMPARE(designer->bandRect(BandKind::Detail).height(), 100.0);
            QCOMPARE(designer->bandRect(BandKind::Summary).top(), summaryTop + 40);
        }
        designer->undoStack()->undo();
        QVERIFY(designer->reportTemplate() == original);
    }

    void propertyPanelEditsTheItem()
    {
        designer->selectItem(BandKind::Detail, 1);
        auto *text = designer->findChild<QLineEdit *>(QStringLiteral("propText"));
        QCOMPARE(text->text(), QStringLiteral("[fitemno]"));
        text->setText(QStringLiteral("代码：[FItemNo]"));
        emit text->editingFinished();
        designer->findChild<QCheckBox *>(QStringLiteral("propBold"))->setChecked(true);
        designer->findChild<QCheckBox *>(QStringLiteral("propFrameLeft"))->setChecked(false);
        designer->findChild<QCheckBox *>(QStringLiteral("propCanGrow"))->setChecked(true);
        const ReportItem &item = designer->reportTemplate().band(BandKind::Detail).items[1];
        QCOMPARE(item.text, QStringLiteral("代码：[FItemNo]"));
        QVERIFY(item.font.bold);
        QVERIFY(!item.frame.left && item.frame.right);
        QVERIFY(item.canGrow);
        QCOMPARE(item.font.family, QString()); // still the template's font
        QCOMPARE(designer->undoStack()->count(), 4);
        while (designer->undoStack()->canUndo())
            designer->undoStack()->undo();
        QVERIFY(designer->reportTemplate() == original);
    }

    void pageViewPlacesBandsOnThePaper()
    {
        const PageSettings &page = original.page;
        designer->setViewMode(ReportDesigner::ViewMode::Page);
        QCOMPARE(designer->bandRect(BandKind::ReportHeader).topLeft(), QPointF(page.margins.left, page.margins.top));
        QCOMPARE(designer->bandRect(BandKind::PageHeader).top(), double(page.margins.top + 300));
        const QRectF footer = designer->bandRect(BandKind::PageFooter);
        QCOMPARE(footer.bottom(), double(page.pageHeight() - page.margins.bottom));
        designer->setViewMode(ReportDesigner::ViewMode::Normal);
        // Normal view: bands one under the other from the top, with captions.
        QCOMPARE(designer->bandRect(BandKind::ReportHeader).left(), 0.0);
        QVERIFY(designer->bandRect(BandKind::PageFooter).bottom() < footer.bottom());
        QVERIFY(!designer->isModified());
    }

    // Each formatting command changes the selected items it applies to in
    // one undoable step.
    void formatSelection_data()
    {
        using L = QStringList;
        addCaseRows<Format>({
            {"underline two", "detail:1,detail:2", "actUnderline", "underline", L{"underline", "underline"}},
            {"italic", "detail:1,detail:2", "actItalic", "italic", L{"italic", "italic"}},
            {"word wrap", "detail:1,detail:2", "actWordWrap", "wordWrap", L{"wrap", "wrap"}},
            {"text colour, line colour", "detail:1,reportHeader:1", "actTextColor", "color", L{"#c00000", "#c00000"}},
            {"fill: not for a line", "reportHeader:0,reportHeader:1", "actFillColor", "fill", L{"#c00000", ""}},
            {"line width: pen and frame", "reportHeader:1,detail:1", "actLineWidth/lineWidth5", "lineWidth", L{"5", "5"}},
            {"dash: not for text", "reportHeader:0,reportHeader:1", "actLineStyle/lineStyleDash", "lineStyle", L{"solid", "dash"}},
            {"bottom", "detail:1,detail:2", "actVAlignBottom", "valign", L{"bottom", "bottom"}},
            // Report header: 3 at (600,150) 600 x 60, 5 at (0,220) 1200 x 60, 6 at (1200,220) 600 x 60.
            {"align left", "reportHeader:3,reportHeader:6", "actAlignLeft", "geometry", L{"600 150 600 60", "600 220 600 60"}},
            {"align right", "reportHeader:3,reportHeader:6", "actAlignRight", "geometry", L{"1200 150 600 60", "1200 220 600 60"}},
            {"align top", "reportHeader:3,reportHeader:6", "actAlignTop", "geometry", L{"600 150 600 60", "1200 150 600 60"}},
            {"align bottom", "reportHeader:3,reportHeader:6", "actAlignBottom", "geometry", L{"600 220 600 60", "1200 220 600 60"}},
            {"same width as the anchor", "reportHeader:3,reportHeader:5", "actSameWidth", "geometry", L{"600 150 1200 60", "0 220 1200 60"}},
            {"same width, other anchor", "reportHeader:5,reportHeader:3", "actSameWidth", "geometry", L{"0 220 600 60", "600 150 600 60"}},
            {"same height", "reportHeader:3,reportHeader:0", "actSameHeight", "geometry", L{"600 150 600 120", "0 0 1800 120"}},
            {"align needs two", "reportHeader:3", "actAlignBottom", "geometry", L{"600 150 600 60"}},
        });
    }
    void formatSelection()
    {
        QFETCH(Format, row);
        designer->setColorChooser([](const QString &, const QString &) { return QStringLiteral("#c00000"); });
        const auto selected = refs(QString::fromLatin1(row.selection));
        designer->selectItems(selected);
        trigger(designer.get(), QString::fromLatin1(row.action));
        QStringList got;
        for (const auto &r : selected)
            got << ::property(designer->reportTemplate().band(r.band).items[r.index], QString::fromLatin1(row.property));
        QCOMPARE(got, row.expected);
        QCOMPARE(designer->undoStack()->count(), designer->reportTemplate() == original ? 0 : 1);
        trigger(designer.get(), QStringLiteral("actUndo"));
        QVERIFY(designer->reportTemplate() == original);
    }

    // Copied items paste into their own bands, each paste one step further
    // down and right, selected; the clipboard also gets their text.
    void copyAndPaste_data() { addCaseRows<Paste>({{"one text", "detail:1", 1}, {"two bands, pasted twice", "reportHeader:1,detail:2", 2}}); }
    void copyAndPaste()
    {
        QFETCH(Paste, row);
        const int pastes = row.pastes;
        const auto selected = refs(QString::fromLatin1(row.selection));
        designer->selectItems(selected);
        QTest::keyClick(designer->view(), Qt::Key_C, Qt::ControlModifier);
        QCOMPARE(QApplication::clipboard()->text(), original.band(selected.last().band).items[selected.last().index].text);
        for (int n = 1; n <= pastes; ++n) {
            QTest::keyClick(designer->view(), Qt::Key_V, Qt::ControlModifier);
            QVector<ReportDesigner::ItemRef> pasted;
            for (const auto &r : selected) {
                const Band &band = designer->reportTemplate().band(r.band);
                const int index = int(original.band(r.band).items.size()) + n - 1;
                pasted.append({r.band, index});
                ReportItem expected = original.band(r.band).items[r.index];
                expected.geometry.translate(20 * n, 20 * n);
                QVERIFY(band.items.value(index) == expected);
            }
            QCOMPARE(designer->selectedItems(), pasted);
        }
        QCOMPARE(designer->undoStack()->count(), pastes);
        for (int n = 0; n < pastes; ++n)
            QTest::keyClick(designer->view(), Qt::Key_Z, Qt::ControlModifier);
        QVERIFY(designer->reportTemplate() == original);
        // Delete takes the selection away; undo brings it back, selected.
        designer->selectItems(selected);
        QTest::keyClick(designer->view(), Qt::Key_Delete);
        for (const auto &r : selected)
            QCOMPARE(designer->reportTemplate().band(r.band).items.size(), original.band(r.band).items.size() - 1);
        QVERIFY(designer->selectedItems().isEmpty());
        designer->undoStack()->undo();
        QVERIFY(designer->reportTemplate() == original);
        QCOMPARE(designer->selectedItems(), selected);
    }

    void zoom_data()
    {
        addCaseRows<Zoom>({{"in twice", {"actZoomIn", "actZoomIn"}, 150},
                           {"out to the least", QStringList(5, "actZoomOut"), 25},
                           {"in to the most", QStringList(12, "actZoomIn"), 400},
                           {"in and out", {"actZoomIn", "actZoomOut", "actZoomOut"}, 75}});
    }
    void zoom()
    {
        QFETCH(Zoom, row);
        const int zoom = row.zoom;
        designer->setZoom(100);
        const double full = designer->view()->transform().m11();
        for (const QString &a : row.actions)
            designer->action(a)->trigger();
        QCOMPARE(designer->zoom(), zoom);
        QCOMPARE(designer->view()->transform().m11(), full * zoom / 100);
        QCOMPARE(designer->action(QStringLiteral("actZoomIn"))->isEnabled(), zoom < 400);
        QCOMPARE(designer->action(QStringLiteral("actZoomOut"))->isEnabled(), zoom > 25);
        QVERIFY(!designer->isModified());
    }

    // An import replaces the template as one undoable step; a file that is
    // no template says why and changes nothing. The imported template saves
    // and loads in another designer; a missing file does not load.
    void importTemplate_data()
    {
        QTest::addColumn<QByteArray>("content");
        ReportTemplate other = samples::invoiceTemplate();
        other.band(BandKind::Detail).items.removeLast();
        QTest::newRow("template") << templateToJson(other);
        QTest::newRow("not a template") << QByteArray("<report/>");
    }
    void importTemplate()
    {
        QFETCH(QByteArray, content);
        QTemporaryDir dir;
        QFile file(dir.filePath(QStringLiteral("模板.grf")));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(content) == content.size());
        file.close();
        Prompt::RecordingResponder prompts;
        Prompt::setResponder(&prompts);
        prompts.fileNames.push_back(file.fileName());
        trigger(designer.get(), QStringLiteral("actImportTemplate"));
        Prompt::setResponder(nullptr);
        const auto imported = templateFromJson(content);
        QCOMPARE(prompts.messageTexts().size(), imported ? 0 : 1);
        QVERIFY(designer->reportTemplate() == (imported ? *imported : original));
        QCOMPARE(designer->isModified(), bool(imported));
        if (imported) {
            const QString path = dir.filePath(QStringLiteral("DesignTemp.grf"));
            QString error;
            QVERIFY2(designer->saveFile(path, &error), qPrintable(error));
            QVERIFY(!designer->isModified());
            ReportDesigner other;
            QVERIFY(other.loadFile(path) && other.reportTemplate() == *imported && !other.isModified());
            QVERIFY(!other.loadFile(dir.filePath(QStringLiteral("missing.grf")), &error) && !error.isEmpty());
        }
        designer->undoStack()->undo();
        QVERIFY(designer->reportTemplate() == original);
    }
};

QTEST_MAIN(TestReportDesigner)
#include "tst_reportdesigner.moc"
