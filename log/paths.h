#ifndef ZEVRA_LOG_PATHS_H
#define ZEVRA_LOG_PATHS_H

// Paths and lists of the logger. "/" is the only separator, a directory ends in "/", and a relative
// name means the directory of a module, not the current directory. No state, no lock; any thread. A
// buffer that a function changes holds kPathBytes bytes.

#include <cstddef>
#include <cstdint>
#include <list>
#include <string>
#include <vector>

#include "platform/modules.h"

namespace zevra {

constexpr std::size_t kPathLimit = 260;  // characters, the platform's MAX_PATH
constexpr std::size_t kPathBytes = kPathLimit + 1;

// A leading "/", two leading backslashes or a ":" anywhere make a path absolute.
bool is_absolute_path(const char* path);

// Turns every run of slashes and backslashes into one "/"; two leading backslashes stay. Gives the
// number of characters after those; 0 for null.
std::int32_t normalize_path(char* path);

// Appends `name` to `directory`, both normalised; no separator is added. Null with `directory` as
// it was if the two have more than kPathLimit characters together.
char* join_path(char* directory, const char* name);

// Writes the directory of a module, "" if the module's path does not fit. Gives `out`.
char* module_directory(char* out, ModuleHandle module);

// A relative path in a directory, that of a module for example. An absolute path, or one that would
// get too long, stays as it is. "" for a relative path and no directory: the current one is
// somebody else's.
std::string AnchorIn(const std::string& directory, const char* path);
std::string AnchorAtModule(const char* path, ModuleHandle module);

// The normalised directory of a path, with its final "/"; "" if the path has none.
std::string DirectoryOf(const std::string& path);

// The wildcard pattern that the backups of a log file match.
std::string BackupPattern(const std::string& log_file);

// Appends the directories that lead to `path`, outermost first. Prefixes of kPathLimit characters
// and more are left out. 0, or -1 for a null or empty path.
int path_prefixes(const char* path, std::vector<std::string>& out);

// Appends the tokens of `text` between any of `separators`, trimmed, without empty ones. Quotes
// protect separators and stay in the token; a token is cut to 399 bytes. Always 0.
int split_list(const char* text, std::vector<std::string>& out, const char* separators);

// Appends the files that match `pattern` in `directory` and in its matching subdirectories, in the
// system's order. 0, or an errno value at the first directory that gives nothing; what was found so
// far stays. Entries whose path would be too long are passed over.
int list_files(const char* directory, const char* pattern, std::list<std::string>& out);

}  // namespace zevra

#endif
