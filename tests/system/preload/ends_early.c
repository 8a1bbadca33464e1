// Preloaded into the client: instead of stopping its stream the process ends, by the function that ZEL_TEST_END names
// with the status ZEL_TEST_END_STATUS.
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

int zel_stream_stop(void *stream);

int zel_stream_stop(void *stream) {
  (void)stream;
  const char *end = getenv("ZEL_TEST_END");
  const int status = atoi(getenv("ZEL_TEST_END_STATUS"));
  if (strcmp(end, "quick_exit") == 0) quick_exit(status);
  if (strcmp(end, "_exit") == 0) _exit(status);
  if (strcmp(end, "_Exit") == 0) _Exit(status);
  exit(status);
}
