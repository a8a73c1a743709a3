#include "platform/Recordset.h"

#include "platform/DbError.h"

#include <cmath>

Recordset::Recordset(const QStringList &fieldNames, std::vector<QVariant> cells)
    : m_fieldNames(fieldNames), m_cells(std::move(cells))
{
    for (int i = 0; i < m_fieldNames.size(); ++i) {
        const QString key = m_fieldNames[i].toLower();
        if (!m_index.contains(key)) // the first of equal names wins, as in a select list
            m_index.insert(key, i);
    }
}

int Recordset::fieldIndex(const QString &name) const
{
    return m_index.value(name.toLower(), -1);
}

int Recordset::requireField(const QString &name) const
{
    const int column = fieldIndex(name);
    if (column < 0)
        throw DbError(QStringLiteral("在对应所需名称或序数的集合中，未找到项目: %1").arg(name));
    return column;
}

QVariant Recordset::value(const QString &name) const
{
    return value(requireField(name));
}

QVariant Recordset::value(int column) const
{
    if (eof())
        throw DbError(QStringLiteral("BOF 或 EOF 中有一个是“真”，或者当前记录已被删除，所需的操作要求一个当前的记录。"));
    if (column < 0 || column >= fieldCount())
        throw DbError(QStringLiteral("在对应所需名称或序数的集合中，未找到项目: %1").arg(column));
    return valueAt(m_position, column);
}

bool Recordset::isNull(const QString &name) const
{
    return value(name).isNull();
}

QString Recordset::variantText(const QVariant &value)
{
    if (value.isNull())
        return {};
    if (value.typeId() == QMetaType::QDate)
        return value.toDate().toString(QStringLiteral("yyyy-MM-dd"));
    if (value.typeId() == QMetaType::QDateTime)
        return value.toDateTime().date().toString(QStringLiteral("yyyy-MM-dd"));
    if (value.typeId() == QMetaType::Double)
        return Amount::fromDouble(value.toDouble()).toString();
    return value.toString();
}

QString Recordset::text(const QString &name) const
{
    return variantText(value(name));
}

qint64 Recordset::toInt(const QString &name) const
{
    const QVariant v = value(name);
    if (v.isNull())
        return 0;
    bool ok = false;
    const qint64 n = v.toLongLong(&ok);
    if (ok)
        return n;
    return qint64(std::llround(v.toDouble()));
}

Amount Recordset::amount(const QString &name) const
{
    return Amount::fromVariant(value(name));
}

QDate Recordset::variantDate(const QVariant &value)
{
    if (value.isNull())
        return {};
    if (value.typeId() == QMetaType::QDate)
        return value.toDate();
    if (value.typeId() == QMetaType::QDateTime)
        return value.toDateTime().date();
    return QDate::fromString(value.toString().left(10), QStringLiteral("yyyy-MM-dd"));
}

QDate Recordset::date(const QString &name) const
{
    return variantDate(value(name));
}
