// zel-frames as a program: texts, statuses and messages.
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "frames_folder.h"
#include "harness/build_under_test.h"
#include "harness/client_run.h"

using testing::HasSubstr;
using testing::StartsWith;

namespace {

using namespace std::string_literals;

constexpr char kText[] =
    "zel-client: frame =    0, type = idr     , Δpts =       0, latency =    1234 µs, size = 50\n"
    "zel-client: frame =    1, type = p       , Δpts =   40000, latency =    2234 µs, size = 20\n"
    "zel-client: frame =    4, type = p       , Δpts =  120000, latency =    3234 µs, size = 30\n";

class FramesCommands : public FramesFolder {};

}  // namespace

// Catches another header line, order, or sign for what is not known.
TEST_F(FramesCommands, ListAsTextCsvAndJson) {
  write("run.txt", kText);
  EXPECT_EQ(output({"list", "run.txt"}),
            "frame sequence type type_name key time_us delta_us delta_cts_us offset size header latency_us\n"
            "    0        0    -       idr   -       0        0            -      -   50      -       1234\n"
            "    1        1    -         p   -   40000    40000            -      -   20      -       2234\n"
            "    2        4    -         p   -  160000   120000            -      -   30      -       3234\n");
  EXPECT_EQ(output({"list", "--csv", "run.txt", "--from", "1", "--to", "1"}),
            "frame,sequence,type,type_name,key,time_us,delta_us,delta_cts_us,offset,size,header,latency_us\n"
            "1,1,,p,,40000,40000,,,20,,2234\n");
  EXPECT_EQ(output({"list", "--json", "run.txt", "--from", "100ms"}),
            R"({"frame":1,"sequence":1,"type_name":"p","time_us":40000,"delta_us":40000,"size":20,"latency_us":2234})"
            "\n"
            R"({"frame":2,"sequence":4,"type_name":"p","time_us":160000,"delta_us":120000,"size":30,"latency_us":3234})"
            "\n");
  EXPECT_EQ(output({"list", "--timestamps", "run.txt"}), "# timestamp format v2\n0.000\n40.000\n160.000\n");
  EXPECT_EQ(output({"list", "--timestamps", "run.txt", "--from", "1"}), "# timestamp format v2\n0.000\n120.000\n");
}

// Catches ends of the range that are taken for others, and options that contradict each other.
TEST_F(FramesCommands, ListRefusals) {
  write("run.txt", kText);
  EXPECT_EQ(refusal({"list", "run.txt", "--to", "3"}), "run.txt: frame 3: the last frame is 2");
  EXPECT_EQ(refusal({"list", "run.txt", "--from", "2", "--to", "1"}), "run.txt: --from lies behind --to");
  EXPECT_THAT(refusal({"list", "run.txt", "--keys"}), HasSubstr("key frames"));
  EXPECT_THAT(refusal({"list", "run.txt", "--from", "soon"}), HasSubstr("soon"));
  EXPECT_THAT(refusal({"list", "--csv", "--json", "run.txt"}), HasSubstr("--csv"));
  EXPECT_THAT(refusal({"list"}), HasSubstr("CAPTURE"));
  EXPECT_THAT(refusal({"list", "run.txt", "run.txt"}), HasSubstr("run.txt"));
  refusal({});
  EXPECT_THAT(refusal({"lisp", "run.txt"}), HasSubstr("lisp"));
}

// Catches quotes that are missing around a file's name, and bytes that are no text in JSON.
TEST_F(FramesCommands, NamesOfParts) {
  write("a,\"%d.meta", "\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\1\0\0\0\0\0\0\0\1\0\0\0"s);
  write("a,\"0", "x");
  write("a,\"1", "");
  EXPECT_EQ(output({"list", "--csv", "a,\"%d"}),
            "frame,sequence,type,type_name,key,time_us,delta_us,delta_cts_us,offset,size,header,latency_us,file\n"
            "0,,0,,,0,0,,0,1,0,,\"a,\"\"0\"\n");
}

// Catches a pattern of which only one part is there, and that does not say which.
TEST_F(FramesCommands, NameOfTheOnlyPart) {
  write("part%d.meta", "\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\1\0\0\0\0\0\0\0\1\0\0\0"s);
  write("part0", "x");
  EXPECT_EQ(output({"list", "--json", "part%d"}),
            R"({"frame":0,"type":0,"time_us":0,"delta_us":0,"offset":0,"size":1,"header":0,"file":"part0"})"
            "\n");
}

