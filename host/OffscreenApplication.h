#pragma once
// The application of a host command that draws forms or pages into memory
// only, so that it runs without a display; whatever the component would ask
// or say in a message box is recorded in `prompts` instead of shown.
#include "platform/Prompt.h"

#include <QApplication>

class OffscreenApplication {
    struct Platform {
        Platform() { qputenv("QT_QPA_PLATFORM", "offscreen"); }
    };
    Platform m_platform; // set before the application below reads it
    int m_argc = 1;
    char m_name[6] = "purfp";
    char *m_argv[2] = {m_name, nullptr};
    QApplication m_app{m_argc, m_argv};

public:
    Prompt::RecordingResponder prompts;

    OffscreenApplication() { Prompt::setResponder(&prompts); }
    ~OffscreenApplication() { Prompt::setResponder(nullptr); }
    OffscreenApplication(const OffscreenApplication &) = delete;
    OffscreenApplication &operator=(const OffscreenApplication &) = delete;
};
