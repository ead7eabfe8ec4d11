// The reader of settings files that Linux has for want of one in the system.

#include <sys/stat.h>

#include <map>
#include <random>

#include "log_test.h"

namespace zevra {
namespace {

using Profile = test::LogTest;

// Profiles put together from odd pieces, against a model that knows where each value must come
// from.
TEST_F(Profile, GeneratedProfiles) {
  std::mt19937 random(20250314);
  const auto pick = [&](const std::vector<std::string>& from) {
    return from[std::uniform_int_distribution<std::size_t>(0, from.size() - 1)(random)];
  };
  const std::vector<std::string> ends = {"\n", "\r\n", "\r", "\n\n"};
  for (int round = 0; round < 400; ++round) {
    std::string text = pick({"", "\xEF\xBB\xBF"});
    std::map<std::string, std::string> model;
    bool inside = false;
    bool done = false;
    for (int i = 0; i < 25; ++i) {
      const std::string kind = pick({"section", "key", "key", "key", "comment", "junk"});
      if (kind == "section") {
        const std::string name = pick({"logger", "LOGGER", "other", "log ger"});
        text += pick({"[", " [", "[ "}) + name + pick({"]", "] ; x"});
        done = done || inside;
        inside = !done && (name == "logger" || name == "LOGGER");
      } else if (kind == "key") {
        const std::string key = pick({"title", "file", "Title", "FILE", "other"});
        const std::string value = pick({"a", "b c", "=x", "a ; b", "[c]", "'q", "\xC3\xA4", ""});
        const std::string quote = value == "'q" ? "" : pick({"", "", "\"", "'"});
        for (const std::string& part :
             {pick({"", "\t"}), key, pick({"=", " = "}), quote, value, quote, pick({"", "  "})})
          text += part;
        const std::string name = key == "Title" ? "title" : key == "FILE" ? "file" : key;
        if (inside) model.emplace(name, value);
      } else {
        text += kind == "comment" ? "; title=no" : "title";
      }
      text += pick(ends);
    }
    test::Write(dir / "zevra.cfu", text);
    Log_Settings read("def.log", "Def");
    EXPECT_EQ(read.read_log_config("logger", Path("zevra.cfu").c_str()), 0);
    const auto expected = [&](const std::string& key, const std::string& otherwise) {
      return model[key].empty() ? otherwise : model[key];
    };
    ASSERT_EQ(read.values.title, expected("title", "Def")) << text;
    ASSERT_EQ(read.values.file, expected("file", "def.log")) << text;
  }
}

TEST_F(Profile, NoRegularFileIsNoSettings) {
  ::mkfifo(Path("zevra.cfu").c_str(), 0600);
  Log_Settings read;
  read.read_log_config("logger", Path("zevra.cfu").c_str());
  EXPECT_EQ(read.level(), 7u);
}

}  // namespace
}  // namespace zevra
