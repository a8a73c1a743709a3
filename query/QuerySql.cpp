#include "query/QuerySql.h"

#include "platform/Clock.h"
#include "platform/VbConvert.h"

#include <QRegularExpression>

namespace {
// Blanks only, as the text boxes are trimmed; tabs and other white space stay.
QString trimBlanks(const QString &text)
{
    qsizetype begin = 0;
    qsizetype end = text.size();
    while (begin < end && text.at(begin) == u' ')
        ++begin;
    while (end > begin && text.at(end - 1) == u' ')
        --end;
    return text.mid(begin, end - begin);
}

// A decimal number as both engines read it: digits with at most one point,
// an optional sign, blanks around it. Only ASCII digits: other digits would
// pass a Unicode-aware test and still not be numbers to the database.
bool isSqlNumber(const QString &value)
{
    static const QRegularExpression number(QStringLiteral("^ *[+-]?([0-9]+(\\.[0-9]*)?|\\.[0-9]+) *$"));
    return number.match(value).hasMatch();
}

QString numberCondition(int row, const QString &caption, const QString &op, const QString &value)
{
    static const QStringList symbols{QStringLiteral(" >"), QStringLiteral(" >="), QStringLiteral(" ="),
                                     QStringLiteral(" <"), QStringLiteral(" <="), QStringLiteral(" <>")};
    const qsizetype index = operatorNames(int(ValueKind::Number)).indexOf(op);
    if (index < 0)
        return {};
    const QString v = value.isEmpty() ? QStringLiteral("0") : value;
    if (!isSqlNumber(v))
        throw ConditionValueError(row, caption, ConditionValueError::NotANumber);
    return symbols[index] + v;
}

QString textCondition(const QString &op, const QString &v)
{
    if (op == u"包含")
        return QStringLiteral(" like '%") + sqlLikeValue(v) + QStringLiteral("%'") + kLikeEscape + u' ';
    if (op == u"不包含")
        return QStringLiteral(" not like '%") + sqlLikeValue(v) + QStringLiteral("%'") + kLikeEscape + u' ';
    if (op == u"为空")
        return QStringLiteral("  is null ");
    if (op == u"不为空")
        return QStringLiteral("  is not null ");
    if (op == u"等于")
        return QStringLiteral("='") + sqlTextValue(v) + u'\'';
    if (op == u"不等于")
        return QStringLiteral("<>'") + sqlTextValue(v) + u'\'';
    if (op == u"大于等于")
        return QStringLiteral(">='") + sqlTextValue(v) + u'\'';
    if (op == u"小于等于")
        return QStringLiteral("<='") + sqlTextValue(v) + u'\'';
    return {};
}

// Date rows carry their SQL symbol in the hidden column and only take it if
// the operator is one of the date operators. The value must be a real date
// written yyyy-MM-dd (blanks around it are dropped).
QString dateCondition(int row, const QString &caption, const QString &op, const QString &symbol, const QString &v)
{
    const qsizetype index = operatorNames(int(ValueKind::Date)).indexOf(op);
    if (index < 0)
        return {};
    // The hidden symbol goes with the operator shown; a row whose symbol was
    // lost on the way takes the operator's own.
    const QString sqlSymbol = symbol.trimmed().isEmpty() ? operatorSymbols(int(ValueKind::Date))[index] : symbol;
    static const QRegularExpression shape(QStringLiteral("^[0-9]{4}-[0-9]{2}-[0-9]{2}$"));
    const QString text = v.trimmed();
    const QDate date = QDate::fromString(text, QStringLiteral("yyyy-MM-dd"));
    if (!shape.match(text).hasMatch() || !date.isValid())
        throw ConditionValueError(row, caption, ConditionValueError::NotADate);
    return sqlSymbol + u'\'' + sqlDateText(date) + u'\'';
}
} // namespace

QString sqlDateText(const QDate &date)
{
    return date.toString(QStringLiteral("yyyy-MM-dd"));
}

QString sqlTextValue(const QString &value)
{
    QString quoted = value;
    return quoted.replace(u'\'', QStringLiteral("''"));
}

QString sqlLikeValue(const QString &value)
{
    QString pattern;
    pattern.reserve(value.size() + 8);
    for (const QChar c : value) {
        if (c == u'\\' || c == u'%' || c == u'_')
            pattern += u'\\';
        pattern += c;
    }
    return sqlTextValue(pattern);
}

ConditionValueError::ConditionValueError(int row, const QString &caption, Problem problem)
    : ConversionError(problem == NotANumber
                          ? QStringLiteral("查询条件第%1行“%2”的值不是数字,请重新输入!").arg(QString::number(row), caption)
                          : QStringLiteral("查询条件第%1行“%2”的值不是有效日期(格式:年-月-日,如2024-01-31),请重新输入!").arg(QString::number(row), caption))
    , m_row(row)
    , m_caption(caption)
    , m_problem(problem)
{
}

