#pragma once
// What the query dialog's controls hold, without the widgets: the operators
// of each value kind, the catalogue of searchable fields, the five fixed
// filter lists and the ten-row condition grid.
#include <QDate>
#include <QList>
#include <QString>
#include <QStringList>

#include <array>
#include <optional>

struct Session;

class Recordset;

// Value kind of a searchable field (fNumType).
enum class ValueKind { Number = 1, Text = 2, Date = 3 };

// Operator names (grid column 5) and their symbols (column 6) for a value
// kind, in list order; both empty for any other kind.
QStringList operatorNames(int kind);
QStringList operatorSymbols(int kind);

// The searchable fields of one bill type: six parallel arrays of 51 texts.
// Index 0 is the entry "无" (caption only); fields fill indexes 1..50 in
// catalogue order, and a longer catalogue keeps its first 50 rows.
class FieldCatalogue {
public:
    static constexpr int kSize = 51;
    static constexpr int kMaxFields = kSize - 1;
    enum Column { Caption, FieldName, NumType, ItemClassId, NumberName, ItemType, ColumnCount };

    // The statement that reads the catalogue of a bill type.
    static QString statement(int billTypeId);

    FieldCatalogue();

    // Empties the arrays, leaving only index 0 "无".
    void clear();
    // Replaces the fields with the rows of statement()'s result, from the
    // recordset's current row on.
    void fill(Recordset &rs);
    // Puts one field at the next index; false (nothing stored) when 50
    // fields are held already.
    bool addField(const QString &caption, const QString &fieldName, const QString &numType,
                  const QString &itemClassId, const QString &numberName, const QString &itemType);

    // Number of fields stored at indexes 1.. (captions may be empty).
    int fieldCount() const { return m_count; }
    // Array entry 0..50; "" outside.
    QString value(Column column, int index) const;

    // The parallel lists the grid's drop-downs show: one item per array
    // entry whose caption is not empty, "无" first.
    QStringList list(Column column) const;
    // The same list joined with tabs.
    QString tabList(Column column) const;

private:
    std::array<std::array<QString, kSize>, ColumnCount> m_arrays;
    int m_count = 0;
};

// Reads the catalogue of a bill type over the session's connection. A
// database error gives no value and its text in `error` (for the form to show
// with the critical icon); a connection that cannot be opened gives no value
// and no text.
std::optional<FieldCatalogue> loadFieldCatalogue(Session &s, int billTypeId, QString *error = nullptr);

// One item of a fixed filter list and the code the SQL reads.
struct FilterItem {
    QString text;
    int code = 0;
    bool operator==(const FilterItem &) const = default;
};

// The five fixed filter lists PC 0..4.
namespace FixedFilters {
enum List { Matching = 0, DateRange = 1, Audit = 2, Cancellation = 3, RedBlue = 4 };
inline constexpr int kListCount = 5;
// Code of a list without a selected item.
inline constexpr int kNoSelection = -1;

// The date-range list offers "本期" only when the session has an
// accounting year.
inline bool offersPeriod(int currentYear) { return currentYear != 0; }

// Items of list PC `list`; `withPeriod` picks the date-range variant.
QList<FilterItem> items(int list, bool withPeriod);
// Index of the last item, "全部".
int allIndex(int list, bool withPeriod);
// A stored index when it lies inside the list, otherwise the "全部" index.
int validIndex(int list, int index, bool withPeriod);
// Code of the item at `index`, kNoSelection outside the list.
int codeAt(int list, int index, bool withPeriod);
}

// How the value cell (column 7) of a row is edited after its field was set.
struct ValueCell {
    enum Kind {
        None,          // no usable value kind: the row has no operators
        Number,
        Text,
        CodedDropDown, // text picked through the value lookup of the field's code class
        Date
    };
    Kind kind = None;
    QDate startDate; // Date only: the date put into the cell
};

// The condition grid: 10 rows of 10 cell texts, rows and columns 1-based.
class ConditionTable {
public:
    static constexpr int kRows = 10;
    static constexpr int kColumns = 10;
    enum Col {
        ColConnector = 1,
        ColCaption,
        ColFieldName,  // hidden
        ColKind,       // hidden
        ColOperator,
        ColSymbol,     // hidden
        ColValue,
        ColClassId,    // hidden
        ColNumberName, // hidden
        ColItemType    // hidden
    };

    static bool validCell(int row, int column)
    {
        return row >= 1 && row <= kRows && column >= 1 && column <= kColumns;
    }

    // "" outside the grid.
    QString cell(int row, int column) const;
    // Ignored outside the grid.
    void setCell(int row, int column, const QString &text);
    // Columns 1..10 of a row.
    QStringList rowTexts(int row) const;
    void setRowTexts(int row, const QStringList &texts);

    // The last row with text in any column; 0 for an empty grid.
    int lastUsedRow() const;
    bool isEmpty() const { return lastUsedRow() == 0; }
    // Every cell of every row back to "".
    void clear();

    // The user picked item `listIndex` of the caption list in column 2:
    // columns 2, 3, 4, 8, 9 and 10 take the catalogue lists' items at that
    // index, the value is cleared and the row's kind is set up as
    // applyKindSetup() does. An index outside the lists changes nothing.
    ValueCell chooseCaption(int row, int listIndex, const FieldCatalogue &catalogue);
    // Prepares the operator, symbol and value cells for the row's kind:
    // number clears the symbol; text clears the value (a coded drop-down
    // when column 8 names a code class); date puts today's date into the
    // value; any other kind clears operator and symbol, there being no
    // operator list to choose from.
    ValueCell applyKindSetup(int row);
    // The user picked item `listIndex` of the operator list in column 5:
    // column 6 takes the symbol at the same index. False, with nothing
    // changed, when the row's kind has no such item.
    bool chooseOperator(int row, int listIndex);

    // Whether column 8 names a code class (not empty and not 0).
    static bool hasCodeClass(const QString &classId);

    bool operator==(const ConditionTable &) const = default;

private:
    std::array<std::array<QString, kColumns>, kRows> m_cells;
};
