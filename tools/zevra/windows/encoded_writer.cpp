#include "tools/zevra/text.h"
#include "tools/zevra/writer.h"

namespace zevra::command {

// There is no encoder here.
void CheckEncodable(const Target& target) {
  if (target.container != Container::kWav && target.container != Container::kRaw)
    throw BadArgument("can't write " + target.file + ": only .wav files are written on Windows");
}

std::unique_ptr<AudioWriter> OpenEncoded(const Target& target) {
  CheckEncodable(target);
  return OpenPlain(target);
}

std::string FileEndings() { return ".wav"; }

}  // namespace zevra::command
