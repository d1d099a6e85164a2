// How verbs are put together: one function says what a verb is called, which options it takes and
// what it runs. Options that several verbs take have one name and one help here.
#pragma once

#include <CLI/CLI.hpp>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

namespace wpctl {

/// A verb to add options to, and the values that parsing fills in.
template <typename Options>
struct Verb {
  CLI::App& app;
  Options& options;
};

/// A group of verbs. The verb that is called leaves the status to exit with in `status`, which
/// outlives the parser; the group itself need not.
class Group {
 public:
  Group(CLI::App& app, int& status) : app_(app), status_(status) {}

  template <typename Options>
  Verb<Options> Add(const std::string& name, const std::string& what, int (*run)(const Options&)) {
    CLI::App* verb = app_.add_subcommand(name, what);
    const auto options = std::make_shared<Options>();
    verb->callback([&status = status_, options, run] { status = run(*options); });
    return {*verb, *options};
  }

  /// A verb without options.
  CLI::App& Add(const std::string& name, const std::string& what, int (*run)()) {
    CLI::App* verb = app_.add_subcommand(name, what);
    verb->callback([&status = status_, run] { status = run(); });
    return *verb;
  }

 private:
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
void AddCameraArgument(CLI::App& verb, std::string& camera);
void AddCameraArguments(CLI::App& verb, std::vector<std::string>& cameras);

/// ID of one or several recordings.
void AddRecordingArgument(CLI::App& verb, int& id);
void AddRecordingArguments(CLI::App& verb, std::vector<int>& ids);

/// --json
CLI::Option* AddJson(CLI::App& verb, bool& json, const std::string& what = "For scripts");

/// -y, --yes
void AddYes(CLI::App& verb, bool& yes, const std::string& what = "Do not ask");

/// Ends the help with a note and examples, a line each.
void AddExamples(CLI::App& verb, std::initializer_list<const char*> examples);
void AddExamples(CLI::App& verb,
                 const std::string& note,
                 std::initializer_list<const char*> examples);

}  // namespace wpctl
