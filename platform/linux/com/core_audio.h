#ifndef ZEVRA_PLATFORM_LINUX_COM_CORE_AUDIO_H
#define ZEVRA_PLATFORM_LINUX_COM_CORE_AUDIO_H

#include "platform/linux/com/base.h"

// Durations and positions in time are in 100-ns units.
using REFERENCE_TIME = LONGLONG;

// A host's numbers may be anything, so each has a type that holds them all.
enum EDataFlow : std::uint32_t { eRender = 0, eCapture = 1, eAll = 2 };
enum ERole : std::uint32_t { eConsole = 0 };
enum AUDCLNT_SHAREMODE : std::uint32_t {
  AUDCLNT_SHAREMODE_SHARED = 0,
  AUDCLNT_SHAREMODE_EXCLUSIVE = 1
};

inline constexpr DWORD DEVICE_STATE_ACTIVE = 1;

inline constexpr DWORD AUDCLNT_STREAMFLAGS_LOOPBACK = 0x00020000;

// Flags of a packet.
inline constexpr DWORD AUDCLNT_BUFFERFLAGS_DATA_DISCONTINUITY = 1;
inline constexpr DWORD AUDCLNT_BUFFERFLAGS_SILENT = 2;
inline constexpr DWORD AUDCLNT_BUFFERFLAGS_TIMESTAMP_ERROR = 4;

// Results of the audio client.
inline constexpr HRESULT AUDCLNT_S_BUFFER_EMPTY = 0x08890001;
inline constexpr HRESULT AUDCLNT_E_NOT_INITIALIZED = HresultFromBits(0x88890001);
inline constexpr HRESULT AUDCLNT_E_ALREADY_INITIALIZED = HresultFromBits(0x88890002);
inline constexpr HRESULT AUDCLNT_E_WRONG_ENDPOINT_TYPE = HresultFromBits(0x88890003);
inline constexpr HRESULT AUDCLNT_E_DEVICE_INVALIDATED = HresultFromBits(0x88890004);
inline constexpr HRESULT AUDCLNT_E_NOT_STOPPED = HresultFromBits(0x88890005);
inline constexpr HRESULT AUDCLNT_E_BUFFER_TOO_LARGE = HresultFromBits(0x88890006);
inline constexpr HRESULT AUDCLNT_E_OUT_OF_ORDER = HresultFromBits(0x88890007);
inline constexpr HRESULT AUDCLNT_E_UNSUPPORTED_FORMAT = HresultFromBits(0x88890008);
inline constexpr HRESULT AUDCLNT_E_INVALID_SIZE = HresultFromBits(0x88890009);
inline constexpr HRESULT AUDCLNT_E_ENDPOINT_CREATE_FAILED = HresultFromBits(0x8889000F);
inline constexpr HRESULT AUDCLNT_E_SERVICE_NOT_RUNNING = HresultFromBits(0x88890010);

inline constexpr WORD WAVE_FORMAT_PCM = 1;
inline constexpr WORD WAVE_FORMAT_IEEE_FLOAT = 3;
inline constexpr WORD WAVE_FORMAT_EXTENSIBLE = 0xFFFE;

#pragma pack(push, 1)
// A stream's format: interleaved frames of nChannels samples. 18 bytes.
struct WAVEFORMATEX {
  WORD wFormatTag;
  WORD nChannels;
  DWORD nSamplesPerSec;
  DWORD nAvgBytesPerSec;
  WORD nBlockAlign;  // bytes a frame
  WORD wBitsPerSample;
  WORD cbSize;  // bytes that follow: 22 for WAVEFORMATEXTENSIBLE
};

// 40 bytes.
struct WAVEFORMATEXTENSIBLE {
  WAVEFORMATEX Format;
  union {
    WORD wValidBitsPerSample;
    WORD wSamplesPerBlock;
    WORD wReserved;
  } Samples;
  DWORD dwChannelMask;
  GUID SubFormat;
};
#pragma pack(pop)
static_assert(sizeof(WAVEFORMATEX) == 18 && sizeof(WAVEFORMATEXTENSIBLE) == 40);

inline constexpr GUID KSDATAFORMAT_SUBTYPE_PCM = {
    0x00000001, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71}};
