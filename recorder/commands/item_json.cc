// Trees as JSON.
#include "recorder/commands/item_json.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "formats/xxh64.h"

namespace recorder {
namespace {

using Json = nlohmann::ordered_json;

struct ToJson {
  Json operator()(formats::RecordedValue::Null) const { return nullptr; }
  Json operator()(const auto &plain) const { return plain; }
  Json operator()(const formats::RecordedValue::Bytes &bytes) const {
    const std::string hash = fmt::format("{:016x}", formats::xxh64(bytes.data(), bytes.size()));
    return Json{{"size", bytes.size()}, {"xxh64", hash}};
  }
  Json operator()(const formats::RecordedValue::List &list) const {
    Json result = Json::array();
    for (const formats::RecordedValue &value : list)
      result.push_back(std::visit(*this, value.held));
    return result;
  }
  Json operator()(const formats::RecordedValue::Fields &fields) const {
    Json result = Json::object();
    for (const auto &[name, value] : fields)
      result[name] = std::visit(*this, value.held);
    return result;
  }
};

}  // namespace

std::string json_line(const formats::RecordedValue &fields) {
  return std::visit(ToJson(), fields.held).dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace recorder
