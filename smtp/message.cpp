#include "message.h"

#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <random>
#include <string_view>

namespace watchpost {
namespace {

using std::chrono::days;
using std::chrono::floor;
using std::chrono::seconds;
using std::chrono::system_clock;

constexpr std::array kWeekdays{"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
constexpr std::array kMonths{
    "Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

std::string_view View(const char* text) {
  return text == nullptr ? std::string_view() : text;
}

// In UTC and by std::chrono alone: the C library's calendar takes a lock that another thread may
// have held when this process was forked.
std::string Date() {
  const auto now = floor<seconds>(system_clock::now());
  const auto day = floor<days>(now);
  const std::chrono::year_month_day date(day);
  const std::chrono::hh_mm_ss time(now - day);
  std::array<char, 64> text{};
  (void)std::snprintf(text.data(),
                      text.size(),
                      "%s, %02u %s %04d %02d:%02d:%02d +0000",
                      kWeekdays[std::chrono::weekday(day).c_encoding()],
                      static_cast<unsigned>(date.day()),
                      kMonths[static_cast<unsigned>(date.month()) - 1],
                      static_cast<int>(date.year()),
                      static_cast<int>(time.hours().count()),
                      static_cast<int>(time.minutes().count()),
                      static_cast<int>(time.seconds().count()));
  return text.data();
}

std::string MessageId(std::string_view from) {
  std::random_device random;
  return std::to_string(system_clock::now().time_since_epoch().count()) + "." +
         std::to_string(getpid()) + "." + std::to_string(random()) +
         std::string(from.substr(from.rfind('@')));
}

// A name in double quotes; what would end it, or the line, is left out.
std::string Quoted(std::string_view name) {
  std::string quoted;
  for (const char c : name) {
    if (c >= ' ' && c < 0x7F && c != '"' && c != '\\') quoted += c;
  }
  return "\"" + quoted + "\"";
}

void AppendLines(std::string& message, std::string_view text) {
  for (const char c : text) {
    if (c == '\n') message += '\r';
    if (c != '\r') message += c;
  }
}

}  // namespace

bool IsMailAddress(const char* text) {
  const std::string_view address = View(text);
  for (const char c : address) {
    if (c <= ' ' || c >= 0x7F || c == '<' || c == '>' || c == ',') return false;
  }
  const std::size_t at = address.rfind('@');
  return at != std::string_view::npos && at > 0 && at + 1 < address.size();
}

std::string ComposeMessage(const ORVASMTP& smtp) {
  std::string message = "Date: " + Date() + "\r\n";
  message += "From: " + Quoted(View(smtp.from_name)) + " <" + smtp.from + ">\r\n";
  message += std::string("To: ") + smtp.to;
  if (!View(smtp.to2).empty()) message += std::string(", ") + smtp.to2;
  message += "\r\nSubject: ";
  message += View(smtp.subject);
  message += "\r\nMessage-ID: <" + MessageId(smtp.from) + ">\r\nMIME-Version: 1.0\r\n";
  AppendLines(message, View(smtp.extra_header));
  message += "\r\n";
  AppendLines(message, View(smtp.body));
  return message;
}

}  // namespace watchpost
