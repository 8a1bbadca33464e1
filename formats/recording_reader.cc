// Reading blocks, finding items, checking what they hold.
#include "formats/recording_reader.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

#include "formats/cbor_item.h"

namespace formats {
namespace {

constexpr std::size_t kBlock = std::size_t{256} * 1024;
constexpr std::size_t kLargestItem = std::size_t{64} * 1024 * 1024;  ///< no item of a recording is as large

constexpr std::array kKinds = {
    std::pair{kItemHead, ItemKind::kHead},       std::pair{kItemCall, ItemKind::kCall},
    std::pair{kItemPoll, ItemKind::kPoll},       std::pair{kItemSignal, ItemKind::kSignal},
    std::pair{kItemRelease, ItemKind::kRelease}, std::pair{kItemLost, ItemKind::kLost},
    std::pair{kItemEnd, ItemKind::kEnd},
};

bool is_text(const RecordedValue &value) {
  return value.as<std::string>() != nullptr;
}

bool is_list_of(const RecordedValue &value, std::size_t count, bool (*is_one)(const RecordedValue &)) {
  const auto *list = value.as<RecordedValue::List>();
  return list != nullptr && list->size() == count && std::all_of(list->begin(), list->end(), is_one);
}

bool is_half(const RecordedValue &value) {
  return value.as_unsigned().value_or(UINT64_MAX) <= UINT32_MAX;
}

bool is_id(const RecordedValue &value) {
  return value.is_null() || (is_half(value) && value.as_unsigned() != 0U);
}

bool is_any_text(const RecordedValue &value) {
  return value.is_null() || is_text(value) || value.as<RecordedValue::Bytes>() != nullptr;
}

bool is_error(const RecordedValue &value) {
  const RecordedValue *domain = value.find(kErrorDomain);
  const RecordedValue *code = value.find(kErrorCode);
  const RecordedValue *text = value.find(kErrorText);
  return domain != nullptr && is_any_text(*domain) && code != nullptr && code->as_integer() && text != nullptr &&
         is_any_text(*text);
}

bool is_variant(const RecordedValue &value) {
  const auto *list = value.as<RecordedValue::List>();
  return list != nullptr && list->size() == 2 && is_text((*list)[0]) &&
         (*list)[1].as<RecordedValue::Bytes>() != nullptr;
}

bool is_chunk(const RecordedValue &value) {
  const RecordedValue *size = value.find(kChunkSize);
  const RecordedValue *mark = value.find(kChunkMark);
  if (size == nullptr || !size->as_unsigned() || (mark != nullptr && !mark->as_integer())) return false;
  const RecordedValue *data = value.find(kChunkData);
  if (data == nullptr) return value.find(kChunkHash) != nullptr || value.find(kChunkAgain) != nullptr;
  const auto *bytes = data->as<RecordedValue::Bytes>();
  return data->is_null() || (bytes != nullptr && bytes->size() == size->as_unsigned());
}

bool is_enum_value(const RecordedValue &value) {
  const auto *list = value.as<RecordedValue::List>();
  return list != nullptr && list->size() == 3 && (*list)[0].as_integer() && is_text((*list)[1]) && is_text((*list)[2]);
}

bool is_type(const RecordedValue &value) {
  if (is_text(value) || value.is_null()) return true;
  const RecordedValue *name = value.find(kTypeName);
  const RecordedValue *values = value.find(kTypeValues);
  const auto *list = values != nullptr ? values->as<RecordedValue::List>() : nullptr;
  return name != nullptr && is_text(*name) && list != nullptr && std::all_of(list->begin(), list->end(), is_enum_value);
}

/// Whether the value is what a letter of RecordedCall stands for.
bool is_kind(char letter, const RecordedValue &value) {
  switch (letter) {
    case 'm':
    case 's':
    case 'b':
    case 'B':
      return is_id(value);
    case 'k':
    case 'Q':
    case 'D':
      return is_any_text(value);
    case 'K': {
      const auto *list = value.as<RecordedValue::List>();
      return list != nullptr && std::all_of(list->begin(), list->end(), is_any_text);
    }
    case 'i':
      return value.as_integer().has_value();
    case 'u':
      return value.as_unsigned().has_value();
    case 'd':
      return value.as<double>() != nullptr;
    case 'p':
      return is_list_of(value, 2, is_half);
    case 'q':
      return is_list_of(value, 4, is_half);
    case 'v':
      return value.is_null() || is_variant(value);
    case 'r':
      return value.is_null() || value.as_unsigned().has_value();
    case 'e':
      return value.is_null() || is_error(value);
    case 'c':
      return is_chunk(value);
    case 't':
      return is_type(value);
    default:
      return false;
  }
}

}  // namespace

const RecordedValue::List &RecordingItem::arguments() const {
  static const RecordedValue::List none;
  const RecordedValue *with = fields.find(kKeyWith);
  const auto *list = with != nullptr ? with->as<RecordedValue::List>() : nullptr;
  return list != nullptr ? *list : none;
}

std::optional<std::int64_t> RecordingItem::number(std::string_view key) const {
  const RecordedValue *value = fields.find(key);
  return value != nullptr ? value->as_integer() : std::nullopt;
}

std::string_view RecordingItem::text(std::string_view key) const {
  const RecordedValue *value = fields.find(key);
  const auto *held = value != nullptr ? value->as<std::string>() : nullptr;
  return held != nullptr ? std::string_view(*held) : std::string_view();
}

RecordingReader::RecordingReader(std::string path) : path_(std::move(path)), file_(std::fopen(path_.c_str(), "rbe")) {
  if (file_ == nullptr) throw RecordingFault(path_ + ": " + std::strerror(errno));
  std::optional<RecordingItem> first = read_item();
  if (!first && !is_cut_)
    throw RecordingFault(path_ + ": is empty: no program with a libzel.so.1 was recorded into it");
  if (!first || first->kind != ItemKind::kHead) throw RecordingFault(path_ + ": not a recording of zel-record");
  head_ = *std::move(first);
  const std::int64_t version = head_.number(kItemHead).value_or(0);
  if (version != kRecordingVersion)
    throw RecordingFault(path_ + ": a recording of version " + std::to_string(version) + ", which is not known here");
}

void RecordingReader::fail(const std::string &what) const {
  throw RecordingFault(path_ + ": byte " + std::to_string(offset_) + ": " + what);
}

/// Appends a block of the file. False at its end.
bool RecordingReader::read_more() {
  bytes_.erase(bytes_.begin(), bytes_.begin() + static_cast<std::ptrdiff_t>(begin_));
  begin_ = 0;
  const std::size_t before = bytes_.size();
  const std::size_t wanted = std::max(kBlock, before);
  bytes_.resize(before + wanted);
  const std::size_t taken = std::fread(bytes_.data() + before, 1, wanted, file_.get());
  bytes_.resize(before + taken);
  if (std::ferror(file_.get()) != 0) throw RecordingFault(path_ + ": " + std::strerror(errno));
  return taken != 0;
}

std::optional<RecordingItem> RecordingReader::read_item() {
  while (true) {
    const std::span rest = std::span(bytes_).subspan(begin_);
    const CborExtent extent = rest.empty() ? CborExtent{CborEnd::kBehind, 0} : cbor_item_extent(rest);
    if (extent.end == CborEnd::kNone) fail("no item of a recording");
    if (extent.end == CborEnd::kFound) {
      std::optional<RecordedValue> value = parse_cbor_item(rest.first(extent.size));
      if (!value) fail("no item of a recording");
      RecordingItem item = item_of(*std::move(value));
      begin_ += extent.size;
      offset_ += extent.size;
      return item;
    }
    if (rest.size() > kLargestItem) fail("an item that is too long");
    if (!read_more()) {
      is_cut_ = begin_ != bytes_.size();
      return std::nullopt;
    }
  }
}

std::optional<RecordingItem> RecordingReader::next() {
  std::optional<RecordingItem> item = read_item();
  if (item && item->kind == ItemKind::kHead) fail("a second beginning");
  return item;
}

RecordingItem RecordingReader::item_of(RecordedValue value) const {
  const auto *fields = value.as<RecordedValue::Fields>();
  if (fields == nullptr || fields->empty()) fail("no item of a recording");
  RecordingItem item;
  item.offset = offset_;
  const auto *kind =
      std::find_if(kKinds.begin(), kKinds.end(), [&](const auto &row) { return row.first == fields->front().name; });
  if (kind != kKinds.end()) item.kind = kind->second;
  item.fields = std::move(value);
  constexpr std::int64_t kLast = INT64_MAX / 2;  // of a time, so that two of them can be added
  item.thread = static_cast<std::uint32_t>(item.number(kKeyThread).value_or(0));
  item.at_ns = static_cast<std::uint64_t>(std::clamp<std::int64_t>(item.number(kKeyAt).value_or(0), 0, kLast));
  item.took_ns = static_cast<std::uint64_t>(std::clamp<std::int64_t>(item.number(kKeyTook).value_or(0), 0, kLast));
  if (item.kind == ItemKind::kCall) check_call(item);
  return item;
}

void RecordingReader::check_call(RecordingItem &item) const {
  item.call = call_number(item.text(kItemCall));
  if (item.call == kRecordedCalls.size()) fail("a call that is not known");
  const RecordedCall &row = item.row();
  const RecordedValue::List &arguments = item.arguments();
  const RecordedValue *gave = item.gave();
  const RecordedValue *error = item.fields.find(kKeyError);
  bool is_good = arguments.size() == row.arguments.size();
  for (std::size_t i = 0; is_good && i < arguments.size(); ++i)
    is_good = is_kind(row.arguments[i], arguments[i]);
  is_good = is_good && (row.result == '-' ? gave == nullptr : gave != nullptr && is_kind(row.result, *gave)) &&
            (error == nullptr || is_error(*error));
  if (!is_good) fail("not as " + std::string(row.name) + " is written down");
}

}  // namespace formats
