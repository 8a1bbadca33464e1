// The files of a page as they are built into the program: those of page/ and the library that draws the charts.
#ifndef ZEL_FRAMES_REPORT_EMBEDDED_H
#define ZEL_FRAMES_REPORT_EMBEDDED_H

#include <string_view>

namespace frames {

struct EmbeddedText {
  std::string_view text;
  std::string_view sha256;  ///< of the text, in hexadecimal
};

extern const EmbeddedText kPageTemplate;  ///< page.html, with @names@ to be replaced
extern const EmbeddedText kPageStyle;     ///< the library's style, then ours
extern const EmbeddedText kPageScript;    ///< ours
extern const EmbeddedText kChartScript;   ///< the library's
extern const EmbeddedText kChartLicence;  ///< the library's notice

}  // namespace frames

#endif
