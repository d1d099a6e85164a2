#include "support/process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <thread>

extern char** environ;

namespace watchpost::test {

void PauseBriefly() {
  std::this_thread::sleep_for(std::chrono::milliseconds(10));
}

Process::Process(const std::vector<std::string>& arguments) {
  std::vector<char*> argv;
  for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(
      &actions, 1, (dir_ / "out").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
  posix_spawn_file_actions_addopen(
      &actions, 2, (dir_ / "err").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
  EXPECT_EQ(posix_spawnp(&pid_, argv[0], &actions, nullptr, argv.data(), environ), 0) << argv[0];
  posix_spawn_file_actions_destroy(&actions);
}

Process::~Process() {
  if (pid_ <= 0) return;
  kill(pid_, SIGKILL);
  waitpid(pid_, nullptr, 0);
}

int Process::Wait(std::chrono::seconds limit) {
  if (pid_ <= 0) return status_;
  int status = 0;
  if (!Eventually([&] { return waitpid(pid_, &status, WNOHANG) == pid_; }, limit)) return -1;
  pid_ = -1;
  status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return status_;
}

Result RunProgram(const std::vector<std::string>& arguments) {
  Process process(arguments);
  const int status = process.Wait();
  return {status, process.Output(), process.Errors()};
}

}  // namespace watchpost::test
