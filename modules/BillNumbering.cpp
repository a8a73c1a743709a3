#include "modules/BillNumbering.h"

#include "modules/Session.h"
#include "modules/ConnectionRoutines.h"
#include "modules/TextHelpers.h"
#include "platform/DbError.h"
#include "platform/Prompt.h"

namespace {
QString twoDigits(int value)
{
    return ZeroPad(QString::number(value), 2);
}

// The last `digits` characters of the four-digit year (2013 with 2 -> "13").
// More than four digits give the whole year, none or fewer give "".
QString yearText(int year, qint64 digits)
{
    const QString full = ZeroPad(QString::number(year), 4);
    if (digits <= 0)
        return {};
    return full.right(int(std::min<qint64>(digits, full.size())));
}

QString render(Session &s, std::int16_t typeId, const QDate &billDate, std::int16_t keepSerial)
{
    OpenConnection(s);
    QString number;
    qint64 yearDigits = 2;

    Recordset rs = s.gConn->openRecordset(QStringLiteral("select * from tblMaxBillNo where ftypeid=") + QString::number(typeId));
    if (!rs.eof()) {
        s.gBillLength = std::int16_t(rs.toInt(QStringLiteral("flength")));
        if (!rs.isNull(QStringLiteral("fYLength")))
            yearDigits = rs.toInt(QStringLiteral("fYLength"));
        // The sequence is padded to gBillLength digits but never cut: a
        // counter that outgrew the length yields a longer number.
        const QString next = QString::number(rs.toInt(QStringLiteral("fbillno")) + 1);
        if (keepSerial == 0)
            s.gBillSerial = ZeroPad(next, s.gBillLength);
        number = rs.text(QStringLiteral("fPreLetter"));
    }

    number.replace(QStringLiteral("月"), twoDigits(billDate.month()));
    number.replace(QStringLiteral("日"), twoDigits(billDate.day()));
    number.replace(QStringLiteral("年"), yearText(billDate.year(), yearDigits));

    if (keepSerial == 0 && s.gIsAddDelNumber == 1) {
        // Released numbers are looked up for the session's bill kind; the
        // smallest in text order is offered first.
        rs = s.gConn->openRecordset(QStringLiteral("select top 1 * from tblBillNoAdd where fTypeId=")
                                    + QString::number(s.gBillTypeId) + QStringLiteral(" order by finterid"));
        if (!rs.eof())
            s.gBillSerial = rs.text(QStringLiteral("fInterId"));
    }

    number.replace(QStringLiteral("序号"), s.gBillSerial);
    return number;
}
} // namespace

QString MakeBillNo(Session &s, std::int16_t typeId, const QDate &billDate, std::int16_t keepSerial)
{
    ConnectionScope scope(s);
    try {
        return render(s, typeId, billDate, keepSerial);
    } catch (const DbError &e) {
        Prompt::msgBox(e.description(), Prompt::Critical, s.msgTitle);
        return {};
    }
}
