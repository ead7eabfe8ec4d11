#ifndef ZEVRA_ZEVRA_H
#define ZEVRA_ZEVRA_H

/*
 * zevra: a tap on the machine's audio.
 *
 * A host lists the audio endpoints and opens one. Its callback then receives what the endpoint
 * plays (loopback) or records, converted to the format that the host chose. The library can also
 * play a stream of silence on the endpoint and read the endpoint's volume.
 *
 *     ZevraHandle device = NULL;
 *     ZevraAudioFormat format = {0};
 *     format.channels = 2;
 *     format.bits_per_sample = 16;
 *     format.valid_bits_per_sample = 16;
 *     format.samples_per_second = 48000;
 *
 *     int32_t initialized = ZevraInitialize();
 *     if (ZevraOpenDevice(&device, NULL, ZEVRA_FLOW_RENDER) >= 0) {
 *         if (ZevraStartCapture(device, &format, on_audio, NULL) == 0) {
 *             ...
 *         }
 *         ZevraStopCapture(device);
 *         ZevraCloseDevice(device);
 *     }
 *     if (initialized >= 0) ZevraUninitialize();
 *
 * Results. Every function returns a signed 32-bit result: 0 or above is success, negative is
 * failure. The platform's own codes are passed on unchanged; the names below cover the common
 * ones. Compare the result of ZevraStartCapture and ZevraStartPlay with 0 instead: when the system
 * cannot create a thread, they return its error number, which is positive. No function throws or
 * ends the process.
 *
 * Threads. Call ZevraInitialize on each thread that calls ZevraOpenDevice or a list function, and
 * ZevraUninitialize on the same thread afterwards. Close all handles before the process's last
 * ZevraUninitialize: they hold COM objects. Use a handle from one thread at a time. Different
 * handles are independent, with one exception: see ZevraStopPlay. At default settings a thread that
 * calls needs a stack of 160 KiB. No function is a point where a thread is cancelled. In a child of
 * fork only the log goes on: streams and the connections to the sound server belong to threads of
 * the parent, and go on there when the child stops or closes its copy of a handle. Once
 * initialised, the library stays loaded to the end of the process.
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

/* One UTF-16 unit. Literals are L"" on Windows and u"" elsewhere. */
#if defined(_WIN32)
typedef wchar_t ZevraChar;
#elif defined(__cplusplus)
typedef char16_t ZevraChar;
#else
typedef uint_least16_t ZevraChar;
#endif

/* An opened endpoint. The caller owns it from ZevraOpenDevice until ZevraCloseDevice. */
typedef struct ZevraImpl* ZevraHandle;

/* Results. */
#define ZEVRA_OK ((int32_t)0)
/* Success: COM was already initialised on this thread. */
#define ZEVRA_ALREADY_INITIALIZED ((int32_t)1)
/* A required pointer is null. */
#define ZEVRA_E_POINTER ((int32_t)0x80004003)
/* The stream could not start; the log says why. */
#define ZEVRA_E_FAIL ((int32_t)0x80004005)
/* Two endpoints share the name, or the name of an endpoint cannot be read. */
#define ZEVRA_E_UNEXPECTED ((int32_t)0x8000FFFF)
/* The handle is null. */
#define ZEVRA_E_HANDLE ((int32_t)0x80070006)
/* Out of memory. */
#define ZEVRA_E_OUTOFMEMORY ((int32_t)0x8007000E)
/* The platform rejected an argument. */
#define ZEVRA_E_INVALIDARG ((int32_t)0x80070057)
/* No endpoint has that name, or there is no default endpoint. */
#define ZEVRA_E_NOT_FOUND ((int32_t)0x80070490)
/* From ZevraInitialize: the thread is in a multithreaded apartment, where all functions work. */
#define ZEVRA_E_CHANGED_MODE ((int32_t)0x80010106)
/* The thread has not called ZevraInitialize. */
#define ZEVRA_E_NOT_INITIALIZED ((int32_t)0x800401F0)
/* The endpoint was removed, or the audio service ended. */
#define ZEVRA_E_DEVICE_INVALIDATED ((int32_t)0x88890004)
/* The stream is already running. */
#define ZEVRA_E_NOT_STOPPED ((int32_t)0x88890005)
/* The audio service (on Linux: the sound server) is not running. */
#define ZEVRA_E_SERVICE_NOT_RUNNING ((int32_t)0x88890010)

