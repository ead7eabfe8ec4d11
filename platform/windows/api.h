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

#endif
