#ifndef ZEVRA_TESTS_COMMAND_COMMAND_RUNNER_H
#define ZEVRA_TESTS_COMMAND_COMMAND_RUNNER_H

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <string>

namespace zevra::test {

// A folder of its own for each test, gone with it.
class ScratchFolder {
 public:
  ScratchFolder();
  ~ScratchFolder();
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

// What a run of the command came to.
struct Outcome {
  int exit_code = -1;  // -1 for an end by a signal
  std::string out;
  std::string err;
};

// A run of the command under test, started at once in `folder`.
class CommandRun {
 public:
  // `arguments` is shell text, `before` is put in front of it: "ulimit -f 50;", or variables, of
  // which LIMIT says after how many seconds the run is killed.
  CommandRun(const std::filesystem::path& folder, const std::string& arguments,
             const std::string& before = "");
  CommandRun(const CommandRun&) = delete;
  CommandRun& operator=(const CommandRun&) = delete;
  CommandRun(CommandRun&&) = default;

  void Signal(int signal) const;
  // Waits for the end; a run that lasts far too long is killed.
  Outcome Wait();

 private:
  std::filesystem::path out_;
  std::filesystem::path err_;
  pid_t process_ = -1;
};

// Starts one and waits for it.
Outcome RunCommand(const std::filesystem::path& folder, const std::string& arguments,
                   const std::string& before = "");

std::string ReadFile(const std::filesystem::path& path);
// Waits until a file that is being written has that many bytes; false if it never does.
bool GrowsTo(const std::filesystem::path& path, std::uintmax_t bytes);

}  // namespace zevra::test

#endif
