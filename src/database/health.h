// Whether the database can be used. Thread-safe; nothing is logged.
#pragma once

#include "base/export.h"

namespace watchpost {

/// Version of the tables that this library reads and writes (docs/database.md).
inline constexpr int kSchemaVersion = 1;

enum class DatabaseState {
  kAway,     ///< it does not answer
  kNoTables, ///< it answers, and lacks tables
  kReady,
};

/// Whether the database takes a connection. Blocks for at most 10 s.
[[nodiscard]] WATCHPOST_API bool DatabaseAnswers() noexcept;

/// The same, and whether all tables are there.
[[nodiscard]] WATCHPOST_API DatabaseState ExamineDatabase() noexcept;

}  // namespace watchpost
