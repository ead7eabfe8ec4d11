#ifndef ZEVRA_TOOLS_ZEVRA_SIGNALS_H
#define ZEVRA_TOOLS_ZEVRA_SIGNALS_H

namespace zevra::command {

// From now on the first request to end (Ctrl-C, SIGTERM, SIGHUP) is noted and a second one ends the
// program at once; a full file or a reader that has gone shows as a failed write, not as a signal.
void CatchSignals();

// True once the program has been asked to end.
bool Interrupted();

}  // namespace zevra::command

#endif
