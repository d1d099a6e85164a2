// How verbs are put together: one function says what a verb is called, which options it takes and
// what it runs. Options that several verbs take have one name and one help here. The parser itself
// is seen by verb.cpp and main.cpp alone: it takes longer to compile than any verb.
#pragma once

#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace wpctl {

/// An option of a command. The parser owns it, and ends after all of them.
class Option {
 public:
  explicit Option(CLI::Option& option) : option_(&option) {}

  Option Required() const;
  /// Shows in the help the value that it has now.
  Option ShowDefault() const;
  /// A number of this range, ends included.
  Option Between(long least, long most) const;
  Option OneOf(std::initializer_list<const char*> words) const;
  Option Needs(const Option& other) const;
  Option Excludes(const Option& other) const;

 private:
  CLI::Option* option_;
};

/// A command to add options to. The parser owns it, too.
class Command {
 public:
  explicit Command(CLI::App& app) : app_(&app) {}

  /// An option by its names ("-o,--output"), or an argument by its place ("FILE"). `value` outlives
  /// the parsing. Of text, of whole numbers, of either in a std::optional, or in a vector of any
  /// number of them.
  template <typename Value>
  Option Add(const std::string& names, Value& value, const std::string& what) const;

  /// An option without a value.
  Option AddFlag(const std::string& names, bool& given, const std::string& what) const;

  /// What stands below the options.
  void SetFooter(const std::string& text) const;

 private:
  CLI::App* app_;
};

/// A verb to add options to, and the values that parsing fills in.
template <typename Options>
struct Verb {
  Command command;
  Options& options;
};

/// A group of verbs. The verb that is called leaves the status to exit with in `status`, which
/// outlives the parser; the group itself need not.
class Group {
 public:
  Group(CLI::App& app, int& status) : app_(app), status_(status) {}

  template <typename Options>
  Verb<Options> Add(const std::string& name, const std::string& what, int (*run)(const Options&)) {
    const auto options = std::make_shared<Options>();
    return {AddCommand(name, what, [options, run] { return run(*options); }), *options};
  }

  /// A verb without options.
  Command Add(const std::string& name, const std::string& what, int (*run)()) {
    return AddCommand(name, what, run);
  }

 private:
  Command AddCommand(const std::string& name,
                     const std::string& what,
                     std::function<int()> run) const;

  CLI::App& app_;
  int& status_;
};

/// What a verb that shows everything takes.
struct ShowAllOptions {
  bool json = false;
};

/// What a verb that shows something of one camera takes.
struct ShowCameraOptions {
  std::string camera;
  bool json = false;
};

/// CAMERA: one, or any number of them.
void AddCameraArgument(const Command& verb, std::string& camera);
void AddCameraArguments(const Command& verb, std::vector<std::string>& cameras);

/// ID of one or several recordings.
void AddRecordingArgument(const Command& verb, int& id);
void AddRecordingArguments(const Command& verb, std::vector<int>& ids);

/// --json
Option AddJson(const Command& verb, bool& json, const std::string& what = "For scripts");

/// -y, --yes
void AddYes(const Command& verb, bool& yes, const std::string& what = "Do not ask");

/// Ends the help with a note and examples, a line each.
void AddExamples(const Command& verb, std::initializer_list<const char*> examples);
void AddExamples(const Command& verb,
                 const std::string& note,
                 std::initializer_list<const char*> examples);

}  // namespace wpctl
