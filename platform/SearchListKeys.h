#pragma once
// The keyboard of a picker made of a search box over a list: Enter chooses,
// the arrow and page keys pressed in the search box move the list while the
// caret stays in the box, and typing while the list has the focus goes on in
// the search box.
#include <QAbstractItemView>
#include <QKeyEvent>
#include <QLineEdit>

enum class SearchKeyAction { None, Choose, Navigated, Typed };

// Handles a key press seen by an event filter installed on `search` and
// `list`; None means the key was left alone.
SearchKeyAction routeSearchListKey(QObject *watched, QKeyEvent *key, QLineEdit *search, QAbstractItemView *list);
