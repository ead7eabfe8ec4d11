#include "platform/linux/pulse/endpoints/names.h"

#include <algorithm>
#include <numeric>
#include <string_view>

#include "platform/linux/unicode.h"
#include "platform/text.h"

namespace zevra {
namespace {

using Names = std::vector<std::u16string>;

// What a row of a list holds.
constexpr std::size_t kLongestName = 255;
constexpr std::size_t kLongestMark = 100;

// Characters that move a terminal's cursor, end a line or turn the direction of text.
bool IsControl(char16_t unit) {
  return unit < 0x20 || (unit >= 0x7F && unit < 0xA0) || unit == 0x061C ||
         (unit >= 0x200E && unit <= 0x200F) || (unit >= 0x2028 && unit <= 0x202E) ||
         (unit >= 0x2066 && unit <= 0x2069) || unit == 0xFEFF;
}

void Cut(std::u16string& text, std::size_t most) {
  if (text.size() <= most) return;
  const bool splits_pair = (text[most - 1] & 0xFC00) == 0xD800;
  text.resize(splits_pair ? most - 1 : most);
}

// As one line without blanks around it.
std::u16string Plain(std::string_view text, std::size_t most) {
  std::u16string plain = Utf16FromUtf8(text);
  std::replace_if(plain.begin(), plain.end(), IsControl, u' ');
  plain.erase(0, std::min(plain.find_first_not_of(u' '), plain.size()));
  Cut(plain, most);
  plain.resize(plain.find_last_not_of(u' ') + 1);
  return plain;
}

bool Same(const std::u16string& a, const std::u16string& b) {
  return EqualIgnoringCase(a.c_str(), b.c_str());
}

std::u16string WithBehind(std::u16string name, const std::u16string& what) {
  const std::u16string behind = u" (" + what + u")";
  Cut(name, kLongestName - behind.size());
  return name + behind;
}

// Puts the mark of that rank behind all names that others have too, unless all of those others
// have that mark as well.
void Tell(const std::vector<EndpointIdentity>& endpoints, std::size_t rank, Names& names) {
  const Names before = names;
  for (std::size_t i = 0; i < names.size(); ++i) {
    const std::u16string mark = Plain(endpoints[i].marks.at(rank), kLongestMark);
    if (mark.empty()) continue;
    for (std::size_t other = 0; other < names.size(); ++other) {
      if (!Same(before[i], before[other]) ||
          endpoints[i].marks.at(rank) == endpoints[other].marks.at(rank))
        continue;
      names[i] = WithBehind(before[i], mark);
      break;
    }
  }
}

void Number(const std::vector<EndpointIdentity>& endpoints, Names& names) {
  std::vector<std::size_t> order(names.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::sort(order.begin(), order.end(), [&endpoints](std::size_t a, std::size_t b) {
    return endpoints[a].name < endpoints[b].name;
  });
  const Names before = names;
  for (auto current = order.begin(); current != order.end(); ++current) {
    const auto is_same = [&](std::size_t other) { return Same(before[other], before[*current]); };
    auto number = static_cast<std::size_t>(std::count_if(order.begin(), current, is_same)) + 1;
    if (number == 1) continue;
    std::u16string name;
    do {
      name = WithBehind(before[*current], Utf16FromUtf8(std::to_string(number++)));
    } while (std::any_of(names.begin(), names.end(),
                         [&name](const std::u16string& taken) { return Same(taken, name); }));
    names[*current] = name;
  }
}

}  // namespace

Names FriendlyNames(const std::vector<EndpointIdentity>& endpoints) {
  Names names;
  for (const EndpointIdentity& endpoint : endpoints) {
    std::u16string name = Plain(endpoint.description, kLongestName);
    names.push_back(name.empty() ? Plain(endpoint.name, kLongestName) : name);
  }
  for (std::size_t rank = 0; rank < kIdentityProperties.size() + 1; ++rank)
    Tell(endpoints, rank, names);
  Number(endpoints, names);
  return names;
}

}  // namespace zevra
