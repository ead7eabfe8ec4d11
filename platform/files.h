#ifndef ZEVRA_PLATFORM_FILES_H
#define ZEVRA_PLATFORM_FILES_H

// Files and directories, as far as the log needs them. Paths are narrow and zero-terminated. Every
// function may be called from any thread; two threads must not work on one stream at a time.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <functional>

namespace zevra {

// --- Streams that are only ever appended to ---

enum class AppendMode { kText, kBinary, kEmptyText, kEmptyBinary };

// Opens `path` so that other streams and other processes may read and write the file meanwhile.
// Children of the process do not inherit it. The first two modes keep the content, the other two
// empty the file. Never waits: a pipe is refused. Null on failure, with errno set.
std::FILE* OpenShared(const char* path, AppendMode mode);

// Flushes and closes.
void CloseShared(std::FILE* stream);

// The last byte of the file, -1 if it is empty or unreadable. Leaves the stream at the end.
int LastByte(std::FILE* stream);

// Puts `count` bytes behind the end of the file as it is now, whoever made it grow. Up to the
// stream's buffer they may wait there for a flush, but bytes of one call leave it together, so that
// lines of several processes do not mix. Returns the bytes taken, less than `count` on failure.
std::size_t AppendBytes(std::FILE* stream, const void* bytes, std::size_t count);

// The same for a wide text: UTF-8 on Linux, what the stream's mode and the locale make of it on
// Windows. 0 or above on success, EOF on failure.
int AppendWide(std::FILE* stream, const wchar_t* text);

// Writes what waits. The stream's error indicator tells of a failure, also of one while appending.
void FlushShared(std::FILE* stream);

// Bytes in the file, text still in the stream's buffer included. Leaves a reader's position alone.
std::int64_t LengthOf(std::FILE* stream);

// Cuts the open file to 0 bytes; the stream's position stays. 0 on success, else errno.
int EmptyFile(std::FILE* stream);

// Copies what the open file holds to `target`, replacing it, and empties the file, unless somebody
// else has emptied it meanwhile. 0, or the system's error code: then the text is still in place and
// no half-written target is left.
int SaveAndEmpty(std::FILE* stream, const char* target);

// False if the path leads to another file by now or to none, so that nobody finds the open one.
bool IsFileAt(std::FILE* stream, const char* path);

// Holds the right to rotate a file that several processes write, for the life of the object. Waits
// at most a fifth of a second for another holder, then goes on without: a stuck process elsewhere
// must not stop this one. A null stream needs no turn.
class RotationTurn {
 public:
  explicit RotationTurn(std::FILE* stream);
  ~RotationTurn();
  RotationTurn(const RotationTurn&) = delete;
  RotationTurn& operator=(const RotationTurn&) = delete;

 private:
  std::FILE* held_ = nullptr;
};

// --- Files and directories by name ---

// Copies the whole file, replacing `target`. 0, or the system's error code; a failed copy leaves no
// half-written target.
int CopyWholeFile(const char* source, const char* target);

bool IsDirectory(const char* path);
bool MakeDirectory(const char* path);  // one level
bool RemoveFile(const char* path);

// Seconds since 1970, 0 if there is no such file.
std::int64_t ModifiedTime(const char* path);

// Calls `visit` with the name and directory-ness of each entry of `directory` that matches
// `pattern` ("*" and "?"), "." and ".." included if they match, until it gives a value other than
// 0. That value, 0, or an errno value: ENOENT if nothing matches.
int VisitEntries(const char* directory, const char* pattern,
                 const std::function<int(const char* name, bool is_directory)>& visit);

}  // namespace zevra

#endif
