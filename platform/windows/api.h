#ifndef ZEVRA_PLATFORM_WINDOWS_API_H
#define ZEVRA_PLATFORM_WINDOWS_API_H

#include <windows.h>

// The SDK's headers build on windows.h, and some on those before them. Media Foundation comes
// before audioclient.h: what that one draws in defines a record of strmif.h again without a guard,
// and only the headers of Media Foundation look whether it is there.
#include <avrt.h>
#include <objbase.h>
#include <propidl.h>
//
#include <mfapi.h>
#include <mferror.h>
#include <mftransform.h>
#include <wmcodecdsp.h>
//
#include <mmreg.h>
//
#include <audioclient.h>
#include <endpointvolume.h>
#include <ks.h>
#include <ksmedia.h>
#include <mmdeviceapi.h>
#include <propsys.h>
//
#include <functiondiscoverykeys_devpkey.h>

#include <cstddef>
#include <cstdint>

// mingw-w64's wmcodecdsp.h knows the resampler's class, but not the interface of its settings.
#if !defined(__IWMResamplerProps_INTERFACE_DEFINED__)
#define __IWMResamplerProps_INTERFACE_DEFINED__
EXTERN_C const IID IID_IWMResamplerProps;
MIDL_INTERFACE("E7E9984F-F09F-4DA4-903F-6E2E0EFE56B5")
IWMResamplerProps : public IUnknown {
  // Half the length of the filter, in samples of the slower rate: 1 to 60.
  virtual HRESULT STDMETHODCALLTYPE SetHalfFilterLength(LONG length) = 0;
  // Output channels times input channels, one factor each.
  virtual HRESULT STDMETHODCALLTYPE SetUserChannelMtx(FLOAT * factors) = 0;
};
#if defined(__CRT_UUID_DECL)
__CRT_UUID_DECL(IWMResamplerProps, 0xE7E9984F, 0xF09F, 0x4DA4, 0x90, 0x3F, 0x6E, 0x2E, 0x0E, 0xFE,
                0x56, 0xB5)
#endif
#endif

