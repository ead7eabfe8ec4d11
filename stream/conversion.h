#ifndef ZEVRA_STREAM_CONVERSION_H
#define ZEVRA_STREAM_CONVERSION_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "platform/api.h"
#include "platform/owners.h"
#include "zevra/zevra.h"

// The conversion of one capture, from its first packet to its last: a push and pull wrapper around
// the platform's resampler. One thread, the capture thread, makes, uses and destroys it. No
// function here writes a log line; results are negative for failure.

namespace zevra {

struct ZevraConversionContext;

// Gives a freed block back to its context, which must outlive the block.
struct BlockRecycler {
  ZevraConversionContext* context = nullptr;
  std::size_t capacity_bytes = 0;
  void operator()(std::uint8_t* bytes) const noexcept;
};
using ConvertedBlock = std::unique_ptr<std::uint8_t[], BlockRecycler>;

// A block of converted audio: `length` bytes of whole frames. Length 0 goes with null.
struct ZevraConvertedBuffer {
  std::uint32_t length = 0;
  ConvertedBlock data;

  void Clear() {
    length = 0;
    data.reset();
  }
};

// A block for the next packet; capacity 0 goes with null.
struct SpareBlock {
  std::size_t capacity_bytes = 0;
  std::unique_ptr<std::uint8_t[]> bytes;
};

struct ZevraConversionContext {
  ZevraConversionContext() = default;
  // Releases the transform, then takes MFStartup back if it is owed.
  ~ZevraConversionContext();
  ZevraConversionContext(const ZevraConversionContext&) = delete;
  ZevraConversionContext& operator=(const ZevraConversionContext&) = delete;

  ComPtr<IMFTransform> transform;  // null until CreateConversionStage has succeeded
  ZevraAudioFormat source_format{};
  ZevraAudioFormat target_format{};
  bool media_foundation_started = false;  // MFShutdown is owed
  std::uint64_t frames_in = 0;            // source frames made ready for the transform
  std::uint64_t frames_out = 0;           // target frames pulled
  // As many blocks as a packet has in use at once: what was collected, the next pull, and both
  // joined. With them one packet after the other runs without the heap.
  std::array<SpareBlock, 3> spares;
};

// Gives a media type that describes `format`, or a negative code and none.
HRESULT CreateConversionMediaType(const ZevraAudioFormat& format, ComPtr<IMFMediaType>* type);

// Gives a transform that takes `source` and delivers `target`, or a negative code and none. Both
// formats must be ones that the transform knows; it says so with its own code if not.
HRESULT CreateConversionStage(const ZevraAudioFormat& source, const ZevraAudioFormat& target,
                              ComPtr<IMFTransform>* transform);

// Brings the context's stage up: Media Foundation, the transform, the messages that begin a stream.
// On a failure the context stays without a transform, or with one that was not told to begin.
HRESULT StartConversion(ZevraConversionContext& context);

// Converts one packet: `bytes` bytes of whole source frames. `result` comes in empty and goes out
// with the whole output in target frames, or what there was up to a failure; the transform holds
// some back, so an empty result is no failure. After any failure the next packet may be tried.
// E_UNEXPECTED without a transform, E_INVALIDARG for formats without a block size or a rate.
HRESULT ConvertBuffer(ZevraConversionContext& context, const std::uint8_t* packet,
                      std::uint32_t bytes, ZevraConvertedBuffer& result);

// One request for output. `pulled.length` comes in as the bytes to offer and goes out as the bytes
// delivered, with the block in `pulled.data`.
HRESULT PullConvertedBuffer(ZevraConversionContext& context, ZevraConvertedBuffer& pulled);

}  // namespace zevra

#endif
