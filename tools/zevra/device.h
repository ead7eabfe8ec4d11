#ifndef ZEVRA_TOOLS_ZEVRA_DEVICE_H
#define ZEVRA_TOOLS_ZEVRA_DEVICE_H

#include <string>
#include <utility>
#include <vector>

#include "tools/zevra/options.h"
#include "zevra/zevra.h"

namespace zevra::command {

// An opened endpoint.
class Device {
 public:
  Device(ZevraHandle handle, std::string name, Flow flow)
      : handle_(handle), name_(std::move(name)), flow_(flow) {}
  ~Device() { ZevraCloseDevice(handle_); }
  Device(Device&& other) noexcept
      : handle_(std::exchange(other.handle_, nullptr)),
        name_(std::move(other.name_)),
        flow_(other.flow_) {}
  Device& operator=(Device&&) = delete;

  ZevraHandle handle() const { return handle_; }
  // Empty where the default endpoint's name cannot be had.
  const std::string& name() const { return name_; }
  // How a message calls it.
  std::string Text() const;
  // kRender or kCapture.
  Flow flow() const { return flow_; }

 private:
  ZevraHandle handle_;
  std::string name_;
  Flow flow_;
};

// Opens what was chosen: by name in the flow chosen, else in both, or the default endpoint, which
// is a render endpoint unless capture was chosen. Failure where that is nothing or more than one.
Device OpenDevice(const EndpointChoice& choice);

// The names of a flow's endpoints as the library lists them. Failure where it cannot.
std::vector<std::string> ListNames(Flow flow);

const char* FlowText(Flow flow);

}  // namespace zevra::command

#endif
