#include <fuzzer/FuzzedDataProvider.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <thread>

#include "builtin/builtin_audio.h"
#include "fuzz.h"
#include "log/process_logger.h"
#include "platform/applications.h"
#include "platform/linux/com/com.h"
#include "platform/result.h"
#include "stream/wave_format.h"
#include "zevra/zevra.h"

namespace {

// Eight times as fast as the machine's, so that an input hears more.
struct FastClock final : zevra::builtin::Clock {
  std::chrono::nanoseconds Now() const override {
    return 8 * std::chrono::steady_clock::now().time_since_epoch();
  }
};

const std::u16string kNames[] = {
    u"Speakers", u"", std::u16string(300, u'n'), u"\xD800 surrogate", u"Twice", u"twice",
    u"Slow",     u"M"};

std::vector<zevra::builtin::EndpointConfig> Endpoints() {
  std::vector<zevra::builtin::EndpointConfig> endpoints(std::size(kNames));
  for (std::size_t i = 0; i < endpoints.size(); ++i) endpoints[i].name = kNames[i];
  for (const auto& playing : {0U, 3U, 7U})
    endpoints[playing].signal = Melody(zevra::builtin::Tune::kOdeToJoy);
  endpoints[2].channel_mask = 0;
  endpoints[3].rate = 384'000;
  endpoints[3].channels = 8;
  endpoints[3].channel_mask = 0x63F;
  endpoints[4].packet_frames = 16;
  endpoints[6].rate = endpoints[6].packet_frames = 1;
  endpoints[7].flow = eCapture;
  endpoints[7].rate = 44'100;
  endpoints[7].channels = 1;
  endpoints[7].channel_mask = SPEAKER_FRONT_CENTER;
  return endpoints;
}

// What a callback does besides looking at its packet.
enum class Act { kNothing, kVolume, kPlay, kStop, kClose, kThrow, kMaxValue = kThrow };

struct Slot {
  std::mutex mutex;  // one thread at a time uses a handle
  ZevraHandle handle = nullptr;
  std::atomic<bool> may_call = false;
  Act act = Act::kNothing;
  std::atomic<std::uint32_t> block = 0;  // bytes of a frame, 0 where that is not known
};
std::array<Slot, 3> slots;

void ActOn(Slot& slot) {
  const std::unique_lock hold(slot.mutex, std::try_to_lock);
  if (!hold || slot.handle == nullptr) return;
  float volume = -1;
  switch (slot.act) {
    case Act::kVolume:
      Require(ZevraGetVolume(slot.handle, &volume) == 0 && volume == 1);
      break;
    case Act::kPlay:
      ZevraStartPlay(slot.handle);
      break;
    case Act::kStop:
      ZevraStopCapture(slot.handle);
      break;
    case Act::kClose:
      ZevraCloseDevice(std::exchange(slot.handle, nullptr));
      break;
    case Act::kThrow:
      throw std::runtime_error("a host's own");
    case Act::kNothing:
      break;
  }
}

template <int index>
void OnAudio(void* reserved, std::uint32_t silent, const std::uint8_t* data, std::uint32_t length) {
  Slot& slot = slots.at(index);
  Require(slot.may_call && reserved == nullptr && silent <= 1 &&
          (data == nullptr) == (length == 0));
  const std::uint32_t block = slot.block;
  Require(block == 0 || length % block == 0);
  std::uint32_t sum = 0;
  for (std::uint32_t at = 0; at < length; ++at) sum += data[at];
  static std::atomic<std::uint32_t> read;  // so that every byte is read
  read = sum;
  ActOn(slot);
}

constexpr std::array<ZevraCaptureCallback, 3> kCallbacks = {OnAudio<0>, OnAudio<1>, OnAudio<2>};

void Start(FuzzedDataProvider& choices, Slot& slot) {
  ZevraAudioFormat format{ZEVRA_SAMPLE_PCM, 1, 16, 16'000, 0, 16, 0};
  if (choices.ConsumeBool()) choices.ConsumeData(&format, sizeof(format));
  const bool null_format = choices.ConsumeIntegral<std::uint8_t>() == 0xFF;
  const auto callback = choices.ConsumeBool()
                            ? kCallbacks.at(static_cast<std::size_t>(&slot - slots.data()))
                            : nullptr;
  const Act act = choices.ConsumeEnum<Act>();
  // A capture that is to run on keeps its format; one that its callback stops may begin again.
  const bool ran = slot.handle != nullptr && slot.may_call.exchange(true);
  if (!ran) slot.act = act;
  slot.block = ran ? 0 : zevra::BlockBytes(format);
  const std::int32_t result =
      ZevraStartCapture(slot.handle, null_format ? nullptr : &format, callback, nullptr);
  if (slot.handle == nullptr) return Require(result == ZEVRA_E_HANDLE);
  if (null_format) return Require(result == ZEVRA_E_POINTER);
  Require(result == 0 || result == ZEVRA_E_FAIL || (ran && result == ZEVRA_E_NOT_STOPPED));
}

// After a close in the callback the rest of its packets may still come.
void End(Slot& slot, bool close) {
  const bool open = slot.handle != nullptr;
  Require((close ? ZevraCloseDevice : ZevraStopCapture)(slot.handle) == 0);
  if (open) slot.may_call = false;
  if (close) slot.handle = nullptr;
}

void Open(FuzzedDataProvider& choices, Slot& slot, int initialized) {
  if (slot.handle != nullptr || slot.may_call) return;  // or one that its callback has closed
  const std::size_t which = choices.ConsumeIntegralInRange<std::size_t>(0, std::size(kNames) + 1);
  std::u16string name = which < std::size(kNames) ? kNames[which] : u"S";
  for (int edits = choices.ConsumeIntegralInRange(0, 2); edits > 0 && !name.empty(); --edits)
    name.at(choices.ConsumeIntegralInRange<std::size_t>(0, name.size() - 1)) =
        choices.ConsumeIntegral<char16_t>();
  const bool by_default = which == std::size(kNames);
  const std::uint32_t flow = choices.ConsumeIntegral<std::uint8_t>() % 4;
  const std::int32_t result =
      ZevraOpenDevice(&slot.handle, by_default ? nullptr : name.c_str(), flow);
  Require((result == 0) == (slot.handle != nullptr) && (result == 0 || result < 0));
  if (initialized == 0) Require(result == ZEVRA_E_NOT_INITIALIZED);
  if (initialized > 0 && by_default) Require((result == 0) == (flow < 2));
}

void Look(FuzzedDataProvider& choices, Slot& slot, int initialized) {
  float volume = -1;
  Require(ZevraGetVolume(slot.handle, &volume) == (slot.handle != nullptr ? 0 : ZEVRA_E_HANDLE));
  Require(volume == (slot.handle != nullptr ? 1.0F : -1.0F));
  const auto list = std::make_unique<ZevraDeviceList>();
  const auto lists = choices.PickValueInArray(
      {ZevraGetDeviceList, ZevraGetInnerRecordDeviceList, ZevraGetOutRecordDeviceList});
  Require(lists(nullptr) == ZEVRA_E_POINTER);
  Require(lists(list.get()) == (initialized > 0 ? 0 : ZEVRA_E_NOT_INITIALIZED));
  Require(list->count <= ZEVRA_DEVICE_LIST_ROWS && (initialized > 0 || list->count == 0));
}

// What an input must leave as it was.
class Holdings {
 public:
  // Streams that were closed from inside their callback end by themselves.
  void RequireUnchanged() const {
    for (int wait = 0; Entries("/proc/self/task") > threads_; ++wait) {
      Require(wait < 5'000);
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    Require(Entries("/proc/self/fd") == descriptors_);
  }

 private:
  static long Entries(const char* folder) {
    return std::distance(std::filesystem::directory_iterator(folder), {});
  }

  const long threads_ = Entries("/proc/self/task");
  const long descriptors_ = Entries("/proc/self/fd");
};

}  // namespace

namespace zevra {

HRESULT CreateDeviceEnumerator(REFIID iid, void** object) {
  static const builtin::BuiltinAudio audio(Endpoints(), std::make_shared<FastClock>());
  return audio.CreateEnumerator(iid, object);
}

HRESULT FindApplication(LPCWSTR, IMMDevice**) { return ResultFromError(ERROR_NOT_FOUND); }

}  // namespace zevra

// Everything is logged, into a file that keeps being emptied.
extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  zevra::Log_Settings settings("fuzz_api_calls.log", "API calls");
  settings.values.level = 0xFFFFFFFF;
  settings.values.maxsize = 65'536;
  settings.values.overwrite = true;
  return zevra::srlog_create(settings);
}

// Calls in any order on three handles, from one thread and the callbacks. A byte says which.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const Holdings holdings;
  FuzzedDataProvider choices(data, size);
  int initialized = 0, silences = 0;
  for (int calls = 0; calls < 60 && choices.remaining_bytes() > 0; ++calls) {
    const auto call = choices.ConsumeIntegral<std::uint8_t>();
    Slot& slot = slots.at(call % slots.size());
    const std::lock_guard hold(slot.mutex);
    switch (call / slots.size() % 10) {
      case 0:
        Require(ZevraInitialize() == (initialized++ > 0 ? 1 : 0));
        break;
      case 1:
        // The last one waits for the handles.
        if (initialized > 1) Require(--initialized > 0 && ZevraUninitialize() == 0);
        break;
      case 2:
      case 3:
        Open(choices, slot, initialized);
        break;
      case 4:
        Start(choices, slot);
        break;
      case 5:
      case 6:
        End(slot, call / slots.size() % 10 == 6);
        break;
      case 7:
        Look(choices, slot, initialized);
        break;
      case 8:
        // Each costs up to half a second in its stop.
        if (silences++ < 2) ZevraStartPlay(slot.handle);
        if (silences > 2) Require(ZevraStopPlay(slot.handle) == 0);
        break;
      default:
        std::this_thread::sleep_for(std::chrono::milliseconds(call % 16));
    }
  }
  for (Slot& slot : slots) {
    const std::lock_guard hold(slot.mutex);
    End(slot, true);
  }
  holdings.RequireUnchanged();
  for (Slot& slot : slots) slot.may_call = false;
  for (; initialized > 0; --initialized) Require(ZevraUninitialize() == 0);
  return 0;
}
