// Runs that need a keyboard and have none.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>

#include "harness/client_run.h"

namespace {

constexpr const char *kNoTerminal =
    "zel-client: configure_interactive_mode: tcgetattr: Inappropriate ioctl for device\n";

}  // namespace

// Catches a standard input that is no terminal and passes, and a stream that is created before it is looked at.
TEST(NoTerminal, FilePipeAndNull) {
  for (const char *option : {"--interactive=1", "--buffer_us=500000"}) {
    const TempFolder folder;
    write_file(folder.path() / "keys", "1");
    ClientRun file;
    RunResult result = file.stdin_from(folder.path() / "keys").run({option, "--frames=1"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, kNoTerminal);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(file.truth().count("zel_stream_new"), 0U);

    ClientRun pipe;
    result = pipe.stdin_from_pipe().run({option, "--frames=1"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, kNoTerminal);

    ClientRun null;
    result = null.run({option, "--frames=1"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, kNoTerminal);
  }
}

// Catches a set-up that looks for the terminal first: an input that is none has become non-blocking by then.
TEST(NoTerminal, IsFoundAfterTheDescriptorsFlagsAreSet) {
  std::array<int, 2> ends{-1, -1};
  ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
  ClientRun run;
  EXPECT_EQ(run.stdin_from_descriptor(ends[0]).run({"--interactive=1"}).err, kNoTerminal);
  EXPECT_NE(fcntl(ends[0], F_GETFL) & O_NONBLOCK, 0);
  close(ends[0]);
  close(ends[1]);
}
