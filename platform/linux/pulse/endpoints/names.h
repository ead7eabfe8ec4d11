#ifndef ZEVRA_PLATFORM_LINUX_PULSE_ENDPOINTS_NAMES_H
#define ZEVRA_PLATFORM_LINUX_PULSE_ENDPOINTS_NAMES_H

#include <pulse/introspect.h>
#include <pulse/proplist.h>

#include <array>
#include <cstddef>
#include <string>
#include <vector>

// The names by which people know endpoints. A server's descriptions cannot serve as they are: two
// equal sound cards share one, and strangers choose those of Bluetooth devices.

namespace zevra {

// What marks an endpoint off from others that are called the same and stays with it when it is
// plugged in again; the rank says which is tried first.
inline constexpr std::array kIdentityProperties = {"device.product.name", "alsa.card_name",
                                                   "device.serial", "api.bluez5.address",
                                                   "device.bus_path"};

struct EndpointIdentity {
  std::string name;         // the server's, unique among the endpoints of a flow
  std::string description;  // UTF-8 if the server keeps its word
  // The name of its only port, and behind it the properties above; empty where there is none.
  std::array<std::string, kIdentityProperties.size() + 1> marks;
};

// Of a sink or a source.
template <class Info>
EndpointIdentity IdentityOf(const Info& info) {
  const auto text_of = [](const char* text) { return std::string(text != nullptr ? text : ""); };
  EndpointIdentity identity{text_of(info.name), text_of(info.description), {}};
  // With several ports the one in use changes with every plug.
  if (info.n_ports == 1) identity.marks[0] = text_of(info.ports[0]->description);
  for (std::size_t i = 0; i < kIdentityProperties.size(); ++i)
    identity.marks[i + 1] = text_of(pa_proplist_gets(info.proplist, kIdentityProperties[i]));
  return identity;
}

// A name for each of a flow's endpoints, in their order. It is the description, or the server's
// name where that is empty, with blanks in the place of control characters. Where several are the
// same, their marks are put behind them; what is the same still gets a number, in the order of the
// server's names. No two are equal without regard to case, none has more than 255 units. Throws
// for want of memory only.
std::vector<std::u16string> FriendlyNames(const std::vector<EndpointIdentity>& endpoints);

}  // namespace zevra

#endif
