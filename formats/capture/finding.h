// What is wrong with a capture.
#ifndef ZEL_FORMATS_CAPTURE_FINDING_H
#define ZEL_FORMATS_CAPTURE_FINDING_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace formats {

/// One thing that the check of a capture tells.
struct Finding {
  std::string_view id;  ///< names the check: "trailer", "raw-size"; a limit's is its option's name. Static.
  std::string text;     ///< what is wrong, in words
  bool fails = true;    ///< false for a note
  std::optional<std::size_t> frame = std::nullopt;   ///< where, from 0
  std::optional<std::uint64_t> byte = std::nullopt;  ///< where, from the start of the first part
};

/// The findings in the order in which they were made. Of each id the first kMost are kept and the others counted, so
/// that a capture in which every frame is wrong stays readable.
class Findings {
 public:
  static constexpr std::size_t kMost = 1000;

  /// How often an id was found, kept or not; all findings of one id fail, or none does.
  struct Count {
    std::size_t found = 0;
    bool fails = false;
  };

  void add(Finding finding) {
    Count &count = counts_[finding.id];
    count.fails = finding.fails;
    any_fails_ = any_fails_ || finding.fails;
    if (++count.found <= kMost) kept_.push_back(std::move(finding));
  }

  const std::vector<Finding> &kept() const { return kept_; }
  const std::map<std::string_view, Count> &counts() const { return counts_; }
  bool any_fails() const { return any_fails_; }

 private:
  std::vector<Finding> kept_;
  std::map<std::string_view, Count> counts_;
  bool any_fails_ = false;
};

}  // namespace formats

#endif