inline constexpr GUID KSDATAFORMAT_SUBTYPE_IEEE_FLOAT = {
    0x00000003, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71}};

// Speaker positions of a channel mask; the channels of a frame follow in rising bit order.
inline constexpr DWORD SPEAKER_FRONT_LEFT = 0x1;
inline constexpr DWORD SPEAKER_FRONT_RIGHT = 0x2;
inline constexpr DWORD SPEAKER_FRONT_CENTER = 0x4;
inline constexpr DWORD SPEAKER_LOW_FREQUENCY = 0x8;
inline constexpr DWORD SPEAKER_BACK_LEFT = 0x10;
inline constexpr DWORD SPEAKER_BACK_RIGHT = 0x20;
inline constexpr DWORD SPEAKER_FRONT_LEFT_OF_CENTER = 0x40;
inline constexpr DWORD SPEAKER_FRONT_RIGHT_OF_CENTER = 0x80;
inline constexpr DWORD SPEAKER_BACK_CENTER = 0x100;
inline constexpr DWORD SPEAKER_SIDE_LEFT = 0x200;
inline constexpr DWORD SPEAKER_SIDE_RIGHT = 0x400;
inline constexpr DWORD SPEAKER_TOP_CENTER = 0x800;
inline constexpr DWORD SPEAKER_TOP_FRONT_LEFT = 0x1000;
inline constexpr DWORD SPEAKER_TOP_FRONT_CENTER = 0x2000;
inline constexpr DWORD SPEAKER_TOP_FRONT_RIGHT = 0x4000;
inline constexpr DWORD SPEAKER_TOP_BACK_LEFT = 0x8000;
inline constexpr DWORD SPEAKER_TOP_BACK_CENTER = 0x10000;
inline constexpr DWORD SPEAKER_TOP_BACK_RIGHT = 0x20000;

struct PROPERTYKEY {
  GUID fmtid;
  DWORD pid;
};
using REFPROPERTYKEY = const PROPERTYKEY&;
inline bool operator==(REFPROPERTYKEY a, REFPROPERTYKEY b) {
  return a.fmtid == b.fmtid && a.pid == b.pid;
}
inline constexpr PROPERTYKEY PKEY_Device_FriendlyName = {
    {0xA45C254E, 0xDF1C, 0x4EFD, {0x80, 0x20, 0x67, 0xD1, 0x46, 0xA8, 0x50, 0xE0}}, 14};

// The properties of one endpoint. One thread at a time.
struct IPropertyStore : IUnknown {
  // `value` is the taker's, freed by PropVariantClear; VT_EMPTY for a key that is not there.
  virtual HRESULT GetValue(REFPROPERTYKEY key, PROPVARIANT* value) = 0;
};

// One endpoint. Any thread.
struct IMMDevice : IUnknown {
  // A new object of the endpoint: IAudioClient or IAudioEndpointVolume. No parameters are known.
  virtual HRESULT Activate(REFIID iid, DWORD context, PROPVARIANT* parameters, void** object) = 0;
  virtual HRESULT OpenPropertyStore(DWORD access, IPropertyStore** properties) = 0;
};

// A list of endpoints that does not change. One thread at a time.
struct IMMDeviceCollection : IUnknown {
  virtual HRESULT GetCount(UINT* count) = 0;
  virtual HRESULT Item(UINT index, IMMDevice** device) = 0;
};

// One thread at a time.
struct IMMDeviceEnumerator : IUnknown {
  virtual HRESULT EnumAudioEndpoints(EDataFlow flow, DWORD state_mask,
                                     IMMDeviceCollection** devices) = 0;
  // ERROR_NOT_FOUND as an HRESULT where the flow has no endpoint, E_INVALIDARG for eAll.
  virtual HRESULT GetDefaultAudioEndpoint(EDataFlow flow, ERole role, IMMDevice** device) = 0;
};

