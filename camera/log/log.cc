// Log lines as JSON.
#include "log/log.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <nlohmann/json.hpp>

namespace camera {
namespace {

using Json = nlohmann::ordered_json;

struct ToJson {
  Json operator()(std::string_view text) const { return std::string(text); }
  Json operator()(const zel_pair32u &pair) const { return {pair.first, pair.second}; }
  Json operator()(const zel_quad32u &quad) const { return {quad.first, quad.second, quad.third, quad.fourth}; }
  Json operator()(std::span<const std::string_view> texts) const {
    Json list = Json::array();
    for (const std::string_view text : texts)
      list.push_back(std::string(text));
    return list;
  }
  Json operator()(const Values *values) const {
    Json object = Json::object();
    for (const auto &[key, value] : *values)
      object[key] = std::visit(*this, value);
    return object;
  }
  template <typename Plain>
  Json operator()(const Plain &plain) const {
    return plain;
  }
};

Json to_json(const LogValue &value) {
  return std::visit(ToJson(), value);
}

}  // namespace

Log::~Log() {
  if (descriptor_ >= 0) close(descriptor_);
}

bool Log::open(const std::string &path) {
  descriptor_ = ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
  return descriptor_ >= 0;
}

void Log::write(std::string_view kind, std::initializer_list<LogField> fields) {
  if (!is_open()) return;
  Json line = {{"kind", std::string(kind)}};
  for (const LogField &field : fields)
    line[std::string(field.name)] = to_json(field.value);
  const std::lock_guard lock(mutex_);
  write_line(line.dump(-1, ' ', false, Json::error_handler_t::replace));
}

void Log::write_call(std::string_view name, std::span<const LogField> arguments, const LogValue &result,
                     const LogFailure *failure) {
  if (!is_open()) return;
  Json args = Json::object();
  for (const LogField &field : arguments)
    args[std::string(field.name)] = to_json(field.value);
  Json line = {{"kind", "call"}, {"n", 0}, {"name", std::string(name)}, {"args", args}, {"result", to_json(result)}};
  if (failure != nullptr) {
    if (failure->error != nullptr) {
      line["error"] = {{"code", failure->error->code}, {"message", failure->error->message}};
    }
    const char *cause = strerrorname_np(failure->error_number);
    if (failure->error_number != 0 && cause != nullptr) line["errno"] = cause;
  }
  const std::lock_guard lock(mutex_);
  line["n"] = ++calls_;
  write_line(line.dump(-1, ' ', false, Json::error_handler_t::replace));
}

void Log::write_line(const std::string &line) {
  const std::string text = line + '\n';
  std::string_view rest = text;
  while (!rest.empty()) {
    const ssize_t written = ::write(descriptor_, rest.data(), rest.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return;  // a full disk must not disturb the stream
    rest.remove_prefix(static_cast<std::size_t>(written));
  }
}

}  // namespace camera
