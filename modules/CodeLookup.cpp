#include "modules/CodeLookup.h"

#include "modules/Session.h"
#include "modules/ConnectionRoutines.h"
#include "platform/DbError.h"
#include "platform/Prompt.h"

#include <optional>

namespace {
constexpr int kGoodsClass = 3;

// The number is bound as a parameter rather than spliced into the text, so a
// code containing a quote is looked up literally instead of breaking the
// statement.
QString statementFor(std::int16_t source, std::int16_t classId)
{
    if (source == 1 && classId == kGoodsClass)
        return QStringLiteral("select a.*,b.fA as fA1,b.fB as fB1,b.fC as fC1,b.fD as fD1,b.fE as fE1,b.fF as fF1,b.fG as fG1")
            + QStringLiteral(",b.fH as fH1,c.fNumber as fHNumber1,c.fname as fHName1,isnull(b.fUnit,'') as fUnit ")
            + QStringLiteral("  from ((vICItem as a ")
            + QStringLiteral(" left outer join icitem as b on a.fitemid=b.fitemid) ")
            + QStringLiteral(" left outer join tblitem as c on b.fH=c.fitemid)")
            + QStringLiteral(" where a.fislock=0 ")
            + QStringLiteral(" and a.fNumber=?");
    if (source == 1)
        return QStringLiteral("select * from tblItem where fitemclassid=") + QString::number(classId)
            + QStringLiteral(" and fisdetail=1 ") + QStringLiteral(" and fislock=0 and fNumber=?");
    if (source == 2)
        return QStringLiteral("select * from tblsubtype where fitemclassid=") + QString::number(classId)
            + QStringLiteral("  ") + QStringLiteral(" and fNumber=?");
    return {};
}

QString textOr(const Recordset &rs, const char *field, const QString &fallback)
{
    const QVariant v = rs.value(QString::fromLatin1(field));
    return v.isNull() ? fallback : Recordset::variantText(v);
}

// Numbers are published as exact decimal text ("12.5"), null as "0".
QString amountText(const Recordset &rs, const char *field)
{
    return rs.amount(QString::fromLatin1(field)).toString();
}

struct LookupResult {
    QString name, number, id;
    bool goods = false;
    QString model, unit, inPrice, outPrice;
    QString a1, b1, c1, d1, e1, f1, g1, h1, hNumber1, hName1;
};

std::optional<LookupResult> lookup(Session &s, std::int16_t source, std::int16_t classId, const QString &number)
{
    OpenConnection(s);
    const QString sql = statementFor(source, classId);
    if (sql.isEmpty())
        throw DbError(QStringLiteral("未设置命令文本: 未知的代码来源 %1").arg(source));
    const Recordset rs = s.gConn->openRecordset(sql, {number});
    if (rs.eof())
        return std::nullopt;

    LookupResult r;
    r.name = rs.text(QStringLiteral("fname"));
    r.number = rs.text(QStringLiteral("fnumber"));
    r.id = rs.text(QStringLiteral("fitemid"));
    if (source == 1 && classId == kGoodsClass) {
        r.goods = true;
        r.model = textOr(rs, "fmodel", {});
        r.unit = textOr(rs, "fUnit", {});
        r.inPrice = amountText(rs, "fInPrice");
        r.outPrice = amountText(rs, "fOutPrice");
        r.a1 = textOr(rs, "fA1", {});
        r.b1 = textOr(rs, "fB1", {});
        r.c1 = textOr(rs, "fC1", {});
        r.d1 = amountText(rs, "fD1");
        r.e1 = amountText(rs, "fE1");
        r.f1 = textOr(rs, "fF1", QStringLiteral("1900-01-01"));
        r.g1 = textOr(rs, "fG1", QStringLiteral("1900-01-01"));
        r.h1 = textOr(rs, "fH1", QStringLiteral("0"));
        r.hNumber1 = textOr(rs, "fHNumber1", {});
        r.hName1 = textOr(rs, "fHName1", {});
    }
    return r;
}
} // namespace

bool SeekCode(Session &s, std::int16_t source, std::int16_t classId, const QString &number)
{
    std::optional<LookupResult> found;
    {
        ConnectionScope scope(s);
        try {
            found = lookup(s, source, classId, number);
        } catch (const DbError &e) {
            Prompt::msgBox(e.description(), Prompt::Critical, s.msgTitle);
            return false;
        }
    }
    if (!found)
        return false;

    // Every field is read before any is published, so a lookup that fails
    // half-way leaves the previous result whole.
    s.gItemName = found->name;
    s.gItemNumber = found->number;
    s.gItemId = found->id;
    if (found->goods) {
        s.gItemModel = found->model;
        s.gItemUnit = found->unit;
        s.gItemInPrice = found->inPrice;
        s.gItemOutPrice = found->outPrice;
        s.gItemA1 = found->a1;
        s.gItemB1 = found->b1;
        s.gItemC1 = found->c1;
        s.gItemD1 = found->d1;
        s.gItemE1 = found->e1;
        s.gItemF1 = found->f1;
        s.gItemG1 = found->g1;
        s.gItemH1 = found->h1;
        s.gItemHNumber1 = found->hNumber1;
        s.gItemHName1 = found->hName1;
    }
    return true;
}
