// An appliance of two cameras, and what happens to it, at random moments. After each trial every
// frame that was sent and not excused by what happened is in a recording that plays, under a row
// that is true, and nothing is left over.
//
// TRIALS says how many trials each test makes (5), TRIALS_SEED the seed of the first; the next have
// the next seeds.
#include <sys/prctl.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <sys/wait.h>

#include <map>

#include "e2e/appliance.h"
#include "e2e/numberedcamera.h"
#include "e2e/privatedisk.h"
#include "e2e/shiftedclock.h"
#include "ipc/semmgr.h"

namespace {

// Frames that are on their way when something ends, on a machine that has much to do.
constexpr milliseconds kOnTheWay{1000};
constexpr milliseconds kFolderIsSeenWithin{3000};
constexpr milliseconds kSpaceIsSeenWithin{7000};
constexpr long kWallTolerance = 2;  // seconds
constexpr int kTrialsKept = 3;

unsigned Setting(const char* name, unsigned otherwise) {
  const char* text = std::getenv(name);
  return text == nullptr ? otherwise : static_cast<unsigned>(std::strtoul(text, nullptr, 10));
}

// Frames that may be lost, and why.
struct Excuse {
  Clock::time_point from, to;
  const char* reason;
};

// A recording that was found to be right, which nothing may change any more.
struct Proven {
  Row row;
  unsigned trial;
};

// A camera, its daemon with a clock of its own, and what is known of its footage.
class Subject {
 public:
  Subject(const std::string& name, const std::string& clock)
      : name_(name), clock_(clock), footage_(RecordedCamera::At(camera_.Url(), name)) {}

  const std::string& Name() const { return name_; }
  NumberedCamera& Camera() { return camera_; }

  void SetClock(int offset) {
    clock_.Set(offset);
    clock_stepped_ = clock_stepped_ || offset != 0;
  }

  void Start() {
    const ShiftedClock::Scope scope(clock_);
    daemon_ = std::make_unique<Process>(Program("wpd -f -c ") + footage_.Id());
  }
  // As whatever supervises it does.
  void KeepRunning() {
    if (wanted_ && (daemon_ == nullptr || daemon_->Wait(seconds(0)) != -1)) Start();
  }
  void SetWanted(bool wanted) { wanted_ = wanted; }
  void End(int signal_number) {
    if (daemon_ == nullptr || daemon_->Wait(seconds(0)) != -1) return;
    EXPECT_NE(daemon_->End(signal_number, seconds(20)), -1) << "it hangs\n" << daemon_->Errors();
    Excuse(Clock::now(), Clock::now(), signal_number == SIGKILL ? "killed" : "ended");
  }
  [[nodiscard]] std::string DaemonLog() const { return daemon_ ? daemon_->Errors() : ""; }

  // What was sent from a little before `from` on until `to` may be lost.
  void Excuse(Clock::time_point from, Clock::time_point to, const char* reason) {
    excuses_.push_back({from - kOnTheWay, to, reason});
  }

  // From when on nothing may be lost.
  [[nodiscard]] Clock::time_point Excused() const {
    Clock::time_point latest{};
    for (const auto& excuse : excuses_) latest = std::max(latest, excuse.to);
    return latest;
  }

  // As a person does it: any recording of this trial, also the one that is being written.
  void DeleteOne(std::mt19937& random) {
    const Result listed = Ctl("event list --limit 1000 --json --camera " + footage_.Id());
    if (listed.status != 0) return;  // the database is away
    std::vector<Row> rows = footage_.Rows();
    std::erase_if(rows, [this](const Row& row) { return proven_.contains(row.path); });
    if (rows.empty()) return;
    const Row& row = rows[random() % rows.size()];
    const std::vector<std::size_t> numbers = FrameNumbers(ReadFile(row.file));
    const Clock::time_point before = Clock::now();
    if (Ctl("event delete --yes " + std::to_string(row.id)).status != 0) return;
    deleted_frames_.insert(numbers.begin(), numbers.end());
    if (&row == &rows.back())
      excuses_.push_back({before, Clock::now() + kFolderIsSeenWithin, "deleted while it was made"});
  }

