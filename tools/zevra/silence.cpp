#include <chrono>
#include <cstdio>
#include <thread>

#include "tools/zevra/capture.h"
#include "tools/zevra/commands.h"
#include "tools/zevra/device.h"
#include "tools/zevra/meter.h"
#include "tools/zevra/session.h"
#include "tools/zevra/terminal.h"
#include "tools/zevra/text.h"

namespace zevra::command {
namespace {

using std::chrono::steady_clock;

constexpr std::chrono::milliseconds kLookTime{50};
constexpr std::chrono::seconds kCheckTime{1};

}  // namespace

void Silence(const Options& options) {
  const Session session(options.endpoint.builtin);
  EndpointChoice choice = options.endpoint;
  choice.flow = Flow::kRender;
  const Device device = OpenDevice(session, choice);
  const KeepAlive silence(device);
  if (silence.result() != ZEVRA_OK)
    throw Failure("can't play silence on " + device.Text() + ": " + ResultText(silence.result()));
  Terminal terminal(stdout);
  if (!options.quiet) terminal.Line("Playing silence on " + device.Text());

  const auto begin = steady_clock::now();
  auto checked = begin;
  const auto elapsed = [begin] {
    return std::chrono::duration<double>(steady_clock::now() - begin).count();
  };
  while (!Interrupted() && (!options.seconds || elapsed() < *options.seconds)) {
    std::this_thread::sleep_for(kLookTime);
    if (terminal.IsLive() && !options.quiet) {
      const char* const hint = options.seconds ? "" : "  Ctrl-C ends it";
      terminal.Redraw({"  " + TimeText(elapsed()) + hint});
    }
    if (steady_clock::now() - checked < kCheckTime) continue;
    checked = steady_clock::now();
    if (!silence.StillPlays()) throw Failure(device.Text() + " went away");
  }
  terminal.Erase();
  if (!options.quiet) terminal.Line("Played silence for " + TimeText(elapsed()));
}

}  // namespace zevra::command
