// Recordings: CBOR both ways, and files that are none.
#include <gtest/gtest.h>

#include <limits>
#include <set>

#include "formats/cbor.h"
#include "formats/cbor_item.h"
#include "formats/recording_reader.h"
#include "formats/recording_text.h"
#include "formats/xxh64.h"
#include "tests/support/files.h"

using formats::CborEnd;
using formats::RecordedValue;

namespace {

struct StringSink {
  std::string text;
  void put(const void *bytes, std::size_t count) { text.append(static_cast<const char *>(bytes), count); }
};

std::span<const std::uint8_t> bytes_of(const std::string &text) {
  return {reinterpret_cast<const std::uint8_t *>(text.data()), text.size()};
}

std::string raw(std::initializer_list<int> bytes) {
  std::string text;
  for (const int byte : bytes)
    text.push_back(static_cast<char>(byte));
  return text;
}

template <typename Number>
std::string number(Number value) {
  StringSink sink;
  formats::put_cbor_number(sink, value);
  return sink.text;
}

/// The smallest beginning of a recording.
std::string head(int version = 1) {
  return raw({0xA1, 0x6D}) + "zel-recording" + raw({version});
}

/// What reading a file of these bytes to its end says; "" when nothing is wrong.
std::string read_all(const std::string &bytes, std::size_t *items = nullptr, bool *is_cut = nullptr) {
  const TempFolder folder;
  write_file(folder.path() / "a.zrec", bytes);
  try {
    formats::RecordingReader reader(folder / "a.zrec");
    std::size_t count = 0;
    while (reader.next())
      ++count;
    if (items != nullptr) *items = count;
    if (is_cut != nullptr) *is_cut = reader.is_cut();
  } catch (const formats::RecordingFault &fault) {
    const std::string text = fault.what();
    return text.substr(text.find("a.zrec"));
  }
  return "";
}

}  // namespace

// Catches numbers that other readers of CBOR take for others: the examples of RFC 8949, appendix A.
TEST(Cbor, Numbers) {
  EXPECT_EQ(number(0), raw({0x00}));
  EXPECT_EQ(number(23), raw({0x17}));
  EXPECT_EQ(number(24), raw({0x18, 0x18}));
  EXPECT_EQ(number(1000), raw({0x19, 0x03, 0xE8}));
  EXPECT_EQ(number(1000000), raw({0x1A, 0x00, 0x0F, 0x42, 0x40}));
  EXPECT_EQ(number(std::numeric_limits<std::uint64_t>::max()),
            raw({0x1B, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}));
  EXPECT_EQ(number(-1), raw({0x20}));
  EXPECT_EQ(number(-1000), raw({0x39, 0x03, 0xE7}));
  StringSink sink;
  formats::put_cbor_double(sink, -4.1);
  EXPECT_EQ(sink.text, raw({0xFB, 0xC0, 0x10, 0x66, 0x66, 0x66, 0x66, 0x66, 0x66}));
}

// Catches items whose end is found elsewhere, and what would be taken for a part of an item.
TEST(Cbor, Extents) {
  const std::string whole = raw({0xBF, 0x61, 'a', 0x82, 0x01, 0x43, 1, 2, 3, 0xFF});
  for (std::size_t size = 1; size < whole.size(); ++size)
    EXPECT_EQ(formats::cbor_item_extent(bytes_of(whole.substr(0, size))).end, CborEnd::kBehind) << size;
  const formats::CborExtent extent = formats::cbor_item_extent(bytes_of(whole + "rest"));
  EXPECT_EQ(extent.end, CborEnd::kFound);
  EXPECT_EQ(extent.size, whole.size());
  for (const std::string &wrong : {raw({0xFF}), raw({0xC0, 0x00}), raw({0x7F, 0x61, 'a', 0xFF}), raw({0x1C}),
                                   raw({0xA1, 0x01, 0x02}), raw({0xBF, 0x61, 'a', 0xFF}), raw({0xF7})}) {
    EXPECT_EQ(formats::cbor_item_extent(bytes_of(wrong)).end, CborEnd::kNone) << testing::PrintToString(wrong);
  }
}

