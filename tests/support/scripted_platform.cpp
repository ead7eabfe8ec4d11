#include "support/scripted_platform.h"

#include <utility>

#include "platform/api.h"

namespace zevra::test {
namespace {

ScriptedPlatform* current = nullptr;

// Stereo float at 48 kHz, as most endpoints mix.
WAVEFORMATEXTENSIBLE FloatStereo() {
  return {{WAVE_FORMAT_EXTENSIBLE, 2, 48'000, 384'000, 8, 32, 22},
          {32},
          3,
          KSDATAFORMAT_SUBTYPE_IEEE_FLOAT};
}

}  // namespace

ScriptedPlatform& CurrentScript() { return *current; }

ScriptedPlatform::ScriptedPlatform()
    : previous_(std::exchange(current, this)),
      endpoints{ScriptedEndpoint{ZEVRA_WIDE("Speakers")}},
      mix_format(FloatStereo()),
      closest_format(FloatStereo()) {
  classes_.push_back(
      std::make_unique<ClassRegistration>(CLSID_MMDeviceEnumerator, ScriptedEndpoints(*this)));
  classes_.push_back(
      std::make_unique<ClassRegistration>(CLSID_CResamplerMediaObject, ScriptedResampler(*this)));
  ReplaceOperations(&ScriptedOperations());
}

ScriptedPlatform::~ScriptedPlatform() {
  current = previous_;
  if (previous_ == nullptr) ReplaceOperations(nullptr);
}

void ScriptedPlatform::Fail(const std::string& call, int occurrence) {
  const std::lock_guard hold(mutex_);
  failures_[call] = occurrence;
}

std::string ScriptedPlatform::Side() const {
  return std::this_thread::get_id() == host_ ? "host:" : "stream:";
}

bool ScriptedPlatform::Fails(const std::string& name, const std::string& detail) {
  const std::string side = Side();
  const std::string call = side + name;
  const std::lock_guard hold(mutex_);
  journal_.emplace_back(side, detail.empty() ? name : name + " " + detail);
  const int occurrence = ++counts_[call];
  const auto failure = failures_.find(call);
  return failure != failures_.end() && failure->second == occurrence;
}

bool ScriptedPlatform::FailsWithLastError(const std::string& name, const std::string& detail) {
  const bool fails = Fails(name, detail);
  if (fails) ::SetLastError(kFailureError);
  return fails;
}

void ScriptedPlatform::AddHandle(HANDLE handle, const std::string& maker) {
  const std::lock_guard hold(mutex_);
  open_handles_[handle] = maker;
}

void ScriptedPlatform::RemoveHandle(HANDLE handle) {
  const std::lock_guard hold(mutex_);
  open_handles_.erase(handle);
}

std::string ScriptedPlatform::KindOfHandle(HANDLE handle) const {
  const std::lock_guard hold(mutex_);
  const auto found = open_handles_.find(handle);
  return found != open_handles_.end() ? found->second : "closed";
}

int ScriptedPlatform::OpenHandles() const {
  const std::lock_guard hold(mutex_);
  return static_cast<int>(open_handles_.size());
}

std::vector<std::string> ScriptedPlatform::Journal(const std::string& side) const {
  const std::lock_guard hold(mutex_);
  std::vector<std::string> calls;
  for (const auto& [caller, call] : journal_)
    if (caller == side) calls.push_back(call);
  return calls;
}

std::map<std::string, int> ScriptedPlatform::Counts() const {
  const std::lock_guard hold(mutex_);
  return counts_;
}

}  // namespace zevra::test
