// zel-record-read: what zel-record hands over to when a recording is to be looked at.
#include <csignal>
#include <cstdio>
#include <new>
#include <string>

#include "formats/recording_reader.h"
#include "frames/common/unusable.h"
#include "frames/print/output.h"
#include "recorder/commands/command.h"

namespace {

int fail(const std::string &text) {
  constexpr int kUnusable = 2;
  (void)std::fprintf(stderr, "zel-record: %s\n", frames::one_line(text).c_str());
  return kUnusable;
}

}  // namespace

int main(int argc, char **argv) {
  std::signal(SIGPIPE, SIG_IGN);  // a reader that leaves is seen where it is written to
  try {
    return recorder::parse_command_line(argc, argv)();
  } catch (const frames::ClosedPipe &) {
    return 0;
  } catch (const std::bad_alloc &) {
    return fail("out of memory");
  } catch (const std::exception &error) {
    return fail(error.what());
  }
}
