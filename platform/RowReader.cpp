#include "platform/RowReader.h"

#include "platform/DbError.h"

#include <QSqlError>
#include <QSqlRecord>

RowReader::RowReader(QSqlQuery query)
    : m_query(std::move(query))
{
}

bool RowReader::next()
{
    if (m_query.next())
        return true;
    const QSqlError error = m_query.lastError();
    if (error.isValid())
        throw DbError(sqlErrorText(error));
    return false;
}

int RowReader::fieldIndex(const QString &name) const
{
    const QSqlRecord record = m_query.record();
    for (int i = 0; i < record.count(); ++i)
        if (record.fieldName(i).compare(name, Qt::CaseInsensitive) == 0)
            return i;
    return -1;
}
