#pragma once
// The component's public class. A host creates it (which runs the session
// start-up), sets UserRight, calls one method and reads ReturnString and
// ReturnString1 after findInfo1/findInfo2. A Qt host binds by name through
// the meta-object; any other host uses the C entry points of CApi.h.
#include <QObject>
#include <QString>

#include <memory>

class clsCGIn : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString billName READ billName WRITE setBillName)
    Q_PROPERTY(QString strAppPath READ strAppPath WRITE setStrAppPath)
    Q_PROPERTY(QString ReturnString1 READ ReturnString1 WRITE setReturnString1)
    Q_PROPERTY(QString ReturnString READ ReturnString WRITE setReturnString)
    Q_PROPERTY(QString UserRight READ UserRight WRITE setUserRight)

public:
    // Creates the instance and runs the session start-up. On failure returns
    // null and puts the error's text into `error`.
    static std::unique_ptr<clsCGIn> create(QString *error = nullptr);
    // Wires the forms to one another, once: findInfo, findInfo1 and findInfo2
    // open the query dialog, whose statement fills the bill list; newInfo and
    // downFromOrder open the bill editor's default instance; the editor
    // prints through the printing module and, when it was opened from the
    // list, refreshes the list as it closes. create() calls it; a host or a
    // test may call it earlier and then put its own openers in place, which
    // later calls leave alone.
    static void connectForms();
    ~clsCGIn() override = default;

    QString billName() const { return m_billName; }
    void setBillName(const QString &v) { m_billName = v; }
    QString strAppPath() const { return m_strAppPath; }
    void setStrAppPath(const QString &v) { m_strAppPath = v; }
    QString ReturnString1() const { return m_returnString1; }
    void setReturnString1(const QString &v) { m_returnString1 = v; }
    QString ReturnString() const { return m_returnString; }
    void setReturnString(const QString &v) { m_returnString = v; }
    QString UserRight() const { return m_userRight; }
    void setUserRight(const QString &v) { m_userRight = v; }

    // The declared results are never assigned: the Boolean methods return
    // false and findInfo2 an empty string, whatever the user did. Hosts learn
    // a selection only through ReturnString and ReturnString1.
    Q_INVOKABLE bool newInfo();
    Q_INVOKABLE bool downFromOrder(const QString &strInterIds);
    Q_INVOKABLE bool findInfo();
    Q_INVOKABLE bool findInfo1(const QString &strSql);
    Q_INVOKABLE QString findInfo2(const QString &strSql);

private:
    clsCGIn() = default;

    QString m_billName;
    QString m_strAppPath;
    QString m_returnString1;
    QString m_returnString;
    QString m_userRight;
};
