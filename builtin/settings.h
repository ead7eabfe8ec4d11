#ifndef ZEVRA_BUILTIN_SETTINGS_H
#define ZEVRA_BUILTIN_SETTINGS_H

#include <string>
#include <vector>

#include "builtin/endpoint.h"

namespace zevra::builtin {

// The standard endpoints as a settings file changes them.
struct Settings {
  std::vector<EndpointConfig> endpoints;
  // One line for each thing in the file that is wrong, with what is done in its place.
  std::vector<std::string> complaints;
};

// Reads the profile file at `path`: the sections "speakers", "headphones" and "microphone" with the
// keys that docs/testing-without-sound.md describes. A wrong value leaves what the endpoint had; a
// missing file leaves everything. A relative WAV file lies beside the settings file.
Settings ReadSettings(const std::string& path);

}  // namespace zevra::builtin

#endif
