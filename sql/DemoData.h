#pragma once
// Deterministic demo data for a small trading business: suppliers, goods,
// departments, users, two accounting years of periods, stock-in bills and
// purchase invoices matched against them, the numbering template, the
// editor's header layout, the list's columns, the query's fields and a
// default print template row. The same seed always gives the same data.
#include "platform/Connection.h"

#include <QDate>

struct DemoOptions {
    quint32 seed = 20261122;
    QDate today;            // invalid: Clock::today()
    int suppliers = 30;
    int goods = 200;
    int stockBills = 2000;
    int invoices = 500;

    // The benchmark size: 100,000 invoices with stock bills to match.
    static DemoOptions scaled(int invoices);
};

// What the generator wrote, for callers that need to know.
struct DemoSummary {
    int stockBills = 0;
    int invoices = 0;
    int lastInvoiceId = 0;
    int lastSequence = 0;
};

// Fills a database that holds the empty schema. Runs in one transaction.
DemoSummary generateDemoData(Connection &conn, const DemoOptions &options = {});

// Fixed facts of the demo data that tests and the host rely on.
namespace Demo {
inline constexpr int kAdminUserId = 1;     // 管理员, administrator
inline constexpr int kClerkUserId = 2;     // a clerk without audit, delete and design rights
inline constexpr int kSupplierClass = 4;   // tblItem class of suppliers
inline constexpr int kDepartmentClass = 2; // tblItem class of departments
inline constexpr int kGoodsClass = 3;      // tblItem class of goods
}
