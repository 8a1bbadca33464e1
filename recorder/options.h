// The options of `zel-record COMMAND`, which start, help, manual page and completions share.
#ifndef ZEL_RECORDER_OPTIONS_H
#define ZEL_RECORDER_OPTIONS_H

#include <array>

namespace recorder {

struct StartOption {
  char letter;  ///< 0: none
  const char *name;
  const char *value;  ///< what stands for the value; null: it takes none
  const char *help;
};

inline constexpr std::array kStartOptions = {
    StartOption{'o', "output", "FILE", "The recording [zel.zrec]"},
    StartOption{0, "no-pictures", nullptr, "Leave the bytes of frames out; their sizes and hashes stay"},
    StartOption{0, "max-size", "N", "Keep the beginning and the newest part in at most N bytes (K, M, G)"},
    StartOption{'h', "help", nullptr, "Print this help"},
    StartOption{0, "version", nullptr, "Print the version"},
};

/// What is recorded to without -o.
inline constexpr const char *kDefaultOutput = "zel.zrec";

/// The commands that look at a recording; another program, zel-record-read, has them.
struct ReadCommand {
  const char *name;
  const char *purpose;
};
inline constexpr std::array kReadCommands = {
    ReadCommand{"show", "Print the calls of a recording, one line each"},
    ReadCommand{"frames", "Take the frames out: a raw stream and its sidecar"},
};

}  // namespace recorder

#endif
