#include "platform/SqliteFunctions.h"

#include "platform/SqlDialect.h"

#include <sqlite3.h>

#include <cmath>
#include <cstdlib>
#include <cstring>

namespace {
void resultRounded(sqlite3_context *ctx, sqlite3_value *v)
{
    if (sqlite3_value_type(v) == SQLITE_FLOAT) {
        const double d = sqlite3_value_double(v);
        if (std::fabs(d) < 1e14) {
            sqlite3_result_double(ctx, std::round(d * 10000.0) / 10000.0);
            return;
        }
    }
    sqlite3_result_value(ctx, v);
}

void isNullFunction(sqlite3_context *ctx, int argc, sqlite3_value **argv)
{
    const bool null = sqlite3_value_type(argv[0]) == SQLITE_NULL;
    if (argc == 1) {
        sqlite3_result_int(ctx, null ? 1 : 0);
        return;
    }
    resultRounded(ctx, null ? argv[1] : argv[0]);
}

// part 0 = year, 1 = month, 2 = day of a 'yyyy-MM-dd[...]' text.
void datePart(sqlite3_context *ctx, sqlite3_value *v, int part)
{
    if (sqlite3_value_type(v) == SQLITE_NULL) {
        sqlite3_result_null(ctx);
        return;
    }
    const char *text = reinterpret_cast<const char *>(sqlite3_value_text(v));
    int y = 0, m = 0, d = 0;
    if (!text || std::sscanf(text, "%d-%d-%d", &y, &m, &d) != 3) {
        sqlite3_result_null(ctx);
        return;
    }
    sqlite3_result_int(ctx, part == 0 ? y : part == 1 ? m : d);
}

void yearFunction(sqlite3_context *ctx, int, sqlite3_value **argv) { datePart(ctx, argv[0], 0); }
void monthFunction(sqlite3_context *ctx, int, sqlite3_value **argv) { datePart(ctx, argv[0], 1); }
void dayFunction(sqlite3_context *ctx, int, sqlite3_value **argv) { datePart(ctx, argv[0], 2); }
} // namespace

bool registerSqliteFunctions(sqlite3 *db)
{
    const int flags = SQLITE_UTF8 | SQLITE_DETERMINISTIC;
    bool ok = true;
    ok &= sqlite3_create_function_v2(db, kSqliteIsNullFunction, 1, flags, nullptr, isNullFunction, nullptr, nullptr, nullptr) == SQLITE_OK;
    ok &= sqlite3_create_function_v2(db, kSqliteIsNullFunction, 2, flags, nullptr, isNullFunction, nullptr, nullptr, nullptr) == SQLITE_OK;
    ok &= sqlite3_create_function_v2(db, "year", 1, flags, nullptr, yearFunction, nullptr, nullptr, nullptr) == SQLITE_OK;
    ok &= sqlite3_create_function_v2(db, "month", 1, flags, nullptr, monthFunction, nullptr, nullptr, nullptr) == SQLITE_OK;
    ok &= sqlite3_create_function_v2(db, "day", 1, flags, nullptr, dayFunction, nullptr, nullptr, nullptr) == SQLITE_OK;
    return ok;
}
