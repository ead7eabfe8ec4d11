#ifndef ZEVRA_TESTS_COMMAND_COMMAND_RUNNER_H
#define ZEVRA_TESTS_COMMAND_COMMAND_RUNNER_H

#include <sndfile.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "support/eventually.h"

namespace zevra::test {

inline std::string ReadFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

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
  CommandRun(const std::string& folder, const std::string& arguments,
             const std::string& before = "") {
    static int runs = 0;
    stem_ = folder + "/run" + std::to_string(runs++);
    const std::string line = "cd " + folder + "; exec >" + stem_ + ".out 2>" + stem_ + ".err; " +
                             before + " exec ${LIMIT:+timeout --foreground -s KILL $LIMIT} " +
                             ZEVRA_COMMAND " " + arguments;
    const char* const argv[] = {"sh", "-c", line.c_str(), nullptr};
    posix_spawnp(&process_, "sh", nullptr, nullptr, const_cast<char**>(argv), environ);
  }

  void Signal(int signal) const { kill(process_, signal); }
  Outcome Wait() const {
    int status = 0;
    waitpid(process_, &status, 0);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadFile(stem_ + ".out"),
            ReadFile(stem_ + ".err")};
  }

 private:
  std::string stem_;
  pid_t process_ = -1;
};

// A sound file as libsndfile reads it to its end.
struct Sound {
  bool readable = false;
  int format = 0;
  int rate = 0;
  int channels = 0;
  std::size_t frames = 0;
  float peak = 0;
  std::vector<float> samples;  // interleaved
};

// A folder of its own for each test, gone with it.
class ScratchFolder {
 public:
  ScratchFolder() : path_(std::filesystem::temp_directory_path() / "zevra_cli.XXXXXX") {
    if (mkdtemp(path_.data()) == nullptr) std::abort();
  }
  ~ScratchFolder() { std::filesystem::remove_all(path_); }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  std::string File(const std::string& name) const { return path_ + "/" + name; }
  CommandRun Start(const std::string& arguments, const std::string& before = "") const {
    return {path_, arguments, before};
  }
  Outcome Run(const std::string& arguments, const std::string& before = "") const {
    return Start(arguments, before).Wait();
  }
  // Waits until a file that is being written has that many bytes; false if it never does.
  bool Grows(const std::string& name, std::uintmax_t bytes) const {
    return Eventually([&] {
      std::error_code missing;
      const std::uintmax_t size = std::filesystem::file_size(File(name), missing);
      return !missing && size >= bytes;
    });
  }
  Sound SoundOf(const std::string& name) const {
    Sound sound;
    SF_INFO info{};
    SNDFILE* const file = sf_open(File(name).c_str(), SFM_READ, &info);
    if (file == nullptr) return sound;
    std::vector<float> some(std::size_t{4096} * static_cast<std::size_t>(info.channels));
    while (const auto count =
               sf_read_float(file, some.data(), static_cast<sf_count_t>(some.size())))
      sound.samples.insert(sound.samples.end(), some.begin(), some.begin() + count);
    sound.readable = sf_error(file) == SF_ERR_NO_ERROR;
    sf_close(file);
    sound.format = info.format;
    sound.rate = info.samplerate;
    sound.channels = info.channels;
    sound.frames = sound.samples.size() / static_cast<std::size_t>(info.channels);
    for (const float sample : sound.samples) sound.peak = std::max(sound.peak, std::fabs(sample));
    return sound;
  }

 private:
  std::string path_;
};

}  // namespace zevra::test

#endif
