#ifndef ZEVRA_TESTS_SUPPORT_LINUX_SOUND_SERVER_H
#define ZEVRA_TESTS_SUPPORT_LINUX_SOUND_SERVER_H

#include <sys/types.h>

#include <string>
#include <vector>

// The private server that a test runs beside, as its other clients see it.

namespace zevra::test {

// Lines that the shell command printed. A failing command fails the test.
std::vector<std::string> Shell(const std::string& command);

// Signals the process that clients talk to.
void SignalServer(int signal);

// A channel map names each channel, parted by commas.
inline constexpr const char* kStereo = "front-left,front-right";

// A null sink of the test's own, 48 kHz float; removed at the end unless it has gone before.
class NullSink {
 public:
  NullSink(const std::string& name, const std::string& description,
           const std::string& channel_map = kStereo);
  ~NullSink() { Remove(); }
  NullSink(const NullSink&) = delete;
  NullSink& operator=(const NullSink&) = delete;
  void Remove();

 private:
  std::string module_;
};

// The server's own player with 48 kHz float frames for a sink, on its way until the object goes.
// A second is always queued, so that a busy machine leaves no gap.
class Player {
 public:
  enum Times { kOnce, kOverAndOver };
  Player(const std::string& sink, const std::vector<float>& samples, Times times,
         const std::string& channel_map = kStereo);
  ~Player();
  Player(const Player&) = delete;
  Player& operator=(const Player&) = delete;

 private:
  std::string file_;
  pid_t group_ = -1;
};

}  // namespace zevra::test

#endif
