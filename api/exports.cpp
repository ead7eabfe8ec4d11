// The twelve exported functions: the call frame of each, no work of its own. Trace labels and
// messages are fixed texts that log readers match, also where one names another function.

#include <memory>

#include "device/zevra_impl.h"
#include "log/log.h"
#include "log/process_logger.h"
#include "platform/calls.h"
#include "platform/locks.h"
#include "platform/result.h"
#include "stream/failure.h"
#include "zevra/zevra.h"

using zevra::Hex;
using zevra::LogFailure;
using zevra::TraceScope;

namespace {

// The frame of a call: it throws nothing through the host's frames, and is no place where the
// host's thread can be cancelled.
template <class Work>
std::int32_t Frame(Work&& work) noexcept {
  const zevra::NoCancellation hold;
  return zevra::NoThrow(work);
}

std::int32_t ListEndpoints(EDataFlow flow, ZevraDeviceList* list) {
  return Frame([=]() -> HRESULT {
    const TraceScope scope("::ZevraGetDeviceList");
    if (list == nullptr) return LogFailure("::ZevraGetDeviceList", "list", E_POINTER);
    return zevra::ListDevices(flow, list);
  });
}

}  // namespace

std::int32_t ZevraInitialize() {
  return Frame([] {
    if (zevra::ProcessLoggerInUse() == nullptr) {
      zevra::SetUpProcessLogger();
      ZEVRA_LOG_VERBOSE("ZevraInitialize | srlog_open succeed!");
    }
    const HRESULT result = zevra::os::CoInitialize(nullptr);
    if (FAILED(result)) ZEVRA_LOG_ERROR("::ZevraInitialize | error | %x", Hex(result));
    return result;
  });
}

std::int32_t ZevraUninitialize() {
  return Frame([] {
    zevra::os::CoUninitialize();
    return S_OK;
  });
}

std::int32_t ZevraGetDeviceList(ZevraDeviceList* list) { return ListEndpoints(eAll, list); }

std::int32_t ZevraGetInnerRecordDeviceList(ZevraDeviceList* list) {
  return ListEndpoints(eRender, list);
}

std::int32_t ZevraGetOutRecordDeviceList(ZevraDeviceList* list) {
  return ListEndpoints(eCapture, list);
}

std::int32_t ZevraOpenDevice(ZevraHandle* handle, const ZevraChar* name, std::uint32_t data_flow) {
  return Frame([=]() -> HRESULT {
    const TraceScope scope("::ZevraOpenDevice");
    if (handle == nullptr) return LogFailure("::ZevraOpenDevice", "OpenDevice", E_POINTER);
    auto object = std::make_unique<ZevraImpl>();
    const HRESULT result = object->OpenDevice(name, data_flow);
    if (FAILED(result)) return LogFailure("::ZevraOpenDevice", "OpenDevice", result);
    *handle = object.release();
    return result;
  });
}

std::int32_t ZevraCloseDevice(ZevraHandle handle) {
  return Frame([=] {
    const TraceScope scope("::ZevraCloseDevice");
    if (handle == nullptr)
      const TraceScope member_scope("ZevraImpl::CloseDevice");
    else
      ZevraImpl::Close(handle);
    return S_OK;
  });
}

std::int32_t ZevraStartPlay(ZevraHandle handle) {
  return Frame([=] {
    const TraceScope scope("::ZevraCaptureDevice");
    const HRESULT result = handle == nullptr ? E_HANDLE : handle->StartPlay();
    // A thread that could not be created gives a positive code, which is a failure here.
    if (result != S_OK) LogFailure("::ZevraStartCapture", "StartPlay", result);
    return result;
  });
}

std::int32_t ZevraStopPlay(ZevraHandle handle) {
  return Frame([=] {
    const TraceScope scope("::ZevraStopCapture");
    if (handle != nullptr) handle->StopPlay();
    return S_OK;
  });
}

std::int32_t ZevraStartCapture(ZevraHandle handle, const ZevraAudioFormat* format,
                               ZevraCaptureCallback callback, void* context) {
  return Frame([=] {
    const TraceScope scope("::ZevraCaptureDevice");
    HRESULT result = E_POINTER;
    if (handle == nullptr)
      result = E_HANDLE;
    else if (format != nullptr)
      result = handle->StartCapture(format, callback, context);
    if (FAILED(result)) LogFailure("::ZevraStartCapture", "StartCapture", result);
    return result;
  });
}

std::int32_t ZevraStopCapture(ZevraHandle handle) {
  return Frame([=] {
    const TraceScope scope("::ZevraStopCapture");
    if (handle != nullptr) handle->StopCapture();
    return S_OK;
  });
}

std::int32_t ZevraGetVolume(ZevraHandle handle, float* volume) {
  return Frame([=] {
    const TraceScope scope("::ZevraGetVolume");
    HRESULT result = E_POINTER;
    if (handle == nullptr)
      result = E_HANDLE;
    else if (volume != nullptr)
      result = handle->getVolume(volume);
    if (FAILED(result)) LogFailure("::ZevraGetVolume", "getVolume", result);
    return result;
  });
}
