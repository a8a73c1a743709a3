#include "platform/FormShow.h"

#include <QEventLoop>
#include <QPointer>
#include <QWidget>

void showForm(QWidget *form, bool modal)
{
    if (!modal) {
        form->show();
        form->raise();
        form->activateWindow();
        return;
    }
    if (!form->isVisible())
        form->setWindowModality(Qt::ApplicationModal);
    QPointer<QWidget> guard(form);
    form->show();
    form->raise();
    form->activateWindow();
    QEventLoop loop;
    QObject::connect(form, &QObject::destroyed, &loop, &QEventLoop::quit);
    if (guard)
        loop.exec();
}
