#include "platform/DbError.h"

DbFault dbFault(DbEngine engine, const QString &code)
{
    if (code.isEmpty())
        return DbFault::Other;
    if (engine == DbEngine::SQLite) {
        bool ok = false;
        const int result = code.toInt(&ok);
        if (!ok)
            return DbFault::Other;
        switch (result & 0xff) { // the primary code under an extended one
        case 5:  // SQLITE_BUSY
        case 6:  // SQLITE_LOCKED
            return DbFault::Busy;
        case 8:  // SQLITE_READONLY
            return DbFault::ReadOnly;
        case 10: // SQLITE_IOERR
            return DbFault::IoError;
        case 13: // SQLITE_FULL
            return DbFault::DiskFull;
        default:
            return DbFault::Other;
        }
    }
    if (code == u"40P01" || code == u"40001")
        return DbFault::Conflict;
    if (code == u"55P03") // lock_not_available
        return DbFault::Busy;
    if (code == u"25006")
        return DbFault::ReadOnly;
    if (code == u"53100")
        return DbFault::DiskFull;
    if (code == u"58030")
        return DbFault::IoError;
    // Class 08 (connection exception) and the server shutting the session:
    // admin_shutdown, crash_shutdown, cannot_connect_now.
    if (code.startsWith(u"08") || code == u"57P01" || code == u"57P02" || code == u"57P03")
        return DbFault::ConnectionLost;
    return DbFault::Other;
}

QString dbFaultText(DbFault fault, const QString &engineText)
{
    const char16_t *text = nullptr;
    switch (fault) {
    case DbFault::Other:
        return engineText;
    case DbFault::Busy:
        text = u"数据库正被其他工作站使用，请稍后再试。";
        break;
    case DbFault::ReadOnly:
        text = u"数据库是只读的，不能写入。请检查数据库文件或数据库服务器的写入权限。";
        break;
    case DbFault::DiskFull:
        text = u"数据库所在的磁盘已满，不能写入。请清理磁盘空间后再试。";
        break;
    case DbFault::IoError:
        text = u"读写数据库文件时发生磁盘或网络错误，操作未完成。";
        break;
    case DbFault::Conflict:
        text = u"与其他工作站的操作冲突，本次操作未完成，请重试。";
        break;
    case DbFault::ConnectionLost:
        text = u"与数据库服务器的连接已断开，操作未完成，请重试。";
        break;
    case DbFault::TransactionLost:
        text = u"与数据库服务器的连接已断开，本次操作中的修改均未保存，请重新操作。";
        break;
    case DbFault::CannotConnect:
        text = u"无法连接数据库服务器，请检查服务器是否已启动、网络是否畅通以及连接设置。";
        break;
    }
    const QString message = QString::fromUtf16(text);
    return engineText.isEmpty() ? message : message + QStringLiteral("\n\n详细信息: ") + engineText;
}
