#ifndef ZEVRA_TOOLS_ZEVRA_COMMANDS_H
#define ZEVRA_TOOLS_ZEVRA_COMMANDS_H

#include "tools/zevra/options.h"

namespace zevra::command {

// One function for each subcommand. They return when the work is done or the user has ended it;
// Failure where it could not be done.
void Record(const Options& options);
void Meter(const Options& options);
void List(const Options& options);
void Volume(const Options& options);
void Silence(const Options& options);
void Log(const Options& options);

}  // namespace zevra::command

#endif
