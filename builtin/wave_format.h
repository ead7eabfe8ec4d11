#ifndef ZEVRA_BUILTIN_WAVE_FORMAT_H
#define ZEVRA_BUILTIN_WAVE_FORMAT_H

#include <optional>
#include <span>

#include "builtin/endpoint_config.h"

namespace zevra::builtin {

// The samples that a stream can be opened with, always at the endpoint's rate and channels.
enum class SampleKind { kFloat32, kInt16 };

constexpr UINT32 BytesOf(SampleKind kind) { return kind == SampleKind::kFloat32 ? 4 : 2; }

// The endpoint's mix format as a block in task memory, the taker's; null if there is no memory.
WAVEFORMATEX* NewMixFormat(const EndpointConfig& config);

// What `format`, plain or extensible, asks for; nothing if the endpoint has no such stream.
std::optional<SampleKind> Recognise(const EndpointConfig& config, const WAVEFORMATEX& format);

// Between the mix's float samples and a client's bytes, which may stand at any address. 16-bit
// samples are rounded, and held at full scale. `bytes` is as long as the samples need.
void ToClient(SampleKind kind, std::span<const float> samples, BYTE* bytes);
void FromClient(SampleKind kind, const BYTE* bytes, std::span<float> samples);

}  // namespace zevra::builtin

#endif
