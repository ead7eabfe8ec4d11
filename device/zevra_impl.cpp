#include "device/zevra_impl.h"

#include "log/log.h"

using zevra::TraceScope;

ZevraImpl::ZevraImpl() { target_format.sample_kind = -1; }

HRESULT ZevraImpl::OpenDevice(LPCWSTR name, std::uint32_t data_flow) {
  const TraceScope scope("ZevraImpl::OpenDevice");
  return name == nullptr ? GetDefaultDevice(data_flow) : GetSpecifyDevice(name, data_flow);
}

void ZevraImpl::CloseDevice() {
  const TraceScope scope("ZevraImpl::CloseDevice");
  StopStream(CaptureFields());
  StopStream(PlayFields());
  device.Reset();
}

zevra::StreamFields ZevraImpl::CaptureFields() {
  return {capture_thread, capture_ready_event, capture_stop_event, capture_stop_pending_,
          "StartCapture"};
}

zevra::StreamFields ZevraImpl::PlayFields() {
  return {play_thread, play_ready_event, play_stop_event, play_stop_pending_, "StartPlay"};
}
