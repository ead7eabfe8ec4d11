#ifndef ZEVRA_TOOLS_ZEVRA_SESSION_H
#define ZEVRA_TOOLS_ZEVRA_SESSION_H

#include <string>

#include "zevra/zevra.h"

namespace zevra::command {

// The shared library, loaded while the program runs: it and its twin with the built-in endpoints
// have the same twelve names, so neither can be linked. Stays loaded to the end of the process.
struct Library {
  // Failure where the file or one of its functions is not there.
  explicit Library(bool builtin);

  // Full path of the file that was loaded.
  std::string Path() const;

  decltype(&ZevraInitialize) Initialize;
  decltype(&ZevraUninitialize) Uninitialize;
  decltype(&ZevraGetDeviceList) GetDeviceList;
  decltype(&ZevraGetInnerRecordDeviceList) GetInnerRecordDeviceList;
  decltype(&ZevraGetOutRecordDeviceList) GetOutRecordDeviceList;
  decltype(&ZevraOpenDevice) OpenDevice;
  decltype(&ZevraCloseDevice) CloseDevice;
  decltype(&ZevraStartPlay) StartPlay;
  decltype(&ZevraStopPlay) StopPlay;
  decltype(&ZevraStartCapture) StartCapture;
  decltype(&ZevraStopCapture) StopCapture;
  decltype(&ZevraGetVolume) GetVolume;
};

// The library initialised on the calling thread, with the machine's endpoints or, where they are
// asked for or no sound server runs, the built-in ones.
class Session {
 public:
  // Says on standard error when the built-in endpoints replace a sound server. Failure where the
  // library cannot be initialised.
  explicit Session(bool builtin);
  ~Session() { library_.Uninitialize(); }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  const Library& library() const { return library_; }
  bool builtin() const { return builtin_; }

 private:
  void Initialize() const;
  bool SoundServerRuns() const;

  bool builtin_;
  Library library_;
};

}  // namespace zevra::command

#endif
