#pragma once
// The band designer: the template's bands as horizontal strips in a
// QGraphicsView, items that are inserted, moved and resized with the mouse or
// the arrow keys (snapped to a grid), a property panel for the selected item,
// undo and redo, a normal view (bands one under the other, each with its
// caption bar, heights dragged at the bar under the band) and a page view
// (the bands where they fall on the paper).
//
// Every change goes through the undo stack as a before/after pair of whole
// templates; the scene is rebuilt from the template after each one, so the
// model is the only state. The template is modified while the stack is not
// at its clean index.
#include "report/ReportData.h"
#include "report/ReportModel.h"

#include <QHash>
#include <QWidget>

#include <functional>
#include <optional>

class QAction;
class QCheckBox;
class QComboBox;
class QDoubleSpinBox;
class QFontComboBox;
class QGraphicsScene;
class QGraphicsView;
class QLabel;
class QLineEdit;
class QSpinBox;
class QToolBar;
class QUndoStack;

namespace report {

class DesignerItem;
class DesignerBandHandle;

class ReportDesigner : public QWidget {
    Q_OBJECT
public:
    enum class ViewMode { Normal, Page };

    explicit ReportDesigner(QWidget *parent = nullptr);
    ~ReportDesigner() override;

    // A new template clears the undo history and the modified state.
    void setReportTemplate(const ReportTemplate &tpl);
    const ReportTemplate &reportTemplate() const { return m_tpl; }
    bool loadFile(const QString &path, QString *error = nullptr);
    // Saving marks the template unmodified.
    bool saveFile(const QString &path, QString *error = nullptr);

    bool isModified() const;
    void setModified(bool modified);

    void setViewMode(ViewMode mode);
    ViewMode viewMode() const { return m_mode; }
    void setGridSize(int tenths) { m_grid = std::max(1, tenths); }
    int gridSize() const { return m_grid; }
    void setSnapToGrid(bool on) { m_snap = on; }
    bool snapToGrid() const { return m_snap; }

    // Names offered by the property panel's field list and "insert field".
    void setFieldNames(const QStringList &names);
    // Records for the preview; without one the preview shows the bare layout.
    void setFetchRecords(FetchRecords fetch) { m_fetch = std::move(fetch); }

    // Selection by band and index into the band's items.
    struct ItemRef {
        BandKind band = BandKind::Detail;
        int index = -1;
        bool operator==(const ItemRef &) const = default;
    };
    QVector<ItemRef> selectedItems() const;
    void selectItem(BandKind band, int index);
    // Selects these items; the last one becomes the anchor (see sameSize).
    void selectItems(const QVector<ItemRef> &refs);
    void clearSelection();

    // Editing operations, each one undoable step.
    void insertItem(ItemKind kind, const QString &text = QString());
    void insertField(const QString &fieldName);
    void deleteSelected();
    void moveSelected(int dx, int dy);
    void resizeSelected(int dw, int dh);
    void setBandHeight(BandKind band, int height);
    void setItemGeometry(const ItemRef &ref, const QRect &geometry);
    void setPageSettings(const PageSettings &page);

    // Formatting of the selected items, each call one undoable step. An
    // item a property does not apply to is left as it is: font, word wrap
    // and vertical alignment are for text; line width is a text item's frame
    // or a line's or box's pen; line style is for lines and boxes; the text
    // colour is a line's or box's pen colour; fill is for text and boxes.
    void insertImage(const QByteArray &png);
    void setItalic(bool on);
    void setUnderline(bool on);
    void setTextColor(const QString &color);
    void setFillColor(const QString &color);
    void setLineWidth(int tenths);
    void setLineStyle(LineStyle style);
    void setWordWrap(bool on);
    void setVAlign(VAlign align);
    void setFormat(const QString &format);

    // Lines up the selection (two items or more) with the outermost edge of
    // it, in band coordinates; gives every selected item the width or height
    // of the anchor, the item clicked or selected last.
    enum class Edge { Left, Right, Top, Bottom };
    void alignSelected(Edge edge);
    void sameSize(Qt::Orientation orientation);

    // Copies the selected items to the clipboard (with their text as plain
    // text for other programs); pasting puts them into the bands they came
    // from, moved down and right one step further with each paste, and
    // selects them.
    void copySelected();
    void paste();

