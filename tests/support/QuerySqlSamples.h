#pragma once
// Representative inputs of the query builders, covering every operator of
// every value kind, both connectors, every code of every fixed list and the
// simple page, so that the statements they produce can be run against a real
// schema. The fields used are columns every bill view has: fbillno and
// fOperatorName (text), fAmount and finterid (number), fdate (date).
#include "query/QuerySql.h"

#include <QList>
#include <QString>

namespace QuerySqlSamples {

template <typename T>
struct Sample {
    QString name;
    T value;
};

// Grid contents, each row filled the way the dialog fills it.
QList<Sample<ConditionTable>> conditionTables();
// Every code of every fixed list once (the others at "全部"), all at "全部",
// and all lists set together.
QList<Sample<FilterCodes>> filterCodes();
// Simple pages: (start, end, text boxes).
struct SimplePage {
    QDate start;
    QDate end;
    TextBoxes boxes;
};
QList<Sample<SimplePage>> simplePages();

// Complete statements over `viewName`: each grid, each simple page and each
// set of codes, with and without the host's condition `findSql`.
QList<Sample<QString>> findStatements(const QString &viewName, const QString &findSql,
                                      int currentYear, int currentPeriod);

} // namespace QuerySqlSamples