/* Values of data_flow: a kind of endpoint. */
#define ZEVRA_FLOW_RENDER 0u  /* endpoints that play; capturing from one is loopback */
#define ZEVRA_FLOW_CAPTURE 1u /* endpoints that record */
#define ZEVRA_FLOW_ALL 2u     /* both */

/* Values of sample_kind. Any value other than 0 means float. */
#define ZEVRA_SAMPLE_PCM 0
#define ZEVRA_SAMPLE_FLOAT 1

/*
 * A sample format. Audio is interleaved: a frame holds one sample for each channel, in the order
 * of the bits of channel_mask, and frames follow each other without padding. Integer samples are
 * little-endian. 8-bit samples are unsigned with silence at 128; all others are signed. Full scale
 * of float samples is -1.0 to 1.0.
 *
 * Channels that the format lacks are mixed into those that it has. Windows does so by rules of its
 * own. On Linux the coefficients are those of ITU-R BS.775: front left and right keep their level,
 * the centre and the surround channels join them at -3 dB, the low-frequency channel is left out,
 * and a single channel is the mean of left and right. Nothing is taken down for the moment when
 * every channel is loud at once: integer samples are limited then, float samples exceed 1.0.
 * With channel_mask 0 the endpoint's own positions are taken if it has as many channels.
 */
typedef struct ZevraAudioFormat {
  int32_t sample_kind;            /* ZEVRA_SAMPLE_PCM or ZEVRA_SAMPLE_FLOAT */
  uint16_t channels;              /* samples per frame, 1 to 8 */
  uint16_t bits_per_sample;       /* container size: 8, 16, 24 or 32 for PCM, 32 for float */
  uint32_t samples_per_second;    /* frames per second, 4000 to 384000 */
  uint32_t channel_mask;          /* speaker positions, one bit for each of the channels; 0: the
                                     converter chooses */
  uint16_t valid_bits_per_sample; /* significant bits, the upper ones of the container;
                                     bits_per_sample if all of them are */
  uint16_t reserved;              /* neither read nor written */
} ZevraAudioFormat;

/* Rows of a ZevraDeviceList, and UTF-16 units in a row, terminator included. */
#define ZEVRA_DEVICE_LIST_ROWS 8
#define ZEVRA_DEVICE_NAME_UNITS 256

/* Names of endpoints. The caller owns the struct. */
typedef struct ZevraDeviceList {
  ZevraChar names[ZEVRA_DEVICE_LIST_ROWS][ZEVRA_DEVICE_NAME_UNITS];
  uint32_t count; /* rows in use, 0 to 8 */
} ZevraDeviceList;

#if defined(__cplusplus)
#define ZEVRA_LAYOUT_ASSERT(name, condition) static_assert(condition, #name)
#elif defined(__STDC_VERSION__) && __STDC_VERSION__ >= 201112L
#define ZEVRA_LAYOUT_ASSERT(name, condition) _Static_assert(condition, #name)
#else
/* NOLINTNEXTLINE(bugprone-macro-parentheses): a name cannot stand in parentheses */
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
 * Receives captured audio. The capture thread calls it once for each packet of the endpoint. The
 * first call may come shortly before ZevraStartCapture returns; none comes after ZevraStopCapture
 * has returned.
 *
 * On Linux a packet holds 20 ms at most, and the call comes as soon as the sound server hands the
 * packet over. On Windows a packet holds the device period, mostly 10 ms, and the call comes up to
 * half of that period later.
 *
 * reserved: always null. The context given to ZevraStartCapture is not passed here.
 * silent:   1 if the platform flagged the packet as silence, else 0. On Linux that is every packet
 *           of nothing but zeros.
 * data:     `length` bytes of whole frames in the chosen format, valid until the callback returns.
 *           Null if the packet produced no output: the converter holds some back at first.
 * length:   size of data in bytes; 0 if data is null.
 *
 * The callback may copy data, signal other threads, call ZevraGetVolume, start and stop the silent
 * stream of its handle, and call ZevraStopCapture for its own handle. That stop returns without
 * waiting. Packets already queued may still be delivered after it; none later.
 *
 * The callback must not keep the pointer, throw, or leave by longjmp. If it throws, the capture
 * ends with a line in the log. It must not block for longer than the endpoint buffers, or audio is
 * lost: on Windows about a second; on Linux about 11 s of 48 kHz stereo, and the sound servers do
 * not report the hole.
 */
