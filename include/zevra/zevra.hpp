#ifndef ZEVRA_ZEVRA_HPP
#define ZEVRA_ZEVRA_HPP

// zevra for C++17 and later, on top of the C interface. Nothing to link but the library itself.
//
//     zevra::Device speakers;  // what the machine plays
//     zevra::Silence awake(speakers);
//     zevra::Capture tap(speakers, zevra::MakeFormat(16000, 1, zevra::Sample::kInt16),
//                        [&](const zevra::Packet& packet) { ... });
//
// Failures are thrown as zevra::Error. Names are UTF-8. The library is initialised on each thread
// that opens or lists endpoints, until that thread ends; objects must not outlive main(), nor the
// last of these threads. Use an object, and what was made from the same Device, from one thread at
// a time.

#include <zevra/zevra.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace zevra {

// A failed call. what() names the call and the result.
class Error : public std::runtime_error {
 public:
  Error(const std::string& call, std::int32_t result)
      : std::runtime_error(call + ": " + Text(result)), result_(result) {}

  // As zevra.h describes it: negative, or the positive error number of a thread's creation.
  std::int32_t Result() const noexcept { return result_; }

 private:
  static std::string Text(std::int32_t result) {
    if (result > 0) return "system error " + std::to_string(result);
    char code[16];
    std::snprintf(code, sizeof code, "0x%08X", static_cast<unsigned>(result));
    constexpr std::pair<std::int32_t, const char*> kNames[] = {
        {ZEVRA_E_POINTER, "ZEVRA_E_POINTER"},
        {ZEVRA_E_FAIL, "ZEVRA_E_FAIL"},
        {ZEVRA_E_UNEXPECTED, "ZEVRA_E_UNEXPECTED"},
        {ZEVRA_E_HANDLE, "ZEVRA_E_HANDLE"},
        {ZEVRA_E_OUTOFMEMORY, "ZEVRA_E_OUTOFMEMORY"},
        {ZEVRA_E_INVALIDARG, "ZEVRA_E_INVALIDARG"},
        {ZEVRA_E_NOT_FOUND, "ZEVRA_E_NOT_FOUND"},
        {ZEVRA_E_NOT_INITIALIZED, "ZEVRA_E_NOT_INITIALIZED"},
        {ZEVRA_E_DEVICE_INVALIDATED, "ZEVRA_E_DEVICE_INVALIDATED"},
        {ZEVRA_E_NOT_STOPPED, "ZEVRA_E_NOT_STOPPED"},
        {ZEVRA_E_SERVICE_NOT_RUNNING, "ZEVRA_E_SERVICE_NOT_RUNNING"},
    };
    for (const auto& [value, name] : kNames)
      if (value == result) return std::string(name) + " (" + code + ")";
    return code;
  }

  std::int32_t result_;
};

enum class Flow : std::uint32_t {
  kRender = ZEVRA_FLOW_RENDER,
  kCapture = ZEVRA_FLOW_CAPTURE,
  kAll = ZEVRA_FLOW_ALL,
};

struct Endpoint {
  std::string name;
  Flow flow = Flow::kRender;
};

enum class Sample { kUInt8, kInt16, kInt24, kInt32, kFloat32 };

// rate: frames per second. mask: speaker positions, 0 for the converter's choice.
inline ZevraAudioFormat MakeFormat(std::uint32_t rate, std::uint16_t channels, Sample sample,
                                   std::uint32_t mask = 0) {
  constexpr std::uint16_t kBits[] = {8, 16, 24, 32, 32};
  const std::uint16_t bits = kBits[static_cast<std::size_t>(sample)];
  const std::int32_t kind = sample == Sample::kFloat32 ? ZEVRA_SAMPLE_FLOAT : ZEVRA_SAMPLE_PCM;
  return {kind, channels, bits, rate, mask, bits, 0};
}

// What one call of the callback receives.
struct Packet {
  const std::uint8_t* data;  // null if the packet gave no output; valid until the callback returns
  std::size_t bytes;         // whole frames
  std::size_t frames;
  bool silent;  // the platform flagged it as silence
};

