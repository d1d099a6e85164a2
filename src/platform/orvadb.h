// Database client of the appliance: eight operations on libpq.
// Thread-safe as long as no two threads share a connection or a result.
#pragma once

#include "base/export.h"

struct pg_conn;
struct __tag_DBResult;
using DBResult = __tag_DBResult;

extern "C" {

/// Connects over TCP to `host` with exactly the given user, password and database; the port is that
/// of the environment variable PGPORT (5432 without it). The session treats texts as byte strings
/// (SQL_ASCII) and backslashes as ordinary characters. Blocks for at most 10 seconds. Returns null
/// on failure; the caller closes the connection with ORVADBClose.
WATCHPOST_API pg_conn* ORVADBConnect(const char* host,
                                     const char* user,
                                     const char* password,
                                     const char* database) noexcept;

/// Closes a connection; null is ignored.
WATCHPOST_API void ORVADBClose(pg_conn* conn) noexcept;

/// Runs `sql` and fills `*result` with a handle that the caller frees, also for statements without
/// rows. Blocks for at most 30 seconds, even when the server has stopped answering; the connection
/// is of no use after that. Returns 0 on success; on failure non-zero, with `*result` null.
/// `result` may be null.
WATCHPOST_API int ORVADBExecute(pg_conn* conn, const char* sql, DBResult** result) noexcept;

/// Number of rows; 0 for null.
WATCHPOST_API int ORVADBNumRows(DBResult* result) noexcept;

/// Moves the caller's row cursor on by one. The caller starts it at (unsigned)-1 and passes it
/// back. Returns 0 while there is such a row; otherwise non-zero, with the cursor unchanged.
WATCHPOST_API int ORVADBFetchRow(DBResult* result, unsigned int* row) noexcept;

/// Text of a column of a row, NUL-terminated and owned by the result; "" for an SQL null.
/// Null when the row or the column does not exist.
WATCHPOST_API char* ORVADBFetchField(DBResult* result,
                                     unsigned int row,
                                     const char* column) noexcept;

/// Frees a result; null is ignored.
WATCHPOST_API void ORVADBFreeResult(DBResult* result) noexcept;

/// Escapes `length` bytes of `source`, or those before its first NUL, for use inside the single
/// quotes of a statement, and terminates them with NUL. `destination` holds at least 2 * length + 1
/// bytes. Needs no connection: the sessions of ORVADBConnect read backslashes as they stand, so
/// only quotes are doubled (PostgreSQL documentation, "String Constants").
WATCHPOST_API void ORVADBEscapeString(char* destination,
                                      const char* source,
                                      unsigned int length) noexcept;

}  // extern "C"
