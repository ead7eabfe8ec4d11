#ifndef ZEVRA_TESTS_SERVERS_SERVER_TOOLS_H
#define ZEVRA_TESTS_SERVERS_SERVER_TOOLS_H

#include <pulse/simple.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

// The server as its other clients see it.

namespace zevra::test {

// Lines that the shell command printed. A failing command fails the test.
std::vector<std::string> Shell(const std::string& command);

// A null sink of the test's own, removed at the end unless it has gone before.
class Sink {
 public:
  Sink(const std::string& name, const std::string& description);
  ~Sink() { Remove(); }
  Sink(const Sink&) = delete;
  Sink& operator=(const Sink&) = delete;
  void Remove();

 private:
  std::string module_;
};

// One channel of what a Tones plays; full scale is 1.0.
struct Tone {
  int hertz;
  double level;
};

// Plays a sine on each channel of a sink, at 48 kHz, until its end or the server's. A second of it
// is always queued, so that a busy machine leaves no gap.
class Tones {
 public:
  Tones(const std::string& sink, std::vector<Tone> channels);
  ~Tones();
  Tones(const Tones&) = delete;
  Tones& operator=(const Tones&) = delete;

 private:
  void Play(const std::vector<Tone>& channels);

  std::unique_ptr<pa_simple, decltype(&pa_simple_free)> stream_{nullptr, &pa_simple_free};
  std::atomic<bool> ends_{false};
  std::thread thread_;
};

}  // namespace zevra::test

#endif
