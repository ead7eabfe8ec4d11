#include "platform/media_foundation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "platform/linux/block_cache.h"
#include "platform/owners.h"

namespace {

using zevra::platform::ComPtr;

TEST(MediaFoundation, AttributesKeepTheirTypeAndLastValue) {
  ComPtr<IMFMediaType> type;
  ASSERT_EQ(MFCreateMediaType(type.Put()), S_OK);
  UINT32 number = 0;
  EXPECT_EQ(type->GetUINT32(MF_MT_AUDIO_CHANNEL_MASK, &number), MF_E_ATTRIBUTENOTFOUND);
  EXPECT_EQ(type->SetGUID(MF_MT_AUDIO_CHANNEL_MASK, MFAudioFormat_PCM), S_OK);
  EXPECT_EQ(type->GetUINT32(MF_MT_AUDIO_CHANNEL_MASK, &number), MF_E_INVALIDTYPE);
  // A bag that is full refuses, and keeps what it has.
  HRESULT result = S_OK;
  for (GUID key{}; SUCCEEDED(result) && key.Data1 < 100; ++key.Data1) {
    result = type->SetUINT32(key, 1);
  }
  EXPECT_EQ(result, E_OUTOFMEMORY);
  EXPECT_EQ(type->SetUINT32(MF_MT_AUDIO_CHANNEL_MASK, 5), S_OK);
  ComPtr<IMFAttributes> attributes;
  EXPECT_EQ(type->QueryInterface(IID_IMFAttributes, attributes.PutVoid()), S_OK);
  EXPECT_EQ(attributes->GetUINT32(MF_MT_AUDIO_CHANNEL_MASK, &number), S_OK);
  EXPECT_EQ(number, 5u);
}

ComPtr<IMFMediaBuffer> BufferOf(const std::string& text, DWORD capacity) {
  ComPtr<IMFMediaBuffer> buffer;
  BYTE* data = nullptr;
  MFCreateMemoryBuffer(capacity, buffer.Put());
  buffer->Lock(&data, nullptr, nullptr);
  std::copy(text.begin(), text.end(), data);
  EXPECT_EQ(buffer->SetCurrentLength(static_cast<DWORD>(text.size())), S_OK);
  return buffer;
}

TEST(MediaFoundation, SamplesJoinTheirBuffers) {
  const long blocks = zevra::platform::BlocksInUse();
  {
    ComPtr<IMFSample> sample;
    ASSERT_EQ(MFCreateSample(sample.Put()), S_OK);
    ComPtr<IMFMediaBuffer> joined;
    EXPECT_EQ(sample->ConvertToContiguousBuffer(joined.Put()), E_UNEXPECTED);
    const auto first = BufferOf("abc", 10);
    EXPECT_EQ(sample->AddBuffer(first.Get()), S_OK);
    EXPECT_EQ(sample->ConvertToContiguousBuffer(joined.Put()), S_OK);
    EXPECT_EQ(joined.Get(), first.Get());
    EXPECT_EQ(sample->AddBuffer(BufferOf("", 0).Get()), S_OK);
    EXPECT_EQ(sample->AddBuffer(BufferOf("de", 2).Get()), S_OK);
    EXPECT_EQ(sample->ConvertToContiguousBuffer(joined.Put()), S_OK);
    BYTE* data = nullptr;
    DWORD capacity = 0, length = 0;
    EXPECT_EQ(joined->Lock(&data, &capacity, &length), S_OK);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(data), length), "abcde");
    EXPECT_EQ(joined->SetCurrentLength(capacity + 1), E_INVALIDARG);
    HRESULT result = S_OK;
    for (int i = 0; i < 100 && SUCCEEDED(result); ++i) result = sample->AddBuffer(joined.Get());
    EXPECT_EQ(result, E_OUTOFMEMORY);
  }
  EXPECT_EQ(zevra::platform::BlocksInUse(), blocks);
}

TEST(MediaFoundation, StartupsAreCounted) {
  EXPECT_EQ(MFShutdown(), MF_E_PLATFORM_NOT_INITIALIZED);
  EXPECT_EQ(MFStartup(MF_VERSION + 1, 0), MF_E_BAD_STARTUP_VERSION);
  EXPECT_EQ(MFStartup(MF_VERSION, MFSTARTUP_LITE), S_OK);
  EXPECT_EQ(MFShutdown(), S_OK);
  EXPECT_EQ(MFShutdown(), MF_E_PLATFORM_NOT_INITIALIZED);
}

}  // namespace
