#include "tools/zevra/endpoint_facts.h"

#include <pulse/introspect.h>
#include <pulse/subscribe.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <iterator>
#include <memory>

#include "platform/linux/pulse/endpoints/names.h"
#include "tools/zevra/text.h"

namespace zevra::command {
namespace {

using std::chrono::steady_clock;

constexpr std::chrono::seconds kTimeout{5};
constexpr std::chrono::seconds kReconnectTime{1};
// The library mixes what has more down to this many channels.
constexpr unsigned kMostChannels = 8;

using Operation = std::unique_ptr<pa_operation, PulseFree>;

// What the server answers of one flow's endpoints.
struct FlowAnswers {
  std::string default_id;
  std::vector<EndpointFacts> facts;
  std::vector<EndpointIdentity> identities;  // of the facts

  template <class Info>
  void Add(const Info& info, Flow flow) {
    const float volume = static_cast<float>(pa_cvolume_avg(&info.volume)) / PA_VOLUME_NORM;
    facts.push_back({"", flow, false, info.mute != 0, std::min(volume, 1.0F), info.sample_spec.rate,
                     std::min<unsigned>(info.sample_spec.channels, kMostChannels), info.name});
    identities.push_back(IdentityOf(info));
  }

  // Once all are there.
  void Complete() {
    const std::vector<std::u16string> names = FriendlyNames(identities);
    for (std::size_t i = 0; i < facts.size(); ++i) {
      facts[i].name = ToUtf8(names[i]);
      facts[i].is_default = facts[i].id == default_id;
    }
    std::stable_partition(facts.begin(), facts.end(),
                          [](const EndpointFacts& one) { return one.is_default; });
  }
};

struct Answers {
  std::string server;
  FlowAnswers render;
  FlowAnswers capture;
};

void OnServer(pa_context*, const pa_server_info* info, void* user_data) {
  if (info == nullptr) return;
  auto& answers = *static_cast<Answers*>(user_data);
  for (const char* const text : {info->server_name, info->server_version})
    if (text != nullptr) answers.server += (answers.server.empty() ? "" : " ") + std::string(text);
  if (info->default_sink_name != nullptr) answers.render.default_id = info->default_sink_name;
  if (info->default_source_name != nullptr) answers.capture.default_id = info->default_source_name;
}

void OnSink(pa_context*, const pa_sink_info* info, int, void* user_data) {
  if (info != nullptr) static_cast<Answers*>(user_data)->render.Add(*info, Flow::kRender);
}

void OnSource(pa_context*, const pa_source_info* info, int, void* user_data) {
  // A monitor is how a sink is recorded, no endpoint of its own.
  if (info != nullptr && info->monitor_of_sink == PA_INVALID_INDEX)
    static_cast<Answers*>(user_data)->capture.Add(*info, Flow::kCapture);
}

// False where the server takes too long.
template <class Condition>
bool RunUntil(pa_mainloop* loop, const Condition& condition) {
  const auto end = steady_clock::now() + kTimeout;
  while (!condition()) {
    const auto left = std::chrono::ceil<std::chrono::microseconds>(end - steady_clock::now());
    if (left.count() <= 0 || pa_mainloop_prepare(loop, static_cast<int>(left.count())) < 0 ||
        pa_mainloop_poll(loop) < 0 || pa_mainloop_dispatch(loop) < 0)
      return false;
  }
  return true;
}

bool AskServer(Answers& answers) {
  const std::unique_ptr<pa_mainloop, PulseFree> loop(pa_mainloop_new());
  const std::unique_ptr<pa_context, PulseFree> context(
      pa_context_new(pa_mainloop_get_api(loop.get()), "zevra"));
  if (pa_context_connect(context.get(), nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0) return false;
  const auto state = [&] { return pa_context_get_state(context.get()); };
  const bool decided = RunUntil(
      loop.get(), [&] { return state() == PA_CONTEXT_READY || !PA_CONTEXT_IS_GOOD(state()); });
  if (!decided || state() != PA_CONTEXT_READY) return false;

  const Operation operations[] = {
      Operation(pa_context_get_server_info(context.get(), OnServer, &answers)),
      Operation(pa_context_get_sink_info_list(context.get(), OnSink, &answers)),
      Operation(pa_context_get_source_info_list(context.get(), OnSource, &answers))};
  return RunUntil(loop.get(), [&operations] {
    return std::none_of(std::begin(operations), std::end(operations), [](const Operation& one) {
      return one && pa_operation_get_state(one.get()) == PA_OPERATION_RUNNING;
    });
  });
}

}  // namespace

std::vector<EndpointFacts> FindEndpointFacts(bool builtin) {
  if (builtin) {
    return {
        {"Built-in Speakers", Flow::kRender, true, false, {}, 48000, 2, "builtin-speakers"},
        {"Built-in Headphones", Flow::kRender, false, false, {}, 48000, 2, "builtin-headphones"},
        {"Built-in Microphone", Flow::kCapture, true, false, {}, 44100, 1, "builtin-microphone"}};
  }
  Answers answers;
  if (!AskServer(answers)) return {};
  answers.render.Complete();
  answers.capture.Complete();
  std::vector<EndpointFacts>& facts = answers.render.facts;
  std::move(answers.capture.facts.begin(), answers.capture.facts.end(), std::back_inserter(facts));
  return facts;
}

std::string SoundServerText() {
  Answers answers;
  return AskServer(answers) ? answers.server : "";
}

EndpointFacts DefaultEndpoint(bool builtin, Flow flow) {
  for (const EndpointFacts& facts : FindEndpointFacts(builtin))
    if (facts.flow == flow && facts.is_default) return facts;
  return {};
}

DefaultWatch::DefaultWatch(Flow flow) : flow_(flow), loop_(pa_mainloop_new()) { Connect(); }

void DefaultWatch::Connect() {
  subscribed_ = false;
  connected_at_ = steady_clock::now();
  context_.reset(pa_context_new(pa_mainloop_get_api(loop_.get()), "zevra"));
  pa_context_set_subscribe_callback(
      context_.get(),
      [](pa_context*, pa_subscription_event_type_t, std::uint32_t, void* self) {
        static_cast<DefaultWatch*>(self)->Ask();
      },
      this);
  pa_context_connect(context_.get(), nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr);
}

void DefaultWatch::Ask() {
  const Operation question(pa_context_get_server_info(
      context_.get(),
      [](pa_context*, const pa_server_info* info, void* user_data) {
        auto& self = *static_cast<DefaultWatch*>(user_data);
        if (info == nullptr) return;
        const char* const name =
            self.flow_ == Flow::kRender ? info->default_sink_name : info->default_source_name;
        self.current_ = name != nullptr ? name : "";
        if (self.accepted_.empty()) self.accepted_ = self.current_;
      },
      this));
}

bool DefaultWatch::HasMoved() {
  while (pa_mainloop_iterate(loop_.get(), 0, nullptr) > 0) continue;
  const pa_context_state_t state = pa_context_get_state(context_.get());
  if (state == PA_CONTEXT_READY && !subscribed_) {
    subscribed_ = true;
    const Operation subscription(
        pa_context_subscribe(context_.get(), PA_SUBSCRIPTION_MASK_SERVER, nullptr, nullptr));
    Ask();
  }
  if (!PA_CONTEXT_IS_GOOD(state) && steady_clock::now() - connected_at_ > kReconnectTime) Connect();
  return !current_.empty() && current_ != accepted_;
}

}  // namespace zevra::command
