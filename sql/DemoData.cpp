#include "sql/DemoData.h"

#include "platform/Amount.h"
#include "platform/DbError.h"
#include "platform/Transaction.h"
#include "sql/DatabaseSetup.h"
#include "sql/DemoDataInsert.h"
#include "sql/DemoPlan.h"

#include <QFile>
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
using namespace DemoPlan;

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
