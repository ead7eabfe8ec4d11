#ifndef ZEVRA_ZEVRA_H
#define ZEVRA_ZEVRA_H

/*
 * zevra: a tap on the machine's audio.
 *
 * A host lists the endpoints, opens one, and receives on a function of its own what the endpoint
 * plays (loopback) or records, converted to the format that it asked for. It can keep a stream of
 * silence playing on the endpoint and read the endpoint's volume.
 *
 *     ZevraHandle device = NULL;
 *     ZevraAudioFormat format = {0};
 *     format.channels = 2;
 *     format.bits_per_sample = 16;
 *     format.valid_bits_per_sample = 16;
 *     format.samples_per_second = 48000;
 *
 *     ZevraInitialize();
 *     if (ZevraOpenDevice(&device, NULL, ZEVRA_FLOW_RENDER) >= 0) {
 *         if (ZevraStartCapture(device, &format, on_audio, NULL) == 0) {
 *             ...
 *         }
 *         ZevraStopCapture(device);
 *         ZevraCloseDevice(device);
 *     }
 *     ZevraUninitialize();
 *
 * Results. Every function gives a signed 32-bit result: 0 or above is success, negative is failure.
 * What the platform reported is passed on unchanged; the names below are the values that occur
 * most. ZevraStartCapture and ZevraStartPlay are the exception: compare their result with 0,
 * because a thread that the system cannot create is reported as a plain positive error number of
 * the system. No function throws, and none ends the process.
 *
 * Threads. ZevraInitialize opens the calling thread for the list functions and ZevraOpenDevice;
 * each thread that calls one of those has its own ZevraInitialize and ZevraUninitialize. One handle
 * is driven from one thread at a time; different handles are independent, but for the one remark
 * at ZevraStopPlay.
 *
 * Text is UTF-16, zero-terminated.
 */

#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32) && !defined(ZEVRA_BUILDING_LIBRARY)
#define ZEVRA_API __declspec(dllimport)
#elif defined(_WIN32)
#define ZEVRA_API
#elif defined(__GNUC__)
#define ZEVRA_API __attribute__((visibility("default")))
#else
#define ZEVRA_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* One UTF-16 unit: a character of L"" on Windows and of u"" elsewhere. */
#if defined(_WIN32)
typedef wchar_t ZevraChar;
#elif defined(__cplusplus)
typedef char16_t ZevraChar;
#else
typedef uint_least16_t ZevraChar;
#endif

/* An opened endpoint. From a successful ZevraOpenDevice to ZevraCloseDevice it is the caller's. */
typedef struct ZevraImpl* ZevraHandle;

/* Results. */
#define ZEVRA_OK ((int32_t)0)
/* COM was already initialised on this thread; a success. */
#define ZEVRA_ALREADY_INITIALIZED ((int32_t)1)
/* A pointer that must not be null was null. */
#define ZEVRA_E_POINTER ((int32_t)0x80004003)
/* The stream could not be brought up; the log says why. */
#define ZEVRA_E_FAIL ((int32_t)0x80004005)
/* Two endpoints share the name, or an endpoint has no readable name. */
#define ZEVRA_E_UNEXPECTED ((int32_t)0x8000FFFF)
/* A null handle. */
#define ZEVRA_E_HANDLE ((int32_t)0x80070006)
/* No memory. */
#define ZEVRA_E_OUTOFMEMORY ((int32_t)0x8007000E)
/* An argument outside its values, as the platform saw it. */
#define ZEVRA_E_INVALIDARG ((int32_t)0x80070057)
/* No endpoint of that name, or none that is the default. */
#define ZEVRA_E_NOT_FOUND ((int32_t)0x80070490)
/* The thread has not called ZevraInitialize. */
#define ZEVRA_E_NOT_INITIALIZED ((int32_t)0x800401F0)
/* The endpoint or the audio service went away. */
#define ZEVRA_E_DEVICE_INVALIDATED ((int32_t)0x88890004)
/* The stream is running already. */
#define ZEVRA_E_NOT_STOPPED ((int32_t)0x88890005)
/* No audio service (on Linux: no sound server) runs. */
#define ZEVRA_E_SERVICE_NOT_RUNNING ((int32_t)0x88890010)

