#pragma once
// The commands of the purfp host program.
#include <QStringList>

// purfp init (--db PATH | --connection STRING) [--demo] [--scale N] [--seed N]
//            [--force] [--user-id N] [--user-name NAME] [--admin 0|1]
//            [--title TEXT] [--app-path DIR] [--password-stdin] [--update-indexes]
// A connection string without a password takes it from one line of standard
// input (--password-stdin) or from PURFP_DB_PASSWORD; the output shows the
// password masked. With --update-indexes, an existing database only gets its
// indexes made anew as the current schema defines them.
int runInit(const QStringList &args);
// purfp METHOD [ARGUMENT] [--right R] [--lib PATH]
int runMethod(const QStringList &args);
// purfp tour --out DIR: enters, audits, queries, exports and prints an
// invoice through the forms without a display, then shows the stock bills
// not yet invoiced, saving pictures of the forms, the workbooks of the list
// and of the uninvoiced bills and the invoice's PDF into DIR; prints their
// paths.
int runTour(const QStringList &args);
// purfp uninvoiced [--supplier CODE] [--as-of yyyy-MM-dd] [--csv]: the
// stock-in bills received but not yet invoiced, per supplier.
int runUninvoiced(const QStringList &args);
// purfp print --ids ID,ID,... --pdf FILE: the invoices with those internal
// ids into one PDF through the default template, each on new pages, in the
// order given; exits 1 with the reason (nothing written) when an id names
// no invoice, 2 for wrong arguments.
int runPrint(const QStringList &args);
void printUsage();
