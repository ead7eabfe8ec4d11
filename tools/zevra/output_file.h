#ifndef ZEVRA_TOOLS_ZEVRA_OUTPUT_FILE_H
#define ZEVRA_TOOLS_ZEVRA_OUTPUT_FILE_H

#include <sndfile.h>

#include <string>

namespace zevra::command {

// A file that libsndfile writes through, so that a full disk leaves whole blocks: what does not fit
// as a whole is not written at all. A FLAC file then ends with its last whole frame and not in the
// middle of one.
class OutputFile {
 public:
  // Makes the file or empties it; look at error().
  explicit OutputFile(const std::string& path);
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  // Null where libsndfile does not take the format; then error() is 0.
  SNDFILE* Open(SF_INFO& info);
  // The error number of the first operation that failed, or 0.
  int error() const { return error_; }

 private:
  static SF_VIRTUAL_IO Operations();
  sf_count_t Write(const void* data, sf_count_t length);

  int descriptor_;
  int error_ = 0;
};

}  // namespace zevra::command

#endif
