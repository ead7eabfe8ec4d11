#include <new>

#include "platform/api.h"
#include "platform/com_object.h"
#include "platform/linux/block_cache.h"

namespace {

using zevra::kBlockAlignment;

// The object and its bytes are one recycled block.
class MemoryBuffer final : public zevra::LocalComObject<IMFMediaBuffer> {
 public:
  struct DataBytes {
    DWORD count;
  };

  explicit MemoryBuffer(DWORD capacity) : capacity_(capacity) {}

  static void* operator new(std::size_t bytes, DataBytes data) noexcept;
  // NOLINTNEXTLINE(misc-new-delete-overloads): there is no new that throws
  static void operator delete(void* block) noexcept { zevra::GiveBlock(block); }
  static void operator delete(void* block, DataBytes) noexcept { zevra::GiveBlock(block); }

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
  return zevra::TakeBlock(kDataOffset + data.count);
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

}  // namespace

HRESULT MFCreateMemoryBuffer(DWORD capacity, IMFMediaBuffer** buffer) {
  if (buffer == nullptr) return E_POINTER;
  *buffer = new (MemoryBuffer::DataBytes{capacity}) MemoryBuffer(capacity);
  return *buffer != nullptr ? S_OK : E_OUTOFMEMORY;
}
