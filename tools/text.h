// Changing texts.
#ifndef ZEL_CLIENT_TOOLS_TEXT_H
#define ZEL_CLIENT_TOOLS_TEXT_H

#include <string>
#include <string_view>

/// The text with each `what` in it replaced.
inline std::string replaced(std::string text, std::string_view what, std::string_view by) {
  for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + by.size()))
    text.replace(at, what.size(), by);
  return text;
}

#endif
