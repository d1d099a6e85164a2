// The database "surveillance": connection settings, table names, and one statement at a time.
// Thread-safe: every operation opens, uses and closes a connection of its own; no state survives a
// call.
#pragma once

#include <string>

#include "base/export.h"
#include "platform/orvadb.h"

WATCHPOST_API extern const char* const gszDBHost;  ///< database server, this host
WATCHPOST_API extern const char* const gszDBUser;  ///< role of the library
WATCHPOST_API extern const char* const gszDBPass;  ///< password of that role
WATCHPOST_API extern const char* const gszDBName;  ///< database

WATCHPOST_API extern const char* const gszTableCamera;        ///< cameras
WATCHPOST_API extern const char* const gszTableEvent;         ///< recordings
WATCHPOST_API extern const char* const gszTableMotion;        ///< motion regions
WATCHPOST_API extern const char* const gszTableNotification;  ///< mail settings, one row
WATCHPOST_API extern const char* const gszTableStatus;        ///< daemon states, one row a camera

/// Connects with the settings above; null on failure. Blocks for at most 10 s. Logs nothing.
/// The caller closes the connection with WPDBClose.
WATCHPOST_API pg_conn* WPDBConnect() noexcept;

/// Closes a connection of WPDBConnect; null is ignored.
WATCHPOST_API void WPDBClose(pg_conn* conn) noexcept;

/// Runs one statement on a fresh connection. On success returns 0 and, when `result` is not null,
/// stores the result there; the caller frees it with ORVADBFreeResult, at any time later. On
/// failure returns -1 and leaves `*result` as it was. Blocks for at most 40 s. Logs nothing.
WATCHPOST_API int WPDBExecute(std::string sql, __tag_DBResult** result) noexcept;

/// The same for statements whose result nobody wants.
WATCHPOST_API int WPDBExecute(std::string sql) noexcept;

/// Largest value of column "id" of a table; -1 for an empty table and for every failure. `table` is
/// put into the statement as it stands. Logs nothing.
WATCHPOST_API int WPDBTableIdMax(std::string table) noexcept;
WATCHPOST_API int WPDBTableIdMax(const char* table) noexcept;

/// `text` escaped for use inside single quotes of a statement. A text of 65,536 bytes or more
/// yields an empty one and a line in the system log.
WATCHPOST_API std::string WPDBEscapeString(std::string text) noexcept;
