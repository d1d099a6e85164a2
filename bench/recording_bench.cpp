// Recording a camera with wpd, beside another program that records the same stream: processor time
// a frame in steady state, what start and end cost, and memory.
//
//   recording_bench SECONDS FPS CAMERA_ID NAME COMMAND...
//
// wpd is found through PATH and records camera CAMERA_ID; COMMAND is the other program, NAME what
// it is called in the report. Both end with SIGINT. The first three seconds do not count.

#include <signal.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

extern char** environ;

namespace {

constexpr int kRounds = 7;
constexpr unsigned int kWarmUp = 3;  // seconds

struct Cost {
  double steady;   // milliseconds of processor time, of the seconds that count
  double around;   // of start and end
  long dirty_kib;  // private dirty memory
};

// Processor time of all threads of a process, in milliseconds.
double ProcessorTime(pid_t pid) {
  clockid_t clock = 0;
  timespec time{};
  if (clock_getcpuclockid(pid, &clock) != 0 || clock_gettime(clock, &time) != 0) return 0;
  return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
}

long PrivateDirty(pid_t pid) {
  std::ifstream rollup("/proc/" + std::to_string(pid) + "/smaps_rollup");
  for (std::string word; rollup >> word;) {
    long kib = 0;
    if (word == "Private_Dirty:" && rollup >> kib) return kib;
  }
  return -1;
}

double Milliseconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_usec) / 1e3;
}

// Runs a program for a while and ends it with SIGINT.
Cost Measure(std::vector<std::string> arguments, unsigned int seconds) {
  std::vector<char*> argv;
  argv.reserve(arguments.size() + 1);
  for (std::string& argument : arguments) argv.push_back(argument.data());
  argv.push_back(nullptr);
  posix_spawn_file_actions_t quiet;
  posix_spawn_file_actions_init(&quiet);
  for (const int fd : {0, 1, 2})
    posix_spawn_file_actions_addopen(&quiet, fd, "/dev/null", fd == 0 ? 0 : 1, 0);
  pid_t pid = 0;
  if (posix_spawnp(&pid, argv[0], &quiet, nullptr, argv.data(), environ) != 0) {
    std::fprintf(stderr, "cannot run %s\n", argv[0]);
    std::exit(1);
  }
  posix_spawn_file_actions_destroy(&quiet);
  (void)sleep(kWarmUp);
  const double before = ProcessorTime(pid);
  (void)sleep(seconds);
  const double steady = ProcessorTime(pid) - before;
  const long dirty = PrivateDirty(pid);
  (void)kill(pid, SIGINT);
  rusage usage{};
  (void)wait4(pid, nullptr, 0, &usage);
  const double all = Milliseconds(usage.ru_utime) + Milliseconds(usage.ru_stime);
  return {steady, all - steady, dirty};
}

template <typename T>
T Median(std::vector<T> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 6) {
    std::fprintf(stderr,
                 "recording_bench SECONDS FPS CAMERA_ID NAME COMMAND...; scripts/bench calls it\n");
    return 2;
  }
  const auto seconds = static_cast<unsigned int>(std::atoi(argv[1]));
  const double frames = seconds * std::atof(argv[2]);
  std::vector<double> ratios;
  std::vector<double> ours;
  std::vector<double> theirs;
  std::vector<double> around;
  std::vector<double> their_around;
  std::vector<long> dirty;
  std::vector<long> their_dirty;
  for (int round = 0; round < kRounds; ++round) {
    const Cost wpd = Measure({"wpd", "-f", "-c", argv[3]}, seconds);
    const Cost other = Measure({argv + 5, argv + argc}, seconds);
    ratios.push_back(wpd.steady / other.steady);
    ours.push_back(wpd.steady / frames);
    theirs.push_back(other.steady / frames);
    around.push_back(wpd.around);
    their_around.push_back(other.around);
    dirty.push_back(wpd.dirty_kib);
    their_dirty.push_back(other.dirty_kib);
  }
  std::sort(ratios.begin(), ratios.end());
  std::printf("wpd / %s: processor time, median %.3f, spread %.3f to %.3f\n",
              argv[4],
              Median(ratios),
              ratios.front(),
              ratios.back());
  std::printf("  in %u s of steady state: wpd %.3f ms a frame, the other %.3f ms\n",
              seconds,
              Median(ours),
              Median(theirs));
  std::printf("  start, first %u s and end: wpd %.0f ms, the other %.0f ms\n",
              kWarmUp,
              Median(around),
              Median(their_around));
  std::printf("  private dirty memory: wpd %.1f MB, the other %.1f MB\n",
              static_cast<double>(Median(dirty)) / 1024,
              static_cast<double>(Median(their_dirty)) / 1024);
  return 0;
}