  // Everything that was sent in this trial is where it has to be; what was lost is printed.
  void Examine(unsigned trial) {
    SCOPED_TRACE(name_);
    std::map<std::size_t, int> found;
    std::map<std::string, Row> rows;
    for (const Row& row : footage_.Rows()) {
      rows.emplace(row.path, row);
      if (!proven_.contains(row.path)) ExamineRecording(row, found);
    }
    for (const auto& [path, proven] : proven_) {
      EXPECT_TRUE(rows.contains(path) && rows.at(path).bytes == proven.row.bytes) << path;
      EXPECT_EQ(fs::file_size(proven.row.file), proven.row.bytes) << path;
    }
    for (const std::size_t number : deleted_frames_) EXPECT_FALSE(found.contains(number)) << number;
    for (const auto& [path, row] : rows) proven_.try_emplace(path, Proven{row, trial});
    ExamineFolder(rows.size());
    CountLosses(found);
    Forget(trial);
  }

 private:
  void ExamineRecording(const Row& row, std::map<std::size_t, int>& found) {
    SCOPED_TRACE(row.path);
    EXPECT_EQ(fs::file_size(row.file), row.bytes);
    EXPECT_EQ(ProbeFrames(row.file), row.frames);
    EXPECT_THAT(ReadFile(footage_.Folder() + "/@eaDir/" + row.path + "/ORVAWP:MOTION.log"),
                SizeIs(5 + row.frames));
    const std::vector<std::string> frames = ReadFrames(row.file);
    std::vector<std::size_t> numbers;
    for (const std::string& frame : frames) {
      const std::vector<std::size_t> number = FrameNumbers(frame);
      ASSERT_EQ(number.size(), 1U);
      EXPECT_TRUE(frame.starts_with(camera_.Frame(number[0]))) << number[0];
      EXPECT_EQ(++found[number[0]], 1) << number[0] << " stands twice";
      numbers.push_back(number[0]);
    }
    EXPECT_TRUE(std::is_sorted(numbers.begin(), numbers.end()));
    EXPECT_LE(row.start, row.stop);
    if (clock_stepped_ || numbers.empty()) return;
    const std::vector<SentFrame> sent = camera_.Sent();
    EXPECT_LE(std::abs(row.start - sent.at(numbers.front()).wall), kWallTolerance);
    EXPECT_LE(std::abs(row.stop - sent.at(numbers.back()).wall), kWallTolerance);
  }

  // Recordings and their logs, and the empty folder of notes.
  void ExamineFolder(std::size_t recordings) {
    std::size_t files = 0;
    for (const auto& entry : fs::directory_iterator(footage_.Folder()))
      files += entry.is_directory() ? 0 : 1;
    EXPECT_EQ(files, recordings);
    // That of a file that was deleted goes within a minute.
    const std::string notes = footage_.Folder() + "/.watchpost";
    for (const auto& note : fs::directory_iterator(notes)) {
      const std::string name = note.path().filename().string().substr(footage_.Id().size() + 1);
      EXPECT_FALSE(fs::exists(footage_.Folder() + "/" + name)) << name << "\n" << DaemonLog();
    }
  }

  void CountLosses(const std::map<std::size_t, int>& found) {
    const std::vector<SentFrame> sent = camera_.Sent();
    std::map<std::string, int> lost;
    for (std::size_t number = examined_; number < sent.size(); ++number) {
      if (found.contains(number)) continue;
      const std::string reason = WhyLost(number, sent[number].when);
      ++lost[reason];
    }
    EXPECT_EQ(lost.count(""), 0U) << DaemonLog();
    std::printf("  %s: %zu frames sent", name_.c_str(), sent.size() - examined_);
    for (const auto& [reason, count] : lost)
      std::printf(", %d lost (%s)", count, reason.empty() ? "AGAINST THE PROMISE" : reason.c_str());
    std::printf("\n");
    examined_ = sent.size();
    excuses_.clear();
    deleted_frames_.clear();
    clock_stepped_ = false;
  }
  [[nodiscard]] std::string WhyLost(std::size_t number, Clock::time_point when) const {
    if (deleted_frames_.contains(number)) return "deleted";
    for (const auto& excuse : excuses_) {
      if (when >= excuse.from && when <= excuse.to) return excuse.reason;
    }
    return "";
  }

