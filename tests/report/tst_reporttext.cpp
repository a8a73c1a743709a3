#include "report/ReportText.h"

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
}

class TestReportText : public QObject {
    Q_OBJECT
private slots:
    void parse_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("segments");
        QTest::newRow("static") << "采购发票" << "L(采购发票)";
        QTest::newRow("field in text") << "发票号：[FBillNo]。" << "L(发票号：) F(fbillno) L(。)";
        QTest::newRow("field with blanks and format") << "[ fqty |#,##0.00]" << "F(fqty|#,##0.00)";
        QTest::newRow("page of pages, any case") << "[#page]/[#PAGES]" << "Page L(/) Pages";
        QTest::newRow("sum") << "[#Sum(fHXAmount)]" << "Sum(fhxamount)";
        QTest::newRow("sum with format") << "[#Sum( fHXAmount )|0.00]" << "Sum(fhxamount|0.00)";
        QTest::newRow("page sum, count, row, title, date") << "[#PageSum(a)][#Count][#Row][#Title][#Date|yyyy]"
                                                            << "PageSum(a) Count Row Title Date(|yyyy)";
        QTest::newRow("escaped bracket") << "[[fbillno]" << "L([fbillno])";
        QTest::newRow("closing bracket alone") << "a]b" << "L(a]b)";
        QTest::newRow("unclosed") << "x [fbillno" << "L(x [fbillno)";
        QTest::newRow("unknown function stays visible") << "[#Nope]" << "L([#Nope])";
        QTest::newRow("sum without a field") << "[#Sum()]" << "L([#Sum()])";
        QTest::newRow("page with an argument") << "[#Page(1)]" << "L([#Page(1)])";
        QTest::newRow("sum missing parenthesis") << "[#Sum(a]" << "L([#Sum(a])";
        QTest::newRow("empty") << "" << "";
    }
    void parse()
    {
        QFETCH(QString, text);
        QFETCH(QString, segments);
        QCOMPARE(describe(parseItemText(text)), segments);
    }

    void formatValue_data()
    {
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<QString>("format");
        QTest::addColumn<QString>("expected");
        QTest::newRow("thousands and decimals") << QVariant(1234.5) << "#,##0.00" << "1,234.50";
        QTest::newRow("negative") << QVariant(-1234.5) << "#,##0.00" << "-1,234.50";
        QTest::newRow("half rounds away from zero") << QVariant(0.005) << "0.00" << "0.01";
        QTest::newRow("negative half") << QVariant(-0.005) << "0.00" << "-0.01";
        QTest::newRow("no sign when it rounds to zero") << QVariant(-0.004) << "0.00" << "0.00";
        QTest::newRow("integer places only") << QVariant(2.5) << "0" << "3";
        QTest::newRow("optional decimals from text") << QVariant(QStringLiteral("1234.5678")) << "#,##0.####" << "1,234.5678";
        QTest::newRow("optional decimals trimmed") << QVariant(1.2) << "0.###" << "1.2";
        QTest::newRow("optional decimals all gone") << QVariant(3) << "0.##" << "3";
        QTest::newRow("blank zero section") << QVariant(0) << "#,##0.00;-#,##0.00;" << "";
        QTest::newRow("negative section") << QVariant(-3) << "#,##0.00;(#,##0.00)" << "(3.00)";
        QTest::newRow("positive with sections") << QVariant(3) << "#,##0.00;(#,##0.00);-" << "3.00";
        QTest::newRow("percent") << QVariant(0.256) << "0.0%" << "25.6%";
        QTest::newRow("percent beyond what an amount holds") << QVariant(QStringLiteral("10000000000000")) << "0%" << "";
        QTest::newRow("negative percent beyond") << QVariant(QStringLiteral("-10000000000000")) << "0%" << "";
        QTest::newRow("prefix") << QVariant(12) << "¥#,##0.00" << "¥12.00";
        QTest::newRow("quoted suffix") << QVariant(5) << "0.00\"元\"" << "5.00元";
        QTest::newRow("millions") << QVariant(1234567) << "#,##0" << "1,234,567";
        QTest::newRow("no integer digit") << QVariant(0.5) << "#.##" << ".5";
        QTest::newRow("minimum integer digits") << QVariant(7) << "000" << "007";
        QTest::newRow("six places") << QVariant(QStringLiteral("1.5")) << "0.000000" << "1.500000";
        QTest::newRow("text that is no number") << QVariant(QStringLiteral("abc")) << "#,##0.00" << "abc";
        QTest::newRow("null with a format") << QVariant() << "0.00" << "";
        QTest::newRow("double without format") << QVariant(0.1 + 0.2) << "" << "0.3";
        QTest::newRow("int without format") << QVariant(7) << "" << "7";
        QTest::newRow("date") << QVariant(QDate(2024, 3, 5)) << "yyyy-MM-dd" << "2024-03-05";
        QTest::newRow("date text, Chinese") << QVariant(QStringLiteral("2024-03-05")) << "yyyy年M月d日" << "2024年3月5日";
        QTest::newRow("date and time text") << QVariant(QStringLiteral("2024-03-05 14:30:00")) << "yyyy-MM-dd HH:mm" << "2024-03-05 14:30";
        QTest::newRow("date time value") << QVariant(QDateTime(QDate(2024, 12, 31), QTime(8, 5))) << "yyyy/MM/dd" << "2024/12/31";
        QTest::newRow("date without format") << QVariant(QDate(2024, 3, 5)) << "" << "2024-03-05";
        QTest::newRow("text that is no date") << QVariant(QStringLiteral("not a date")) << "yyyy-MM-dd" << "not a date";
        QTest::newRow("date text, no such day") << QVariant(QStringLiteral("2024-02-30")) << "yyyy-MM-dd" << "2024-02-30";
        QTest::newRow("date text, no such hour") << QVariant(QStringLiteral("2024-02-03 25:00:00")) << "yyyy-MM-dd" << "2024-02-03 25:00:00";
        QTest::newRow("date text with T") << QVariant(QStringLiteral("2024-03-05T14:30:09")) << "HH:mm:ss d日" << "14:30:09 5日";
        QTest::newRow("date text with milliseconds") << QVariant(QStringLiteral("2024-03-05 14:30:09.120")) << "M/d H:mm" << "3/5 14:30";
        QTest::newRow("date text, letters in the digits") << QVariant(QStringLiteral("2024-0a-05")) << "yyyy" << "2024-0a-05";
        QTest::newRow("number with a date format") << QVariant(12) << "yyyy-MM-dd" << "12";
        // Capital numerals: 整 without jiao and fen, one 零 for a run of
        // skipped places, 负 before a negative amount.
        QTest::newRow("words") << QVariant(1234.56) << "大写金额" << "壹仟贰佰叁拾肆元伍角陆分";
        QTest::newRow("words: zero") << QVariant(0) << "大写金额" << "零元整";
        QTest::newRow("words: fen only") << QVariant(0.05) << "大写金额" << "伍分";
        QTest::newRow("words: ten") << QVariant(10) << "大写金额" << "壹拾元整";
        QTest::newRow("words: jiao after zeros") << QVariant(QStringLiteral("100.10")) << "大写金额" << "壹佰元壹角";
        QTest::newRow("words: zero jiao before fen") << QVariant(1000.01) << "大写金额" << "壹仟元零壹分";
        QTest::newRow("words: empty groups") << QVariant(100000) << "大写金额" << "壹拾万元整";
        QTest::newRow("words: zero inside a group") << QVariant(10010000.5) << "大写金额" << "壹仟零壹万元伍角";
        QTest::newRow("words: empty ten-thousands place") << QVariant(105000) << "大写金额" << "壹拾万零伍仟元整";
        QTest::newRow("words: negative") << QVariant(-12.3) << "大写金额" << "负壹拾贰元叁角";
        QTest::newRow("words: hundred million and one") << QVariant(100000001) << "大写金额" << "壹亿零壹元整";
        QTest::newRow("words: trillions") << QVariant(QStringLiteral("1000000050000")) << "大写金额" << "壹万亿零伍万元整";
        QTest::newRow("words: half a fen rounds up") << QVariant(QStringLiteral("0.005")) << "大写金额" << "壹分";
        QTest::newRow("words: negative rounding to zero") << QVariant(-0.004) << "大写金额" << "零元整";
        QTest::newRow("words: text that is no number") << QVariant(QStringLiteral("abc")) << "大写金额" << "abc";
    }
    void formatValue()
    {
        QFETCH(QVariant, value);
        QFETCH(QString, format);
        QFETCH(QString, expected);
        QCOMPARE(report::formatValue(value, format), expected);
    }

    void formatKinds_data()
    {
        QTest::addColumn<QString>("format");
        QTest::addColumn<bool>("number");
        QTest::addColumn<bool>("date");
        QTest::newRow("number") << "#,##0.00" << true << false;
        QTest::newRow("date") << "yyyy-MM-dd" << false << true;
        QTest::newRow("Chinese date") << "yyyy年M月d日" << false << true;
        QTest::newRow("neither") << "元" << false << false;
        QTest::newRow("empty") << "" << false << false;
    }
    void formatKinds()
    {
        QFETCH(QString, format);
        QFETCH(bool, number);
        QFETCH(bool, date);
        QCOMPARE(isNumberFormat(format), number);
        QCOMPARE(isDateFormat(format), date);
    }
};

QTEST_MAIN(TestReportText)
#include "tst_reporttext.moc"
