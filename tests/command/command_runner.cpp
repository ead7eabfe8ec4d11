#include "command/command_runner.h"

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/eventually.h"

namespace zevra::test {

ScratchFolder::ScratchFolder() {
  std::string name = std::filesystem::temp_directory_path() / "zevra_cli.XXXXXX";
  if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no scratch folder");
  path_ = name;
}

ScratchFolder::~ScratchFolder() { std::filesystem::remove_all(path_); }

CommandRun::CommandRun(const std::filesystem::path& folder, const std::string& arguments,
                       const std::string& before) {
  static int runs = 0;
  const std::string stem = "run" + std::to_string(runs++);
  out_ = folder / (stem + ".out");
  err_ = folder / (stem + ".err");
  const std::string line =
      "cd " + folder.string() + "; exec >" + out_.string() + " 2>" + err_.string() + "; " + before +
      " exec timeout --foreground -s KILL ${LIMIT:-60} " ZEVRA_COMMAND " " + arguments;
  const char* const argv[] = {"sh", "-c", line.c_str(), nullptr};
  if (posix_spawnp(&process_, "sh", nullptr, nullptr, const_cast<char**>(argv), environ) != 0)
    throw std::runtime_error("the shell does not start");
}

void CommandRun::Signal(int signal) const { kill(process_, signal); }

Outcome CommandRun::Wait() {
  int status = 0;
  waitpid(process_, &status, 0);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadFile(out_), ReadFile(err_)};
}

Outcome RunCommand(const std::filesystem::path& folder, const std::string& arguments,
                   const std::string& before) {
  return CommandRun(folder, arguments, before).Wait();
}

std::string ReadFile(const std::filesystem::path& path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

bool GrowsTo(const std::filesystem::path& path, std::uintmax_t bytes) {
  return Eventually([&] {
    std::error_code missing;
    const std::uintmax_t size = std::filesystem::file_size(path, missing);
    return !missing && size >= bytes;
  });
}

}  // namespace zevra::test
