#ifndef ZEVRA_PLATFORM_PROFILE_H
#define ZEVRA_PLATFORM_PROFILE_H

// Profile files ("[section]" and "key=value" lines) and the registry, the two kinds of source that
// settings can come from. Any thread.
//
// Reading rules of a profile file, the same on both systems: names of sections and keys are
// compared without regard to case; blanks around a key and its value do not count; a value wholly
// enclosed in one kind of quotes loses them; a line that begins with ";" is a comment; the first
// section of a name and the first key of a name in it win.

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace zevra {

// One section of a profile file: on Linux as it was when the object was made, on Windows as the
// system finds it at each call. An empty path is no file.
class ProfileSection {
 public:
  ProfileSection(const char* section, const char* path);

  // Leaves the text of a key in `buffer` (`size` bytes, cut to fit, always terminated), or
  // `fallback` without its trailing blanks when file, section or key are missing. Returns the
  // text's length.
  std::size_t Text(const char* key, const char* fallback, char* buffer, std::size_t size) const;

  // In file order and as written there, repeated ones included.
  std::vector<std::string> Keys() const;

 private:
  std::string section_;
  std::string path_;
  std::vector<std::pair<std::string, std::string>> keys_;  // with their values; Linux only
};

// The names of the sections of a file, in file order.
std::vector<std::string> ProfileSections(const char* path);

// An open key below HKEY_LOCAL_MACHINE; null if it cannot be opened, always so on Linux.
void* OpenRegistryKey(const char* sub_key);
void CloseRegistryKey(void* key);  // null is allowed

// A number value comes as decimal text, a text value as it is (cut to 1023 bytes), any other kind
// as empty text. 0, or the system's error code with `text` empty.
int RegistryText(void* key, const char* name, std::string& text);

}  // namespace zevra

#endif
