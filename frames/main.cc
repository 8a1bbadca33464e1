// zel-frames: lists, measures, checks, repairs, cuts and converts captures.
#include <csignal>
#include <cstdio>
#include <iostream>
#include <new>
#include <string>
#include <vector>

#include "frames/commands/command.h"
#include "frames/common/unusable.h"
#include "frames/print/output.h"

extern "C" {
#include <libavutil/log.h>
}

namespace {

int fail(const std::string &text) {
  (void)std::fprintf(stderr, "zel-frames: %s\n", frames::one_line(text).c_str());
  return frames::kExitUnusable;
}

std::string without_command(const std::vector<std::string> &words) {
  return words.empty() ? "no command: zel-frames --help lists them"
                       : words.front() + " is no command: zel-frames --help lists them";
}

}  // namespace

int main(int argc, char **argv) {
  std::signal(SIGPIPE, SIG_IGN);  // a reader that leaves is seen where it is written to
  av_log_set_level(AV_LOG_QUIET);
  try {
    frames::Run run;
    const auto app = frames::make_app(run);
    try {
      app->parse(argc, argv);
    } catch (const CLI::Success &asked) {  // --help, --version
      return app->exit(asked);
    } catch (const CLI::ParseError &error) {
      return fail(app->get_subcommands().empty() ? without_command(app->remaining()) : error.what());
    }
    return run();
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
