#ifndef ZEVRA_PLATFORM_LINUX_COM_MEDIA_FOUNDATION_H
#define ZEVRA_PLATFORM_LINUX_COM_MEDIA_FOUNDATION_H

#include "platform/linux/com/base.h"

inline constexpr ULONG MF_VERSION = 0x00020070;
inline constexpr DWORD MFSTARTUP_LITE = 1;

inline constexpr HRESULT MF_E_BUFFERTOOSMALL = HresultFromBits(0xC00D36B1);
inline constexpr HRESULT MF_E_INVALIDSTREAMNUMBER = HresultFromBits(0xC00D36B3);
inline constexpr HRESULT MF_E_INVALIDMEDIATYPE = HresultFromBits(0xC00D36B4);
inline constexpr HRESULT MF_E_INVALIDTYPE = HresultFromBits(0xC00D36BD);
inline constexpr HRESULT MF_E_BAD_STARTUP_VERSION = HresultFromBits(0xC00D36E3);
inline constexpr HRESULT MF_E_ATTRIBUTENOTFOUND = HresultFromBits(0xC00D36E6);
inline constexpr HRESULT MF_E_TRANSFORM_TYPE_NOT_SET = HresultFromBits(0xC00D6D60);
inline constexpr HRESULT MF_E_TRANSFORM_NEED_MORE_INPUT = HresultFromBits(0xC00D6D72);

inline constexpr DWORD MFT_INPUT_STATUS_ACCEPT_DATA = 1;

enum MFT_MESSAGE_TYPE : std::uint32_t {
  MFT_MESSAGE_COMMAND_FLUSH = 0x00000000,
  MFT_MESSAGE_NOTIFY_BEGIN_STREAMING = 0x10000000,
  MFT_MESSAGE_NOTIFY_START_OF_STREAM = 0x10000003,
};

// The objects below belong to one thread at a time, AddRef and Release included.

// Attributes by key, which together name a format.
struct IMFMediaType : IUnknown {
  // MF_E_ATTRIBUTENOTFOUND for a key that is not set, MF_E_INVALIDTYPE for one set as the other
  // type; `*value` is then left as it was.
  virtual HRESULT GetUINT32(REFGUID key, UINT32* value) = 0;
  virtual HRESULT GetGUID(REFGUID key, GUID* value) = 0;
  // Replaces what the key held. E_OUTOFMEMORY beyond 16 keys.
  virtual HRESULT SetUINT32(REFGUID key, UINT32 value) = 0;
  virtual HRESULT SetGUID(REFGUID key, REFGUID value) = 0;
};

// A block of bytes with a capacity and a current length.
struct IMFMediaBuffer : IUnknown {
  // `*data` stays valid until Unlock; both lengths, in bytes, may be null.
  virtual HRESULT Lock(BYTE** data, DWORD* capacity, DWORD* length) = 0;
  virtual HRESULT Unlock() = 0;
  virtual HRESULT GetCurrentLength(DWORD* length) = 0;
  // Negative for a length above the capacity.
  virtual HRESULT SetCurrentLength(DWORD length) = 0;
};

// A buffer on its way. It holds one at most, so buffers are never joined.
struct IMFSample : IUnknown {
  // Takes a reference of its own. E_OUTOFMEMORY for a second one.
  virtual HRESULT AddBuffer(IMFMediaBuffer* buffer) = 0;
  // The buffer, with a reference for the taker; E_UNEXPECTED where there is none.
  virtual HRESULT ConvertToContiguousBuffer(IMFMediaBuffer** buffer) = 0;
};

struct IMFCollection;

struct MFT_OUTPUT_DATA_BUFFER {
  DWORD dwStreamID;
  IMFSample* pSample;
  DWORD dwStatus;
  IMFCollection* pEvents;
};

// A transform with one input and one output stream, both number 0. One thread at a time.
struct IMFTransform : IUnknown {
  virtual HRESULT SetInputType(DWORD stream, IMFMediaType* type, DWORD flags) = 0;
  virtual HRESULT SetOutputType(DWORD stream, IMFMediaType* type, DWORD flags) = 0;
  virtual HRESULT GetInputStatus(DWORD stream, DWORD* flags) = 0;
  virtual HRESULT ProcessMessage(MFT_MESSAGE_TYPE message, std::uintptr_t parameter) = 0;
  // Takes the whole sample. What was left unasked for of the one before is lost.
  virtual HRESULT ProcessInput(DWORD stream, IMFSample* sample, DWORD flags) = 0;
  // Fills at most the capacity of the sample's buffer, keeps the rest for the next request, and
  // gives MF_E_TRANSFORM_NEED_MORE_INPUT once it has nothing more.
  virtual HRESULT ProcessOutput(DWORD flags, DWORD count, MFT_OUTPUT_DATA_BUFFER* samples,
                                DWORD* status) = 0;
};

// The resampler's own settings. One thread at a time.
struct IWMResamplerProps : IUnknown {
  // 1 to 60.
  virtual HRESULT SetHalfFilterLength(LONG length) = 0;
};

