// Reading a recording, item by item, whatever the file holds.
#ifndef ZEL_FORMATS_RECORDING_READER_H
#define ZEL_FORMATS_RECORDING_READER_H

#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "formats/recorded_value.h"
#include "formats/recording.h"

namespace formats {

/// A file that cannot be read or is no recording. The text is one line: the file, the place, what is wrong.
struct RecordingFault : std::runtime_error {
  using std::runtime_error::runtime_error;
};

enum class ItemKind : std::uint8_t { kHead, kCall, kPoll, kSignal, kRelease, kLost, kEnd, kOther };

/// One item. Of a call everything is there that its row of kRecordedCalls says, with values of those kinds.
struct RecordingItem {
  ItemKind kind = ItemKind::kOther;
  std::uint64_t offset = 0;  ///< in the file
  std::size_t call = 0;      ///< of a call: its row
  std::uint32_t thread = 0;
  std::uint64_t at_ns = 0;
  std::uint64_t took_ns = 0;
  RecordedValue fields;  ///< all of them

  const RecordedCall &row() const { return kRecordedCalls[call]; }
  /// The arguments of a call.
  const RecordedValue::List &arguments() const;
  /// The result of a call; null when it returns nothing.
  const RecordedValue *gave() const { return fields.find(kKeyGave); }
  std::optional<std::int64_t> number(std::string_view key) const;
  /// The text under a key; "" when there is none.
  std::string_view text(std::string_view key) const;
};

/// A recording that is being read. All failures throw RecordingFault.
class RecordingReader {
 public:
  /// Opens the file and reads its first item.
  explicit RecordingReader(std::string path);

  const RecordingItem &head() const { return head_; }

  /// The next item behind the first; none at the end, or at an item that is cut off.
  std::optional<RecordingItem> next();

  /// Whether the file ends within an item. Known once next() has given none.
  bool is_cut() const { return is_cut_; }

 private:
  struct CloseFile {
    void operator()(std::FILE *file) const { (void)std::fclose(file); }
  };

  std::optional<RecordingItem> read_item();
  bool read_more();
  RecordingItem item_of(RecordedValue value) const;
  void check_call(RecordingItem &item) const;
  [[noreturn]] void fail(const std::string &what) const;

  std::string path_;
  std::unique_ptr<std::FILE, CloseFile> file_;
  std::vector<std::uint8_t> bytes_;  ///< read and not taken yet, from begin_ on
  std::size_t begin_ = 0;
  std::uint64_t offset_ = 0;  ///< of begin_ in the file
  bool is_cut_ = false;
  RecordingItem head_;
};

}  // namespace formats

#endif
