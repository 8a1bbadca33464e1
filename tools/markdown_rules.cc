// The constructs that are refused, as patterns.
#include "markdown_rules.h"

#include <algorithm>
#include <regex>
#include <span>
#include <vector>

namespace {

struct Rule {
  const char *pattern;
  const char *what;
};

/// Of one line outside code. Each is tried at the line's start only.
constexpr Rule kLineRules[] = {
    {R"(.*\t)", "a tab"},
    {R"(.*( |\\)$)", "a space or a backslash at the end of a line"},
    {R"( *#{4})", "a heading below the third level"},
    {R"( +#{1,3} |#{1,3}[^# ]|#{1,3} *$)", "a heading that is no \"# \" and text"},
    {R"( *[*+] )", "a list with * or +"},
    {R"( +- )", "a list that is indented"},
    {R"( *[0-9]+[.)] )", "a numbered list"},
    {R"( *>)", "a quote"},
    {R"( *~~~| +```)", "a fence that is no ``` at the start of the line"},
    {R"( *(-+|=+)$| *([-*_] ?){3,}$)", "a rule or an underlined heading"},
    {R"( *\[[^\]]*\]:)", "a definition of a link or a footnote"},
    {R"(<!--(?!.*-->$))", "a comment of several lines"},
    {R"( *:?-+:? *\|[-:| ]*$| +\|)", "a table whose rows do not begin with |"},
};

/// Of a text without its code and its links.
constexpr Rule kTextRules[] = {
    {R"(\*[^\s*]([^]*[^\s*])?\*)", "bold or italic text"},
    {R"((^|[^A-Za-z0-9_])_+[^\s_]([^]*[^\s_])?_+($|[^A-Za-z0-9_]))", "bold or italic text"},
    {"``", "code in more than one backtick"},
    {"`", "a backtick that nothing closes"},
    {"~~", "struck text"},
    {R"(!\[)", "an image"},
    {R"(\[\^|\]\[|\]\()", "a footnote or a link that is no [text](target)"},
    {R"(\\[!-/:-@\[-`{-~])", "a backslash that hides a character"},
    {"&#?[A-Za-z0-9]+;", "a character by its name"},
    {"<[A-Za-z/!?]", "HTML"},
};

struct CompiledRule {
  std::regex pattern;
  const char *what;
};

template <std::size_t size>
std::vector<CompiledRule> compiled(const Rule (&rules)[size]) {
  std::vector<CompiledRule> list;
  for (const Rule &rule : rules)
    list.push_back({.pattern = std::regex(rule.pattern), .what = rule.what});
  return list;
}

}  // namespace

std::string without_code(std::string_view text) {
  std::string result(text);
  const auto hide = [&result](std::size_t from, std::size_t to) {
    for (char &letter : std::span(result).subspan(from, to - from))
      letter = letter == '\n' ? '\n' : 'x';
  };
  for (std::size_t open = result.find('`'); open != std::string::npos; open = result.find('`', open + 1)) {
    const std::size_t close = result.find('`', open + 1);
    if (close == std::string::npos || close == open + 1) break;  // for the rules to refuse
    hide(open, close + 1);
    open = close;
  }
  for (std::size_t middle = result.find("]("); middle != std::string::npos; middle = result.find("](", middle + 1)) {
    const std::size_t open = middle > 0 ? result.find_last_of("[]", middle - 1) : std::string::npos;
    const std::size_t close = result.find(')', middle);
    const bool image = open != std::string::npos && open > 0 && result[open - 1] == '!';
    if (open == std::string::npos || result[open] != '[' || close == std::string::npos || image) continue;
    hide(open, open + 1);
    hide(middle, close + 1);
  }
  return result;
}

std::optional<MarkdownFault> line_fault(const std::string &line) {
  static const std::vector<CompiledRule> rules = compiled(kLineRules);
  for (const CompiledRule &rule : rules) {
    if (std::regex_search(line, rule.pattern, std::regex_constants::match_continuous)) {
      return MarkdownFault{.line = 0, .what = rule.what};
    }
  }
  return std::nullopt;
}

std::optional<MarkdownFault> text_fault(const std::string &text) {
  static const std::vector<CompiledRule> rules = compiled(kTextRules);
  const std::string searched = without_code(text);
  for (const CompiledRule &rule : rules) {
    std::smatch match;
    if (!std::regex_search(searched, match, rule.pattern)) continue;
    const auto lines = std::count(searched.cbegin(), match[0].first, '\n');
    return MarkdownFault{.line = static_cast<std::size_t>(lines), .what = rule.what};
  }
  return std::nullopt;
}
