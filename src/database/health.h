// Whether the database can be used. Thread-safe; nothing is logged.
#pragma once

#include "base/export.h"

namespace watchpost {

/// Version of the tables that this library reads and writes (docs/database.md).
inline constexpr int kSchemaVersion = 2;

/// What the comment of the database begins with; its schema version follows.
inline constexpr char kSchemaComment[] = "watchpost schema ";

enum class DatabaseState {
  kAway,       ///< it does not answer
  kNoTables,   ///< it answers, and lacks tables
  kOldSchema,  ///< its tables are those of an earlier version: "wpctl db upgrade"
  kReady,
};

/// Whether the database takes a connection. Blocks for at most 10 s.
[[nodiscard]] WATCHPOST_API bool DatabaseAnswers() noexcept;

/// The same, and whether all tables are there and of this version. A database that bears no version
/// counts as one of this version.
[[nodiscard]] WATCHPOST_API DatabaseState ExamineDatabase() noexcept;

}  // namespace watchpost
