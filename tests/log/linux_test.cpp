// What Linux does its own way, and what only it lets a test do: odd files, the outputs beside the
// file, the reader of profiles, other processes.

#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <sys/inotify.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <set>

#include "log/log.h"
#include "log/paths.h"
#include "log_test.h"

namespace zevra::test {
namespace {

using OnLinux = LogTest;

// What a child ends with that runs `work`.
template <class Work>
int InChild(Work work) {
  const pid_t child = ::fork();
  if (child == 0) {
    work();
    ::_exit(testing::Test::HasFailure() ? 1 : 0);
  }
  int status = -1;
  ::waitpid(child, &status, 0);
  return status;
}

// The child has a folder of its own at `path`, where that is allowed.
template <class Work>
void WithOwnFolder(const char* path, const char* options, Work work) {
  const int status = InChild([&] {
    if (::unshare(CLONE_NEWNS) != 0 || ::mount("", "/", "", MS_REC | MS_PRIVATE, "") != 0 ||
        ::mount("", path, "tmpfs", 0, options) != 0)
      ::_exit(77);
    work();
  });
  if (status == 77 << 8) GTEST_SKIP() << "no folder of our own here";
  EXPECT_EQ(status, 0);
}

TEST_F(OnLinux, ChildrenDoNotInheritThemPipesAreRefusedAndWideTextIsUtf8) {
  ::mkfifo(Path("pipe").c_str(), 0600);
  for (const std::int32_t mode : {0, 1, 2, 3}) {
    Log_IO_FILE io;
    EXPECT_NE(io.open(Path("pipe").c_str(), nullptr, mode, 0), 0) << "it would hold the host up";
    ASSERT_EQ(io.open(Path("z.log").c_str(), nullptr, mode, 0), 0);
    EXPECT_NE(::fcntl(::fileno(io.handle()), F_GETFD) & FD_CLOEXEC, 0);
    io.puts_w(L"\u00E4\U0001F3B5\n");
  }
  EXPECT_EQ(Read(dir / "z.log"), "\xC3\xA4\xF0\x9F\x8E\xB5\n");
  settings.values.style = 16;
  EXPECT_EQ(Logged([](Process_Logger& logger) { logger.log_error("%ls", L"\xD800"); }), "%ls\n")
      << "what cannot be formatted shows as its format";
}

TEST_F(OnLinux, AMovedOrRemovedLogLosesNoLineAndIsMadeAgain) {
  settings.values.style = 16;
  settings.values.maxsize = 9;
  for (const bool moved : {true, false}) {
    Process_Logger logger(kClock);
    ASSERT_EQ(logger.open(&settings, nullptr, 0), 0);
    logger.log_error("one");
    fs::rename(settings.file(), dir / "moved.log");
    if (moved) Write(settings.file(), "new\n");
    if (!moved) fs::remove(dir / "moved.log");
    logger.log_error("two");
    logger.log_error("three");
    EXPECT_EQ(Read(dir / "z_2025-03-14_09-26-53.log"), "one\ntwo\n");
    EXPECT_TRUE(!moved || Read(dir / "moved.log") == "three\n");
    EXPECT_TRUE(!moved || Read(settings.file()) == "new\n");
    now += 11;
    logger.log_error("4");
    EXPECT_EQ(Read(settings.file()), moved ? "new\n4\n" : "4\n");
    logger.close();
    fs::remove(settings.file());
    now -= 11;
  }
}

TEST_F(OnLinux, ASlowCopyDoesNotCutWhatAnotherProcessBegan) {
  Log_IO_FILE io;
  ASSERT_EQ(io.open(Path("z.log").c_str(), nullptr, 0, 0), 0);
  fs::resize_file(dir / "z.log", 100 << 20);  // takes a while
  std::thread other([&] {
    for (std::error_code error; fs::file_size(dir / "saved.log", error) == 0 || error;) {
    }
    Write(dir / "z.log", "another's\n");
  });
  EXPECT_EQ(io.backup(Path("saved.log").c_str()), 0);
  other.join();
  EXPECT_EQ(Read(dir / "z.log"), "another's\n");
}

TEST_F(OnLinux, AFullDiskIsLeftAloneAndTearsNoLaterLine) {
  const auto fill = [&] {
    settings.values.maxsize = 36000;
    settings.values.style = 16;
    Process_Logger logger(kClock);
    EXPECT_EQ(logger.open(&settings, nullptr, 0), 0);
    Write(dir / "z_2025-03-14_09-26-53.log", "older");
    const std::string line(1000, 'x');
    for (int i = 0; i < 40; ++i) logger.log_error("%s", line.c_str());
    EXPECT_EQ(Read(dir / "z_2025-03-14_09-26-53.log"), "older") << "no copy was tried";
    EXPECT_EQ(Lines(Read(settings.file())).size(), 40u) << "and no line lost for want of it";
    Write(dir / "other", std::string(64 << 10, 'x'));  // as much as there is
    for (int i = 0; i < 40; ++i) logger.log_error("%s", line.c_str());
    fs::remove(dir / "other");
    logger.log_error("whole");
    EXPECT_EQ(Lines(Read(settings.file())).back(), "whole");
  };
  WithOwnFolder(dir.c_str(), "size=64k", fill);
}

TEST_F(OnLinux, ConsoleAndBoxHaveTheirOwnGates) {
  settings.values.output = kOutputConsole | kOutputBox;
  settings.values.level = kLevelError | kLevelWarn;
  settings.values.console_level = kLevelWarn | kLevelTrace;
  settings.values.style = 16;
  settings.values.title = "Caption";
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  Process_Logger logger(kClock);
  logger.open(&settings, nullptr, 0);
  logger.log_error("one");
  logger.log_warn("two\nlines");
  logger.log_trace("none");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "two\nlines\n");
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "+---- Caption ---- error\n| one\n+----\n"
            "+---- Caption ---- information\n| two\n| lines\n+----\n");
}

