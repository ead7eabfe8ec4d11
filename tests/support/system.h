#ifndef ZEVRA_TESTS_SUPPORT_SYSTEM_H
#define ZEVRA_TESTS_SUPPORT_SYSTEM_H

#include <cstdint>
#include <filesystem>
#include <string>

// What tests need of the system and the C++ library has not.

namespace zevra::test {

// A fresh folder among the temporary ones.
std::filesystem::path MakeTemporaryFolder();

// Local time is UTC from here on. Before any other thread runs.
void UseUtc();

// Seconds since 1970.
void SetModifiedTime(const std::filesystem::path& path, std::int64_t seconds);

// What the bytes of a file in text mode say. On Windows each line ends in two of them, and one that
// does not shows as "<bare line feed>".
std::string FromTextMode(const std::string& bytes);

// Bytes that the text takes in a file in text mode.
std::size_t TextModeBytes(const std::string& text);

// True where narrow text is UTF-8: always on Linux, and as the user has chosen on Windows.
bool NarrowTextIsUtf8();

// Makes `link` lead to the folder; false where the system has no such links.
bool MakeFolderLink(const std::filesystem::path& folder, const std::filesystem::path& link);

// A library of the system's, loaded for the life of the object.
class Library {
 public:
  Library();
  ~Library();
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;

  std::intptr_t Handle() const { return reinterpret_cast<std::intptr_t>(handle_); }
  std::string Path() const;

 private:
  void* handle_;
};

// The path of the program that runs, as the system tells it.
std::string ProgramPath();

}  // namespace zevra::test

#endif
