// purfp uninvoiced: the stock-in bills received but not yet invoiced, per
// supplier, on the database that `purfp init` wrote into the settings store;
// as text with totals, or as CSV for a spreadsheet. The totals per supplier
// are read first, then each supplier's bills, written out as they are read.
#include "host/HostCommands.h"

#include "component/SessionStartup.h"
#include "list/UninvoicedBills.h"
#include "platform/Connection.h"
#include "platform/DbError.h"
#include "platform/SettingsStore.h"

#include <QCoreApplication>

#include <algorithm>
#include <cstdint>
#include <cstdio>

namespace {
int usage(const QString &problem)
{
    std::fprintf(stderr, "purfp uninvoiced: %s\n  用法: purfp uninvoiced [--supplier 供应商代码] [--as-of yyyy-MM-dd] [--csv]\n",
                 qPrintable(problem));
    return 2;
}

// Terminal columns of UTF-8 text: a Chinese character takes two.
int columnsOf(QByteArrayView text)
{
    int columns = 0;
    for (qsizetype i = 0; i < text.size();) {
        const uchar lead = uchar(text[i]);
        const int length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
        uint code = length == 1 ? lead : lead & (0x3F >> (length - 1));
        for (int k = 1; k < length && i + k < text.size(); ++k)
            code = (code << 6) | (uchar(text[i + k]) & 0x3F);
        columns += code < 0x1100 ? 1 : 2;
        i += length;
    }
    return columns;
}

void appendPadded(QByteArray &out, QByteArrayView text, int width, bool right)
{
    const int fill = std::max(0, width - columnsOf(text));
    if (!right)
        out.append(text);
    out.append(fill, ' ');
    if (right)
        out.append(text);
}

// A bill line, or a total line under its label: bill number and date to the
// left, amounts to the right.
void appendLine(QByteArray &out, QByteArrayView label, QByteArrayView date, const QByteArray (&amounts)[3])
{
    out += "  ";
    appendPadded(out, label, 14, false);
    out += ' ';
    appendPadded(out, date, 10, false);
    for (const QByteArray &amount : amounts) {
        out += ' ';
        appendPadded(out, amount, 16, true);
    }
    out += '\n';
}

void appendAmountLine(QByteArray &out, QByteArrayView label, QByteArrayView date, Amount amount, Amount invoiced)
{
    QByteArray amounts[3];
    appendUninvoicedAmount(amounts[0], amount);
    appendUninvoicedAmount(amounts[1], invoiced);
    appendUninvoicedAmount(amounts[2], amount - invoiced);
    appendLine(out, label, date, amounts);
}

// Writes out what has gathered once there is enough of it (or at the end).
void flush(QByteArray &out, bool always = false)
{
    if (out.size() < (1 << 16) && !always)
        return;
    std::fwrite(out.constData(), 1, size_t(out.size()), stdout);
    out.resize(0); // keeps the room
}

// The report as text, each supplier's bills written as they are read and
// summed for its subtotal and the total.
void printText(Connection &conn, const UninvoicedTotals &suppliers, const QDate &asOf)
{
    if (suppliers.suppliers.empty()) {
        std::printf("没有未开票的入库单\n");
        return;
    }
    const QStringList header = uninvoicedHeader();
    const QByteArray columns[3] = {header[4].toUtf8(), header[5].toUtf8(), header[6].toUtf8()};
    const QByteArray subtotal = QStringLiteral("小计").toUtf8();
    UninvoicedTotals total;
    QByteArray out;
    const std::vector<UninvoicedSupplier> &all = suppliers.suppliers;
    auto supplierHead = [&](const UninvoicedSupplier &s) {
        out += s.number.toUtf8() + ' ' + s.name.toUtf8() + '\n';
        appendLine(out, header[2].toUtf8(), header[3].toUtf8(), columns);
    };
    supplierHead(all.front());
    Amount amount, invoiced; // of the supplier being written
    readUninvoicedRows(
        conn, all, asOf,
        [&](size_t, const UninvoicedRow &row) {
            appendAmountLine(out, row.billNo, row.date, row.amount, row.invoiced);
            amount += row.amount;
            invoiced += row.invoiced;
            ++total.billCount;
            flush(out);
        },
        [&](size_t i) {
            appendAmountLine(out, subtotal, {}, amount, invoiced);
            total.amount += amount;
            total.invoiced += invoiced;
            amount = invoiced = Amount();
            if (i + 1 < all.size())
                supplierHead(all[i + 1]);
        });
    total.open = total.amount - total.invoiced;
    const QStringList cells = uninvoicedTotalCells(total);
    out += '\n';
    appendAmountLine(out, (cells[0] + u' ' + cells[2]).toUtf8(), {}, total.amount, total.invoiced);
    flush(out, true);
}

// One line per bill, written as it is read.
void printCsv(Connection &conn, const UninvoicedTotals &totals, const QDate &asOf)
{
    QByteArray out = uninvoicedCsvHeader();
    QByteArray fields; // of the supplier being written
    size_t fieldsOf = SIZE_MAX;
    readUninvoicedRows(conn, totals.suppliers, asOf, [&](size_t supplier, const UninvoicedRow &row) {
        if (supplier != fieldsOf) {
            fields = uninvoicedCsvSupplier(totals.suppliers[supplier]);
            fieldsOf = supplier;
        }
        appendUninvoicedCsv(out, fields, row);
        flush(out);
    });
    flush(out, true);
}
} // namespace

int runUninvoiced(const QStringList &args)
{
    UninvoicedFilter filter;
    bool csv = false;
    for (int i = 0; i < args.size(); ++i) {
        if (args[i] == u"--csv") {
            csv = true;
        } else if (args[i] == u"--supplier" && i + 1 < args.size()) {
            filter.supplierNumber = args[++i];
        } else if (args[i] == u"--as-of" && i + 1 < args.size()) {
            filter.asOf = QDate::fromString(args[++i], QStringLiteral("yyyy-MM-dd"));
            if (!filter.asOf.isValid())
                return usage(QStringLiteral("日期 %1 无效").arg(args[i]));
        } else {
            return usage(QStringLiteral("未知的参数: %1").arg(args[i]));
        }
    }
    static int argc = 1;
    static char name[] = "purfp";
    static char *argv[] = {name, nullptr};
    QCoreApplication app(argc, argv);
    const QString connection = SettingsStore::read(QString::fromLatin1(kSettingsApplication), QStringLiteral("DBOperation"),
                                                   QStringLiteral("DBConnectionString"), QString());
    if (connection.trimmed().isEmpty()) {
        std::fprintf(stderr, "purfp uninvoiced: 设置中没有数据库连接, 请先运行 purfp init\n");
        return 1;
    }
    try {
        Connection conn(connection);
        conn.open();
        // The suppliers in the report's order; their amounts are summed from the bills.
        const UninvoicedTotals totals = readUninvoicedTotals(conn, filter, false);
        if (csv)
            printCsv(conn, totals, filter.asOf);
        else
            printText(conn, totals, filter.asOf);
    } catch (const DbError &e) {
        std::fflush(stdout);
        std::fprintf(stderr, "purfp uninvoiced: 数据库错误: %s\n", qPrintable(e.description()));
        return 1;
    }
    return 0;
}
