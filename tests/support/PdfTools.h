#pragma once
// Reading a written PDF back with the poppler command-line tools, for the
// report and printing tests. A missing tool gives no value, so that the
// caller can skip what it cannot check.
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QStringList>

#include <optional>

namespace pdf_tools {

// The tool's output; empty when it fails.
inline std::optional<QString> runTool(const QString &tool, const QStringList &arguments)
{
    if (QStandardPaths::findExecutable(tool).isEmpty())
        return std::nullopt;
    QProcess p;
    p.start(tool, arguments);
    if (!p.waitForFinished(60000) || p.exitStatus() != QProcess::NormalExit || p.exitCode() != 0)
        return QString();
    return QString::fromUtf8(p.readAllStandardOutput());
}

// The page count pdfinfo reads; -1 without the tool or a file it can read.
inline int pageCount(const QString &path)
{
    static const QRegularExpression pages(QStringLiteral("^Pages:\\s+(\\d+)$"), QRegularExpression::MultilineOption);
    const QRegularExpressionMatch m = pages.match(runTool(QStringLiteral("pdfinfo"), {path}).value_or(QString()));
    return m.hasMatch() ? m.captured(1).toInt() : -1;
}

// The text pdftotext reads in layout mode: of every page, or of one (from 1).
inline std::optional<QString> text(const QString &path, int page = 0)
{
    QStringList arguments{QStringLiteral("-layout")};
    if (page > 0)
        arguments << QStringLiteral("-f") << QString::number(page) << QStringLiteral("-l") << QString::number(page);
    return runTool(QStringLiteral("pdftotext"), arguments << path << QStringLiteral("-"));
}

struct Font {
    QString name;
    bool embedded = false;
};

// The fonts that pdffonts lists, cut into columns where the dashed rule under
// its header marks them (name first, "emb" fourth); empty when the output
// has no such rule.
inline std::optional<QList<Font>> fonts(const QString &path)
{
    const auto out = runTool(QStringLiteral("pdffonts"), {path});
    if (!out)
        return std::nullopt;
    const QStringList lines = out->split(u'\n', Qt::SkipEmptyParts);
    const qsizetype rule = lines.indexOf(QRegularExpression(QStringLiteral("^-+( -+)+\\s*$")));
    QList<QPair<int, int>> columns;
    static const QRegularExpression dashes(QStringLiteral("-+"));
    for (auto it = dashes.globalMatch(rule < 0 ? QString() : lines[rule]); it.hasNext();) {
        const auto m = it.next();
        columns << qMakePair(int(m.capturedStart()), int(m.capturedLength()));
    }
    QList<Font> list;
    for (qsizetype i = rule + 1; columns.size() >= 4 && i < lines.size(); ++i) {
        auto cell = [&](int c) { return lines[i].mid(columns[c].first, columns[c].second).trimmed(); };
        list.append(Font{cell(0), cell(3) == u"yes"});
    }
    return list;
}

} // namespace pdf_tools
