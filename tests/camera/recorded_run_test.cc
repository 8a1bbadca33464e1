// Recordings that are made to be hard on a replay. What a replay does with real ones is tested on the client.
#include "replay/recorded_run.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/support/files.h"

namespace {

using nlohmann::ordered_json;  // the first key says what an item is

using Bytes = std::vector<std::uint8_t>;

/// The items behind a beginning.
Bytes recording_of(const std::vector<ordered_json> &items) {
  Bytes bytes = ordered_json::to_cbor({{"zel-recording", 1}});
  for (const ordered_json &item : items)
    ordered_json::to_cbor(item, bytes);
  return bytes;
}

ordered_json chunk_call(const ordered_json &chunk) {
  return {
      {"call", "zel_frame_take_chunk"}, {"thread", 1}, {"at", 0}, {"with", ordered_json::array({7})}, {"gave", chunk}};
}

/// What a replay of these items says; "" when it takes them.
std::string refusal(const std::vector<ordered_json> &items) {
  const TempFolder folder;
  const Bytes bytes = recording_of(items);
  write_file(folder / "a.zrec", std::string(bytes.begin(), bytes.end()));
  try {
    const camera::RecordedRun run(folder / "a.zrec");
  } catch (const std::runtime_error &fault) {
    return std::string(fault.what()).substr(folder.path().string().size() + 1);
  }
  return "";
}

}  // namespace

// Catches a replay that ends the program with a signal for which there are no handlers.
TEST(RecordedRun, RefusesSignalsThatNoHandlerGets) {
  for (const int number : {-1, 0, 9, 19, 65, 1000}) {
    EXPECT_EQ(refusal({{{"signal", number}, {"thread", 1}, {"at", 0}}}),
              "a.zrec: a handler that gets signal " + std::to_string(number));
  }
  EXPECT_EQ(refusal({{{"signal", 2}, {"thread", 1}, {"at", 0}}}), "");
}

// Catches a search for bytes that goes from chunk to chunk until the stack ends.
TEST(RecordedRun, FindsBytesThatAreReferredToManyTimes) {
  const Bytes first = recording_of({chunk_call({{"size", 3}, {"data", ordered_json::binary({1, 2, 3})}})});
  std::string bytes(first.begin(), first.end());
  const Bytes later =
      ordered_json::to_cbor(chunk_call({{"size", 3}, {"again", 1U << 16U}}));  // ends with 4 bytes of it
  for (std::uint32_t i = 0; i < 100'000; ++i) {
    bytes.append(later.begin(), later.end() - 4);
    for (const unsigned shift : {24U, 16U, 8U, 0U})
      bytes.push_back(static_cast<char>(i >> shift));
  }
  const TempFolder folder;
  write_file(folder / "a.zrec", bytes);
  const camera::RecordedRun run(folder / "a.zrec");
  ASSERT_EQ(run.events_of(7).size(), 100'001U);
  const camera::RecordedBytes found = run.bytes_of(*run.events_of(7).back().call);
  ASSERT_EQ(found.size, 3U);
  EXPECT_EQ(std::string(found.data, found.data + found.size), "\1\2\3");
}

// Catches memory that is taken because a file claims a size.
TEST(RecordedRun, RefusesChunksThatAreTooLarge) {
  EXPECT_EQ(refusal({chunk_call({{"size", (1U << 30U) + 1}, {"xxh64", 1}})}), "a.zrec: a chunk of 1073741825 bytes");
}

// Catches types that GLib complains about.
TEST(RecordedRun, RefusesTypesThatCannotBe) {
  const auto type_call = [](const std::string &name) {
    return ordered_json{{"call", "zel_format_get_type"},
                        {"thread", 1},
                        {"at", 0},
                        {"with", ordered_json::array()},
                        {"gave", {{"name", name}, {"values", ordered_json::array()}}}};
  };
  EXPECT_EQ(refusal({type_call("a b")}), "a.zrec: \"a b\" is no type's name");
  EXPECT_EQ(refusal({type_call("ab")}), "a.zrec: \"ab\" is no type's name");
  EXPECT_EQ(refusal({type_call("1bc")}), "a.zrec: \"1bc\" is no type's name");
  EXPECT_EQ(refusal({type_call("abc")}), "");
}
