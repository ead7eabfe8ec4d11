#include "server_host.h"

#include <cstring>
#include <thread>

namespace zevra::test {
namespace {

std::u16string NameOf(IMMDevice* device) {
  ComPtr<IPropertyStore> store;
  PropVariant name;
  EXPECT_EQ(device->OpenPropertyStore(STGM_READ, store.Put()), S_OK);
  EXPECT_EQ(store->GetValue(PKEY_Device_FriendlyName, name.Put()), S_OK);
  EXPECT_EQ(name.Get().vt, VT_LPWSTR);
  return name.Get().pwszVal;
}

}  // namespace

ComPtr<IMMDevice> Find(const std::u16string& name) {
  ComPtr<IMMDeviceEnumerator> enumerator;
  ComPtr<IMMDeviceCollection> devices;
  ComPtr<IMMDevice> found;
  UINT count = 0;
  EXPECT_EQ(os::CoCreateInstance(CLSID_MMDeviceEnumerator, nullptr, CLSCTX_ALL,
                                 IID_IMMDeviceEnumerator, enumerator.PutVoid()),
            S_OK);
  EXPECT_EQ(enumerator->EnumAudioEndpoints(eAll, DEVICE_STATE_ACTIVE, devices.Put()), S_OK);
  EXPECT_EQ(devices->GetCount(&count), S_OK);
  for (UINT index = 0; index < count; ++index) {
    ComPtr<IMMDevice> device;
    EXPECT_EQ(devices->Item(index, device.Put()), S_OK);
    if (NameOf(device.Get()) == name) found = std::move(device);
  }
  EXPECT_TRUE(found);
  return found;
}

Stream::Stream(IMMDevice* device) {
  EXPECT_EQ(device->Activate(IID_IAudioClient, CLSCTX_ALL, nullptr, client.PutVoid()), S_OK);
  TaskMemory<WAVEFORMATEX> mix;
  EXPECT_EQ(client->GetMixFormat(mix.Put()), S_OK);
  std::memcpy(&format, mix.Get(), sizeof format);
}

HRESULT Stream::Initialize(DWORD flags, REFERENCE_TIME duration) {
  const HRESULT result =
      client->Initialize(AUDCLNT_SHAREMODE_SHARED, flags, duration, 0, &format.Format, nullptr);
  if (FAILED(result)) return result;
  if (SUCCEEDED(client->GetService(IID_IAudioCaptureClient, capture.PutVoid()))) return result;
  return client->GetService(IID_IAudioRenderClient, render.PutVoid());
}

void StartCapture(Stream& stream, DWORD flags) {
  ASSERT_EQ(stream.Initialize(flags), S_OK);
  ASSERT_TRUE(stream.capture);
  ASSERT_EQ(stream.client->Start(), S_OK);
}

void Drain(Stream& stream, std::vector<float>* samples) {
  UINT32 next = 0;
  ASSERT_EQ(stream.capture->GetNextPacketSize(&next), S_OK);
  while (next != 0) {
    const Packet packet(stream);
    ASSERT_EQ(packet.result, S_OK);
    ASSERT_EQ(packet.frames, next);
    ASSERT_EQ(packet.flags, 0u);
    const auto* const first = reinterpret_cast<const float*>(packet.data);
    samples->insert(samples->end(), first,
                    first + std::size_t{next} * stream.format.Format.nChannels);
    ASSERT_EQ(stream.capture->ReleaseBuffer(next), S_OK);
    ASSERT_EQ(stream.capture->GetNextPacketSize(&next), S_OK);
  }
}

std::vector<float> Record(Stream& stream, milliseconds time) {
  std::vector<float> samples;
  const auto end = Clock::now() + time;
  while (Clock::now() < end && !::testing::Test::HasFatalFailure()) {
    std::this_thread::sleep_for(milliseconds(5));
    Drain(stream, &samples);
  }
  return samples;
}

}  // namespace zevra::test
