#include "report/ReportData.h"

namespace report {

ReportRecord::ReportRecord(std::initializer_list<std::pair<QString, QVariant>> fields)
{
    for (const auto &[name, value] : fields)
        setValue(name, value);
}

ReportRecord::ReportRecord(const QVariantMap &fields)
{
    for (auto it = fields.cbegin(); it != fields.cend(); ++it)
        setValue(it.key(), it.value());
}

void ReportRecord::setValue(const QString &name, const QVariant &value)
{
    const QString key = fieldKey(name);
    auto it = m_values.find(key);
    if (it == m_values.end()) {
        m_values.insert(key, value);
        m_names.append(name.trimmed());
    } else {
        *it = value;
    }
}

} // namespace report
