// Any bytes as a recording that is read to its end, as text and for a replay; what is refused is refused with one line.
#include <fstream>
#include <numeric>
#include <stdexcept>
#include <string>

#include "formats/recording_reader.h"
#include "formats/recording_text.h"
#include "input.h"
#include "replay/recorded_run.h"
#include "tests/support/files.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  static const TempFolder folder;
  static const std::string path = folder / "a.zrec";
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(reinterpret_cast<const char *>(data), static_cast<std::streamsize>(size));
  file.close();
  const auto read = [](const auto &reading) {
    try {
      reading();
    } catch (const std::runtime_error &fault) {
      const std::string text = fault.what();
      require(!text.empty() && text.find('\n') == std::string::npos, "what is wrong is said in one line");
    }
  };
  read([] {
    formats::RecordingReader reader(path);
    while (const std::optional<formats::RecordingItem> item = reader.next()) {
      if (item->kind != formats::ItemKind::kCall) continue;
      const std::string text = formats::call_text(item->row(), item->arguments());
      require(text.starts_with(item->row().name), "a call is told by its name");
      require(item->row().result == '-' || !formats::result_text(*item).empty(), "a result is told");
    }
  });
  read([] {
    const camera::RecordedRun run(path);
    for (std::uint32_t object = 0; object < 20; ++object) {
      for (const camera::RecordedEvent &event : run.events_of(object)) {
        if (event.call == nullptr || event.call->row().result != 'c') continue;
        const camera::RecordedBytes bytes = run.bytes_of(*event.call);
        require(bytes.data == nullptr || std::accumulate(bytes.data, bytes.data + bytes.size, 0U) < UINT32_MAX,
                "the bytes of a chunk can be read");
      }
    }
  });
  return 0;
}
