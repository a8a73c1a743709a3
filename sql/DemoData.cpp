#include "sql/DemoData.h"

#include "platform/Amount.h"
#include "platform/Clock.h"
#include "platform/DbError.h"
#include "platform/Transaction.h"
#include "sql/DatabaseSetup.h"
#include "sql/DemoDataInsert.h"

#include <QFile>
#include <QSet>
#include <QSqlError>
#include <QSqlQuery>

#include <algorithm>
#include <array>
#include <optional>
#include <vector>

namespace {

using DemoInsert::BulkInsert;
using DemoInsert::Value;
using DemoInsert::money;
using DemoInsert::nullValue;

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

QString text(const char16_t *s)
{
    return QString::fromUtf16(s);
}

QString dateText(const QDate &d)
{
    return d.toString(QStringLiteral("yyyy-MM-dd"));
}

// Renders a bill-number template: 年 becomes the last `yearDigits` digits of
// the year, 月 and 日 the two-digit month and day, 序号 the sequence padded
// with zeros to `length` digits (a longer sequence is kept whole).
QString renderBillNo(const QString &pattern, const QDate &date, int yearDigits, int length, int sequence)
{
    QString serial = QString::number(sequence);
    if (serial.size() < length)
        serial.prepend(QString(length - serial.size(), u'0'));
    QString result = pattern;
    result.replace(QStringLiteral("月"), QStringLiteral("%1").arg(date.month(), 2, 10, QLatin1Char('0')));
    result.replace(QStringLiteral("日"), QStringLiteral("%1").arg(date.day(), 2, 10, QLatin1Char('0')));
    result.replace(QStringLiteral("年"), QString::number(date.year()).right(yearDigits));
    result.replace(QStringLiteral("序号"), serial);
    return result;
}

// --- Fixed vocabulary -------------------------------------------------------

constexpr std::array<const char16_t *, 24> kCities{
    u"上海", u"苏州", u"杭州", u"宁波", u"南京", u"无锡", u"常州", u"广州",
    u"深圳", u"东莞", u"佛山", u"厦门", u"青岛", u"天津", u"北京", u"武汉",
    u"成都", u"合肥", u"温州", u"嘉兴", u"绍兴", u"台州", u"济南", u"郑州"};
constexpr std::array<const char16_t *, 36> kCores{
    u"恒通", u"华美", u"金盾", u"鑫源", u"宏达", u"永盛", u"瑞丰", u"天成",
    u"信达", u"隆昌", u"振华", u"海川", u"佳和", u"诚信", u"万利", u"博远",
    u"嘉禾", u"富强", u"新兴", u"精工", u"同创", u"安泰", u"顺发", u"广源",
    u"明辉", u"荣达", u"德润", u"卓越", u"伟业", u"凯达", u"华通", u"盛隆",
    u"众鑫", u"汇金", u"利丰", u"宝丰"};
constexpr std::array<const char16_t *, 15> kTrades{
    u"五金制品", u"电子科技", u"机电设备", u"办公用品", u"包装材料", u"建材",
    u"电线电缆", u"劳保用品", u"化工", u"贸易", u"塑料制品", u"钢材",
    u"照明电器", u"轴承", u"工具"};

struct GoodsKind {
    const char16_t *name;
    const char16_t *unit;
    std::array<const char16_t *, 4> models;
    int minPrice; // yuan
    int maxPrice;
};

constexpr std::array<GoodsKind, 44> kGoodsKinds{{
    {u"六角螺栓", u"盒", {u"M6×20", u"M8×30", u"M10×40", u"M12×50"}, 12, 60},
    {u"不锈钢自攻螺丝", u"盒", {u"ST3.5×16", u"ST4.2×19", u"ST4.8×25", u"ST5.5×32"}, 15, 48},
    {u"铜芯电线", u"卷", {u"BV1.5 100米", u"BV2.5 100米", u"BV4 100米", u"BV6 100米"}, 160, 680},
    {u"电力电缆", u"米", {u"YJV 3×4", u"YJV 3×6", u"YJV 3×10+1×6", u"YJV 4×16"}, 12, 95},
    {u"PVC线管", u"根", {u"Φ16 3米", u"Φ20 3米", u"Φ25 3米", u"Φ32 3米"}, 3, 12},
    {u"LED灯管", u"支", {u"T8 1.2米 18W", u"T8 0.6米 9W", u"T5 1.2米 16W", u"T5 0.9米 12W"}, 9, 35},
    {u"LED筒灯", u"个", {u"2.5寸 5W", u"3寸 7W", u"4寸 9W", u"6寸 12W"}, 12, 48},
    {u"小型断路器", u"个", {u"1P C16", u"1P C20", u"2P C32", u"3P C63"}, 14, 120},
    {u"插座面板", u"个", {u"五孔 10A", u"三孔 16A", u"五孔带开关", u"双联开关"}, 6, 28},
    {u"A4复印纸", u"箱", {u"70g 500张×8包", u"80g 500张×5包", u"70g 500张×10包", u"75g 500张×8包"}, 120, 210},
    {u"中性笔", u"盒", {u"0.5mm 黑色 12支", u"0.5mm 蓝色 12支", u"0.38mm 黑色 12支", u"0.7mm 红色 12支"}, 12, 36},
    {u"文件夹", u"个", {u"A4 单夹", u"A4 双夹", u"A4 强力夹", u"A4 拉杆"}, 4, 16},
    {u"订书机", u"个", {u"12号", u"10号", u"省力型", u"重型 100页"}, 9, 85},
    {u"激光打印机硒鼓", u"个", {u"HT-228A", u"HT-388A", u"HT-12A", u"HT-278A"}, 85, 260},
    {u"劳保手套", u"打", {u"棉纱 700克", u"棉纱 800克", u"丁腈浸胶", u"PU涂掌"}, 18, 65},
    {u"安全帽", u"顶", {u"ABS 白色", u"ABS 黄色", u"ABS 红色", u"玻璃钢 蓝色"}, 15, 58},
    {u"工作服", u"套", {u"M 码", u"L 码", u"XL 码", u"XXL 码"}, 65, 180},
    {u"角阀", u"个", {u"DN15 冷水", u"DN15 热水", u"DN20", u"DN15 加长"}, 12, 45},
    {u"PPR水管", u"米", {u"De20", u"De25", u"De32", u"De40"}, 4, 22},
    {u"铜球阀", u"个", {u"DN15", u"DN20", u"DN25", u"DN32"}, 18, 95},
    {u"封箱胶带", u"卷", {u"48mm×100m 透明", u"48mm×100m 米黄", u"60mm×100m 透明", u"45mm×50m 透明"}, 3, 9},
    {u"瓦楞纸箱", u"个", {u"三层 1号", u"三层 3号", u"五层 5号", u"五层 7号"}, 2, 12},
    {u"缠绕膜", u"卷", {u"50cm×300m", u"50cm×500m", u"45cm×300m", u"30cm×200m"}, 25, 85},
    {u"塑料托盘", u"个", {u"1200×1000 九脚", u"1200×1000 川字", u"1100×1100 田字", u"1200×800 网格"}, 85, 260},
    {u"深沟球轴承", u"套", {u"6204-2RS", u"6205-2RS", u"6206-2RS", u"6308-ZZ"}, 9, 68},
    {u"抗磨液压油", u"桶", {u"46号 18L", u"68号 18L", u"32号 18L", u"46号 200L"}, 280, 2600},
    {u"锂基润滑脂", u"桶", {u"2号 15kg", u"3号 15kg", u"2号 1kg", u"0号 15kg"}, 35, 420},
    {u"手电钻", u"台", {u"10mm 450W", u"13mm 550W", u"13mm 800W", u"锂电 12V"}, 120, 520},
    {u"角磨机", u"台", {u"100型 750W", u"100型 900W", u"125型 1200W", u"150型 1400W"}, 130, 460},
    {u"树脂切割片", u"片", {u"105×1.2×16", u"105×1.0×16", u"350×3.0×25.4", u"125×1.2×22"}, 1, 25},
    {u"碳钢焊条", u"箱", {u"J422 Φ2.5 20kg", u"J422 Φ3.2 20kg", u"J422 Φ4.0 20kg", u"J506 Φ3.2 20kg"}, 120, 260},
    {u"醇酸调和漆", u"桶", {u"白色 15kg", u"灰色 15kg", u"铁红 15kg", u"黑色 3kg"}, 45, 360},
    {u"内墙乳胶漆", u"桶", {u"白色 5L", u"白色 18L", u"米黄 18L", u"防霉 18L"}, 80, 520},
    {u"普通硅酸盐水泥", u"吨", {u"P.O42.5 袋装", u"P.O42.5 散装", u"P.O52.5 袋装", u"P.C32.5 袋装"}, 380, 620},
    {u"焊接钢管", u"吨", {u"Φ48×3.0", u"DN25×2.75", u"DN50×3.5", u"DN100×4.0"}, 4200, 5600},
    {u"螺纹钢", u"吨", {u"HRB400 Φ12", u"HRB400 Φ16", u"HRB400 Φ20", u"HRB400 Φ25"}, 3600, 4600},
    {u"工业铝型材", u"米", {u"4040 国标", u"3030 国标", u"4080 国标", u"2020 欧标"}, 15, 68},
    {u"中性玻璃胶", u"支", {u"透明 300ml", u"白色 300ml", u"黑色 300ml", u"瓷白 590ml"}, 6, 28},
    {u"尼龙扎带", u"包", {u"4×200 白色", u"5×300 黑色", u"3×150 白色", u"8×400 黑色"}, 6, 45},
    {u"钢卷尺", u"把", {u"3米", u"5米", u"7.5米", u"10米"}, 6, 35},
    {u"电子计算器", u"个", {u"12位 太阳能", u"12位 大屏", u"14位 双电源", u"10位 便携"}, 15, 85},
    {u"抑菌洗手液", u"瓶", {u"500ml", u"300ml", u"1L 补充装", u"5L 桶装"}, 9, 65},
    {u"加厚垃圾袋", u"包", {u"60×80 黑色 50只", u"80×100 黑色 50只", u"45×55 彩色 100只", u"100×120 黑色 30只"}, 8, 32},
    {u"桶装饮用水", u"桶", {u"18.9L", u"11.3L", u"18.9L 矿物质", u"7.5L"}, 12, 28},
}};

constexpr std::array<const char16_t *, 10> kOrigins{
    u"江苏", u"浙江", u"广东", u"上海", u"山东", u"福建", u"河北", u"安徽", u"天津", u"湖北"};
constexpr std::array<const char16_t *, 8> kBrands{
    u"恒通", u"金盾", u"华力", u"鑫源", u"精工", u"宝丰", u"安泰", u"博远"};
constexpr std::array<const char16_t *, 4> kGrades{u"一等品", u"合格品", u"优等品", u"标准件"};
constexpr std::array<const char16_t *, 10> kInvoiceNotes{
    u"月结货款", u"含运费", u"分批到票", u"补开上月发票", u"已核对入库单", u"专票", u"普票",
    u"预付款抵扣", u"按合同结算", u"供应商邮寄"};
constexpr std::array<const char16_t *, 3> kRedInvoiceNotes{u"退货冲红", u"质量问题退货", u"价格调整冲红"};

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

QDate randomDate(Random &rng, const QDate &from, const QDate &to)
{
    return from.addDays(rng.between(0, int(from.daysTo(to))));
}

QString companyName(Random &rng, QSet<QString> &used, const QString &suffix)
{
    for (int attempt = 0; attempt < 50; ++attempt) {
        const QString name = text(rng.pick(kCities)) + text(rng.pick(kCores)) + text(rng.pick(kTrades)) + suffix;
        if (!used.contains(name)) {
            used.insert(name);
            return name;
        }
    }
    // The vocabulary is large; this only happens for thousands of names.
    const QString name = text(rng.pick(kCities)) + text(rng.pick(kCores)) + QString::number(used.size()) + suffix;
    used.insert(name);
    return name;
}

qint64 stockAmount(Random &rng, bool red)
{
    const qint64 price = rng.between64(350, 98000);         // cents
    const qint64 quantity = red ? rng.between(1, 20) : rng.between(1, 120);
    qint64 amount = price * quantity;
    if (rng.percent(15))
        amount = (amount / 10000) * 10000 + 10000; // a round sum, as for bulk orders
    return red ? -amount : amount;
}


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

DemoCalendar demoCalendar(const DemoOptions &options)
{
    DemoCalendar c;
    c.today = options.today.isValid() ? options.today : Clock::today();
    c.periodStart = QDate(c.today.year(), c.today.month(), 1);
    // About fourteen months of history, but never before the first of the
    // two accounting years that tblPeriod describes.
    const QDate back = c.today.addMonths(-14);
    c.spanStart = std::max(QDate(back.year(), back.month(), 1), QDate(c.today.year() - 1, 1, 1));
    return c;
}

// Customers, departments, staff, supplier groups and suppliers, then the
// units of measure and the goods codes with their purchase prices.
ReferenceData planReferenceData(Random &rng, const DemoOptions &options)
{
    ReferenceData ref;
    std::vector<Item> &items = ref.items;
    int nextItemId = 1;
    auto addItem = [&](int classId, const QString &number, const QString &name, bool detail = true, bool locked = false) {
        items.push_back(Item{nextItemId++, number, name, classId, detail, locked});
        return items.back().id;
    };

    QSet<QString> usedNames;
    for (int i = 1; i <= 5; ++i)
        addItem(Demo::kCustomerClass, QStringLiteral("01.%1").arg(i, 3, 10, QLatin1Char('0')),
                companyName(rng, usedNames, QStringLiteral("商贸有限公司")));

    const std::array<const char16_t *, 6> departments{u"采购部", u"仓储部", u"财务部", u"销售部", u"行政部", u"生产部"};
    std::vector<int> departmentIds;
    for (size_t i = 0; i < departments.size(); ++i)
        departmentIds.push_back(addItem(Demo::kDepartmentClass, QStringLiteral("02.%1").arg(int(i) + 1, 2, 10, QLatin1Char('0')),
                                        text(departments[i])));
    ref.purchaseDept = departmentIds[0];
    ref.storeDept = departmentIds[1];

    const std::array<const char16_t *, 6> staff{u"王磊", u"刘洋", u"陈静", u"杨帆", u"赵敏", u"周强"};
    for (size_t i = 0; i < staff.size(); ++i)
        addItem(Demo::kStaffClass, QStringLiteral("05.%1").arg(int(i) + 1, 3, 10, QLatin1Char('0')), text(staff[i]));

    // Supplier groups are summary codes that bills never use.
    addItem(Demo::kSupplierClass, QStringLiteral("04.1"), QStringLiteral("华东地区供应商"), false);
    addItem(Demo::kSupplierClass, QStringLiteral("04.2"), QStringLiteral("华南地区供应商"), false);
    addItem(Demo::kSupplierClass, QStringLiteral("04.3"), QStringLiteral("其他地区供应商"), false);
    const int supplierCount = std::max(2, options.suppliers);
    for (int i = 1; i <= supplierCount; ++i) {
        const bool locked = i == supplierCount;
        const int id = addItem(Demo::kSupplierClass, QStringLiteral("04.%1").arg(i, 3, 10, QLatin1Char('0')),
                               companyName(rng, usedNames, QStringLiteral("有限公司")), true, locked);
        if (!locked)
            ref.supplierIds.push_back(id);
    }
    // Some suppliers deliver much more often than others.
    for (size_t i = 0; i < ref.supplierIds.size(); ++i)
        for (int w = rng.between(1, 6); w > 0; --w)
            ref.supplierWeights.push_back(int(i));

    // Units of measure, in the order the goods kinds first use them.
    for (const GoodsKind &kind : kGoodsKinds)
        if (!ref.units.contains(text(kind.unit)))
            ref.units << text(kind.unit);

    const int goodsCount = std::max(1, options.goods);
    for (int j = 0; j < goodsCount; ++j) {
        const int kindIndex = j % int(kGoodsKinds.size());
        const GoodsKind &kind = kGoodsKinds[size_t(kindIndex)];
        const int round = j / int(kGoodsKinds.size());
        QString model = text(kind.models[size_t(round % 4)]);
        if (round >= 4)
            model += QStringLiteral(" %1型").arg(round / 4 + 1);
        // A few codes are locked, a few have no goods attributes yet.
        const bool locked = (j + 1) % 97 == 0;
        const bool hasAttributes = (j + 1) % 50 != 0;
        const int id = addItem(Demo::kGoodsClass, QStringLiteral("03.%1").arg(j + 1, 4, 10, QLatin1Char('0')),
                               text(kind.name), true, locked);
        const qint64 inPrice = rng.between64(qint64(kind.minPrice) * 100, qint64(kind.maxPrice) * 100);
        ref.goods.push_back(Goods{id, model, int(ref.units.indexOf(text(kind.unit))) + 1, inPrice, hasAttributes});
    }
    return ref;
}

// Stock-in bills in date order, a few of other transaction types, cancelled,
// red or not invoiceable; the matchable ones go to their supplier's open list.
StockPlan planStockBills(Random &rng, const DemoOptions &options, const DemoCalendar &cal, const ReferenceData &ref)
{
    const int stockCount = std::max(0, options.stockBills);
    std::vector<QDate> stockDates;
    stockDates.reserve(size_t(stockCount));
    for (int i = 0; i < stockCount; ++i)
        stockDates.push_back(rng.percent(8) ? randomDate(rng, cal.periodStart, cal.today) : randomDate(rng, cal.spanStart, cal.today));
    std::sort(stockDates.begin(), stockDates.end());

    StockPlan plan;
    plan.bills.resize(static_cast<size_t>(stockCount));
    plan.open.resize(ref.supplierIds.size());
    for (int i = 0; i < stockCount; ++i) {
        StockBill &b = plan.bills[size_t(i)];
        b.day = qint32(stockDates[size_t(i)].toJulianDay());
        const int supplierIndex = ref.supplierWeights[size_t(rng.below(int(ref.supplierWeights.size())))];
        b.supplierId = ref.supplierIds[size_t(supplierIndex)];
        b.tranType = rng.percent(4) ? (rng.percent(50) ? 2 : 10) : Demo::kStockInTranType;
        b.cancelled = rng.percent(3);
        const bool red = rng.percent(6);
        b.amount = qint32(stockAmount(rng, red));
        const int roll = rng.below(100);
        b.invoiceable = roll < 3 ? 0 : roll < 15 ? -1 : 1;
        if (b.tranType == Demo::kStockInTranType && !b.cancelled && b.invoiceable != 0)
            plan.open[size_t(supplierIndex)][red ? 1 : 0].bills.push_back(i);
    }
    return plan;
}

// Invoices in date order. Each matches the oldest open stock-in bills of its
// supplier and sign, wholly or in part; void invoices name bills without
// counting toward what is invoiced. The invoice amount is the matched sum,
// sometimes more (partly matched), or a free amount without entries.
InvoicePlan planInvoices(Random &rng, const DemoOptions &options, const DemoCalendar &cal, const ReferenceData &ref,
                         StockPlan &stockPlan, const std::function<void(const Invoice &)> &write)
{
    std::vector<StockBill> &stock = stockPlan.bills;
    const std::vector<int> &supplierWeights = ref.supplierWeights;
    const int invoiceCount = std::max(0, options.invoices);
    const QDate invoiceStart = std::min(cal.spanStart.addDays(7), cal.today);
    std::vector<QDate> invoiceDates;
    invoiceDates.reserve(size_t(invoiceCount));
    for (int i = 0; i < invoiceCount; ++i)
        invoiceDates.push_back(rng.percent(10) ? randomDate(rng, cal.periodStart, cal.today) : randomDate(rng, invoiceStart, cal.today));
    std::sort(invoiceDates.begin(), invoiceDates.end());

    InvoicePlan plan;
    for (int i = 0; i < invoiceCount; ++i) {
        Invoice inv;
        inv.date = invoiceDates[size_t(i)];
        inv.red = rng.percent(5);
        inv.cancelled = rng.percent(4);
        const int sign = inv.red ? 1 : 0;
        const bool withEntries = !rng.percent(6);

        // Find a supplier with a stock-in bill still open on the invoice date.
        int supplierIndex = -1;
        if (withEntries) {
            for (int attempt = 0; attempt < 12 && supplierIndex < 0; ++attempt) {
                const int candidate = supplierWeights[size_t(rng.below(int(supplierWeights.size())))];
                OpenList &list = stockPlan.open[size_t(candidate)][size_t(sign)];
                while (list.first < list.bills.size() && stock[size_t(list.bills[list.first])].amount
                                                               == stock[size_t(list.bills[list.first])].invoiced)
                    ++list.first;
                if (list.first < list.bills.size() && stock[size_t(list.bills[list.first])].date() <= inv.date)
                    supplierIndex = candidate;
            }
        }
        if (supplierIndex < 0)
            supplierIndex = supplierWeights[size_t(rng.below(int(supplierWeights.size())))];
        inv.supplierId = ref.supplierIds[size_t(supplierIndex)];

        if (withEntries) {
            // The oldest open bills first, as the editor offers them.
            const int wanted = [&] {
                const int r = rng.below(100);
                return r < 10 ? 1 : r < 25 ? 2 : r < 45 ? 3 : r < 65 ? 4 : r < 80 ? 5 : rng.between(6, 8);
            }();
            OpenList &list = stockPlan.open[size_t(supplierIndex)][size_t(sign)];
            for (size_t k = list.first; k < list.bills.size() && int(inv.entries.size()) < wanted; ++k) {
                StockBill &b = stock[size_t(list.bills[k])];
                if (b.date() > inv.date)
                    break;
                const qint64 remaining = b.amount - b.invoiced;
                if (remaining == 0)
                    continue;
                qint64 take = remaining;
                if (rng.percent(25) && (remaining > 1 || remaining < -1)) {
                    take = remaining * rng.between(30, 85) / 100;
                    if (take == 0)
                        take = remaining > 0 ? 1 : -1;
                }
                inv.entries.push_back(Entry{list.bills[k], take});
                b.named = true;
                if (!inv.cancelled)
                    b.invoiced += take;
            }
        }

        qint64 matched = 0;
        for (const Entry &e : inv.entries)
            matched += e.amount;
        if (inv.entries.empty()) {
            inv.amount = stockAmount(rng, inv.red);
        } else if (rng.percent(15)) {
            // Only part of the invoice is matched so far.
            const qint64 magnitude = matched < 0 ? -matched : matched;
            const qint64 extra = std::max<qint64>(10000, magnitude * rng.between(5, 40) / 100);
            inv.amount = matched + (inv.red ? -extra : extra);
        } else {
            inv.amount = matched;
        }
        plan.entryCount += int(inv.entries.size());

        inv.audited = !inv.cancelled && rng.percent(inv.date < cal.periodStart ? 85 : 25);
        const int who = rng.below(100);
        inv.operatorId = who < 75 ? Demo::kClerkUserId : who < 90 ? Demo::kAdminUserId : Demo::kAuditorUserId;
        const int dept = rng.below(100);
        inv.deptId = dept < 80 ? ref.purchaseDept : dept < 88 ? ref.storeDept : 0;
        inv.invoiceNo = QStringLiteral("%1").arg(rng.between(0, 99999999), 8, 10, QLatin1Char('0'));
        if (inv.red)
            inv.note = rng.percent(70) ? text(rng.pick(kRedInvoiceNotes)) : QString();
        else
            inv.note = rng.percent(35) ? text(rng.pick(kInvoiceNotes)) : QString();
        if (inv.note.isNull())
            inv.note = QStringLiteral("");
        write(inv);
        ++plan.invoices;
    }
    return plan;
}

// Item classes, codes, units, goods with their attributes and current stock,
// and the tax-payer and goods subtypes. The goods attributes and stock rows
// draw on the generator after the bills, which keeps every seed's data as it
// has always been.
void writeReferenceData(const QSqlDatabase &db, Random &rng, const DemoCalendar &cal, const ReferenceData &ref)
{
    const std::vector<Item> &items = ref.items;
    {
        BulkInsert q(db, QStringLiteral("tblItemclass"), {QStringLiteral("fitemclassid"), QStringLiteral("fname"), QStringLiteral("fItemType")});
        q.add({Demo::kCustomerClass, QStringLiteral("客户"), 1});
        q.add({Demo::kDepartmentClass, QStringLiteral("部门"), 1});
        q.add({Demo::kGoodsClass, QStringLiteral("商品"), 0});
        q.add({Demo::kSupplierClass, QStringLiteral("供应商"), 1});
        q.add({Demo::kStaffClass, QStringLiteral("职员"), 1});
        q.finish();
    }
    {
        BulkInsert q(db, QStringLiteral("tblItem"),
                     {QStringLiteral("fitemid"), QStringLiteral("fnumber"), QStringLiteral("fname"), QStringLiteral("fitemclassid"),
                      QStringLiteral("fisdetail"), QStringLiteral("fislock")});
        for (const Item &it : items)
            q.add({it.id, it.number, it.name, it.classId, it.detail ? 1 : 0, it.locked ? 1 : 0});
        q.finish();
    }
    {
        BulkInsert q(db, QStringLiteral("tblMeasureUnit"), {QStringLiteral("fitemid"), QStringLiteral("fname")});
        for (int u = 0; u < ref.units.size(); ++u)
            q.add({u + 1, ref.units[u]});
        q.finish();
    }
    {
        BulkInsert q(db, QStringLiteral("icitem"),
                     {QStringLiteral("fitemid"), QStringLiteral("fnumber"), QStringLiteral("fname"), QStringLiteral("fModel"),
                      QStringLiteral("fUnit"), QStringLiteral("fInPrice"), QStringLiteral("fOutPrice"), QStringLiteral("fA"),
                      QStringLiteral("fB"), QStringLiteral("fC"), QStringLiteral("fD"), QStringLiteral("fE"), QStringLiteral("fF"),
                      QStringLiteral("fG"), QStringLiteral("fH"), QStringLiteral("fZSPer"), QStringLiteral("fZLPer")});
        BulkInsert stockRows(db, QStringLiteral("tblTimeStock"),
                             {QStringLiteral("fitemid"), QStringLiteral("funitid"), QStringLiteral("fstockid"), QStringLiteral("fqty"),
                              QStringLiteral("famount"), QStringLiteral("fbatchno")});
        for (const Goods &g : ref.goods) {
            const Item &it = items[size_t(g.id - 1)];
            if (g.hasAttributes) {
                const qint64 outPrice = g.inPrice * rng.between(115, 160) / 100;
                const QDate firstIn = randomDate(rng, cal.spanStart.addYears(-2), cal.spanStart);
                q.add({g.id, it.number, it.name, g.model, ref.units[g.unitId - 1], money(g.inPrice), money(outPrice),
                       rng.percent(90) ? QVariant(text(rng.pick(kOrigins))) : nullValue(),
                       rng.percent(80) ? QVariant(text(rng.pick(kBrands))) : nullValue(),
                       rng.percent(60) ? QVariant(text(rng.pick(kGrades))) : nullValue(),
                       rng.percent(70) ? money(rng.between(5, 5000) * 10) : nullValue(),     // weight, kg
                       rng.percent(40) ? QVariant(rng.between(6, 36)) : nullValue(),          // shelf life, months
                       dateText(firstIn),
                       rng.percent(50) ? QVariant(dateText(randomDate(rng, cal.spanStart, cal.today))) : nullValue(),
                       rng.percent(80) ? QVariant(ref.supplierIds[size_t(rng.below(int(ref.supplierIds.size())))]) : nullValue(),
                       money(1300), money(rng.between(0, 5) * 100)});
            }
            // Current stock for about a third of the goods, some in batches.
            if (g.id % 3 == 0) {
                const int rows = rng.between(1, 3);
                const QString batch = QStringLiteral("P%1-%2").arg(randomDate(rng, cal.spanStart, cal.today).toString(QStringLiteral("yyyyMMdd")))
                                          .arg(rng.between(1, 20), 2, 10, QLatin1Char('0'));
                for (int r = 0; r < rows; ++r) {
                    const int qty = rng.between(1, 500);
                    // The same batch may lie in several stores; some stock has no batch.
                    Value batchNo = r == 0 || rng.percent(50) ? Value(batch) : nullValue();
                    if (rng.percent(30))
                        batchNo = nullValue();
                    stockRows.add({g.id, g.unitId, r + 1, qty, money(g.inPrice * qty), batchNo});
                }
            }
        }
        q.finish();
        stockRows.finish();
    }
    {
        BulkInsert q(db, QStringLiteral("tblsubtype"),
                     {QStringLiteral("fitemclassid"), QStringLiteral("fitemid"), QStringLiteral("fnumber"), QStringLiteral("fname"),
                      QStringLiteral("fmodel")});
        q.add({Demo::kSupplierClass, 1, QStringLiteral("1"), QStringLiteral("一般纳税人"), QStringLiteral("")});
        q.add({Demo::kSupplierClass, 2, QStringLiteral("2"), QStringLiteral("小规模纳税人"), QStringLiteral("")});
        q.add({Demo::kGoodsClass, 3, QStringLiteral("01"), QStringLiteral("原材料"), QStringLiteral("")});
        q.add({Demo::kGoodsClass, 4, QStringLiteral("02"), QStringLiteral("辅助材料"), QStringLiteral("")});
        q.add({Demo::kGoodsClass, 5, QStringLiteral("03"), QStringLiteral("办公用品"), QStringLiteral("")});
        q.add({Demo::kGoodsClass, 6, QStringLiteral("04"), QStringLiteral("劳保用品"), QStringLiteral("")});
        q.finish();
    }
}

// The three users and their rights: the administrator and the auditor hold
// every right, the clerk all but the denied ones.
void writeUsersAndRights(const QSqlDatabase &db)
{
    BulkInsert users(db, QStringLiteral("tblUser"), {QStringLiteral("fuserid"), QStringLiteral("fname"), QStringLiteral("fisadmin")});
    users.add({Demo::kAdminUserId, QStringLiteral("管理员"), 1});
    users.add({Demo::kClerkUserId, QStringLiteral("张会计"), 0});
    users.add({Demo::kAuditorUserId, QStringLiteral("李主管"), 0});
    users.finish();

    BulkInsert rights(db, QStringLiteral("tblUserPrivillenge"), {QStringLiteral("fuserid"), QStringLiteral("fNumber")});
    for (const char *code : Demo::kAllRights) {
        const QString right = QString::fromLatin1(code);
        rights.add({Demo::kAdminUserId, right});
        rights.add({Demo::kAuditorUserId, right});
        const bool denied = std::any_of(std::begin(Demo::kClerkDeniedRights), std::end(Demo::kClerkDeniedRights),
                                        [&](const char *d) { return right == QLatin1String(d); });
        if (!denied)
            rights.add({Demo::kClerkUserId, right});
    }
    rights.finish();
}

// Company name, current year and period, and the periods of this year and
// the last.
void writeSystemInfoAndPeriods(const QSqlDatabase &db, const QDate &today)
{
    BulkInsert q(db, QStringLiteral("tblSystemInfo"), {QStringLiteral("ftypeid"), QStringLiteral("fname"), QStringLiteral("fvalue")});
    q.add({1, QStringLiteral("公司名称"), QStringLiteral("江南示范商贸有限公司")});
    q.add({4, QStringLiteral("当前会计年度"), QString::number(today.year())});
    q.add({5, QStringLiteral("当前会计期间"), QString::number(today.month())});
    q.finish();

    BulkInsert periods(db, QStringLiteral("tblPeriod"), {QStringLiteral("fYear"), QStringLiteral("fPeriod"), QStringLiteral("fstartdate")});
    for (int year = today.year() - 1; year <= today.year(); ++year)
        for (int month = 1; month <= 12; ++month)
            periods.add({year, month, dateText(QDate(year, month, 1))});
    periods.finish();
}

// The stock-in bills with what non-void invoices have invoiced of them.
// Reports progress every `step` rows and at the last one.
class ProgressSteps {
public:
    ProgressSteps(const DemoOptions &options, const char *what, int total)
        : m_report(options.progress), m_what(QString::fromUtf8(what)), m_total(total), m_step(std::max(10000, total / 10))
    {
        if (m_report)
            m_report(m_what, 0, m_total);
    }
    void advance()
    {
        ++m_done;
        if (m_report && (m_done % m_step == 0 || m_done == m_total))
            m_report(m_what, m_done, m_total);
    }

private:
    const std::function<void(const QString &, int, int)> &m_report;
    QString m_what;
    int m_total;
    int m_step;
    int m_done = 0;
};

void writeStockBills(const QSqlDatabase &db, const std::vector<StockBill> &stock, const DemoOptions &options)
{
    ProgressSteps progress(options, "入库单", int(stock.size()));
    BulkInsert q(db, QStringLiteral("icstockbill"),
                 {QStringLiteral("finterid"), QStringLiteral("fbillno"), QStringLiteral("fdate"), QStringLiteral("fsupplyid"),
                  QStringLiteral("ftrantype"), QStringLiteral("fcancellation"), QStringLiteral("fAllAmount"),
                  QStringLiteral("fKPAmount"), QStringLiteral("fISKP")});
    int id = 0;
    for (const StockBill &b : stock) {
        ++id;
        q.add({id, Value::code("WIN", id, 6), Value::date(b.date()), b.supplierId, int(b.tranType), b.cancelled ? 1 : 0,
               money(b.amount),
               // Never named by an invoice: left empty, as the stock module writes it.
               b.named ? money(b.invoiced) : nullValue(),
               b.invoiceable < 0 ? nullValue() : Value(int(b.invoiceable))});
        progress.advance();
    }
    q.finish();
}

// Invoice heads numbered by the template, with their matched totals, and
// their entries, written as they are planned.
class InvoiceWriter {
public:
    InvoiceWriter(const QSqlDatabase &db, const QString &invoiceTemplate, const DemoOptions &options)
        : m_template(invoiceTemplate), m_progress(options, "采购发票", std::max(0, options.invoices)),
          m_head(db, QStringLiteral("tblFP"),
                 {QStringLiteral("finterid"), QStringLiteral("fbillno"), QStringLiteral("fstatus"), QStringLiteral("fchecker"),
                  QStringLiteral("fcancellation"), QStringLiteral("fyear"), QStringLiteral("fperiod"), QStringLiteral("fdate"),
                  QStringLiteral("fOperator"), QStringLiteral("ftrantype"), QStringLiteral("frob"), QStringLiteral("fAmount"),
                  QStringLiteral("fEndAmount"), QStringLiteral("fbillNumber"), QStringLiteral("fSupplyId"),
                  QStringLiteral("fDeptId"), QStringLiteral("fInvoiceNo"), QStringLiteral("fNote")}),
          m_lines(db, QStringLiteral("tblFPEntry"),
                  {QStringLiteral("fInterId"), QStringLiteral("fEntryId"), QStringLiteral("fStockInterId"), QStringLiteral("fHXAmount")})
    {
    }

