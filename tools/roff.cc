// Escapes of manual pages.
#include "roff.h"

std::string roff_text(std::string_view text) {
  std::string escaped;
  if (text.starts_with('.') || text.starts_with('\'')) escaped = "\\&";
  for (const char letter : text) {
    switch (letter) {
      case '\\':
        escaped += "\\e";
        break;
      case '-':
        escaped += "\\-";
        break;
      case '\'':
        escaped += "\\(aq";
        break;
      case '`':
        escaped += "\\(ga";
        break;
      case '^':
        escaped += "\\(ha";
        break;
      case '~':
        escaped += "\\(ti";
        break;
      default:
        escaped += letter;
    }
  }
  return escaped;
}
