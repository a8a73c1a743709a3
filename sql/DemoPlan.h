#pragma once
// The demo data as planned in memory before anything is written: the random
// stream, the codes, the stock-in bills and the invoices matched against
// them. Only the demo data generator uses it.
#include "sql/DemoData.h"

#include <QDate>
#include <QString>
#include <QStringList>

#include <array>
#include <functional>
#include <vector>

namespace DemoPlan {

// splitmix64: small, fast and the same on every platform, so a seed always
// gives the same data.
class Random {
public:
    explicit Random(quint64 seed) : m_state(seed) {}
    quint64 next()
    {
        quint64 z = (m_state += 0x9E3779B97F4A7C15ull);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
        return z ^ (z >> 31);
    }
    // 0 .. n-1 (n > 0).
    int below(int n) { return int(next() % quint64(n)); }
    int between(int lo, int hi) { return lo + below(hi - lo + 1); }
    qint64 between64(qint64 lo, qint64 hi) { return lo + qint64(next() % quint64(hi - lo + 1)); }
    bool percent(int p) { return below(100) < p; }
    template <typename T, size_t N>
    const T &pick(const std::array<T, N> &items) { return items[size_t(below(int(N)))]; }

private:
    quint64 m_state;
};

QString text(const char16_t *s);
// yyyy-MM-dd
QString dateText(const QDate &d);
QDate randomDate(Random &rng, const QDate &from, const QDate &to);
// Renders a bill-number template: 年 becomes the last `yearDigits` digits of
// the year, 月 and 日 the two-digit month and day, 序号 the sequence padded
// with zeros to `length` digits (a longer sequence is kept whole).
QString renderBillNo(const QString &pattern, const QDate &date, int yearDigits, int length, int sequence);

// Words of the goods attributes, drawn while the goods are written.
inline constexpr std::array<const char16_t *, 10> kOrigins{
    u"江苏", u"浙江", u"广东", u"上海", u"山东", u"福建", u"河北", u"安徽", u"天津", u"湖北"};
inline constexpr std::array<const char16_t *, 8> kBrands{
    u"恒通", u"金盾", u"华力", u"鑫源", u"精工", u"宝丰", u"安泰", u"博远"};
inline constexpr std::array<const char16_t *, 4> kGrades{u"一等品", u"合格品", u"优等品", u"标准件"};

struct Item {
    int id = 0;
    QString number;
    QString name;
    int classId = 0;
    bool detail = true;
    bool locked = false;
};

// Kept small: a million invoices match four million of them. Bill i of the
// plan has the id i + 1.
struct StockBill {
    qint32 day = 0;        // Julian day of the bill date
    qint32 supplierId = 0;
    qint32 amount = 0;     // cents, negative on red bills
    qint32 invoiced = 0;   // sum of the entries of non-void invoices
    qint8 tranType = 1;
    qint8 invoiceable = 1; // fISKP: 1, 0, or -1 for null
    bool cancelled = false;
    bool named = false;    // some invoice (void or not) has an entry for it
    QDate date() const { return QDate::fromJulianDay(day); }
};

struct Entry {
    int stockIndex = 0;
    qint64 amount = 0;
};

struct Invoice {
    QDate date;
    int supplierId = 0;
    int deptId = 0;
    int operatorId = 0;
    bool audited = false;
    bool cancelled = false;
    bool red = false;
    qint64 amount = 0;
    std::vector<Entry> entries;
    QString invoiceNo;
    QString note;
};

// Stock-in bills of one supplier and one sign that invoices may match, in
// date order, with the position before which every bill is fully invoiced.
struct OpenList {
    std::vector<int> bills;
    size_t first = 0;
};

// Dates that place the generated history: today, the first of the current
// period, and where about fourteen months of history begin.
struct DemoCalendar {
    QDate today;
    QDate periodStart;
    QDate spanStart;
};

struct Goods {
    int id;
    QString model;
    int unitId;
    qint64 inPrice; // cents
    bool hasAttributes;
};

// Reference data decided before anything is written: the codes of every
// class, the suppliers bills may name and how often, units and goods.
struct ReferenceData {
    std::vector<Item> items;
    std::vector<int> supplierIds; // usable suppliers; the last one created is locked
    std::vector<int> supplierWeights;
    int purchaseDept = 0;
    int storeDept = 0;
    QStringList units;
    std::vector<Goods> goods;
};

// Stock-in bills with, per supplier, the bills invoices may still match.
struct StockPlan {
    std::vector<StockBill> bills;
    // Open lists per supplier: [supplier index][0 blue, 1 red].
    std::vector<std::array<OpenList, 2>> open;
};

// What was written of the invoices, which are written one by one as they
// are planned; their entries also update the stock bills' invoiced amounts.
struct InvoicePlan {
    int invoices = 0;
    int entryCount = 0;
};

// Today (the options' day, or the clock's), where the period and the history begin.
DemoCalendar demoCalendar(const DemoOptions &options);

// Customers, departments, staff, supplier groups and suppliers, then the
// units of measure and the goods codes with their purchase prices.
ReferenceData planReferenceData(Random &rng, const DemoOptions &options);

// Stock-in bills in date order, a few of other transaction types, cancelled,
// red or not invoiceable; the matchable ones go to their supplier's open list.
StockPlan planStockBills(Random &rng, const DemoOptions &options, const DemoCalendar &cal, const ReferenceData &ref);

// Invoices in date order. Each matches the oldest open stock-in bills of its
// supplier and sign, wholly or in part; void invoices name bills without
// counting toward what is invoiced. The invoice amount is the matched sum,
// sometimes more (partly matched), or a free amount without entries.
InvoicePlan planInvoices(Random &rng, const DemoOptions &options, const DemoCalendar &cal, const ReferenceData &ref,
                         StockPlan &stockPlan, const std::function<void(const Invoice &)> &write);

} // namespace DemoPlan
