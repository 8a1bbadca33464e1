// Results and notes of the commands that write files.
#include "frames/print/written.h"

#include <cstdio>
#include <string>

#include "frames/print/output.h"

namespace frames {

void print_written_json(const nlohmann::ordered_json &object) {
  print_written_line(object.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace));
}

void print_written_line(std::string_view line) {
  Output output;
  output.put(std::string(line) + "\n");
  output.flush();
}

void print_note(std::string_view text) {
  (void)std::fprintf(stderr, "zel-frames: %.*s\n", static_cast<int>(text.size()), text.data());
}

}  // namespace frames
