#include "support/QuerySqlSamples.h"

namespace QuerySqlSamples {

namespace {
// List indexes of the sample catalogue's fields (0 is "无").
enum SampleField { BillNo = 1, Operator = 2, Amount = 3, InterId = 4, Date = 5 };

FieldCatalogue sampleCatalogue()
{
    FieldCatalogue catalogue;
    catalogue.addField(QStringLiteral("发票号码"), QStringLiteral("fbillno"), QStringLiteral("2"), QStringLiteral("0"), QString(), QStringLiteral("0"));
    catalogue.addField(QStringLiteral("制单人"), QStringLiteral("fOperatorName"), QStringLiteral("2"), QString(), QString(), QStringLiteral("0"));
    catalogue.addField(QStringLiteral("金额"), QStringLiteral("fAmount"), QStringLiteral("1"), QString(), QString(), QStringLiteral("0"));
    catalogue.addField(QStringLiteral("内码"), QStringLiteral("finterid"), QStringLiteral("1"), QString(), QString(), QStringLiteral("0"));
    catalogue.addField(QStringLiteral("日期"), QStringLiteral("fdate"), QStringLiteral("3"), QString(), QString(), QStringLiteral("0"));
    return catalogue;
}

void fillRow(ConditionTable &t, int row, const QString &connector, int field, int op, const QString &value)
{
    static const FieldCatalogue catalogue = sampleCatalogue();
    if (row > 1)
        t.setCell(row, ConditionTable::ColConnector, connector);
    t.chooseCaption(row, field, catalogue);
    t.chooseOperator(row, op);
    t.setCell(row, ConditionTable::ColValue, value);
}

ConditionTable single(int field, int op, const QString &value)
{
    ConditionTable t;
    fillRow(t, 1, QString(), field, op, value);
    return t;
}

FilterCodes allCodes()
{
    FilterCodes codes;
    for (int list = 0; list < FixedFilters::kListCount; ++list)
        codes[list] = FixedFilters::items(list, true).constLast().code;
    return codes;
}
} // namespace

QList<Sample<ConditionTable>> conditionTables()
{
    QList<Sample<ConditionTable>> samples;
    samples.append({QStringLiteral("empty"), ConditionTable()});

    const QStringList numberOps = operatorNames(int(ValueKind::Number));
    for (int op = 0; op < numberOps.size(); ++op) {
        samples.append({QStringLiteral("number ") + numberOps[op], single(Amount, op, QStringLiteral("100"))});
        samples.append({QStringLiteral("number empty ") + numberOps[op], single(InterId, op, QString())});
    }
    const QStringList textOps = operatorNames(int(ValueKind::Text));
    for (int op = 0; op < textOps.size(); ++op)
        samples.append({QStringLiteral("text ") + textOps[op], single(BillNo, op, QStringLiteral("FP"))});
    const QStringList dateOps = operatorNames(int(ValueKind::Date));
    for (int op = 0; op < dateOps.size(); ++op)
        samples.append({QStringLiteral("date ") + dateOps[op], single(Date, op, QStringLiteral("2024-03-15"))});

    ConditionTable mixed;
    fillRow(mixed, 1, QString(), Date, 3, QStringLiteral("2024-01-01"));
    fillRow(mixed, 2, QStringLiteral("与"), Amount, 0, QStringLiteral("0"));
    fillRow(mixed, 3, QStringLiteral("或"), Operator, 1, QStringLiteral("管理"));
    fillRow(mixed, 5, QStringLiteral("与"), BillNo, 5, QString());
    samples.append({QStringLiteral("and/or rows with a gap"), mixed});

    ConditionTable fromRow3;
    fillRow(fromRow3, 3, QStringLiteral("或"), BillNo, 2, QStringLiteral("X"));
    fillRow(fromRow3, 4, QStringLiteral("或"), Amount, 5, QStringLiteral("-1.5"));
    samples.append({QStringLiteral("first condition on row 3"), fromRow3});
    return samples;
}

QList<Sample<FilterCodes>> filterCodes()
{
    QList<Sample<FilterCodes>> samples;
    samples.append({QStringLiteral("all 全部"), allCodes()});
    for (int list = 0; list < FixedFilters::kListCount; ++list) {
        for (const FilterItem &item : FixedFilters::items(list, true)) {
            FilterCodes codes = allCodes();
            codes[list] = item.code;
            samples.append({QStringLiteral("PC%1 %2").arg(list).arg(item.text), codes});
        }
    }
    FilterCodes none;
    none.fill(FixedFilters::kNoSelection);
    samples.append({QStringLiteral("no selection"), none});
    samples.append({QStringLiteral("all lists set"), FilterCodes{1, 20, 1, 2, 0}});
    return samples;
}

QList<Sample<SimplePage>> simplePages()
{
    const QDate start(2024, 2, 15);
    const QDate end(2024, 3, 15);
    return {
        {QStringLiteral("dates only"), {start, end, {}}},
        {QStringLiteral("empty boxes"), {start, end, {{QString(), QStringLiteral("0,0,fbillno")}, {QStringLiteral("   "), QStringLiteral("1,0,fOperatorName")}}}},
        {QStringLiteral("two boxes"), {start, end, {{QStringLiteral(" FP "), QStringLiteral("0,0,fbillno")}, {QStringLiteral("管理"), QStringLiteral("1,0,fOperatorName")}}}},
    };
}

QList<Sample<QString>> findStatements(const QString &viewName, const QString &findSql, int currentYear, int currentPeriod)
{
    QList<Sample<QString>> statements;
    const QString order = buildOrderSQL();
    const QString allMain = buildMainSQL(allCodes(), currentYear, currentPeriod);
    for (const auto &[hostName, host] : {std::pair{QStringLiteral(""), QString()}, std::pair{QStringLiteral(" +host"), findSql}}) {
        if (!hostName.isEmpty() && findSql.isEmpty())
            continue;
        for (const auto &sample : conditionTables())
            statements.append({QStringLiteral("grid ") + sample.name + hostName,
                               buildFindStatement(viewName, buildSeekSQL(sample.value), allMain, host, order)});
        for (const auto &sample : simplePages())
            statements.append({QStringLiteral("simple ") + sample.name + hostName,
                               buildFindStatement(viewName, buildSeekSQLB(sample.value.start, sample.value.end, sample.value.boxes),
                                                  allMain, host, order)});
        for (const auto &sample : filterCodes())
            statements.append({QStringLiteral("codes ") + sample.name + hostName,
                               buildFindStatement(viewName, QString(), buildMainSQL(sample.value, currentYear, currentPeriod), host, order)});
    }
    return statements;
}

} // namespace QuerySqlSamples
