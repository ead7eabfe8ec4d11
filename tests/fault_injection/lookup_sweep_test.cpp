// Endpoints by default, by name and in lists, and the volume: results, exact lines, what is
// written.

#include <gmock/gmock.h>

#include <algorithm>
#include <clocale>
#include <cstring>
#include <thread>

#include "support/host.h"

namespace zevra::test {
namespace {

WideString Wide(const char* text) { return {text, text + std::strlen(text)}; }

constexpr std::int32_t kFailed = kFailure;
const std::string kOpenFailed = "::ZevraOpenDevice | error | OpenDevice ";

class LookupSweep : public ScriptedHost {};

TEST_F(LookupSweep, OpenFailures) {
  const struct {
    bool by_name;
    std::string call;
    int occurrence;
    const char* scope;  // of the line ahead of the exported function's own, if there is one
    const char* tail = "";
  } cases[] = {
      {false, "CoCreateInstance", 1, "GetDefaultDevice"},
      {false, "GetDefaultAudioEndpoint", 1, "GetDefaultDevice"},
      {false, "OpenPropertyStore", 1, "GetSpecifyDevice"},
      {false, "GetValue", 1, nullptr},
      {true, "CoCreateInstance", 1, "GetSpecifyDevice"},
      {true, "EnumAudioEndpoints", 1, "GetSpecifyDevice", ", dataFlow 0"},
      {true, "GetCount", 1, "GetSpecifyDevice"},
      {true, "Item", 2, "GetSpecifyDevice"},  // behind the match
      {true, "OpenPropertyStore", 2, "GetSpecifyDevice"},
      {true, "GetValue", 2, nullptr},
  };
  const WideString name = Wide("One");
  for (const auto& failure : cases) {
    SCOPED_TRACE(failure.call);
    ScriptedPlatform failing;
    failing.endpoints = {{Wide("one")}, {Wide("two")}};
    const bool creates = failure.call == "CoCreateInstance";
    failing.Fail("host:" + failure.call + (creates ? "(enumerator)" : ""), failure.occurrence);
    log.Clear();
    int untouched = 0;
    auto* handle = reinterpret_cast<ZevraHandle>(&untouched);
    EXPECT_EQ(ZevraOpenDevice(&handle, failure.by_name ? name.c_str() : nullptr, ZEVRA_FLOW_RENDER),
              kFailed);
    EXPECT_EQ(handle, reinterpret_cast<ZevraHandle>(&untouched));
    Lines expected = {kOpenFailed + "88890004"};
    if (failure.scope != nullptr)
      expected.insert(expected.begin(), std::string("ZevraImpl::") + failure.scope + " | error | " +
                                            failure.call + " 88890004" + failure.tail);
    EXPECT_EQ(log.Lines(), expected);
  }
}

// By name, a capture's loopback flag follows the argument, not the kind of endpoint found; the
// default endpoint of either flow is heard by loopback.
TEST_F(LookupSweep, Names) {
  // Windows compares letters outside ASCII by the host's locale.
  std::setlocale(LC_CTYPE, "");  // NOLINT(concurrency-mt-unsafe): no other thread runs
  const WideString accented = {0x00C9, 0x0410, 0x0131};  // É, Cyrillic A, dotless i
  const WideString accented_lower = {0x00E9, 0x0430, 0x0131};
  const WideString pair = {'a', 0xD83D, 0xDD0A};
  const WideString other_pair = {'a', 0xD83D, 0xDD0B};
  const WideString long_name(300, 'x');
  const WideString a = Wide("a"), speakers = Wide("USB Speakers"), microphone = Wide("Microphone");
  const struct {
    const char* what;
    std::vector<ScriptedEndpoint> endpoints;
    WideString wanted;  // empty for the default
    std::uint32_t flow;
    std::int32_t result;
  } cases[] = {
      {"letter case", {{speakers}}, Wide("usb sPEAKERS"), 0, 0},
      {"prefix", {{speakers}}, Wide("USB Speaker"), 0, ZEVRA_E_NOT_FOUND},
      {"two of a name", {{a}, {Wide("b")}, {Wide("A")}}, a, 0, ZEVRA_E_UNEXPECTED},
      {"two of another name", {{a}, {Wide("b")}, {Wide("b")}}, a, 0, 0},
      {"letters outside ASCII", {{accented}}, accented_lower, 0, 0},
      {"surrogate pairs", {{other_pair}, {pair}}, pair, 0, 0},
      {"300 units", {{long_name}}, long_name, 0, 0},
      {"wrong type", {{a}, {Wide("b"), eRender, VT_UI4}}, a, 0, ZEVRA_E_UNEXPECTED},
      {"other flow", {{a}, {microphone, eCapture}}, microphone, 0, ZEVRA_E_NOT_FOUND},
      {"capture", {{a}, {microphone, eCapture}}, microphone, 1, 0},
      {"both flows", {{a}, {microphone, eCapture}}, microphone, 2, 0},
      {"one of each flow", {{a}, {a, eCapture}}, a, 2, ZEVRA_E_UNEXPECTED},
      {"default", {{microphone, eCapture}}, {}, 1, 0},
  };
  const ZevraAudioFormat format = SpeechFormat();
  for (const auto& item : cases) {
    SCOPED_TRACE(item.what);
    ScriptedPlatform other;
    other.endpoints = item.endpoints;
    log.Clear();
    ZevraHandle handle = nullptr;
    const ZevraChar* const name = item.wanted.empty() ? nullptr : item.wanted.c_str();
    EXPECT_EQ(ZevraOpenDevice(&handle, name, item.flow), item.result);
    Lines expected;
    if (item.result == ZEVRA_E_NOT_FOUND)
      expected = {"ZevraImpl::GetSpecifyDevice | error | No Device Found!",
                  kOpenFailed + "80070490"};
    else if (item.result != 0)
      expected = {kOpenFailed + "8000ffff"};
    EXPECT_EQ(log.Lines(), expected);
    ASSERT_EQ(handle != nullptr, item.result == 0);
    if (handle == nullptr) continue;
    EXPECT_EQ(ZevraStartCapture(handle, &format, nullptr, nullptr), 0);
    EXPECT_EQ(ZevraCloseDevice(handle), 0);
    const char* const call =
        item.flow == 0 || name == nullptr ? "Initialize 0 131072 " : "Initialize 0 0 ";
    EXPECT_THAT(other.Journal("stream:"), testing::Contains(testing::StartsWith(call)));
  }
  std::setlocale(LC_CTYPE, "C");  // NOLINT(concurrency-mt-unsafe)
}

std::vector<WideString> Rows(int first, int last) {
  std::vector<WideString> rows;
  for (int number = first; number <= last; ++number)
    rows.push_back(Wide("e") + WCHAR('0' + number));
  return rows;
}

std::vector<ScriptedEndpoint> Numbered(int count) {
  std::vector<ScriptedEndpoint> endpoints;
  for (const WideString& name : Rows(1, count)) endpoints.push_back({name});
  return endpoints;
}

struct ListCase {
  const char* what;
  std::vector<ScriptedEndpoint> endpoints;
  std::vector<WideString> rows;
  std::int32_t result = 0;
  const char* call = "none";  // the one that fails, and when
  int occurrence = 1;
  const char* line = nullptr;  // what the log says of it
  std::int32_t (*list)(ZevraDeviceList*) = ZevraGetDeviceList;
};

std::vector<ListCase> ListCases() {
  const WideString full(255, 'x'), over(256, 'x'), pair = {0xD83D, 0xDD0A};
  const WideString split = WideString(254, 'x') + pair;  // over the row's end
  const WideString fits = WideString(253, 'x') + pair;
  const std::vector<ScriptedEndpoint> wrong_type = {{Wide("e1")}, {Wide("b"), eRender, VT_UI4}};
  const std::vector<ScriptedEndpoint> both_flows = {{Wide("e1")}, {Wide("e2"), eCapture}};
  return {
      {"none", {}, {}},
      {"both flows", both_flows, Rows(1, 2)},
      {"render", both_flows, Rows(1, 1), 0, "none", 1, nullptr, ZevraGetInnerRecordDeviceList},
      {"capture", both_flows, Rows(2, 2), 0, "none", 1, nullptr, ZevraGetOutRecordDeviceList},
      {"nine, the ninth at fault", Numbered(9), Rows(1, 8), 0, "Item", 9},
      {"unreadable first", Numbered(9), Rows(2, 9), 0, "GetValue", 1, "GetValue 88890004"},
      {"the last unreadable", Numbered(3), Rows(1, 2), kFailed, "OpenPropertyStore", 3,
       "OpenPropertyStore 88890004"},
      {"the second missing", Numbered(2), Rows(1, 1), kFailed, "Item", 2, "Item 88890004"},
      {"wrong type", wrong_type, Rows(1, 1), 0, "none", 1,
       "PKEY_Device_FriendlyName variant type is 19 - expected VT_LPWSTR"},
      {"no enumerator",
       Numbered(2),
       {},
       kFailed,
       "CoCreateInstance(enumerator)",
       1,
       "CoCreateInstance 88890004"},
      {"no collection",
       Numbered(2),
       {},
       kFailed,
       "EnumAudioEndpoints",
       1,
       "EnumAudioEndpoints 88890004"},
      {"no count", Numbered(2), {}, kFailed, "GetCount", 1, "GetCount 88890004"},
      {"names at the row's end",
       {{full}, {over}, {split}, {fits}},
       {full, full, WideString(254, 'x'), fits}},
  };
}

TEST_F(LookupSweep, Lists) {
  for (const ListCase& item : ListCases()) {
    SCOPED_TRACE(item.what);
    ScriptedPlatform other;
    other.endpoints = item.endpoints;
    other.Fail(std::string("host:") + item.call, item.occurrence);
    log.Clear();
    ZevraDeviceList list;
    std::memset(&list, 0xAB, sizeof list);
    EXPECT_EQ(item.list(&list), item.result);
    Lines expected;
    if (item.line != nullptr)
      expected.push_back(std::string("::ZevraGetDeviceList | error | ") + item.line);
    EXPECT_EQ(log.Lines(), expected);
    ASSERT_EQ(list.count, item.rows.size());
    for (std::size_t row = 0; row < item.rows.size(); ++row)
      EXPECT_EQ(WideString(list.names[row]), item.rows[row]);
    const auto* const unused = reinterpret_cast<const BYTE*>(list.names + item.rows.size());
    const auto* const end = reinterpret_cast<const BYTE*>(list.names + ZEVRA_DEVICE_LIST_ROWS);
    EXPECT_TRUE(std::all_of(unused, end, [](BYTE byte) { return byte == 0xAB; }));
  }
}

TEST_F(LookupSweep, Volume) {
  ZevraHandle const handle = OpenDefault();
  float volume = -1;
  EXPECT_EQ(ZevraGetVolume(handle, &volume), 0);
  EXPECT_EQ(volume, 0.5F);
  const std::pair<const char*, const char*> failures[] = {
      {"host:Activate", "ZevraImpl::getVolume | error | Activate 88890004"},
      {"host:GetMasterVolumeLevelScalar", "ZevraImpl::getVolume | error | GetService 88890004"}};
  for (const auto& [call, line] : failures) {
    script.Fail(call, script.Counts()[call] + 1);
    log.Clear();
    volume = -1;
    EXPECT_EQ(ZevraGetVolume(handle, &volume), kFailed);
    EXPECT_EQ(volume, -1);
    EXPECT_EQ(log.Lines(), (Lines{line, "::ZevraGetVolume | error | getVolume 88890004"}));
  }
  EXPECT_EQ(ZevraCloseDevice(handle), 0);
}

// What the host gets for arguments that cannot be, and without COM on its thread.
TEST_F(LookupSweep, BadArguments) {
  ZevraHandle const handle = OpenDefault();
  const ZevraAudioFormat format = SpeechFormat();
  float volume = 0;
  EXPECT_EQ(ZevraOpenDevice(nullptr, nullptr, 0), ZEVRA_E_POINTER);
  EXPECT_EQ(ZevraGetDeviceList(nullptr), ZEVRA_E_POINTER);
  EXPECT_EQ(log.Lines(), (Lines{"::ZevraOpenDevice | error | OpenDevice 80004003",
                                "::ZevraGetDeviceList | error | list 80004003"}));
  EXPECT_EQ(ZevraStartCapture(handle, nullptr, nullptr, nullptr), ZEVRA_E_POINTER);
  EXPECT_EQ(ZevraStartCapture(nullptr, &format, nullptr, nullptr), ZEVRA_E_HANDLE);
  EXPECT_EQ(ZevraStartPlay(nullptr), ZEVRA_E_HANDLE);
  EXPECT_EQ(ZevraGetVolume(nullptr, &volume), ZEVRA_E_HANDLE);
  EXPECT_EQ(ZevraGetVolume(handle, nullptr), ZEVRA_E_POINTER);
  for (const auto stop : {ZevraStopCapture, ZevraStopPlay, ZevraCloseDevice})
    EXPECT_EQ(stop(nullptr), 0);
  EXPECT_EQ(ZevraCloseDevice(handle), 0);

  std::thread([] {
    ZevraHandle unopened = nullptr;
    EXPECT_EQ(ZevraOpenDevice(&unopened, nullptr, 0), ZEVRA_E_NOT_INITIALIZED);
  }).join();

  EXPECT_EQ(ZevraInitialize(), ZEVRA_ALREADY_INITIALIZED);
  log.Clear();
  script.Fail("host:CoInitialize", 3);
  EXPECT_EQ(ZevraInitialize(), kFailed);
  EXPECT_EQ(log.Lines(), Lines{"::ZevraInitialize | error | 88890004"});
  EXPECT_EQ(ZevraUninitialize(), 0);
  EXPECT_EQ(script.Counts()["host:CoUninitialize"], 1);
}

}  // namespace
}  // namespace zevra::test
