// zel-frames compare as a program: texts, JSON, statuses.
#include <fmt/format.h>

#include <filesystem>
#include <functional>
#include <nlohmann/json.hpp>
#include <regex>

#include "console_text.h"
#include "frames_folder.h"
#include "harness/client_run.h"

using testing::HasSubstr;

namespace {

constexpr std::size_t kRate = 25;  ///< frames a second, and in a GOP

/// The console text of a run of that many seconds whose latencies go through the same values in every second, which
/// become longer by a microsecond from second to second.
std::string run_text(std::size_t seconds, std::int64_t latency_us, std::int64_t distance_us = 40000) {
  std::string text;
  for (std::size_t i = 0; i <= seconds * kRate; ++i) {
    const bool key = i % kRate == 0;
    const auto later = static_cast<std::int64_t>(i % kRate * 100 + i / kRate);
    text += fmt::format("zel-client: frame = {:4}, type = {:<8}, Δpts = {:7}, latency = {:7} µs, size = {}\n", i,
                        key ? "idr" : "p", i == 0 ? 0 : distance_us, latency_us + later, key ? 24000 : 4000);
  }
  return text;
}

class FramesCompare : public FramesFolder {
 protected:
  /// "~" or "p..." of each row of a quantity's block.
  static std::vector<std::string> chances(const std::string &text, const std::string &title) {
    std::vector<std::string> found;
    std::istringstream lines(text.substr(text.find(title)));
    std::string line;
    std::getline(lines, line);
    while (std::getline(lines, line) && line.starts_with("  "))
      found.push_back(line.substr(line.find('%') + 3));
    return found;
  }
};

}  // namespace

// Catches another figure, another order, and a wrong sign or rounding.
TEST_F(FramesCompare, Text) {
  write("a.txt", run_text(10, 20000));
  write("b.txt", run_text(10, 22000));
  EXPECT_EQ(output({"compare", "a.txt", "b.txt"}),
            "                      A              B          B - A             \n"
            "distance, us\n"
            "  p50             40000          40000              0      +0.00 %  ~\n"
            "  p99             40000          40000              0      +0.00 %  ~\n"
            "  p999            40000          40000              0      +0.00 %  ~\n"
            "  max             40000          40000              0      +0.00 %  ~\n"
            "  mean          40000.0        40000.0            0.0      +0.00 %  ~\n"
            "latency, us\n"
            "  p50             21204          23204          +2000      +9.43 %  p<0.001\n"
            "  p99             22407          24407          +2000      +8.93 %  p<0.001\n"
            "  p999            22409          24409          +2000      +8.92 %  p<0.001\n"
            "  max             22409          24409          +2000      +8.92 %  p<0.001\n"
            "  mean          21199.7        23199.7        +2000.0      +9.43 %  p<0.001\n"
            "size, bytes\n"
            "  p50              4000           4000              0      +0.00 %  ~\n"
            "  p99             24000          24000              0      +0.00 %  ~\n"
            "  p999            24000          24000              0      +0.00 %  ~\n"
            "  max             24000          24000              0      +0.00 %  ~\n"
            "  mean           4876.5         4876.5            0.0      +0.00 %  ~\n"
            "bit rate, bit/s\n"
            "  p50            960000         960000              0      +0.00 %  ~\n"
            "  p99            960000         960000              0      +0.00 %  ~\n"
            "  p999           960000         960000              0      +0.00 %  ~\n"
            "  max            960000         960000              0      +0.00 %  ~\n"
            "  mean         960000.0       960000.0            0.0      +0.00 %  ~\n"
            "~ may be chance: p > 0.05 in a rank test on 10 and 10 seconds\n");
}

// Catches names and kinds of values that differ from those of the manual.
TEST_F(FramesCompare, Json) {
  write("a.txt", run_text(10, 20000));
  write("b.txt", run_text(10, 22000));
  const std::string text = output({"compare", "--json", "b.txt", "a.txt"});
  EXPECT_EQ(text.find('\n'), text.size() - 1);
  const auto compared = nlohmann::json::parse(text);
  EXPECT_EQ(compared["block"], "second");
  EXPECT_EQ(compared["blocks_a"], 10);
  EXPECT_EQ(compared["blocks_b"], 10);
  ASSERT_EQ(compared["figures"].size(), 20U);
  const nlohmann::json &most = compared["figures"][8];
  EXPECT_EQ(most["quantity"], "latency_us");
  EXPECT_EQ(most["figure"], "max");
  EXPECT_EQ(most["a"], 24409);
  EXPECT_EQ(most["b"], 22409);
  EXPECT_EQ(most["difference"], -2000);
  EXPECT_NEAR(most["percent"], -8.1937, 0.0001);
  // U = 0 of 100, mean 50, variance 10 * 10 / 12 * 21: z = 49.5 / 13.229 = 3.7418.
  EXPECT_NEAR(most["p"], 0.000183, 0.000001);
  EXPECT_EQ(most["chance"], false);
  EXPECT_FALSE(most.contains("worse"));
  EXPECT_EQ(compared["figures"][0]["chance"], true);
}

