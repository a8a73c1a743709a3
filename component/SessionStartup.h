#pragma once
// Fills the session when a clsCGIn is created: the host's settings, the
// fixed identity of the bill kind, then one visit to the database for the
// bill kind's name, the current year and period and the period's start date.
//
// A setting that does not convert (ConversionError) or a connection that
// cannot be opened (DbError) leaves this function and makes the creation
// fail. Errors of the database reads after the connection is open are shown
// as a critical message; the fields keep what they had reached.
struct Session;

void Class_Initialize(Session &s);

// Application name under which the host writes its settings.
inline constexpr const char *kSettingsApplication = "Velkam";
