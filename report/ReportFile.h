#pragma once
// The template file: UTF-8 JSON (the ".grf" files are this JSON). Reading
// checks the whole document and reports the first problem as text instead of
// accepting half a template.
#include "report/ReportModel.h"

#include <optional>

namespace report {

QByteArray templateToJson(const ReportTemplate &tpl);
// On failure returns no template and puts the reason into *error.
std::optional<ReportTemplate> templateFromJson(const QByteArray &bytes, QString *error = nullptr);

bool saveTemplate(const ReportTemplate &tpl, const QString &path, QString *error = nullptr);
std::optional<ReportTemplate> loadTemplate(const QString &path, QString *error = nullptr);

} // namespace report