QString buildSeekSQL(const ConditionTable &conditions)
{
    using C = ConditionTable;
    QString s;
    const int last = conditions.lastUsedRow();
    for (int r = 1; r <= last; ++r) {
        // Row 1 needs no connector: whatever it holds counts as given.
        const QString connector = r == 1 ? QStringLiteral("1") : conditions.cell(r, C::ColConnector);
        const QString caption = conditions.cell(r, C::ColCaption);
        const QString field = conditions.cell(r, C::ColFieldName);
        const QString kind = conditions.cell(r, C::ColKind);
        const QString op = conditions.cell(r, C::ColOperator);
        const QString symbol = conditions.cell(r, C::ColSymbol);
        const QString value = conditions.cell(r, C::ColValue);
        if (connector.isEmpty() || caption.isEmpty() || op.isEmpty())
            continue;
        QString condition;
        switch (VbConvert::toInt32(kind)) {
        case int(ValueKind::Number):
            condition = numberCondition(r, caption, op, value);
            break;
        case int(ValueKind::Text):
            condition = textCondition(op, value);
            break;
        case int(ValueKind::Date):
            condition = dateCondition(r, caption, op, symbol, value);
            break;
        default:
            break;
        }
        // A row whose operator does not belong to its field's kind gives no
        // condition; it is left out rather than sent as a bare field name.
        if (condition.isEmpty())
            continue;

        if (r == 1)
            s = QStringLiteral(" and ( ");
        else if (connector.compare(u"与", Qt::CaseInsensitive) == 0)
            s += s.isEmpty() ? QStringLiteral(" and ( ") : QStringLiteral(" and ");
        else
            s += s.isEmpty() ? QStringLiteral(" and ( ") : QStringLiteral(" or ");

        s += field + condition;
    }
    return s;
}

QString buildSeekSQLB(const QDate &startDate, const QDate &endDate, const TextBoxes &textBoxes)
{
    QString s = QStringLiteral(" and ( fdate>='") + sqlDateText(startDate) + QStringLiteral("'   and fdate<='")
        + sqlDateText(endDate) + QStringLiteral("' ");
    for (const auto &[text, tag] : textBoxes) {
        const QString value = trimBlanks(text);
        if (value.isEmpty())
            continue;
        const QStringList items = tag.split(u',');
        if (items.size() < 3)
            throw ConversionError(QStringLiteral("下标越界"));
        s += QStringLiteral(" and ") + items[2] + QStringLiteral(" like '%") + sqlLikeValue(value) + QStringLiteral("%'") + kLikeEscape
            + QStringLiteral("  ");
    }
    return s;
}

QString buildMainSQL(const FilterCodes &codes, int currentYear, int currentPeriod)
{
    using namespace FixedFilters;
    QString s;

    // Today, this month and this year are ranges on the column itself, from
    // the first day up to (not including) the first day after, which the
    // date index answers; the bills they find are those whose year, month
    // and day are today's.
    const int range = codes[DateRange];
    if (range >= 1 && range <= 20) {
        const QDate today = Clock::today();
        auto dateRange = [](const QDate &from, const QDate &until) {
            return QStringLiteral(" and fdate>='") + sqlDateText(from) + QStringLiteral("' and fdate<'") + sqlDateText(until)
                + u'\'';
        };
        const QDate month(today.year(), today.month(), 1);
        const QDate year(today.year(), 1, 1);
        switch (range) {
        case 1:
            s += dateRange(today, today.addDays(1));
            break;
        case 2:
            s += dateRange(month, month.addMonths(1));
            break;
        case 3:
            s += dateRange(year, year.addYears(1));
            break;
        case 20:
            s += QStringLiteral(" and fYear=") + QString::number(currentYear) + QStringLiteral(" and fperiod=")
                + QString::number(currentPeriod);
            break;
        default:
            break;
        }
    }

    switch (codes[Audit]) {
    case 1: s += QStringLiteral(" and fstatus=1"); break;
    case 2: s += QStringLiteral(" and fstatus=0"); break;
    default: break;
    }

    switch (codes[Cancellation]) {
    case 1: s += QStringLiteral(" and fcancellation=1"); break;
    case 2: s += QStringLiteral(" and fcancellation=0"); break;
    default: break;
    }

    switch (codes[RedBlue]) {
    case 0: s += QStringLiteral(" and frob=0"); break;
    case 1: s += QStringLiteral(" and frob=1"); break;
    default: break;
    }

    // "部分钩稽" and "全部钩稽" are deliberately not each other's complement:
    // an invoice with amount and matched amount both 0 is unmatched and
    // fully matched at once.
    switch (codes[Matching]) {
    case 0:
        s += QStringLiteral(" and isnull(fEndAmount,0)=0 ");
        break;
    case 1:
        s += QStringLiteral(" and isnull(fEndAmount,0)<>0 and abs(isnull(fAmount,0))>abs(isnull(fEndAmount,0))");
        break;
    case 2:
        s += QStringLiteral(" and    abs(isnull(fAmount,0))<=abs(isnull(fEndAmount,0)) ");
        break;
    default:
        break;
    }
    return s;
}

QString buildOrderSQL()
{
    return {};
}

QString buildFindStatement(const QString &viewName, const QString &seek, const QString &main,
                           const QString &findSql, const QString &order)
{
    QString q = QStringLiteral("select top 20000 * from ") + viewName + QStringLiteral(" where 1=1 ");
    if (!seek.isEmpty())
        q += seek + u')';
    q += main;
    q += findSql;
    q += order.isEmpty() ? QStringLiteral(" order by fdate,fbillno,finterid") : order;
    return q;
}
