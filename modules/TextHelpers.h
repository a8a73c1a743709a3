#pragma once
// Small text helpers shared by the module routines and the forms.
#include <QString>

// Length of the text in bytes of the Chinese double-byte code page (GBK):
// one byte for every ASCII character, two for every other character. Used to
// measure text against field widths that the database counts in bytes.
int CharacterLen(const QString &text);

// `text` with "0" prepended until it is `length` characters long; text that
// is already as long or longer is returned whole, never cut.
QString ZeroPad(const QString &text, int length);
