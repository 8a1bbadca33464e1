// Appending whole items, and replacing the file by one without the middle.
#include "recorder/shim/file_limit.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>

#include "recorder/shim/recording.h"

namespace recorder {
namespace {

// Parts of the limit. The new file is written beside the old one: together they are within it.
constexpr std::uint64_t kParts = 100;
constexpr std::uint64_t kFull = 60;       ///< the file is replaced at this size ...
constexpr std::uint64_t kBeginning = 15;  ///< ... by its beginning ...
constexpr std::uint64_t kNewest = 24;     ///< ... and so much of its end

SmallItem item_of(const LostItems &lost) {
  SmallItem item;
  formats::put_cbor_byte(item, formats::kCborOpenMap);
  put_field(item, formats::kItemLost, lost.items);
  put_field(item, formats::kKeyBytes, lost.bytes);
  put_field(item, formats::kKeyAt, lost.at_ns);
  put_field(item, formats::kKeyUntil, lost.until_ns);
  formats::put_cbor_byte(item, formats::kCborBreak);
  return item;
}

}  // namespace

void LimitedFile::open(int descriptor, const char *path, std::uint64_t limit) {
  descriptor_ = descriptor;
  path_ = path;
  limit_ = limit;
}

bool LimitedFile::append(const iovec *pieces, unsigned count, std::uint64_t items) {
  std::uint64_t bytes = 0;
  for (unsigned i = 0; i < count; ++i)
    bytes += pieces[i].iov_len;
  if (limit_ != 0) {
    const std::uint64_t full = limit_ / kParts * kFull;
    if (size_ + bytes > full && !give_up_the_middle()) return false;
    if (size_ + bytes > full) return append_lost({items, bytes, elapsed_ns(), elapsed_ns()});
    note_mark();
  }
  if (!write_all(pieces, count)) return fail();
  size_ += bytes;
  items_ += items;
  return true;
}

bool LimitedFile::append_lost(const LostItems &lost) {
  SmallItem item = item_of(lost);
  const iovec piece = {item.bytes, item.size};
  if (!write_all(&piece, 1)) return fail();
  size_ += item.size;
  ++items_;
  return true;
}

void LimitedFile::close() {
  (void)::close(descriptor_);
}

bool LimitedFile::write_all(const iovec *pieces, unsigned count) {
  std::size_t done = 0;  // of the first piece
  while (count != 0) {
    const bool is_begun = done != 0;
    const ssize_t written =
        is_begun ? write(descriptor_, static_cast<const char *>(pieces->iov_base) + done, pieces->iov_len - done)
                 : writev(descriptor_, pieces, static_cast<int>(count));
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return false;
    done += static_cast<std::size_t>(written);
    while (count != 0 && done >= pieces->iov_len) {
      done -= pieces->iov_len;
      ++pieces;
      --count;
    }
  }
  return true;
}

/// One line, written at once: standard error may be the program's terminal.
bool LimitedFile::fail() {
  const int number = errno;
  char line[PATH_MAX + 128];
  char words[128];
  const char *reason = strerror_r(number, words, sizeof words);
  const int length = snprintf(line, sizeof line, "zel-record: %s: %s; the recording ends here\n", path_, reason);
  if (length > 0) (void)!write(STDERR_FILENO, line, static_cast<std::size_t>(length));
  (void)!ftruncate(descriptor_, static_cast<off_t>(size_));
  return false;
}

/// Remembers places from which the newest part may begin, evenly over the file.
void LimitedFile::note_mark() {
  if (size_ <= limit_ / kParts * kBeginning) beginning_ = {size_, items_, elapsed_ns()};
  const std::uint64_t last = mark_count_ == 0 ? beginning_.offset : marks_[mark_count_ - 1].offset;
  if (mark_count_ < kMarks && size_ >= last + limit_ / kMarks) marks_[mark_count_++] = {size_, items_, elapsed_ns()};
}

bool LimitedFile::copy(int target, std::uint64_t begin, std::uint64_t end) {
  static char block[64 * 1024];
  while (begin < end) {
    const std::size_t wanted = end - begin < sizeof block ? static_cast<std::size_t>(end - begin) : sizeof block;
    const ssize_t taken = pread(descriptor_, block, wanted, static_cast<off_t>(begin));
    if (taken <= 0) return false;
    for (ssize_t done = 0; done < taken;) {
      const ssize_t written = write(target, block + done, static_cast<std::size_t>(taken - done));
      if (written < 0) return false;
      done += written;
    }
    begin += static_cast<std::uint64_t>(taken);
  }
  return true;
}

bool LimitedFile::give_up_the_middle() {
  const std::uint64_t newest = limit_ / kParts * kNewest;
  unsigned first = 0;
  while (first < mark_count_ && (marks_[first].offset < beginning_.offset || marks_[first].offset + newest < size_))
    ++first;
  const Mark begin = first < mark_count_ ? marks_[first] : Mark{size_, items_, elapsed_ns()};
  if (middle_.items == 0) middle_.at_ns = beginning_.at_ns;
  middle_.items += begin.items - beginning_.items;
  middle_.bytes += begin.offset - beginning_.offset;
  middle_.until_ns = begin.at_ns;
  SmallItem lost = item_of(middle_);

  char name[PATH_MAX];
  (void)snprintf(name, sizeof name, "%s~", path_);
  const int target = ::open(name, O_RDWR | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0666);
  if (target < 0) return fail();
  const bool written = copy(target, 0, beginning_.offset) &&
                       write(target, lost.bytes, lost.size) == static_cast<ssize_t>(lost.size) &&
                       copy(target, begin.offset, size_) && rename(name, path_) == 0;
  if (!written || dup3(target, descriptor_, O_CLOEXEC) < 0) {
    const int number = errno;
    (void)::close(target);
    (void)unlink(name);
    errno = number;
    return fail();
  }
  (void)::close(target);
  const std::uint64_t moved = begin.offset - beginning_.offset - lost.size;
  unsigned kept = 0;
  for (; first < mark_count_; ++first, ++kept) {
    marks_[kept] = marks_[first];
    marks_[kept].offset -= moved;
  }
  mark_count_ = kept;
  size_ -= moved;
  return true;
}

}  // namespace recorder
