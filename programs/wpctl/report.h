// What wpctl prints: tables and fields for people, JSON for scripts, and errors that say what to
// do.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace wpctl {

/// Exit statuses.
enum Status : int { kDone = 0, kFailed = 1, kUsage = 2 };

/// Prints one line to standard error and returns the status to exit with.
int Failed(const std::string& why);
int WrongUsage(const std::string& what_is_right);

/// Prints a JSON value. Bytes that are not UTF-8 are shown as the replacement character.
void PrintJson(const nlohmann::ordered_json& value);

/// The number, or null without one.
nlohmann::ordered_json NumberOrNull(std::optional<int> number);

/// `text` with control characters shown as "\xHH": what a camera or a row holds must not drive the
/// terminal.
std::string Printable(const std::string& text);

/// Asks a yes-or-no question on the terminal; false when there is none.
bool Confirm(const std::string& question);

/// Prints labels and texts, a line each, the texts below each other.
void PrintFields(const std::vector<std::pair<std::string, std::string>>& fields);

/// Columns of text under headings. A heading that begins with '>' is right-aligned.
class Table {
 public:
  explicit Table(std::vector<std::string> headings);
  void AddRow(std::vector<std::string> cells);
  void Print() const;

  [[nodiscard]] bool IsEmpty() const { return rows_.empty(); }

 private:
  std::vector<std::string> headings_;
  std::vector<bool> right_;
  std::vector<std::vector<std::string>> rows_;
};

/// Prints the same things as JSON or as a table, or that there are none.
void PrintAll(bool as_json,
              const nlohmann::ordered_json& all,
              const Table& table,
              const std::string& none);

}  // namespace wpctl
