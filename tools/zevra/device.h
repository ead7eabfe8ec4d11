#ifndef ZEVRA_TOOLS_ZEVRA_DEVICE_H
#define ZEVRA_TOOLS_ZEVRA_DEVICE_H

#include <string>
#include <utility>
#include <vector>

#include "tools/zevra/options.h"
#include "tools/zevra/own_log.h"
#include "zevra/zevra.h"

namespace zevra::command {

// The shared library, loaded while the program runs: it and its twin with the built-in endpoints
// have the same twelve names, so neither can be linked. Stays loaded to the end of the process.
struct Library {
  // Failure where the file or one of its functions is not there.
  explicit Library(const std::string& path);

  decltype(&ZevraInitialize) Initialize = nullptr;
  decltype(&ZevraUninitialize) Uninitialize = nullptr;
  decltype(&ZevraGetDeviceList) GetDeviceList = nullptr;
  decltype(&ZevraOpenDevice) OpenDevice = nullptr;
  decltype(&ZevraCloseDevice) CloseDevice = nullptr;
  decltype(&ZevraStartPlay) StartPlay = nullptr;
  decltype(&ZevraStopPlay) StopPlay = nullptr;
  decltype(&ZevraStartCapture) StartCapture = nullptr;
  decltype(&ZevraStopCapture) StopCapture = nullptr;
  decltype(&ZevraGetVolume) GetVolume = nullptr;
};

// The library initialised on the calling thread, with the machine's endpoints or the built-in ones.
class Session {
 public:
  // Failure where the library cannot be initialised or no sound server answers: a melody in the
  // place of the machine's sound would only look like a recording.
  explicit Session(bool builtin) : Session(builtin, OwnLogSetUp(LibraryPath(builtin))) {}
  ~Session() { functions_.Uninitialize(); }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  const Library& functions() const { return functions_; }
  bool builtin() const { return builtin_; }

 private:
  Session(bool builtin, const OwnLogSetUp& log);

  const bool builtin_;
  const Library functions_;
};

// An opened endpoint.
class Device {
 public:
  Device(const Library& library, ZevraHandle handle, std::string name, Flow flow,
         std::string id = {})
      : functions_(library),
        handle_(handle),
        name_(std::move(name)),
        flow_(flow),
        id_(std::move(id)) {}
  ~Device() { functions_.CloseDevice(handle_); }
  Device(Device&& other) noexcept
      : functions_(other.functions_),
        handle_(std::exchange(other.handle_, nullptr)),
        name_(std::move(other.name_)),
        flow_(other.flow_),
        id_(std::move(other.id_)) {}
  Device& operator=(Device&&) = delete;

  const Library& functions() const { return functions_; }
  ZevraHandle handle() const { return handle_; }
  // Empty where the default endpoint's name cannot be had.
  const std::string& name() const { return name_; }
  // Opens this endpoint again, whatever it is called by then; empty where it is not known.
  const std::string& id() const { return id_; }
  // How a message calls it.
  std::string Text() const;
  // kRender or kCapture.
  Flow flow() const { return flow_; }

 private:
  const Library& functions_;
  ZevraHandle handle_;
  std::string name_;
  Flow flow_;
  std::string id_;
};

// Opens what was chosen: by name, or else by id, in the flow chosen, else in both; or the default
// endpoint, which is a render endpoint unless capture was chosen. Failure where that is nothing or
// more than one.
Device OpenDevice(const Session& session, const EndpointChoice& choice);

const char* FlowText(Flow flow);

}  // namespace zevra::command

#endif
