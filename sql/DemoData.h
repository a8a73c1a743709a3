#pragma once
// Deterministic demo data for a small trading business: suppliers, goods,
// departments, users, two accounting years of periods, stock-in bills and
// purchase invoices matched against them, the numbering template, the
// editor's header layout, the list's columns, the query's fields and a
// default print template row. The same seed always gives the same data.
#include "platform/Connection.h"

#include <QDate>

#include <functional>

struct DemoOptions {
    quint32 seed = 20261122;
    QDate today;            // invalid: Clock::today()
    int suppliers = 30;
    int goods = 200;
    int stockBills = 2000;
    int invoices = 500;
    // Told how far the writing of the bills has come ("入库单" or
    // "采购发票", rows written, rows in all): with 0 as each starts, then
    // every ten thousand rows or tenth of the total, whichever is more, and
    // at the end of each.
    std::function<void(const QString &what, int done, int total)> progress;

    // The benchmark size: 100,000 invoices with stock bills to match.
    static DemoOptions scaled(int invoices);
};

// What the generator wrote, for callers that need to know.
struct DemoSummary {
    int stockBills = 0;
    int invoices = 0;
    int entries = 0;        // tblFPEntry rows
    int lastInvoiceId = 0;  // also tblmaxNum 'tblFP'
    int lastSequence = 0;   // also tblMaxBillNo.fbillno of bill kind 71
};

// Fills a database that holds the empty schema. Runs in one transaction.
DemoSummary generateDemoData(Connection &conn, const DemoOptions &options = {});
// A new demo database on an empty one: the schema without its secondary
// indexes, the demo data, then the indexes, made once over all the rows.
DemoSummary createDemoDatabase(Connection &conn, const DemoOptions &options = {});

// Fixed facts of the demo data that tests and the host rely on.
namespace Demo {
inline constexpr int kAdminUserId = 1;     // 管理员, administrator
inline constexpr int kClerkUserId = 2;     // a clerk without audit, delete and design rights
inline constexpr int kAuditorUserId = 3;   // 李主管, holds every right; audits the demo bills
inline constexpr int kCustomerClass = 1;   // tblItem class of customers
inline constexpr int kSupplierClass = 4;   // tblItem class of suppliers
inline constexpr int kDepartmentClass = 2; // tblItem class of departments
inline constexpr int kGoodsClass = 3;      // tblItem class of goods
inline constexpr int kStaffClass = 5;      // tblItem class of staff
inline constexpr int kInvoiceTypeId = 71;  // bill kind of purchase invoices
inline constexpr int kStockInTranType = 1; // icstockbill.ftrantype that invoices match
// Every right code of the module, and the ones the clerk does not hold.
inline constexpr const char *kAllRights[] = {"Q01", "Q02", "Q03", "Q04", "Q05", "Q06", "Q07", "Q08", "Q19", "Q21"};
inline constexpr const char *kClerkDeniedRights[] = {"Q03", "Q04", "Q21"};
// Numbering template of bill kind 71: 'CGFP' + year (4 digits) + month +
// sequence of at least 4 digits.
inline constexpr const char *kInvoiceNumberTemplate = "CGFP年月序号";
inline constexpr int kInvoiceSequenceLength = 4;
inline constexpr int kInvoiceYearLength = 4;
}
