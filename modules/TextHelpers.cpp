#include "modules/TextHelpers.h"

#include <QList>

int CharacterLen(const QString &text)
{
    int bytes = 0;
    // Count code points, so a character outside the basic plane (a surrogate
    // pair in QString) counts once, as the double-byte code page would.
    for (uint c : text.toUcs4())
        bytes += c < 0x80 ? 1 : 2;
    return bytes;
}

QString ZeroPad(const QString &text, int length)
{
    if (text.size() >= length)
        return text;
    return QString(length - text.size(), u'0') + text;
}
