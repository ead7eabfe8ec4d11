#include "windows/class_server.h"

#include <memory>
#include <utility>

#include "builtin/builtin_audio.h"
#include "platform/owners.h"
#include "platform/result.h"
#include "support/builtin_endpoints.h"
#include "support/live_objects.h"
#include "windows/served_resampler.h"

namespace zevra {

template <>
inline constexpr const IID* kInterfaceId<IClassFactory> = &IID_IClassFactory;

}  // namespace zevra

namespace zevra::test {
namespace {

using builtin::BuiltinAudio;
using builtin::EndpointConfig;

// The classes' own ids, as sound_test.sh registers them.
constexpr CLSID kServedResampler = {
    0x5F1C6A10, 0x3D0B, 0x4C6E, {0x9A, 0x41, 0x7B, 0x52, 0xE0, 0x36, 0xC8, 0x01}};
constexpr CLSID kServedEnumerator = {
    0x5F1C6A10, 0x3D0B, 0x4C6E, {0x9A, 0x41, 0x7B, 0x52, 0xE0, 0x36, 0xC8, 0x02}};

// In the order of ServedEndpoint.
std::vector<EndpointConfig> Endpoints() {
  EndpointConfig speakers;
  speakers.name = u"Served Speakers";
  speakers.is_default = true;
  speakers.signal = Sine(997, 0.5);
  speakers.volume = 0.75F;

  EndpointConfig headphones;
  headphones.name = u"Served Headphones";

  EndpointConfig microphone;
  microphone.name = u"Served Microphone";
  microphone.flow = eCapture;
  microphone.is_default = true;
  microphone.rate = 44'100;
  microphone.channels = 1;
  microphone.channel_mask = SPEAKER_FRONT_CENTER;
  microphone.packet_frames = 441;
  microphone.signal = Sine(440, 0.25);
  microphone.volume = 0.5F;
  return {std::move(speakers), std::move(headphones), std::move(microphone)};
}

// Each object that the endpoints give out holds the clock.
struct Served {
  const std::shared_ptr<const builtin::Clock> clock = builtin::RealClock();
  BuiltinAudio audio{Endpoints(), clock};
  const long uses_at_rest = clock.use_count();
};

Served& TheServed() {
  static Served served;
  return served;
}

BuiltinAudio& TheAudio() { return TheServed().audio; }

class Factory final : public TrackedObject<IClassFactory> {
 public:
  explicit Factory(HRESULT (*create)(REFIID iid, void** object)) : create_(create) {}

  HRESULT CreateInstance(IUnknown* outer, REFIID iid, void** object) override {
    if (object == nullptr) return E_POINTER;
    *object = nullptr;
    return outer != nullptr ? CLASS_E_NOAGGREGATION : create_(iid, object);
  }
  HRESULT LockServer(BOOL /*lock*/) override { return S_OK; }

 private:
  HRESULT (*const create_)(REFIID iid, void** object);
};

HRESULT CreateEnumerator(REFIID iid, void** object) {
  return NoThrow([&] { return TheAudio().CreateEnumerator(iid, object); });
}

}  // namespace
}  // namespace zevra::test

STDAPI DllGetClassObject(REFCLSID class_id, REFIID iid, void** object) {
  using zevra::test::Factory;
  using zevra::test::kServedEnumerator;
  using zevra::test::kServedResampler;
  *object = nullptr;
  decltype(&zevra::test::CreateResampler) create = nullptr;
  if (IsEqualGUID(class_id, kServedResampler)) create = &zevra::test::CreateResampler;
  if (IsEqualGUID(class_id, kServedEnumerator)) create = &zevra::test::CreateEnumerator;
  if (create == nullptr) return CLASS_E_CLASSNOTAVAILABLE;
  const auto factory = zevra::ComPtr<IClassFactory>::Attach(zevra::MakeCom<Factory>(create));
  return factory ? factory->QueryInterface(iid, object) : E_OUTOFMEMORY;
}

// What it counts must be there to the end of the test.
STDAPI DllCanUnloadNow() { return S_FALSE; }

long ServedObjects() {
  const zevra::test::Served& served = zevra::test::TheServed();
  return zevra::test::live_objects + served.clock.use_count() - served.uses_at_rest;
}

void SetServedVolume(zevra::test::ServedEndpoint endpoint, float volume) {
  zevra::test::TheAudio().SetVolume(endpoint, volume);
}

void RemoveServedEndpoint(zevra::test::ServedEndpoint endpoint) {
  zevra::test::TheAudio().Remove(endpoint);
}
