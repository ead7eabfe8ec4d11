#include "server_host.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <thread>

namespace zevra::test {
namespace {

constexpr float kRampStep = 1.0F / 8'388'608.0F;

}  // namespace

std::string Shell(const std::string& command) {
  std::string output;
  FILE* const pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return output;
  char block[4096];
  while (const std::size_t size = fread(block, 1, sizeof block, pipe)) output.append(block, size);
  EXPECT_EQ(pclose(pipe), 0) << command;
  if (!output.empty() && output.back() == '\n') output.pop_back();
  return output;
}

bool Eventually(milliseconds limit, const std::function<bool()>& condition) {
  const auto end = Clock::now() + limit;
  while (!condition()) {
    if (Clock::now() > end) return false;
    std::this_thread::sleep_for(milliseconds(5));
  }
  return true;
}

void SignalServer(int signal) {
  // NOLINTNEXTLINE(concurrency-mt-unsafe): nothing sets the environment meanwhile
  const char* const process = std::getenv("ZEVRA_TEST_SERVER_PID");
  ASSERT_NE(process, nullptr);
  ASSERT_EQ(kill(std::atoi(process), signal), 0);
}

double SecondsOf(const std::function<void()>& work) {
  const auto begin = Clock::now();
  work();
  return std::chrono::duration<double>(Clock::now() - begin).count();
}

NullSink::NullSink(const std::string& name, const std::string& channel_map, unsigned channels,
                   const std::string& description)
    : module_(Shell("pactl load-module module-null-sink norewinds=1 format=float32le rate=48000"
                    " sink_name=" +
                    name + " channels=" + std::to_string(channels) + " channel_map=" + channel_map +
                    " \"sink_properties='device.description=\\\"" + description + "\\\"'\"")) {}

void NullSink::Unload() {
  if (!module_.empty()) Shell("pactl unload-module " + module_);
  module_.clear();
}

Player::Player(const std::string& sink, const std::vector<float>& samples, unsigned channels,
               const std::string& channel_map) {
  char file[] = "/tmp/zevra-play-XXXXXX";
  close(mkstemp(file));
  file_ = file;
  std::ofstream(file_, std::ios::binary)
      .write(reinterpret_cast<const char*>(samples.data()),
             static_cast<std::streamsize>(samples.size() * sizeof(float)));
  const std::string command =
      "exec pacat --raw --format=float32le --rate=48000 --channels=" + std::to_string(channels) +
      " --channel-map=" + channel_map + " -d " + sink + " " + file_;
  const char* const arguments[] = {"sh", "-c", command.c_str(), nullptr};
  EXPECT_EQ(
      posix_spawnp(&process_, "sh", nullptr, nullptr, const_cast<char* const*>(arguments), environ),
      0);
}

Player::~Player() {
  if (process_ > 0) {
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
  }
  std::remove(file_.c_str());
}

ComPtr<IMMDeviceEnumerator> MakeEnumerator() {
  ComPtr<IMMDeviceEnumerator> enumerator;
  EXPECT_EQ(platform::CreateInstance(CLSID_MMDeviceEnumerator, nullptr, CLSCTX_ALL,
                                     IID_IMMDeviceEnumerator, enumerator.PutVoid()),
            S_OK);
  return enumerator;
}

void ExpectNoServer(IMMDevice* device) {
  ComPtr<IMMDevice> found;
  ComPtr<IMMDeviceCollection> list;
  ComPtr<IUnknown> object;
  std::vector<std::function<HRESULT()>> questions = {
      [&] { return MakeEnumerator()->GetDefaultAudioEndpoint(eRender, eConsole, found.Put()); },
      [&] { return MakeEnumerator()->EnumAudioEndpoints(eAll, DEVICE_STATE_ACTIVE, list.Put()); }};
  for (const IID iid : {IID_IAudioClient, IID_IAudioEndpointVolume}) {
    if (device == nullptr) break;
    questions.emplace_back(
        [&, iid] { return device->Activate(iid, CLSCTX_ALL, nullptr, object.PutVoid()); });
  }
  for (const auto& ask : questions) {
    EXPECT_LT(SecondsOf([&] { EXPECT_EQ(ask(), AUDCLNT_E_SERVICE_NOT_RUNNING); }), kPatience);
  }
}

std::u16string NameOf(IMMDevice* device) {
  ComPtr<IPropertyStore> store;
  platform::PropVariant name;
  EXPECT_EQ(device->OpenPropertyStore(STGM_READ, store.Put()), S_OK);
  EXPECT_EQ(store->GetValue(PKEY_Device_FriendlyName, name.Put()), S_OK);
  EXPECT_EQ(name.Get().vt, VT_LPWSTR);
  return name.Get().pwszVal;
}

std::vector<Listed> List(EDataFlow flow) {
  std::vector<Listed> list;
  ComPtr<IMMDeviceCollection> devices;
  UINT count = 0;
  EXPECT_EQ(MakeEnumerator()->EnumAudioEndpoints(flow, DEVICE_STATE_ACTIVE, devices.Put()), S_OK);
  EXPECT_EQ(devices->GetCount(&count), S_OK);
  for (UINT index = 0; index < count; ++index) {
    ComPtr<IMMDevice> device;
    EXPECT_EQ(devices->Item(index, device.Put()), S_OK);
    std::u16string name = NameOf(device.Get());
    list.push_back({std::move(name), std::move(device)});
  }
  return list;
}

ComPtr<IMMDevice> Find(const std::u16string& name) {
  ComPtr<IMMDevice> found;
  for (Listed& endpoint : List(eAll)) {
    if (endpoint.name == name) found = std::move(endpoint.device);
  }
  EXPECT_TRUE(found);
  return found;
}

Stream::Stream(IMMDevice* device) {
  EXPECT_EQ(device->Activate(IID_IAudioClient, CLSCTX_ALL, nullptr, client.PutVoid()), S_OK);
  platform::TaskMemory<WAVEFORMATEX> mix;
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

std::vector<float> RecordFirstSound(Stream& stream) {
  std::vector<float> samples;
  EXPECT_TRUE(Eventually(milliseconds(8000), [&] {
    Drain(stream, &samples);
    return ::testing::Test::HasFatalFailure() || (!samples.empty() && samples.back() != 0);
  }));
  return samples;
}

std::vector<float> Ramp(std::size_t frames) {
  std::vector<float> samples;
  for (std::size_t frame = 1; frame <= frames; ++frame) {
    const float value = static_cast<float>(frame) * kRampStep;
    samples.push_back(value);
    samples.push_back(-value);
  }
  return samples;
}

RampCheck CheckRamp(const std::vector<float>& samples) {
  const std::size_t frames = samples.size() / 2;
  std::size_t first = 0;
  std::size_t last = frames;
  while (first < frames && samples[2 * first] == 0) ++first;
  while (last > first && samples[2 * (last - 1)] == 0) --last;
  RampCheck check{last - first, 0};
  for (std::size_t frame = first; frame < last; ++frame) {
    const float left = samples[2 * frame];
    const bool follows = frame == first || left - samples[2 * (frame - 1)] == kRampStep;
    if (!follows || samples[2 * frame + 1] != -left) ++check.breaks;
  }
  return check;
}

}  // namespace zevra::test
