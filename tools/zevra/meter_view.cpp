#include "tools/zevra/meter_view.h"

#include <algorithm>
#include <cmath>

#include "tools/zevra/bar.h"
#include "tools/zevra/sample_format.h"
#include "tools/zevra/text.h"

namespace zevra::command {
namespace {

constexpr std::chrono::milliseconds kFrameTime{66};
// A file gets a line a second at first and then one every ten, so that an hour stays readable.
constexpr std::chrono::seconds kEarlyLineTime{1};
constexpr std::uint64_t kEarlyLines = 10;
constexpr std::chrono::seconds kLateLineTime{10};
// How a meter's needle falls, and how long its mark of the last peak stands.
constexpr double kFallPerSecond = 30;
constexpr std::chrono::milliseconds kHoldTime{1500};

}  // namespace

MeterView::MeterView(Terminal& terminal, std::uint16_t channels,
                     std::optional<double> total_seconds)
    : terminal_(terminal),
      total_seconds_(total_seconds),
      levels_(channels),
      shown_(channels, kQuietest),
      held_(channels, kQuietest),
      held_since_(channels),
      drawn_(Clock::now()) {}

void MeterView::Add(std::span<const float> samples) { levels_.Add(samples); }

void MeterView::Show(double seconds) {
  const auto now = Clock::now();
  const auto since = now - drawn_;
  if (terminal_.IsLive()) {
    if (since < kFrameTime) return;
    Draw(seconds, std::chrono::duration<double>(since).count());
  } else {
    if (since < (lines_ < kEarlyLines ? kEarlyLineTime : kLateLineTime)) return;
    terminal_.Line(PlainLine(seconds));
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
  for (std::uint16_t channel = 0; channel < levels_.channels(); ++channel)
    lines.push_back(BarLine(channel, width));
  terminal_.Redraw(lines);
}

std::string MeterView::TimeLine(double seconds, std::size_t width) const {
  const std::string time = "  " + TimeText(seconds);
  if (!total_seconds_) return Clipped(time + "  Ctrl-C ends it", width);
  const double part = std::clamp(seconds / *total_seconds_, 0.0, 1.0);
  const std::string rest =
      Format(" of %s  %3.0f %%", TimeText(*total_seconds_).c_str(), part * 100);
  const std::size_t taken = time.size() + rest.size() + 2;
  if (taken + kNarrowestBar > width) return Clipped(time + rest, width);
  return time + rest + "  " + ProgressBar(terminal_, part, width - taken);
}

std::string MeterView::BarLine(std::uint16_t channel, std::size_t width) const {
  const std::string label = ChannelLabel(levels_.channels(), channel);
  const double held = held_[channel];
  const std::string value = held > kQuietest ? Format("%.1f", held) : "-inf";
  const std::string head = Format("  %-3s %6s dB  ", label.c_str(), value.c_str());
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
  if (minutes < 60) return Format("%02llu:%04.1f", minutes, rest);
  return Format("%llu:%02llu:%04.1f", minutes / 60, minutes % 60, rest);
}

}  // namespace zevra::command
