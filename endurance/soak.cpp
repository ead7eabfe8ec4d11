// A day of the library in minutes: its exported functions on endpoints inside the process, with
// time that jumps from one wait to the next.

#include <sched.h>
#include <unistd.h>

#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <numbers>
#include <string>
#include <vector>

#include "builtin/builtin_audio.h"
#include "endurance/board.h"
#include "endurance/holdings.h"
#include "endurance/listener.h"
#include "endurance/log_files.h"
#include "endurance/virtual_time.h"
#include "tests/support/builtin_endpoints.h"

namespace zevra::endurance {
namespace {

namespace fs = std::filesystem;
using std::chrono::hours;
using std::chrono::milliseconds;
using std::chrono::minutes;
using std::chrono::nanoseconds;
using std::chrono::seconds;

constexpr UINT32 kRate = 48'000;
// 20 ms, as a sound server's.
constexpr UINT32 kPacketFrames = 960;
// What the converter holds back of each of the two streams: half of its filter.
constexpr double kFilterFrames = 64;
constexpr std::size_t kMostBackups = 5;
// A volume read leaves two lines in the traces. A log reads its settings again with the first
// message after 11 s, and keeps some lines until its buffer is full.
constexpr std::uint64_t kTracesOfReads = 2ULL * 600, kTracesInDoubt = 2ULL * 12 + 60;
// A counter of 32 bits that counts milliseconds ends an hour after the beginning, or half of a
// shorter run.
constexpr std::uint64_t kTickWrapMs = std::uint64_t{1} << 32;
// The names of files and the like are not always of the same length.
constexpr std::size_t kHeapSlackBytes = 1 << 10;

const Tone kLeft{997, 0.5}, kRight{1'499, 0.25};

builtin::EndpointConfig EndpointWith(const char16_t* name, builtin::Signal signal) {
  builtin::EndpointConfig endpoint;
  endpoint.name = name;
  endpoint.packet_frames = kPacketFrames;
  endpoint.signal = std::move(signal);
  return endpoint;
}

builtin::Waveform TwoTones(std::uint32_t rate) {
  builtin::Waveform wave;
  wave.channels = 2;
  for (std::uint32_t frame = 0; frame < rate; ++frame)
    for (const Tone& tone : {kLeft, kRight})
      wave.samples.push_back(static_cast<float>(
          tone.level * std::sin(2 * std::numbers::pi * tone.hertz * frame / rate)));
  return wave;
}

// The captures' callbacks get nothing of ours, so each has an object with a name.
Listener music(44'100, 2, {kLeft});
Listener speech(16'000, 1, {{kLeft.hertz, kLeft.level / 2}, {kRight.hertz, kRight.level / 2}});
std::atomic<std::uint64_t> silent_frames{0}, sounding_packets{0};

void HearMusic(void*, std::uint32_t, const std::uint8_t* data, std::uint32_t length) {
  music.Take(data, length);
}
void HearSpeech(void*, std::uint32_t, const std::uint8_t* data, std::uint32_t length) {
  speech.Take(data, length);
}
void HearSilence(void*, std::uint32_t, const std::uint8_t* data, std::uint32_t length) {
  silent_frames += length / 8;
  std::uint32_t sounding = 0;
  for (std::uint32_t at = 0; at < length; ++at) sounding |= data[at];
  sounding_packets += sounding != 0;
}

class Day {
 public:
  Day(nanoseconds length, fs::path folder)
      : length_(length), folder_(std::move(folder)), log_(folder_) {}
  // Gives the exit code.
  int Run();

 private:
  [[gnu::format(printf, 3, 4)]] void Expect(bool good, const char* format, ...);
  void Open();
  void Close();
  void StartSpeech();
  void TenMinutes();
  void EndOfTenMinutes();
  void CheckLog();
  void CheckHoldings();
  void WriteSettings(bool traces) const;
  // Frames that a capture which began at `begin` was to deliver, less those that it did.
  double HeldFrames(const Listener& listener, unsigned rate, nanoseconds begin) const;
  void Plot(const Holdings& now);

  const nanoseconds length_;
  const fs::path folder_;
  LogFiles log_;
  std::unique_ptr<builtin::BuiltinAudio> audio_;
  ZevraHandle music_ = nullptr, speech_ = nullptr, silence_ = nullptr;
  nanoseconds music_begin_{0}, speech_begin_{0};
  bool traces_ = true;
  unsigned rounds_ = 0, failures_ = 0;
  std::uint64_t volumes_ = 0, checks_ = 0;
  Holdings first_;
  long first_handles_ = 0;
  const std::int64_t real_begin_ms_ = NowMs();
};

void Day::Expect(bool good, const char* format, ...) {
  ++checks_;
  if (good) return;
  ++failures_;
  std::va_list arguments;
  va_start(arguments, format);
  std::printf("WRONG at %.3f s: ", std::chrono::duration<double>(VirtualNow()).count());
  // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): va_start is not seen
  std::vprintf(format, arguments);
  std::printf("\n");
  va_end(arguments);
}

int Day::Run() {
  const auto clock = std::make_shared<VirtualClock>();
  audio_ = std::make_unique<builtin::BuiltinAudio>(
      std::vector{EndpointWith(u"Tones", TwoTones), EndpointWith(u"Quiet", {})}, clock);
  {
    const auto registration = test::RegisterEndpoints(*audio_);
    WriteSettings(traces_);
    BeginVirtualTime(
        kTickWrapMs -
        static_cast<std::uint64_t>(std::min<nanoseconds>(hours(1), length_ / 2) / milliseconds(1)));
    // Before anything is measured, so that the output has its buffer.
    std::printf("%.1f h to simulate\n",
                std::chrono::duration<double, std::ratio<3600>>(length_).count());
    Open();
    while (VirtualNow() < length_) TenMinutes();
    Close();
  }
  audio_.reset();
  Expect(clock.use_count() == 1, "%ld objects of endpoints are left", clock.use_count() - 1);
  Expect(OpenHandles() == 0, "%ld handles are left", OpenHandles());
  std::printf(
      "%s simulated in %.1f min: %u starts and stops, %llu volume reads, %llu lines of log "
      "in %zu backups, largest error %.2f and %.2f of 16 bits in %llu samples, %llu checks, "
      "%u wrong\n",
      (std::to_string(length_ / hours(1)) + " h").c_str(),
      static_cast<double>(NowMs() - real_begin_ms_) / 60'000, rounds_,
      static_cast<unsigned long long>(volumes_), static_cast<unsigned long long>(log_.Lines()),
      log_.Backups(), music.LargestError(), speech.LargestError(),
      static_cast<unsigned long long>(music.Compared()) + speech.Compared(),
      static_cast<unsigned long long>(checks_), failures_);
  return failures_ == 0 ? 0 : 1;
}

void Day::Open() {
  Expect(ZevraInitialize() == 0, "ZevraInitialize");
  Expect(ZevraOpenDevice(&music_, u"Tones", ZEVRA_FLOW_RENDER) == 0, "open");
  Expect(ZevraOpenDevice(&silence_, u"Quiet", ZEVRA_FLOW_RENDER) == 0, "open");
  // In the middle of a packet, so that it is plain which ones a capture gets.
  VirtualSleepUntil(milliseconds(1'010));
  const ZevraAudioFormat format = music.Format();
  Expect(ZevraStartCapture(music_, &format, HearMusic, nullptr) == 0, "the long capture");
  music_begin_ = VirtualNow();
  StartSpeech();
}

void Day::Close() {
  ZevraCloseDevice(music_);
  ZevraCloseDevice(speech_);
  ZevraCloseDevice(silence_);
  ZevraUninitialize();
}

// What begins anew every ten minutes: the capture to a recogniser's format, and a silent stream
// with its own loopback.
void Day::StartSpeech() {
  speech.Begin();
  Expect(ZevraOpenDevice(&speech_, nullptr, ZEVRA_FLOW_RENDER) == 0, "open");
  const ZevraAudioFormat format = speech.Format();
  const ZevraAudioFormat plain = {ZEVRA_SAMPLE_FLOAT, 2, 32, kRate, 0, 32, 0};
  speech_begin_ = VirtualNow();
  Expect(ZevraStartCapture(speech_, &format, HearSpeech, nullptr) == 0, "a capture");
  silent_frames = 0;
  Expect(ZevraStartPlay(silence_) == 0, "a silent stream");
  Expect(ZevraStartCapture(silence_, &plain, HearSilence, nullptr) == 0, "a loopback of silence");
  ++rounds_;
}

void Day::TenMinutes() {
  const nanoseconds begin = speech_begin_;
  const bool last = begin + minutes(10) + seconds(5) >= length_;
  for (nanoseconds at = begin; at < begin + minutes(10); at += seconds(1)) {
    VirtualSleepUntil(at);
    // The last minute before the end is compared sample by sample, and each one in between that
    // begins an hour.
    if (at == begin + minutes(9)) {
      music.Compare(last || rounds_ % 6 == 1);
      speech.Compare(last || rounds_ % 6 == 1);
    }
    float volume = -1;
    Expect(ZevraGetVolume(music_, &volume) == 0 && volume == 1, "volume %f",
           static_cast<double>(volume));
    ++volumes_;
  }
  VirtualSleepUntil(begin + minutes(10));
  EndOfTenMinutes();
  CheckHoldings();
  if (!last) StartSpeech();
}

double Day::HeldFrames(const Listener& listener, unsigned rate, nanoseconds begin) const {
  const auto frames = [](nanoseconds time) {
    return static_cast<double>(time / milliseconds(20)) * kPacketFrames;
  };
  // From the packet after the one that was running to the last one that is complete.
  const double played = frames(VirtualNow()) - frames(begin) - kPacketFrames;
  return played * rate / kRate - static_cast<double>(listener.Frames());
}

void Day::EndOfTenMinutes() {
  const double held_music = HeldFrames(music, 44'100, music_begin_);
  const double held_speech = HeldFrames(speech, 16'000, speech_begin_);
  Expect(std::abs(held_music - kFilterFrames) < 1, "%f frames of music are held", held_music);
  Expect(std::abs(held_speech - kFilterFrames) < 1, "%f frames of speech are held", held_speech);
  const std::uint64_t silent_packets = minutes(10) / milliseconds(20) - 1;
  Expect(silent_frames == silent_packets * kPacketFrames && sounding_packets == 0,
         "%llu frames of silence, %llu packets with sound",
         static_cast<unsigned long long>(silent_frames),
         static_cast<unsigned long long>(sounding_packets));
  Expect(music.LargestError() < 1 && speech.LargestError() < 1, "errors of %f and %f",
         music.LargestError(), speech.LargestError());
  for (const Listener* const listener : {&music, &speech})
    Expect(listener->WrongLevel().empty(), "%s", listener->WrongLevel().c_str());
  music.Compare(false);
  speech.Compare(false);
  Plot(PresentHoldings());
  Expect(ZevraStopPlay(silence_) == 0 && ZevraStopCapture(silence_) == 0 &&
             ZevraStopCapture(speech_) == 0 && ZevraCloseDevice(speech_) == 0,
         "a stop");
  speech_ = nullptr;
  CheckLog();
  // A stop of silence takes time, and each capture begins in the middle of a packet.
  VirtualSleepUntil((VirtualNow() / milliseconds(20) + 1) * milliseconds(20) + milliseconds(10));
}

// Every ten minutes the settings switch the traces on or off.
void Day::CheckLog() {
  const std::uint64_t before = log_.TraceLines();
  const std::string wrong = log_.Check(kMostBackups);
  Expect(wrong.empty(), "%s", wrong.c_str());
  const std::uint64_t traces = log_.TraceLines() - before;
  Expect(traces_ ? traces + kTracesInDoubt >= kTracesOfReads : traces <= kTracesInDoubt,
         "%llu traces", static_cast<unsigned long long>(traces));
  traces_ = !traces_;
  WriteSettings(traces_);
}

// With the first hour, or half of a shorter run, everything has been taken that is kept.
void Day::CheckHoldings() {
  const Holdings now = PresentHoldings();
  const long handles = OpenHandles();
  if (VirtualNow() < std::min<nanoseconds>(hours(1), length_ / 2)) {
    first_ = now;
    first_handles_ = handles;
  }
  Expect(now.descriptors == first_.descriptors && now.threads == first_.threads &&
             handles == first_handles_ && now.heap_bytes <= first_.heap_bytes + kHeapSlackBytes,
         "%ld descriptors, %ld threads, %ld handles, %zu bytes, after %zu", now.descriptors,
         now.threads, handles, now.heap_bytes, first_.heap_bytes);
  if (rounds_ % 6 != 0) return;
  std::printf(
      "%2u h: %ld descriptors, %ld threads, %ld handles, heap %zu bytes, %.1f frames held, "
      "%llu lines in %zu backups, %.1f min\n",
      rounds_ / 6, now.descriptors, now.threads, handles, now.heap_bytes,
      HeldFrames(music, 44'100, music_begin_), static_cast<unsigned long long>(log_.Lines()),
      log_.Backups(), static_cast<double>(NowMs() - real_begin_ms_) / 60'000);
  std::fflush(stdout);
}

void Day::WriteSettings(bool traces) const {
  std::ofstream(folder_ / "zevra.cfu") << "[logger]\nmaxsize=65536\nmaxcount=" << kMostBackups
                                       << "\nlevel=" << (traces ? "all" : "debug") << '\n';
}

// A row for gnuplot: hour, heap in KiB, frames held.
void Day::Plot(const Holdings& now) {
  std::ofstream(folder_ / "soak.dat", std::ios::app)
      << std::chrono::duration<double, std::ratio<3600>>(VirtualNow()).count() << ' '
      << static_cast<double>(now.heap_bytes) / 1024 << ' '
      << HeldFrames(music, 44'100, music_begin_) << '\n';
}

}  // namespace
}  // namespace zevra::endurance

// soak HOURS. The log, its settings and soak.dat lie beside the program.
int main(int count, char** arguments) {
  const double simulated = count > 1 ? std::stod(arguments[1]) : 24;
  // One core does it all: the threads take turns anyway.
  cpu_set_t one;
  CPU_ZERO(&one);
  CPU_SET(sched_getcpu(), &one);
  sched_setaffinity(0, sizeof one, &one);
  const std::chrono::duration<double, std::ratio<3600>> length(simulated);
  return zevra::endurance::Day(std::chrono::duration_cast<std::chrono::nanoseconds>(length),
                               std::filesystem::read_symlink("/proc/self/exe").parent_path())
      .Run();
}
