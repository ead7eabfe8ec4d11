#ifndef ZEVRA_TOOLS_ZEVRA_DEVICE_H
#define ZEVRA_TOOLS_ZEVRA_DEVICE_H

#include <string>
#include <utility>
#include <vector>

#include "tools/zevra/options.h"
#include "tools/zevra/session.h"
#include "zevra/zevra.h"

namespace zevra::command {

// An opened endpoint.
class Device {
 public:
  Device(const Library& library, ZevraHandle handle, std::string name, Flow flow)
      : library_(library), handle_(handle), name_(std::move(name)), flow_(flow) {}
  ~Device() { library_.CloseDevice(handle_); }
  Device(Device&& other) noexcept
      : library_(other.library_),
        handle_(std::exchange(other.handle_, nullptr)),
        name_(std::move(other.name_)),
        flow_(other.flow_) {}
  Device& operator=(Device&&) = delete;

  const Library& library() const { return library_; }
  ZevraHandle handle() const { return handle_; }
  // Empty where the default endpoint's name cannot be had.
  const std::string& name() const { return name_; }
  // How a message calls it.
  std::string Text() const;
  // kRender or kCapture.
  Flow flow() const { return flow_; }

 private:
  const Library& library_;
  ZevraHandle handle_;
  std::string name_;
  Flow flow_;
};

// Opens what was chosen: by name in the flow chosen, else in both, or the default endpoint, which
// is a render endpoint unless capture was chosen. Failure where that is nothing or more than one.
Device OpenDevice(const Session& session, const EndpointChoice& choice);

// The names of a flow's endpoints as the library lists them. Failure where it cannot.
std::vector<std::string> ListNames(const Library& library, Flow flow);

const char* FlowText(Flow flow);

}  // namespace zevra::command

#endif
