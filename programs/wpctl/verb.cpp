#include "verb.h"

namespace wpctl {

void AddCameraArgument(CLI::App& verb, std::string& camera) {
  verb.add_option("CAMERA", camera, "Id or name")->required();
}

void AddCameraArguments(CLI::App& verb, std::vector<std::string>& cameras) {
  verb.add_option("CAMERA", cameras, "Ids or names; all cameras without");
}

void AddRecordingArgument(CLI::App& verb, int& id) {
  verb.add_option("ID", id, "The recording")->required();
}

void AddRecordingArguments(CLI::App& verb, std::vector<int>& ids) {
  verb.add_option("ID", ids, "Recordings")->required();
}

CLI::Option* AddJson(CLI::App& verb, bool& json, const std::string& what) {
  return verb.add_flag("--json", json, what);
}

void AddYes(CLI::App& verb, bool& yes, const std::string& what) {
  verb.add_flag("-y,--yes", yes, what);
}

void AddExamples(CLI::App& verb, std::initializer_list<const char*> examples) {
  AddExamples(verb, "", examples);
}

void AddExamples(CLI::App& verb,
                 const std::string& note,
                 std::initializer_list<const char*> examples) {
  std::string footer = note + (note.empty() ? "Examples:" : "\n\nExamples:");
  for (const char* example : examples) footer += std::string("\n  ") + example;
  verb.footer(footer);
}

}  // namespace wpctl
