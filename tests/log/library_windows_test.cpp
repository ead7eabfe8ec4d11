// The DLL as it is shipped, behind the loader.

#include <windows.h>

#include "log_test.h"

namespace zevra::test {
namespace {

using Shipped = LogTest;

TEST_F(Shipped, StaysLoadedHoweverOftenItIsGivenBack) {
  fs::copy_file(ZEVRA_TEST_LIBRARY, dir / "zevra.dll");
  for (int round = 0; round < 1100; ++round) {
    const HMODULE library = ::LoadLibraryA((dir / "zevra.dll").string().c_str());
    ASSERT_NE(library, nullptr);
    for (const char* name : {"ZevraInitialize", "ZevraUninitialize"})
      EXPECT_GE(static_cast<std::int32_t>(::GetProcAddress(library, name)()), 0);
    ::FreeLibrary(library);
  }
  const std::string log = Read(dir / "zevra.log");
  EXPECT_NE(log.find("Created"), std::string::npos) << "no file can be opened any more";
  EXPECT_EQ(log.find("Created"), log.rfind("Created")) << "a second logger";
}

}  // namespace
}  // namespace zevra::test
