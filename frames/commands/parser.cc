// Everything that talks to CLI11 but the layout of the help.
#include "frames/commands/parser.h"

#include "frames/commands/help.h"
#include "frames/commands/options.h"
#include "frames/common/unusable.h"
#include "zel-version.h"

namespace frames {
namespace {

std::string without_command(const std::vector<std::string> &words) {
  return words.empty() ? "no command: zel-frames --help lists them"
                       : words.front() + " is no command: zel-frames --help lists them";
}

}  // namespace

Option &Option::required() {
  option_->required();
  return *this;
}

Option &Option::group(const std::string &heading) {
  option_->group(heading);
  return *this;
}

Option &Option::needs(const Option &other) {
  option_->needs(other.option_);
  return *this;
}

Option &Option::excludes(const std::string &name) {
  option_->excludes(name);
  return *this;
}

Option Options::flag(const std::string &name, bool &given, const std::string &help) {
  return Option(app_.add_flag(name, given, help));
}

Option Options::file(const std::string &name, std::string &path, const std::string &help) {
  return Option(app_.add_option(name, path, help)->type_name("FILE"));
}

Option Options::files(const std::string &name, std::vector<std::string> &paths, const std::string &help) {
  return Option(app_.add_option(name, paths, help)->type_name("FILE")->allow_extra_args(false));
}

Option Options::value(const std::string &name, const std::string &type, const Parse &parse, const std::string &help) {
  return Option(app_.add_option_function<std::string>(name, parse, help)->type_name(type));
}

Option Options::operand(const std::string &name, std::string &text, const std::string &help) {
  return Option(app_.add_option(name, text, help));
}

std::unique_ptr<CLI::App> make_app(Run &run) {
  auto app = std::make_unique<CLI::App>(
      "Lists, measures, checks, repairs, cuts, converts, shows and compares what zel-client captured.", "zel-frames");
  app->formatter(std::make_shared<HelpFormatter>());
  app->set_help_flag("-h,--help", "Print this help");
  app->set_version_flag("--version", "zel-frames " ZEL_VERSION, "Print the version");
  app->footer(help_footer());
  app->require_subcommand(1);
  for (const Command &command : commands()) {
    CLI::App *parser = app->add_subcommand(command.name, command.purpose);
    parser->footer(help_footer(command));
    Options options(*parser);
    parser->callback([&run, chosen = command.add(options)] { run = chosen; });
  }
  return app;
}

Run parse_command_line(int argc, char **argv) {
  Run run;
  const auto app = make_app(run);
  try {
    app->parse(argc, argv);
  } catch (const CLI::Success &asked) {  // --help, --version
    const int status = app->exit(asked);
    return [status] { return status; };
  } catch (const CLI::ParseError &error) {
    throw Unusable(app->get_subcommands().empty() ? without_command(app->remaining()) : error.what());
  }
  return run;
}

}  // namespace frames
