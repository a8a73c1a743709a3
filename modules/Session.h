#pragma once
// The component's session: the settings the host wrote, the identity of the
// bill kind, the current accounting year and period, and the call-mode fields
// that each public method sets before it shows a form. The component owns one
// and hands it to every form and routine it opens; tests make their own.
#include "platform/Connection.h"

#include <QObject>

#include <QDate>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <memory>

struct Session {
    // Settings read from the settings store (application "Velkam").
    QString msgTitle = QStringLiteral("维卡进销存");
    QString DBConnectionString;
    QString gLoginUserId = QStringLiteral("0");
    QString gLoginUserName;
    std::int16_t gCurrentYear = 0;
    std::int16_t gCurrentPeriod = 0;
    std::int16_t gBillLength = 6;
    std::int16_t gIsCloseStock = 0;
    std::int16_t gIsUpdateBillNo = 0;
    double fTax1 = 17;
    double fTax2 = 0;
    std::int16_t IsAdmin = 0;
    QString gSeekItem = QStringLiteral("fNumber");
    bool gIsShowTip = true;
    QString gAppPath;
    std::int16_t gIsAddDelNumber = 0;
    std::int16_t gFPrice1 = 0;
    std::int16_t intZeroNumber = 0;
    std::int16_t intPriceNumber = 2;
    QString DBPath;
    std::int16_t gIsUpdateInPrice1 = 0;

    // Fixed at start-up or read from the database.
    std::unique_ptr<Connection> gConn; // null while closed
    // The shared connection after CloseConnection, kept open for a while so
    // that the next unit of work need not connect again (see
    // ConnectionRoutines).
    std::unique_ptr<Connection> idleConn;
    QString idleConnString;
    qint64 idleSinceMs = 0;
    std::unique_ptr<QObject> idleTimers; // owns the idle connection's expiry timer
    QString gBillName = QStringLiteral("采购发票");
    std::int16_t gBillTypeId = 71;
    QString gViewName = QStringLiteral("vPurFP");
    QString gRightPrefix = QStringLiteral("Q");
    QDate gPeriodStartDate = QDate(1900, 1, 1);
    std::int32_t gCurInterId = 0;
    std::int16_t gEditorFlag = 0; // the editor's own 16-bit field, cleared at start-up

    // Call mode, set by the public methods.
    QString gUserRight;
    std::int16_t gBillMode = 0;
    std::int16_t gFromList = 0;
    std::int16_t gIsSelectMode = 0;
    std::int16_t gFindMode = 0;
    QString gFindSql;
    QString gReturnString;
    QString gReturnString1;
    std::int16_t gIsDownFromOrder = 0;
    QString gDownInterIds;

    // Shared working values of the routines and forms.
    QString gIniPath;     // full path of SetupInfo.ini
    QString gBillSerial;  // sequence part of the last proposed bill number
    QString gSeekSql;     // the list's last seek condition, for refills
    QStringList gListInterIds; // ids handed from the list to the editor
    int gListIndex = 0;
    QString gBatchItemId;
    QString gBatchNo;
    QString gTemplateFile; // print template written out before loading

    // Code lookup results.
    QString gItemName, gItemNumber, gItemId;
    QString gItemModel, gItemUnit;
    QString gItemInPrice, gItemOutPrice;
    QString gItemA1, gItemB1, gItemC1, gItemD1, gItemE1, gItemF1, gItemG1, gItemH1;
    QString gItemHNumber1, gItemHName1;
};