TEST_F(OnLinux, ClosedPipesAndFullPipesDoNotStopTheHost) {
  for (const int descriptor : {STDOUT_FILENO, STDERR_FILENO}) {
    int pipe_ends[2];
    ASSERT_EQ(::pipe(pipe_ends), 0);
    std::fflush(stdout);
    const int saved = ::dup(descriptor);
    ::dup2(pipe_ends[1], descriptor);
    ::close(pipe_ends[1]);
    settings.values.output = descriptor == STDOUT_FILENO ? kOutputConsole : kOutputBox;
    Process_Logger logger(kClock);
    logger.open(&settings, nullptr, 0);
    std::string read(100000, '\0');
    for (int i = 0; i < 3000; ++i) logger.log_error("nobody reads this, which a pipe cannot hold");
    read.resize(static_cast<std::size_t>(::read(pipe_ends[0], read.data(), read.size())));
    logger.log_error("read again");
    read.resize(read.size() + 1000);
    EXPECT_GT(::read(pipe_ends[0], read.data() + read.size() - 1000, 1000), 0);
    EXPECT_NE(read.find(" lines of the log were dropped\n"), std::string::npos);
    EXPECT_NE(read.find("read again\n"), std::string::npos);
    ::close(pipe_ends[0]);
    logger.log_error("and now nobody can");
    std::fflush(stdout);  // as the host's end does
    ::dup2(saved, descriptor);
    ::close(saved);
  }
}

