#include "verb.h"

#include <CLI/CLI.hpp>
#include <optional>
#include <utility>

namespace wpctl {

Option Option::Required() const {
  option_->required();
  return *this;
}

Option Option::ShowDefault() const {
  option_->capture_default_str();
  return *this;
}

Option Option::Between(long least, long most) const {
  option_->check(CLI::Range(least, most));
  return *this;
}

Option Option::OneOf(std::initializer_list<const char*> words) const {
  option_->check(CLI::IsMember(std::vector<std::string>(words.begin(), words.end())));
  return *this;
}

Option Option::Needs(const Option& other) const {
  option_->needs(other.option_);
  return *this;
}

Option Option::Excludes(const Option& other) const {
  option_->excludes(other.option_);
  return *this;
}

template <typename Value>
Option Command::Add(const std::string& names, Value& value, const std::string& what) const {
  return Option(*app_->add_option(names, value, what));
}

template Option Command::Add(const std::string&, std::string&, const std::string&) const;
template Option Command::Add(const std::string&, int&, const std::string&) const;
template Option Command::Add(const std::string&, long&, const std::string&) const;
template Option Command::Add(const std::string&, unsigned&, const std::string&) const;
template Option Command::Add(const std::string&,
                             std::optional<std::string>&,
                             const std::string&) const;
template Option Command::Add(const std::string&, std::optional<int>&, const std::string&) const;
template Option Command::Add(const std::string&,
                             std::vector<std::string>&,
                             const std::string&) const;
template Option Command::Add(const std::string&, std::vector<int>&, const std::string&) const;

Option Command::AddFlag(const std::string& names, bool& given, const std::string& what) const {
  return Option(*app_->add_flag(names, given, what));
}

void Command::SetFooter(const std::string& text) const {
  app_->footer(text);
}

Command Group::AddCommand(const std::string& name,
                          const std::string& what,
                          std::function<int()> run) const {
  CLI::App* verb = app_.add_subcommand(name, what);
  verb->callback([&status = status_, run = std::move(run)] { status = run(); });
  return Command(*verb);
}

void AddCameraArgument(const Command& verb, std::string& camera) {
  verb.Add("CAMERA", camera, "Id or name").Required();
}

void AddCameraArguments(const Command& verb, std::vector<std::string>& cameras) {
  verb.Add("CAMERA", cameras, "Ids or names; all cameras without");
}

void AddRecordingArgument(const Command& verb, int& id) {
  verb.Add("ID", id, "The recording").Required();
}

void AddRecordingArguments(const Command& verb, std::vector<int>& ids) {
  verb.Add("ID", ids, "Recordings").Required();
}

Option AddJson(const Command& verb, bool& json, const std::string& what) {
  return verb.AddFlag("--json", json, what);
}

void AddYes(const Command& verb, bool& yes, const std::string& what) {
  verb.AddFlag("-y,--yes", yes, what);
}

void AddExamples(const Command& verb, std::initializer_list<const char*> examples) {
  AddExamples(verb, "", examples);
}

void AddExamples(const Command& verb,
                 const std::string& note,
                 std::initializer_list<const char*> examples) {
  std::string footer = note + (note.empty() ? "Examples:" : "\n\nExamples:");
  for (const char* example : examples) footer += std::string("\n  ") + example;
  verb.SetFooter(footer);
}

}  // namespace wpctl
