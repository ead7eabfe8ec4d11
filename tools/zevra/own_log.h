#ifndef ZEVRA_TOOLS_ZEVRA_OWN_LOG_H
#define ZEVRA_TOOLS_ZEVRA_OWN_LOG_H

// What the library logs for this process: why its calls failed. Where this user may not write the
// library's log, the library gets one in this process's memory, so that the reason is never lost.
// One thread, the main one.

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

namespace zevra::command {

// The file from which the library, or its twin with the built-in endpoints, is loaded. Failure
// where there is none.
std::string LibraryPath(bool builtin);

// While the library is loaded and initialised for the first time in the process.
class OwnLogSetUp {
 public:
  // `library` is its full path.
  explicit OwnLogSetUp(const std::string& library);
  // The library has read its settings and opened its log.
  ~OwnLogSetUp();
  OwnLogSetUp(const OwnLogSetUp&) = delete;
  OwnLogSetUp& operator=(const OwnLogSetUp&) = delete;

  // Where to load it from: `library`, or a link to it that has settings of its own beside it.
  const std::string& load_path() const { return load_path_; }

 private:
  void MakeFolder(const std::string& library, const std::string& settings);

  std::string log_file_;
  std::string folder_;
  std::string load_path_;
};

// Begins in front of a call of the library that may fail.
class LoggedCall {
 public:
  LoggedCall();
  // The first error that has been logged since, behind a colon; empty where there is none.
  std::string Reason() const;
  // What the call's result means, with the reason where that alone says little.
  std::string ResultText(std::int32_t result) const;

 private:
  off_t begin_;
};

// The lines of all calls that have failed in this process, each as it stands in the log.
std::vector<std::string> OwnFailures();

}  // namespace zevra::command

#endif
