#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>

#include "server_host.h"

namespace zevra::test {
namespace {

class PulseOffline : public ServerTest {};

TEST_F(PulseOffline, AServerThatIsNotThereOrSaysNothing) {
  // NOLINTNEXTLINE(concurrency-mt-unsafe): no other thread runs yet
  ASSERT_EQ(setenv("PULSE_SERVER", "unix:/nonexistent/native", 1), 0);
  EXPECT_LT(SecondsOf([] { ExpectNoServer(nullptr); }), 1);

  // One that takes connections and says nothing.
  sockaddr_un address{AF_UNIX, "/tmp/zevra-mute-XXXXXX"};
  const int placeholder = mkstemp(address.sun_path);
  const int mute = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  unlink(address.sun_path);
  ASSERT_EQ(bind(mute, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  ASSERT_EQ(listen(mute, 8), 0);
  // NOLINTNEXTLINE(concurrency-mt-unsafe)
  setenv("PULSE_SERVER", (std::string("unix:") + address.sun_path).c_str(), 1);
  ExpectNoServer(nullptr);
  unlink(address.sun_path);
  close(mute);
  close(placeholder);
}

}  // namespace
}  // namespace zevra::test
