// zel-frames: lists, measures, checks, repairs, cuts and converts captures.
#include <csignal>
#include <cstdio>
#include <new>
#include <string>

#include "frames/commands/command.h"
#include "frames/common/unusable.h"
#include "frames/print/output.h"

namespace {

int fail(const std::string &text) {
  (void)std::fprintf(stderr, "zel-frames: %s\n", frames::one_line(text).c_str());
  return frames::kExitUnusable;
}

}  // namespace

int main(int argc, char **argv) {
  std::signal(SIGPIPE, SIG_IGN);  // a reader that leaves is seen where it is written to
  try {
    return frames::parse_command_line(argc, argv)();
  } catch (const frames::ClosedPipe &) {
    return frames::kExitGood;
  } catch (const frames::Unusable &error) {
    return fail(error.what());
  } catch (const std::bad_alloc &) {
    return fail("out of memory");
  } catch (const std::exception &error) {
    return fail(error.what());
  }
}
