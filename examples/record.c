/*
 * Records what the machine plays into a WAV file: 16 kHz, one channel, 16 bits.
 *
 *     record FILE [SECONDS]        the default endpoint, by loopback
 *     record FILE SECONDS ROW      a recording endpoint, by its row in the list
 *     record                       prints that list
 */
#include <stdio.h>
#include <stdlib.h>
#include <zevra/zevra.h>

#ifdef _WIN32
#include <windows.h>
#define SLEEP_MS(ms) Sleep(ms)
#else
#include <poll.h>
#define SLEEP_MS(ms) poll(NULL, 0, (int)(ms))
#endif

#define RATE 16000u

static FILE* file;
static uint32_t bytes;

/* Called on the capture thread. A buffered write does not block it for long. */
static void on_audio(void* reserved, uint32_t silent, const uint8_t* data, uint32_t length) {
  (void)reserved;
  (void)silent;
  if (data != NULL) bytes += (uint32_t)fwrite(data, 1, length, file);
}

static void put(uint32_t value, int width) {
  for (; width > 0; --width, value >>= 8) fputc((int)(value & 0xFFu), file);
}

static void write_header(void) {
  fputs("RIFF", file), put(36 + bytes, 4);
  fputs("WAVEfmt ", file), put(16, 4), put(1, 2), put(1, 2);
  put(RATE, 4), put(2 * RATE, 4), put(2, 2), put(16, 2);
  fputs("data", file), put(bytes, 4);
}

static void print_list(const ZevraDeviceList* list) {
  for (uint32_t row = 0; row < list->count; ++row) {
    printf("%u  ", (unsigned)row);
    for (const ZevraChar* c = list->names[row]; *c != 0; ++c) putchar(*c < 128 ? (int)*c : '?');
    putchar('\n');
  }
}

/* Records into the open file. Returns the first failure, or 0. */
static int32_t record(const ZevraChar* name, unsigned seconds) {
  ZevraAudioFormat format = {ZEVRA_SAMPLE_PCM, 1, 16, RATE, 0, 16, 0};
  ZevraHandle device = NULL;
  int32_t result = ZevraOpenDevice(&device, name, name ? ZEVRA_FLOW_CAPTURE : ZEVRA_FLOW_RENDER);
  if (result < 0) return result;

  write_header(); /* replaced once the length is known */
  /* Silence makes the endpoint send packets while nothing else plays. */
  if (name == NULL) ZevraStartPlay(device);
  result = ZevraStartCapture(device, &format, on_audio, NULL);
  if (result == 0) SLEEP_MS(1000u * seconds);
  ZevraStopCapture(device);
  ZevraStopPlay(device);
  ZevraCloseDevice(device);
  rewind(file);
  write_header();
  return result;
}

int main(int argc, char** argv) {
  ZevraDeviceList list = {{{0}}, 0};
  unsigned seconds = argc > 2 ? (unsigned)strtoul(argv[2], NULL, 10) : 5;
  unsigned long row = argc > 3 ? strtoul(argv[3], NULL, 10) : 0;
  int32_t initialized = ZevraInitialize();
  /* A thread that is in a multithreaded apartment already can use the library as it is. */
  int32_t result = initialized == ZEVRA_E_CHANGED_MODE ? 0 : initialized;
  if (result >= 0 && (argc < 2 || argc > 3)) result = ZevraGetOutRecordDeviceList(&list);
  if (result >= 0 && argc < 2) {
    print_list(&list);
  } else if (result >= 0 && argc > 3 && row >= list.count) {
    result = ZEVRA_E_NOT_FOUND;
  } else if (result >= 0) {
    file = fopen(argv[1], "wb");
    if (file == NULL) return perror(argv[1]), 1;
    result = record(argc > 3 ? list.names[row] : NULL, seconds);
    if (fclose(file) != 0) return perror(argv[1]), 1;
    printf("%s: %.2f seconds\n", argv[1], bytes / (2.0 * RATE));
  }
  if (result != 0) fprintf(stderr, "failed: 0x%08lX\n", (unsigned long)(uint32_t)result);
  if (initialized >= 0) ZevraUninitialize();
  return result != 0;
}