// One stream on an endpoint; used with its service on the thread that made it.
struct IAudioClient : IUnknown {
  virtual HRESULT Initialize(AUDCLNT_SHAREMODE mode, DWORD flags, REFERENCE_TIME duration,
                             REFERENCE_TIME periodicity, const WAVEFORMATEX* format,
                             const GUID* session) = 0;
  virtual HRESULT GetBufferSize(UINT32* frames) = 0;
  virtual HRESULT GetCurrentPadding(UINT32* frames) = 0;
  // S_OK as it is; S_FALSE and in `*closest` a block in task memory; negative for no.
  virtual HRESULT IsFormatSupported(AUDCLNT_SHAREMODE mode, const WAVEFORMATEX* format,
                                    WAVEFORMATEX** closest) = 0;
  // `*format` is a block in task memory, the taker's.
  virtual HRESULT GetMixFormat(WAVEFORMATEX** format) = 0;
  // Either pointer may be null.
  virtual HRESULT GetDevicePeriod(REFERENCE_TIME* default_period,
                                  REFERENCE_TIME* minimum_period) = 0;
  virtual HRESULT Start() = 0;
  // S_FALSE when the stream stood still already.
  virtual HRESULT Stop() = 0;
  virtual HRESULT GetService(REFIID iid, void** service) = 0;
};

struct IAudioCaptureClient : IUnknown {
  // The oldest packet: `*frames` interleaved frames, valid until the release. Both positions may be
  // null. AUDCLNT_S_BUFFER_EMPTY and 0 frames where none waits.
  virtual HRESULT GetBuffer(BYTE** data, UINT32* frames, DWORD* flags, UINT64* device_position,
                            UINT64* counter_position) = 0;
  virtual HRESULT ReleaseBuffer(UINT32 frames) = 0;
  // Frames of the next packet, 0 for none.
  virtual HRESULT GetNextPacketSize(UINT32* frames) = 0;
};

struct IAudioRenderClient : IUnknown {
  // Memory for `frames` interleaved frames, 0 allowed.
  virtual HRESULT GetBuffer(UINT32 frames, BYTE** data) = 0;
  virtual HRESULT ReleaseBuffer(UINT32 frames, DWORD flags) = 0;
};

// The volume control of one endpoint. One thread at a time.
struct IAudioEndpointVolume : IUnknown {
  // 0.0 to 1.0 on the scale of the system's own mixer.
  virtual HRESULT GetMasterVolumeLevelScalar(float* level) = 0;
};

inline constexpr CLSID CLSID_MMDeviceEnumerator = {
    0xBCDE0395, 0xE52F, 0x467C, {0x8E, 0x3D, 0xC4, 0x57, 0x92, 0x91, 0x69, 0x2E}};
inline constexpr IID IID_IMMDeviceEnumerator = {
    0xA95664D2, 0x9614, 0x4F35, {0xA7, 0x46, 0xDE, 0x8D, 0xB6, 0x36, 0x17, 0xE6}};
inline constexpr IID IID_IMMDeviceCollection = {
    0x0BD7A1BE, 0x7A1A, 0x44DB, {0x83, 0x97, 0xCC, 0x53, 0x92, 0x38, 0x7B, 0x5E}};
inline constexpr IID IID_IMMDevice = {
    0xD666063F, 0x1587, 0x4E43, {0x81, 0xF1, 0xB9, 0x48, 0xE8, 0x07, 0x36, 0x3F}};
inline constexpr IID IID_IPropertyStore = {
    0x886D8EEB, 0x8CF2, 0x4446, {0x8D, 0x02, 0xCD, 0xBA, 0x1D, 0xBD, 0xCF, 0x99}};
inline constexpr IID IID_IAudioClient = {
    0x1CB9AD4C, 0xDBFA, 0x4C32, {0xB1, 0x78, 0xC2, 0xF5, 0x68, 0xA7, 0x03, 0xB2}};
inline constexpr IID IID_IAudioCaptureClient = {
    0xC8ADBD64, 0xE71E, 0x48A0, {0xA4, 0xDE, 0x18, 0x5C, 0x39, 0x5C, 0xD3, 0x17}};
inline constexpr IID IID_IAudioRenderClient = {
    0xF294ACFC, 0x3146, 0x4483, {0xA7, 0xBF, 0xAD, 0xDC, 0xA7, 0xC2, 0x60, 0xE2}};
inline constexpr IID IID_IAudioEndpointVolume = {
    0x5CDF2C82, 0x841E, 0x4546, {0x97, 0x22, 0x0C, 0xF7, 0x40, 0x78, 0x22, 0x9A}};

#endif