// Catches lines, counts and statuses of the check.
TEST_F(FramesCommands, Check) {
  write("run.txt", kText);
  EXPECT_EQ(output({"check", "run.txt"}),
            "run.txt: frame 1: 120000 us to the next frame, 2 missing (gap)\n"
            "run.txt: 3 frames, no faults, 1 note (1 gap)\n");
  const RunResult failed = run({"check", "run.txt", "--max-missing=1", "--max-latency-us", "3000"});
  EXPECT_EQ(failed.status, 1);
  EXPECT_EQ(failed.err, "");
  EXPECT_EQ(failed.out,
            "run.txt: frame 1: 120000 us to the next frame, 2 missing (gap)\n"
            "run.txt: 2 frames are missing, above 1 (max-missing)\n"
            "run.txt: frame 2: the latency is 3234 us, above 3000 (max-latency-us)\n"
            "run.txt: 3 frames, 2 faults (1 max-latency-us, 1 max-missing), 1 note (1 gap)\n");
  EXPECT_EQ(output({"check", "run.txt", "--json", "--max-delta-us", "120000"}),
            R"({"frames":3,"passed":true,"findings":[{"id":"gap","fails":false,)"
            R"("text":"120000 us to the next frame, 2 missing","frame":1}]})"
            "\n");
  EXPECT_EQ(refusal({"check", "run.txt", "--gop", "30"}), "run.txt: --gop: the capture does not tell its key frames");
  EXPECT_THAT(refusal({"check", "run.txt", "--tolerance", "2%"}), HasSubstr("--rate"));
  EXPECT_THAT(refusal({"check", "run.txt", "--rate", "12.5", "--tolerance", "wide"}), HasSubstr("wide"));
  EXPECT_THAT(refusal({"check", "run.txt", "--max-missing", "-1"}), HasSubstr("-1"));
  EXPECT_EQ(run({"check", "run.txt", "--rate", "12.5", "--tolerance", "0"}).status, 0);
  EXPECT_EQ(run({"check", "run.txt", "--rate", "12", "--tolerance", "1%"}).status, 1);
}

