#pragma once
// The editor's configurable header: one field per tblBillInfo row of the bill
// kind, each editing one tblFP column. A lookup field holds a master-data
// code of its class; its value is kept as number + "&**&" + item id.
#include <QString>
#include <QStringList>

#include <cstdint>
#include <vector>

class Connection;

inline const QString kLookupMarker = QStringLiteral("&**&");

struct HeaderFieldDef {
    int index = 0;       // findex, the order of the fields
    int itemClassId = 0; // class of the codes a lookup field offers
    QString caption;
    int top = 0, left = 0, width = 0; // pixels
    int tabIndex = 0;
    bool visible = true; // fisvisible, and not hidden for the user
    QString fieldName;   // tblFP column; may be empty
    int fieldType = 0;   // 1 = lookup of itemClassId, otherwise text
    bool canNull = true; // fCanNull 0 = required

    bool isLookup() const { return fieldType == 1; }
    bool required() const { return !canNull; }
};

struct HeaderLayout {
    std::vector<HeaderFieldDef> fields; // in findex order

    // Position of the field editing `fieldName` (case-insensitive); -1 when none.
    int indexOf(const QString &fieldName) const;
    // The supplier field, the one editing fSupplyId; -1 when the layout has none.
    int supplierIndex() const { return indexOf(QStringLiteral("fSupplyId")); }
    // The positions of the fields in the order their caption labels are
    // checked: the left column (the smallest fleft) first, then the others,
    // each in findex order.
    std::vector<int> labelOrder() const;
};

QString headerLayoutSql(std::int16_t billTypeId);
QString userVisibleSql(const QString &userId, std::int16_t billTypeId);

// Reads the layout of the bill kind. Fields that tblUserVisible lists for the
// user (types 1 and 2, matched by field name) are hidden unless the user is
// an administrator. Throws DbError.
HeaderLayout readHeaderLayout(Connection &conn, std::int16_t billTypeId, const QString &userId, bool isAdmin);

// A lookup value: "number&**&id", or empty when nothing is chosen.
QString lookupValue(const QString &number, const QString &itemId);
QString lookupNumber(const QString &value);
// The item id of a lookup value; "" when nothing is chosen.
QString lookupItemId(const QString &value);
