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
// that opens or lists endpoints, until that thread ends; objects must not outlive main(). Use an
// object, and what was made from the same Device, from one thread at a time.

#include <zevra/zevra.h>

#include <array>
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

// The name of a result in zevra.h, or null for a code of the platform's.
inline const char* ResultName(std::int32_t result) {
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
    if (value == result) return name;
  return nullptr;
}

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
    std::array<char, 16> code{};
    std::snprintf(code.data(), code.size(), "0x%08X", static_cast<unsigned>(result));
    const char* const name = ResultName(result);
    return name == nullptr ? code.data() : std::string(name) + " (" + code.data() + ")";
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

inline void Append(std::string& out, char32_t c) {
  if (c < 0x80) {
    out += static_cast<char>(c);
    return;
  }
  const int more = c < 0x800 ? 1 : c < 0x10000 ? 2 : 3;
  out += static_cast<char>((0xF0U << (3 - more)) | (c >> (6 * more)));
  for (int i = more; i-- > 0;) out += static_cast<char>(0x80U | ((c >> (6 * i)) & 0x3FU));
}

// The character at `at`, which moves behind it; U+FFFD for what is none.
inline char32_t NextCharacter(std::string_view text, std::size_t& at) {
  constexpr char32_t kBad = 0xFFFD;
  constexpr char32_t kLeast[] = {0, 0x80, 0x800, 0x10000};
  const auto lead = static_cast<std::uint8_t>(text[at++]);
  if (lead < 0x80) return lead;
  if (lead < 0xC2 || lead > 0xF4) return kBad;
  const unsigned more = lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
  char32_t c = lead & (0x3FU >> more);
  for (unsigned i = 0; i < more; ++i) {
    if (at == text.size() || (static_cast<std::uint8_t>(text[at]) & 0xC0U) != 0x80) return kBad;
    c = (c << 6U) | (static_cast<std::uint8_t>(text[at++]) & 0x3FU);
  }
  return c < kLeast[more] || c > 0x10FFFF || (c >= 0xD800 && c < 0xE000) ? kBad : c;
}

inline std::basic_string<ZevraChar> ToUtf16(std::string_view text) {
  std::basic_string<ZevraChar> out;
  for (std::size_t at = 0; at < text.size();) {
    const char32_t c = NextCharacter(text, at);
    if (c >= 0x10000) out += static_cast<ZevraChar>(0xD7C0 + (c >> 10U));
    out += static_cast<ZevraChar>(c < 0x10000 ? c : 0xDC00 + (c & 0x3FFU));
  }
  return out;
}

// Half a pair, such as at the end of a name that the library cut, becomes U+FFFD.
inline std::string ToUtf8(const ZevraChar* text) {
  std::string out;
  while (*text != 0) {
    const char32_t c = *text++;
    const char32_t next = *text;
    if (c >= 0xD800 && c < 0xDC00 && next >= 0xDC00 && next < 0xE000) {
      Append(out, 0x10000 + ((c - 0xD800) << 10U) + (next - 0xDC00));
      ++text;
    } else {
      Append(out, c >= 0xD800 && c < 0xE000 ? 0xFFFD : c);
    }
  }
  return out;
}

inline void InitializeThread() {
  struct Initialization {
    Initialization() : result(ZevraInitialize()) {
      // A thread whose COM somebody else initialised for many threads does as well.
      constexpr auto kChangedMode = static_cast<std::int32_t>(0x80010106);
      if (result < 0 && result != kChangedMode) throw Error("ZevraInitialize", result);
    }
    ~Initialization() {
      if (result >= 0) ZevraUninitialize();
    }
    const std::int32_t result;
  };
  thread_local const Initialization initialization;
  (void)initialization;
}

struct Slot;

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
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;

  const std::optional<std::string> name;  // none for the default endpoint
  const Flow flow;
  ZevraHandle handle = nullptr;
  // What the handle was started for last.
  std::atomic<Slot*> capture{nullptr};
};

// The library passes nothing of the host's to a callback, so each running capture needs a function
// of its own, and this is what that function knows.
struct Slot {
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

  void Release() {
    Slot* self = this;
    device->capture.compare_exchange_strong(self, nullptr);
    on_packet = nullptr;
    failure = nullptr;
    device.reset();
    taken.store(false, std::memory_order_release);
  }
};

struct EndSlot {
  void operator()(Slot* slot) const {
    if (slot->End())
      slot->Release();
    else
      // The function runs and its thread may call once more: nobody gets this slot again.
      slot->device.reset();
  }
};

template <std::size_t Size>
class Pool {
 public:
  // A free slot and its function. Error if there is none.
  static std::pair<Slot*, ZevraCaptureCallback> Take() {
    static constexpr auto kFunctions = Functions(std::make_index_sequence<Size>());
    for (std::size_t i = 0; i < Size; ++i)
      if (!Slots()[i].taken.exchange(true, std::memory_order_acquire))
        return {&Slots()[i], kFunctions[i]};
    throw Error("all " + std::to_string(Size) + " callbacks are in use", ZEVRA_E_OUTOFMEMORY);
  }

 private:
  // Never destroyed, because a capture may end at any time.
  static std::array<Slot, Size>& Slots() {
    static auto& slots = *new std::array<Slot, Size>;
    return slots;
  }
  template <std::size_t Index>
  static void Run(void*, std::uint32_t silent, const std::uint8_t* data, std::uint32_t bytes) {
    Slots()[Index].Deliver(silent, data, bytes);
  }
  template <std::size_t... Indices>
  static constexpr std::array<ZevraCaptureCallback, Size> Functions(
      std::index_sequence<Indices...>) {
    return {&Run<Indices>...};
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
// silence of all others alone. The end takes up to half a second.
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
               std::function<void(const Packet&)> on_packet) {
    const std::pair<detail::Slot*, ZevraCaptureCallback> taken = detail::Pool<PoolSize>::Take();
    detail::Slot* const slot = taken.first;
    slot->stopped.store(false, std::memory_order_relaxed);
    slot->on_packet = std::move(on_packet);
    slot->format = format;
    slot->device = device.handle_;
    detail::Slot* const before = device.handle_->capture.exchange(slot);
    const std::int32_t result =
        ZevraStartCapture(device.handle_->handle, &format, taken.second, nullptr);
    if (result != 0) {
      device.handle_->capture = before;
      slot->Release();
      throw Error("ZevraStartCapture", result);
    }
    slot_.reset(slot);
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
  std::unique_ptr<detail::Slot, detail::EndSlot> slot_;
};

using Capture = BasicCapture<16>;

}  // namespace zevra

#endif
