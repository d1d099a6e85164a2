#include "e2e/appliance.h"

#include <sys/wait.h>

#include <fstream>

#include "base/byteorder_internal.h"

namespace watchpost::test {
namespace {

std::string Server(const char* verb, const TempDir& dir) {
  return OutputOf(WATCHPOST_SOURCE_DIR "/scripts/postgres " + std::string(verb) + " " + dir.Path());
}

}  // namespace

int Count(const std::string& text, const std::string& part) {
  int count = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
    ++count;
  return count;
}

std::string Program(const std::string& name) {
  return WATCHPOST_BIN_DIR "/" + name;
}

Result Ctl(const std::string& arguments) {
  return RunProgram(Program("wpctl ") + arguments);
}

std::string Do(const std::string& arguments) {
  const Result result = Ctl(arguments);
  EXPECT_EQ(result.status, 0) << arguments << "\n" << result.output << result.errors;
  return result.output;
}

nlohmann::json DoJson(const std::string& arguments) {
  return nlohmann::json::parse(Do(arguments + " --json"), nullptr, false);
}

std::string Refused(const std::string& arguments) {
  const Result result = Ctl(arguments);
  EXPECT_EQ(result.status, 1) << arguments << "\n" << result.output << result.errors;
  return result.output + result.errors;
}

std::string Psql(const std::string& sql, const std::string& database) {
  Result result = RunProgram("psql -At -d " + database + " -c " + Quoted(sql));
  EXPECT_EQ(result.status, 0) << result.errors;
  std::string& text = result.output;
  std::erase(text, '\n');
  return text;
}

Simulator::Simulator(const std::string& options) : process_(Program("camsim ") + options) {
  EXPECT_TRUE(Eventually([this] { return Count(process_.Output(), "snapshot") > 0; }));
  std::istringstream words(process_.Output());
  for (std::string word; words >> word;) {
    if (word.ends_with("/video.mjpg")) url_ = word;
  }
  base_ = url_.substr(0, url_.rfind('/'));
}

void Simulator::Fault(const std::string& name) const {
  (void)OutputOf("curl -sf " + base_ + "/fault/" + name);
}

RecordedCamera::RecordedCamera(std::unique_ptr<Simulator> camera,
                               const std::string& url,
                               std::string name)
    : camera_(std::move(camera)) {
  name = Quoted(name);
  Do("camera add " + name + " " + (camera_ ? camera_->Url() : url));
  const nlohmann::json record = DoJson("camera show " + name);
  id_ = std::to_string(record["id"].get<int>());
  folder_ = record["folder"].get<std::string>();
}

RecordedCamera::RecordedCamera(const std::string& options, const std::string& name)
    : RecordedCamera(std::make_unique<Simulator>(options), "", name) {}

RecordedCamera RecordedCamera::At(const std::string& url, const std::string& name) {
  return {nullptr, url, name};
}

void RecordedCamera::Start() {
  daemon_ = std::make_unique<Process>(Program("wpd -f -c ") + id_);
  EXPECT_TRUE(Eventually([this] { return Logged("daemon runs") > 0; })) << Log();
}

void RecordedCamera::Stop(int signal_number) {
  const auto asked = Clock::now();
  EXPECT_EQ(daemon_->End(signal_number, seconds(20)), 0) << Log();
  EXPECT_LT(Clock::now() - asked, milliseconds(5500)) << Log();
}

void RecordedCamera::ExpectLog(const std::string& text) const {
  (void)Eventually([&] { return Logged(text) > 0; });
  EXPECT_EQ(Logged(text), 1) << text << " in\n" << Log();
}

std::vector<Row> RecordedCamera::Rows() const {
  std::vector<Row> rows;
  for (const nlohmann::json& row : DoJson("event list --limit 1000 --camera " + id_)) {
    rows.push_back({row["id"],
                    row["width"],
                    row["frames"],
                    row["start"],
                    row["stop"],
                    row["bytes"],
                    row["cause"],
                    row["path"],
                    folder_ + "/" + row["path"].get<std::string>()});
  }
  std::sort(rows.begin(), rows.end(), [](const Row& a, const Row& b) { return a.id < b.id; });
  return rows;
}

int RecordedCamera::Frames() const {
  int frames = 0;
  for (const Row& row : Rows()) frames += row.frames;
  return frames;
}

void RecordedCamera::ExpectFrames(int frames) const {
  EXPECT_TRUE(Eventually([&] { return Frames() >= frames; }, seconds(40))) << folder_ << Log();
}

void RecordedCamera::ExpectRowsAndFilesAgree() const {
  std::vector<std::string> files;
  for (const auto& entry : fs::directory_iterator(folder_)) {
    if (entry.path().extension() == ".avi") files.push_back(entry.path());
  }
  std::vector<std::string> rows;
  for (const Row& row : Rows()) {
    ExpectWhole(row);
    rows.push_back(row.file);
  }
  EXPECT_THAT(rows, ::testing::UnorderedElementsAreArray(files));
}

Appliance::Appliance(const std::string& daemon_settings) : env_("ORVA_ROOT", root_.Path()) {
  WriteFile(root_ / "etc/orvainfo.conf",
            "[service 9]\nvolume=1\npath=/volume1/surveillance\n[wpd]\nrow_interval_seconds=1\n" +
                daemon_settings);
  StartDatabase();
  Do("db init");
}

Appliance::~Appliance() {
  Server("stop", server_);
}

void Appliance::StartDatabase() {
  std::istringstream lines(Server("start", server_));
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
  ASSERT_TRUE(Eventually([pid] {
    (void)waitpid(pid, nullptr, WNOHANG);  // it may be a child of the test's
    return kill(pid, 0) != 0;
  }));
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
  for (std::size_t at = index + 8; at + 16 <= file.size(); at += 16)
    frames.push_back(file.substr(236 + number(at + 8) + 8, number(at + 12)));
  return frames;
}

int ProbeFrames(const std::string& path) {
  const std::string probed = OutputOf(
      "ffprobe -v warning -count_frames -show_entries stream=nb_frames,nb_read_frames -of "
      "csv=p=0 " +
      Quoted(path));
  int declared = -1;
  int decoded = -2;
  EXPECT_EQ(std::sscanf(probed.c_str(), "%d,%d", &declared, &decoded), 2) << probed;
  EXPECT_EQ(declared, decoded) << path;
  return decoded;
}

void ExpectWhole(const Row& row) {
  EXPECT_EQ(ProbeFrames(row.file), row.frames);
  EXPECT_EQ(fs::file_size(row.file), row.bytes);
}

}  // namespace watchpost::test
