#ifndef ZEVRA_TOOLS_ZEVRA_FAILURE_H
#define ZEVRA_TOOLS_ZEVRA_FAILURE_H

#include <stdexcept>

namespace zevra::command {

// Exit codes of the command.
inline constexpr int kExitOk = 0;
inline constexpr int kExitFailed = 1;
inline constexpr int kExitBadArguments = 2;

// Why the command ends without having done what it was asked to: one line for a person, without
// the program's name and without a line end.
class Failure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// One that the user can avoid by asking for something else.
class BadArgument : public Failure {
 public:
  using Failure::Failure;
};

}  // namespace zevra::command

#endif
