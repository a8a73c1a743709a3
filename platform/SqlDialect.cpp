#include "platform/SqlDialect.h"

#include <vector>

namespace {
bool isIdentChar(QChar c)
{
    return c.isLetterOrNumber() || c == u'_';
}

qsizetype skipBlanks(const QString &s, qsizetype i)
{
    while (i < s.size() && s[i].isSpace())
        ++i;
    return i;
}

// Reads an identifier starting at i; returns its end.
qsizetype identEnd(const QString &s, qsizetype i)
{
    while (i < s.size() && isIdentChar(s[i]))
        ++i;
    return i;
}
} // namespace

QString translateSql(const QString &sql, DbEngine engine)
{
    QString out;
    out.reserve(sql.size() + 16);
    // One pending limit per open parenthesis level (index 0 = the statement).
    std::vector<QString> pendingLimit(1);
    qsizetype i = 0;
    const qsizetype n = sql.size();
    while (i < n) {
        const QChar c = sql[i];
        if (c == u'\'' || c == u'"') {
            // Copy a quoted string or identifier whole; doubled quotes escape.
            qsizetype j = i + 1;
            while (j < n) {
                if (sql[j] == c) {
                    if (j + 1 < n && sql[j + 1] == c) {
                        j += 2;
                        continue;
                    }
                    break;
                }
                ++j;
            }
            out += QStringView(sql).mid(i, std::min(j + 1, n) - i);
            i = j + 1;
            continue;
        }
        if (c == u'(') {
            pendingLimit.emplace_back();
            out += c;
            ++i;
            continue;
        }
        if (c == u')') {
            if (pendingLimit.size() > 1) {
                if (!pendingLimit.back().isEmpty()) {
                    while (out.endsWith(u' '))
                        out.chop(1);
                    out += QStringLiteral(" limit ") + pendingLimit.back();
                }
                pendingLimit.pop_back();
            }
            out += c;
            ++i;
            continue;
        }
        if (isIdentChar(c) && (i == 0 || !isIdentChar(sql[i - 1]))) {
            const qsizetype end = identEnd(sql, i);
            const QStringView word = QStringView(sql).mid(i, end - i);
            const bool qualified = i > 0 && sql[i - 1] == u'.';
            if (!qualified && word.compare(u"select", Qt::CaseInsensitive) == 0) {
                // select [blanks] top [blanks] digits
                qsizetype j = skipBlanks(sql, end);
                const qsizetype topEnd = identEnd(sql, j);
                if (topEnd > j && QStringView(sql).mid(j, topEnd - j).compare(u"top", Qt::CaseInsensitive) == 0) {
                    qsizetype k = skipBlanks(sql, topEnd);
                    qsizetype digitsEnd = k;
                    while (digitsEnd < n && sql[digitsEnd].isDigit())
                        ++digitsEnd;
                    if (digitsEnd > k && k > topEnd && (digitsEnd == n || !isIdentChar(sql[digitsEnd]))) {
                        pendingLimit.back() = sql.mid(k, digitsEnd - k);
                        out += word;
                        i = digitsEnd; // drop "top N", keep what follows
                        continue;
                    }
                }
            } else if (!qualified && engine == DbEngine::SQLite
                       && word.compare(u"isnull", Qt::CaseInsensitive) == 0) {
                const qsizetype j = skipBlanks(sql, end);
                if (j < n && sql[j] == u'(') {
                    out += QLatin1String(kSqliteIsNullFunction);
                    i = end;
                    continue;
                }
            }
            out += word;
            i = end;
            continue;
        }
        out += c;
        ++i;
    }
    if (!pendingLimit.front().isEmpty()) {
        while (out.endsWith(u' '))
            out.chop(1);
        out += QStringLiteral(" limit ") + pendingLimit.front();
    }
    return out;
}

QString numberedPlaceholders(const QString &sql)
{
    QString out;
    out.reserve(sql.size() + 8);
    int number = 0;
    QChar quote; // the quote of the string or identifier being copied
    for (qsizetype i = 0; i < sql.size(); ++i) {
        const QChar c = sql[i];
        if (!quote.isNull()) {
            if (c == quote) // a doubled quote closes and reopens
                quote = QChar();
        } else if (c == u'\'' || c == u'"') {
            quote = c;
        } else if (c == u'?') {
            out += u'$' + QString::number(++number);
            continue;
        }
        out += c;
    }
    return out;
}