typedef void (*ZevraCaptureCallback)(void* reserved, uint32_t silent, const uint8_t* data,
                                     uint32_t length);

/*
 * Initialises the library and COM on the calling thread. The first call in a process also opens
 * the log. Pair every call that gave 0 or 1, and no other, with ZevraUninitialize on the same
 * thread. On Windows the first call also sets the locale of the process, so that a host that shares
 * msvcrt.dll may find a decimal comma in strtod and printf; `locale=skip` in zevra.cfu prevents it.
 * Results: ZEVRA_OK; ZEVRA_ALREADY_INITIALIZED, which is a success too; ZEVRA_E_CHANGED_MODE on a
 * thread that the host has put into a multithreaded apartment, as services and .NET do: go on, and
 * do not call ZevraUninitialize, which would end the host's own COM; other platform codes.
 * Thread: any.
 */
ZEVRA_API int32_t ZevraInitialize(void);

/*
 * Undoes one ZevraInitialize on the calling thread. The log stays open.
 * Result: always ZEVRA_OK.
 * Thread: one on which a ZevraInitialize that gave 0 or 1 is not undone yet.
 */
ZEVRA_API int32_t ZevraUninitialize(void);

/*
 * List the names of the active endpoints: all, those that play, and those that record. Each
 * function writes at most 8 names, in the platform's order, and truncates a name to 255 units. It
 * writes only count and that many rows of names. A name that was cut does not open its endpoint.
 * Results: that of the last endpoint queried; count is valid whatever the result. ZEVRA_OK;
 * ZEVRA_E_POINTER (nothing is written); ZEVRA_E_NOT_INITIALIZED; ZEVRA_E_SERVICE_NOT_RUNNING;
 * other platform codes.
 * Thread: one that has called ZevraInitialize; streams may be running.
 */
ZEVRA_API int32_t ZevraGetDeviceList(ZevraDeviceList* list);
ZEVRA_API int32_t ZevraGetInnerRecordDeviceList(ZevraDeviceList* list);
ZEVRA_API int32_t ZevraGetOutRecordDeviceList(ZevraDeviceList* list);

/*
 * Opens an endpoint and writes its handle to `*handle`. On failure `*handle` is unchanged. The
 * caller owns the handle and releases it with ZevraCloseDevice.
 * name: the full name of the endpoint, compared without case; null for the default endpoint of
 *       data_flow. Not used after the call.
 * data_flow: a ZEVRA_FLOW_ value. With a name, ZEVRA_FLOW_RENDER searches the endpoints that play
 *       and captures by loopback. ZEVRA_FLOW_CAPTURE searches those that record and captures what
 *       they record. ZEVRA_FLOW_ALL searches both and captures like ZEVRA_FLOW_CAPTURE. Without a
 *       name, capture is always by loopback, so only ZEVRA_FLOW_RENDER gives a handle whose capture
 *       starts.
 * On Linux a name such as "Firefox (application)" with ZEVRA_FLOW_RENDER opens what one application
 * plays, unless an endpoint has that name. The name is the application's as mixers show it; where
 * several streams are of one name, the oldest has it, and "Firefox (2) (application)" opens the
 * next. No list shows them. Capture then delivers that stream alone, at the application's own
 * volume, which ZevraGetVolume reads; the endpoint's volume and mute do not count. ZevraStartPlay
 * plays on the application's endpoint. Once the stream has ended, or was moved to another endpoint,
 * it counts as an endpoint that was removed. On PipeWire a capture that runs may go along or fall
 * silent when its application is moved, and delivers no packets while that is paused. A sound
 * server that cannot record single streams gives ZEVRA_E_FAIL at ZevraStartCapture. On Windows such
 * a name gives ZEVRA_E_NOT_FOUND.
 * Results: ZEVRA_OK; ZEVRA_E_POINTER if `handle` is null; ZEVRA_E_NOT_FOUND; ZEVRA_E_UNEXPECTED if
 * two endpoints share the name; ZEVRA_E_INVALIDARG for a null name with ZEVRA_FLOW_ALL;
 * ZEVRA_E_OUTOFMEMORY; ZEVRA_E_NOT_INITIALIZED; ZEVRA_E_SERVICE_NOT_RUNNING; other platform codes.
 * Thread: one that has called ZevraInitialize.
 */
