// zel-record: starts a program with libzel-record.so in it, and is that program then. It is small because it runs on
// cameras; what reads recordings is another program, which it hands over to.
#include <fcntl.h>
#include <getopt.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "recorder/environment.h"
#include "recorder/options.h"
#include "zel-record-paths.h"

namespace {

using namespace recorder;

// As a shell has them for a command that it cannot start.
constexpr int kUnusable = 2;
constexpr int kCannotRun = 126;
constexpr int kNotFound = 127;

constexpr std::uint64_t kLeastSize = std::uint64_t{64} * 1024;

struct Setup {
  const char *output = kDefaultOutput;
  bool pictures = true;
  const char *max_size = nullptr;
};

void print_help() {
  std::puts(
      "usage: zel-record [OPTIONS] [--] COMMAND...\n"
      "       zel-record show|frames [OPTIONS] RECORDING\n\n"
      "Runs a command and writes down every call that it makes to libzel.\n\nOptions:");
  for (const StartOption &option : kStartOptions) {
    char synopsis[64];
    (void)std::snprintf(synopsis, sizeof synopsis, "%c%c%s--%s %s", option.letter != 0 ? '-' : ' ',
                        option.letter != 0 ? option.letter : ' ', option.letter != 0 ? ", " : "  ", option.name,
                        option.value != nullptr ? option.value : "");
    std::printf("  %-22s %s\n", synopsis, option.help);
  }
  std::puts("\nCommands that look at a recording:");
  for (const ReadCommand &command : kReadCommands)
    std::printf("  %-22s %s\n", command.name, command.purpose);
  std::puts("\nzel-record COMMAND --help shows the options of one of these.");
}

[[noreturn]] void fail(int status, const char *what, const char *why) {
  (void)std::fprintf(stderr, "zel-record: %s: %s\n", what, why);
  std::exit(status);
}

/// A file in one of the places that are given relative to this program. The result stays.
const char *companion(const char *beside, const char *installed) {
  static char path[2 * PATH_MAX];
  char own[PATH_MAX];
  const ssize_t length = readlink("/proc/self/exe", own, sizeof own - 1);
  if (length <= 0) fail(kCannotRun, "/proc/self/exe", std::strerror(errno));
  own[length] = '\0';
  *std::strrchr(own, '/') = '\0';
  for (const char *name : {beside, installed}) {
    (void)std::snprintf(path, sizeof path, "%s/%s", own, name);
    if (access(path, F_OK) == 0) return path;
  }
  fail(kCannotRun, path, std::strerror(errno));
}

/// "65536", "64K", "100M", "2G": bytes as a plain number.
const char *plain_size(const char *text) {
  static char plain[32];
  char *unit = nullptr;
  errno = 0;
  const unsigned long long number = std::strtoull(text, &unit, 10);
  const char *const units = "KMG";
  const char *const known = *unit != '\0' ? std::strchr(units, *unit) : nullptr;
  const unsigned shift = known != nullptr ? 10 * static_cast<unsigned>(known - units + 1) : 0;
  const bool good = *text >= '0' && *text <= '9' && errno == 0 && (*unit == '\0' || (known != nullptr && unit[1] == 0));
  if (!good || number > UINT64_MAX >> shift || number << shift < kLeastSize)
    fail(kUnusable, "--max-size", "not a number of bytes such as 65536, 64K, 100M or 2G, and at least 64K");
  (void)std::snprintf(plain, sizeof plain, "%llu", number << shift);
  return plain;
}

/// The letters that stand for the options without one, from here on.
constexpr int kFirstNumber = 256;

int number_of(std::size_t row) {
  return kStartOptions[row].letter != 0 ? kStartOptions[row].letter : kFirstNumber + static_cast<int>(row);
}

void take_option(const StartOption &option, const char *value, Setup &setup) {
  const auto is = [&option](const char *name) { return std::strcmp(option.name, name) == 0; };
  if (is("output")) {
    setup.output = value;
  } else if (is("no-pictures")) {
    setup.pictures = false;
  } else if (is("max-size")) {
    setup.max_size = plain_size(value);
  } else if (is("help")) {
    print_help();
    std::exit(EXIT_SUCCESS);
  } else {
    std::puts("zel-record " ZEL_VERSION);
    std::exit(EXIT_SUCCESS);
  }
}

/// Takes the options in front of the command; what is left begins at optind.
Setup read_options(int argc, char **argv) {
  struct option rows[kStartOptions.size() + 1] = {};
  char letters[2 * kStartOptions.size() + 3] = "+";
  for (std::size_t i = 0; i < kStartOptions.size(); ++i) {
    const StartOption &option = kStartOptions[i];
    rows[i] = {option.name, option.value != nullptr ? required_argument : no_argument, nullptr, number_of(i)};
    if (option.letter == 0) continue;
    char *end = letters + std::strlen(letters);
    *end++ = option.letter;
    if (option.value != nullptr) *end = ':';
  }
  Setup setup;
  int chosen = 0;
  while ((chosen = getopt_long(argc, argv, letters, rows, nullptr)) != -1) {
    if (chosen == '?') std::exit(kUnusable);  // getopt has said why
    for (std::size_t i = 0; i < kStartOptions.size(); ++i) {
      if (number_of(i) == chosen) take_option(kStartOptions[i], optarg, setup);
    }
  }
  return setup;
}

/// Creates the empty file, and gives its name from the root: the program may go to another folder.
const char *create_output(const char *name) {
  static char path[PATH_MAX];
  const int descriptor = open(name, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (descriptor < 0 || realpath(name, path) == nullptr) fail(kUnusable, name, std::strerror(errno));
  (void)close(descriptor);
  return path;
}

/// Puts the library behind those that are preloaded already: they are the program's, and see its calls first.
void preload(const char *library) {
  static char list[4 * PATH_MAX];
  const char *before = std::getenv("LD_PRELOAD");
  const bool is_first = before == nullptr || *before == '\0';
  (void)std::snprintf(list, sizeof list, "%s%s%s", is_first ? "" : before, is_first ? "" : ":", library);
  (void)setenv("LD_PRELOAD", list, 1);
}

}  // namespace

int main(int argc, char **argv) {
  for (const ReadCommand &command : kReadCommands) {
    if (argc < 2 || std::strcmp(argv[1], command.name) != 0) continue;
    const char *reader = companion("zel-record-read", ZEL_RECORD_READER);
    execv(reader, argv);
    fail(kCannotRun, reader, std::strerror(errno));
  }
  const Setup setup = read_options(argc, argv);
  char **const command = argv + optind;
  if (*command == nullptr) fail(kUnusable, "no command", "zel-record --help shows how it is used");
  (void)setenv(kFileVariable, create_output(setup.output), 1);
  if (!setup.pictures) (void)setenv(kPicturesVariable, "1", 1);
  if (setup.max_size != nullptr) (void)setenv(kMaxSizeVariable, setup.max_size, 1);
  preload(companion("libzel-record.so", ZEL_RECORD_SHIM));
  execvp(*command, command);
  fail(errno == ENOENT ? kNotFound : kCannotRun, *command, std::strerror(errno));
}
