// SIGINT and SIGKILL at random moments, in chosen calls and from outside. scripts/interrupts runs more of them:
// ZEL_TEST_ROUNDS says how many, ZEL_TEST_SEED where chance begins.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <map>
#include <random>
#include <thread>

#include "console_text.h"
#include "sweep.h"

using sweep::Output;

namespace {

constexpr const char *kNoFrame = "zel-client: Failed finalizing container\n";

unsigned number_from(const char *variable, unsigned otherwise) {
  const char *text = std::getenv(variable);
  return text != nullptr ? static_cast<unsigned>(std::strtoul(text, nullptr, 10)) : otherwise;
}

unsigned rounds() {
  return number_from("ZEL_TEST_ROUNDS", 20);
}

/// Chance for one round, repeatable.
class Chance {
 public:
  explicit Chance(unsigned round) : engine_(number_from("ZEL_TEST_SEED", 1) * 1'000'003 + round) {}
  unsigned below(std::size_t limit) {
    return std::uniform_int_distribution<unsigned>(0, static_cast<unsigned>(limit) - 1)(engine_);
  }

 private:
  std::mt19937 engine_;
};

std::vector<std::string> arguments_of(Output output, const std::string &frames) {
  std::vector<std::string> arguments = {frames, "--format=jpeg", "-m", "-q", "-s", "-o", "out", "320", "240"};
  if (output == Output::kMatroska) arguments.insert(arguments.begin(), {"--mkv=out.mkv", "--frame.chunks=0"});
  return arguments;
}

bool got_as_far_as_the_stream(const ClientRun &run) {
  return run.truth().count("zel_stream_new") != 0;
}

/// The run ended well, and everything that was handed out is stored: only before there is a handler may the signal end
/// the process.
void expect_whole(const ClientRun &run, const RunResult &result, Output output) {
  if (result.signal == SIGINT) {
    EXPECT_FALSE(got_as_far_as_the_stream(run));
    return;
  }
  const TruthLog truth = run.truth();
  const std::size_t frames = truth.frames().size();
  const bool is_empty_matroska = output == Output::kMatroska && frames == 0;
  EXPECT_EQ(result.status, is_empty_matroska ? 1 : 0);
  EXPECT_EQ(result.err, is_empty_matroska ? kNoFrame : "");
  EXPECT_EQ(occurrences(result.out, "\nzel-statistics:\n"), is_empty_matroska ? 0U : 1U);
  sweep::expect_released_once(truth);
  const sweep::Sidecar sidecar = sweep::read_sidecar(run.file("out.meta"));
  EXPECT_EQ(sidecar.records, frames);
  EXPECT_EQ(sidecar.rest, 4U);
  EXPECT_EQ(sidecar.count, frames);
  if (frames == 0) return;
  if (output == Output::kRaw) {
    EXPECT_EQ(read_file(run.file("out")), truth.bytes());
  } else {
    const MatroskaContents contents = read_matroska(run.file("out.mkv"));
    EXPECT_EQ(contents.frames.size(), frames);
    EXPECT_EQ(contents.cues.size(), frames);
    sweep::expect_matroska_prefix(run, frames);
  }
}

constexpr const char *kFrameLimit = "--frames=8";

/// The names of the calls of an undisturbed run, each as often as it is made.
std::vector<std::string> call_names(Output output) {
  ClientRun run;
  sweep::prepare(&run, output);
  EXPECT_EQ(run.run(arguments_of(output, kFrameLimit)).status, 0);
  const TruthLog truth = run.truth();
  std::vector<std::string> names;
  for (const Call &call : truth.calls())
    names.push_back(call.name);
  return names;
}

}  // namespace

// Catches an interrupt that loses or spoils a frame, or ends the run badly, in whatever call it comes.
TEST(RandomInterrupts, InCalls) {
  const std::map<Output, std::vector<std::string>> calls = {{Output::kRaw, call_names(Output::kRaw)},
                                                            {Output::kMatroska, call_names(Output::kMatroska)}};
  for (unsigned round = 0; round < rounds(); ++round) {
    Chance chance(round);
    const Output output = chance.below(2) == 0 ? Output::kRaw : Output::kMatroska;
    const std::vector<std::string> &names = calls.at(output);
    const std::size_t index = chance.below(names.size());
    const std::string &name = names[index];
    const auto nth = std::count(names.begin(), names.begin() + static_cast<std::ptrdiff_t>(index) + 1, name);
    const bool interrupted = name == "zel_stream_get_buffer" && chance.below(2) == 0;
    SCOPED_TRACE(testing::Message() << "round " << round << ": " << sweep::name_of(output) << ", " << name << ' '
                                    << nth);
    ClientRun run;
    sweep::prepare(&run, output);
    run.camera().fault({.call = name,
                        .nth = static_cast<std::uint32_t>(nth),
                        .fail = interrupted,
                        .code = 9,
                        .error_number = "EINTR",
                        .signal = "SIGINT"});
    expect_whole(run, run.run(arguments_of(output, kFrameLimit)), output);
  }
}

// Catches the same between the instructions, and in the waits, of a running client.
TEST(RandomInterrupts, FromOutside) {
  for (unsigned round = 0; round < rounds(); ++round) {
    Chance chance(round);
    const Output output = chance.below(2) == 0 ? Output::kRaw : Output::kMatroska;
    SCOPED_TRACE(testing::Message() << "round " << round << ": " << sweep::name_of(output));
    ClientRun run;
    sweep::prepare(&run, output);
    run.camera().set("pacing", "real-time").set("log_getters", "false");
    run.start(arguments_of(output, "--framerate=120"));
    const unsigned frames = chance.below(20);
    ASSERT_TRUE(frames == 0 || run.process().wait_until([&] { return run.truth().frames().size() >= frames; }));
    std::this_thread::sleep_for(std::chrono::microseconds(chance.below(20000)));  // any moment will do
    run.process().send_signal(SIGINT);
    expect_whole(run, run.wait(), output);
  }
}

// Catches a kill that loses more than the frame in progress: all frames handed back are stored, unchanged.
TEST(RandomKills, FromOutside) {
  for (unsigned round = 0; round < rounds(); ++round) {
    Chance chance(round);
    SCOPED_TRACE(round);
    ClientRun run;
    sweep::prepare(&run, Output::kRaw);
    run.camera().set("pacing", "real-time").set("log_getters", "false");
    run.start(arguments_of(Output::kRaw, "--framerate=120"));
    const unsigned frames = 1 + chance.below(20);
    ASSERT_TRUE(run.process().wait_until([&] { return run.truth().frames().size() >= frames; }));
    std::this_thread::sleep_for(std::chrono::microseconds(chance.below(20000)));
    run.process().send_signal(SIGKILL);
    EXPECT_EQ(run.wait().signal, SIGKILL);

    if (!std::filesystem::exists(run.file("out"))) continue;  // killed in the first frame
    const std::string stored = read_file(run.file("out"));
    const std::string meta = read_file(run.file("out.meta"));
    const TruthLog truth = run.truth();
    EXPECT_EQ(meta.size() % 24, 0U);
    EXPECT_LE(meta.size() / 24, truth.frames().size());
    EXPECT_GE(meta.size() / 24 + 1, truth.frames().size());
    EXPECT_GE(stored.size(), truth.bytes(0, meta.size() / 24).size());
    EXPECT_EQ(stored, truth.bytes().substr(0, stored.size()));
  }
}
