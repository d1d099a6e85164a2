#include "support/process.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

extern char** environ;

namespace watchpost::test {

void PauseBriefly() {
  std::this_thread::sleep_for(milliseconds(10));
}

Process::Process(const std::string& command) {
  std::istringstream line(command);
  std::vector<std::string> words;
  for (std::string word; line >> std::quoted(word, '\'');) words.push_back(word);
  std::vector<char*> argv;
  for (std::string& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  constexpr int kFlags = O_WRONLY | O_CREAT | O_APPEND;
  posix_spawn_file_actions_addopen(&actions, 1, (dir_ / "out").c_str(), kFlags, 0644);
  posix_spawn_file_actions_addopen(&actions, 2, (dir_ / "err").c_str(), kFlags, 0644);
  EXPECT_EQ(posix_spawnp(&pid_, argv[0], &actions, nullptr, argv.data(), environ), 0) << command;
  posix_spawn_file_actions_destroy(&actions);
}

Process::~Process() {
  if (pid_ > 0) (void)End(SIGKILL);
}

int Process::Wait(seconds limit) {
  if (pid_ <= 0) return status_;
  int status = 0;
  if (!Eventually([&] { return waitpid(pid_, &status, WNOHANG) == pid_; }, limit)) return -1;
  pid_ = -1;
  status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return status_;
}

int Process::End(int signal_number, seconds limit) {
  EXPECT_EQ(kill(pid_, signal_number), 0);
  return Wait(limit);
}

Result RunProgram(const std::string& command) {
  Process process(command);
  const int status = process.Wait();
  return {status, process.Output(), process.Errors()};
}

std::string OutputOf(const std::string& command) {
  const Result result = RunProgram(command);
  EXPECT_EQ(result.status, 0) << command;
  EXPECT_EQ(result.errors, "") << command;
  return result.output;
}

}  // namespace watchpost::test