// Catches a status that takes chance, what is better, or sizes for worse.
TEST_F(FramesCompare, MaxWorse) {
  write("a.txt", run_text(10, 20000));
  write("b.txt", run_text(10, 22000));
  write("slow.txt", run_text(10, 20000, 50000));
  const RunResult worse = run({"compare", "a.txt", "b.txt", "--max-worse", "9%"});
  EXPECT_EQ(worse.status, 1);
  EXPECT_EQ(worse.err, "");
  EXPECT_EQ(chances(worse.out, "latency, us"),
            (std::vector<std::string>{"p<0.001  worse", "p<0.001", "p<0.001", "p<0.001", "p<0.001  worse"}));
  EXPECT_EQ(run({"compare", "a.txt", "b.txt", "--max-worse=9.5"}).status, 0);
  EXPECT_EQ(run({"compare", "b.txt", "a.txt", "--max-worse", "0"}).status, 0) << "better";
  EXPECT_EQ(run({"compare", "a.txt", "a.txt", "--max-worse", "0"}).status, 0) << "the same";
  EXPECT_EQ(run({"compare", "a.txt", "slow.txt", "--max-worse", "5%"}).status, 1) << "distances are longer";
  EXPECT_EQ(run({"compare", "slow.txt", "a.txt", "--max-worse", "5%"}).status, 0) << "only the bit rate is higher";
  const RunResult json = run({"compare", "--json", "a.txt", "b.txt", "--max-worse", "9%"});
  EXPECT_EQ(json.status, 1);
  const auto compared = nlohmann::json::parse(json.out);
  EXPECT_EQ(compared["figures"][5]["worse"], true);
  EXPECT_EQ(compared["figures"][6]["worse"], false);
}

// Catches values that are taken for others, and more than a line about them.
TEST_F(FramesCompare, Refusals) {
  write("a.txt", run_text(1, 20000));
  for (const char *value : {"x", "5%%", "-1", "", "nan", "inf", "1e9", "5 %"}) {
    EXPECT_EQ(refusal({"compare", "a.txt", "a.txt", "--max-worse", value}),
              "--max-worse: " + std::string(value) + " is no percentage such as 1% or 0.5%");
  }
  EXPECT_THAT(refusal({"compare", "a.txt"}), HasSubstr("B"));
  EXPECT_EQ(refusal({"compare", "a.txt", "none"}), "none: No such file or directory");
  EXPECT_EQ(refusal({"compare", "a.txt", "a.txt", "--with-a", "none"}), "none: No such file or directory");
  EXPECT_EQ(refusal({"compare", "a.txt", "a.txt", "--with-b", "none"}), "none: No such file or directory");
}

// Catches a pass of runs that tell nothing which could be worse.
TEST_F(FramesCompare, NothingToJudge) {
  ClientRun client;
  const RunResult recorded = client.run({"--output=cap.h264", "--frames=20", "320", "180"});
  ASSERT_EQ(recorded.status, 0) << recorded.err;
  std::filesystem::copy(client.file("cap.h264"), folder.path() / "cap.h264");
  EXPECT_EQ(refusal({"compare", "cap.h264", "cap.h264", "--max-worse=5%"}),
            "cap.h264: --max-worse: the captures do not both tell distances or latencies");
  EXPECT_EQ(run({"compare", "cap.h264", "cap.h264"}).status, 0) << "sizes can be compared";
  EXPECT_EQ(run({"compare", "cap.h264", "cap.h264", "--max-worse=5%", "--fps=25"}).status, 0);
}