/* Values of data_flow: which endpoints are meant. */
#define ZEVRA_FLOW_RENDER 0u  /* endpoints that play; capture from one is loopback */
#define ZEVRA_FLOW_CAPTURE 1u /* endpoints that record */
#define ZEVRA_FLOW_ALL 2u     /* both */

/* Values of sample_kind. Only the test for 0 counts: anything else is float. */
#define ZEVRA_SAMPLE_PCM 0
#define ZEVRA_SAMPLE_FLOAT 1

/*
 * A sample format. Audio is interleaved: a frame holds one sample of each channel, in the order of
 * the bits of channel_mask; frames follow without a gap. Integer samples are little-endian, 8 bits
 * unsigned with 128 as silence, all others signed; float samples are full scale at -1.0 and 1.0.
 */
typedef struct ZevraAudioFormat {
  int32_t sample_kind;            /* ZEVRA_SAMPLE_PCM or ZEVRA_SAMPLE_FLOAT */
  uint16_t channels;              /* samples a frame, 1 to 8 */
  uint16_t bits_per_sample;       /* container: 8, 16, 24 or 32 for PCM, 32 for float */
  uint32_t samples_per_second;    /* frames a second, 4000 to 384000 */
  uint32_t channel_mask;          /* speaker bits; 0 leaves the layout to the converter */
  uint16_t valid_bits_per_sample; /* used bits of the container, its upper ones; the same as
                                     bits_per_sample where all are used */
  uint16_t reserved;              /* neither read nor written */
} ZevraAudioFormat;

/* Rows of a ZevraDeviceList, and UTF-16 units of a row with its terminator. */
#define ZEVRA_DEVICE_LIST_ROWS 8
#define ZEVRA_DEVICE_NAME_UNITS 256

/* Names of endpoints. The record is the caller's. */
typedef struct ZevraDeviceList {
  ZevraChar names[ZEVRA_DEVICE_LIST_ROWS][ZEVRA_DEVICE_NAME_UNITS];
  uint32_t count; /* rows filled, 0 to 8 */
} ZevraDeviceList;

#if defined(__cplusplus)
#define ZEVRA_LAYOUT_ASSERT(name, condition) static_assert(condition, #name)
#elif defined(__STDC_VERSION__) && __STDC_VERSION__ >= 201112L
#define ZEVRA_LAYOUT_ASSERT(name, condition) _Static_assert(condition, #name)
#else
/* NOLINTNEXTLINE(bugprone-macro-parentheses): a name takes none */
#define ZEVRA_LAYOUT_ASSERT(name, condition) typedef char name[(condition) ? 1 : -1]
#endif
ZEVRA_LAYOUT_ASSERT(zevra_audio_format_is_20_bytes, sizeof(ZevraAudioFormat) == 20);
ZEVRA_LAYOUT_ASSERT(zevra_channels_at_4, offsetof(ZevraAudioFormat, channels) == 4);
ZEVRA_LAYOUT_ASSERT(zevra_bits_at_6, offsetof(ZevraAudioFormat, bits_per_sample) == 6);
ZEVRA_LAYOUT_ASSERT(zevra_rate_at_8, offsetof(ZevraAudioFormat, samples_per_second) == 8);
ZEVRA_LAYOUT_ASSERT(zevra_mask_at_12, offsetof(ZevraAudioFormat, channel_mask) == 12);
ZEVRA_LAYOUT_ASSERT(zevra_valid_bits_at_16,
                    offsetof(ZevraAudioFormat, valid_bits_per_sample) == 16);
