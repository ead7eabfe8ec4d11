#include "tools/zevra/writer.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <ctime>
#include <utility>

#include "tools/zevra/console.h"
#include "tools/zevra/text.h"

namespace zevra::command {
namespace {

constexpr std::pair<const char*, Container> kEndings[] = {
    {".wav", Container::kWav},   {".flac", Container::kFlac}, {".ogg", Container::kVorbis},
    {".opus", Container::kOpus}, {".mp3", Container::kMp3},
};

Container ContainerByName(const std::string& file) {
  const std::size_t dot = file.rfind('.');
  const std::string ending = dot == std::string::npos ? "" : file.substr(dot);
  for (const auto& [name, container] : kEndings)
    if (EqualIgnoringCase(ending, name)) return container;
  return Container::kByName;
}

Container ContainerOf(const Target& target) {
  if (target.container != Container::kByName) return target.container;
  return target.file == "-" ? Container::kRaw : ContainerByName(target.file);
}

std::string Formatted(const std::string& pattern) {
  const std::tm local = fmt::localtime(std::time(nullptr));
  // A field may become longer than it is written, and an empty result looks like one that does not
  // fit.
  std::string out(pattern.size() * 16 + 64, '\0');
  out.resize(std::strftime(out.data(), out.size(), (pattern + " ").c_str(), &local));
  if (!out.empty()) out.pop_back();
  return out;
}

std::unique_ptr<AudioWriter> OpenOne(const Target& target) {
  const bool plain = target.container == Container::kRaw || target.container == Container::kWav;
  return plain ? OpenPlain(target) : OpenEncoded(target);
}

// Goes on in a new file after so many frames.
class SplitWriter final : public AudioWriter {
 public:
  explicit SplitWriter(const Target& target)
      : target_(target),
        file_bytes_(
            static_cast<std::uint64_t>(std::llround(*target.split_seconds * target.format.rate)) *
            target.format.FrameBytes()) {
    Next();
  }

  void Write(std::span<const std::uint8_t> audio) override {
    while (!audio.empty()) {
      if (written_ == file_bytes_) {
        writer_->Finish();
        Next();
      }
      const auto part = std::min<std::uint64_t>(audio.size(), file_bytes_ - written_);
      writer_->Write(audio.first(part));
      written_ += part;
      audio = audio.subspan(part);
    }
  }
  const std::string& File() const override { return writer_->File(); }
  void Finish() override { writer_->Finish(); }

 private:
  void Next() {
    Target one = target_;
    one.seconds = target_.split_seconds;
    one.file = Formatted(target_.file);
    // Names that do not tell the files apart are numbered, also where the clock was set back.
    const unsigned number = ++files_[one.file];
    if (one.file == target_.file || number > 1)
      one.file.insert(one.file.rfind('.'), fmt::format("-{:03}", number));
    writer_ = OpenOne(one);
    written_ = 0;
  }

  const Target target_;
  const std::uint64_t file_bytes_;
  std::unique_ptr<AudioWriter> writer_;
  // How many there are of each name.
  std::map<std::string, unsigned> files_;
  std::uint64_t written_ = 0;
};

}  // namespace

void OutputFile::Fail(const std::string& reason) const {
  if (error_ == EPIPE)
    throw Failure("whoever read " + (path_.starts_with("to ") ? path_.substr(3) : path_) +
                  " has gone");
  throw Failure("can't write " + path_ + ": " + (error_ != 0 ? SystemText(error_) : reason));
}

const std::map<std::string, Container>& ContainerNames() {
  static const std::map<std::string, Container> names = {{"raw", Container::kRaw},
                                                         {"wav", Container::kWav}};
  return names;
}

void CheckWritable(const Target& target) {
  Target known = target;
  known.container = ContainerOf(target);
  if (known.container == Container::kByName) {
    throw BadArgument("can't tell what to write into " + target.file + ": end the name in " +
                      FileEndings() + ", or give - for standard output");
  }
  const Container by_name = ContainerByName(target.file);
  if (by_name != Container::kByName && by_name != known.container)
    throw BadArgument("the name " + target.file + " says otherwise than --container");
  if (target.file == "-" && IsConsole(stdout)) {
    throw BadArgument(
        "samples say nothing on a terminal: send standard output to a program or a file, or name a "
        "file");
  }
  const std::string name = target.file.substr(target.file.rfind('/') + 1);
  if (target.split_seconds && name.rfind('.') == std::string::npos)
    throw BadArgument("only a file whose name has an ending can be split");
  CheckEncodable(known);
}

std::unique_ptr<AudioWriter> OpenWriter(const Target& target) {
  Target known = target;
  known.container = ContainerOf(target);
  if (target.split_seconds) return std::make_unique<SplitWriter>(known);
  known.file = Formatted(target.file);
  return OpenOne(known);
}

// Not by Formatted: on Windows %z would be the zone's name.
std::string TimeStamp() {
  return fmt::format("{:%Y-%m-%dT%H:%M:%S%z}", fmt::localtime(std::time(nullptr)));
}

}  // namespace zevra::command
