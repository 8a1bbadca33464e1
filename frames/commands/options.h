// The options of a command line, declared one by one. CLI11, which parses them, stays behind this header: its own ones
// take seconds to compile.
#ifndef ZEL_FRAMES_COMMANDS_OPTIONS_H
#define ZEL_FRAMES_COMMANDS_OPTIONS_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "frames/model/capture.h"
#include "frames/model/position.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace frames {

/// An option or operand that was added, to say more about it.
class Option {
 public:
  explicit Option(CLI::Option *option) : option_(option) {}

  Option &required();
  /// Lists it under this heading of the help.
  Option &group(const std::string &heading);
  /// Refuses it without the other one.
  Option &needs(const Option &other);
  /// Refuses it together with the other one, which was added before.
  Option &excludes(const std::string &name);

 private:
  CLI::Option *option_;  ///< the parser's
};

/// Adds options to one command's parser. What they write to must live until the command line is parsed. A value that
/// cannot be parsed ends the program as Unusable does, with a text that names the option.
class Options {
 public:
  /// Takes an option's value; throws Unusable when it cannot.
  using Parse = std::function<void(const std::string &text)>;

  explicit Options(CLI::App &app) : app_(app) {}

  /// An option without a value: true where it is given.
  Option flag(const std::string &name, bool &given, const std::string &help);
  /// An option whose value is a file's name; `name` may be "-o,--output".
  Option file(const std::string &name, std::string &path, const std::string &help);
  /// The same; each time that it is given adds one.
  Option files(const std::string &name, std::vector<std::string> &paths, const std::string &help);
  /// An option whose value `parse` takes; `type` is what help calls the value, such as "N".
  Option value(const std::string &name, const std::string &type, const Parse &parse, const std::string &help);
  /// An argument without an option's name.
  Option operand(const std::string &name, std::string &text, const std::string &help);

 private:
  CLI::App &app_;
};

/// Adds what every command takes: CAPTURE and the options that say how to read it.
void add_capture_options(Options &options, CaptureOptions &capture);

/// A second capture of a command, with the files beside it; all else of how to read it is the first one's.
struct SecondCapture {
  std::string name;  ///< empty: there is none
  std::string meta;
  std::string log;
};

/// Adds B, --meta-b and --log-b. Returns the operand.
Option add_second_capture(Options &options, SecondCapture &second, const std::string &help);

/// How to read the second capture.
CaptureOptions read_like(const CaptureOptions &first, const SecondCapture &second);

/// Adds an option that takes a frame's number or a time.
Option add_position_option(Options &options, const std::string &name, std::optional<Position> &position,
                           const std::string &help);

/// Adds an option that takes a rate: "25", "29.97" or "30000/1001".
Option add_rate_option(Options &options, const std::string &name, std::optional<Rate> &rate, const std::string &help);

/// Adds an option that takes "1", "0.5" or "1%": percent, from 0 to 1 000 000.
Option add_percent_option(Options &options, const std::string &name, std::optional<double> &percent,
                          const std::string &help);

/// Adds an option that takes a whole number.
Option add_count_option(Options &options, const std::string &name, std::optional<std::uint64_t> &count,
                        const std::string &help);

/// Adds --json.
Option add_json_option(Options &options, bool &json);

/// Adds -o and --force of the commands that write a file.
struct OutputOptions {
  std::string path;
  bool force = false;
};
void add_output_options(Options &options, OutputOptions &output, const std::string &help);

}  // namespace frames

#endif
