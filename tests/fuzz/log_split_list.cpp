#include "fuzz.h"
#include "log/paths.h"

using zevra::test::Require;

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text = zevra::test::Text(data, size);
  std::vector<std::string> tokens;
  Require(zevra::split_list(text.c_str(), tokens, ";,") == 0);
  std::size_t total = 0;
  for (const std::string& token : tokens) {
    Require(!token.empty() && token.size() <= 399);
    Require(static_cast<unsigned char>(token.front()) > 32);
    Require(static_cast<unsigned char>(token.back()) > 32);
    Require(text.find(token) != std::string::npos);
    total += token.size();
  }
  Require(total <= text.size());
  return 0;
}
