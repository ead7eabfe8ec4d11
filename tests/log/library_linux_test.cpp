// The libraries as they are shipped, behind the loader.

#include <dlfcn.h>
#include <pthread.h>

#include "log/log.h"
#include "log_test.h"
#include "support/counting_heap.h"
#include "zevra/zevra.h"

namespace zevra::test {
namespace {

struct Shipped : LogTest {
  template <class... Arguments>
  std::int32_t Call(const char* name, Arguments... arguments) {
    const auto function = reinterpret_cast<std::int32_t (*)(Arguments...)>(::dlsym(library, name));
    return function(arguments...);
  }

  void CallEverything() {
    const ZevraAudioFormat format{ZEVRA_SAMPLE_PCM, 1, 16, 16'000, 0, 16, 0};
    const ZevraCaptureCallback callback = nullptr;
    auto list = std::make_unique<ZevraDeviceList>();
    float volume = 0;
    EXPECT_GE(Call("ZevraInitialize"), 0);
    Call("ZevraGetDeviceList", list.get());
    ZevraHandle handle = nullptr;
    Call("ZevraOpenDevice", &handle, u"no such endpoint", std::uint32_t{ZEVRA_FLOW_RENDER});
    Call("ZevraOpenDevice", &handle, static_cast<const ZevraChar*>(nullptr),
         std::uint32_t{ZEVRA_FLOW_RENDER});
    Call("ZevraStartCapture", handle, &format, callback, static_cast<void*>(nullptr));
    Call("ZevraStartPlay", handle);
    Call("ZevraGetVolume", handle, &volume);
    for (const char* stop : {"ZevraStopCapture", "ZevraStopPlay", "ZevraCloseDevice"})
      Call(stop, handle);
    Call("ZevraUninitialize");
  }

  // The first lines are in the backup that the rotation left.
  static bool LoggedIn(const fs::path& directory, const std::string& line) {
    const fs::directory_iterator files(directory);
    return std::any_of(begin(files), end(files), [&](const fs::path& file) {
      return file.extension() == ".log" && Read(file).find(line + "\n") != std::string::npos;
    });
  }

  void* library = nullptr;
};

TEST_F(Shipped, StaysLoadedOnASmallStackOfACancelledThread) {
  ::setenv("PULSE_SERVER", "unix:/nowhere", 1);  // NOLINT(concurrency-mt-unsafe): one thread
  for (const char* const path : {ZEVRA_TEST_LIBRARY, ZEVRA_TEST_TWIN}) {
    const fs::path copy = dir / fs::path(path).filename() / "library.so";
    fs::create_directory(copy.parent_path());
    fs::copy_file(path, copy);
    Write(copy.parent_path() / "zevra.cfu", "[logger]\nmaxsize=65536\nlevel=all\nflush=1\n");
    Write(copy.parent_path() / "zevra.log", std::string(65000, 'x'));  // the first line rotates
    library = ::dlopen(copy.c_str(), RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr);
    pthread_attr_t attributes;
    ::pthread_attr_init(&attributes);
    ::pthread_attr_setstacksize(&attributes, 160 << 10);
    pthread_t thread{};
    const auto run = [](void* test) -> void* {
      ::pthread_cancel(::pthread_self());  // takes effect where the thread can be cancelled
      static_cast<Shipped*>(test)->CallEverything();
      ::pthread_testcancel();
      return nullptr;
    };
    ASSERT_EQ(::pthread_create(&thread, &attributes, run, this), 0);
    void* result = nullptr;
    ::pthread_join(thread, &result);
    EXPECT_EQ(result, PTHREAD_CANCELED);
    EXPECT_EQ(std::distance(fs::directory_iterator(copy.parent_path()), {}), 4) << "it rotated";
    for (const char* const line :
         {"ZevraInitialize | srlog_open succeed!", "::ZevraGetDeviceList | enter.",
          "::ZevraGetDeviceList | leave."})
      EXPECT_TRUE(LoggedIn(copy.parent_path(), line)) << line;

    for (int round = 0; round < 1100; ++round) {
      ::dlclose(library);
      library = ::dlopen(copy.c_str(), RTLD_NOW | RTLD_LOCAL);
      EXPECT_GE(Call("ZevraInitialize"), 0);
      Call("ZevraUninitialize");
    }
    const std::string log = Read(copy.parent_path() / "zevra.log");
    EXPECT_EQ(log.find("Created"), std::string::npos) << "a second logger";
    EXPECT_NE(log.find("Continued"), std::string::npos);
    EXPECT_NE(log.find("\tModule:      " + copy.string() + " 20"), std::string::npos) << "its time";
  }
}

TEST_F(Shipped, HasNoLogAndNoSettingsWhereItsPathIsTooLong) {
  const fs::path deep = dir / std::string(200, 'd') / std::string(60, 'd');
  fs::create_directories(deep);
  fs::copy_file(ZEVRA_TEST_TWIN, deep / "library.so");
  Write(dir / "zevra.cfu", "[logger]\nfile=planted.log\nlevel=0xff\nflush=1\n");
  const fs::path before = fs::current_path();
  fs::current_path(dir);
  library = ::dlopen((deep / "library.so").c_str(), RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(library, nullptr);
  CallEverything();
  for (const char* const name : {"planted.log", "zevra.log"})
    EXPECT_FALSE(fs::exists(dir / name) || fs::exists(deep / name)) << name;
  fs::current_path(before);
}

TEST_F(Shipped, ADefaultLineTakesNothingFromTheHeap) {
  Process_Logger logger;
  settings.values.level = 0xFF;
  ASSERT_EQ(logger.open(&settings, nullptr, 0), 0);
  process_logger = &logger;
  ZEVRA_LOG_VERBOSE("first %d", 1);  // looks at the settings file, as one line in 11 seconds does
  const long before = Allocations();
  for (int i = 0; i < 100; ++i) {
    ZEVRA_LOG_VERBOSE("::ZevraGetDeviceList | error | GetCount %x", 0x80004005u);
    ZEVRA_LOG_ERROR("%s | enter.", "::ZevraGetDeviceList");
  }
  EXPECT_EQ(Allocations(), before);
  process_logger = nullptr;
}

}  // namespace
}  // namespace zevra::test
