#pragma once
// Today's date for the whole component, behind one function so tests can fix it.
#include <QDate>

namespace Clock {
QDate today();
// An invalid date restores the machine's date.
void setToday(const QDate &date);
}
