#pragma once
// How the bill store puts values into its statements.
#include <QString>
#include <QVariant>

// An id that goes into a statement bare: the digits of an integer, "0" for
// anything else (an empty tag, a stock bill that no longer exists).
inline QString idText(const QString &id)
{
    bool ok = false;
    const qint64 value = id.trimmed().toLongLong(&ok);
    return ok ? QString::number(value) : QStringLiteral("0");
}

// User text as a bound value. An empty text is stored as an empty string,
// as the quoted text would be, never as null.
inline QVariant textValue(const QString &text)
{
    return text.isNull() ? QVariant(QStringLiteral("")) : QVariant(text);
}
