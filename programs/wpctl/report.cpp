#include "report.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <nlohmann/json.hpp>

namespace wpctl {
namespace {

// Characters that a UTF-8 text shows, roughly: bytes that do not continue another.
std::size_t WidthOf(const std::string& text) {
  return static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](unsigned char c) { return (c & 0xC0) != 0x80; }));
}

std::string Aligned(const std::string& cell, std::size_t width, bool right, bool last) {
  const std::string blanks(width - std::min(width, WidthOf(cell)), ' ');
  if (right) return blanks + cell;
  return last ? cell : cell + blanks;
}

void PrintError(const std::string& text) {
  std::fprintf(stderr, "wpctl: %s\n", Printable(text).c_str());
}

}  // namespace

int Failed(const std::string& why) {
  PrintError(why);
  return kFailed;
}

int WrongUsage(const std::string& what_is_right) {
  PrintError(what_is_right);
  return kUsage;
}

void PrintJson(const nlohmann::ordered_json& value) {
  std::printf("%s\n", value.dump(2, ' ', false, nlohmann::json::error_handler_t::replace).c_str());
}

nlohmann::ordered_json NumberOrNull(std::optional<int> number) {
  return number ? nlohmann::ordered_json(*number) : nullptr;
}

std::string Printable(const std::string& text) {
  std::string shown;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    // Terminals take U+0080 to U+009F for control characters, too.
    const bool control = byte < ' ' || byte == 0x7F ||
                         (byte >= 0x80 && byte < 0xA0 && i > 0 && text[i - 1] == '\xC2');
    const bool begins = byte == 0xC2 && i + 1 < text.size() &&
                        static_cast<unsigned char>(text[i + 1]) >= 0x80 &&
                        static_cast<unsigned char>(text[i + 1]) < 0xA0;
    if (!control && !begins) {
      shown += text[i];
      continue;
    }
    char escaped[8];
    (void)std::snprintf(escaped, sizeof escaped, "\\x%02X", byte);
    shown += escaped;
  }
  return shown;
}

bool Confirm(const std::string& question) {
  if (isatty(STDIN_FILENO) == 0) return false;
  std::printf("%s [y/N] ", Printable(question).c_str());
  std::fflush(stdout);
  std::string answer;
  return std::getline(std::cin, answer) && (answer == "y" || answer == "Y" || answer == "yes");
}

void PrintFields(const std::vector<std::pair<std::string, std::string>>& fields) {
  std::size_t width = 0;
  for (const auto& [label, text] : fields) width = std::max(width, WidthOf(label));
  for (const auto& [label, text] : fields)
    std::printf("%s  %s\n", Aligned(label, width, false, false).c_str(), Printable(text).c_str());
}

Table::Table(std::vector<std::string> headings) : headings_(std::move(headings)) {
  for (std::string& heading : headings_) {
    right_.push_back(heading.starts_with('>'));
    if (right_.back()) heading.erase(0, 1);
  }
}

void Table::AddRow(std::vector<std::string> cells) {
  for (std::string& cell : cells) cell = Printable(cell);
  cells.resize(headings_.size());
  rows_.push_back(std::move(cells));
}

void Table::Print() const {
  std::vector<std::size_t> widths;
  for (const std::string& heading : headings_) widths.push_back(WidthOf(heading));
  for (const auto& row : rows_) {
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], WidthOf(row[i]));
  }
  const auto print = [&](const std::vector<std::string>& row) {
    std::string line;
    for (std::size_t i = 0; i < row.size(); ++i) {
      if (i > 0) line += "  ";
      line += Aligned(row[i], widths[i], right_[i], i + 1 == row.size());
    }
    std::printf("%s\n", line.c_str());
  };
  print(headings_);
  for (const auto& row : rows_) print(row);
}

void PrintAll(bool as_json,
              const nlohmann::ordered_json& all,
              const Table& table,
              const std::string& none) {
  if (as_json) {
    PrintJson(all);
  } else if (table.IsEmpty()) {
    std::printf("%s\n", none.c_str());
  } else {
    table.Print();
  }
}

}  // namespace wpctl
