// CharacterLen must agree with the byte length of the text in the GBK code
// page, because field widths in the database are counted in those bytes.
#include "modules/TextHelpers.h"

#include <QStringEncoder>
#include <QTest>

class TestTextHelpers : public QObject {
    Q_OBJECT

private slots:
    // bytes -1: as many as the GBK encoder writes.
    void characterLen_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("bytes");
        QTest::newRow("empty") << QString() << 0;
        QTest::newRow("ascii") << QStringLiteral("FP-0010") << 7;
        QTest::newRow("two chinese and a letter") << QStringLiteral("发票A") << 5;
        QTest::newRow("full-width punctuation") << QStringLiteral("数据读取错误！") << 14;
        QTest::newRow("blanks and control characters") << QStringLiteral(" \t\n") << 3;
        QTest::newRow("non-ascii latin letter") << QStringLiteral("é") << 2;
        // A character outside the basic plane is one character (two UTF-16 units).
        QTest::newRow("supplementary character") << QString::fromUcs4(U"\U00020000x") << 3;
        QTest::newRow("message") << QStringLiteral("编号为:FP0010的单据为以前期间的单据，不能审核!操作不成功") << -1;
        QTest::newRow("supplier") << QStringLiteral("深圳市华强电子有限公司(Shenzhen)") << -1;
        QTest::newRow("units and symbols") << QStringLiteral("箱/12个 ￥35.50 ×2") << -1;
    }

    void characterLen()
    {
        QFETCH(QString, text);
        QFETCH(int, bytes);
        if (bytes < 0) {
            QStringEncoder gbk("GBK");
            if (!gbk.isValid())
                QSKIP("this Qt has no GBK encoder");
            bytes = int(QByteArray(gbk.encode(text)).size());
            QVERIFY(!gbk.hasError());
        }
        QCOMPARE(CharacterLen(text), bytes);
    }

    void zeroPad_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("length");
        QTest::addColumn<QString>("padded");
        QTest::newRow("longer is not cut") << QStringLiteral("100000") << 4 << QStringLiteral("100000");
        QTest::newRow("negative length") << QStringLiteral("7") << -3 << QStringLiteral("7");
        QTest::newRow("empty text") << QString() << 3 << QStringLiteral("000");
    }

    void zeroPad()
    {
        QFETCH(QString, text);
        QFETCH(int, length);
        QFETCH(QString, padded);
        QCOMPARE(ZeroPad(text, length), padded);
    }
};

QTEST_GUILESS_MAIN(TestTextHelpers)
#include "tst_texthelpers.moc"