TEST_F(OnLinux, ASystemLogThatNobodyReadsDoesNotStopTheHost) {
  const auto flood = [&] {
    const int log = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK, 0);
    const sockaddr_un address{AF_UNIX, "/dev/log"};
    EXPECT_EQ(::bind(log, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    settings.values.output = kOutputDebugger;
    settings.values.style = 16;
    Process_Logger logger(kClock);
    logger.open(&settings, nullptr, 0);
    for (int i = 0; i < 3000; ++i) logger.log_error("unread");
    std::string all, message(1000, '\0');
    for (const bool last : {false, true}) {
      for (ssize_t size = 0; (size = ::read(log, message.data(), message.size())) > 0; all += ';')
        all.append(message, 0, static_cast<std::size_t>(size));
      if (!last) logger.log_error("read again");
    }
    EXPECT_EQ(all.substr(0, 4), "<15>");
    EXPECT_NE(all.find(": unread\n;<15>"), std::string::npos);
    EXPECT_NE(all.find(" lines of the log were dropped\n;"), std::string::npos);
  };
  WithOwnFolder("/dev", "", flood);
}

TEST_F(OnLinux, SectionsKeysQuotesAndLineEnds) {
  struct {
    const char *text, *title, *file;
  } const rows[] = {
      {"\xEF\xBB\xBF[logger]\r\ntitle=a\r\nFILE = b c  \r\n", "a", "b c"},
      {"[other]\ntitle=no\n [ LOGGER] ; x\ntitle=\"a ; b\"\nTitle=no\nfile='q", "a ; b", "'q"},
      {"[logger]\rtitle==x\r\rfile=[c]\r", "=x", "[c]"},
      {"[logger]\ntitle=\xC3\xA4\n[other]\nfile=no\n[logger]\nfile=no\n", "\xC3\xA4", "def.log"},
      {"title=no\n[log ger]\ntitle=no\n[logger]\n; title=no\ntitle\nfile=''\n", "Def", "def.log"},
      {"[logger]\ntitle=\ntitle=a\n\n\n\tfile= 'a ; b'  \n", "Def", "a ; b"}};
  for (const auto& row : rows) {
    Write(dir / "zevra.cfu", row.text);
    Log_Settings read("def.log", "Def");
    read.read_log_config("logger", Path("zevra.cfu").c_str());
    EXPECT_EQ(read.values.title, row.title) << row.text;
    EXPECT_EQ(read.values.file, row.file) << row.text;
  }
  const int watch = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
  ::inotify_add_watch(watch, Path("zevra.cfu").c_str(), IN_OPEN | IN_CLOSE);
  ::mkfifo(Path("pipe").c_str(), 0600);
  Log_Settings read;
  for (const char* const name : {"zevra.cfu", "pipe"})
    read.read_log_config("logger", Path(name).c_str());
  inotify_event events[100];
  EXPECT_EQ(::read(watch, events, sizeof events), 2 * sizeof *events) << "it is opened once";
  ::close(watch);
  EXPECT_EQ(read.level(), 7u) << "no regular file is no settings";
}

// A write is seen while it grows over a page, and is no line that a run left unfinished.
TEST_F(OnLinux, AnOpenLeavesALineAloneThatIsJustBeingWritten) {
  std::atomic<bool> done{false};
  std::jthread writer([&] {
    const auto write = [&] {
      Log_IO_FILE file;
      ASSERT_EQ(file.open(settings.file(), nullptr, 0, 0), 0);
      for (int i = 0; i < 50000; ++i, file.flush())
        file.puts((std::string(449, 'x') + "\n").c_str());
    };
    EXPECT_EQ(InChild(write), 0);
    done = true;
  });
  while (!done) EXPECT_EQ(Log_IO_FILE().open(settings.file(), nullptr, 0, 0), 0);
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

constexpr const char* kMutex = "zevra test mutex";

// The holder and the one that waits are each the first process of a namespace of its own, where it
// may have one: both have the id 1.
TEST(NamedMutex, PassesOnHoweverItsHolderLeaves) {
  for (const char* const way : {"released", "closed", "ended"}) {
    const Pipe held, leave, passed;
    const auto use = [&](bool first) {
      const auto take = [&] {
        Log_Win32_Process_Mutex mutex;
        mutex.open(kMutex);
        for (int i = 0; i < 2; ++i) EXPECT_EQ(mutex.acquire(kWaitForEver), 0) << "again by itself";
        (first ? held : passed).Tell();
        EXPECT_TRUE(!first || leave.Told(10000));
        if (first && way[0] == 'e') ::_exit(0);
        for (int i = 0; i < 2 && way[0] == 'r'; ++i) mutex.release();
      };
      const auto outer = [&] {
        static_cast<void>(::unshare(CLONE_NEWPID));
        EXPECT_EQ(InChild(take), 0);
      };
      EXPECT_EQ(InChild(outer), 0);
    };
    std::jthread holder(use, true);
    ASSERT_TRUE(held.Told(10000));
    Log_Win32_Process_Mutex mutex;
    ASSERT_EQ(mutex.open(kMutex), 0);
    EXPECT_EQ(mutex.acquire(20), 0) << "a wait that ran out";
    mutex.release();
    mutex.close();
    std::jthread waiter(use, false);
    EXPECT_FALSE(passed.Told(100)) << "the holder still has it";
    leave.Tell();
    EXPECT_TRUE(passed.Told(10000)) << way;
  }
  EXPECT_FALSE(fs::exists("/dev/shm/" + (kMutex + ("." + std::to_string(::geteuid())))));
}

TEST(NamedMutex, OrdersTheThreadsWhereNoMemoryCanBeShared) {
  const auto use = [] {
    int inside = 0;  // no two threads at a time
    InThreads(8, [&inside](int) {
      Log_Win32_Process_Mutex mutex;
      EXPECT_NE(mutex.open(kMutex), 0);
      const lock_guard hold(&mutex);
      EXPECT_EQ(++inside, 1);
      ::usleep(2000);
      --inside;
    });
  };
  WithOwnFolder("/dev/shm", "nr_inodes=1", use);  // the folder itself is the one
}

// In a child, since a process has one logger for good.
TEST_F(OnLinux, OneLoggerForAllThreadsAndThroughForks) {
  char directory[kPathBytes];
  const fs::path beside = module_directory(directory, kThisLibrary);
  Write(beside / "zevra.cfu", "[logger]\nlevel=all\nstyle=16\nfile=" + Path("sub/p.log"));
  const auto log_and_fork = [](int thread) {
    SetUpProcessLogger();
    for (int i = 0; i < 2000; ++i) {
      ZEVRA_LOG_VERBOSE("%d %d", thread, i);
      const auto log = [=] {
        ::alarm(10);  // ends a child that hangs
        ZEVRA_LOG_ERROR("a child of %d", i);
      };
      if (thread == 0 && i % 100 == 0) EXPECT_EQ(InChild(log), 0);
    }
  };
  const auto use = [&] {
    InThreads(8, log_and_fork);
    EXPECT_EQ(srlog_open(nullptr), -1);
    EXPECT_STREQ(ProcessLoggerInUse()->cfg().title(), "zevra logging");
    EXPECT_EQ(ProcessLoggerInUse()->cfg().module(), kThisLibrary);
    ProcessLoggerInUse()->BeforeFork();  // flushes
  };
  EXPECT_EQ(InChild(use), 0);
  fs::remove(beside / "zevra.cfu");
  const std::vector<std::string> lines = Lines(Read(dir / "sub/p.log"));
  EXPECT_EQ(lines.size(), 8u + 8 * 2000 + 20) << "one banner of eight lines, no line lost or twice";
  EXPECT_EQ(std::set<std::string>(lines.begin(), lines.end()).size(), lines.size() - 1);
}

}  // namespace
}  // namespace zevra::test
