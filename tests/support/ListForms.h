#pragma once
// The query dialog and the bill list on a small demo database, wired as the
// component wires them (the dialog's OK fills and shows the list). At the end
// both forms are closed and the default openers and code selector put back.
#include "component/clsCGIn.h"
#include "list/frmMainBillResult.h"
#include "modules/CodeSelectors.h"
#include "modules/FormLauncher.h"
#include "modules/SetupIni.h"
#include "platform/IniFile.h"
#include "query/frmMainBillFind.h"
#include "support/StartedSession.h"

#include <QCoreApplication>

inline void flushDeletes() { QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete); }

struct ListFormsEnv : StartedSession {
    explicit ListFormsEnv(DbEngine engine)
        : StartedSession(engine, TestDatabase::Content::Demo, smallDemo())
    {
        TestSession::session().msgTitle = QStringLiteral("测试");
        clsCGIn::connectForms();
    }
    ~ListFormsEnv()
    {
        if (frmMainBillResult *list = frmMainBillResult::existingInstance())
            list->MenuFileExit_Click();
        frmMainBillFind::releaseInstance();
        flushDeletes();
        FormLauncher::setEditorOpener({});
        setCodeSelector(nullptr);
    }
    // Opens the list the way OK does, without the modal wait: every fixed
    // list at "全部", the condition grid in use and empty.
    frmMainBillResult *openList()
    {
        Session &s = TestSession::session();
        frmMainBillFind *dialog = frmMainBillFind::instance(s);
        dialog->setUsesGrid(true);
        frmMainBillResult *list = frmMainBillResult::instance(s);
        s.gSeekSql = dialog->seekSQL();
        if (!list->fillList(dialog->findStatement(s.gSeekSql, dialog->mainSQL(), dialog->orderSQL())))
            return nullptr;
        list->resize(1000, 600);
        list->show();
        return list;
    }
    // Bills of the list's view under a condition.
    int count(const QString &where) { return db.scalar(QStringLiteral("select count(*) from vPurFP where 1=1 ") + where).toInt(); }
    QString iniValue(const QString &section, const QString &key)
    {
        return IniFile(IniPath(TestSession::session())).value(section, key).value_or(QStringLiteral("<absent>"));
    }
};
