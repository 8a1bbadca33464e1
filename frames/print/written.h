// What the commands that write files say on standard output.
#ifndef ZEL_FRAMES_PRINT_WRITTEN_H
#define ZEL_FRAMES_PRINT_WRITTEN_H

#include <nlohmann/json.hpp>
#include <string_view>

namespace frames {

/// Prints the object as one line. Bytes of a file's name that are no UTF-8 are replaced.
void print_written_json(const nlohmann::ordered_json &object);

/// Prints a line, to which a newline is added.
void print_written_line(std::string_view line);

/// Prints the line "zel-frames: …" to standard error: what a user should know of a command that goes on.
void print_note(std::string_view text);

}  // namespace frames

#endif
