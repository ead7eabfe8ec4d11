#include "platform/linux/pulse/format.h"

#include <gtest/gtest.h>

#include "platform/linux/unicode.h"

namespace zevra {
namespace {

// Servers differ in what comes through of these, so captured sound does not tell.
TEST(PulseFormat, MasksOfLayoutsThatAMaskCannotHold) {
  const char nine[] = "front-left,front-right,front-center,lfe,rear-left,rear-right,aux0,aux1,aux2";
  PulseEndpoint endpoint;
  pa_channel_map_parse(&endpoint.channel_map, nine);
  EXPECT_EQ(MixFormat(endpoint).dwChannelMask, 0x63FU) << "more than a stream can have are folded";
  pa_channel_map_parse(&endpoint.channel_map, "front-left,front-left");
  EXPECT_EQ(MixFormat(endpoint).dwChannelMask, 0U);
}

TEST(Utf16, TakesWhateverBytesANameHas) {
  const struct {
    std::string_view bytes;
    std::u16string_view units;
  } cases[] = {
      {"\xC3\xBC \xE9\x9F\xB3 \xF0\x9F\x8E\xA7", u"\u00FC \u97F3 \U0001F3A7"},
      {"\xEF\xBF\xBF\xF4\x8F\xBF\xBF", u"\uFFFF\U0010FFFF"},
      // Cut short in the middle and at the end, and bytes that never occur.
      {"\xE9\x9F \xF0\x9F\x8E", u"\uFFFD \uFFFD"},
      {"\x80\xC0\xAF\xF5\xFF", u"\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD"},
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
