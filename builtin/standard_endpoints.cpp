#include "builtin/endpoint_config.h"

namespace zevra::builtin {

std::vector<EndpointConfig> StandardEndpoints() {
  EndpointConfig speakers;
  speakers.name = u"Built-in Speakers";
  speakers.is_default = true;
  speakers.programme = Melody(Tune::kOdeToJoy);
  speakers.volume = 0.75F;

  EndpointConfig headphones;
  headphones.name = u"Built-in Headphones";

  EndpointConfig microphone;
  microphone.name = u"Built-in Microphone";
  microphone.flow = eCapture;
  microphone.is_default = true;
  microphone.rate = 44100;
  microphone.channels = 1;
  microphone.channel_mask = SPEAKER_FRONT_CENTER;
  microphone.packet_frames = 441;
  microphone.programme = Melody(Tune::kFrereJacques);
  microphone.volume = 0.5F;

  std::vector<EndpointConfig> endpoints;
  endpoints.push_back(std::move(speakers));
  endpoints.push_back(std::move(headphones));
  endpoints.push_back(std::move(microphone));
  return endpoints;
}

}  // namespace zevra::builtin
