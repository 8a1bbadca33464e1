// Putting the command line together.
#include "recorder/commands/parser.h"

#include <array>

#include "frames/commands/help.h"
#include "frames/common/unusable.h"
#include "recorder/options.h"

namespace recorder {
namespace {

using Add = Run (*)(frames::Options &);
constexpr std::array<Add, kReadCommands.size()> kAdds = {add_show, add_frames};
constexpr std::array kExamples = {
    "Which calls failed?\n  zel-record show --errors zel.zrec\n",
    "What the camera delivered, for zel-frames:\n  zel-record frames zel.zrec -o cap.h264\n"};
static_assert(kExamples.size() == kAdds.size());

}  // namespace

std::unique_ptr<CLI::App> make_app(Run &run) {
  auto app = std::make_unique<CLI::App>("Writes down every call between a program and libzel.", "zel-record");
  app->formatter(std::make_shared<frames::HelpFormatter>());
  app->set_help_flag();
  app->require_subcommand(1);
  for (const StartOption &option : kStartOptions) {
    const std::string letter = option.letter != 0 ? std::string("-") + option.letter + "," : "";
    const std::string name = letter + "--" + option.name;
    if (option.value == nullptr) {
      app->add_flag(name, option.help);
    } else {
      app->add_option(name, option.help)->type_name(option.value);
    }
  }
  for (std::size_t i = 0; i < kAdds.size(); ++i) {
    CLI::App *parser = app->add_subcommand(kReadCommands[i].name, kReadCommands[i].purpose);
    parser->set_help_flag("-h,--help", "Print this help");
    parser->footer(kExamples[i]);
    frames::Options options(*parser);
    parser->callback([&run, chosen = kAdds[i](options)] { run = chosen; });
  }
  return app;
}

Run parse_command_line(int argc, char **argv) {
  Run run;
  const auto app = make_app(run);
  try {
    app->parse(argc, argv);
  } catch (const CLI::Success &asked) {
    const int status = app->exit(asked);
    return [status] { return status; };
  } catch (const CLI::ParseError &error) {
    throw frames::Unusable(error.what());
  }
  return run;
}

}  // namespace recorder