// Catches files beside A that are taken for B's too.
TEST_F(FramesCompare, EachSideHasItsOwnFiles) {
  ClientRun client;
  client.camera().scripted();
  const RunResult recorded = client.run({"--meta", "--output=cap", "--frames=26", "--framerate=25"});
  ASSERT_EQ(recorded.status, 0) << recorded.err;
  for (const char *name : {"cap", "cap.meta"})
    std::filesystem::copy(client.file(name), folder.path() / name);
  const std::regex latency("latency = +[0-9]+");
  write("a.txt", std::regex_replace(recorded.out, latency, "latency =    1000"));
  write("b.txt", std::regex_replace(recorded.out, latency, "latency =    3000"));
  const std::string both = output({"compare", "--format=h264", "--log=a.txt", "--log-b=b.txt", "cap", "cap"});
  EXPECT_THAT(both, HasSubstr("latency, us\n  p50              1000           3000          +2000 "));
  const std::string one = output({"compare", "--format=h264", "--log=a.txt", "cap", "cap"});
  EXPECT_EQ(one.find("latency"), std::string::npos) << "B tells none";
  std::filesystem::rename(folder.path() / "cap.meta", folder.path() / "other.meta");
  EXPECT_THAT(output({"compare", "--format=h264", "--meta=other.meta", "--meta-b=other.meta", "cap", "cap"}),
              HasSubstr("distance, us\n"));
  for (const char *option : {"--log=a.txt", "--meta=other.meta"})
    EXPECT_THAT(refusal({"compare", option, "--with-a=cap", "cap", "cap"}), HasSubstr("--with-a"));
  for (const char *option : {"--log-b=a.txt", "--meta-b=other.meta"})
    EXPECT_THAT(refusal({"compare", option, "--with-b=cap", "cap", "cap"}), HasSubstr("--with-b"));
}

// Catches a verdict on runs that are too short for one, however far apart they are.
TEST_F(FramesCompare, TooShort) {
  write("a.txt", run_text(10, 20000));
  write("short.txt", run_text(7, 90000));
  const std::string text = output({"compare", "a.txt", "short.txt", "--max-worse", "5%"});
  EXPECT_EQ(chances(text, "latency, us"), std::vector<std::string>(5, "~"));
  EXPECT_THAT(text, HasSubstr("\n~ may be chance: 10 and 7 seconds are too few for a test, which takes 8 each\n"));
  const auto compared = nlohmann::json::parse(output({"compare", "--json", "a.txt", "short.txt"}));
  EXPECT_EQ(compared["blocks_b"], 7);
  EXPECT_FALSE(compared["figures"][5].contains("p"));
  EXPECT_EQ(compared["figures"][5]["chance"], true);
}

// Catches runs of a side that are left out, taken for the other side's, or joined without a seam.
TEST_F(FramesCompare, SeveralRunsOfASide) {
  write("a.txt", run_text(7, 20000));
  write("b.txt", run_text(6, 22000));
  write("other.txt", run_text(5, 22000));
  const std::string text = output(
      {"compare", "a.txt", "b.txt", "--with-a", "a.txt", "--with-b", "other.txt", "--with-b=b.txt", "--max-worse=50"});
  EXPECT_THAT(text, HasSubstr("in a rank test on 14 and 17 seconds\n"));
  EXPECT_EQ(chances(text, "latency, us"), std::vector<std::string>(5, "p<0.001"));
  EXPECT_EQ(chances(text, "distance, us"), std::vector<std::string>(5, "~"));
  EXPECT_THAT(text, HasSubstr("  max             22406          24405          +1999 "));
}

// Catches a quantity that only one side tells, and one that both tell and is left out.
TEST_F(FramesCompare, UnequalCaptures) {
  ClientRun client;
  client.camera().scripted();
  const RunResult recorded =
      client.run({"--meta", "--output=cap", "--frames=251", "--framerate=25", "--gop_length=25"});
  ASSERT_EQ(recorded.status, 0) << recorded.err;
  std::filesystem::copy(client.file("cap.meta"), folder.path() / "cap.meta");
  write("b.txt", run_text(10, 20000));
  for (const auto &[a, b] : {std::pair("cap.meta", "b.txt"), std::pair("b.txt", "cap.meta")}) {
    const std::string text = output({"compare", a, b, "--max-worse=0"});
    EXPECT_EQ(text.find("latency"), std::string::npos);
    EXPECT_EQ(chances(text, "distance, us"), std::vector<std::string>(5, "~"));
    EXPECT_EQ(chances(text, "size, bytes"), std::vector<std::string>(5, "~"));
    EXPECT_EQ(chances(text, "bit rate, bit/s"), std::vector<std::string>(5, "~"));
  }
}
