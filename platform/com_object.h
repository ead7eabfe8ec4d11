#ifndef ZEVRA_PLATFORM_COM_OBJECT_H
#define ZEVRA_PLATFORM_COM_OBJECT_H

#include <atomic>
#include <new>
#include <utility>

#include "platform/api.h"

// What an implementation of the COM-shaped interfaces stands on, whichever it is: the system's on
// Linux, the built-in endpoints, a test's scripted ones.

namespace zevra {

template <class Interface>
inline constexpr const IID* kInterfaceId = nullptr;
template <>
inline constexpr const IID* kInterfaceId<IMMDeviceEnumerator> = &IID_IMMDeviceEnumerator;
template <>
inline constexpr const IID* kInterfaceId<IMMDeviceCollection> = &IID_IMMDeviceCollection;
template <>
inline constexpr const IID* kInterfaceId<IMMDevice> = &IID_IMMDevice;
template <>
inline constexpr const IID* kInterfaceId<IPropertyStore> = &IID_IPropertyStore;
template <>
inline constexpr const IID* kInterfaceId<IAudioClient> = &IID_IAudioClient;
template <>
inline constexpr const IID* kInterfaceId<IAudioCaptureClient> = &IID_IAudioCaptureClient;
template <>
inline constexpr const IID* kInterfaceId<IAudioRenderClient> = &IID_IAudioRenderClient;
template <>
inline constexpr const IID* kInterfaceId<IAudioEndpointVolume> = &IID_IAudioEndpointVolume;
template <>
inline constexpr const IID* kInterfaceId<IMFMediaType> = &IID_IMFMediaType;
template <>
inline constexpr const IID* kInterfaceId<IMFMediaBuffer> = &IID_IMFMediaBuffer;
template <>
inline constexpr const IID* kInterfaceId<IMFSample> = &IID_IMFSample;
template <>
inline constexpr const IID* kInterfaceId<IMFTransform> = &IID_IMFTransform;
template <>
inline constexpr const IID* kInterfaceId<IWMResamplerProps> = &IID_IWMResamplerProps;

// How an object counts its references.
//
// For objects that any thread may share.
class SharedReferences {
 public:
  ULONG Add() { return count_.fetch_add(1, std::memory_order_relaxed) + 1; }
  ULONG Remove() { return count_.fetch_sub(1, std::memory_order_acq_rel) - 1; }

 private:
  std::atomic<ULONG> count_{1};
};

// For objects that one thread has at a time, references included: those that come and go with every
// packet, where locked instructions would be most of the cost.
class LocalReferences {
 public:
  ULONG Add() { return ++count_; }
  ULONG Remove() { return --count_; }

 private:
  ULONG count_ = 1;
};

// Reference count and QueryInterface over the interfaces named; the first one stands for IUnknown.
// Operations of the interfaces that the library never calls answer E_NOTIMPL.
template <class References, class First, class... More>
class CountedObject : public Stub<First>, public Stub<More>... {
 public:
  CountedObject() = default;
  CountedObject(const CountedObject&) = delete;
  CountedObject& operator=(const CountedObject&) = delete;

  HRESULT QueryInterface(REFIID iid, void** object) override {
    if (object == nullptr) return E_POINTER;
    *object = nullptr;
    if (iid == IID_IUnknown) {
      *object = static_cast<First*>(this);
    } else {
      Offer<First>(iid, object);
      (Offer<More>(iid, object), ...);
    }
    if (*object == nullptr) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }
  ULONG AddRef() override { return references_.Add(); }
  ULONG Release() override {
    const ULONG left = references_.Remove();
    if (left == 0) delete this;
    return left;
  }

 protected:
  virtual ~CountedObject() = default;

 private:
  template <class Interface>
  void Offer(REFIID iid, void** object) {
    if (iid == *kInterfaceId<Interface>) *object = static_cast<Interface*>(this);
  }

  References references_;
};

// A class derives from it as `class Device final : public ComObject<IMMDevice>` and is made by
// MakeCom.
template <class... Interfaces>
class ComObject : public CountedObject<SharedReferences, Interfaces...> {};
template <class... Interfaces>
class LocalComObject : public CountedObject<LocalReferences, Interfaces...> {};

// Makes an object with one reference, the caller's; null if there is no memory.
template <class Object, class... Arguments>
Object* MakeCom(Arguments&&... arguments) noexcept {
  if constexpr (sizeof...(Arguments) == 0) {
    // With parentheses all its memory would be set to zero first.
    return new (std::nothrow) Object;
  } else {
    return new (std::nothrow) Object(std::forward<Arguments>(arguments)...);
  }
}

}  // namespace zevra

#endif
