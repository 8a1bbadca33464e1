// Finding out whether opening the library leaves anything behind that a copy of the process would not have.
#include "compliance/runner/open_once.h"

#include <dirent.h>

#include <memory>
#include <utility>

#include "compliance/common/finding.h"
#include "compliance/library/library.h"
#include "compliance/runner/child.h"

namespace compliance {
namespace {

struct CloseFolder {
  void operator()(DIR *folder) const { (void)closedir(folder); }
};

unsigned count_entries(const char *name) {
  const std::unique_ptr<DIR, CloseFolder> folder(opendir(name));
  if (folder == nullptr) throw Finding(std::string("cannot read ") + name);
  unsigned count = 0;
  while (readdir(folder.get()) != nullptr)
    ++count;
  return count;
}

/// Threads and open descriptors of this process.
std::pair<unsigned, unsigned> running_and_open() {
  return {count_entries("/proc/self/task"), count_entries("/proc/self/fd")};
}

void check_that_nothing_stays() {
  const auto before = running_and_open();
  (void)zel();
  if (running_and_open() != before) throw Finding("a thread or a descriptor stays");
}

}  // namespace

void open_once(unsigned limit_s) {
  const Check trial = {.name = "Library.LeavesNothing", .expects = "", .relies = "", .run = check_that_nothing_stays};
  if (run_check(trial, limit_s).outcome == Outcome::kPassed) (void)zel();
}

}  // namespace compliance
