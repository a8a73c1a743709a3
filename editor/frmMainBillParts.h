#pragma once
// What the parts of frmMainBill (frmMainBill*.cpp) share; not for use
// outside the form.
#include "editor/frmMainBill.h"

class QLabel;
class QLineEdit;

namespace frmMainBillParts {
// What printing supplied to the editor.
EditorPrintHooks &printHooks();
// A code's name in its frame; a name too long for it is elided. The whole
// name is always the tool tip, so the clerk can read it either way.
void setNameText(QLabel *label, const QString &name);
// Read-only boxes are drawn grey by the form's style sheet, which must be
// applied again when the property changes.
void setReadOnly(QLineEdit *edit, bool readOnly);
} // namespace frmMainBillParts
