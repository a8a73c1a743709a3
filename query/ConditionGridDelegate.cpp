#include "query/ConditionGridDelegate.h"

#include "platform/Clock.h"
#include "query/ConditionModel.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QComboBox>
#include <QDateEdit>
#include <QEvent>
#include <QLineEdit>
#include <QPainter>
#include <QRegularExpressionValidator>
#include <QTimer>

namespace {
constexpr int kConnector = ConditionTable::ColConnector - 1;
constexpr int kCaption = ConditionTable::ColCaption - 1;
constexpr int kKind = ConditionTable::ColKind - 1;
constexpr int kOperator = ConditionTable::ColOperator - 1;
constexpr int kValue = ConditionTable::ColValue - 1;
constexpr int kClassId = ConditionTable::ColClassId - 1;

QString cellText(const QModelIndex &index, int column)
{
    return index.sibling(index.row(), column).data(Qt::EditRole).toString();
}

int kindNumber(const QString &text)
{
    bool ok = false;
    const int kind = text.trimmed().toInt(&ok);
    return ok ? kind : 0;
}

// A drop-down that opens at once and commits as soon as an item is picked.
QComboBox *dropDown(QWidget *parent, const QStringList &items, QStyledItemDelegate *delegate)
{
    auto *combo = new QComboBox(parent);
    combo->addItems(items);
    combo->setMaxVisibleItems(20);
    QObject::connect(combo, &QComboBox::activated, delegate, [delegate, combo] {
        emit delegate->commitData(combo);
        emit delegate->closeEditor(combo);
    });
    QTimer::singleShot(0, combo, [combo] {
        if (combo->isVisible())
            combo->showPopup();
    });
    return combo;
}

bool isDropDownCell(const QModelIndex &index)
{
    switch (index.column()) {
    case kConnector:
        return index.row() > 0;
    case kCaption:
        return true;
    case kOperator:
        return !operatorNames(kindNumber(cellText(index, kKind))).isEmpty();
    case kValue:
        return valueEditorFor(cellText(index, kKind), cellText(index, kClassId)) == ValueEditor::Coded;
    default:
        return false;
    }
}
} // namespace

ValueEditor valueEditorFor(const QString &kind, const QString &classId)
{
    switch (kindNumber(kind)) {
    case int(ValueKind::Number): return ValueEditor::Number;
    case int(ValueKind::Text): return ConditionTable::hasCodeClass(classId) ? ValueEditor::Coded : ValueEditor::Text;
    case int(ValueKind::Date): return ValueEditor::Date;
    default: return ValueEditor::None;
    }
}

ConditionGridDelegate::ConditionGridDelegate(QObject *parent)
    : QStyledItemDelegate(parent)
{
}

QWidget *ConditionGridDelegate::createEditor(QWidget *parent, const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    auto *self = const_cast<ConditionGridDelegate *>(this);
    switch (index.column()) {
    case kConnector:
        // Row 1 has no connector.
        if (index.row() == 0)
            return nullptr;
        return dropDown(parent, {QStringLiteral("与"), QStringLiteral("或")}, self);
    case kCaption:
        if (m_captions.isEmpty())
            return nullptr;
        return dropDown(parent, m_captions, self);
    case kOperator: {
        const QStringList names = operatorNames(kindNumber(cellText(index, kKind)));
        if (names.isEmpty())
            return nullptr;
        return dropDown(parent, names, self);
    }
    case kValue:
        switch (valueEditorFor(cellText(index, kKind), cellText(index, kClassId))) {
        case ValueEditor::None:
            return nullptr;
        case ValueEditor::Number: {
            auto *edit = new QLineEdit(parent);
            edit->setValidator(new QRegularExpressionValidator(QRegularExpression(QStringLiteral("-?[0-9]*\\.?[0-9]*")), edit));
            return edit;
        }
        case ValueEditor::Date: {
            auto *edit = new QDateEdit(parent);
            edit->setCalendarPopup(true);
            edit->setDisplayFormat(QStringLiteral("yyyy-MM-dd"));
            return edit;
        }
        case ValueEditor::Text:
        case ValueEditor::Coded:
            return new QLineEdit(parent);
        }
        return nullptr;
    default:
        return QStyledItemDelegate::createEditor(parent, option, index);
    }
}

void ConditionGridDelegate::setEditorData(QWidget *editor, const QModelIndex &index) const
{
    const QString text = index.data(Qt::EditRole).toString();
    if (auto *combo = qobject_cast<QComboBox *>(editor)) {
        const int i = combo->findText(text);
        combo->setCurrentIndex(i >= 0 ? i : 0);
        return;
    }
    if (auto *date = qobject_cast<QDateEdit *>(editor)) {
        const QDate d = QDate::fromString(text, QStringLiteral("yyyy-MM-dd"));
        date->setDate(d.isValid() ? d : Clock::today());
        return;
    }
    if (auto *line = qobject_cast<QLineEdit *>(editor)) {
        line->setText(text);
        return;
    }
    QStyledItemDelegate::setEditorData(editor, index);
}

void ConditionGridDelegate::setModelData(QWidget *editor, QAbstractItemModel *model, const QModelIndex &index) const
{
    auto *self = const_cast<ConditionGridDelegate *>(this);
    if (auto *combo = qobject_cast<QComboBox *>(editor)) {
        const int row = index.row() + 1;
        // Leaving a drop-down without picking another item changes nothing
        // (choosing the same field again would clear the value).
        if (combo->currentText() == index.data(Qt::EditRole).toString())
            return;
        switch (index.column()) {
        case kCaption:
            emit self->captionChosen(row, combo->currentIndex());
            return;
        case kOperator:
            emit self->operatorChosen(row, combo->currentIndex());
            return;
        default:
            model->setData(index, combo->currentText(), Qt::EditRole);
            return;
        }
    }
    if (auto *date = qobject_cast<QDateEdit *>(editor)) {
        model->setData(index, date->date().toString(QStringLiteral("yyyy-MM-dd")), Qt::EditRole);
        return;
    }
    if (auto *line = qobject_cast<QLineEdit *>(editor)) {
        model->setData(index, line->text(), Qt::EditRole);
        return;
    }
    QStyledItemDelegate::setModelData(editor, model, index);
}

void ConditionGridDelegate::paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    QStyledItemDelegate::paint(painter, option, index);
    if (!isDropDownCell(index))
        return;
    // A small arrow at the right edge marks the cells that offer a list.
    QStyleOption arrow;
    arrow.rect = QRect(option.rect.right() - 14, option.rect.top() + (option.rect.height() - 10) / 2, 10, 10);
    arrow.palette = option.palette;
    arrow.state = QStyle::State_Enabled;
    const QWidget *widget = option.widget;
    QStyle *style = widget ? widget->style() : QApplication::style();
    style->drawPrimitive(QStyle::PE_IndicatorArrowDown, &arrow, painter, widget);
}

bool ConditionGridDelegate::editorEvent(QEvent *event, QAbstractItemModel *model, const QStyleOptionViewItem &option,
                                        const QModelIndex &index)
{
    // A double click on a coded value starts the lookup instead of the editor.
    if (event->type() == QEvent::MouseButtonDblClick && index.column() == kValue
        && valueEditorFor(cellText(index, kKind), cellText(index, kClassId)) == ValueEditor::Coded) {
        emit lookupRequested(index.row() + 1);
        return true;
    }
    return QStyledItemDelegate::editorEvent(event, model, option, index);
}