    void add(const Invoice &inv)
    {
        const int id = ++m_count;
        const int sequence = id;
        // The number is the template rendered with the date around the
        // sequence; the rendered parts change with the date only.
        if (inv.date != m_numberDate) {
            const qsizetype at = m_template.indexOf(QStringLiteral("序号"));
            const QString before = at < 0 ? m_template : m_template.left(at);
            const QString after = at < 0 ? QString() : m_template.mid(at + 2);
            m_numberHead = renderBillNo(before, inv.date, Demo::kInvoiceYearLength, 0, 0).toUtf8();
            m_numberTail = renderBillNo(after, inv.date, Demo::kInvoiceYearLength, 0, 0).toUtf8();
            m_numberHasSequence = at >= 0;
            m_numberDate = inv.date;
        }
        const Value serial = Value::code("", sequence, Demo::kInvoiceSequenceLength);
        QByteArray number = m_numberHead;
        if (m_numberHasSequence)
            number.append(serial.data(), qsizetype(serial.size()));
        number += m_numberTail;
        qint64 matched = 0;
        for (const Entry &e : inv.entries)
            matched += e.amount;
        m_head.add({id, Value::text(number.constData(), size_t(number.size())), inv.audited ? 1 : 0,
                    inv.audited ? Demo::kAuditorUserId : 0, inv.cancelled ? 1 : 0, inv.date.year(), inv.date.month(),
                    Value::date(inv.date), inv.operatorId, Demo::kInvoiceTypeId, inv.red ? 1 : 0, money(inv.amount),
                    // An invoice saved without entries never had its matched amount written.
                    inv.entries.empty() ? nullValue() : money(matched), serial, inv.supplierId, inv.deptId, inv.invoiceNo,
                    inv.note});
        int line = 0;
        for (const Entry &e : inv.entries)
            m_lines.add({id, ++line, e.stockIndex + 1, money(e.amount)});
        m_progress.advance();
    }

