#pragma once
// The records a report prints. A record maps field names to values; names
// are matched without regard to case, so "FName" in the data and
// "[fname]" in a template meet.
#include <QHash>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <QVariantMap>
#include <QVector>
#include <functional>

namespace report {

// The key under which a field is stored and looked up.
inline QString fieldKey(const QString &name) { return name.trimmed().toCaseFolded(); }

class ReportRecord {
public:
    ReportRecord() = default;
    ReportRecord(std::initializer_list<std::pair<QString, QVariant>> fields);
    explicit ReportRecord(const QVariantMap &fields);

    // Setting a name that differs only in case replaces the earlier value.
    void setValue(const QString &name, const QVariant &value);
    // An invalid QVariant for a field the record does not have.
    QVariant value(const QString &name) const { return m_values.value(fieldKey(name)); }
    bool contains(const QString &name) const { return m_values.contains(fieldKey(name)); }
    // Lookup with a key already made by fieldKey().
    QVariant valueByKey(const QString &key) const { return m_values.value(key); }
    // Names as they were first set, in that order.
    QStringList fieldNames() const { return m_names; }
    int size() const { return m_names.size(); }

private:
    QHash<QString, QVariant> m_values;
    QStringList m_names;
};

class ReportData {
public:
    void append(const ReportRecord &record) { m_records.append(record); }
    void append(const QVariantMap &fields) { m_records.append(ReportRecord(fields)); }
    void clear() { m_records.clear(); }
    int count() const { return int(m_records.size()); }
    bool isEmpty() const { return m_records.isEmpty(); }
    const ReportRecord &at(int i) const { return m_records.at(i); }
    const QVector<ReportRecord> &records() const { return m_records; }

private:
    QVector<ReportRecord> m_records;
};

// Answers a report's request for its records by appending them.
using FetchRecords = std::function<void(ReportData &data)>;

} // namespace report
