#include "platform/Amount.h"
#include "platform/VbConvert.h"
#include "support/TestDatabase.h"
#include "support/CaseRows.h"

#include <QRandomGenerator>
#include <QTest>

#include <limits>

struct ArithmeticCase { const char *name; QString op; QString a; QString b; QString expected; };
Q_DECLARE_METATYPE(ArithmeticCase)

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
        QTest::newRow("largest") << "922,337,203,685,477.5807" << true << "922337203685477.5807";
        QTest::newRow("smallest") << "-922337203685477.5807" << true << "-922337203685477.5807";
        QTest::newRow("one unit beyond") << "922337203685477.5808" << false << "beyond";
        QTest::newRow("rounds beyond") << "922337203685477.58075" << false << "beyond";
        QTest::newRow("one unit below") << "-922337203685477.5808" << false << "beyond";
        QTest::newRow("twenty digits") << "18446744073709551617" << false << "beyond";
        QTest::newRow("huge then letters") << "99999999999999999999x" << false << "";
    }
    void parse()
    {
        QFETCH(QString, text);
        QFETCH(bool, valid);
        QFETCH(QString, canonical); // for no value: "beyond" when out of range
        bool beyond = true;
        const auto a = Amount::parse(text, &beyond);
        QCOMPARE(a.has_value(), valid);
        QCOMPARE(beyond, canonical == u"beyond");
        if (valid)
            QCOMPARE(a->toString(), canonical);
    }

    // Arithmetic on units; "out" is the out-of-range amount.
    void arithmetic_data()
    {
        const QString max = QString::number(INT64_MAX);
        const QString min = QString::number(-INT64_MAX);
        addCaseRows<ArithmeticCase>({
            {"add to the largest", "+", QString::number(INT64_MAX - 1), "1", max},
            {"add beyond", "+", max, "1", "out"},
            {"entries of 900 trillion", "+", "9000000000000000000", "9000000000000000000", "out"},
            {"add below", "+", min, min, "out"},
            {"subtract to the smallest", "-", QString::number(-INT64_MAX + 1), "1", min},
            {"subtract onto the marker", "-", min, "1", "out"},
            {"subtract beyond", "-", max, "-1", "out"},
            {"negate the largest", "neg", max, "", min},
            {"abs of the smallest", "abs", min, "", max},
            {"times a whole", "*", "12345", "-3", "-37035"},
            {"times a whole beyond", "*", QString::number(INT64_MAX / 2 + 1), "2", "out"},
            {"product rounded", "times", "15000", "3333", "5000"},
            // 1.5 x 0.3333 to 2 places
            {"product beyond", "times", "1000000000000", "1000000000000", "out"},
            {"largest times one, to 2 places", "times", max, "10000", "9223372036854775800"},
            {"whole number beyond", "int", "1000000000000000", "", "out"},
            {"whole number at the edge", "int", "922337203685477", "", "9223372036854770000"},
            {"out plus 1", "+", "out", "1", "out"},
            {"1 minus out", "-", "1", "out", "out"},
            {"out negated", "neg", "out", "", "out"},
            {"out abs", "abs", "out", "", "out"},
            {"out times 1", "*", "out", "1", "out"},
            {"zero times out", "times", "0", "out", "out"},
        });
    }
    void arithmetic()
    {
        QFETCH(ArithmeticCase, row);
        auto [caseName, op, a, b, expected] = row;
        auto amount = [](const QString &units) {
            return units == u"out" ? Amount::outOfRange() : Amount::fromUnits(units.toLongLong());
        };
        const Amount x = amount(a);
        const Amount y = amount(b);
        Amount r;
        if (op == u"+")
            r = x + y;
        else if (op == u"-")
            r = x - y;
        else if (op == u"neg")
            r = -x;
        else if (op == u"abs")
            r = x.abs();
        else if (op == u"*")
            r = x * y.units();
        else if (op == u"times")
            r = x.times(y, 2);
        else
            r = Amount::fromInt(a.toLongLong());
        QCOMPARE(r.isOutOfRange(), expected == u"out");
        if (!r.isOutOfRange())
            QCOMPARE(r, amount(expected));
        // The compound forms agree with the plain ones.
        if (op == u"+" || op == u"-")
            QCOMPARE(op == u"+" ? (Amount(x) += y) : (Amount(x) -= y), r);
    }

    // Amounts up to the largest a clerk may enter, written into statements as
    // the bill store writes them, read back as the same amounts on each
    // engine; near the bound a double's spacing is largest.
    void enterableAmountsRoundTrip_data() { addEngineRows(); }
    void enterableAmountsRoundTrip()
    {
        QFETCH(DbEngine, engine);
        QStringList values{Amount::fromUnits(Amount::MaxEnteredUnits).toString(), Amount::fromUnits(-Amount::MaxEnteredUnits).toString(),
                           QStringLiteral("0.0001"), QStringLiteral("98765432109.8765")};
        QRandomGenerator rng(20261124);
        for (int i = 0; i < 300; ++i) {
            const std::int64_t units = Amount::MaxEnteredUnits - std::int64_t(rng.bounded(quint64(1) << (i % 48)));
            values << Amount::fromUnits(i % 2 ? units : -units).toString();
        }
        TestDatabase db(engine);
        db.conn().beginTrans();
        for (int i = 0; i < values.size(); ++i) {
            QVERIFY(Amount::parse(values[i])->isEnterable());
            db.exec(QStringLiteral("insert into tblFPEntry(fInterId,fEntryId,fStockInterId,fHXAmount) values(1,%1,0,%2)")
                        .arg(i + 1)
                        .arg(values[i]));
        }
        db.conn().commitTrans();
        Recordset rs = db.conn().openRecordset(QStringLiteral("select fEntryId,fHXAmount from tblFPEntry order by fEntryId"));
        QStringList back;
        for (; !rs.eof(); rs.moveNext())
            back << rs.amount(QStringLiteral("fHXAmount")).toString();
        QCOMPARE(back, values);
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
        QCOMPARE(Amount::fromDouble(0.1 + 0.2), *Amount::parse("0.3")); // binary doubles drift; amounts must not
    }

    void fromVariant_data()
    {
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<QString>("expected");
        QTest::newRow("null") << QVariant() << "0";
        QTest::newRow("empty text") << QVariant(QString()) << "0";
        QTest::newRow("double drift") << QVariant(45.830000000000005) << "45.83";
        QTest::newRow("long long") << QVariant(qlonglong(-7)) << "-7";
        // Beyond the range: never shown or stored as a number.
        QTest::newRow("double beyond") << QVariant(1e20) << "";
        QTest::newRow("infinity") << QVariant(std::numeric_limits<double>::infinity()) << "";
        QTest::newRow("unsigned beyond") << QVariant(qulonglong(1) << 63) << "";
        QTest::newRow("whole beyond") << QVariant(qlonglong(1) << 62) << "";
    }
    void fromVariant()
    {
        QFETCH(QVariant, value);
        QFETCH(QString, expected);
        const Amount a = Amount::fromVariant(value);
        QCOMPARE(a.toString(), expected);
        QCOMPARE(a.isOutOfRange(), expected.isEmpty());
    }

    // An engine's text of a number reads as the same text as a value does;
    // with an exponent, as its double does.
    void fromDecimalText_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("expected"); // "" when out of range
        QTest::newRow("numeric text") << "12.3400" << "12.34";
        QTest::newRow("no integer part") << "-.5" << "-0.5";
        QTest::newRow("point without decimals") << "5." << "5";
        QTest::newRow("minus zero") << "-0.0000" << "0";
        QTest::newRow("fifth decimal rounds away") << "-1.00005" << "-1.0001";
        QTest::newRow("fourteen whole digits") << "-99999999999999.9999" << "-99999999999999.9999";
        QTest::newRow("the largest") << "922337203685477.5807" << "922337203685477.5807";
        QTest::newRow("numeric text of 16 digits") << "1000000000000000.0000" << "";
        QTest::newRow("exponent") << "1.5e+3" << "1500";
        QTest::newRow("exponent beyond") << "1.0e+20" << "";
        QTest::newRow("exponent below a unit") << "-4.9e-05" << "0";
        QTest::newRow("letters") << "12a" << "0";
        QTest::newRow("not a number") << "nan" << "0";
        QTest::newRow("sign only") << "-" << "0";
    }
    void fromDecimalText()
    {
        QFETCH(QString, text);
        QFETCH(QString, expected);
        const Amount a = Amount::fromDecimalText(text.toUtf8());
        QCOMPARE(a.toString(), expected);
        QCOMPARE(a.isOutOfRange(), expected.isEmpty());
        const bool exponent = text.contains(u'e') && text != u"nan";
        QCOMPARE(a, exponent ? Amount::fromDouble(text.toDouble()) : Amount::fromVariant(text));
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
        // Amounts as fixed text: kind "fixed<decimals>".
        QTest::newRow("pad") << "5" << "fixed2" << "5.00";
        QTest::newRow("round half up") << "0.125" << "fixed2" << "0.13";
        QTest::newRow("round negative away") << "-0.125" << "fixed2" << "-0.13";
        QTest::newRow("rounds to zero keeps no sign") << "-0.001" << "fixed2" << "0.00";
        QTest::newRow("no decimals") << "2.5" << "fixed0" << "3";
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
            else if (kind.startsWith(u"fixed"))
                got = Amount::parse(text)->toFixed(kind.mid(5).toInt());
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
