#include "bench/child_process.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <ctime>

namespace zevra::bench {
namespace {

[[noreturn]] void Fail(const std::string& program, const char* what) {
  std::fprintf(stderr, "bench: %s %s\n", program.c_str(), what);
  std::exit(2);  // NOLINT(concurrency-mt-unsafe): the benchmarks that have children have one thread
}

double Ms(const timeval& time) {
  return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_usec) / 1e3;
}

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& command) : name_(command.front()) {
  std::vector<char*> arguments;
  arguments.reserve(command.size() + 1);
  for (const std::string& argument : command)
    arguments.push_back(const_cast<char*>(argument.data()));
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  const int error =
      posix_spawnp(&pid_, name_.c_str(), &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (error != 0) Fail(name_, "cannot be started");
}

ChildProcess::~ChildProcess() {
  if (pid_ != 0) End();
}

double ChildProcess::Reap(int* status) {
  rusage usage{};
  wait4(pid_, status, 0, &usage);
  pid_ = 0;
  return Ms(usage.ru_utime) + Ms(usage.ru_stime);
}

double ChildProcess::End() {
  kill(pid_, SIGTERM);
  int status = 0;
  return Reap(&status);
}

double ChildProcess::AwaitEnd() {
  int status = 0;
  const double used_ms = Reap(&status);
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) Fail(name_, "has failed");
  return used_ms;
}

double ChildProcess::ProcessorMs() const {
  clockid_t clock = 0;
  timespec used{};
  if (clock_getcpuclockid(pid_, &clock) != 0 || clock_gettime(clock, &used) != 0 ||
      waitpid(pid_, nullptr, WNOHANG) != 0)
    Fail(name_, "has ended too early");
  return static_cast<double>(used.tv_sec) * 1e3 + static_cast<double>(used.tv_nsec) / 1e6;
}

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const std::size_t half = values.size() / 2;
  return values.size() % 2 == 1 ? values[half] : (values[half - 1] + values[half]) / 2;
}

}  // namespace zevra::bench