namespace detail {

// What is no character becomes U+FFFD.
inline std::basic_string<ZevraChar> ToUtf16(std::string_view text) {
  constexpr char32_t kLeast[] = {0, 0x80, 0x800, 0x10000};
  std::size_t at = 0;
  const auto byte = [&] { return at < text.size() ? static_cast<std::uint8_t>(text[at]) : 0U; };
  std::basic_string<ZevraChar> out;
  while (at < text.size()) {
    const unsigned lead = byte();
    const int more = lead > 0xF4 ? 0 : (lead >= 0xC2) + (lead >= 0xE0) + (lead >= 0xF0);
    char32_t c = more > 0 ? lead & (0x3FU >> more) : lead < 0x80 ? lead : 0xFFFD;
    int left = more;
    for (++at; left > 0 && (byte() & 0xC0U) == 0x80; --left, ++at) c = c << 6U | (byte() & 0x3FU);
    if (left > 0 || c < kLeast[more] || c > 0x10FFFF || (c & ~0x7FFU) == 0xD800) c = 0xFFFD;
    if (c >= 0x10000) out += static_cast<ZevraChar>(0xD7C0 + (c >> 10U));
    out += static_cast<ZevraChar>(c < 0x10000 ? c : 0xDC00 + (c & 0x3FFU));
  }
  return out;
}

// Half a pair, such as at the end of a name that the library cut, becomes U+FFFD.
inline std::string ToUtf8(const ZevraChar* text) {
  constexpr char32_t kLeads[] = {0, 0xC0, 0xE0, 0xF0};
  std::string out;
  while (char32_t c = *text++) {
    if ((c & 0xFC00U) == 0xD800 && (*text & 0xFC00U) == 0xDC00)
      c = 0x10000 + ((c - 0xD800) << 10U) + (*text++ - 0xDC00U);
    else if ((c & 0xF800U) == 0xD800)
      c = 0xFFFD;
    const int more = (c >= 0x80) + (c >= 0x800) + (c >= 0x10000);
    out += static_cast<char>(kLeads[more] | (c >> (6 * more)));
    for (int i = more; i-- > 0;) out += static_cast<char>(0x80U | ((c >> (6 * i)) & 0x3FU));
  }
  return out;
}

inline void InitializeThread() {
  struct Initialization {
    Initialization() : result(ZevraInitialize()) {
      // A thread whose COM somebody else initialised for many threads does as well.
      if (result < 0 && result != ZEVRA_E_CHANGED_MODE) throw Error("ZevraInitialize", result);
    }
    ~Initialization() {
      if (result >= 0) ZevraUninitialize();
    }
    const std::int32_t result;
  };
  thread_local const Initialization initialization;
}

// An open handle, shared by a device and its capture: the last of them closes it.
struct Handle {
  Handle(std::optional<std::string> endpoint, Flow endpoint_flow)
      : name(std::move(endpoint)), flow(endpoint_flow) {
    InitializeThread();
    const auto wide = ToUtf16(name.value_or(""));
    const std::int32_t result =
        ZevraOpenDevice(&handle, name ? wide.c_str() : nullptr, static_cast<std::uint32_t>(flow));
    if (result < 0) throw Error("ZevraOpenDevice", result);
  }
  ~Handle() { ZevraCloseDevice(handle); }

  const std::optional<std::string> name;  // none for the default endpoint
  const Flow flow;
  ZevraHandle handle = nullptr;
  // The Slot that the handle was started for last, to tell it from earlier ones.
  std::atomic<const void*> capture{nullptr};
};

// The library passes nothing of the host's to a callback, so each running capture needs a function
// of its own, and this is what that function knows.
struct Slot {
  ZevraCaptureCallback function = nullptr;
  std::atomic<bool> taken{false};
  std::atomic<bool> stopped{false};
  std::atomic<std::thread::id> inside{};  // who runs the callback, if anybody does
  std::function<void(const Packet&)> on_packet;
  std::exception_ptr failure;
  std::shared_ptr<Handle> device;
  ZevraAudioFormat format{};

  void Deliver(std::uint32_t silent, const std::uint8_t* data, std::uint32_t bytes) noexcept {
    if (stopped.load(std::memory_order_acquire)) return;
    inside.store(std::this_thread::get_id(), std::memory_order_relaxed);
    const std::size_t frame_bytes = std::size_t{format.channels} * format.bits_per_sample / 8;
    try {
      on_packet({data, bytes, bytes == 0 ? 0 : bytes / frame_bytes, silent != 0});
    } catch (...) {
      failure = std::current_exception();
      stopped.store(true, std::memory_order_release);
    }
    inside.store({}, std::memory_order_relaxed);
  }

  // No call comes any more, but for one that goes on: false if that is the caller's own.
  bool End() {
    stopped.store(true, std::memory_order_release);
    // Unless a later capture has taken the handle over: it has waited for this one's thread.
    if (device->capture == this) ZevraStopCapture(device->handle);
    return inside.load(std::memory_order_relaxed) != std::this_thread::get_id();
  }
};

struct EndSlot {
  void operator()(Slot* slot) const {
    const bool has_ended = slot->End();
    slot->device.reset();
    // The function runs and its thread may call once more: nobody gets this slot again.
    if (!has_ended) return;
    slot->on_packet = nullptr;
    slot->failure = nullptr;
    slot->taken.store(false, std::memory_order_release);
  }
};

}  // namespace detail

// The active endpoints, at most 8 of each flow: those that play first.
inline std::vector<Endpoint> Endpoints(Flow flow = Flow::kAll) {
  detail::InitializeThread();
  std::vector<Endpoint> endpoints;
  const auto list = std::make_unique<ZevraDeviceList>();
  for (const Flow one : {Flow::kRender, Flow::kCapture}) {
    if (flow != Flow::kAll && flow != one) continue;
    const std::int32_t result = one == Flow::kRender ? ZevraGetInnerRecordDeviceList(list.get())
                                                     : ZevraGetOutRecordDeviceList(list.get());
    // An endpoint that could not be asked does not hide the others.
    if (result < 0 && list->count == 0) throw Error("ZevraGetDeviceList", result);
    for (std::uint32_t row = 0; row < list->count; ++row)
      endpoints.push_back({detail::ToUtf8(list->names[row]), one});
  }
  return endpoints;
}

