// The DLL as it is shipped, behind the loader.

#include <windows.h>

#include "log_test.h"

namespace zevra::test {

using Shipped = LogTest;

TEST_F(Shipped, StaysLoadedHoweverOftenItIsGivenBack) {
  fs::copy_file(ZEVRA_TEST_LIBRARY, dir / "zevra.dll");
  DWORD handles = 0;
  DWORD handles_at_end = 0;
  for (int round = 0; round < 1100; ++round) {
    const HMODULE library = ::LoadLibraryA((dir / "zevra.dll").string().c_str());
    ASSERT_NE(library, nullptr);
    for (const char* name : {"ZevraInitialize", "ZevraUninitialize"})
      EXPECT_GE(static_cast<std::int32_t>(::GetProcAddress(library, name)()), 0);
    ::FreeLibrary(library);
    ::GetProcessHandleCount(::GetCurrentProcess(), round == 10 ? &handles : &handles_at_end);
  }
  EXPECT_EQ(handles_at_end, handles);
  const std::string log = Read(dir / "zevra.log");
  EXPECT_EQ(log.find("Created"), log.rfind("Created")) << "a second logger";
}

}  // namespace zevra::test
