#pragma once
// Reading and writing one purchase invoice: loading it with its entries,
// the checks that come before a save, the header statements built from the
// header layout, inserting a new bill and rewriting a saved one, and the open
// stock-in bills offered for matching.
//
// Saving keeps three totals in step: the invoice's entries (tblFPEntry), the
// amount invoiced on every stock bill (icstockbill.fKPAmount) and the
// invoice's matched amount (tblFP.fEndAmount). The entry writes run in one
// transaction; when any statement fails it is rolled back and nothing of the
// bill is left behind. The entries and the stock bills' amounts are written
// many rows to a statement, the matched amount once per save.
//
// Other workstations may have invoiced the same stock bills since the editor
// read them. The save therefore locks the stock bills it names (ascending
// id, before any write) and checks, inside the same transaction, that what
// the invoices together take stays within each stock bill's amount; a save
// that would go beyond it writes nothing and says which stock bill is short.
// A transaction the engine drops as a deadlock or serialization failure is
// run again with the same id and number.
//
// User text (header text fields, bill numbers) is bound as parameters, so a
// quote in a note is stored as typed. Ids, amounts and dates, which the
// program itself formats, are spliced into the text.
#include "editor/BillLayout.h"
#include "editor/EntryRules.h"
#include "modules/StockBillLedger.h"

#include <QDate>
#include <QString>
#include <QStringList>
#include <QVariantList>

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <vector>

class Connection;
class DbError;
class Transaction;
class Recordset;
struct Session;

// The session values a save depends on, copied so that a store can work
// away from the session (several connections in one process, tests).
struct BillSettings {
    QString loginUserId = QStringLiteral("0");
    std::int16_t billTypeId = 71;
    std::int16_t currentYear = 0;
    std::int16_t currentPeriod = 0;
    QDate periodStartDate = QDate(1900, 1, 1);
    std::int16_t isUpdateBillNo = 0;
    std::int16_t isAddDelNumber = 0;
    QString viewName = QStringLiteral("vPurFP");

    static BillSettings fromSession(const Session &s);
};

// The value of one laid-out header field with a column to write.
struct HeaderValue {
    QString fieldName;
    bool lookup = false;
    QString text;  // a text field's text; a lookup field's number as shown
    QString value; // a lookup field's "number&**&id"; empty when none is chosen
    QString name;  // a lookup field's name, for display
};

// What the editor holds of a bill when it saves.
struct BillDraft {
    QString billNo;
    QDate date;
    QString amountText; // txtAmount as typed
    int rob = 0;        // 0 blue, 1 red
    std::vector<HeaderValue> fields;
    std::vector<EntryRow> rows;
};

// A refusal or an error, as the user is to see it.
struct StoreMessage {
    QString text;
    int icon = 48; // Prompt icon
    bool focusAmount = false;
};

// A header statement with its bound values. For an insert the bill's id goes
// between `sql` and `tail`; for an update the key clause follows `sql`.
struct HeaderStatement {
    QString sql;
    QString tail;
    QVariantList params;
};

struct SaveResult {
    bool saved = false;
    std::optional<StoreMessage> message; // set when not saved
    int interId = 0;
    QString billNo;
    QString serial;
};

// The number and name of a basic-data item.
struct ItemText {
    QString number;
    QString name;
};

// A bill as the editor shows it after loading.
struct LoadedBill {
    int interId = 0;
    QString billNo;
    QDate date;
    QString amountText;
    QString billerName;
    QString checkerName;
    QString checkerId;
    int status = 0;
    int cancellation = 0;
    int rob = 0;
    std::vector<HeaderValue> fields; // one per laid-out field, layout order
    std::vector<EntryRow> rows;
};

// The number of a new bill from the kind's template: "年", "月", "日" replaced
// by parts of the date (the year cut to its last `yearDigits` digits) and
// "序号" by the sequence text.
QString renderBillNumber(const QString &templ, const QDate &date, int yearDigits, const QString &serial);

// The two statements that load a bill.
QString billHeaderSql(const QString &viewName, int interId);
QString billEntriesSql(int interId);
// The open stock-in bills of a supplier, oldest first, without the ids listed
// ("" for none).
QString openStockBillsSql(const QString &supplierId, const QString &excludedIds);

class BillStore {
public:
    BillStore(Connection &conn, BillSettings settings);

    const BillSettings &settings() const { return m_settings; }

