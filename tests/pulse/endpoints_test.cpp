#include <gmock/gmock.h>

#include <algorithm>
#include <list>
#include <string>

#include "pulse/server_host.h"
#include "support/eventually.h"
#include "support/linux/sound_server.h"

namespace zevra::test {
namespace {

using Endpoints = ServerTest;
// What a person reads; a monitor is no endpoint of its own.
Names Descriptions(const std::string& kind) {
  return Shell("pactl list " + kind + " | sed -n 's/^\tDescription: //p' | sed '/^Monitor of/d'");
}

TEST_F(Endpoints, TheListsAreThoseOfTheServer) {
  const NullSink umlaut("zevra_umlaut", "Zévra – Überall 🔊");
  Names all = Descriptions("sinks");
  const Names sources = Descriptions("sources");
  EXPECT_EQ(NamesIn(ZevraGetInnerRecordDeviceList), all);
  EXPECT_EQ(NamesIn(ZevraGetOutRecordDeviceList), sources);
  all.insert(all.end(), sources.begin(), sources.end());
  EXPECT_EQ(NamesIn(ZevraGetDeviceList), all);
  EXPECT_THAT(all,
              ::testing::IsSupersetOf({"Zevra Speakers", "Zevra Microphone", "Zévra – Überall 🔊"}));

  // Letters of either case lead to it, and only to it.
  EXPECT_EQ(Device(u"ZÉVRA – ÜBERALL 🔊").Result(), 0);
  EXPECT_EQ(Device(u"Zévra – Überall").Result(), ZEVRA_E_NOT_FOUND);
  EXPECT_EQ(Device(u"Zévra – Überall 🔊", ZEVRA_FLOW_CAPTURE).Result(), ZEVRA_E_NOT_FOUND);
}

TEST_F(Endpoints, EveryNameOpensItsEndpointAndNoOther) {
  const struct {
    const char *sink, *description;  // as the server gets them, quoted once
    const ZevraChar* name;
    const char* listed;
  } rows[] = {
      {"z2", "Twin", u"TWIN (2)", "Twin (2)"},
      {"z1", "twin", u"Twin", "twin"},
      {"z3", R"(Card\" device.bus_path=\"usb-1)", u"Card (usb-1)", "Card (usb-1)"},
      {"z4", R"(Card\" device.bus_path=\"usb-2)", u"Card (usb-2)", "Card (usb-2)"},
      {"z5", "E\x1b[31mvil\n\x7f", u"E [31mvil", "E [31mvil"},
  };
  std::list<NullSink> sinks;
  for (const auto& row : rows) sinks.emplace_back(row.sink, row.description);
  for (const auto& row : rows) {
    SCOPED_TRACE(row.sink);
    Shell(std::string("pactl set-default-sink ") + row.sink);
    Shell(std::string("pactl set-sink-volume ") + row.sink + " 25%");
    EXPECT_TRUE(Eventually([&row] {
      float volume = 0;
      return ZevraGetVolume(Device(row.name), &volume) == 0 && std::abs(volume - 0.25F) < 1e-3 &&
             NamesIn(ZevraGetDeviceList)[0] == row.listed;
    }));
    Shell(std::string("pactl set-sink-volume ") + row.sink + " 100%");
  }
  Shell("pactl set-default-sink zevra_speakers");
}

TEST_F(Endpoints, TheDefaultIsTheServersAndPlays) {
  const NullSink other("zevra_other", "Zevra Other");
  Shell("pactl set-default-sink zevra_other");
  Shell("pactl set-sink-volume zevra_other 25%");
  float volume = 0;
  EXPECT_EQ(ZevraGetVolume(Device(), &volume), 0);
  EXPECT_NEAR(volume, 0.25F, 1e-4);
  Shell("pactl set-default-sink zevra_speakers");
  // The default is always tapped by loopback, which a source has not got.
  const Device source(nullptr, ZEVRA_FLOW_CAPTURE);
  EXPECT_EQ(source.Start(Recording()), ZEVRA_E_FAIL);
  EXPECT_EQ(ZevraStartPlay(source), ZEVRA_E_FAIL);
  // A monitor is no endpoint, not even as the default.
  Shell("pactl set-default-source zevra_speakers.monitor");
  EXPECT_TRUE(
      Eventually([] { return Device(nullptr, ZEVRA_FLOW_CAPTURE).Result() == ZEVRA_E_NOT_FOUND; }));
  Shell("pactl set-default-source zevra_microphone");
}

TEST_F(Endpoints, VolumesAreThoseOfTheMixer) {
  const struct {
    const char *what, *to;
    float volume;
  } settings[] = {
      {"volume", "30%", 0.3F},     {"volume", "0%", 0},
      {"volume", "150%", 1},       {"mute", "1", 1},
      {"volume", "75%", 0.75F},    {"mute", "0", 0.75F},
      {"volume", "20% 60%", 0.4F}, {"volume", "100%", 1},
  };
  for (const bool is_sink : {true, false}) {
    const Device device(is_sink ? u"Zevra Speakers" : u"Zevra Microphone", ZEVRA_FLOW_ALL);
    for (const auto& [what, to, wanted] : settings) {
      Shell(std::string("pactl set-") + (is_sink ? "sink-" : "source-") + what +
            (is_sink ? " zevra_speakers " : " zevra_microphone ") + to);
      float volume = -1;
      // PipeWire tells a new volume only after its graph has taken it.
      EXPECT_TRUE(Eventually([&, wanted = wanted] {
        return ZevraGetVolume(device, &volume) == 0 && std::abs(volume - wanted) < 1e-3;
      })) << what
          << to << is_sink << volume;
    }
  }
}

}  // namespace
}  // namespace zevra::test