// Catches input that is taken for a capture, a second line on standard error, and a signal or a hang.
TEST_F(FramesCommands, WhatCannotBeUsed) {
  std::mt19937 random(7);
  std::string noise;
  for (int i = 0; i < 100'000; ++i)
    noise.push_back(static_cast<char>(random()));
  write("noise.h264", noise);
  write("noise.meta", noise);
  write("noise.txt", noise);
  write("noise.mkv", "\x1A\x45\xDF\xA3"s + noise);
  write("empty.h264", "");
  write("words.txt", "some words\n");
  write("list.ffconcat", "ffconcat version 1.0\nfile noise.mkv\n");
  write("name\n.txt", "");
  std::filesystem::create_directory(folder.path() / "folder");
  for (const char *command : {"list", "stats", "check"}) {
    for (const char *name : {"noise.h264", "noise.meta", "noise.txt", "noise.mkv", "empty.h264", "words.txt",
                             "list.ffconcat", "name\n.txt", "folder", "none", "/dev/zero", "/dev/null"}) {
      (void)refusal({command, name});
    }
  }
  EXPECT_EQ(refusal({"list", "empty.h264"}), "empty.h264: is empty");
  EXPECT_EQ(refusal({"stats", "folder"}), "folder: is a folder");
  EXPECT_EQ(refusal({"list", "none"}), "none: No such file or directory");
  EXPECT_EQ(refusal({"stats", "/dev/zero"}), "/dev/zero: holds no frame's line");
}

// Catches a figure that is not defined and is printed as a number, or not at all.
TEST_F(FramesCommands, StatsOfNoFrames) {
  write("none.meta", std::string(4, '\0'));
  const std::string dashes =
      "          -             -           -           -           -           -           -"
      "           -\n";
  EXPECT_EQ(output({"stats", "none.meta"}),
            "capture    none.meta: codec -\n"
            "frames     0, key frames -\n"
            "bytes      0\n"
            "duration   -\n"
            "rate       -\n"
            "\n"
            "                           min          mean         p50         p90         p99       p99.9         max"
            "      stddev\n"
            "distance (us)      " +
                dashes + "at client (us)     " + dashes + "latency (us)       " + dashes + "size (bytes)       " +
                dashes + "  key frames       " + dashes + "  other frames     " + dashes +
                "\n"
                "gaps       -\n");
  EXPECT_EQ(output({"stats", "--json", "none.meta"}), R"({"frames":0,"bytes":0,"gaps":[],"backwards":[],"repeated":[]})"
                                                      "\n");
}

// Catches figures in another place, more than a screen of them, and frames that are counted and not named.
TEST_F(FramesCommands, StatsOnOneScreen) {
  std::string text;
  std::uint32_t sequence = 0;
  const auto add = [&](int delta_us, std::uint32_t skipped) {
    sequence += 1 + skipped;
    text += fmt::format("zel-client: frame = {:4}, Δcts = {:7}, Δpts = {:7}, latency = {:7} µs, size = {}/4096\n",
                        sequence, 40'000, delta_us, 1000 + sequence, 500);
  };
  add(0, 0);
  for (int i = 0; i < 7; ++i) {
    add(120'000, 2);
    for (int j = 0; j < 3; ++j)
      add(40'000, 0);
  }
  for (int i = 0; i < 11; ++i)
    add(0, 0);
  add(-100, 0);
  write("run.txt", text);
  EXPECT_EQ(output({"stats", "run.txt"}),
            R"(capture    run.txt: codec -
frames     41, key frames -
bytes      20500
duration   1.679900 s
rate       23.811 frames/s, 95.2 kbit/s

                           min          mean         p50         p90         p99       p99.9         max      stddev
distance (us)             -100       41997.5       40000      120000      120000      120000      120000     39952.6
at client (us)           40000       40000.0       40000       40000       40000       40000       40000         0.0
latency (us)              1001        1030.6        1031        1051        1055        1055        1055        16.2
size (bytes)               500         500.0         500         500         500         500         500         0.0
  key frames                 -             -           -           -           -           -           -           -
  other frames               -             -           -           -           -           -           -           -

gaps       7, 14 frames missing
           after frame 0: 120000 us, 2 missing
           after frame 4: 120000 us, 2 missing
           after frame 8: 120000 us, 2 missing
           after frame 12: 120000 us, 2 missing
           after frame 16: 120000 us, 2 missing
           ... and 2 more, which zel-frames check lists
backwards  1: frame 40
repeated   11: frame 29, 30, 31, 32, 33, 34, 35, 36, 37, 38, ...
)");
}

// Catches "none" for gaps, and lists without an entry, where nothing tells of times.
TEST_F(FramesCommands, StatsWithoutTimes) {
  write("grey", std::string(8, 'g'));
  const std::vector<std::string> as_pictures = {"--format=gray", "--size=2x2", "grey"};
  std::vector<std::string> arguments = {"stats"};
  arguments.insert(arguments.end(), as_pictures.begin(), as_pictures.end());
  const std::string text = output(arguments);
  EXPECT_THAT(text, HasSubstr("\nduration   -\nrate       -\n"));
  EXPECT_THAT(text, testing::EndsWith("\n\ngaps       -\n"));
  arguments.insert(arguments.begin() + 1, "--json");
  EXPECT_THAT(output(arguments), testing::EndsWith("\"gop\":{\"count\":2,\"min\":1,\"mean\":1.0,\"max\":1}}\n"));
  arguments.insert(arguments.begin() + 1, "--fps=25");
  EXPECT_THAT(output(arguments), testing::EndsWith(",\"gaps\":[],\"backwards\":[],\"repeated\":[]}\n"));
}

// Catches a message or a status for a reader that has seen enough, and output that is lost without a word.
TEST_F(FramesCommands, ClosedPipeAndFullDisk) {
  if (client_is_emulated()) GTEST_SKIP() << "the shell would run the program without its emulator";
  std::string text;
  for (int i = 0; i < 20'000; ++i)
    text += kText;
  write("run.txt", text);
  const std::string program = "'" + build_under_test().frames.string() + "' ";
  for (const char *command : {"list run.txt", "list --csv run.txt", "list --json run.txt", "check run.txt"}) {
    const RunResult closed =
        run_tool({"bash", "-c", program + command + " | head -n 1 > /dev/null; exit ${PIPESTATUS[0]}"}, folder.path());
    EXPECT_TRUE(closed.status == 0 || std::string(command).starts_with("check")) << command;
    EXPECT_EQ(closed.err, "");
  }
  const RunResult full = run_tool({"bash", "-c", program + "list run.txt > /dev/full"}, folder.path());
  EXPECT_EQ(full.status, 2);
  EXPECT_EQ(full.err, "zel-frames: standard output: No space left on device\n");
  const RunResult endless = run_tool({"bash", "-c", "yes | " + program + "stats -"}, folder.path());
  EXPECT_EQ(endless.status, 2);
  EXPECT_EQ(endless.err, "zel-frames: standard input: holds no frame's line\n");
}

// Catches the sidecar of another run taken for this one's without a word.
TEST_F(FramesCommands, AnotherCapturesSidecar) {
  for (const char *name : {"one", "two"}) {
    ClientRun client;
    client.camera()
        .set("seed", name == std::string("one") ? "1" : "2")
        .set("start_us", name[0] == 'o' ? "1000" : "9000000");
    const RunResult result =
        client.run({"--quiet", "--meta", "--output=raw", name[0] == 'o' ? "--frames=9" : "--frames=12", "320", "240"});
    ASSERT_EQ(result.status, 0) << result.err;
    std::filesystem::copy(client.file("raw"), folder.path() / name);
    std::filesystem::copy(client.file("raw.meta"), folder.path() / (std::string(name) + ".sidecar"));
    ClientRun matroska;
    matroska.camera().set("start_us", name[0] == 'o' ? "1000" : "9000000");
    ASSERT_EQ(matroska.run({"--quiet", "--mkv=out.mkv", "--frames=9", "320", "240"}).status, 0);
    std::filesystem::copy(matroska.file("out.mkv"), folder.path() / (std::string(name) + ".mkv"));
  }
  const RunResult raw = run({"check", "one", "--meta", "two.sidecar"});
  EXPECT_EQ(raw.status, 1);
  EXPECT_THAT(raw.out, HasSubstr("(raw-size)"));
  EXPECT_EQ(raw.err, "");
  EXPECT_THAT(refusal({"list", "one.mkv", "--meta", "two.sidecar"}),
              StartsWith("two.sidecar: record 0: is at 9000000 us"));
}
