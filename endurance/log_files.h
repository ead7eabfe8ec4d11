#ifndef ZEVRA_ENDURANCE_LOG_FILES_H
#define ZEVRA_ENDURANCE_LOG_FILES_H

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>

namespace zevra::endurance {

// The log of a long run and its backups. One thread.
class LogFiles {
 public:
  explicit LogFiles(std::filesystem::path folder) : folder_(std::move(folder)) {}

  // Reads every file that has changed since the last call. Gives what is wrong: a line that is torn
  // or has a time before the last one's or after the present one, or more than `most_backups`;
  // empty if nothing is.
  std::string Check(std::size_t most_backups);

  // Lines of messages in all files that were read, and those of the level TRC among them.
  std::uint64_t Lines() const { return Sum(&Content::lines); }
  std::uint64_t TraceLines() const { return Sum(&Content::trace_lines); }
  // All that were there at a check, removed ones included.
  std::size_t Backups() const { return removed_backups_ + contents_.size() - 1; }

 private:
  struct Content {
    std::uintmax_t bytes = 0;
    std::uint64_t lines = 0;
    std::uint64_t trace_lines = 0;
  };

  void ForgetRemoved();
  static std::string Read(const std::filesystem::path& file, Content& content);
  std::uint64_t Sum(std::uint64_t Content::*member) const;

  const std::filesystem::path folder_;
  // Of the files that are there, by their names, and of those that are not any more: what this
  // object holds must not grow with the day.
  std::map<std::string, Content> contents_;
  Content removed_;
  std::size_t removed_backups_ = 0;
};

}  // namespace zevra::endurance

#endif
