#include <cstdio>

#include "tools/zevra/commands.h"
#include "tools/zevra/device.h"
#include "tools/zevra/failure.h"
#include "tools/zevra/result_text.h"
#include "tools/zevra/session.h"

namespace zevra::command {

void Volume(const Options& options) {
  const Session session(options.endpoint.builtin);
  const Device device = OpenDevice(session, options.endpoint);
  float volume = 0;
  const std::int32_t result = device.library().GetVolume(device.handle(), &volume);
  if (result < 0)
    throw Failure("can't read the volume of " + device.Text() + ": " + ResultText(result));
  std::printf("%s: %.0f %%\n", device.name().empty() ? "default" : device.name().c_str(),
              static_cast<double>(volume) * 100);
}

}  // namespace zevra::command
