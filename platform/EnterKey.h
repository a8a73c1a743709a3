#pragma once
// Return and the keypad's Enter are the same key to a clerk. Qt marks the
// keypad one with KeypadModifier, so a check for "no modifier" would miss it.
#include <QKeyEvent>

// Return or Enter pressed without Shift, Ctrl, Alt or Meta (the keypad flag
// does not count).
inline bool isPlainEnter(const QKeyEvent *key)
{
    return (key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter)
        && (key->modifiers() & ~Qt::KeypadModifier) == Qt::NoModifier;
}