ZEVRA_LAYOUT_ASSERT(zevra_device_list_is_4100_bytes, sizeof(ZevraDeviceList) == 4100);
ZEVRA_LAYOUT_ASSERT(zevra_count_at_4096, offsetof(ZevraDeviceList, count) == 4096);
#undef ZEVRA_LAYOUT_ASSERT

/*
 * The host's function for captured audio. It is called once for every packet of the endpoint, on
 * the stream's own thread, from shortly before ZevraStartCapture returns until ZevraStopCapture
 * returns.
 *
 * reserved: always null; the context given to ZevraStartCapture is not passed here.
 * silent:   1 if the platform flagged the packet as silence, else 0.
 * data:     length bytes of whole frames in the format asked for, valid until the function returns;
 *           null where this packet gave no output (the converter holds some back at first).
 * length:   bytes of data, 0 where data is null.
 *
 * It may: copy data, signal other threads, call ZevraGetVolume, start and stop the silent stream of
 * its handle, call ZevraStopCapture for its own handle (which then asks the stream to end and
 * returns without waiting for it; see there). It must not: keep the pointer, throw or leave by
 * longjmp, or hold the thread for longer than the endpoint buffers (a second or so), after which
 * audio is lost. The packet that runs is the last one after such a stop, unless more were waiting.
 */
typedef void (*ZevraCaptureCallback)(void* reserved, uint32_t silent, const uint8_t* data,
                                     uint32_t length);

/*
 * Opens the calling thread for the functions below; the first call in a process also creates the
 * log. Every call is owed a ZevraUninitialize on the same thread.
 * Results: ZEVRA_OK; ZEVRA_ALREADY_INITIALIZED, a success that is owed one as well; otherwise what
 * the platform reported. Any thread.
 */
ZEVRA_API int32_t ZevraInitialize(void);

/* Takes one ZevraInitialize of the calling thread back. The log stays. Result: always ZEVRA_OK. */
ZEVRA_API int32_t ZevraUninitialize(void);

/*
 * Fill `list` with the names of the active endpoints: all of them, those that play, those that
 * record. At most 8, in the platform's order; a name of more than 255 units is cut. Only count and
 * the rows that it counts are written.
 * Results: how the last endpoint went, so read count in any case: it is right whatever the result
 * is. ZEVRA_OK; ZEVRA_E_POINTER (nothing written); ZEVRA_E_NOT_INITIALIZED,
 * ZEVRA_E_SERVICE_NOT_RUNNING or another platform code. A thread that has called ZevraInitialize,
 * also while streams run.
 */
ZEVRA_API int32_t ZevraGetDeviceList(ZevraDeviceList* list);
ZEVRA_API int32_t ZevraGetInnerRecordDeviceList(ZevraDeviceList* list);
ZEVRA_API int32_t ZevraGetOutRecordDeviceList(ZevraDeviceList* list);

/*
 * Opens an endpoint and writes its handle to `*handle`, which stays as it was on a failure. The
 * handle is the caller's and ends in ZevraCloseDevice.
 * name: the endpoint's whole name, letter case ignored; null for the default endpoint of data_flow.
 *       It is not referred to after the call.
 * data_flow: a ZEVRA_FLOW_ value: where the name is looked for and how a capture takes the audio.
 *       By name, ZEVRA_FLOW_RENDER captures what the endpoint plays, ZEVRA_FLOW_CAPTURE what it
 *       records, and ZEVRA_FLOW_ALL finds both kinds but records as ZEVRA_FLOW_CAPTURE does. The
 *       default endpoint is always captured by loopback, so with a null name only
 *       ZEVRA_FLOW_RENDER leads to a capture that starts.
 * Results: ZEVRA_OK; ZEVRA_E_POINTER for a null `handle`; ZEVRA_E_NOT_FOUND; ZEVRA_E_UNEXPECTED for
 * a name that two endpoints share; ZEVRA_E_INVALIDARG for a default of ZEVRA_FLOW_ALL;
 * ZEVRA_E_OUTOFMEMORY; ZEVRA_E_NOT_INITIALIZED; ZEVRA_E_SERVICE_NOT_RUNNING or another platform
 * code. A thread that has called ZevraInitialize.
 */
