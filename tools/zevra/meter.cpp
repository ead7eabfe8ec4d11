#include "tools/zevra/meter.h"

#include <fmt/format.h>
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numeric>
#include <string>

#include "tools/zevra/painter.h"
#include "tools/zevra/sample_format.h"
#include "tools/zevra/terminal.h"
#include "tools/zevra/text.h"

namespace zevra::command {
namespace {

// Columns below which a bar says nothing.
inline constexpr std::size_t kNarrowestBar = 12;

// Bars of exactly `width` columns, in what the terminal can show.
std::string ProgressBar(const Terminal& terminal, double part, std::size_t width);
// `decibels` as the bar and `mark` as a line that stands where the last peak was.
std::string LevelBar(const Terminal& terminal, double decibels, double mark, std::size_t width);

// A column filled by so many eighths from the left.
const char* Eighths(unsigned eighths) {
  static constexpr const char* kBlocks[] = {" ", "▏", "▎", "▍", "▌", "▋", "▊", "▉", "█"};
  return kBlocks[eighths];
}

// What a gate looks at in one piece and what it lets through around sound, in parts of a second.
constexpr std::size_t kBlocksPerSecond = 50;
constexpr std::uint32_t kLeadPart = 5;
constexpr std::uint32_t kTailPart = 2;

constexpr std::chrono::milliseconds kFrameTime{66};
// A file gets a line a second at first and then one every ten, so that an hour stays readable.
constexpr std::chrono::seconds kEarlyLineTime{1};
constexpr std::uint64_t kEarlyLines = 10;
constexpr std::chrono::seconds kLateLineTime{10};
// How long the mark of the last peak stands.
constexpr std::chrono::milliseconds kHoldTime{1500};

std::string ProgressBar(const Terminal& terminal, double part, std::size_t width) {
  const std::size_t columns = width - 2;
  const std::size_t filled = Steps(part, columns);
  std::string bar = terminal.HasUtf8() ? "▕" : "[";
  for (std::size_t column = 0; column < columns; ++column) {
    const unsigned steps = StepsIn(column, filled);
    bar += terminal.HasUtf8() ? Eighths(steps) : steps * 2 >= kStepsPerCell ? "=" : " ";
  }
  return bar + (terminal.HasUtf8() ? "▏" : "]");
}

std::string LevelBar(const Terminal& terminal, double decibels, double mark, std::size_t width) {
  const bool utf8 = terminal.HasUtf8();
  const std::size_t columns = width - 2;
  const auto part = [](double value) { return (value - kQuietest) / -kQuietest; };
  const std::size_t filled = Steps(part(decibels), columns);
  const std::size_t marked = Steps(part(mark), columns - 1) / kStepsPerCell;
  Painter painter(terminal.HasColour());
  painter.Put(kDim, utf8 ? "▕" : "[");
  for (std::size_t column = 0; column < columns; ++column) {
    const double right_end =
        kQuietest - kQuietest * static_cast<double>(column + 1) / static_cast<double>(columns);
    const unsigned steps = StepsIn(column, filled);
    if (steps == 0 && column == marked && mark > kQuietest)
      painter.Put(ColourAt(right_end), utf8 ? "│" : "|");
    else if (utf8)
      painter.Put(ColourAt(right_end), Eighths(steps));
    else
      painter.Put(ColourAt(right_end), steps * 2 >= kStepsPerCell ? "#" : " ");
  }
  painter.Put(kDim, utf8 ? "▏" : "]");
  return painter.Finish();
}

}  // namespace

void Levels::Add(std::span<const float> samples) {
  const std::size_t channels = peaks_.size();
  if (channels == 0) return;
  for (std::size_t channel = 0; channel < channels; ++channel) {
    float peak = peaks_[channel];
    double squares = 0;
    for (std::size_t i = channel; i < samples.size(); i += channels) {
      peak = std::max(peak, std::fabs(samples[i]));
      squares += double{samples[i]} * samples[i];
    }
    peaks_[channel] = peak;
    squares_[channel] += squares;
  }
  frames_ += samples.size() / channels;
}

void Levels::Clear() {
  std::fill(peaks_.begin(), peaks_.end(), 0.0F);
  std::fill(squares_.begin(), squares_.end(), 0.0);
  frames_ = 0;
}

float Levels::Peak() const { return *std::max_element(peaks_.begin(), peaks_.end()); }

double Levels::Rms() const {
  if (frames_ == 0) return 0;
  const double sum = std::accumulate(squares_.begin(), squares_.end(), 0.0);
  return std::sqrt(sum / static_cast<double>(frames_) / static_cast<double>(squares_.size()));
}

double Decibels(double amplitude) { return 20 * std::log10(amplitude); }

std::string DecibelText(double amplitude) {
  return amplitude > 0 ? fmt::format("{:.1f}", Decibels(amplitude)) : "-inf";
}

std::span<const std::uint8_t> SoundGate::Pass(std::span<const std::uint8_t> audio,
                                              std::span<const float> samples) {
  out_.clear();
  const std::size_t block = format_.rate / kBlocksPerSecond;
  const std::size_t frame_bytes = format_.FrameBytes();
  for (std::size_t done = 0; done * format_.channels < samples.size(); done += block) {
    const std::size_t frames = std::min(block, samples.size() / format_.channels - done);
    Levels levels(format_.channels);
    levels.Add(samples.subspan(done * format_.channels, frames * format_.channels));
    const auto bytes = audio.subspan(done * frame_bytes, frames * frame_bytes);
    const bool sound = Decibels(levels.Peak()) >= threshold_;
    quiet_frames_ = sound ? 0 : quiet_frames_ + frames;
    open_ = sound || (open_ && !(closes_ && quiet_frames_ > format_.rate / kTailPart));
    opened_ = opened_ || open_;
    held_.insert(held_.end(), bytes.begin(), bytes.end());
    if (open_) {
      out_.insert(out_.end(), held_.begin(), held_.end());
      held_.clear();
    } else {
      const auto keep = std::size_t{format_.rate / kLeadPart} * frame_bytes;
      if (held_.size() > keep)
        held_.erase(held_.begin(), held_.end() - static_cast<std::ptrdiff_t>(keep));
    }
  }
  return out_;
}

MeterView::MeterView(Terminal& terminal, std::uint16_t channels,
                     std::optional<double> total_seconds, std::optional<Spectrum> spectrum)
    : terminal_(terminal),
      total_seconds_(total_seconds),
      levels_(channels),
      spectrum_(std::move(spectrum)),
      shown_(channels, kQuietest),
      held_(channels, kQuietest),
      held_since_(channels),
      drawn_(Clock::now()) {}

void MeterView::Add(std::span<const float> samples) {
  levels_.Add(samples);
  if (spectrum_) spectrum_->Add(samples);
}

void MeterView::Show(double seconds) {
  const auto now = Clock::now();
  const auto since = now - drawn_;
  if (terminal_.IsLive()) {
    if (since < kFrameTime) return;
    Draw(seconds, std::chrono::duration<double>(since).count());
  } else {
    if (since < (lines_ < kEarlyLines ? kEarlyLineTime : kLateLineTime)) return;
    if (spectrum_) spectrum_->Update(std::chrono::duration<double>(since).count());
    terminal_.Line(spectrum_ ? TimeText(seconds) + spectrum_->PlainText() : PlainLine(seconds));
    ++lines_;
  }
  drawn_ = now;
  levels_.Clear();
}

void MeterView::Draw(double seconds, double since_last) {
  const auto now = Clock::now();
  for (std::uint16_t channel = 0; channel < levels_.channels(); ++channel) {
    const double peak = std::max(kQuietest, Decibels(levels_.Peak(channel)));
    shown_[channel] = std::max(peak, shown_[channel] - kFallPerSecond * since_last);
    if (peak >= held_[channel] || now - held_since_[channel] > kHoldTime) {
      held_[channel] = peak;
      held_since_[channel] = now;
    }
  }
  // The last column stays free: a full line would wrap on some terminals.
  const std::size_t width = terminal_.Width() - 1;
  std::vector<std::string> lines = {TimeLine(seconds, width)};
  if (spectrum_) {
    spectrum_->Update(since_last);
    const std::size_t others = lines.size() + levels_.channels() + 1;  // with the cursor's
    const std::size_t height = terminal_.Height();
    for (std::string& line :
         spectrum_->Lines(terminal_, width, height > others ? height - others : 0))
      lines.push_back(std::move(line));
  }
  for (std::uint16_t channel = 0; channel < levels_.channels(); ++channel)
    lines.push_back(BarLine(channel, width));
  terminal_.Redraw(lines);
}

std::string MeterView::TimeLine(double seconds, std::size_t width) const {
  const std::string time = "  " + TimeText(seconds);
  if (!total_seconds_) return Clipped(time + "  Ctrl-C ends it", width);
  const double part = std::clamp(seconds / *total_seconds_, 0.0, 1.0);
  const std::string rest = fmt::format(" of {}  {:3.0f} %", TimeText(*total_seconds_), part * 100);
  const std::size_t taken = time.size() + rest.size() + 2;
  if (taken + kNarrowestBar > width) return Clipped(time + rest, width);
  return time + rest + "  " + ProgressBar(terminal_, part, width - taken);
}

std::string MeterView::BarLine(std::uint16_t channel, std::size_t width) const {
  const std::string label = ChannelLabel(levels_.channels(), channel);
  const double held = held_[channel];
  const std::string value = held > kQuietest ? fmt::format("{:.1f}", held) : "-inf";
  const std::string head = fmt::format("  {:<3} {:>6} dB  ", label, value);
  if (head.size() + kNarrowestBar > width) return Clipped(head, width);
  return head + LevelBar(terminal_, shown_[channel], held, width - head.size());
}

std::string MeterView::PlainLine(double seconds) const {
  std::string line = TimeText(seconds) + "  peak";
  for (std::uint16_t channel = 0; channel < levels_.channels(); ++channel) {
    line +=
        "  " + ChannelLabel(levels_.channels(), channel) + " " + DecibelText(levels_.Peak(channel));
  }
  return line + " dBFS";
}

std::string TimeText(double seconds) {
  // Down to tenths that have passed, so that a clock never runs ahead.
  const auto tenths = static_cast<std::uint64_t>(std::floor(seconds * 10 + 1e-6));
  const unsigned long long minutes = tenths / 600;
  const double rest = static_cast<double>(tenths % 600) / 10;
  if (minutes < 60) return fmt::format("{:02}:{:04.1f}", minutes, rest);
  return fmt::format("{}:{:02}:{:04.1f}", minutes / 60, minutes % 60, rest);
}

}  // namespace zevra::command
