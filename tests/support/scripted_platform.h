#ifndef ZEVRA_TESTS_SUPPORT_SCRIPTED_PLATFORM_H
#define ZEVRA_TESTS_SUPPORT_SCRIPTED_PLATFORM_H

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/api.h"
#include "support/replaceable_calls.h"

// A platform that follows a script: endpoints, streams and a resampler of the test's own, behind
// the same interfaces as the system's, and the system's kernel functions with a tap. Every call
// goes into a journal, and any one of them can be told to fail.

namespace zevra::test {

using WideString = std::basic_string<WCHAR>;

// What a call that was told to fail gives: this result, or null with kFailureError as last error.
inline constexpr HRESULT kFailure = static_cast<HRESULT>(0x88890004);
inline constexpr DWORD kFailureError = 1450;

struct ScriptedEndpoint {
  WideString name;
  EDataFlow flow = eRender;
  VARTYPE name_type = VT_LPWSTR;
};

struct ScriptedPacket {
  UINT32 frames = 0;
  DWORD flags = 0;
  std::vector<BYTE> bytes;
};

// The latest one stands, the one before again once it is gone. The script is written before the
// library is called and read by its threads.
class ScriptedPlatform {
  ScriptedPlatform* const previous_;

 public:
  ScriptedPlatform();
  ~ScriptedPlatform();
  ScriptedPlatform(const ScriptedPlatform&) = delete;
  ScriptedPlatform& operator=(const ScriptedPlatform&) = delete;

  // The script.
  std::vector<ScriptedEndpoint> endpoints;
  WAVEFORMATEXTENSIBLE mix_format;
  WAVEFORMATEXTENSIBLE closest_format;
  bool mix_format_is_supported = true;
  REFERENCE_TIME device_period = 100'000;
  std::vector<ScriptedPacket> packets;
  std::vector<std::vector<BYTE>> pulls;  // what the transform gives for each packet, in turn
  DWORD input_status = MFT_INPUT_STATUS_ACCEPT_DATA;
  UINT32 buffer_frames = 48'000;
  std::vector<UINT32> paddings;  // one for each GetCurrentPadding, then 0
  bool sleep_for_real = false;   // otherwise Sleep only lets other threads run

  // Makes one call fail: "host:" for the thread that made this object, "stream:" for any other,
  // then the name as in the journal. Occurrences count from 1.
  void Fail(const std::string& call, int occurrence = 1);

  // The calls so far: of one side in their order, without the side's prefix.
  std::vector<std::string> Journal(const std::string& side) const;
  // How often each call has been made, by its name with prefix.
  std::map<std::string, int> Counts() const;
  // Handles made and not closed.
  int OpenHandles() const;

  // For the scripted objects.
  bool Fails(const std::string& name, const std::string& detail = {});
  bool FailsWithLastError(const std::string& name, const std::string& detail = {});
  void AddHandle(HANDLE handle, const std::string& maker);
  void RemoveHandle(HANDLE handle);
  // The name of the call that made it.
  std::string KindOfHandle(HANDLE handle) const;

 private:
  std::string Side() const;

  const std::thread::id host_ = std::this_thread::get_id();
  mutable std::mutex mutex_;
  std::map<std::string, int> counts_;
  std::map<std::string, int> failures_;
  std::vector<std::pair<std::string, std::string>> journal_;
  std::map<HANDLE, std::string> open_handles_;
  std::vector<std::unique_ptr<ClassRegistration>> classes_;
};

// The scripted classes; defined with their objects.
ClassFactory ScriptedEndpoints(ScriptedPlatform& script);
ClassFactory ScriptedResampler(ScriptedPlatform& script);
// The system's operations with the tap of the ScriptedPlatform that stands.
const Operations& ScriptedOperations();
ScriptedPlatform& CurrentScript();

}  // namespace zevra::test

#endif
