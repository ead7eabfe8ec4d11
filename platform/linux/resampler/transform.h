#ifndef ZEVRA_PLATFORM_LINUX_RESAMPLER_TRANSFORM_H
#define ZEVRA_PLATFORM_LINUX_RESAMPLER_TRANSFORM_H

#include <optional>

#include "platform/com_object.h"
#include "platform/linux/resampler/engine.h"
#include "platform/owners.h"

namespace zevra {

// The resampler transform. The types may be set in either order and again later, which starts a new
// signal, as does a flush or another filter length. One packet is inside at a time; it is read
// where it lies and converted into the memory of the output samples. One thread at a time.
class Resampler final : public ComObject<IMFTransform, IWMResamplerProps> {
 public:
  HRESULT SetInputType(DWORD stream, IMFMediaType* type, DWORD flags) override;
  HRESULT SetOutputType(DWORD stream, IMFMediaType* type, DWORD flags) override;
  HRESULT GetInputStatus(DWORD stream, DWORD* flags) override;
  HRESULT ProcessMessage(MFT_MESSAGE_TYPE message, std::uintptr_t parameter) override;
  HRESULT ProcessInput(DWORD stream, IMFSample* sample, DWORD flags) override;
  HRESULT ProcessOutput(DWORD flags, DWORD count, MFT_OUTPUT_DATA_BUFFER* samples,
                        DWORD* status) override;
  HRESULT SetHalfFilterLength(LONG length) override;

 private:
  // What is left of the packet inside: a locked buffer, unlocked when the packet goes.
  class Packet {
   public:
    Packet() = default;
    ~Packet() { Drop(); }
    Packet(const Packet&) = delete;
    Packet& operator=(const Packet&) = delete;

    // Takes the bytes of `sample`, which must be whole blocks.
    HRESULT Take(IMFSample* sample, UINT32 block_bytes);
    void Drop();
    void Advance(UINT32 frames);
    const BYTE* Data() const { return data_; }
    UINT32 Frames() const { return frames_; }

   private:
    ComPtr<IMFMediaBuffer> buffer_;
    const BYTE* data_ = nullptr;
    UINT32 frames_ = 0;
    UINT32 block_bytes_ = 0;
  };

  HRESULT SetType(IMFMediaType* type, DWORD flags, std::optional<ResamplerFormat>* side,
                  const std::optional<ResamplerFormat>& other);
  bool TypesSet() const { return input_.has_value() && output_.has_value(); }
  // Makes the engine if there is none.
  HRESULT Prepare();
  // Forgets the signal so far; the next packet begins a new one.
  void Reset();
  HRESULT Write(IMFMediaBuffer* buffer, UINT32* frames);
  HRESULT Fill(BYTE* output, UINT32 most_frames, UINT32* frames);

  std::optional<ResamplerFormat> input_;
  std::optional<ResamplerFormat> output_;
  LONG half_filter_length_ = 30;  // what the component has by default on Windows
  SwrEngine engine_;
  Packet packet_;
  bool fed_ = false;           // the engine has seen frames since it was opened
  bool output_waits_ = false;  // from a packet taken until there is nothing more to write
  bool kept_inside_ = false;   // the engine filled the output, and may hold more
};

}  // namespace zevra

#endif
