#include <cstring>
#include <cwchar>

#include "fuzz.h"
#include "log/process_logger.h"

namespace {

constexpr std::size_t kLongestLine = 65536;

// Looks at each line in place of writing it.
class Checking_IO final : public zevra::Log_IO_FILE {
 public:
  int puts(const char* text) override { return Look(text, std::strlen(text)); }
  int puts_w(const wchar_t* text) override { return Look(text, std::wcslen(text)); }
  int write(const void*, std::int32_t count) override {
    Require(count >= 0);
    return count;
  }
  char last = '\0';

 private:
  template <typename Unit>
  int Look(const Unit* text, std::size_t length) {
    Require(length < kLongestLine);
    last = length > 0 ? static_cast<char>(text[length - 1]) : '\0';
    return 0;
  }
};

}  // namespace

// The first bytes choose the style, the charset, the key and how often the rest is repeated to
// reach the lengths at which a text is cut.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::size_t kChoices = 5;
  if (size < kChoices) return 0;
  const std::uint32_t style = data[0] | (data[1] & 1u) << 8;
  const std::string piece = Text(data + kChoices, size - kChoices);
  std::string text = piece;
  while (!piece.empty() && text.size() < std::size_t{data[2]} * 300) text += piece;
  static Checking_IO io;
  zevra::Log_Settings settings;
  settings.values.locale = "skip";
  settings.values.level = 0xFFFFFFFF;
  settings.values.style = style;
  settings.values.charset = data[3] % 3;
  settings.values.xor_key = data[4] % 4 == 0 ? data[4] : 0;
  settings.values.exclude = {"\x01never"};
  zevra::Process_Logger logger;
  logger.open(&settings, &io, 0);

  const bool ends = !text.empty() && (text.back() == '\n' || text.back() == '\r');
  const auto check = [&](bool narrow_kept) {
    if (settings.values.xor_key != 0 || !narrow_kept || ((style & 16) == 0 && !ends)) return;
    Require(io.last == '\n' || io.last == '\r');
  };
  // A text with the excluded word is dropped, and with charset 2 one that is none in the locale
  // gives nothing at all.
  const bool kept = settings.values.charset != 2 && text.find("\x01never") == std::string::npos;
  logger.log_error("%s", text.c_str());
  check(kept);
  logger.log_msg_i(piece.c_str(), 2, 0, text.c_str());
  check(kept);
  const std::wstring wide(text.begin(), text.end());
  logger.log_msg_i_w(L"subject", 2, 0, wide.c_str());
  logger.write_raw(text.data(), static_cast<std::int32_t>(text.size()));
  return 0;
}
