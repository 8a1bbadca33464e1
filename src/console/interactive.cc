// The terminal set-up and the key table.
#include "console/interactive.h"

#include <fcntl.h>
#include <glib/gprintf.h>
#include <termios.h>
#include <unistd.h>

#include <array>

#include "common/errors.h"
#include "common/report_stream.h"
#include "settings/client_options.h"
#include "settings/run_settings.h"

gint32 step_count = -1;

namespace {

/// The frame periods of 30, 25, 20, 15, 10, 5, 2 and 1 frames a second, in microseconds.
constexpr std::array<guint32, 8> kDelayPresets{33333, 40000, 50000, 66667, 100000, 200000, 500000, 1000000};

/// Position in the delay cycle; moved by the key "d".
guint32 delay_preset_index = 0;

void print_message(const char *message) {
  g_fprintf(report_stream(), "%s", message);
}

void start_stream(zel_stream *stream) {
  print_message("START!\n");
  GError *error = nullptr;
  if (zel_stream_start(stream, &error) == FALSE) print_error(error);
  g_clear_error(&error);
}

void play_stream(zel_stream *stream) {
  print_message("PLAY!\n");
  GError *error = nullptr;
  if (zel_stream_play(stream, nullptr, &error) == FALSE) print_error(error);
  g_clear_error(&error);
}

void stop_stream(zel_stream *stream) {
  print_message("STOP!\n");
  (void)zel_stream_stop(stream);
}

/// Works from the next fetched frame on.
void cycle_delay() {
  const guint32 delay = next_delay(delay_preset_index);
  client_options.delay_us = static_cast<gint32>(delay);
  g_fprintf(report_stream(), "DELAY %uµs\n", delay);
}

/// Allows one more frame. The first step also starts the stream; a failure of that is ignored.
void step(zel_stream *stream) {
  if (step_count < 0) {
    step_count = 0;
    (void)zel_stream_start(stream, nullptr);
  }
  ++step_count;
  print_message("\n");
}

}  // namespace

void configure_interactive_mode() {
  const int flags = fcntl(STDIN_FILENO, F_GETFL);
  if (flags == -1) fatal_error("%s: F_GETFL: %m\n", __func__);
  if (fcntl(STDIN_FILENO, F_SETFL, flags | O_NONBLOCK) == -1) fatal_error("%s: F_SETFL: %m\n", __func__);
  termios modes{};
  if (tcgetattr(STDIN_FILENO, &modes) == -1) fatal_error("%s: tcgetattr: %m\n", __func__);
  modes.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
  if (tcsetattr(STDIN_FILENO, TCSANOW, &modes) == -1) fatal_error("%s: tcsetattr: %m\n", __func__);
  terminal_configured = true;
}

void handle_key(zel_stream *stream) {
  char key = 0;
  if (read(STDIN_FILENO, &key, 1) == -1) return;
  switch (key) {
    case '1':
      start_stream(stream);
      break;
    case '2':
      play_stream(stream);
      break;
    case '3':
      stop_stream(stream);
      break;
    case 'd':
      cycle_delay();
      break;
    case 'k':
      (void)zel_stream_force_key_frame(stream, nullptr);
      break;
    case '\n':
      step(stream);
      break;
    default:  // no key; at the end of the input the byte stays 0
      break;
  }
}

guint32 next_delay(guint32 &index) {
  const guint32 position = index % kDelayPresets.size();
  index = position + 1;
  return kDelayPresets[position];
}
