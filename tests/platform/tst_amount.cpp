#include "platform/Amount.h"
#include "platform/VbConvert.h"

#include <QRandomGenerator>
#include <QTest>

class TestAmount : public QObject {
    Q_OBJECT
private slots:
    void parse_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("valid");
        QTest::addColumn<QString>("canonical");
        QTest::newRow("integer") << "100" << true << "100";
        QTest::newRow("decimals") << "33.33" << true << "33.33";
        QTest::newRow("negative") << "-0.5" << true << "-0.5";
        QTest::newRow("plus sign and blanks") << "  +12.50 " << true << "12.5";
        QTest::newRow("thousands") << "1,234,567.89" << true << "1234567.89";
        QTest::newRow("leading point") << ".25" << true << "0.25";
        QTest::newRow("fifth decimal rounds up") << "0.00005" << true << "0.0001";
        QTest::newRow("fifth decimal rounds down") << "1.23454" << true << "1.2345";
        QTest::newRow("negative rounds away") << "-0.00005" << true << "-0.0001";
        QTest::newRow("minus zero") << "-0" << true << "0";
        QTest::newRow("empty") << "" << false << "";
        QTest::newRow("letters") << "12a" << false << "";
        QTest::newRow("two points") << "1.2.3" << false << "";
        QTest::newRow("sign only") << "-" << false << "";
        QTest::newRow("full-width digits") << "１２" << false << "";
    }
    void parse()
    {
        QFETCH(QString, text);
        QFETCH(bool, valid);
        QFETCH(QString, canonical);
        const auto a = Amount::parse(text);
        QCOMPARE(a.has_value(), valid);
        if (valid)
            QCOMPARE(a->toString(), canonical);
    }

    void sumsStayExact()
    {
        // Binary doubles drift here; the fixed-point sum must not.
        Amount sum;
        for (int i = 0; i < 3; ++i)
            sum += *Amount::parse("33.33");
        QCOMPARE(sum, *Amount::parse("99.99"));
        QCOMPARE(*Amount::parse("0.1") + *Amount::parse("0.2"), *Amount::parse("0.3"));
        QCOMPARE(Amount::fromDouble(0.1 + 0.2), *Amount::parse("0.3"));
    }

    // The quick paths of reading a double and writing text agree with the
    // decimal text over a spread of magnitudes, signs and half-unit cases.
    void doublesAndTextAgreeWithDecimalText()
    {
        QRandomGenerator rng(20261122);
        for (int i = 0; i < 20000; ++i) {
            const std::int64_t range = std::int64_t(1) << (1 + i % 50);
            const std::int64_t units = std::int64_t(rng.bounded(quint64(range))) * (i % 3 == 0 ? -1 : 1);
            const Amount a = Amount::fromUnits(units);
            QCOMPARE(Amount::parse(a.toString()), std::optional<Amount>(a));
            const double d = a.toDouble() + (i % 5 == 0 ? 0.00005 : 0.0);
            QCOMPARE(Amount::fromDouble(d), Amount::parse(QString::number(d, 'f', 10)).value());
        }
        QCOMPARE(Amount::fromUnits(-1).toString(), QStringLiteral("-0.0001"));
        QCOMPARE(Amount::fromUnits(INT64_MIN + 1).toString(), QStringLiteral("-922337203685477.5807"));
    }

    void fromVariant_data()
    {
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<QString>("expected");
        QTest::newRow("null") << QVariant() << "0";
        QTest::newRow("empty text") << QVariant(QString()) << "0";
        QTest::newRow("double drift") << QVariant(45.830000000000005) << "45.83";
        QTest::newRow("numeric text") << QVariant(QStringLiteral("12.3400")) << "12.34";
        QTest::newRow("long long") << QVariant(qlonglong(-7)) << "-7";
    }
    void fromVariant()
    {
        QFETCH(QVariant, value);
        QFETCH(QString, expected);
        QCOMPARE(Amount::fromVariant(value).toString(), expected);
    }

    void toFixed_data()
    {
        QTest::addColumn<QString>("value");
        QTest::addColumn<int>("decimals");
        QTest::addColumn<QString>("expected");
        QTest::newRow("pad") << "5" << 2 << "5.00";
        QTest::newRow("round half up") << "0.125" << 2 << "0.13";
        QTest::newRow("round negative away") << "-0.125" << 2 << "-0.13";
        QTest::newRow("rounds to zero keeps no sign") << "-0.001" << 2 << "0.00";
        QTest::newRow("no decimals") << "2.5" << 0 << "3";
    }
    void toFixed()
    {
        QFETCH(QString, value);
        QFETCH(int, decimals);
        QFETCH(QString, expected);
        QCOMPARE(Amount::parse(value)->toFixed(decimals), expected);
    }

    void conversions_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QString>("expected"); // value, or the error text
        QTest::newRow("int") << " 6 " << "int16" << "6";
        QTest::newRow("int banker's rounding") << "2.5" << "int16" << "2";
        QTest::newRow("int rounding up") << "3.5" << "int16" << "4";
        QTest::newRow("int letters") << "abc" << "int16" << "类型不匹配";
        QTest::newRow("int empty") << "" << "int16" << "类型不匹配";
        QTest::newRow("int overflow") << "40000" << "int16" << "溢出";
        QTest::newRow("int thousands") << "1,200" << "int16" << "1200";
        QTest::newRow("double") << "17" << "double" << "17";
        QTest::newRow("double letters") << "x" << "double" << "类型不匹配";
        QTest::newRow("bool true") << "True" << "bool" << "1";
        QTest::newRow("bool false") << "false" << "bool" << "0";
        QTest::newRow("bool number") << "-1" << "bool" << "1";
        QTest::newRow("bool zero") << "0" << "bool" << "0";
        QTest::newRow("bool text") << "yes" << "bool" << "类型不匹配";
    }
    void conversions()
    {
        QFETCH(QString, text);
        QFETCH(QString, kind);
        QFETCH(QString, expected);
        QString got;
        try {
            if (kind == u"int16")
                got = QString::number(VbConvert::toInt16(text));
            else if (kind == u"double")
                got = QString::number(VbConvert::toDouble(text));
            else
                got = QString::number(VbConvert::toBool(text) ? 1 : 0);
        } catch (const ConversionError &e) {
            got = e.text();
        }
        QCOMPARE(got, expected);
    }
};

QTEST_GUILESS_MAIN(TestAmount)
#include "tst_amount.moc"
