#ifndef ZEVRA_TESTS_SUPPORT_SCRIPTED_PLATFORM_H
#define ZEVRA_TESTS_SUPPORT_SCRIPTED_PLATFORM_H

#include <atomic>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/com_object.h"
#include "support/replaceable_calls.h"

// A platform that follows a script: endpoints, streams and a resampler of the test's own, behind
// the same interfaces as the system's, and the system's kernel functions. Each call is recorded,
// and any one of them can be told to fail.

namespace zevra::test {

using WideString = std::basic_string<WCHAR>;

// Scripted objects that are alive. Code under test that loses a reference leaves one behind.
inline std::atomic<long> live_objects{0};

template <class... Interfaces>
class TrackedObject : public ComObject<Interfaces...> {
 protected:
  TrackedObject() { ++live_objects; }
  ~TrackedObject() override { --live_objects; }
};

// What a call that was told to fail gives: this result, or null with kFailureError as last error.
inline constexpr HRESULT kFailure = static_cast<HRESULT>(0x88890004);
inline constexpr DWORD kFailureError = 1450;

struct ScriptedEndpoint {
  WideString name;
  EDataFlow flow = eRender;
  VARTYPE name_type = VT_LPWSTR;
};

struct Script {
  std::vector<ScriptedEndpoint> endpoints{{ZEVRA_WIDE("Speakers")}};
  // Stereo float at 48 kHz, as most endpoints mix.
  WAVEFORMATEXTENSIBLE mix_format = {{WAVE_FORMAT_EXTENSIBLE, 2, 48'000, 384'000, 8, 32, 22},
                                     {32},
                                     3,
                                     KSDATAFORMAT_SUBTYPE_IEEE_FLOAT};
  WAVEFORMATEXTENSIBLE closest_format = mix_format;
  bool mix_format_is_supported = true;
  REFERENCE_TIME device_period = 100'000;
  std::vector<DWORD> packets;            // the flags of each, which has 480 frames
  std::vector<std::vector<BYTE>> pulls;  // what the transform gives for each packet, in turn
  DWORD input_status = MFT_INPUT_STATUS_ACCEPT_DATA;
  UINT32 buffer_frames = 48'000;
  std::vector<UINT32> paddings;  // one for each GetCurrentPadding, then 0
  bool sleep_for_real = false;   // otherwise Sleep only lets other threads run
};

// The latest one stands, and begins with the script of the one before. The script is written before
// the library is called and read by its threads.
class ScriptedPlatform : public Script {
 public:
  ScriptedPlatform();
  ~ScriptedPlatform();
  ScriptedPlatform(const ScriptedPlatform&) = delete;
  ScriptedPlatform& operator=(const ScriptedPlatform&) = delete;

  // Makes one call fail: "host:" for the thread that made this object, "stream:" for any other,
  // then the name as in the journal. Occurrences count from 1.
  void Fail(const std::string& call, int occurrence = 1);

  // The calls so far: of one side in their order, without the side's prefix.
  std::vector<std::string> Journal(const std::string& side) const;
  // How often each call has been made, by its name with prefix.
  std::map<std::string, int> Counts() const;
  // Handles made and not closed.
  std::atomic<int> open_handles{0};

  // For the scripted objects: records a call and tells whether it is to fail.
  bool Fails(const std::string& name, const std::string& detail = {});

 private:
  ScriptedPlatform* const previous_;
  const std::thread::id host_ = std::this_thread::get_id();
  mutable std::mutex mutex_;
  std::map<std::string, int> counts_;
  std::map<std::string, int> failures_;
  std::vector<std::pair<std::string, std::string>> journal_;
  const ClassRegistration endpoint_class_;
  const ClassRegistration resampler_class_;
};

// The one that stands.
ScriptedPlatform& CurrentScript();

// How the journal tells of an attribute that a media type was given.
std::string Attribute(REFGUID key, UINT32 value);
std::string Attribute(REFGUID key, REFGUID value);

// The scripted classes and functions, defined with their objects.
HRESULT CreateScriptedEnumerator(REFIID iid, void** object);
HRESULT CreateScriptedResampler(REFIID iid, void** object);
HRESULT CreateScriptedMediaType(IMFMediaType** type);
HRESULT CreateScriptedSample(IMFSample** sample);
HRESULT CreateScriptedBuffer(DWORD capacity, IMFMediaBuffer** buffer);

}  // namespace zevra::test

#endif
