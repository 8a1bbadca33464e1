// Messages between a check's process and the one that started it.
#include "compliance/runner/messages.h"

#include <unistd.h>

#include <cerrno>

#include "compliance/common/finding.h"

namespace compliance {
namespace {

int pipe_end = -1;  ///< of this process; -1: none

}  // namespace

void send_messages_to(int descriptor) {
  pipe_end = descriptor;
}

void send_message(MessageKind kind, const std::string &text) {
  const std::string message = static_cast<char>(kind) + text.substr(0, text.find('\0')) + '\0';
  std::size_t sent = 0;
  while (pipe_end >= 0 && sent < message.size()) {
    const ssize_t written = write(pipe_end, message.data() + sent, message.size() - sent);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return;
    sent += static_cast<std::size_t>(written);
  }
}

void note(const std::string &text) {
  send_message(kNote, text);
}

void MessageReader::take(const char *data, std::size_t size, Result &result) {
  pending_.append(data, size);
  for (std::size_t end = pending_.find('\0'); end != std::string::npos; end = pending_.find('\0')) {
    const char kind = pending_[0];
    const std::string text = end > 0 ? pending_.substr(1, end - 1) : "";
    pending_.erase(0, end + 1);
    if (kind == kFinding) result.findings.push_back(text);
    if (kind == kSkipped) result.reason = text;
    if (kind == kNote) result.notes.push_back(text);
    is_done_ = is_done_ || kind == kDone;
  }
}

}  // namespace compliance
