#pragma once
// Turns the query dialog's entries into WHERE-clause fragments and joins them
// into the statement the bill list runs. Every fragment is empty or begins
// with " and "; values are pasted in as typed, never quoted twice or bound.
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

// The conditions of the grid, opened with " and ( " and left unclosed; ""
// when no row takes part. A row whose kind cell is not a number throws
// ConversionError, as the grid's conversion of it fails.
QString buildSeekSQL(const ConditionTable &conditions);

// The conditions of the simple page, opened with " and ( " and left
// unclosed. A filled box whose tag has no third item throws ConversionError.
QString buildSeekSQLB(const QDate &startDate, const QDate &endDate, const TextBoxes &textBoxes);

// The fixed filters, in the order date range, audit, cancellation, red or
// blue, matching. "今天", "本月" and "今年" use Clock::today(); "本期" the
// given accounting year and period.
QString buildMainSQL(const FilterCodes &codes, int currentYear, int currentPeriod);

// The order clause; empty, so the statement takes its default order.
QString buildOrderSQL();

// The list's statement over `viewName`: the seek condition closed with ")",
// the main condition, the host's condition, then the order clause or the
// default order.
QString buildFindStatement(const QString &viewName, const QString &seek, const QString &main,
                           const QString &findSql, const QString &order);