// The pair around all use of the operations below. MFShutdown gives back the memory that the
// calling thread keeps for its next samples and buffers; the same happens at a thread's end.
// Negative for another version.
HRESULT MFStartup(ULONG version, DWORD flags);
HRESULT MFShutdown();

// Each gives a new reference. A buffer's capacity is in bytes and its contents are not set.
HRESULT MFCreateMediaType(IMFMediaType** type);
HRESULT MFCreateSample(IMFSample** sample);
HRESULT MFCreateMemoryBuffer(DWORD capacity, IMFMediaBuffer** buffer);

inline constexpr CLSID CLSID_CResamplerMediaObject = {
    0xF447B69E, 0x1884, 0x4A7E, {0x80, 0x55, 0x34, 0x6F, 0x74, 0xD6, 0xED, 0xB3}};
inline constexpr IID IID_IMFMediaType = {
    0x44AE0FA8, 0xEA31, 0x4109, {0x8D, 0x2E, 0x4C, 0xAE, 0x49, 0x97, 0xC5, 0x55}};
inline constexpr IID IID_IMFMediaBuffer = {
    0x045FA593, 0x8799, 0x42B8, {0xBC, 0x8D, 0x89, 0x68, 0xC6, 0x45, 0x35, 0x07}};
inline constexpr IID IID_IMFSample = {
    0xC40A00F2, 0xB93A, 0x4D80, {0xAE, 0x8C, 0x5A, 0x1C, 0x63, 0x4F, 0x58, 0xE4}};
inline constexpr IID IID_IMFTransform = {
    0xBF94C121, 0x5B05, 0x4E6F, {0x80, 0x00, 0xBA, 0x59, 0x89, 0x61, 0x41, 0x4D}};
inline constexpr IID IID_IWMResamplerProps = {
    0xE7E9984F, 0xF09F, 0x4DA4, {0x90, 0x3F, 0x6E, 0x2E, 0x0E, 0xFE, 0x56, 0xB5}};

inline constexpr GUID MFMediaType_Audio = {
    0x73647561, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71}};
inline constexpr GUID MFAudioFormat_PCM = {
    0x00000001, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71}};
inline constexpr GUID MFAudioFormat_Float = {
    0x00000003, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71}};

inline constexpr GUID MF_MT_MAJOR_TYPE = {
    0x48EBA18E, 0xF8C9, 0x4687, {0xBF, 0x11, 0x0A, 0x74, 0xC9, 0xF9, 0x6A, 0x8F}};
inline constexpr GUID MF_MT_SUBTYPE = {
    0xF7E34C9A, 0x42E8, 0x4714, {0xB7, 0x4B, 0xCB, 0x29, 0xD7, 0x2C, 0x35, 0xE5}};
inline constexpr GUID MF_MT_ALL_SAMPLES_INDEPENDENT = {
    0xC9173739, 0x5E56, 0x461C, {0xB7, 0x13, 0x46, 0xFB, 0x99, 0x5C, 0xB9, 0x5F}};
inline constexpr GUID MF_MT_AUDIO_NUM_CHANNELS = {
    0x37E48BF5, 0x645E, 0x4C5B, {0x89, 0xDE, 0xAD, 0xA9, 0xE2, 0x9B, 0x69, 0x6A}};
inline constexpr GUID MF_MT_AUDIO_SAMPLES_PER_SECOND = {
    0x5FAEEAE7, 0x0290, 0x4C31, {0x9E, 0x8A, 0xC5, 0x34, 0xF6, 0x8D, 0x9D, 0xBA}};
inline constexpr GUID MF_MT_AUDIO_AVG_BYTES_PER_SECOND = {
    0x1AAB75C8, 0xCFEF, 0x451C, {0xAB, 0x95, 0xAC, 0x03, 0x4B, 0x8E, 0x17, 0x31}};
inline constexpr GUID MF_MT_AUDIO_BLOCK_ALIGNMENT = {
    0x322DE230, 0x9EEB, 0x43BD, {0xAB, 0x7A, 0xFF, 0x41, 0x22, 0x51, 0x54, 0x1D}};
inline constexpr GUID MF_MT_AUDIO_BITS_PER_SAMPLE = {
    0xF2DEB57F, 0x40FA, 0x4764, {0xAA, 0x33, 0xED, 0x4F, 0x2D, 0x1F, 0xF6, 0x69}};
inline constexpr GUID MF_MT_AUDIO_VALID_BITS_PER_SAMPLE = {
    0xD9BF8D6A, 0x9530, 0x4B7C, {0x9D, 0xDF, 0xFF, 0x6F, 0xD5, 0x8B, 0xBD, 0x06}};
inline constexpr GUID MF_MT_AUDIO_CHANNEL_MASK = {
    0x55FB5765, 0x644A, 0x4CAF, {0x84, 0x79, 0x93, 0x89, 0x83, 0xBB, 0x15, 0x88}};

#endif
