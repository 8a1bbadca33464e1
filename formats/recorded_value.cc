// Building the tree from what nlohmann-json's reader of CBOR says.
#include "formats/recorded_value.h"

#include <limits>
#include <nlohmann/json.hpp>
#include <utility>

#include "formats/cbor_item.h"

namespace formats {
namespace {

/// Takes the reader's events. One that returns false ends the reading.
class TreeBuilder : public nlohmann::json_sax<nlohmann::json> {
 public:
  bool null() override { return add(RecordedValue::Null{}); }
  bool boolean(bool value) override { return add(value); }
  bool number_integer(number_integer_t value) override {
    return value >= 0 ? add(static_cast<std::uint64_t>(value)) : add(std::int64_t{value});
  }
  bool number_unsigned(number_unsigned_t value) override { return add(std::uint64_t{value}); }
  bool number_float(number_float_t value, const string_t & /*text*/) override { return add(value); }
  bool string(string_t &value) override { return add(std::move(value)); }
  bool binary(binary_t &value) override { return add(RecordedValue::Bytes(value.begin(), value.end())); }
  bool start_object(std::size_t /*count*/) override { return begin(true); }
  bool start_array(std::size_t /*count*/) override { return begin(false); }
  bool end_object() override { return end(); }
  bool end_array() override { return end(); }
  bool key(string_t &value) override {
    open_.back().key = std::move(value);
    return true;
  }
  bool parse_error(std::size_t /*at*/, const std::string & /*token*/, const nlohmann::detail::exception &) override {
    return false;
  }

  std::optional<RecordedValue> take() { return std::move(result_); }

 private:
  /// An array or a map around the next value.
  struct Level {
    bool is_map;
    std::string key;  ///< of the next value
    RecordedValue::List list;
    RecordedValue::Fields fields;
  };

  template <typename Held>
  bool add(Held &&value) {
    if (open_.empty()) {
      result_.emplace(RecordedValue{std::forward<Held>(value)});
    } else if (open_.back().is_map) {
      open_.back().fields.push_back({std::move(open_.back().key), RecordedValue{std::forward<Held>(value)}});
    } else {
      open_.back().list.emplace_back(RecordedValue{std::forward<Held>(value)});
    }
    return true;
  }
  bool begin(bool is_map) {
    if (open_.size() == kCborDepth) return false;
    open_.push_back({is_map, {}, {}, {}});
    return true;
  }
  bool end() {
    Level level = std::move(open_.back());
    open_.pop_back();
    return level.is_map ? add(std::move(level.fields)) : add(std::move(level.list));
  }

  std::vector<Level> open_;
  std::optional<RecordedValue> result_;
};

}  // namespace

bool RecordedValue::operator==(const RecordedValue &other) const {
  return held == other.held;
}

std::optional<std::uint64_t> RecordedValue::as_unsigned() const {
  const auto *number = as<std::uint64_t>();
  return number != nullptr ? std::optional(*number) : std::nullopt;
}

std::optional<std::int64_t> RecordedValue::as_integer() const {
  if (const auto *number = as<std::int64_t>()) return *number;
  const auto *number = as<std::uint64_t>();
  if (number == nullptr || *number > std::uint64_t{std::numeric_limits<std::int64_t>::max()}) return std::nullopt;
  return static_cast<std::int64_t>(*number);
}

std::string RecordedValue::any_text() const {
  if (const auto *text = as<std::string>()) return *text;
  const auto *bytes = as<Bytes>();
  return bytes != nullptr ? std::string(bytes->begin(), bytes->end()) : std::string();
}

const RecordedValue *RecordedValue::find(std::string_view key) const {
  const auto *fields = as<Fields>();
  if (fields == nullptr) return nullptr;
  for (const auto &[name, value] : *fields) {
    if (name == key) return &value;
  }
  return nullptr;
}

std::optional<RecordedValue> parse_cbor_item(std::span<const std::uint8_t> item) {
  TreeBuilder builder;
  using Format = nlohmann::json::input_format_t;
  if (!nlohmann::json::sax_parse(item.data(), item.data() + item.size(), &builder, Format::cbor)) return std::nullopt;
  return builder.take();
}

}  // namespace formats
