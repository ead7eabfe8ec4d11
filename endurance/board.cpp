#include "endurance/board.h"

#include <sys/mman.h>
#include <unistd.h>

#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <thread>

namespace zevra::endurance {
namespace {

Board* board = nullptr;

}  // namespace

// A server that does not answer is given three seconds, by each of the streams that a call has to
// do with. A stop sleeps for up to half a second besides.
const std::array<CallPromise, kCalls> kPromises{{{"ZevraInitialize", 1000},
                                                 {"ZevraUninitialize", 1000},
                                                 {"a list", 3500},
                                                 {"ZevraOpenDevice", 3500},
                                                 {"ZevraCloseDevice", 7000},
                                                 {"ZevraStartPlay", 7000},
                                                 {"ZevraStopPlay", 3500},
                                                 {"ZevraStartCapture", 7000},
                                                 {"ZevraStopCapture", 3500},
                                                 {"ZevraGetVolume", 3500}}};

Board& TheBoard() { return *board; }

int MapBoard(int descriptor) {
  const bool made = descriptor < 0;
  if (made) {
    descriptor = memfd_create("board", 0);
    if (descriptor < 0 || ftruncate(descriptor, sizeof(Board)) != 0) std::abort();
  }
  void* const memory =
      mmap(nullptr, sizeof(Board), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
  if (memory == MAP_FAILED) std::abort();
  board = made ? new (memory) Board{} : static_cast<Board*>(memory);
  if (made) board->begin_ms = NowMs();
  return descriptor;
}

std::int64_t NowMs() {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
}

void Pause(int milliseconds) {
  std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

void Note(const char* format, ...) {
  Event& event = board->latest.at(board->events++ % board->latest.size());
  event.at_ms = NowMs() - board->begin_ms;
  std::va_list arguments;
  va_start(arguments, format);
  // A reader may see half of a text: it is for people.
  // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): va_start is not seen
  std::vsnprintf(event.text.data(), event.text.size(), format, arguments);
  va_end(arguments);
}

void Fail(const char* format, ...) {
  static std::atomic<bool> mine;
  if (mine.exchange(true) || board->failure[0] != 0) return;
  std::va_list arguments;
  va_start(arguments, format);
  // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): va_start is not seen
  std::vsnprintf(board->failure.data(), board->failure.size(), format, arguments);
  va_end(arguments);
  board->failed = true;
}

}  // namespace zevra::endurance