ZEVRA_API int32_t ZevraOpenDevice(ZevraHandle* handle, const ZevraChar* name, uint32_t data_flow);

/*
 * Stops the handle's streams and frees the handle. Do not use the handle afterwards. When called
 * from the handle's own callback, it returns at once; the handle is freed after the callback has
 * returned and the capture thread has ended.
 * Result: always ZEVRA_OK, also for a null handle.
 * Thread: any.
 */
ZEVRA_API int32_t ZevraCloseDevice(ZevraHandle handle);

/*
 * Plays silence on the endpoint until ZevraStopPlay. This keeps the endpoint active: a loopback
 * capture receives packets even when nothing else plays. Returns when the stream is running.
 * Results: ZEVRA_OK; ZEVRA_E_HANDLE; ZEVRA_E_NOT_STOPPED if the stream is already running, and it
 * keeps running; ZEVRA_E_FAIL if the stream cannot start; ZEVRA_E_OUTOFMEMORY; a positive system
 * error number if the thread cannot be created; another negative code if an event cannot be
 * created.
 * Thread: any, one at a time per handle.
 */
ZEVRA_API int32_t ZevraStartPlay(ZevraHandle handle);

/*
 * Stops the silence and joins its thread, which takes up to half a second, or about three if the
 * sound server does not answer. Stopping one silent stream stops feeding all others in the
 * process: they stay idle until they are stopped. Streams started by the next ZevraStartPlay or
 * later are not affected.
 * Result: always ZEVRA_OK, also for a null handle and for a stream that never started or has
 * already ended.
 * Thread: any, one at a time per handle.
 */
ZEVRA_API int32_t ZevraStopPlay(ZevraHandle handle);

/*
 * Starts capturing: `callback` receives the endpoint's audio in `format`. Returns when the stream
 * is running; the first callback may come before that. If the stream fails later, the callbacks
 * end. The log says why, but for the two most frequent reasons, which leave no line: the endpoint
 * was removed, or the audio service ended. A host that must know repeats the start now and then: it
 * gives ZEVRA_E_NOT_STOPPED while the capture runs, and starts it anew where it has ended; that an
 * application was moved, ZevraGetVolume tells. Loopback on Linux hears the endpoint behind its
 * volume and mute.
 * format: copied. If the converter does not support it, the start still succeeds, and the callback
 *       receives null and 0 for every packet.
 * callback: may be null; the audio is then dropped.
 * context: stored, never used.
 * Results: ZEVRA_OK; ZEVRA_E_HANDLE; ZEVRA_E_POINTER if `format` is null; ZEVRA_E_NOT_STOPPED if a
 * capture is already running, and it keeps running; ZEVRA_E_FAIL if the stream cannot start (the
 * log says why); ZEVRA_E_OUTOFMEMORY; a positive system error number if the thread cannot be
 * created; another negative code if an event cannot be created.
 * Thread: any, one at a time per handle.
 */
ZEVRA_API int32_t ZevraStartCapture(ZevraHandle handle, const ZevraAudioFormat* format,
                                    ZevraCaptureCallback callback, void* context);

/*
 * Stops the capture and joins its thread; no callback runs afterwards. Packets that wait are
 * delivered first, so a callback that takes longer than its packets last holds the stop back. It
 * takes about three seconds if the sound server does not answer. When called from the handle's own
 * callback, it signals the thread and returns at once. The next stop, start or close of the handle
 * then frees what the stream held.
 * Result: always ZEVRA_OK, also for a null handle and for a stream that never started or has
 * already ended.
 * Thread: any, one at a time per handle.
 */
ZEVRA_API int32_t ZevraStopCapture(ZevraHandle handle);

/*
 * Writes the endpoint's master volume to `*volume`: 0.0 to 1.0, on the scale of the system's
 * mixer, not in decibels. Muting does not change it. On Linux it is the average of the channels,
 * and a volume above 100 % is reported as 1.0; a server that does not answer makes the call fail
 * after about three seconds. On failure `*volume` is unchanged.
 * Results: ZEVRA_OK; ZEVRA_E_HANDLE; ZEVRA_E_POINTER; ZEVRA_E_DEVICE_INVALIDATED; other platform
 * codes.
 * Thread: any; streams may be running.
 */
ZEVRA_API int32_t ZevraGetVolume(ZevraHandle handle, float* volume);

#ifdef __cplusplus
}
#endif

#endif
