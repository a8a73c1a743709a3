#include "modules/GridLayout.h"

#include "modules/Session.h"
#include "modules/ConnectionRoutines.h"
#include "platform/Transaction.h"
#include "platform/DbError.h"
#include "platform/Prompt.h"

namespace {
void reportError(const Session &s, const DbError &e)
{
    Prompt::msgBox(e.description(), Prompt::Critical, s.msgTitle);
}

// The grid's name inside its quotes: single quotes doubled, so that a name
// holding one stays a name.
QString quotedName(const QString &name)
{
    QString text = name;
    return text.replace(u'\'', QStringLiteral("''"));
}
} // namespace

bool SaveGridLayout(Session &s, const QString &name, GridColumns &grid, std::int16_t type)
{
    ConnectionScope scope(s);
    try {
        OpenConnection(s);
        Connection &conn = *s.gConn;
        // Nothing of a failed save may remain: the old layout stays whole.
        Transaction transaction(conn);
        conn.execute(QStringLiteral("delete from t_GS_tableInfo where ftablename='") + quotedName(name) + QStringLiteral("'")
                     + QStringLiteral(" and ftype=") + QString::number(type));
        const int columns = grid.columnCount();
        for (int i = 0; i < columns; ++i) {
            conn.addRow(QStringLiteral("t_GS_tableinfo"), {
                {QStringLiteral("ftablename"), name},
                {QStringLiteral("fwidth"), grid.columnWidth(i)},
                {QStringLiteral("fsequence"), i},
                {QStringLiteral("ftype"), int(type)},
            });
        }
        transaction.commit();
        return true;
    } catch (const DbError &e) {
        reportError(s, e);
        return false;
    }
}

bool LoadGridLayout(Session &s, const QString &name, GridColumns &grid, std::int16_t type)
{
    ConnectionScope scope(s);
    try {
        OpenConnection(s);
        Connection &conn = *s.gConn;
        Recordset rs = conn.openRecordset(QStringLiteral("select fsequence,fwidth from t_GS_tableInfo where ftablename='") + quotedName(name)
                                          + QStringLiteral("'") + QStringLiteral(" and ftype=") + QString::number(type)
                                          + QStringLiteral(" order by fsequence "));
        const int columns = grid.columnCount();
        if (rs.eof()) {
            // First display under this type: record the designed widths as
            // the default layout and leave the grid as it is.
            conn.execute(QStringLiteral("delete from t_GS_tableinfo where ftablename='") + quotedName(name) + QStringLiteral("' and ftype=0 "));
            for (int i = 0; i < columns; ++i) {
                conn.execute(QStringLiteral("insert into t_GS_tableinfo(ftablename,fwidth,fsequence,ftype) values('") + quotedName(name)
                             + QStringLiteral("',") + QString::number(grid.columnWidth(i)) + QStringLiteral(",")
                             + QString::number(i) + QStringLiteral(",0)"));
            }
        } else {
            for (; !rs.eof(); rs.moveNext()) {
                const qint64 column = rs.toInt(QStringLiteral("fsequence"));
                if (column >= 0 && column < columns)
                    grid.setColumnWidth(int(column), int(rs.toInt(QStringLiteral("fwidth"))));
            }
        }
        return true;
    } catch (const DbError &e) {
        reportError(s, e);
        return false;
    }
}
