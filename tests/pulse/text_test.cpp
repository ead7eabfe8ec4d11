#include <gtest/gtest.h>

#include "platform/linux/unicode.h"

namespace zevra {
namespace {

TEST(Utf16, TakesWhateverBytesANameHas) {
  const struct {
    std::string_view bytes;
    std::u16string_view units;
  } cases[] = {
      {"", u""},
      {"Lautsprecher (\xC3\xBC)", u"Lautsprecher (\u00FC)"},
      {"\xE9\x9F\xB3\xE6\xA5\xBD", u"\u97F3\u697D"},
      {"\xF0\x9F\x8E\xA7!", u"\U0001F3A7!"},
      {"\xEF\xBF\xBF\xF4\x8F\xBF\xBF", u"\uFFFF\U0010FFFF"},
      // Cut short: in the middle and at the end.
      {"a\xE9\x9F"
       "b",
       u"a\uFFFDb"},
      {"a\xF0\x9F\x8E", u"a\uFFFD"},
      {"\xC3", u"\uFFFD"},
      // Continuation bytes on their own, and bytes that never occur.
      {"\x80\xBFz", u"\uFFFD\uFFFDz"},
      {"\xC0\xAF\xF5\xFF", u"\uFFFD\uFFFD\uFFFD\uFFFD"},
      // Over-long forms, a surrogate, beyond the last character: each byte is a fault of its own.
      {"\xE0\x9F\xBF", u"\uFFFD\uFFFD\uFFFD"},
      {"\xF0\x8F\xBF\xBF", u"\uFFFD\uFFFD\uFFFD\uFFFD"},
      {"\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD"},
      {"\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},
  };
  for (const auto& one : cases) EXPECT_EQ(Utf16FromUtf8(one.bytes), one.units) << one.bytes;
}

}  // namespace
}  // namespace zevra
