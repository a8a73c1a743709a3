#include "report/ReportText.h"
#include "support/CaseRows.h"

#include <QDateTime>
#include <QTest>

using namespace report;

namespace {
QString describe(const QVector<TextSegment> &segments)
{
    static const char *const names[] = {"L", "F", "Page", "Pages", "Sum", "PageSum", "Count", "Row", "Title", "Date"};
    QStringList words;
    for (const TextSegment &s : segments) {
        QString w = QString::fromLatin1(names[s.kind]);
        if (!s.text.isEmpty() || !s.format.isEmpty())
            w += u'(' + s.text + (s.format.isEmpty() ? QString() : u'|' + s.format) + u')';
        words << w;
    }
    return words.join(u' ');
}
struct Parse { const char *name, *text, *segments; };
struct Value { const char *name; QVariant value; const char *format, *expected; };
struct Kind { const char *name, *format; bool number, date; };
} // namespace
Q_DECLARE_METATYPE(Parse)
Q_DECLARE_METATYPE(Value)
Q_DECLARE_METATYPE(Kind)

class TestReportText : public QObject {
    Q_OBJECT
private slots:
    void parse_data()
    {
        addCaseRows<Parse>({
            {"static", "采购发票", "L(采购发票)"},
            {"field in text", "发票号：[FBillNo]。", "L(发票号：) F(fbillno) L(。)"},
            {"field with blanks and format", "[ fqty |#,##0.00]", "F(fqty|#,##0.00)"},
            {"page of pages, any case", "[#page]/[#PAGES]", "Page L(/) Pages"},
            {"sum", "[#Sum(fHXAmount)]", "Sum(fhxamount)"},
            {"sum with format", "[#Sum( fHXAmount )|0.00]", "Sum(fhxamount|0.00)"},
            {"page sum, count, row, title, date", "[#PageSum(a)][#Count][#Row][#Title][#Date|yyyy]", "PageSum(a) Count Row Title Date(|yyyy)"},
            {"escaped bracket", "[[fbillno]", "L([fbillno])"},
            {"closing bracket alone", "a]b", "L(a]b)"},
            {"unclosed", "x [fbillno", "L(x [fbillno)"},
            {"unknown function stays visible", "[#Nope]", "L([#Nope])"},
            {"sum without a field", "[#Sum()]", "L([#Sum()])"},
            {"page with an argument", "[#Page(1)]", "L([#Page(1)])"},
            {"sum missing parenthesis", "[#Sum(a]", "L([#Sum(a])"},
            {"empty", "", ""},
        });
    }
    void parse()
    {
        QFETCH(Parse, row);
        QCOMPARE(describe(parseItemText(QString::fromUtf8(row.text))), QString::fromUtf8(row.segments));
    }

