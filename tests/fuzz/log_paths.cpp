#include <cstring>
#include <memory>

#include "fuzz.h"
#include "log/paths.h"
#include "log/process_logger.h"

// Two paths, split at the first line feed, and a list of words.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text = Text(data, size);
  const std::string first = text.substr(0, text.find('\n'));
  const std::string second = text.substr(std::min(first.size() + 1, text.size()));

  std::string normal = first;
  const std::int32_t count = zevra::normalize_path(normal.data());
  normal.resize(std::strlen(normal.c_str()));
  Require(count >= 0 && static_cast<std::size_t>(count) <= normal.size());
  Require(normal.find("//") == std::string::npos && normal.find('\\', 2) == std::string::npos);
  std::string again = normal;
  zevra::normalize_path(again.data());
  Require(again == normal);

  if (first.size() <= zevra::kPathLimit) {
    // From the heap, so that one byte too many is seen.
    const auto directory = std::make_unique<char[]>(zevra::kPathBytes);
    std::memcpy(directory.get(), first.c_str(), first.size() + 1);
    const bool joined = zevra::join_path(directory.get(), second.c_str()) != nullptr;
    Require(joined == (first.size() + second.size() <= zevra::kPathLimit));
    Require(joined || first == directory.get());
  }
  std::vector<std::string> prefixes;
  zevra::path_prefixes(first.c_str(), prefixes);
  for (const std::string& prefix : prefixes)
    Require(first.starts_with(prefix) && prefix.size() < zevra::kPathLimit);
  Require(zevra::AnchorAtModule(first.c_str(), zevra::kThisLibrary).size() <=
          std::max(first.size(), zevra::kPathLimit));
  zevra::BackupPattern(first);
  zevra::DirectoryOf(first);

  std::vector<std::string> tokens;
  Require(zevra::split_list(text.c_str(), tokens, ";,") == 0);
  std::size_t total = 0;
  for (const std::string& token : tokens) {
    Require(!token.empty() && token.size() <= 399 && text.find(token) != std::string::npos);
    Require(static_cast<unsigned char>(token.front()) > 32);
    Require(static_cast<unsigned char>(token.back()) > 32);
    total += token.size();
  }
  Require(total <= text.size());
  return 0;
}
