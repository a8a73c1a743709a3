#pragma once
// The one seam through which the component talks to the user outside its
// forms: message boxes, input boxes, file dialogs and the clipboard. In the
// program these show Qt dialogs; tests install a Responder that answers and
// records every call.
#include <QString>
#include <QStringList>

#include <deque>
#include <optional>
#include <vector>

namespace Prompt {

enum Icon { NoIcon = 0, Critical = 16, Question = 32, Exclamation = 48, Information = 64 };
enum Buttons { OKOnly = 0, OKCancel = 1, YesNoCancel = 3, YesNo = 4 };
enum Answer { OK = 1, Cancel = 2, Yes = 6, No = 7 };

struct Call {
    enum Kind { Message, Input, SaveFile, OpenFile, Clipboard } kind = Message;
    QString text;   // message, input prompt, dialog caption, clipboard text
    QString title;
    int icon = NoIcon;
    int buttons = OKOnly;
    QString filter;      // file dialogs, as given ("desc|pattern")
    QString suggestion;  // input default, suggested file name
};

class Responder {
public:
    virtual ~Responder() = default;
    virtual int message(const Call &call) = 0;
    // No value = the user cancelled.
    virtual std::optional<QString> input(const Call &call) = 0;
    // Empty = cancelled.
    virtual QString fileName(const Call &call) = 0;
    virtual void clipboard(const Call &call) = 0;
};

// Records every call; answers from queues, then from defaults (OK / Yes for
// messages depending on buttons, cancel for input and file dialogs).
class RecordingResponder : public Responder {
public:
    std::vector<Call> calls;
    std::deque<int> answers;
    std::deque<std::optional<QString>> inputs;
    std::deque<QString> fileNames;
    QString clipboardText;

    int message(const Call &call) override;
    std::optional<QString> input(const Call &call) override;
    QString fileName(const Call &call) override;
    void clipboard(const Call &call) override;

    std::vector<Call> messages() const;
    QStringList messageTexts() const;
    // The last message shown, or an empty call.
    Call lastMessage() const;
    void clear() { calls.clear(); answers.clear(); inputs.clear(); fileNames.clear(); }
};

// Installs a responder (nullptr restores the real dialogs). Not owned.
void setResponder(Responder *responder);
Responder *responder();

// Shows a message box; returns an Answer. Title is the caller's (msgTitle).
int msgBox(const QString &text, int buttons, int icon, const QString &title);
inline int msgBox(const QString &text, int icon, const QString &title) { return msgBox(text, OKOnly, icon, title); }
std::optional<QString> inputBox(const QString &prompt, const QString &title, const QString &defaultText = {});
// `filter` as "desc|pattern[|desc|pattern]"; returns "" when cancelled.
QString saveFileName(const QString &caption, const QString &filter, const QString &suggested = {});
QString openFileName(const QString &caption, const QString &filter);
void setClipboardText(const QString &text);

// "desc|pattern|desc2|pattern2" -> "desc (pattern);;desc2 (pattern2)"
QString qtFileFilter(const QString &filter);

} // namespace Prompt

// Shows the wait cursor for its lifetime and restores it on every path.
class WaitCursor {
public:
    WaitCursor();
    ~WaitCursor();
    WaitCursor(const WaitCursor &) = delete;
    WaitCursor &operator=(const WaitCursor &) = delete;
private:
    bool m_active = false;
};
