// Writing the table of settings as Markdown.
#include "settings/document.h"

#include "settings/table.h"

namespace camera {
namespace {

const char *kind_text(Kind kind) {
  switch (kind) {
    case Kind::kBoolean:
      return "boolean";
    case Kind::kUnsigned:
      return "unsigned";
    case Kind::kDouble:
      return "double";
    case Kind::kChoice:
      return "choice";
    case Kind::kText:
    case Kind::kWords:
      return "string";
    case Kind::kPair:
      return "pair";
    case Kind::kTriple:
      return "triple";
    case Kind::kQuad:
      return "quad";
  }
  return "";
}

}  // namespace

std::string settings_document() {
  std::string text = "| setting | kind | accepted values | default | effect |\n|---|---|---|---|---|\n";
  for (const Setting &setting : all_settings()) {
    text += std::string("| `") + setting.key + "` | " + kind_text(setting.kind) + " | " + accepted_text(setting) +
            " | " + default_text(setting) + " | " + setting.effect + " |\n";
  }
  return text;
}

}  // namespace camera