  // The disk is small: a person deletes what is old.
  void Forget(unsigned trial) {
    std::string ids;
    for (const auto& [path, proven] : proven_) {
      if (proven.trial + kTrialsKept <= trial) ids += " " + std::to_string(proven.row.id);
    }
    if (ids.empty()) return;
    Do("event delete --yes" + ids);
    std::erase_if(proven_,
                  [&](const auto& one) { return one.second.trial + kTrialsKept <= trial; });
  }

  std::string name_;
  ShiftedClock clock_;
  NumberedCamera camera_;
  RecordedCamera footage_;
  std::unique_ptr<Process> daemon_;
  bool wanted_ = true;
  bool clock_stepped_ = false;
  std::vector<struct Excuse> excuses_;
  std::set<std::size_t> deleted_frames_;
  std::map<std::string, Proven> proven_;
  std::size_t examined_ = 0;
};

// Something that happens at a moment of the trial.
struct Step {
  milliseconds when;
  std::string what;
  std::function<void()> act;
};

class Trials : public Appliance, public ::testing::WithParamInterface<unsigned> {
 protected:
  Trials() : Appliance("sync_interval_seconds=1\n") {
    EXPECT_EQ(prctl(PR_SET_CHILD_SUBREAPER, 1), 0);
  }
  ~Trials() override { EndOrphans(); }

  void Try(unsigned seed);

 private:
  using Plan = std::vector<Step>;

  // Something begins at `from` and is over at `to`.
  struct Span {
    milliseconds from, to;
  };
  Span DrawSpan() {
    const milliseconds from(random_() % 3500);
    return {from, from + milliseconds(100 + random_() % 1400)};
  }
  Subject& DrawSubject() { return random_() % 2 == 0 ? porch_ : yard_; }
  void ExcuseBoth(Clock::time_point from, Clock::time_point to, const char* reason) {
    for (Subject* subject : {&porch_, &yard_}) subject->Excuse(from, to, reason);
  }

  void PlanRestart(Plan& plan, int signal_number);
  void PlanDatabase(Plan& plan);
  void PlanReader(Plan& plan);
  void PlanUnmount(Plan& plan);
  void PlanFullDisk(Plan& plan);
  void PlanClock(Plan& plan);
  void PlanAbsence(Plan& plan);
  void PlanSettings(Plan& plan);
  void PlanDeletion(Plan& plan);
  void PlanCheck(Plan& plan);
  Plan Draw();
  void Settle();
  static void EndOrphans();
  void ExpectNothingLeft() const;

