#include "platform/profile.h"

#include <windows.h>

#include <array>
#include <cstring>
#include <string>

namespace zevra {
namespace {

constexpr std::size_t kValueBytes = 1024;

// With a null key or section the system gives all names, one zero-terminated text after the other.
std::vector<std::string> Names(const char* section, const char* path) {
  std::vector<char> buffer(65536);
  const DWORD count = ::GetPrivateProfileStringA(section, nullptr, "", buffer.data(),
                                                 static_cast<DWORD>(buffer.size()), path);
  std::vector<std::string> names;
  for (const char* name = buffer.data(); name < buffer.data() + count && *name != '\0';
       name += std::strlen(name) + 1)
    names.emplace_back(name);
  return names;
}

}  // namespace

ProfileSection::ProfileSection(const char* section, const char* path)
    : section_(section), path_(path) {}

std::size_t ProfileSection::Text(const char* key, const char* fallback, char* buffer,
                                 std::size_t size) const {
  // Without a path the system would look into a file of its own.
  const char* const section = path_.empty() ? "" : section_.c_str();
  const char* const path = path_.empty() ? "." : path_.c_str();
  return ::GetPrivateProfileStringA(section, key, fallback, buffer, static_cast<DWORD>(size), path);
}

std::vector<std::string> ProfileSection::Keys() const {
  return Names(section_.c_str(), path_.c_str());
}

std::vector<std::string> ProfileSections(const char* path) { return Names(nullptr, path); }

void* OpenRegistryKey(const char* sub_key) {
  HKEY key = nullptr;
  const LSTATUS status = ::RegOpenKeyExA(HKEY_LOCAL_MACHINE, sub_key, 0, KEY_READ, &key);
  return status == ERROR_SUCCESS ? key : nullptr;
}

void CloseRegistryKey(void* key) {
  if (key != nullptr) ::RegCloseKey(static_cast<HKEY>(key));
}

int RegistryText(void* key, const char* name, std::string& text) {
  text.clear();
  std::array<char, kValueBytes> data{};
  DWORD type = 0;
  DWORD size = static_cast<DWORD>(data.size() - 1);
  const LSTATUS status = ::RegQueryValueExA(static_cast<HKEY>(key), name, nullptr, &type,
                                            reinterpret_cast<BYTE*>(data.data()), &size);
  if (status != ERROR_SUCCESS) return status;
  if (type == REG_DWORD) {
    DWORD number = 0;
    std::memcpy(&number, data.data(), sizeof number);
    text = std::to_string(number);
  } else if (type == REG_SZ) {
    text = data.data();
  }
  return 0;
}

}  // namespace zevra
