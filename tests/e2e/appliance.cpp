#include "e2e/appliance.h"

#include <signal.h>

#include <algorithm>
#include <fstream>
#include <sstream>

#include "base/byteorder_internal.h"

namespace watchpost::test {

Simulator::Simulator(std::vector<std::string> options)
    : process_([&] {
        options.insert(options.begin(), WATCHPOST_BIN_DIR "/camsim");
        return options;
      }()) {
  EXPECT_TRUE(
      Eventually([this] { return process_.Output().find("snapshot") != std::string::npos; }));
  std::istringstream words(process_.Output());
  for (std::string word; words >> word;) {
    if (word.ends_with("/video.mjpg")) url_ = word;
  }
  base_ = url_.substr(0, url_.rfind('/'));
}

void Simulator::Fault(const std::string& name) const {
  EXPECT_EQ(RunProgram({"curl", "-sf", base_ + "/fault/" + name}).status, 0) << name;
}

Appliance::Appliance(const std::string& daemon_settings) : env_("ORVA_ROOT", root_.Path()) {
  WriteFile(root_ / "etc/orvainfo.conf",
            "[service 9]\nvolume=1\npath=/volume1/surveillance\n[wpd]\nrow_interval_seconds=1\n" +
                daemon_settings);
  StartDatabase();
  EXPECT_EQ(Ctl({"db", "init"}).status, 0);
}

Appliance::~Appliance() {
  RunProgram({WATCHPOST_SOURCE_DIR "/scripts/postgres", "stop", server_.Path()});
}

void Appliance::StartDatabase() {
  const Result started =
      RunProgram({WATCHPOST_SOURCE_DIR "/scripts/postgres", "start", server_.Path()});
  ASSERT_EQ(started.status, 0) << started.errors;
  std::istringstream lines(started.output);
  for (std::string line; std::getline(lines, line);) {
    const std::size_t equals = line.find('=');
    const std::string name = line.substr(7, equals - 7);  // behind "export "
    setenv(name.c_str(), line.substr(equals + 1).c_str(), 1);
  }
}

void Appliance::KillDatabase() {
  pid_t pid = 0;
  ASSERT_TRUE(std::ifstream(server_ / "data/postmaster.pid") >> pid);
  ASSERT_EQ(kill(pid, SIGKILL), 0);
  ASSERT_TRUE(Eventually([pid] { return kill(pid, 0) != 0; }));
}

std::string Appliance::Psql(const std::string& database, const std::string& sql) {
  std::string text = RunProgram({"psql", "-At", "-d", database, "-c", sql}).output;
  text.erase(std::remove(text.begin(), text.end(), '\n'), text.end());
  return text;
}

Result Appliance::Ctl(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), Program("wpctl"));
  return RunProgram(arguments);
}

nlohmann::json Appliance::CtlJson(std::vector<std::string> arguments) {
  arguments.push_back("--json");
  const Result result = Ctl(arguments);
  EXPECT_EQ(result.status, 0) << result.errors;
  return nlohmann::json::parse(result.output, nullptr, false);
}

std::string Appliance::AddCamera(const std::string& name, const std::string& url) {
  const Result added = Ctl({"camera", "add", name, url});
  EXPECT_EQ(added.status, 0) << added.errors;
  return std::to_string(CtlJson({"camera", "show", name})["id"].get<int>());
}

std::unique_ptr<Process> Appliance::StartDaemon(const std::string& id) {
  auto daemon = std::make_unique<Process>(std::vector<std::string>{Program("wpd"), "-f", "-c", id});
  EXPECT_TRUE(Eventually([&] { return daemon->Errors().find("daemon runs") != std::string::npos; }))
      << daemon->Errors();
  return daemon;
}

void Appliance::StopDaemon(Process& daemon, int signal_number) {
  const auto asked = std::chrono::steady_clock::now();
  ASSERT_EQ(kill(daemon.Pid(), signal_number), 0);
  EXPECT_EQ(daemon.Wait(std::chrono::seconds(20)), 0) << daemon.Errors();
  EXPECT_LT(std::chrono::steady_clock::now() - asked, std::chrono::milliseconds(5500))
      << daemon.Errors();
}

nlohmann::json Appliance::Rows(const std::string& id) {
  nlohmann::json rows = CtlJson({"event", "list", "--camera", id, "--limit", "1000"});
  std::sort(
      rows.begin(), rows.end(), [](const auto& a, const auto& b) { return a["id"] < b["id"]; });
  return rows;
}

int Appliance::Frames(const std::string& id) {
  int frames = 0;
  for (const auto& row : Rows(id)) frames += row["frames"].get<int>();
  return frames;
}

bool Appliance::EventuallyFrames(const std::string& id, int frames) {
  return Eventually([&] { return Frames(id) >= frames; }, std::chrono::seconds(40));
}

std::vector<std::string> ReadFrames(const std::string& path) {
  const std::string file = ReadFile(path);
  const auto number = [&file](std::size_t at) {
    return LoadLe32(reinterpret_cast<const unsigned char*>(file.data()) + at);
  };
  std::vector<std::string> frames;
  if (file.size() < 240) return frames;
  const std::size_t index = 236 + number(232);
  if (file.compare(std::min(index, file.size()), 4, "idx1") != 0) return frames;  // not finished
  for (std::size_t at = index + 8; at + 16 <= file.size(); at += 16) {
    const std::size_t chunk = 236 + number(at + 8);
    frames.push_back(file.substr(chunk + 8, number(at + 12)));
  }
  return frames;
}

int ProbeFrames(const std::string& path) {
  const Result probed = RunProgram({"ffprobe",
                                    "-v",
                                    "warning",
                                    "-count_frames",
                                    "-show_entries",
                                    "stream=nb_frames,nb_read_frames",
                                    "-of",
                                    "csv=p=0",
                                    path});
  EXPECT_EQ(probed.status, 0) << path;
  EXPECT_EQ(probed.errors, "") << path;
  int declared = -1;
  int decoded = -2;
  EXPECT_EQ(std::sscanf(probed.output.c_str(), "%d,%d", &declared, &decoded), 2) << probed.output;
  EXPECT_EQ(declared, decoded) << path;
  return decoded;
}

int Count(const std::string& text, const std::string& part) {
  int count = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
    ++count;
  return count;
}

}  // namespace watchpost::test
