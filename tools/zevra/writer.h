#ifndef ZEVRA_TOOLS_ZEVRA_WRITER_H
#define ZEVRA_TOOLS_ZEVRA_WRITER_H

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "tools/zevra/sample_format.h"

namespace zevra::command {

// Where a recording goes. Failure from any operation names what could not be written and why.
class AudioWriter {
 public:
  virtual ~AudioWriter() = default;
  // Whole frames in the recording's format.
  virtual void Write(std::span<const std::uint8_t> audio) = 0;
  // Makes the recording complete. Without it, or after a failure, what was written so far is still
  // readable.
  virtual void Finish() = 0;
};

// Opens a file by its ending, .wav or .flac, or standard output for "-". `seconds` is the length of
// the recording where it is known.
std::unique_ptr<AudioWriter> OpenWriter(const std::string& path, const AudioFormat& format,
                                        std::optional<double> seconds);

// BadArgument for a path that no writer takes, or not in this format, before anything is opened.
void CheckWritable(const std::string& path, const AudioFormat& format);

}  // namespace zevra::command

#endif
