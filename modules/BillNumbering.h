#pragma once
// Proposes the number of a new bill from the bill kind's template in
// tblMaxBillNo. The template may hold "年", "月", "日" and "序号", replaced by
// parts of the bill date and by the next sequence number. Nothing is written:
// the editor advances the counter (and removes a reused released number) when
// it saves the bill.
#include <QDate>
#include <QString>

#include <cstdint>

struct Session;

// typeId: the bill kind whose template and counter are read (callers pass
// gBillTypeId). keepSerial 0 draws a new sequence into gBillSerial; non-zero
// renders the template again with the gBillSerial drawn last time. Sets
// gBillLength to the kind's flength. With gIsAddDelNumber = 1 a number
// released by a deleted bill of the session's bill kind replaces the new
// sequence.
// Returns "" when the kind has no template row, or after a database error
// (shown with the critical icon; the connection is closed).
QString MakeBillNo(Session &s, std::int16_t typeId, const QDate &billDate, std::int16_t keepSerial);
