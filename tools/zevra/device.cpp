#include "tools/zevra/device.h"

#include <dlfcn.h>

#include <algorithm>

#include "tools/zevra/applications.h"
#include "tools/zevra/endpoint_facts.h"
#include "tools/zevra/text.h"

namespace zevra::command {
namespace {

template <class Function>
void Find(void* library, const char* name, Function& function) {
  function = reinterpret_cast<Function>(dlsym(library, name));
  if (function == nullptr) throw Failure(std::string("the library has no function ") + name);
}

std::uint32_t DataFlow(Flow flow) {
  return flow == Flow::kCapture ? ZEVRA_FLOW_CAPTURE : ZEVRA_FLOW_RENDER;
}

// A message's list of names.
std::string Enumerated(const std::vector<std::string>& names) {
  std::string out;
  for (const std::string& name : names) {
    if (!out.empty()) out += ", ";
    out += Quoted(name);
  }
  return out;
}

std::string EndpointKind(Flow flow) {
  return flow == Flow::kBoth ? "endpoint" : std::string(FlowText(flow)) + " endpoint";
}

[[noreturn]] void FailUnknown(const std::vector<EndpointFacts>& known, const std::string& name,
                              Flow flow) {
  std::vector<std::string> names;
  std::vector<std::string> alike;
  for (const EndpointFacts& facts : known) {
    if (flow != Flow::kBoth && flow != facts.flow) continue;
    names.push_back(facts.name);
    if (ContainsIgnoringCase(facts.name, name)) alike.push_back(facts.name);
  }
  std::string hint;
  if (!alike.empty())
    hint = "; did you mean " + Enumerated(alike) + "?";
  else if (!names.empty())
    hint = "; there are " + Enumerated(names);
  else
    hint = "; there is none at all";
  throw Failure("no " + EndpointKind(flow) + " is named " + Quoted(name) + hint);
}

// The name as the endpoint itself writes it, and its id.
Device Describe(const Library& library, ZevraHandle handle, const std::vector<EndpointFacts>& known,
                const std::string& name, Flow flow) {
  for (const EndpointFacts& facts : known)
    if (facts.flow == flow && EqualIgnoringCase(facts.name, name))
      return {library, handle, facts.name, flow, facts.id};
  return {library, handle, name, flow};
}

// In each of the flows where there is one.
std::vector<Device> OpenNamed(const Library& library, const std::vector<EndpointFacts>& known,
                              const std::string& name, Flow flow) {
  const Utf16 wide = ToUtf16(name);
  std::vector<Device> found;
  for (const Flow one : {Flow::kRender, Flow::kCapture}) {
    if (flow != Flow::kBoth && flow != one) continue;
    ZevraHandle handle = nullptr;
    const LoggedCall call;
    const std::int32_t result = library.OpenDevice(&handle, wide.c_str(), DataFlow(one));
    if (result >= 0)
      found.push_back(Describe(library, handle, known, name, one));
    else if (result != ZEVRA_E_NOT_FOUND)
      throw Failure("can't open " + Quoted(name) + ": " + call.ResultText(result));
  }
  return found;
}

Device OpenByName(const Session& session, const std::string& name, Flow flow) {
  const std::vector<EndpointFacts> known = FindEndpointFacts(session.builtin());
  std::vector<Device> found = OpenNamed(session.functions(), known, name, flow);
  if (found.empty()) {
    for (const EndpointFacts& facts : known) {
      if (facts.id != name || (flow != Flow::kBoth && flow != facts.flow)) continue;
      for (Device& one : OpenNamed(session.functions(), known, facts.name, facts.flow))
        found.push_back(std::move(one));
    }
  }
  if (found.empty()) FailUnknown(known, name, flow);
  if (found.size() > 1) {
    throw Failure("a render endpoint and a capture endpoint are both named " + Quoted(name) +
                  "; choose with --flow render or --flow capture");
  }
  return std::move(found.front());
}

Device OpenDefault(const Session& session, Flow flow) {
  const Library& library = session.functions();
  const EndpointFacts facts = DefaultEndpoint(session.builtin(), flow);
  // The library takes its default endpoint for loopback only, so another is opened by its name.
  if (flow == Flow::kCapture) {
    if (facts.name.empty()) throw Failure("there is no default capture endpoint");
    return OpenByName(session, facts.name, flow);
  }
  ZevraHandle handle = nullptr;
  const LoggedCall call;
  const std::int32_t result = library.OpenDevice(&handle, nullptr, ZEVRA_FLOW_RENDER);
  if (result == ZEVRA_E_NOT_FOUND) throw Failure("there is no default render endpoint");
  if (result < 0) throw Failure("can't open the default endpoint: " + call.ResultText(result));
  return {library, handle, facts.name, Flow::kRender, facts.id};
}

}  // namespace

Library::Library(const std::string& path) {
  void* const file = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (file == nullptr)
    throw Failure(std::string("can't load the library: ") +
                  dlerror());  // NOLINT(concurrency-mt-unsafe)
  Find(file, "ZevraInitialize", Initialize);
  Find(file, "ZevraUninitialize", Uninitialize);
  Find(file, "ZevraGetDeviceList", GetDeviceList);
  Find(file, "ZevraOpenDevice", OpenDevice);
  Find(file, "ZevraCloseDevice", CloseDevice);
  Find(file, "ZevraStartPlay", StartPlay);
  Find(file, "ZevraStopPlay", StopPlay);
  Find(file, "ZevraStartCapture", StartCapture);
  Find(file, "ZevraStopCapture", StopCapture);
  Find(file, "ZevraGetVolume", GetVolume);
}

Session::Session(bool builtin, const OwnLogSetUp& log)
    : builtin_(builtin), functions_(log.load_path()) {
  const LoggedCall call;
  const std::int32_t result = functions_.Initialize();
  if (result < 0) throw Failure("can't start: " + call.ResultText(result));
  ZevraDeviceList list{};
  if (functions_.GetDeviceList(&list) != ZEVRA_E_SERVICE_NOT_RUNNING) return;
  functions_.Uninitialize();
  throw Failure(
      "no sound server answers; start one, or try the endpoints inside this program with "
      "--builtin");
}

std::string Device::Text() const {
  if (name_.empty()) return std::string("the default ") + EndpointKind(flow_);
  return Quoted(name_);
}

Device OpenDevice(const Session& session, const EndpointChoice& choice) {
  if (choice.is_application) return OpenApplication(session, choice);
  if (choice.name) return OpenByName(session, *choice.name, choice.flow.value_or(Flow::kBoth));
  return OpenDefault(session, choice.flow == Flow::kCapture ? Flow::kCapture : Flow::kRender);
}

const char* FlowText(Flow flow) {
  switch (flow) {
    case Flow::kRender:
      return "render";
    case Flow::kCapture:
      return "capture";
    default:
      return "both";
  }
}

}  // namespace zevra::command
