#include <poll.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <set>
#include <thread>

#include "log/log.h"
#include "log/paths.h"
#include "log_test.h"

namespace zevra::test {
namespace {

using Processes = LogTest;

// Runs `work` in a child and gives its id.
template <class Work>
pid_t InChild(Work work) {
  const pid_t child = ::fork();
  if (child == 0) {
    work();
    ::_exit(testing::Test::HasFailure() ? 1 : 0);
  }
  return child;
}

int StatusOf(pid_t child) {
  int status = -1;
  ::waitpid(child, &status, 0);
  return status;
}

template <class Work>
void InThreads(int count, Work work) {
  std::vector<std::thread> threads;
  for (int thread = 0; thread < count; ++thread) threads.emplace_back([=] { work(thread); });
  for (std::thread& thread : threads) thread.join();
}

// A write is seen while it grows over a page, and is no line that a run left unfinished.
TEST_F(Processes, AnOpenLeavesALineAloneThatIsJustBeingWritten) {
  const pid_t writer = InChild([&] {
    Log_IO_FILE file;
    ASSERT_EQ(file.open(settings.file(), nullptr, 0, 0), 0);
    const std::string line = std::string(449, 'x') + "\n";
    for (int i = 0; i < 50000; ++i) {
      file.puts(line.c_str());
      file.flush();
    }
  });
  int status = -1;
  while (::waitpid(writer, &status, WNOHANG) == 0) {
    Log_IO_FILE other;
    EXPECT_EQ(other.open(settings.file(), nullptr, 0, 0), 0);
  }
  EXPECT_EQ(status, 0);
  EXPECT_EQ(Read(settings.file()).find("\n\n"), std::string::npos);
}

// Tells byte by byte what another process has reached.
struct Pipe {
  Pipe() { EXPECT_EQ(::pipe(ends), 0); }
  void Tell() const { EXPECT_EQ(::write(ends[1], "x", 1), 1); }
  bool Told(int within_ms) const {
    pollfd ready{ends[0], POLLIN, 0};
    char byte = 0;
    return ::poll(&ready, 1, within_ms) == 1 && ::read(ends[0], &byte, 1) == 1;
  }
  int ends[2];
};

// The holder and the one that waits are each the first process of a namespace of its own, where it
// may have one: both have the id 1.
TEST(NamedMutex, PassesOnHoweverItsHolderLeaves) {
  for (const char* const way : {"released", "closed", "ended"}) {
    const Pipe held, leave, passed;
    const auto use = [&](bool first) {
      return InChild([&, first] {
        static_cast<void>(::unshare(CLONE_NEWPID));
        const pid_t inner = InChild([&] {
          Log_Win32_Process_Mutex mutex;
          mutex.open("zevra test mutex");
          EXPECT_EQ(mutex.acquire(kWaitForEver), 0);
          EXPECT_EQ(mutex.acquire(kWaitForEver), 0) << "again by its own thread";
          (first ? held : passed).Tell();
          EXPECT_TRUE(!first || leave.Told(10000));
          if (first && way[0] == 'e') ::_exit(0);
          for (int i = 0; i < 2 && way[0] == 'r'; ++i) mutex.release();
        });
        EXPECT_EQ(StatusOf(inner), 0);
      });
    };
    const pid_t holder = use(true);
    ASSERT_TRUE(held.Told(10000));
    Log_Win32_Process_Mutex mutex;
    ASSERT_EQ(mutex.open("zevra test mutex"), 0);
    EXPECT_EQ(mutex.acquire(20), 0) << "a wait that ran out";
    mutex.release();
    mutex.close();
    const pid_t waiter = use(false);
    EXPECT_FALSE(passed.Told(100)) << "the holder still has it";
    leave.Tell();
    EXPECT_TRUE(passed.Told(10000)) << way;
    EXPECT_EQ(StatusOf(holder), 0);
    EXPECT_EQ(StatusOf(waiter), 0);
  }
  EXPECT_FALSE(fs::exists("/dev/shm/zevra test mutex." + std::to_string(::geteuid())));
}

TEST(NamedMutex, OrdersTheThreadsWhereNoMemoryCanBeShared) {
  EXPECT_EQ(StatusOf(InChild([] {
              const rlimit none{3, 3};
              ::setrlimit(RLIMIT_NOFILE, &none);
              int inside = 0;  // no two threads at a time
              InThreads(
                  8,
                  [&](int) {
                    Log_Win32_Process_Mutex mutex;
                    EXPECT_NE(mutex.open("zevra test mutex"), 0);
                    const lock_guard hold(&mutex);
                    EXPECT_EQ(++inside, 1);
                    ::usleep(2000);
                    --inside;
                  });
            })),
            0);
}

// In a child, since a process has one logger for good.
TEST_F(Processes, OneLoggerForAllThreadsAndThroughForks) {
  char directory[kPathBytes];
  const fs::path beside = module_directory(directory, kThisLibrary);
  Write(beside / "zevra.cfu", "[logger]\nlevel=all\nstyle=16\nfile=" + Path("sub/p.log"));
  EXPECT_EQ(StatusOf(InChild([&] {
              InThreads(8, [](int thread) {
                SetUpProcessLogger();
                for (int i = 0; i < 2000; ++i) {
                  ZEVRA_LOG_VERBOSE("%d %d", thread, i);
                  if (thread != 0 || i % 100 != 0) continue;
                  EXPECT_EQ(StatusOf(InChild([=] {
                              ::alarm(10);  // ends a child that hangs
                              ZEVRA_LOG_ERROR("a child of %d", i);
                            })),
                            0);
                }
              });
              EXPECT_EQ(srlog_open(nullptr), -1);
              const Log_Settings& cfg = ProcessLoggerInUse()->cfg();
              EXPECT_STREQ(cfg.title(), "zevra logging");
              EXPECT_EQ(cfg.module(), kThisLibrary);
              ProcessLoggerInUse()->BeforeFork();  // flushes
            })),
            0);
  const std::vector<std::string> lines = Lines(Read(dir / "sub/p.log"));
  EXPECT_EQ(lines.size(), 8u + 8 * 2000 + 20) << "one banner of eight lines, no line lost or twice";
  EXPECT_EQ(std::set<std::string>(lines.begin(), lines.end()).size(), lines.size() - 1);
  fs::remove(beside / "zevra.cfu");
}

}  // namespace
}  // namespace zevra::test
