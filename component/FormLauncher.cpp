#include "component/FormLauncher.h"

namespace {
FormLauncher::EditorOpener &editorOpener()
{
    static FormLauncher::EditorOpener opener;
    return opener;
}

FormLauncher::QueryOpener &queryOpener()
{
    static FormLauncher::QueryOpener opener;
    return opener;
}
} // namespace

void FormLauncher::setEditorOpener(EditorOpener opener) { editorOpener() = std::move(opener); }
void FormLauncher::setQueryOpener(QueryOpener opener) { queryOpener() = std::move(opener); }

void FormLauncher::openBillEditor(bool modal)
{
    if (editorOpener())
        editorOpener()(modal);
}

void FormLauncher::openQueryDialog()
{
    if (queryOpener())
        queryOpener()();
}
