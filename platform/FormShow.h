#pragma once
// Showing a form's default instance. Modeless returns at once; modal makes
// the window application-modal and runs an event loop until the form is
// destroyed (the forms close with delete-on-close, which ends their instance).
class QWidget;

void showForm(QWidget *form, bool modal);