  PrivateDisk disk_{root_ / "volume1", "48m"};
  Subject porch_{"Porch", root_ / "porch.clock"};
  Subject yard_{"Yard", root_ / "yard.clock"};
  std::mt19937 random_;
  std::unique_ptr<Process> reader_;
  Clock::time_point unmounted_, filled_;
};

void Trials::PlanRestart(Plan& plan, int signal_number) {
  const Span span = DrawSpan();
  Subject& subject = DrawSubject();
  const std::string what = signal_number == SIGKILL ? "kill " : "end ";
  plan.push_back({span.from, what + subject.Name(), [&subject, signal_number] {
                    subject.SetWanted(false);
                    subject.End(signal_number);
                  }});
  plan.push_back({span.to, "start " + subject.Name(), [&subject] { subject.SetWanted(true); }});
}

void Trials::PlanDatabase(Plan& plan) {
  const Span span = DrawSpan();
  plan.push_back({span.from, "kill database", [this] { KillDatabase(); }});
  plan.push_back({span.to, "start database", [this] { StartDatabase(); }});
}

// One that stands still in the middle of whatever it does.
void Trials::PlanReader(Plan& plan) {
  const Span span = DrawSpan();
  Subject& subject = DrawSubject();
  plan.push_back({span.from, "watch " + subject.Name(), [this, &subject] {
                    reader_ =
                        std::make_unique<Process>(Program("wpctl camera watch ") + subject.Name());
                  }});
  plan.push_back(
      {(span.from + span.to) / 2, "stop reader", [this] { (void)kill(reader_->Pid(), SIGSTOP); }});
  plan.push_back({span.to, "kill reader", [this] { reader_.reset(); }});
}

void Trials::PlanUnmount(Plan& plan) {
  const Span span = DrawSpan();
  plan.push_back({span.from, "unmount", [this] {
                    unmounted_ = Clock::now();
                    disk_.Unmount();
                  }});
  plan.push_back({span.to, "mount", [this] {
                    disk_.Mount();
                    ExcuseBoth(unmounted_, Clock::now() + kFolderIsSeenWithin, "unmounted");
                  }});
}

void Trials::PlanFullDisk(Plan& plan) {
  const Span span = DrawSpan();
  plan.push_back({span.from, "fill disk", [this] {
                    filled_ = Clock::now();
                    disk_.Fill();
                  }});
  plan.push_back({span.to, "free disk", [this] {
                    disk_.Free();
                    ExcuseBoth(filled_, Clock::now() + kSpaceIsSeenWithin, "disk full");
                  }});
}

void Trials::PlanClock(Plan& plan) {
  const Span span = DrawSpan();
  Subject& subject = DrawSubject();
  const int size = static_cast<int>(random_() % 2 == 0 ? random_() % 10 : random_() % 100000);
  const int offset = random_() % 2 == 0 ? size : -size;
  plan.push_back({span.from,
                  "clock of " + subject.Name() + " by " + std::to_string(offset) + " s",
                  [&subject, offset] { subject.SetClock(offset); }});
  plan.push_back({span.to, "clock right", [&subject] { subject.SetClock(0); }});
}

void Trials::PlanAbsence(Plan& plan) {
  const Span span = DrawSpan();
  Subject& subject = DrawSubject();
  plan.push_back(
      {span.from, "lose " + subject.Name(), [&subject] { subject.Camera().SetAway(true); }});
  plan.push_back(
      {span.to, "return " + subject.Name(), [&subject] { subject.Camera().SetAway(false); }});
}

void Trials::PlanSettings(Plan& plan) {
  Subject& subject = DrawSubject();
  const std::string number = std::to_string(random_() % 90);
  const bool reconnects = random_() % 3 == 0;
  const std::string option = reconnects           ? "--path /video.mjpg?"
                             : random_() % 2 == 0 ? "--prefix p"
                                                  : "--sensitivity ";
  plan.push_back({DrawSpan().from, "set " + subject.Name() + " " + option + number, [=, &subject] {
                    const Clock::time_point from = Clock::now();
                    (void)Ctl("camera set " + subject.Name() + " " + option + number);
                    if (reconnects)
                      subject.Excuse(from, Clock::now() + kOnTheWay, "another address");
                  }});
}

void Trials::PlanDeletion(Plan& plan) {
  Subject& subject = DrawSubject();
  plan.push_back({DrawSpan().to, "delete of " + subject.Name(), [this, &subject] {
                    subject.DeleteOne(random_);
                  }});
}

// Beside everything else, it changes nothing that is right.
void Trials::PlanCheck(Plan& plan) {
  plan.push_back({DrawSpan().from, "check", [] { (void)Ctl("storage check --repair --yes"); }});
}

Trials::Plan Trials::Draw() {
  std::vector<std::function<void(Plan&)>> mishaps{
      [this](Plan& plan) { PlanRestart(plan, SIGKILL); },
      [this](Plan& plan) { PlanRestart(plan, SIGKILL); },
      [this](Plan& plan) { PlanRestart(plan, SIGTERM); },
      [this](Plan& plan) { PlanDatabase(plan); },
      [this](Plan& plan) { PlanReader(plan); },
      [this](Plan& plan) { PlanUnmount(plan); },
      [this](Plan& plan) { PlanFullDisk(plan); },
      [this](Plan& plan) { PlanClock(plan); },
      [this](Plan& plan) { PlanAbsence(plan); },
      [this](Plan& plan) { PlanSettings(plan); },
      [this](Plan& plan) { PlanDeletion(plan); },
      [this](Plan& plan) { PlanCheck(plan); },
  };
  std::shuffle(mishaps.begin(), mishaps.end(), random_);
  mishaps.resize(3 + random_() % 3);
  Plan plan;
  for (const auto& mishap : mishaps) mishap(plan);
  std::stable_sort(
      plan.begin(), plan.end(), [](const Step& a, const Step& b) { return a.when < b.when; });
  return plan;
}

// Everything is well again, and has been for a moment.
void Trials::Settle() {
  std::this_thread::sleep_until(std::max(porch_.Excused(), yard_.Excused()));
  EXPECT_TRUE(Eventually([this] {
    for (Subject* subject : {&porch_, &yard_}) subject->KeepRunning();
    return Ctl("service status").status == 0;
  })) << Ctl("service status").output
      << porch_.DaemonLog() << yard_.DaemonLog();
  for (Subject* subject : {&porch_, &yard_}) {
    const std::size_t sent = subject->Camera().Sent().size();
    EXPECT_TRUE(Eventually([&] { return subject->Camera().Sent().size() > sent + 20; }));
  }
  for (Subject* subject : {&porch_, &yard_}) {
    subject->SetWanted(false);
    subject->End(SIGTERM);
  }
}

// A process that sends a mail may stand still for ever under a clock that is not the true one: the
// library that shifts it blocks signals while it holds a lock, which the fork took over.
void Trials::EndOrphans() {
  const std::string self = std::to_string(getpid());
  std::istringstream children(ReadFile("/proc/self/task/" + self + "/children"));
  for (pid_t child = 0; children >> child;) {
    if (ReadFile("/proc/" + std::to_string(child) + "/comm") != "wpd\n") continue;
    (void)kill(child, SIGKILL);
    (void)waitpid(child, nullptr, 0);
  }
}

void Trials::ExpectNothingLeft() const {
  for (const int id : {1, 2}) {
    EXPECT_LT(shmget(IPCKeyFromCameraId(id), 0, 0), 0);
    EXPECT_LT(semget(IPCKeyFromCameraId(id), 0, 0), 0);
  }
  const Result checked = Ctl("storage check");
  EXPECT_EQ(checked.status, 0) << checked.output << checked.errors;
  for (const auto& entry : fs::directory_iterator(root_ / "var/lib/orva"))
    EXPECT_TRUE(entry.path().extension() != ".rows" || fs::is_empty(entry.path())) << entry.path();
}

void Trials::Try(unsigned seed) {
  SCOPED_TRACE("trial " + std::to_string(seed));
  random_.seed(seed);
  const Plan plan = Draw();
  std::printf("trial %u:", seed);
  for (const Step& step : plan)
    std::printf(" %s at %d ms;", step.what.c_str(), static_cast<int>(step.when.count()));
  std::printf("\n");
  for (Subject* subject : {&porch_, &yard_}) subject->SetWanted(true);
  const Clock::time_point begin = Clock::now();
  for (const Step& step : plan) {
    do {
      for (Subject* subject : {&porch_, &yard_}) subject->KeepRunning();
      PauseBriefly();
    } while (Clock::now() < begin + step.when);
    step.act();
  }
  Settle();
  ExpectNothingLeft();
  for (Subject* subject : {&porch_, &yard_}) subject->Examine(seed);
  std::fflush(stdout);
}

TEST_P(Trials, CostNoFrameThatWasPromised) {
  const unsigned trials = Setting("TRIALS", 5);
  const unsigned first = Setting("TRIALS_SEED", 1) + GetParam() * trials;
  for (unsigned seed = first; seed < first + trials && !HasFailure(); ++seed) Try(seed);
}

INSTANTIATE_TEST_SUITE_P(, Trials, ::testing::Range(0U, 4U));

}  // namespace
