#include "tools/zevra/session.h"

#include <dlfcn.h>

#include <cstdio>
#include <filesystem>

#include "tools/zevra/text.h"

namespace zevra::command {
namespace {

template <class Function>
void Find(void* library, const char* name, Function& function) {
  function = reinterpret_cast<Function>(dlsym(library, name));
  if (function == nullptr) throw Failure(std::string("the library has no function ") + name);
}

}  // namespace

// The program's RPATH says where the files are.
Library::Library(bool builtin) {
  void* const file =
      dlopen(builtin ? "libzevra-builtin.so.1" : "libzevra.so.1", RTLD_NOW | RTLD_LOCAL);
  if (file == nullptr)
    throw Failure(std::string("can't load the library: ") +
                  dlerror());  // NOLINT(concurrency-mt-unsafe)
  Find(file, "ZevraInitialize", Initialize);
  Find(file, "ZevraUninitialize", Uninitialize);
  Find(file, "ZevraGetDeviceList", GetDeviceList);
  Find(file, "ZevraGetInnerRecordDeviceList", GetInnerRecordDeviceList);
  Find(file, "ZevraGetOutRecordDeviceList", GetOutRecordDeviceList);
  Find(file, "ZevraOpenDevice", OpenDevice);
  Find(file, "ZevraCloseDevice", CloseDevice);
  Find(file, "ZevraStartPlay", StartPlay);
  Find(file, "ZevraStopPlay", StopPlay);
  Find(file, "ZevraStartCapture", StartCapture);
  Find(file, "ZevraStopCapture", StopCapture);
  Find(file, "ZevraGetVolume", GetVolume);
}

std::string Library::Path() const {
  Dl_info info{};
  if (dladdr(reinterpret_cast<const void*>(Initialize), &info) == 0) return {};
  return std::filesystem::absolute(info.dli_fname).lexically_normal().string();
}

Session::Session(bool builtin) : builtin_(builtin), library_(builtin) {
  Initialize();
  if (builtin_ || SoundServerRuns()) return;
  std::fputs("zevra: no sound server runs, so the built-in endpoints stand in for it\n", stderr);
  library_.Uninitialize();
  builtin_ = true;
  library_ = Library(true);
  Initialize();
}

void Session::Initialize() const {
  const std::int32_t result = library_.Initialize();
  if (result < 0) throw Failure("can't start: " + ResultText(result));
}

bool Session::SoundServerRuns() const {
  ZevraDeviceList list{};
  return library_.GetDeviceList(&list) != ZEVRA_E_SERVICE_NOT_RUNNING;
}

}  // namespace zevra::command
