#ifndef ZEVRA_TOOLS_ZEVRA_WRITER_H
#define ZEVRA_TOOLS_ZEVRA_WRITER_H

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "tools/zevra/sample_format.h"

namespace zevra::command {

enum class Container { kByName, kRaw, kWav, kFlac, kVorbis, kOpus, kMp3 };

// Those that a user can ask for, as they are written.
const std::map<std::string, Container>& ContainerNames();

// Where a recording goes, and as what.
struct Target {
  // Its ending says what it holds; "-" is standard output. Fields like %H stand for the local time
  // of its start.
  std::string file;
  // kByName, or what standard output or a name without an ending of its own gets.
  Container container = Container::kByName;
  AudioFormat format;
  // The length, where it is known.
  std::optional<double> seconds;
  // The length after which the next file begins.
  std::optional<double> split_seconds;
};

// Failure from any operation names what could not be written and why.
class AudioWriter {
 public:
  virtual ~AudioWriter() = default;
  // Whole frames in the recording's format.
  virtual void Write(std::span<const std::uint8_t> audio) = 0;
  // Where it goes now.
  virtual const std::string& File() const = 0;
  // Makes the recording complete. Without it, or after a failure, what was written so far is still
  // readable.
  virtual void Finish() = 0;
};

// What a writer writes into: a file, or what only takes bytes one after the other, such as a pipe.
// A full disk leaves whole blocks: what does not fit as a whole is not written at all. One thread;
// every failure names what could not be written and why.
class OutputFile {
 public:
  // Makes the file or empties it; "-" is standard output. Opening a pipe waits for its reader.
  explicit OutputFile(const std::string& path);
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  const std::string& path() const { return path_; }
  int descriptor() const { return descriptor_; }
  // False for what cannot go back to its beginning.
  bool IsSeekable() const { return seekable_; }
  // False where it fails; then see Fail.
  bool Write(std::span<const std::uint8_t> bytes);
  // At the beginning of a file, over what is there.
  bool WriteHeader(std::span<const std::uint8_t> bytes);
  // The first failure, or `reason` where there was none.
  [[noreturn]] void Fail(const std::string& reason = {}) const;
  bool HasFailed() const { return error_ != 0; }

 private:
  bool TakeBack(std::int64_t begin, std::int64_t written) const;

  const std::string path_;
  int descriptor_;
  bool seekable_ = false;
  int error_ = 0;
};

// BadArgument for a target that no writer takes, before anything is opened.
void CheckWritable(const Target& target);

// The target must have been checked.
std::unique_ptr<AudioWriter> OpenWriter(const Target& target);

// One file each, for OpenWriter: samples as they are, with a WAV header or none, and what
// libsndfile encodes. `target.file` is its path as it stands.
std::unique_ptr<AudioWriter> OpenPlain(const Target& target);
std::unique_ptr<AudioWriter> OpenEncoded(const Target& target);
// BadArgument for a format that the encoder does not take.
void CheckEncodable(const Target& target);
// The endings of names that can be written, for a message.
std::string FileEndings();

// This moment with the offset of its zone, as recordings carry it.
std::string TimeStamp();

}  // namespace zevra::command

#endif
