// The groups of wpctl's commands. Each function adds its group to `app`; the verb that is called
// stores the status to exit with in `status`, which outlives `app`.
#pragma once

namespace CLI {
class App;
}

namespace wpctl {

void AddDatabaseCommands(CLI::App& app, int& status);
void AddCameraCommands(CLI::App& app, int& status);
/// Verbs of the group "camera" that show live pictures and their motion.
void AddLiveCommands(CLI::App& camera_group, int& status);
void AddTuneCommand(CLI::App& camera_group, int& status);
void AddVerifyCommand(CLI::App& camera_group, int& status);
void AddPtzCommand(CLI::App& camera_group, int& status);
void AddCapabilityCommands(CLI::App& app, int& status);
void AddServiceCommands(CLI::App& app, int& status);
void AddDoctorCommand(CLI::App& app, int& status);
void AddRegionCommands(CLI::App& app, int& status);
void AddScheduleCommands(CLI::App& app, int& status);
void AddStorageCommands(CLI::App& app, int& status);
void AddRotateCommand(CLI::App& storage_group, int& status);
void AddMailCommands(CLI::App& app, int& status);
void AddEventCommands(CLI::App& app, int& status);
/// Verbs of the group "event" that reach into the files.
void AddPlayCommands(CLI::App& event_group, int& status);
void AddTimelineCommand(CLI::App& event_group, int& status);

}  // namespace wpctl
