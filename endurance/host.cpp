#include "endurance/host.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <random>
#include <thread>

#include "endurance/calls.h"
#include "endurance/holdings.h"
#include "endurance/tap.h"

namespace zevra::endurance {
namespace {

constexpr const ZevraChar* kSpeakers = u"Zevra Speakers";
constexpr ZevraAudioFormat kFloat = {ZEVRA_SAMPLE_FLOAT, 2, 32, 48'000, 0, 32, 0};
constexpr ZevraAudioFormat kShort = {ZEVRA_SAMPLE_PCM, 2, 16, 48'000, 0, 16, 0};
// The last one is none that the converter knows.
constexpr ZevraAudioFormat kFormats[] = {kFloat,
                                         kShort,
                                         {ZEVRA_SAMPLE_PCM, 1, 16, 16'000, 0, 16, 0},
                                         {ZEVRA_SAMPLE_PCM, 2, 24, 44'100, 0, 24, 0},
                                         {ZEVRA_SAMPLE_FLOAT, 6, 32, 96'000, 0x3F, 32, 0},
                                         {ZEVRA_SAMPLE_PCM, 3, 7, 1, 0, 7, 0}};
constexpr std::size_t kGoodFormats = std::size(kFormats) - 1;

class Host {
 public:
  Host(unsigned number, std::uint64_t seed)
      : number_(number), orders_(TheBoard().hosts.at(number)), random_(seed + number) {}

  void Run();

 private:
  unsigned Random(unsigned count) { return static_cast<unsigned>(random_() % count); }
  void Warm();
  void Capture();
  void Check();
  Verdict JudgeKept();
  void PlaySilence();
  void AnyCall();
  void ActInside(Tap& tap);
  void TakeDescriptors();
  void ReportHoldings(const Holdings& before) const;

  const unsigned number_;
  HostBoard& orders_;
  std::mt19937_64 random_;
  Tap tap_{orders_};
  ZevraAudioFormat format_ = kFormats[number_ == 0 ? 0 : 2];
  unsigned seen_packets_ = 0;
  std::int64_t seen_ms_ = 0;
};

void Host::Run() {
  Make(Call::kInitialize, ZevraInitialize);
  Warm();
  const Holdings before = PresentHoldings();
  Note("host %u begins with %ld descriptors, %ld threads, %zu bytes", number_, before.descriptors,
       before.threads, before.heap_bytes);
  if (number_ == 3) tap_.inside = [this](Tap&) { ActInside(tap_); };
  std::jthread descriptors([this](const std::stop_token& stop) {
    while (!stop.stop_requested()) {
      Pause(20);
      TakeDescriptors();
    }
  });
  while (!TheBoard().over) {
    if (number_ < 2) Capture();
    if (number_ == 2) PlaySilence();
    if (number_ == 3) AnyCall();
    Pause(20 + static_cast<int>(Random(100)));
  }
  descriptors.request_stop();
  descriptors.join();
  tap_.Close();
  ReportHoldings(before);
  Make(Call::kUninitialize, ZevraUninitialize);
}

// What a process takes once and keeps.
void Host::Warm() {
  for (const ZevraAudioFormat& format : kFormats) {
    if (!tap_.Open(kSpeakers)) Fail("host %u cannot open its endpoint", number_);
    tap_.StartCapture(format);
    tap_.StartPlay();
    tap_.HasVolume();
    Pause(200);
    tap_.Close();
  }
  ZevraDeviceList list;
  Make(Call::kList, [&] { return ZevraGetDeviceList(&list); });
}

// Captures on and on, and starts again what has ended, as a host does that must not miss anything.
void Host::Capture() {
  if (orders_.check_round != orders_.judged_round) {
    Check();
    return;
  }
  const unsigned packets = orders_.packets;
  const std::int64_t now_ms = NowMs();
  if (tap_.IsOpen() && packets != seen_packets_) {
    seen_packets_ = packets;
    seen_ms_ = now_ms;
    if (Random(100) == 0) tap_.StartCapture(format_);
    return;
  }
  if (now_ms - seen_ms_ < 1'500) return;
  seen_ms_ = now_ms;
  if (!tap_.HasVolume()) tap_.Close();
  if (number_ == 1) format_ = kFormats[Random(kGoodFormats)];
  if (tap_.Open(kSpeakers)) tap_.StartCapture(format_);
}

void Host::Check() {
  const unsigned round = orders_.check_round;
  tap_.Close();
  tap_.Keep(true);
  const unsigned before = orders_.packets;
  if (tap_.Open(kSpeakers) && tap_.StartCapture(number_ == 0 ? kFloat : kShort)) {
    const std::int64_t begin_ms = NowMs();
    while (orders_.packets < before + 3 && NowMs() - begin_ms < 5'000 && !TheBoard().over) Pause(5);
    if (orders_.packets >= before + 3) {
      orders_.ready_round = round;
      while (orders_.judge_round != round && orders_.check_round == round && !TheBoard().over)
        Pause(5);
      if (orders_.judge_round == round) {
        tap_.StopCapture();
        orders_.verdict = JudgeKept();
        orders_.judged_round = round;
      }
    }
  }
  tap_.Keep(false);
  tap_.Close();
}

// Compares it with what the server gave another client.
Verdict Host::JudgeKept() {
  const std::vector<std::uint8_t> bytes = tap_.Kept();
  std::vector<float> samples;
  if (number_ == 0) {
    samples.resize(bytes.size() / sizeof(float));
    std::memcpy(samples.data(), bytes.data(), samples.size() * sizeof(float));
  } else {
    std::vector<std::int16_t> shorts(bytes.size() / sizeof(std::int16_t));
    std::memcpy(shorts.data(), bytes.data(), shorts.size() * sizeof(std::int16_t));
    for (const std::int16_t sample : shorts) samples.push_back(static_cast<float>(sample) / 32'768);
  }
  const std::vector<float> heard = SoundOf(samples);
  const std::vector<float> other = SoundIn(TheBoard().heard_file.data());
  const std::vector<float> ramp = CheckRamp();
  // One that the server spoilt is longer, if anything; a player that failed gives nothing.
  if (heard == ramp || (heard == other && heard.size() >= ramp.size())) return Verdict::kExact;
  std::size_t wrong = 0, first_wrong = 0;
  for (std::size_t at = std::min(heard.size(), other.size()); at > 0; --at) {
    if (heard[at - 1] == other[at - 1]) continue;
    ++wrong;
    first_wrong = at - 1;
  }
  Note("host %u heard %zu samples of %zu, %zu wrong from %zu on: %f, not %f", number_, heard.size(),
       other.size(), wrong, first_wrong, wrong > 0 ? double{heard[first_wrong]} : 0,
       wrong > 0 ? double{other[first_wrong]} : 0);
  return Verdict::kWrong;
}

void Host::PlaySilence() {
  const ZevraChar* const name = Random(2) != 0 ? kSpeakers : nullptr;
  if (!tap_.Open(name)) return;
  if (Random(20) == 0) tap_.StopPlay();
  if (Random(5) == 0) tap_.StartPlay();
  if (!tap_.HasVolume() && Random(3) == 0) tap_.Close();
}

void Host::AnyCall() {
  constexpr const ZevraChar* kNames[] = {nullptr, kSpeakers, u"Zevra Surround", u"Zevra Doomed",
                                         u"Zevra Renamed"};
  ZevraDeviceList list;
  switch (Random(10)) {
    case 0:
      Make(Call::kList, [&] { return ZevraGetDeviceList(&list); });
      break;
    case 1:
      Make(Call::kList, [&] { return ZevraGetInnerRecordDeviceList(&list); });
      break;
    case 2:
      Make(Call::kList, [&] { return ZevraGetOutRecordDeviceList(&list); });
      break;
    case 3:
      tap_.Close();
      break;
    case 4:
      tap_.StopCapture();
      break;
    case 5:
      tap_.StartPlay();
      break;
    case 6:
      tap_.StopPlay();
      break;
    default:
      if (tap_.Open(kNames[Random(std::size(kNames))]))
        tap_.StartCapture(kFormats[Random(std::size(kFormats))]);
  }
}

void Host::ActInside(Tap& tap) {
  // A state of its own: the host's thread draws from the other one meanwhile.
  thread_local std::minstd_rand mine(number_ + orders_.starts);
  switch (mine() % 100) {
    case 0:
      tap.StopCapture();
      break;
    case 1:
      tap.Close();
      break;
    case 2:
      tap.StartPlay();
      break;
    case 3:
      tap.StopPlay();
      break;
    case 4:
    case 5:
      tap.HasVolume();
      break;
    default:
      break;
  }
}

void Host::TakeDescriptors() {
  const int hold_ms = orders_.take_descriptors_ms.exchange(0);
  if (hold_ms == 0) return;
  const Shortage shortage;
  rlimit before{};
  getrlimit(RLIMIT_NOFILE, &before);
  rlimit few = before;
  few.rlim_cur = std::min<rlim_t>(before.rlim_cur, 128);
  setrlimit(RLIMIT_NOFILE, &few);
  std::vector<int> taken;
  for (int got = 0; (got = open("/dev/null", O_RDONLY | O_CLOEXEC)) >= 0;) taken.push_back(got);
  // At first none is left, then one more at a time, so that calls fail in many places.
  for (int part = 0; part < 10; ++part) {
    Pause(hold_ms / 10);
    if (part < 3 || taken.empty()) continue;
    close(taken.back());
    taken.pop_back();
  }
  for (const int descriptor : taken) close(descriptor);
  setrlimit(RLIMIT_NOFILE, &before);
}

void Host::ReportHoldings(const Holdings& before) const {
  // What the allocator keeps of threads that have gone.
  constexpr std::size_t kSlackBytes = 64 << 10;
  Holdings now;
  for (int tries = 0; tries < 100; ++tries) {
    now = PresentHoldings();
    if (now.threads <= before.threads) break;
    // A thread that has been joined may still be on its way out of the list.
    Pause(20);
  }
  std::printf(
      "host %u: descriptors %ld to %ld, threads %ld to %ld, shared mappings %ld to %ld, "
      "heap %zu to %zu bytes, %u captures, %u packets\n",
      number_, before.descriptors, now.descriptors, before.threads, now.threads,
      before.shared_mappings, now.shared_mappings, before.heap_bytes, now.heap_bytes,
      orders_.starts.load(), orders_.packets.load());
  if (now.descriptors > before.descriptors || now.threads > before.threads ||
      now.shared_mappings > before.shared_mappings ||
      now.heap_bytes > before.heap_bytes + kSlackBytes)
    Fail("host %u holds more at the end than at its beginning", number_);
}

}  // namespace

int RunHost(unsigned number, std::uint64_t seed) {
  PrintStacksOnSignals();
  Host(number, seed).Run();
  return 0;
}

}  // namespace zevra::endurance