    // The checks of a save that need no database, in the order of each path:
    // new bill: entries, period, number; changed bill: period, entries, number.
    std::optional<StoreMessage> insertChecks(const BillDraft &draft, const std::vector<HeaderLabel> &labels) const;
    std::optional<StoreMessage> updateChecks(const BillDraft &draft, const std::vector<HeaderLabel> &labels) const;

    // "insert into tblFP(finterid,fstatus,fcancellation,<fields>,fdate,...)
    // values(" id ",0,0,<values>,...)" with the header text fields bound.
    // insertBill binds the sequence and the bill number last.
    HeaderStatement insertHeader(const BillDraft &draft) const;
    // "update tblFP set fdate=...,fbillno=?,fOperator=...,fAmount=...<fields>";
    // updateBill appends the key clause.
    HeaderStatement updateHeader(const BillDraft &draft) const;

    // Takes the id and the number, then writes header and entries in one
    // transaction. With isUpdateBillNo 1 the draft's number is used and must
    // not exist yet; otherwise the number comes from the template and the
    // counter (or a released number). Concurrent savers never share an id or
    // a number. On PostgreSQL the counters are advanced in a short
    // transaction of their own and stay advanced when the bill then fails,
    // its number going back to the released numbers; on SQLite they are part
    // of the bill's transaction. Refused, with nothing written, when a stock
    // bill can no longer take the entries.
    SaveResult insertBill(const HeaderStatement &header, const BillDraft &draft);
    // Checks that the bill may still be changed, then in one transaction gives
    // back its old entries' amounts, rewrites the header, and writes the
    // entries anew; refused like insertBill when a stock bill cannot take
    // them.
    SaveResult updateBill(const HeaderStatement &header, const BillDraft &draft, int interId);

    // The id a new bill gets: the tblmaxNum counter of tblFP, created with 1
    // when absent. Runs inside the caller's transaction. Throws DbError.
    int takeInterId();
    // Number and sequence for a new bill dated `date`: a released number
    // when the settings reuse them and one is left, else the next of the
    // kind's counter. An empty number when the kind has no numbering row.
    // Runs inside the caller's transaction. Throws DbError.
    std::pair<QString, QString> takeBillNumber(const QDate &date);

    // None when the bill does not exist. Its two statements are read through
    // the engine's own API where the connection's driver allows. Throws
    // DbError.
    std::optional<LoadedBill> loadBill(int interId, const HeaderLayout &layout);
    // The supplier's open stock-in bills that are not among `grid`'s rows, as
    // rows to append. Throws DbError.
    std::vector<EntryRow> openStockBills(const QString &supplierId, const std::vector<EntryRow> &grid);
    // The item `itemId` (digits), none when it does not exist. Throws DbError.
    std::optional<ItemText> itemText(const QString &itemId);
    // The number of another non-void invoice of the supplier `supplierId`
    // whose supplier invoice number (fInvoiceNo) is `invoiceNo`, compared
    // without regard to case and blanks; none for an empty number. A
    // supplier's invoice entered twice would be paid twice.
    std::optional<QString> sameInvoiceNumber(const QString &supplierId, const QString &invoiceNo, int exceptInterId);

private:
    struct Allocation {
        int interId = 0;
        QString number;
        QString serial;
    };
    Allocation allocate(const QDate &date);
    // What a run of a unit of work asks for once it returns: Done when it has
    // committed or given up (rolling back), Again to be run once more.
    enum class RunEnd { Done, Again };
    // Runs `unit` in a Transaction, which it commits to keep its work; any
    // other way out of a run rolls it back. `unit` is given the run's number,
    // counted from 1.
    void runInTransaction(const std::function<RunEnd(Transaction &, int)> &unit, const std::function<bool()> &mayRun = {});
    bool countersApart() const;
    void releaseNumber(const Allocation &taken);
    static StockAmounts stockShares(const std::vector<EntryRow> &rows);
    // Writes the entries of `interId` and moves the stock bills' and the
    // invoice's totals by them, after giving back the bill's stored entries
    // when `replacing`; the header is written by `writeHeader` once the
    // stock bills are locked and checked. Returns the refusal when a stock
    // bill cannot take the entries; nothing has then been written.
    std::optional<StoreMessage> writeBill(int interId, const std::vector<EntryRow> &rows, bool replacing,
                                          const std::function<void()> &writeHeader);
    std::optional<StoreMessage> changeRefusal(int interId);
    void executeInChunks(const QString &head, const QStringList &rows, const QString &tail);

    Connection &m_conn;
    BillSettings m_settings;
};
