#pragma once
// Editors of the query dialog's condition grid fps1: the connector drop-down
// (rows 2..10), the field caption drop-down, the operator drop-down of the
// row's value kind, and the value cell as a number, text, date or coded cell
// (a drop-down arrow that starts the value lookup). Choosing a caption or an
// operator is reported to the dialog, which fills the row's hidden columns.
#include <QStyledItemDelegate>
#include <QStringList>

class ConditionGridDelegate : public QStyledItemDelegate {
    Q_OBJECT
public:
    explicit ConditionGridDelegate(QObject *parent = nullptr);

    // The caption list of the field catalogue ("无" first).
    void setCaptions(const QStringList &captions) { m_captions = captions; }
    const QStringList &captions() const { return m_captions; }

    QWidget *createEditor(QWidget *parent, const QStyleOptionViewItem &option, const QModelIndex &index) const override;
    void setEditorData(QWidget *editor, const QModelIndex &index) const override;
    void setModelData(QWidget *editor, QAbstractItemModel *model, const QModelIndex &index) const override;
    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override;

signals:
    // Grid rows are 1-based, as the condition table counts them.
    void captionChosen(int row, int listIndex);
    void operatorChosen(int row, int listIndex);
    void lookupRequested(int row);

protected:
    bool editorEvent(QEvent *event, QAbstractItemModel *model, const QStyleOptionViewItem &option,
                     const QModelIndex &index) override;

private:
    QStringList m_captions;
};

// The value cell's kind for a row, from its hidden kind and class-id cells.
enum class ValueEditor { None, Number, Text, Coded, Date };
ValueEditor valueEditorFor(const QString &kind, const QString &classId);
