// The key file: what is wrong with it is always said.
#include <gtest/gtest.h>

#include "support/camera_fixture.h"

namespace {

class KeyFileTest : public CameraTest {
 protected:
  Failure refused(std::string_view lines) {
    configure(lines);
    return refusal({});
  }
};

bool ends_with(const std::string &text, const std::string &end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

// A mistyped key that was silently ignored would make a test pass that tests nothing.
TEST_F(KeyFileTest, EveryMistakeIsNamed) {
  const std::pair<const char *, const char *> cases[] = {
      {"paceing=virtual", ": [camera] paceing: unknown key"},
      {"pacing=fast", ": [camera] pacing: \"fast\" is not real-time, unpaced or virtual"},
      {"producer=none", ": [camera] producer: \"none\" is not generated, cached or scripted"},
      {"seed=-1", ": [camera] seed: \"-1\" is not a whole number, 0 or more"},
      {"log_getters=maybe", ": [camera] log_getters: \"maybe\" is not true or false"},
      {"graph=color\nfile=a",
       ": [camera] file: \"a\" is not the only one of capture, recording, graph, file and device"},
      {"recording=a\ngraph=color",
       ": [camera] graph: \"color\" is not the only one of capture, recording, graph, file and device"},
      {"capture=a\ndevice=b",
       ": [camera] device: \"b\" is not the only one of capture, recording, graph, file and device"},
      {"capture=a\nrecording=b",
       ": [camera] recording: \"b\" is not the only one of capture, recording, graph, file and device"},
      {"recording=a\ncapture=b",
       ": [camera] capture: \"b\" is not the only one of capture, recording, graph, file and device"},
      {"file=a\ncapture=b",
       ": [camera] capture: \"b\" is not the only one of capture, recording, graph, file and device"},
      {"capture=", ": [camera] capture: \"\" is not a text"},
      {"capture=a\nconsole=", ": [camera] console: \"\" is not a text"},
      {"capture=a\nloop=twice", ": [camera] loop: \"twice\" is not true or false"},
      {"capture=a\nproducer=generated", ": [camera] capture: a capture has no producer"},
      {"producer=cached\nrecording=a", ": [camera] recording: a recording has no producer"},
      {"console=a", ": [camera] console: there is no capture"},
      {"loop=false\nfile=a", ": [camera] loop: there is no capture"},
      {"[fault a]\nnth=1", ": [fault a]: the key call is missing"},
      {"[fault a]\ncall=zel_map_mew", ": [fault a] call: \"zel_map_mew\" is not a call of the interface"},
      {"[fault a]\ncall=zel_map_new\nnth=0", ": [fault a] nth: \"0\" is not a whole number, 1 or more"},
      {"[fault a]\ncall=zel_map_new\nerrno=EWHAT", ": [fault a] errno: \"EWHAT\" is not a name of errno, such as EIO"},
      {"[fault a]\ncall=zel_map_new\nsignal=INT", ": [fault a] signal: \"INT\" is not a signal's name, such as SIGINT"},
      {"[fault a]\ncall=zel_map_new\nprobability=2", ": [fault a] probability: \"2\" is not a number from 0 to 1"},
      {"[frame a]\ntype=ifr", ": [frame a] type: \"ifr\" is not the nick or number of a frame type"},
      {"[frame a]\nclock_step_us=x", ": [frame a] clock_step_us: \"x\" is not a whole number"},
      {"[frame a]\nsize=1073741825", ": [frame a] size: \"1073741825\" is not at most 1073741824 bytes"},
      {"[frame a]\nchunks=1000001", ": [frame a] chunks: \"1000001\" is not at most 1000000 chunks"},
      {"[frame a]\njitter_us=18446744073709551615",
       ": [frame a] jitter_us: \"18446744073709551615\" is not at most 1000000000000 microseconds"},
      {"[frame a]\nlatency_us=1000000000001",
       ": [frame a] latency_us: \"1000000000001\" is not at most 1000000000000 microseconds"},
      {"[fault a]\ncall=zel_map_new\nstall_us=1000000000001",
       ": [fault a] stall_us: \"1000000000001\" is not at most 1000000000000 microseconds"},
      {"[frame a]\nsise=4", ": [frame a] sise: unknown key"},
      {"[frames]\nsize=4", ": [frames]: unknown group"},
  };
  for (const auto &[lines, message] : cases) {
    const Failure failure = refused(lines);
    EXPECT_EQ(failure.code, 6);
    EXPECT_TRUE(ends_with(failure.message, message)) << failure.message;
    EXPECT_TRUE(failure.message.starts_with("Camera configuration /")) << failure.message;
  }
}

TEST_F(KeyFileTest, AMissingFileIsNamed) {
  setenv("ZEL_CAMERA", path("absent").c_str(), 1);
  const Failure failure = refusal({});
  EXPECT_EQ(failure.code, 6);
  EXPECT_EQ(failure.message, "Camera configuration " + path("absent") + ": No such file or directory");
}

TEST_F(KeyFileTest, ALogThatCannotBeWrittenIsNamed) {
  const Failure failure = refused("log=" + path("absent/log"));
  EXPECT_EQ(failure.code, 6);
  EXPECT_TRUE(ends_with(failure.message, ": [camera] log: " + path("absent/log") + ": No such file or directory"));
}

// Without the variable there is a camera all the same.
TEST_F(KeyFileTest, TheCameraNeedsNoKeyFile) {
  unsetenv("ZEL_CAMERA");
  create({{"resolution", zel_pair32u{64, 64}}});
  start();
  EXPECT_TRUE(fetch().key);
}

// Object numbers and call counts begin anew with a new key file, so that tests in one process do not disturb each
// other.
TEST_F(KeyFileTest, ANewFileBeginsANewLog) {
  (void)request({});
  configure("pacing=virtual");
  (void)request({});
  const auto lines = log();
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0]["n"], 1);
  EXPECT_EQ(lines[0]["result"], 1);
  EXPECT_EQ(lines[1]["kind"], "release");
}

}  // namespace