// Catches nesting that ends the stack: of arrays, maps and texts in parts.
TEST(Cbor, DeepNestingIsNotTaken) {
  for (const int byte : {0x81, 0x9F, 0x7F, 0x5F, 0xC1})
    EXPECT_EQ(formats::cbor_item_extent(bytes_of(std::string(1'000'000, static_cast<char>(byte)))).end, CborEnd::kNone);
  std::string maps;
  for (int i = 0; i < 100'000; ++i)
    maps += raw({0xA1, 0x61, 'a'});
  EXPECT_EQ(formats::cbor_item_extent(bytes_of(maps)).end, CborEnd::kNone);
  const std::string deepest = std::string(formats::kCborDepth, '\x81') + raw({0});
  EXPECT_EQ(formats::cbor_item_extent(bytes_of(deepest)).end, CborEnd::kFound);
  EXPECT_TRUE(formats::parse_cbor_item(bytes_of(deepest)));
}

// Catches a hash that is not XXH64: values that every implementation gives, around each length at which it changes.
TEST(Xxh64, KnownValues) {
  const auto hash = [](const std::string &text) { return formats::xxh64(bytes_of(text).data(), text.size()); };
  EXPECT_EQ(hash(""), 0xEF46DB3751D8E999U);
  EXPECT_EQ(hash("a"), 0xD24EC4F1A98C6E5BU);
  EXPECT_EQ(hash("abc"), 0x44BC2CF5AD770999U);
  EXPECT_EQ(hash("Nobody inspects the spammish repetition"), 0xFBCEA83C8A378BF1U);
}

// Catches a row of the table that says of a call what its declaration does not: a name twice, an unknown letter.
TEST(RecordedCalls, Table) {
  std::set<std::string_view> names;
  for (const formats::RecordedCall &row : formats::kRecordedCalls) {
    EXPECT_TRUE(names.insert(row.name).second) << row.name;
    EXPECT_EQ(row.arguments.find_first_not_of("msbBkKiudpqvre"), std::string_view::npos) << row.name;
    EXPECT_NE(std::string_view("msbiudvctQD-").find(row.result), std::string_view::npos) << row.name;
  }
  EXPECT_EQ(names.size(), 61U);
}

// Catches files that are no recordings and are taken for some, and messages that do not say where.
TEST(RecordingReader, RefusesWhatIsNone) {
  EXPECT_EQ(read_all(""), "a.zrec: is empty: no program with a libzel.so.1 was recorded into it");
  EXPECT_EQ(read_all("no recording"), "a.zrec: not a recording of zel-record");
  EXPECT_EQ(read_all(raw({0xFF})), "a.zrec: byte 0: no item of a recording");
  EXPECT_EQ(read_all(raw({0xA1, 0x61, 'a', 0x01})), "a.zrec: not a recording of zel-record");
  EXPECT_EQ(read_all(head(2)), "a.zrec: a recording of version 2, which is not known here");
  EXPECT_EQ(read_all(head() + raw({0x01})), "a.zrec: byte 16: no item of a recording");
  EXPECT_EQ(read_all(head() + head()), "a.zrec: byte 32: a second beginning");
  EXPECT_EQ(read_all(head() + raw({0xA1, 0x64}) + "call" + raw({0x61, 'x'})),
            "a.zrec: byte 16: a call that is not known");
  EXPECT_EQ(read_all(head() + raw({0xA2, 0x64}) + "call" + raw({0x71}) + "zel_stream_get_id" + raw({0x64}) + "with" +
                     raw({0x81, 0x61, 's'})),
            "a.zrec: byte 16: not as zel_stream_get_id is written down");
  EXPECT_EQ(read_all(head() + std::string(1000, '\x81')), "a.zrec: byte 16: no item of a recording");
}

// Catches a last item that is cut off and ends the reading, or counts.
TEST(RecordingReader, LeavesOutACutItem) {
  const std::string item = raw({0xA1, 0x67}) + "release" + raw({0x05});
  std::size_t items = 0;
  bool is_cut = false;
  EXPECT_EQ(read_all(head() + item + item, &items, &is_cut), "");
  EXPECT_EQ(items, 2U);
  EXPECT_FALSE(is_cut);
  EXPECT_EQ(read_all(head() + item + item.substr(0, 6), &items, &is_cut), "");
  EXPECT_EQ(items, 1U);
  EXPECT_TRUE(is_cut);
  // A length that lies is a cut item too: nothing is known of what was meant.
  EXPECT_EQ(
      read_all(head() + item + raw({0x5B, 0x7F, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}) + item, &items, &is_cut),
      "");
  EXPECT_EQ(items, 1U);
  EXPECT_TRUE(is_cut);
}

// Catches a first item whose key is another kind's, and kinds that a later version may have.
TEST(RecordingReader, SkipsKindsThatItDoesNotKnow) {
  std::size_t items = 0;
  EXPECT_EQ(read_all(head() + raw({0xA1, 0x66}) + "future" + raw({0x01}), &items), "");
  EXPECT_EQ(items, 1U);
}

// Catches texts that break the line, and objects that are shown as plain numbers.
TEST(RecordingText, Calls) {
  const auto &set = formats::kRecordedCalls[formats::call_number("zel_map_set_string")];
  const std::vector<RecordedValue> arguments = {{std::uint64_t{3}}, {std::string("a\"b")}, {std::string("x\ny\x01")}};
  EXPECT_EQ(formats::call_text(set, arguments), R"(zel_map_set_string(map 3, "a\"b", "x\ny\x01"))");
  const auto &make = formats::kRecordedCalls[formats::call_number("zel_map_new")];
  EXPECT_EQ(formats::call_text(make, {}), "zel_map_new()");
}
