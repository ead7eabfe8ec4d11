#ifndef ZEVRA_LOG_BANNER_H
#define ZEVRA_LOG_BANNER_H

// The banners around the text of a log file. `word` names the kind of time, `time` is its text. A
// banner that would get too long is cut and keeps its line end. Any thread.

#include <string>

#include "platform/modules.h"

namespace zevra {

// Names the process and the module that logs. For a module that is the application itself it shows
// an empty path and one blank.
std::string HeadBanner(const std::string& title, const char* word, const char* time,
                       ModuleHandle module);
std::string TailBanner(const std::string& title, const char* word, const char* time);

// The modification time of a file in local time, "" if there is none.
std::string FileTimeText(const char* path);

}  // namespace zevra

#endif
