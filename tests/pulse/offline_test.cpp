#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <functional>
#include <string>

#include "zevra/zevra.h"

namespace zevra::test {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::seconds;

// Every question ends, and in time.
void ExpectNoServer(seconds patience) {
  ZevraDeviceList list{};
  ZevraHandle handle = nullptr;
  const std::function<std::int32_t()> questions[] = {
      [&] { return ZevraGetDeviceList(&list); },
      [&] { return ZevraOpenDevice(&handle, nullptr, ZEVRA_FLOW_RENDER); }};
  for (const auto& ask : questions) {
    const auto begin = Clock::now();
    EXPECT_EQ(ask(), ZEVRA_E_SERVICE_NOT_RUNNING);
    EXPECT_LT(Clock::now() - begin, patience);
  }
}

TEST(PulseOffline, AServerThatIsNotThereOrSaysNothing) {
  ASSERT_GE(ZevraInitialize(), 0);
  // NOLINTNEXTLINE(concurrency-mt-unsafe): no other thread runs yet
  ASSERT_EQ(setenv("PULSE_SERVER", "unix:/nonexistent/native", 1), 0);
  ExpectNoServer(seconds(1));

  // One that takes connections and says nothing.
  sockaddr_un address{AF_UNIX, "/tmp/zevra-mute-XXXXXX"};
  const int placeholder = mkstemp(address.sun_path);
  const int mute = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  unlink(address.sun_path);
  ASSERT_EQ(bind(mute, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  ASSERT_EQ(listen(mute, 8), 0);
  // NOLINTNEXTLINE(concurrency-mt-unsafe)
  setenv("PULSE_SERVER", (std::string("unix:") + address.sun_path).c_str(), 1);
  ExpectNoServer(seconds(5));
  unlink(address.sun_path);
  close(mute);
  close(placeholder);
  ZevraUninitialize();
}

}  // namespace
}  // namespace zevra::test
