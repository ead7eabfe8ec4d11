#include "platform/com.h"

#include <gtest/gtest.h>

#include <thread>

#include "platform/media_foundation.h"
#include "platform/owners.h"

namespace {

using zevra::platform::ComPtr;

TEST(Com, EachThreadIsOpenedForItself) {
  CoUninitialize();
  EXPECT_EQ(CoInitialize(nullptr), S_OK);
  EXPECT_EQ(CoInitialize(nullptr), S_FALSE);
  std::thread([] { EXPECT_EQ(CoInitialize(nullptr), S_OK); }).join();
  CoUninitialize();
  EXPECT_TRUE(zevra::platform::ComIsInitialized());
  CoUninitialize();
  EXPECT_FALSE(zevra::platform::ComIsInitialized());
}

TEST(Com, CreationSaysWhyItFailed) {
  constexpr CLSID kUnknownClass = {1, 2, 3, {4}};
  int outer = 0;
  const struct {
    const CLSID& class_id;
    const IID& iid;
    HRESULT result = S_OK;
    DWORD context = CLSCTX_ALL;
    bool initialized = true;
    bool has_outer = false;
  } cases[] = {
      {CLSID_CResamplerMediaObject, IID_IUnknown, S_OK, CLSCTX_INPROC_SERVER},
      {CLSID_CResamplerMediaObject, IID_IMFTransform, S_OK},
      {CLSID_CResamplerMediaObject, IID_IMFSample, E_NOINTERFACE},
      {CLSID_CResamplerMediaObject, IID_IUnknown, CLASS_E_NOAGGREGATION, CLSCTX_ALL, true, true},
      {CLSID_CResamplerMediaObject, IID_IUnknown, REGDB_E_CLASSNOTREG, 4},
      {kUnknownClass, IID_IUnknown, REGDB_E_CLASSNOTREG},
      {CLSID_CResamplerMediaObject, IID_IUnknown, CO_E_NOTINITIALIZED, CLSCTX_ALL, false},
  };
  for (const auto& c : cases) {
    if (c.initialized) CoInitialize(nullptr);
    ComPtr<IUnknown> object;
    auto* const outer_object = c.has_outer ? reinterpret_cast<IUnknown*>(&outer) : nullptr;
    EXPECT_EQ(CoCreateInstance(c.class_id, outer_object, c.context, c.iid, object.PutVoid()),
              c.result);
    EXPECT_EQ(static_cast<bool>(object), c.result == S_OK);
    object.Reset();
    if (c.initialized) CoUninitialize();
  }
}

}  // namespace
