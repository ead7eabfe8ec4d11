#include "tools/zevra/signals.h"

#include <csignal>
#include <initializer_list>

namespace zevra::command {
namespace {

volatile std::sig_atomic_t interrupted = 0;

void Note(int /*signal*/) { interrupted = 1; }

}  // namespace

void CatchSignals() {
  struct sigaction note {};
  note.sa_handler = Note;
  // Not restarting, so that a write that hangs comes back.
  note.sa_flags = static_cast<int>(SA_RESETHAND);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaction(signal, &note, nullptr);
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
}

bool Interrupted() { return interrupted != 0; }

}  // namespace zevra::command
