#pragma once
// Isolates a test from the user's files and dialogs: XDG folders point into a
// temporary folder, the component's session is reset, and every message goes to a
// recording responder. Settings for the host's store can be written before
// start-up.
#include "platform/Prompt.h"

#include <QMap>
#include <QTemporaryDir>

struct Session;

class TestSession {
public:
    TestSession();
    ~TestSession();

    QString folder() const { return m_dir.path(); }
    // The component's session, which start() fills.
    static Session &session();
    Prompt::RecordingResponder &prompts() { return m_responder; }

    // Writes one value into the host's settings store ("Velkam").
    void setSetting(const QString &section, const QString &key, const QString &value);
    // Writes the usual settings for a database: connection string, user,
    // admin flag, application folder inside the temporary folder.
    void writeHostSettings(const QString &connectionString, int userId = 1, bool admin = true);
    // Runs the session start-up; returns the error text, empty on success.
    QString start();

private:
    QTemporaryDir m_dir;
    Prompt::RecordingResponder m_responder;
};