// An open endpoint. Copies share it; it is closed with the last of them and of its captures.
class Device {
 public:
  // The default endpoint that plays.
  Device() : handle_(std::make_shared<detail::Handle>(std::nullopt, Flow::kRender)) {}
  // The full name, compared without case. An endpoint that plays is captured by loopback.
  explicit Device(std::string name, Flow flow = Flow::kRender)
      : handle_(std::make_shared<detail::Handle>(std::move(name), flow)) {}
  explicit Device(const Endpoint& endpoint) : Device(endpoint.name, endpoint.flow) {}

  // 0.0 to 1.0, on the scale of the system's mixer.
  float Volume() const {
    float volume = 0;
    const std::int32_t result = ZevraGetVolume(handle_->handle, &volume);
    if (result < 0) throw Error("ZevraGetVolume", result);
    return volume;
  }

 private:
  template <std::size_t>
  friend class BasicCapture;
  friend class Silence;
  std::shared_ptr<detail::Handle> handle_;
};

// Silence that plays on the device's endpoint, so that a loopback capture receives packets also
// while nothing else plays. It has a handle of its own, because only closing a handle leaves the
// silence of all others alone; make it right after a device of the default endpoint, because that
// is looked up once more. The end takes up to half a second.
class Silence {
 public:
  explicit Silence(const Device& device)
      : handle_(std::make_unique<detail::Handle>(device.handle_->name, device.handle_->flow)) {
    const std::int32_t result = ZevraStartPlay(handle_->handle);
    if (result != 0) throw Error("ZevraStartPlay", result);
  }

 private:
  std::unique_ptr<detail::Handle> handle_;
};

// A running capture, one at a time for each device. PoolSize is how many of one type can run at
// once in the process; one more is an Error.
//
// The capture thread runs the callback; zevra.h says what it may do. Nothing is allocated there but
// by the callback. What the callback throws ends its calls, and Stop() throws it.
template <std::size_t PoolSize>
class BasicCapture {
 public:
  BasicCapture(const Device& device, const ZevraAudioFormat& format,
               std::function<void(const Packet&)> on_packet)
      : slot_(TakeSlot(std::make_index_sequence<PoolSize>())) {
    slot_->stopped.store(false, std::memory_order_relaxed);
    slot_->on_packet = std::move(on_packet);
    slot_->format = format;
    slot_->device = device.handle_;
    detail::Handle& handle = *slot_->device;
    const void* const before = handle.capture.exchange(slot_.get());
    const std::int32_t result = ZevraStartCapture(handle.handle, &format, slot_->function, nullptr);
    if (result == 0) return;
    handle.capture = before;
    throw Error("ZevraStartCapture", result);
  }

  // No call comes after it. The callback may call it too: it then returns at once. The destructor
  // does the same, but keeps a callback's exception to itself; the callback should not run it.
  void Stop() {
    if (slot_ == nullptr || !slot_->End()) return;
    const std::exception_ptr failure = slot_->failure;
    slot_.reset();
    if (failure != nullptr) std::rethrow_exception(failure);
  }

  // False once the capture was stopped, its callback has thrown, or its endpoint has gone. The
  // library gives no notice of the last: ask when no packet comes.
  bool Running() {
    if (slot_ == nullptr || slot_->stopped.load(std::memory_order_acquire)) return false;
    const ZevraHandle handle = slot_->device->handle;
    // A start leaves a running stream alone and says so.
    if (ZevraStartCapture(handle, &slot_->format, nullptr, nullptr) == ZEVRA_E_NOT_STOPPED)
      return true;
    ZevraStopCapture(handle);
    return false;
  }

 private:
  // Never destroyed, because a capture may end at any time.
  static detail::Slot* Slots() {
    static auto* const slots = new detail::Slot[PoolSize];
    return slots;
  }
  template <std::size_t Index>
  static void Run(void*, std::uint32_t silent, const std::uint8_t* data, std::uint32_t bytes) {
    Slots()[Index].Deliver(silent, data, bytes);
  }
  // A free slot with its function. Error if there is none.
  template <std::size_t... Indices>
  static detail::Slot* TakeSlot(std::index_sequence<Indices...>) {
    constexpr ZevraCaptureCallback kFunctions[] = {&Run<Indices>...};
    for (std::size_t i = 0; i < PoolSize; ++i) {
      detail::Slot& slot = Slots()[i];
      if (slot.taken.exchange(true, std::memory_order_acquire)) continue;
      slot.function = kFunctions[i];
      return &slot;
    }
    throw Error("all " + std::to_string(PoolSize) + " callbacks are in use", ZEVRA_E_OUTOFMEMORY);
  }

  std::unique_ptr<detail::Slot, detail::EndSlot> slot_;
};

using Capture = BasicCapture<16>;

}  // namespace zevra

#endif
