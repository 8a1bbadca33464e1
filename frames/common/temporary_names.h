// Names of files that are deleted when the process ends.
#ifndef ZEL_FRAMES_COMMON_TEMPORARY_NAMES_H
#define ZEL_FRAMES_COMMON_TEMPORARY_NAMES_H

#include <sys/stat.h>

#include <csignal>
#include <string>

namespace frames {

/// The rights of a new file, less the umask.
constexpr mode_t kAnyNewFile = S_IRUSR | S_IWUSR | S_IRGRP | S_IWGRP | S_IROTH | S_IWOTH;

/// While it lives, the signals that remove temporary names wait.
class HeldSignals {
 public:
  HeldSignals();
  ~HeldSignals();
  HeldSignals(const HeldSignals &) = delete;
  HeldSignals &operator=(const HeldSignals &) = delete;

 private:
  sigset_t before_{};
};

/// Creates and opens a file with a new hidden name in the folder of `target`, with the rights of any new file. SIGHUP,
/// SIGINT and SIGTERM remove it before they end the process, unless they are ignored. Returns its descriptor and sets
/// `name`; -1 with errno when it cannot be created.
int create_temporary(const std::string &target, std::string &name);

/// A hidden name of that kind, for a file that is to get one. No file has it now.
std::string temporary_name(const std::string &target);

/// The name no longer is a temporary one: the file was renamed or removed.
void forget_temporary(const std::string &name) noexcept;

}  // namespace frames

#endif
