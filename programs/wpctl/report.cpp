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

}  // namespace

int Failed(const std::string& why) {
  std::fprintf(stderr, "wpctl: %s\n", Printable(why).c_str());
  return kFailed;
}

int WrongUsage(const std::string& what_is_right) {
  std::fprintf(stderr, "wpctl: %s\n", Printable(what_is_right).c_str());
  return kUsage;
}

void PrintJson(const nlohmann::ordered_json& value) {
  std::printf("%s\n", value.dump(2, ' ', false, nlohmann::json::error_handler_t::replace).c_str());
}

std::string Printable(const std::string& text) {
  std::string shown;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= ' ' && byte != 0x7F) {
      shown += c;
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

}  // namespace wpctl
