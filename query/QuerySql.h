#pragma once
// Turns the query dialog's entries into WHERE-clause fragments and joins them
// into the statement the bill list runs. Every fragment is empty or begins
// with " and ". What the user typed goes in as data only: text inside its
// quotes with single quotes doubled, like patterns with their wildcards
// escaped, numbers and dates only once they are checked to be numbers and
// dates.
#include "platform/VbConvert.h"
#include "query/ConditionModel.h"

#include <QDate>
#include <QList>
#include <QString>

#include <array>
#include <utility>

// The simple page's text boxes, in index order: (text, tag). The tag's third
// comma-separated item names the view column the box searches.
using TextBoxes = QList<std::pair<QString, QString>>;

// Code of the selected item of each fixed list, indexed by PC 0..4;
// FixedFilters::kNoSelection for a list without a selected item.
using FilterCodes = std::array<int, FixedFilters::kListCount>;

// Dates as the statements carry them.
QString sqlDateText(const QDate &date);

// The inside of a quoted text literal: every single quote doubled.
QString sqlTextValue(const QString &value);
// The inside of a quoted like pattern that matches `value` literally: "\",
// "%" and "_" each preceded by a backslash, then single quotes doubled. The
// pattern's literal must be followed by kLikeEscape, so that both engines
// read the backslash as the escape character.
QString sqlLikeValue(const QString &value);
inline const QString kLikeEscape = QStringLiteral(" escape '\\'");

// A grid value that cannot be put into the statement: what a number
// condition holds is no number, or what a date condition holds is no valid
// date. text() is the message for the user, naming the row and the field's
// caption; no statement may be run with the grid as it is.
class ConditionValueError : public ConversionError {
public:
    enum Problem { NotANumber, NotADate };
    ConditionValueError(int row, const QString &caption, Problem problem);
    int row() const { return m_row; }
    const QString &caption() const { return m_caption; }
    Problem problem() const { return m_problem; }

private:
    int m_row;
    QString m_caption;
    Problem m_problem;
};

// The conditions of the grid, opened with " and ( " and left unclosed; ""
// when no row takes part. A row whose kind cell is not a number throws
// ConversionError, as the grid's conversion of it fails. A number condition
// takes a decimal number (sign and blanks around it allowed; empty counts as
// 0), a date condition a date written yyyy-MM-dd; anything else throws
// ConditionValueError.
QString buildSeekSQL(const ConditionTable &conditions);

// The conditions of the simple page, opened with " and ( " and left
// unclosed. A filled box whose tag has no third item throws ConversionError.
QString buildSeekSQLB(const QDate &startDate, const QDate &endDate, const TextBoxes &textBoxes);

// The fixed filters, in the order date range, audit, cancellation, red or
// blue, matching. "今天", "本月" and "今年" are ranges of fdate around
// Clock::today() (" and fdate>='first day' and fdate<'day after'"); "本期"
// the given accounting year and period.
QString buildMainSQL(const FilterCodes &codes, int currentYear, int currentPeriod);

// The order clause; empty, so the statement takes its default order.
QString buildOrderSQL();

// The list's statement over `viewName`: the seek condition closed with ")",
// the main condition, the host's condition, then the order clause or the
// default order.
QString buildFindStatement(const QString &viewName, const QString &seek, const QString &main,
                           const QString &findSql, const QString &order);