    // Zoom in percent of the real size, from 25 to 400; the steps of zoom in
    // and zoom out are ZoomSteps.
    static const QVector<int> &zoomSteps();
    void setZoom(int percent);
    int zoom() const { return m_zoom; }
    void zoomIn();
    void zoomOut();

    // Replaces the whole template with one read from a file: one undoable
    // step that marks the template modified. Exporting writes the template
    // to a file and leaves the modified state alone.
    bool importTemplate(const QString &path, QString *error = nullptr);
    bool exportTemplate(const QString &path, QString *error = nullptr) const;

    // The designer's actions by object name ("actCopy", "actUndo", ...).
    QAction *action(const QString &name) const { return m_actions.value(name); }
    // Asks the user for a colour: `current` as "#rrggbb", a caption; returns
    // the colour chosen, or an empty string when cancelled. The default shows
    // the colour dialog.
    using ColorChooser = std::function<QString(const QString &current, const QString &caption)>;
    void setColorChooser(ColorChooser chooser) { m_chooseColor = std::move(chooser); }
    // The title of the messages the designer shows.
    void setMessageTitle(const QString &title) { m_messageTitle = title; }

    QUndoStack *undoStack() const { return m_undo; }
    QGraphicsView *view() const { return m_view; }
    QGraphicsScene *scene() const { return m_scene; }
    // Band strips in scene coordinates for the current view (empty when the
    // band has no room in that view).
    QRectF bandRect(BandKind band) const;

public slots:
    void preview();
    void printerSetup();

signals:
    void modifiedChanged(bool modified);
    void selectionChanged();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    friend class DesignerItem;
    friend class DesignerBandHandle;
    friend class TemplateCommand;

    // Pushes an undoable change from the current template to `after`.
    void change(const ReportTemplate &after, const QString &text, int mergeId = -1);
    // Applies a template from the undo stack; keeps the selection if it
    // still exists.
    void apply(const ReportTemplate &tpl, const QVector<ItemRef> &select);
    void rebuildScene();
    void buildPanel();
    void updatePanel();
    void panelEdited();
    int snap(int value) const;
    BandKind targetBand() const;
    void itemDragged(DesignerItem *item, const QRect &geometry);
    void bandDragged(BandKind band, int height);
    // Applies `edit` to every selected item as one undoable step.
    void editSelected(const QString &text, const std::function<void(ReportItem &)> &edit);
    QAction *addToolAction(QToolBar *bar, const QString &name, const QString &text, const QString &tip,
                       std::function<void()> slot);
    void buildFormatActions();
    void updateActions();
    std::optional<ItemRef> anchor() const;
    void actInsertImage_Triggered();
    void actTextColor_Triggered();
    void actFillColor_Triggered();
    void actImportTemplate_Triggered();
    void actExportTemplate_Triggered();

    ReportTemplate m_tpl;
    ViewMode m_mode = ViewMode::Normal;
    int m_grid = 10;
    bool m_snap = true;
    QStringList m_fields;
    FetchRecords m_fetch;
    QVector<ItemRef> m_pendingSelection;
    bool m_rebuilding = false;
    bool m_updatingPanel = false;
    QRectF m_bandRects[BandKindCount];

    QUndoStack *m_undo;
    QGraphicsScene *m_scene;
    QGraphicsView *m_view;
    QToolBar *m_toolbar;
    QComboBox *m_fieldList;
    QAction *m_normalView;
    QAction *m_pageView;
    QToolBar *m_formatBar;
    QHash<QString, QAction *> m_actions;
    ColorChooser m_chooseColor;
    QString m_messageTitle;
    int m_zoom = 100;
    int m_pasteCount = 0;
    QLabel *m_zoomLabel = nullptr;

    // Property panel.
    QWidget *m_panel;
    QLabel *m_panelTitle;
    QLineEdit *m_text;
    QComboBox *m_field;
    QComboBox *m_format;
    QFontComboBox *m_fontFamily;
    QDoubleSpinBox *m_fontSize;
    QCheckBox *m_bold;
    QComboBox *m_align;
    QCheckBox *m_frame[4];
    QCheckBox *m_wordWrap;
    QCheckBox *m_canGrow;
    QSpinBox *m_geometry[4];
};

} // namespace report
