// Any bytes as a recording that is read to its end; what is refused is refused with one line.
#include <fstream>
#include <string>

#include "formats/recording_reader.h"
#include "formats/recording_text.h"
#include "input.h"
#include "tests/support/files.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  static const TempFolder folder;
  static const std::string path = folder / "a.zrec";
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(reinterpret_cast<const char *>(data), static_cast<std::streamsize>(size));
  file.close();
  try {
    formats::RecordingReader reader(path);
    while (const std::optional<formats::RecordingItem> item = reader.next()) {
      if (item->kind != formats::ItemKind::kCall) continue;
      const std::string text = formats::call_text(item->row(), item->arguments());
      require(text.starts_with(item->row().name), "a call is told by its name");
      require(item->row().result == '-' || !formats::result_text(*item).empty(), "a result is told");
    }
  } catch (const formats::RecordingFault &fault) {
    const std::string text = fault.what();
    require(!text.empty() && text.find('\n') == std::string::npos, "what is wrong is said in one line");
  }
  return 0;
}
