#include "platform/Prompt.h"

#include <QApplication>
#include <QClipboard>
#include <QFileDialog>
#include <QInputDialog>
#include <QMessageBox>
#include <QPushButton>

namespace Prompt {
namespace {
Responder *g_responder = nullptr;

bool haveGui()
{
    return qobject_cast<QApplication *>(QCoreApplication::instance()) != nullptr;
}

// While a dialog is up the user needs the normal pointer, not the hourglass.
class CursorPause {
public:
    CursorPause() { while (QApplication::overrideCursor()) { QApplication::restoreOverrideCursor(); ++m_count; } }
    ~CursorPause() { for (int i = 0; i < m_count; ++i) QApplication::setOverrideCursor(Qt::WaitCursor); }
private:
    int m_count = 0;
};

int realMessage(const Call &call)
{
    if (!haveGui()) {
        fprintf(stderr, "%s: %s\n", qPrintable(call.title), qPrintable(call.text));
        return call.buttons == YesNo || call.buttons == YesNoCancel ? No : OK;
    }
    CursorPause pause;
    QMessageBox box(QApplication::activeWindow());
    box.setWindowTitle(call.title);
    box.setText(call.text);
    switch (call.icon) {
    case Critical: box.setIcon(QMessageBox::Critical); break;
    case Question: box.setIcon(QMessageBox::Question); break;
    case Exclamation: box.setIcon(QMessageBox::Warning); break;
    case Information: box.setIcon(QMessageBox::Information); break;
    default: box.setIcon(QMessageBox::NoIcon); break;
    }
    switch (call.buttons) {
    case OKCancel:
        box.setStandardButtons(QMessageBox::Ok | QMessageBox::Cancel);
        box.setEscapeButton(QMessageBox::Cancel);
        break;
    case YesNoCancel:
        box.setStandardButtons(QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel);
        box.setEscapeButton(QMessageBox::Cancel);
        break;
    case YesNo:
        box.setStandardButtons(QMessageBox::Yes | QMessageBox::No);
        box.setEscapeButton(QMessageBox::No);
        break;
    default:
        box.setStandardButtons(QMessageBox::Ok);
        break;
    }
    const std::pair<QMessageBox::StandardButton, const char *> captions[] = {
        {QMessageBox::Ok, "确定"}, {QMessageBox::Cancel, "取消"}, {QMessageBox::Yes, "是(&Y)"}, {QMessageBox::No, "否(&N)"}};
    for (const auto &[button, caption] : captions)
        if (QAbstractButton *b = box.button(button))
            b->setText(QString::fromUtf8(caption));
    switch (box.exec()) {
    case QMessageBox::Yes: return Yes;
    case QMessageBox::No: return No;
    case QMessageBox::Cancel: return Cancel;
    default: return OK;
    }
}
} // namespace

void setResponder(Responder *responder) { g_responder = responder; }
Responder *responder() { return g_responder; }

int msgBox(const QString &text, int buttons, int icon, const QString &title)
{
    Call call;
    call.kind = Call::Message;
    call.text = text;
    call.title = title;
    call.icon = icon;
    call.buttons = buttons;
    return g_responder ? g_responder->message(call) : realMessage(call);
}

std::optional<QString> inputBox(const QString &prompt, const QString &title, const QString &defaultText)
{
    Call call;
    call.kind = Call::Input;
    call.text = prompt;
    call.title = title;
    call.suggestion = defaultText;
    if (g_responder)
        return g_responder->input(call);
    if (!haveGui())
        return std::nullopt;
    CursorPause pause;
    bool ok = false;
    const QString answer = QInputDialog::getText(QApplication::activeWindow(), title, prompt, QLineEdit::Normal, defaultText, &ok);
    if (!ok)
        return std::nullopt;
    return answer;
}

QString qtFileFilter(const QString &filter)
{
    const QStringList parts = filter.split(u'|');
    QStringList out;
    for (int i = 0; i + 1 < parts.size(); i += 2)
        out << parts[i] + QStringLiteral(" (") + parts[i + 1].split(u';').join(u' ') + u')';
    if (parts.size() % 2 == 1 && !parts.last().isEmpty())
        out << parts.last();
    return out.join(QStringLiteral(";;"));
}

static QString fileDialog(Call::Kind kind, const QString &caption, const QString &filter, const QString &suggested)
{
    Call call;
    call.kind = kind;
    call.text = caption;
    call.filter = filter;
    call.suggestion = suggested;
    if (g_responder)
        return g_responder->fileName(call);
    if (!haveGui())
        return {};
    CursorPause pause;
    if (kind == Call::SaveFile)
        return QFileDialog::getSaveFileName(QApplication::activeWindow(), caption, suggested, qtFileFilter(filter));
    return QFileDialog::getOpenFileName(QApplication::activeWindow(), caption, suggested, qtFileFilter(filter));
}

QString saveFileName(const QString &caption, const QString &filter, const QString &suggested)
{
    return fileDialog(Call::SaveFile, caption, filter, suggested);
}

QString openFileName(const QString &caption, const QString &filter)
{
    return fileDialog(Call::OpenFile, caption, filter, {});
}

void setClipboardText(const QString &text)
{
    Call call;
    call.kind = Call::Clipboard;
    call.text = text;
    if (g_responder) {
        g_responder->clipboard(call);
        return;
    }
    if (haveGui())
        QGuiApplication::clipboard()->setText(text);
}

int RecordingResponder::message(const Call &call)
{
    calls.push_back(call);
    if (!answers.empty()) {
        const int a = answers.front();
        answers.pop_front();
        return a;
    }
    return call.buttons == YesNo || call.buttons == YesNoCancel ? Yes : OK;
}

std::optional<QString> RecordingResponder::input(const Call &call)
{
    calls.push_back(call);
    if (inputs.empty())
        return std::nullopt;
    auto a = inputs.front();
    inputs.pop_front();
    return a;
}

QString RecordingResponder::fileName(const Call &call)
{
    calls.push_back(call);
    if (fileNames.empty())
        return {};
    const QString a = fileNames.front();
    fileNames.pop_front();
    return a;
}

void RecordingResponder::clipboard(const Call &call)
{
    calls.push_back(call);
    clipboardText = call.text;
}

std::vector<Call> RecordingResponder::messages() const
{
    std::vector<Call> out;
    for (const Call &c : calls)
        if (c.kind == Call::Message)
            out.push_back(c);
    return out;
}

QStringList RecordingResponder::messageTexts() const
{
    QStringList out;
    for (const Call &c : calls)
        if (c.kind == Call::Message)
            out << c.text;
    return out;
}

Call RecordingResponder::lastMessage() const
{
    for (auto it = calls.rbegin(); it != calls.rend(); ++it)
        if (it->kind == Call::Message)
            return *it;
    return {};
}

} // namespace Prompt

WaitCursor::WaitCursor()
{
    if (qobject_cast<QApplication *>(QCoreApplication::instance())) {
        QApplication::setOverrideCursor(Qt::WaitCursor);
        m_active = true;
    }
}

WaitCursor::~WaitCursor()
{
    if (m_active)
        QApplication::restoreOverrideCursor();
}
