#ifndef ZEVRA_TOOLS_ZEVRA_OUTPUT_FILE_H
#define ZEVRA_TOOLS_ZEVRA_OUTPUT_FILE_H

#include <cstdint>
#include <span>
#include <string>

namespace zevra::command {

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

}  // namespace zevra::command

#endif
