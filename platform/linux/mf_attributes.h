#ifndef ZEVRA_PLATFORM_LINUX_MF_ATTRIBUTES_H
#define ZEVRA_PLATFORM_LINUX_MF_ATTRIBUTES_H

#include <array>
#include <cstddef>
#include <new>

#include "platform/api.h"
#include "platform/com_object.h"
#include "platform/linux/block_cache.h"

namespace zevra {

// Attributes by key. There is room for a fixed number, so that setting one never allocates. One
// thread at a time.
// NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init): the places are set as they are counted
class AttributeBag {
 public:
  // MF_E_ATTRIBUTENOTFOUND for a key that is not set, MF_E_INVALIDTYPE for one set as the other
  // type; `*value` is then left as it was.
  HRESULT Get(REFGUID key, UINT32* value) const;
  HRESULT Get(REFGUID key, GUID* value) const;
  // Replaces what the key held. E_OUTOFMEMORY when the bag is full.
  HRESULT Set(REFGUID key, UINT32 value);
  HRESULT Set(REFGUID key, REFGUID value);

 private:
  static constexpr std::size_t kCapacity = 16;
  struct Attribute {
    GUID key;
    bool is_guid;
    GUID guid;
    UINT32 number;
  };

  const Attribute* Find(REFGUID key) const;
  Attribute* FindOrAdd(REFGUID key);

  // Not set beyond the count: a sample has none, and one is made for every packet.
  std::array<Attribute, kCapacity> attributes_;
  std::size_t count_ = 0;
};

// An object with attributes, made of recycled memory.
template <class Interface>
class AttributesObject : public LocalComObject<Interface> {
 public:
  static void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
    return TakeBlock(bytes);
  }
  // NOLINTNEXTLINE(misc-new-delete-overloads): there is no new that throws
  static void operator delete(void* block) noexcept { GiveBlock(block); }
  static void operator delete(void* block, const std::nothrow_t&) noexcept { GiveBlock(block); }

  HRESULT QueryInterface(REFIID iid, void** object) override {
    return LocalComObject<Interface>::QueryInterface(
        iid == IID_IMFAttributes ? *kInterfaceId<Interface> : iid, object);
  }
  HRESULT GetUINT32(REFGUID key, UINT32* value) override { return attributes_.Get(key, value); }
  HRESULT GetGUID(REFGUID key, GUID* value) override { return attributes_.Get(key, value); }
  HRESULT SetUINT32(REFGUID key, UINT32 value) override { return attributes_.Set(key, value); }
  HRESULT SetGUID(REFGUID key, REFGUID value) override { return attributes_.Set(key, value); }

 private:
  AttributeBag attributes_;
};

}  // namespace zevra

#endif
