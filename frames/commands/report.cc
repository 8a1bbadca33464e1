// zel-frames report: one page that shows a run, or two on each other.
#include <fmt/format.h>

#include <fstream>
#include <iterator>
#include <vector>

#include "frames/commands/command.h"
#include "frames/common/output_file.h"
#include "frames/common/unusable.h"
#include "frames/model/checks.h"
#include "frames/print/written.h"
#include "frames/report/page.h"

namespace frames {
namespace {

constexpr std::size_t kMostPictures = 60;

struct ReportOptions {
  CaptureOptions capture;
  SecondCapture b;
  OutputOptions output;
  bool no_pictures = false;
  bool json = false;
};

/// A word as a shell takes it.
std::string quoted(const std::string &word) {
  constexpr std::string_view kPlain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-+=./,:@%";
  if (!word.empty() && word.find_first_not_of(kPlain) == word.npos) return word;
  std::string result = "'";
  for (const char character : word) {
    if (character == '\'') {
      result += "'\\''";
    } else {
      result += character;
    }
  }
  return result + "'";
}

/// The command line of this process, its program by name only.
std::string command_line() {
  std::ifstream file("/proc/self/cmdline", std::ios::binary);
  const std::string words((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  std::string command = "zel-frames";
  for (std::size_t begin = words.find('\0'); begin != words.npos && begin + 1 < words.size();) {
    const std::size_t end = words.find('\0', begin + 1);
    command += " " + quoted(words.substr(begin + 1, end - begin - 1));
    begin = end;
  }
  return command;
}

/// Finds out all that the page says of a run.
void examine(ReportedRun &run, bool with_pictures) {
  find_keys(run.capture);
  find_picture_size(run.capture);
  run.statistics = measure_capture(run.capture);
  run.findings = run.capture.findings;
  check_frames(run.capture, run.findings);
  check_times(run.capture, run.statistics, run.findings);
  if (with_pictures) run.thumbnails = make_thumbnails(run.capture, kMostPictures);
}

int report(const ReportOptions &options) {
  if (options.output.path == "-") unusable("-: a page goes into a file, such as report.html");
  std::vector<ReportedRun> runs(options.b.name.empty() ? 1 : 2);
  runs[0].capture = open_capture(options.capture);
  if (runs.size() > 1) runs[1].capture = open_capture(read_like(options.capture, options.b));
  std::vector<std::string> inputs;
  for (const ReportedRun &run : runs)
    inputs.insert(inputs.end(), run.capture.files.begin(), run.capture.files.end());
  OutputFile file(options.output.path, options.output.force, inputs);
  for (ReportedRun &run : runs)
    examine(run, !options.no_pictures);
  const std::string page = make_page(runs, command_line());
  file.write({reinterpret_cast<const std::uint8_t *>(page.data()), page.size()});
  publish({&file});
  const std::size_t frames = runs[0].capture.frames.count;
  if (options.json) {
    print_written_json({{"file", options.output.path}, {"frames", frames}, {"bytes", page.size()}});
  } else {
    print_written_line(fmt::format("{}: {} frames, {} bytes", options.output.path, frames, page.size()));
  }
  return kExitGood;
}

}  // namespace

Run add_report(Options &options) {
  auto given = std::make_shared<ReportOptions>();
  add_output_options(options, given->output, "The page to make, such as report.html");
  add_capture_options(options, given->capture);
  add_second_capture(options, given->b, "Another capture, which is laid over the first");
  options.flag("--no-pictures", given->no_pictures, "Leave out the pictures of key frames");
  add_json_option(options, given->json);
  return [given] { return report(*given); };
}

}  // namespace frames