    void finish()
    {
        m_head.finish();
        m_lines.finish();
    }

private:
    const QString &m_template;
    ProgressSteps m_progress;
    BulkInsert m_head;
    BulkInsert m_lines;
    int m_count = 0;
    QDate m_numberDate;
    QByteArray m_numberHead;
    QByteArray m_numberTail;
    bool m_numberHasSequence = false;
};

// The numbering templates and counters, continuing after the generated bills.
void writeCounters(const QSqlDatabase &db, const QString &invoiceTemplate, int invoiceCount, int stockCount)
{
    BulkInsert q(db, QStringLiteral("tblMaxBillNo"),
                 {QStringLiteral("ftypeid"), QStringLiteral("fNewBillName"), QStringLiteral("fbillno"), QStringLiteral("fPreLetter"),
                  QStringLiteral("flength"), QStringLiteral("fYLength")});
    q.add({Demo::kInvoiceTypeId, QStringLiteral("采购发票"), invoiceCount, invoiceTemplate, Demo::kInvoiceSequenceLength,
           Demo::kInvoiceYearLength});
    q.add({1, QStringLiteral("外购入库"), stockCount, QStringLiteral("WIN序号"), 6, 4});
    q.finish();

    BulkInsert counters(db, QStringLiteral("tblmaxNum"), {QStringLiteral("ftablename"), QStringLiteral("fmaxnum")});
    counters.add({QStringLiteral("tblFP"), invoiceCount});
    counters.add({QStringLiteral("icstockbill"), stockCount});
    counters.finish();
}

// The editor's header: a two-column layout, positions in pixels.
void writeHeaderLayout(const QSqlDatabase &db)
{
    BulkInsert q(db, QStringLiteral("tblBillInfo"),
                 {QStringLiteral("ftypeid"), QStringLiteral("findex"), QStringLiteral("fitemclassid"), QStringLiteral("fcaption"),
                  QStringLiteral("ftop"), QStringLiteral("fleft"), QStringLiteral("fwidth"), QStringLiteral("ftabindex"),
                  QStringLiteral("fisvisible"), QStringLiteral("FFieldName"), QStringLiteral("fFieldType"), QStringLiteral("fCanNull")});
    q.add({Demo::kInvoiceTypeId, 1, Demo::kSupplierClass, QStringLiteral("供应商"), 72, 90, 260, 1, 1, QStringLiteral("fSupplyId"), 1, 0});
    q.add({Demo::kInvoiceTypeId, 2, Demo::kDepartmentClass, QStringLiteral("部门"), 72, 470, 200, 2, 1, QStringLiteral("fDeptId"), 1, 1});
    q.add({Demo::kInvoiceTypeId, 3, 0, QStringLiteral("发票号码"), 102, 90, 260, 3, 1, QStringLiteral("fInvoiceNo"), 0, 0});
    q.add({Demo::kInvoiceTypeId, 4, 0, QStringLiteral("备注"), 102, 470, 200, 4, 1, QStringLiteral("fNote"), 0, 1});
    q.finish();
}

// Columns of the bill list.
void writeListColumns(const QSqlDatabase &db)
{
    BulkInsert q(db, QStringLiteral("tblFindInfoEntry"),
                 {QStringLiteral("ftypeid"), QStringLiteral("fentryid"), QStringLiteral("fFieldname"), QStringLiteral("fTitleName"),
                  QStringLiteral("fAlign"), QStringLiteral("fDataFormat"), QStringLiteral("fIsMerge"), QStringLiteral("fIsSum")});
    const QString amountFormat = QStringLiteral("#,##0.00");
    const QString dateFormat = QStringLiteral("yyyy-MM-dd");
    const QString none = QStringLiteral("");
    struct Column { const char *field; const char16_t *title; int align; QString format; int merge; int sum; };
    const std::array<Column, 12> columns{{
        {"finterid", u"内码", 2, none, 0, 0},
        {"fbillno", u"单据编号", 0, none, 0, 0},
        {"fdate", u"日期", 1, dateFormat, 0, 0},
        {"fSupplyIdName", u"供应商", 0, none, 1, 0},
        {"fDeptIdName", u"部门", 0, none, 0, 0},
        {"fInvoiceNo", u"发票号码", 0, none, 0, 0},
        {"fAmount", u"发票金额", 2, amountFormat, 0, 1},
        {"fEndAmount", u"已钩稽金额", 2, amountFormat, 0, 1},
        {"fNoHXAmount", u"未钩稽金额", 2, amountFormat, 0, 1},
        {"fOperatorName", u"制单人", 1, none, 0, 0},
        {"fCheckerName", u"审核人", 1, none, 0, 0},
        {"fNote", u"备注", 0, none, 0, 0},
    }};
    int entry = 0;
    for (const Column &c : columns)
        q.add({Demo::kInvoiceTypeId, ++entry, QString::fromLatin1(c.field), text(c.title), c.align, c.format, c.merge, c.sum});
    q.finish();
}

// Fields offered as query conditions.
void writeQueryFields(const QSqlDatabase &db)
{
    BulkInsert q(db, QStringLiteral("tblFindInfoentry2"),
                 {QStringLiteral("ftypeid"), QStringLiteral("fentryid"), QStringLiteral("fTitlename"), QStringLiteral("fFieldName"),
                  QStringLiteral("fNumType"), QStringLiteral("fItemclassid"), QStringLiteral("fNumberName")});
    struct Field { const char16_t *title; const char *field; int kind; int itemClass; const char *numberName; };
    const std::array<Field, 10> fields{{
        {u"单据编号", "fbillno", 2, 0, ""},
        {u"日期", "fdate", 3, 0, ""},
        {u"发票金额", "fAmount", 1, 0, ""},
        {u"已钩稽金额", "fEndAmount", 1, 0, ""},
        {u"供应商代码", "fSupplyIdNumber", 2, Demo::kSupplierClass, "fnumber"},
        {u"供应商", "fSupplyIdName", 2, 0, ""},
        {u"部门", "fDeptIdName", 2, 0, ""},
        {u"发票号码", "fInvoiceNo", 2, 0, ""},
        {u"制单人", "fOperatorName", 2, 0, ""},
        {u"备注", "fNote", 2, 0, ""},
    }};
    int entry = 0;
    for (const Field &f : fields)
        q.add({Demo::kInvoiceTypeId, ++entry, text(f.title), QString::fromLatin1(f.field), f.kind, f.itemClass,
               QString::fromLatin1(f.numberName)});
    q.finish();
}

// Field descriptions of the print view, for the template designer.
void writeViewDescriptions(const QSqlDatabase &db)
{
    BulkInsert q(db, QStringLiteral("tblViewDesc"), {QStringLiteral("fTypeid"), QStringLiteral("fFieldName"), QStringLiteral("fFieldDesc")});
    struct Desc { const char *field; const char16_t *desc; };
    // Every column of the print view vPurFPPrint, in its order.
    const std::array<Desc, 23> descriptions{{
        {"finterid", u"内码："},
        {"forderid", u"行号："},
        {"fbillno", u"单据编号："},
        {"fbillNumber", u"单据序号："},
        {"fdate", u"日期："},
        {"fstatus", u"审核状态："},
        {"fcancellation", u"作废标志："},
        {"frob", u"红蓝字："},
        {"fSupplyIdNumber", u"供应商代码："},
        {"fSupplyIdName", u"供应商："},
        {"fDeptIdNumber", u"部门代码："},
        {"fDeptIdName", u"部门："},
        {"fInvoiceNo", u"发票号码："},
        {"fAmount", u"发票金额："},
        {"fEndAmount", u"已钩稽金额："},
        {"fNote", u"备注："},
        {"fOperatorName", u"制单人："},
        {"fCheckerName", u"审核人："},
        {"fStockInterId", u"入库单内码："},
        {"fStockBillNo", u"入库单号："},
        {"fStockDate", u"入库日期："},
        {"fAllAmount", u"入库金额："},
        {"fHXAmount", u"本次钩稽金额："},
    }};
    for (const Desc &d : descriptions)
        q.add({Demo::kInvoiceTypeId, QString::fromLatin1(d.field), text(d.desc)});
    q.finish();
}

// The default print template: the invoice layout compiled in beside the
// schema scripts (sql/PurFP.grf), stored as it stands.
void writePrintTemplate(const QSqlDatabase &db)
{
    QFile templateFile(QStringLiteral(":/sql/PurFP.grf"));
    if (!templateFile.open(QIODevice::ReadOnly))
        throw DbError(QStringLiteral("默认打印模板 :/sql/PurFP.grf 无法读取"));
    const QByteArray templateContent = templateFile.readAll();
    BulkInsert q(db, QStringLiteral("tblBillPrint"),
                 {QStringLiteral("finterid"), QStringLiteral("ftypeid"), QStringLiteral("fReportName"), QStringLiteral("fViewName"),
                  QStringLiteral("fFileName"), QStringLiteral("fOrderSQL"), QStringLiteral("fIsDefault"), QStringLiteral("fcontent")});
    q.add({1, Demo::kInvoiceTypeId, QStringLiteral("采购发票"), QStringLiteral("vPurFPPrint"), QStringLiteral("PurFP.grf"),
           nullValue(), 1, Value::blob(templateContent)});
    q.finish();
}

} // namespace

