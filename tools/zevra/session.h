#ifndef ZEVRA_TOOLS_ZEVRA_SESSION_H
#define ZEVRA_TOOLS_ZEVRA_SESSION_H

#include <memory>

namespace zevra::command {

// The library opened for the calling thread, with the machine's endpoints behind it or, where they
// are wanted or no sound server runs, the ones inside this program.
class Session {
 public:
  // Says on standard error that it steps in for a sound server. Failure where the library cannot be
  // opened.
  explicit Session(bool builtin);
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

 private:
  struct BuiltIn;
  std::unique_ptr<BuiltIn> builtin_;
};

}  // namespace zevra::command

#endif
