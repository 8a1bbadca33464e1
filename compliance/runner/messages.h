// What a check's process tells the one that started it: messages through a pipe, each a kind, a text and a zero.
#ifndef ZEL_COMPLIANCE_MESSAGES_H
#define ZEL_COMPLIANCE_MESSAGES_H

#include <string>

#include "compliance/runner/result.h"

namespace compliance {

/// The first byte of a message.
enum MessageKind : char {
  kFinding = 'f',
  kSkipped = 's',
  kNote = 'n',
  kDone = 'd',  ///< the check has come to its end
};

/// Where send_message() writes from now on.
void send_messages_to(int descriptor);

/// Does nothing in a process without such a pipe. A zero in the text ends it.
void send_message(MessageKind kind, const std::string &text);

/// Collects messages as they arrive in pieces.
class MessageReader {
 public:
  /// Takes what was read. Whole messages are entered into the result.
  void take(const char *data, std::size_t size, Result &result);
  bool is_done() const { return is_done_; }

 private:
  std::string pending_;
  bool is_done_ = false;
};

}  // namespace compliance

#endif