    void formatValue_data()
    {
        addCaseRows<Value>({
            {"thousands and decimals", QVariant(1234.5), "#,##0.00", "1,234.50"},
            {"negative", QVariant(-1234.5), "#,##0.00", "-1,234.50"},
            {"half rounds away from zero", QVariant(0.005), "0.00", "0.01"},
            {"negative half", QVariant(-0.005), "0.00", "-0.01"},
            {"no sign when it rounds to zero", QVariant(-0.004), "0.00", "0.00"},
            {"integer places only", QVariant(2.5), "0", "3"},
            {"optional decimals from text", QVariant(QStringLiteral("1234.5678")), "#,##0.####", "1,234.5678"},
            {"optional decimals trimmed", QVariant(1.2), "0.###", "1.2"},
            {"optional decimals all gone", QVariant(3), "0.##", "3"},
            {"blank zero section", QVariant(0), "#,##0.00;-#,##0.00;", ""},
            {"negative section", QVariant(-3), "#,##0.00;(#,##0.00)", "(3.00)"},
            {"positive with sections", QVariant(3), "#,##0.00;(#,##0.00);-", "3.00"},
            {"percent", QVariant(0.256), "0.0%", "25.6%"},
            {"percent beyond what an amount holds", QVariant(QStringLiteral("10000000000000")), "0%", ""},
            {"negative percent beyond", QVariant(QStringLiteral("-10000000000000")), "0%", ""},
            {"prefix", QVariant(12), "¥#,##0.00", "¥12.00"},
            {"quoted suffix", QVariant(5), "0.00\"元\"", "5.00元"},
            {"millions", QVariant(1234567), "#,##0", "1,234,567"},
            {"no integer digit", QVariant(0.5), "#.##", ".5"},
            {"minimum integer digits", QVariant(7), "000", "007"},
            {"six places", QVariant(QStringLiteral("1.5")), "0.000000", "1.500000"},
            {"text that is no number", QVariant(QStringLiteral("abc")), "#,##0.00", "abc"},
            {"null with a format", QVariant(), "0.00", ""},
            {"double without format", QVariant(0.1 + 0.2), "", "0.3"},
            {"int without format", QVariant(7), "", "7"},
            {"date", QVariant(QDate(2024, 3, 5)), "yyyy-MM-dd", "2024-03-05"},
            {"date text, Chinese", QVariant(QStringLiteral("2024-03-05")), "yyyy年M月d日", "2024年3月5日"},
            {"date and time text", QVariant(QStringLiteral("2024-03-05 14:30:00")), "yyyy-MM-dd HH:mm", "2024-03-05 14:30"},
            {"date time value", QVariant(QDateTime(QDate(2024, 12, 31), QTime(8, 5))), "yyyy/MM/dd", "2024/12/31"},
            {"date without format", QVariant(QDate(2024, 3, 5)), "", "2024-03-05"},
            {"text that is no date", QVariant(QStringLiteral("not a date")), "yyyy-MM-dd", "not a date"},
            {"date text, no such day", QVariant(QStringLiteral("2024-02-30")), "yyyy-MM-dd", "2024-02-30"},
            {"date text, no such hour", QVariant(QStringLiteral("2024-02-03 25:00:00")), "yyyy-MM-dd", "2024-02-03 25:00:00"},
            {"date text with T", QVariant(QStringLiteral("2024-03-05T14:30:09")), "HH:mm:ss d日", "14:30:09 5日"},
            {"date text with milliseconds", QVariant(QStringLiteral("2024-03-05 14:30:09.120")), "M/d H:mm", "3/5 14:30"},
            {"date text, letters in the digits", QVariant(QStringLiteral("2024-0a-05")), "yyyy", "2024-0a-05"},
            {"number with a date format", QVariant(12), "yyyy-MM-dd", "12"},
        // Capital numerals: 整 without jiao and fen, one 零 for a run of
        // skipped places, 负 before a negative amount.
            {"words", QVariant(1234.56), "大写金额", "壹仟贰佰叁拾肆元伍角陆分"},
            {"words: zero", QVariant(0), "大写金额", "零元整"},
            {"words: fen only", QVariant(0.05), "大写金额", "伍分"},
            {"words: ten", QVariant(10), "大写金额", "壹拾元整"},
            {"words: jiao after zeros", QVariant(QStringLiteral("100.10")), "大写金额", "壹佰元壹角"},
            {"words: zero jiao before fen", QVariant(1000.01), "大写金额", "壹仟元零壹分"},
            {"words: empty groups", QVariant(100000), "大写金额", "壹拾万元整"},
            {"words: zero inside a group", QVariant(10010000.5), "大写金额", "壹仟零壹万元伍角"},
            {"words: empty ten-thousands place", QVariant(105000), "大写金额", "壹拾万零伍仟元整"},
            {"words: negative", QVariant(-12.3), "大写金额", "负壹拾贰元叁角"},
            {"words: hundred million and one", QVariant(100000001), "大写金额", "壹亿零壹元整"},
            {"words: trillions", QVariant(QStringLiteral("1000000050000")), "大写金额", "壹万亿零伍万元整"},
            {"words: half a fen rounds up", QVariant(QStringLiteral("0.005")), "大写金额", "壹分"},
            {"words: negative rounding to zero", QVariant(-0.004), "大写金额", "零元整"},
            {"words: text that is no number", QVariant(QStringLiteral("abc")), "大写金额", "abc"},
        });
    }
    void formatValue()
    {
        QFETCH(Value, row);
        QCOMPARE(report::formatValue(row.value, QString::fromUtf8(row.format)), QString::fromUtf8(row.expected));
    }

    void formatKinds_data()
    {
        addCaseRows<Kind>({{"number", "#,##0.00", true, false}, {"date", "yyyy-MM-dd", false, true},
                           {"Chinese date", "yyyy年M月d日", false, true}, {"neither", "元", false, false}, {"empty", "", false, false}});
    }
    void formatKinds()
    {
        QFETCH(Kind, row);
        QCOMPARE(isNumberFormat(QString::fromUtf8(row.format)), row.number);
        QCOMPARE(isDateFormat(QString::fromUtf8(row.format)), row.date);
    }
};

QTEST_MAIN(TestReportText)
#include "tst_reporttext.moc"
