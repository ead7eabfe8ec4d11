#include <algorithm>
#include <array>
#include <cstddef>
#include <new>
#include <variant>

#include "platform/api.h"
#include "platform/com_object.h"
#include "platform/linux/com/block_pool.h"
#include "platform/owners.h"

namespace {

using zevra::AllocateBlock;
using zevra::ComPtr;
using zevra::FreeBlock;
using zevra::kBlockAlignment;
using zevra::LocalComObject;
using zevra::MakeCom;

// There are places for a fixed number of attributes, so that setting one never allocates.
class MediaType final : public LocalComObject<IMFMediaType> {
 public:
  HRESULT GetUINT32(REFGUID key, UINT32* value) override { return Get(key, value); }
  HRESULT GetGUID(REFGUID key, GUID* value) override { return Get(key, value); }
  HRESULT SetUINT32(REFGUID key, UINT32 value) override { return Set(key, value); }
  HRESULT SetGUID(REFGUID key, REFGUID value) override { return Set(key, value); }

 private:
  struct Attribute {
    GUID key{};
    std::variant<UINT32, GUID> value;
  };

  // The attribute, or the place behind the last one.
  Attribute* Find(REFGUID key) {
    return std::find_if(
        attributes_.data(), attributes_.data() + count_,
        [&](const Attribute& attribute) { return attribute.key == key; });
  }

  template <class T>
  HRESULT Get(REFGUID key, T* value) {
    if (value == nullptr) return E_POINTER;
    const Attribute* const found = Find(key);
    if (found == attributes_.data() + count_) return MF_E_ATTRIBUTENOTFOUND;
    const T* const held = std::get_if<T>(&found->value);
    if (held == nullptr) return MF_E_INVALIDTYPE;
    *value = *held;
    return S_OK;
  }

  template <class T>
  HRESULT Set(REFGUID key, const T& value) {
    Attribute* const place = Find(key);
    if (place == attributes_.data() + count_) {
      if (count_ == attributes_.size()) return E_OUTOFMEMORY;
      ++count_;
    }
    *place = {key, value};
    return S_OK;
  }

  std::array<Attribute, 16> attributes_;
  std::size_t count_ = 0;
};

// The object and its bytes are one recycled block.
class MemoryBuffer final : public LocalComObject<IMFMediaBuffer> {
 public:
  struct DataBytes {
    DWORD count;
  };

  explicit MemoryBuffer(DWORD capacity) : capacity_(capacity) {}

  static void* operator new(std::size_t bytes, DataBytes data) noexcept;
  // NOLINTNEXTLINE(misc-new-delete-overloads): there is no new that throws
  static void operator delete(void* block) noexcept { FreeBlock(block); }
  static void operator delete(void* block, DataBytes) noexcept { FreeBlock(block); }

  HRESULT Lock(BYTE** data, DWORD* capacity, DWORD* length) override;
  HRESULT Unlock() override { return S_OK; }
  HRESULT GetCurrentLength(DWORD* length) override;
  HRESULT SetCurrentLength(DWORD length) override;

 private:
  const DWORD capacity_;
  DWORD length_ = 0;
};

// Where the bytes begin behind the object.
constexpr std::size_t kDataOffset =
    (sizeof(MemoryBuffer) + kBlockAlignment - 1) / kBlockAlignment * kBlockAlignment;

void* MemoryBuffer::operator new(std::size_t, DataBytes data) noexcept {
  return AllocateBlock(kDataOffset + data.count);
}

HRESULT MemoryBuffer::Lock(BYTE** data, DWORD* capacity, DWORD* length) {
  if (data == nullptr) return E_POINTER;
  *data = reinterpret_cast<BYTE*>(this) + kDataOffset;
  if (capacity != nullptr) *capacity = capacity_;
  if (length != nullptr) *length = length_;
  return S_OK;
}

HRESULT MemoryBuffer::GetCurrentLength(DWORD* length) {
  if (length == nullptr) return E_POINTER;
  *length = length_;
  return S_OK;
}

HRESULT MemoryBuffer::SetCurrentLength(DWORD length) {
  if (length > capacity_) return E_INVALIDARG;
  length_ = length;
  return S_OK;
}

class Sample final : public LocalComObject<IMFSample> {
 public:
  static void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
    return AllocateBlock(bytes);
  }
  // NOLINTNEXTLINE(misc-new-delete-overloads): there is no new that throws
  static void operator delete(void* block) noexcept { FreeBlock(block); }
  static void operator delete(void* block, const std::nothrow_t&) noexcept { FreeBlock(block); }

  HRESULT AddBuffer(IMFMediaBuffer* buffer) override;
  HRESULT ConvertToContiguousBuffer(IMFMediaBuffer** buffer) override;

 private:
  ComPtr<IMFMediaBuffer> buffer_;
};

HRESULT Sample::AddBuffer(IMFMediaBuffer* buffer) {
  if (buffer == nullptr) return E_POINTER;
  if (buffer_) return E_OUTOFMEMORY;
  buffer_ = ComPtr<IMFMediaBuffer>::Share(buffer);
  return S_OK;
}

HRESULT Sample::ConvertToContiguousBuffer(IMFMediaBuffer** buffer) {
  if (buffer == nullptr) return E_POINTER;
  *buffer = nullptr;
  if (!buffer_) return E_UNEXPECTED;
  *buffer = ComPtr<IMFMediaBuffer>::Share(buffer_.Get()).Detach();
  return S_OK;
}

}  // namespace

// Nothing has to be brought up: objects can be made before the first start and after the last
// shutdown.
HRESULT MFStartup(ULONG version, DWORD) {
  return version == MF_VERSION ? S_OK : MF_E_BAD_STARTUP_VERSION;
}

HRESULT MFShutdown() {
  zevra::TrimBlocks();
  return S_OK;
}

HRESULT MFCreateMediaType(IMFMediaType** type) {
  if (type == nullptr) return E_POINTER;
  *type = MakeCom<MediaType>();
  return *type != nullptr ? S_OK : E_OUTOFMEMORY;
}

HRESULT MFCreateSample(IMFSample** sample) {
  if (sample == nullptr) return E_POINTER;
  *sample = MakeCom<Sample>();
  return *sample != nullptr ? S_OK : E_OUTOFMEMORY;
}

HRESULT MFCreateMemoryBuffer(DWORD capacity, IMFMediaBuffer** buffer) {
  if (buffer == nullptr) return E_POINTER;
  *buffer = new (MemoryBuffer::DataBytes{capacity}) MemoryBuffer(capacity);
  return *buffer != nullptr ? S_OK : E_OUTOFMEMORY;
}
