#pragma once
// The text of a text item: static text with references in square brackets,
// and the formats that turn values into text.
//
//   [fname]              a field of the record the band prints
//   [fdate|yyyy年MM月dd日] a field with its own format
//   [#Page] [#Pages]     this page's number and the number of pages
//   [#Sum(fAmount)]      the sum of a field over all records
//   [#PageSum(fAmount)]  the sum over the records on this page
//   [#Count] [#Row]      number of records; the record's number (from 1)
//   [#Title] [#Date]     the report's title; today's date
//   [[                   a "[" of its own
//
// Function names are matched without regard to case. An unknown function is
// printed as written so that a typing mistake shows on the page.
#include "platform/Amount.h"

#include <QString>
#include <QVariant>
#include <QVector>

namespace report {

struct TextSegment {
    enum Kind { Literal, Field, Page, Pages, Sum, PageSum, Count, Row, Title, Date };
    Kind kind = Literal;
    QString text;   // the literal text, or the field's key (see fieldKey)
    QString format; // a format given inside the brackets; empty: the item's
    bool operator==(const TextSegment &) const = default;
};

QVector<TextSegment> parseItemText(const QString &text);

// Formats. A number format has digit places ("0" always shown, "#" shown
// when needed), an optional "," for thousands and "." for decimals, literal
// text around them and an optional "%"; up to three sections separated by
// ";" serve positive, negative (without its own sign) and zero values, e.g.
// "#,##0.00;(#,##0.00);" prints nothing for zero. A date format uses the
// letters y M d H h m s ap ("yyyy-MM-dd", "yyyy年M月d日").
//
// The format "大写金额" writes an amount in Chinese capital numerals, rounded
// to the fen: 1234.56 gives 壹仟贰佰叁拾肆元伍角陆分 (see amountInWords).
inline QString amountInWordsFormat() { return QStringLiteral("大写金额"); }
bool isNumberFormat(const QString &format);
bool isDateFormat(const QString &format);
QString formatAmount(Amount value, const QString &format);
// An amount in capital numerals, rounded half away from zero to the fen:
// "整" ends an amount without jiao and fen, "零" stands for skipped places
// (once for a run of them), "负" leads a negative amount, zero is "零元整"
// and an amount below one yuan starts at its jiao or fen (0.05: 伍分).
// Empty for an amount out of range.
QString amountInWords(Amount value);
// A value of a record: numbers (including numeric text) take a number
// format, dates (including "yyyy-MM-dd" text) a date format; everything else,
// and every value when the format is empty, is printed as it is.
QString formatValue(const QVariant &value, const QString &format);

} // namespace report