DemoOptions DemoOptions::scaled(int invoices)
{
    DemoOptions o;
    o.invoices = invoices;
    o.stockBills = invoices * 4;
    o.suppliers = std::max(30, invoices / 500);
    o.goods = std::max(200, invoices / 100);
    return o;
}

// The codes and stock bills are planned in memory first, then everything is
// written in one transaction, the invoices as they are planned. The random
// stream is drawn in a fixed order (codes, stock bills, invoices, then goods
// attributes while writing), so the steps must keep this order.
DemoSummary generateDemoData(Connection &conn, const DemoOptions &options)
{
    const DemoCalendar cal = demoCalendar(options);
    Random rng(quint64(options.seed) * 0x2545F4914F6CDD1Dull + 0x5DEECE66Dull);

    const ReferenceData ref = planReferenceData(rng, options);
    StockPlan stockPlan = planStockBills(rng, options, cal, ref);
    const int stockCount = int(stockPlan.bills.size());

    const QSqlDatabase db = conn.database();
    const QString invoiceTemplate = QString::fromUtf8(Demo::kInvoiceNumberTemplate);
    std::optional<Transaction> transaction;
    if (!conn.inTransaction())
        transaction.emplace(conn);
    // The invoices are written as they are planned: none is kept.
    InvoiceWriter invoiceWriter(db, invoiceTemplate, options);
    const InvoicePlan invoicePlan = planInvoices(rng, options, cal, ref, stockPlan,
                                                 [&invoiceWriter](const Invoice &inv) { invoiceWriter.add(inv); });
    invoiceWriter.finish();
    const int invoiceCount = invoicePlan.invoices;
    writeReferenceData(db, rng, cal, ref);
    writeUsersAndRights(db);
    writeSystemInfoAndPeriods(db, cal.today);
    writeStockBills(db, stockPlan.bills, options);
    writeCounters(db, invoiceTemplate, invoiceCount, stockCount);
    writeHeaderLayout(db);
    writeListColumns(db);
    writeQueryFields(db);
    writeViewDescriptions(db);
    writePrintTemplate(db);
    if (transaction)
        transaction->commit();

    DemoSummary summary;
    summary.stockBills = stockCount;
    summary.invoices = invoiceCount;
    summary.entries = invoicePlan.entryCount;
    summary.lastInvoiceId = invoiceCount;
    summary.lastSequence = invoiceCount;
    return summary;
}

DemoSummary createDemoDatabase(Connection &conn, const DemoOptions &options)
{
    DatabaseSetup::createSchema(conn, DatabaseSetup::Indexes::Later);
    const DemoSummary summary = generateDemoData(conn, options);
    DatabaseSetup::createIndexes(conn);
    return summary;
}
