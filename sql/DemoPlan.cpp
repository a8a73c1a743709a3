#include "sql/DemoPlan.h"

#include "platform/Clock.h"

#include <QSet>

#include <algorithm>

namespace DemoPlan {

namespace {

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

constexpr std::array<const char16_t *, 10> kInvoiceNotes{
    u"月结货款", u"含运费", u"分批到票", u"补开上月发票", u"已核对入库单", u"专票", u"普票",
    u"预付款抵扣", u"按合同结算", u"供应商邮寄"};
constexpr std::array<const char16_t *, 3> kRedInvoiceNotes{u"退货冲红", u"质量问题退货", u"价格调整冲红"};

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

} // namespace

QString text(const char16_t *s)
{
    return QString::fromUtf16(s);
}

QString dateText(const QDate &d)
{
    return d.toString(QStringLiteral("yyyy-MM-dd"));
}

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

QDate randomDate(Random &rng, const QDate &from, const QDate &to)
{
    return from.addDays(rng.between(0, int(from.daysTo(to))));
}

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

} // namespace DemoPlan