namespace zevra {

// Stub<I> is the interface I with every operation that the library never calls answered by
// E_NOTIMPL, so that an implementation writes only those that matter.
//
// One specialization for each interface that is implemented somewhere in the project. What stays
// abstract is what the library calls.
template <class Interface>
struct Stub : Interface {};

template <>
struct Stub<IMMDeviceEnumerator> : IMMDeviceEnumerator {
  HRESULT GetDevice(LPCWSTR, IMMDevice**) override { return E_NOTIMPL; }
  HRESULT RegisterEndpointNotificationCallback(IMMNotificationClient*) override {
    return E_NOTIMPL;
  }
  HRESULT UnregisterEndpointNotificationCallback(IMMNotificationClient*) override {
    return E_NOTIMPL;
  }
};

template <>
struct Stub<IMMDevice> : IMMDevice {
  HRESULT GetId(LPWSTR*) override { return E_NOTIMPL; }
  HRESULT GetState(DWORD*) override { return E_NOTIMPL; }
};

template <>
struct Stub<IPropertyStore> : IPropertyStore {
  HRESULT GetCount(DWORD*) override { return E_NOTIMPL; }
  HRESULT GetAt(DWORD, PROPERTYKEY*) override { return E_NOTIMPL; }
  HRESULT SetValue(REFPROPERTYKEY, REFPROPVARIANT) override { return E_NOTIMPL; }
  HRESULT Commit() override { return E_NOTIMPL; }
};

template <>
struct Stub<IAudioClient> : IAudioClient {
  HRESULT GetStreamLatency(REFERENCE_TIME*) override { return E_NOTIMPL; }
  HRESULT Reset() override { return E_NOTIMPL; }
  HRESULT SetEventHandle(HANDLE) override { return E_NOTIMPL; }
};

template <>
struct Stub<IAudioEndpointVolume> : IAudioEndpointVolume {
  HRESULT RegisterControlChangeNotify(IAudioEndpointVolumeCallback*) override { return E_NOTIMPL; }
  HRESULT UnregisterControlChangeNotify(IAudioEndpointVolumeCallback*) override {
    return E_NOTIMPL;
  }
  HRESULT GetChannelCount(UINT*) override { return E_NOTIMPL; }
  HRESULT SetMasterVolumeLevel(FLOAT, LPCGUID) override { return E_NOTIMPL; }
  HRESULT SetMasterVolumeLevelScalar(FLOAT, LPCGUID) override { return E_NOTIMPL; }
  HRESULT GetMasterVolumeLevel(FLOAT*) override { return E_NOTIMPL; }
  HRESULT SetChannelVolumeLevel(UINT, FLOAT, LPCGUID) override { return E_NOTIMPL; }
  HRESULT SetChannelVolumeLevelScalar(UINT, FLOAT, LPCGUID) override { return E_NOTIMPL; }
  HRESULT GetChannelVolumeLevel(UINT, FLOAT*) override { return E_NOTIMPL; }
  HRESULT GetChannelVolumeLevelScalar(UINT, FLOAT*) override { return E_NOTIMPL; }
  HRESULT SetMute(BOOL, LPCGUID) override { return E_NOTIMPL; }
  HRESULT GetMute(BOOL*) override { return E_NOTIMPL; }
  HRESULT GetVolumeStepInfo(UINT*, UINT*) override { return E_NOTIMPL; }
  HRESULT VolumeStepUp(LPCGUID) override { return E_NOTIMPL; }
  HRESULT VolumeStepDown(LPCGUID) override { return E_NOTIMPL; }
  HRESULT QueryHardwareSupport(DWORD*) override { return E_NOTIMPL; }
  HRESULT GetVolumeRange(FLOAT*, FLOAT*, FLOAT*) override { return E_NOTIMPL; }
};

// The part that a media type and a sample share.
template <class Interface>
struct AttributesStub : Interface {
  HRESULT GetItem(REFGUID, PROPVARIANT*) override { return E_NOTIMPL; }
  HRESULT GetItemType(REFGUID, MF_ATTRIBUTE_TYPE*) override { return E_NOTIMPL; }
  HRESULT CompareItem(REFGUID, REFPROPVARIANT, BOOL*) override { return E_NOTIMPL; }
  HRESULT Compare(IMFAttributes*, MF_ATTRIBUTES_MATCH_TYPE, BOOL*) override { return E_NOTIMPL; }
  HRESULT GetUINT64(REFGUID, UINT64*) override { return E_NOTIMPL; }
  HRESULT GetDouble(REFGUID, double*) override { return E_NOTIMPL; }
  HRESULT GetStringLength(REFGUID, UINT32*) override { return E_NOTIMPL; }
  HRESULT GetString(REFGUID, LPWSTR, UINT32, UINT32*) override { return E_NOTIMPL; }
  HRESULT GetAllocatedString(REFGUID, LPWSTR*, UINT32*) override { return E_NOTIMPL; }
  HRESULT GetBlobSize(REFGUID, UINT32*) override { return E_NOTIMPL; }
  HRESULT GetBlob(REFGUID, UINT8*, UINT32, UINT32*) override { return E_NOTIMPL; }
  HRESULT GetAllocatedBlob(REFGUID, UINT8**, UINT32*) override { return E_NOTIMPL; }
  HRESULT GetUnknown(REFGUID, REFIID, LPVOID*) override { return E_NOTIMPL; }
  HRESULT SetItem(REFGUID, REFPROPVARIANT) override { return E_NOTIMPL; }
  HRESULT DeleteItem(REFGUID) override { return E_NOTIMPL; }
  HRESULT DeleteAllItems() override { return E_NOTIMPL; }
  HRESULT SetUINT64(REFGUID, UINT64) override { return E_NOTIMPL; }
  HRESULT SetDouble(REFGUID, double) override { return E_NOTIMPL; }
  HRESULT SetString(REFGUID, LPCWSTR) override { return E_NOTIMPL; }
  HRESULT SetBlob(REFGUID, const UINT8*, UINT32) override { return E_NOTIMPL; }
  HRESULT SetUnknown(REFGUID, IUnknown*) override { return E_NOTIMPL; }
  HRESULT LockStore() override { return E_NOTIMPL; }
  HRESULT UnlockStore() override { return E_NOTIMPL; }
  HRESULT GetCount(UINT32*) override { return E_NOTIMPL; }
  HRESULT GetItemByIndex(UINT32, GUID*, PROPVARIANT*) override { return E_NOTIMPL; }
  HRESULT CopyAllItems(IMFAttributes*) override { return E_NOTIMPL; }
};

template <>
struct Stub<IMFMediaType> : AttributesStub<IMFMediaType> {
  HRESULT GetMajorType(GUID*) override { return E_NOTIMPL; }
  HRESULT IsCompressedFormat(BOOL*) override { return E_NOTIMPL; }
  HRESULT IsEqual(IMFMediaType*, DWORD*) override { return E_NOTIMPL; }
  HRESULT GetRepresentation(GUID, LPVOID*) override { return E_NOTIMPL; }
  HRESULT FreeRepresentation(GUID, LPVOID) override { return E_NOTIMPL; }
};

template <>
struct Stub<IMFMediaBuffer> : IMFMediaBuffer {
  HRESULT GetMaxLength(DWORD*) override { return E_NOTIMPL; }
};

template <>
struct Stub<IMFSample> : AttributesStub<IMFSample> {
  HRESULT GetUINT32(REFGUID, UINT32*) override { return E_NOTIMPL; }
  HRESULT GetGUID(REFGUID, GUID*) override { return E_NOTIMPL; }
  HRESULT SetUINT32(REFGUID, UINT32) override { return E_NOTIMPL; }
  HRESULT SetGUID(REFGUID, REFGUID) override { return E_NOTIMPL; }
  HRESULT GetSampleFlags(DWORD*) override { return E_NOTIMPL; }
  HRESULT SetSampleFlags(DWORD) override { return E_NOTIMPL; }
  HRESULT GetSampleTime(LONGLONG*) override { return E_NOTIMPL; }
  HRESULT SetSampleTime(LONGLONG) override { return E_NOTIMPL; }
  HRESULT GetSampleDuration(LONGLONG*) override { return E_NOTIMPL; }
  HRESULT SetSampleDuration(LONGLONG) override { return E_NOTIMPL; }
  HRESULT GetBufferCount(DWORD*) override { return E_NOTIMPL; }
  HRESULT GetBufferByIndex(DWORD, IMFMediaBuffer**) override { return E_NOTIMPL; }
  HRESULT RemoveBufferByIndex(DWORD) override { return E_NOTIMPL; }
  HRESULT RemoveAllBuffers() override { return E_NOTIMPL; }
  HRESULT GetTotalLength(DWORD*) override { return E_NOTIMPL; }
  HRESULT CopyToBuffer(IMFMediaBuffer*) override { return E_NOTIMPL; }
};

template <>
struct Stub<IMFTransform> : IMFTransform {
  HRESULT GetStreamLimits(DWORD*, DWORD*, DWORD*, DWORD*) override { return E_NOTIMPL; }
  HRESULT GetStreamCount(DWORD*, DWORD*) override { return E_NOTIMPL; }
  HRESULT GetStreamIDs(DWORD, DWORD*, DWORD, DWORD*) override { return E_NOTIMPL; }
  HRESULT GetInputStreamInfo(DWORD, MFT_INPUT_STREAM_INFO*) override { return E_NOTIMPL; }
  HRESULT GetOutputStreamInfo(DWORD, MFT_OUTPUT_STREAM_INFO*) override { return E_NOTIMPL; }
  HRESULT GetAttributes(IMFAttributes**) override { return E_NOTIMPL; }
  HRESULT GetInputStreamAttributes(DWORD, IMFAttributes**) override { return E_NOTIMPL; }
  HRESULT GetOutputStreamAttributes(DWORD, IMFAttributes**) override { return E_NOTIMPL; }
  HRESULT DeleteInputStream(DWORD) override { return E_NOTIMPL; }
  HRESULT AddInputStreams(DWORD, DWORD*) override { return E_NOTIMPL; }
  HRESULT GetInputAvailableType(DWORD, DWORD, IMFMediaType**) override { return E_NOTIMPL; }
  HRESULT GetOutputAvailableType(DWORD, DWORD, IMFMediaType**) override { return E_NOTIMPL; }
  HRESULT GetInputCurrentType(DWORD, IMFMediaType**) override { return E_NOTIMPL; }
  HRESULT GetOutputCurrentType(DWORD, IMFMediaType**) override { return E_NOTIMPL; }
  HRESULT GetOutputStatus(DWORD*) override { return E_NOTIMPL; }
  HRESULT SetOutputBounds(LONGLONG, LONGLONG) override { return E_NOTIMPL; }
  HRESULT ProcessEvent(DWORD, IMFMediaEvent*) override { return E_NOTIMPL; }
};

template <>
struct Stub<IWMResamplerProps> : IWMResamplerProps {
  HRESULT SetUserChannelMtx(FLOAT*) override { return E_NOTIMPL; }
};

}  // namespace zevra

#endif
