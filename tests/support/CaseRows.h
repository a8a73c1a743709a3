#pragma once
// Data tables of case structs in one column "row": each case's first member
// is its name (const char *). The engine form adds the DbEngine column and
// one row "<engine>/<name>" per engine and case. Declare the struct with
// Q_DECLARE_METATYPE and read it with QFETCH(Row, row).
#include "support/TestDatabase.h"

template <typename Row>
void addCaseRows(std::initializer_list<Row> cases)
{
    QTest::addColumn<Row>("row");
    for (const Row &c : cases)
        QTest::newRow(c.name) << c;
}

template <typename Row>
void addEngineCaseRows(std::initializer_list<Row> cases)
{
    QTest::addColumn<DbEngine>("engine");
    QTest::addColumn<Row>("row");
    for (DbEngine e : TestDatabase::engines())
        for (const Row &c : cases)
            engineRow(e, QString::fromUtf8(c.name)) << c;
}
