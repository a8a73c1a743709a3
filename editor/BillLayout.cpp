#include "editor/BillLayout.h"

#include "platform/Connection.h"

#include <QSet>

#include <algorithm>
#include <climits>

int HeaderLayout::indexOf(const QString &fieldName) const
{
    for (size_t i = 0; i < fields.size(); ++i)
        if (fields[i].fieldName.compare(fieldName, Qt::CaseInsensitive) == 0)
            return int(i);
    return -1;
}

std::vector<int> HeaderLayout::labelOrder() const
{
    int leftmost = INT_MAX;
    for (const HeaderFieldDef &f : fields)
        leftmost = std::min(leftmost, f.left);
    std::vector<int> order;
    for (int pass = 0; pass < 2; ++pass)
        for (size_t i = 0; i < fields.size(); ++i)
            if ((fields[i].left == leftmost) == (pass == 0))
                order.push_back(int(i));
    return order;
}

QString headerLayoutSql(std::int16_t billTypeId)
{
    return QStringLiteral("select * from tblBillInfo where ftypeid=") + QString::number(billTypeId) + QStringLiteral(" order by findex");
}

QString userVisibleSql(const QString &userId, std::int16_t billTypeId)
{
    return QStringLiteral("select fFieldName,ftype from tblUserVisible where fUserid=") + userId
        + QStringLiteral(" and fType in (1,2) and fbilltypeid=") + QString::number(billTypeId);
}

HeaderLayout readHeaderLayout(Connection &conn, std::int16_t billTypeId, const QString &userId, bool isAdmin)
{
    HeaderLayout layout;
    Recordset rs = conn.openRecordset(headerLayoutSql(billTypeId));
    for (; !rs.eof(); rs.moveNext()) {
        HeaderFieldDef f;
        f.index = int(rs.toInt(QStringLiteral("findex")));
        f.itemClassId = int(rs.toInt(QStringLiteral("fitemclassid")));
        f.caption = rs.text(QStringLiteral("fcaption")).trimmed();
        f.top = int(rs.toInt(QStringLiteral("ftop")));
        f.left = int(rs.toInt(QStringLiteral("fleft")));
        f.width = int(rs.toInt(QStringLiteral("fwidth")));
        f.tabIndex = int(rs.toInt(QStringLiteral("ftabindex")));
        f.visible = rs.isNull(QStringLiteral("fisvisible")) || rs.toInt(QStringLiteral("fisvisible")) != 0;
        f.fieldName = rs.text(QStringLiteral("FFieldName")).trimmed();
        f.fieldType = int(rs.toInt(QStringLiteral("fFieldType")));
        f.canNull = rs.isNull(QStringLiteral("fCanNull")) || rs.toInt(QStringLiteral("fCanNull")) != 0;
        layout.fields.push_back(f);
    }

    // The user id goes in unquoted, as everywhere; a login that is not a
    // number cannot have rows, and would only break the statement.
    bool numericUser = false;
    userId.trimmed().toLongLong(&numericUser);
    if (!isAdmin && numericUser) {
        QSet<QString> hidden;
        for (Recordset v = conn.openRecordset(userVisibleSql(userId.trimmed(), billTypeId)); !v.eof(); v.moveNext())
            hidden.insert(v.text(QStringLiteral("fFieldName")).trimmed().toLower());
        for (HeaderFieldDef &f : layout.fields)
            if (!f.fieldName.isEmpty() && hidden.contains(f.fieldName.toLower()))
                f.visible = false;
    }
    return layout;
}

QString lookupValue(const QString &number, const QString &itemId)
{
    if (itemId.trimmed().isEmpty() || itemId.trimmed() == u"0")
        return {};
    return number + kLookupMarker + itemId.trimmed();
}

QString lookupNumber(const QString &value)
{
    const qsizetype at = value.indexOf(kLookupMarker);
    return at < 0 ? QString() : value.left(at);
}

QString lookupItemId(const QString &value)
{
    const qsizetype at = value.indexOf(kLookupMarker);
    return at < 0 ? QString() : value.mid(at + kLookupMarker.size()).trimmed();
}