ZEVRA_API int32_t ZevraOpenDevice(ZevraHandle* handle, const ZevraChar* name, uint32_t data_flow);

/*
 * Ends a handle. Streams that still run are stopped first. From inside the handle's own callback
 * the end is put off until the callback has returned and its thread ends; the handle must not be
 * used any more all the same.
 * Result: always ZEVRA_OK, for a null handle too. Any thread.
 */
ZEVRA_API int32_t ZevraCloseDevice(ZevraHandle handle);

/*
 * Plays silence on the endpoint until ZevraStopPlay, which keeps it awake: a loopback capture then
 * gets packets also while nothing else plays. Returns once the stream runs.
 * Results: ZEVRA_OK; ZEVRA_E_HANDLE for a null handle; ZEVRA_E_NOT_STOPPED, with the stream left
 * running; ZEVRA_E_FAIL where the stream could not be brought up; ZEVRA_E_OUTOFMEMORY; a positive
 * system error number where its thread could not be created; other negative codes where an event
 * could not be. Any thread, one at a time for a handle.
 */
ZEVRA_API int32_t ZevraStartPlay(ZevraHandle handle);

/*
 * Stops the silence and returns when its thread has ended, which takes up to half a second. The
 * silent streams of other handles are no longer fed from then on and stand until their own stop;
 * the next ZevraStartPlay on any handle lifts this for streams started from then on.
 * Result: always ZEVRA_OK, also for a stream that never started or has ended by itself, and for a
 * null handle. Any thread, one at a time for a handle.
 */
ZEVRA_API int32_t ZevraStopPlay(ZevraHandle handle);

/*
 * Starts the capture: from now on `callback` receives the endpoint's audio in `format`. Returns
 * once the stream runs; the callback may run before that.
 * format: copied before the function returns. A format that the converter cannot take is no
 *       failure of the start: the callback then gets null and 0 for every packet.
 * callback: may be null, and the audio is then dropped.
 * context: kept and never used.
 * Results: ZEVRA_OK; ZEVRA_E_HANDLE for a null handle; ZEVRA_E_POINTER for a null format;
 * ZEVRA_E_NOT_STOPPED, with the running stream left alone; ZEVRA_E_FAIL where the stream could not
 * be brought up (the log says why); ZEVRA_E_OUTOFMEMORY; a positive system error number where its
 * thread could not be created; other negative codes where an event could not be. Any thread, one at
 * a time for a handle.
 * A stream that fails later simply stops calling back; only the log says why.
 */
ZEVRA_API int32_t ZevraStartCapture(ZevraHandle handle, const ZevraAudioFormat* format,
                                    ZevraCaptureCallback callback, void* context);

/*
 * Stops the capture. No callback runs any more when it returns, unless it was called from inside
 * the handle's own callback: then it only asks the stream to end, and the next stop, start or close
 * on the handle gives back what the stream held.
 * Result: always ZEVRA_OK, also for a stream that never started or has ended by itself, and for a
 * null handle. Any thread, one at a time for a handle.
 */
ZEVRA_API int32_t ZevraStopCapture(ZevraHandle handle);

/*
 * Writes the endpoint's master volume to `*volume`: 0.0 to 1.0 on the scale of the system's own
 * mixer, not decibels. On Linux it is the average of the channels, with a volume above 100 % given
 * as 1.0. Muting changes nothing. On a failure `*volume` stays as it was.
 * Results: ZEVRA_OK; ZEVRA_E_HANDLE; ZEVRA_E_POINTER; ZEVRA_E_DEVICE_INVALIDATED or another
 * platform code. Any thread, also while streams run.
 */
ZEVRA_API int32_t ZevraGetVolume(ZevraHandle handle, float* volume);

#ifdef __cplusplus
}
#endif

#endif
