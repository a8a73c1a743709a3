#include "platform/SearchListKeys.h"

#include <QApplication>

SearchKeyAction routeSearchListKey(QObject *watched, QKeyEvent *key, QLineEdit *search, QAbstractItemView *list)
{
    if (key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter)
        return SearchKeyAction::Choose;
    if (watched == search) {
        switch (key->key()) {
        case Qt::Key_Up:
        case Qt::Key_Down:
        case Qt::Key_PageUp:
        case Qt::Key_PageDown:
            QApplication::sendEvent(list, key);
            return SearchKeyAction::Navigated;
        default:
            return SearchKeyAction::None;
        }
    }
    if (watched == list && !key->text().isEmpty() && key->text().at(0).isPrint()) {
        search->setFocus();
        QApplication::sendEvent(search, key);
        return SearchKeyAction::Typed;
    }
    return SearchKeyAction::None;
}
