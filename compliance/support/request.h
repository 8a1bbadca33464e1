// The request that a stream is made from.
#ifndef ZEL_COMPLIANCE_REQUEST_H
#define ZEL_COMPLIANCE_REQUEST_H

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "common/owned.h"
#include "compliance/common/options.h"
#include "compliance/library/library.h"
#include "zel/zel.h"

namespace compliance {

/// A settings map with what zel-client asks for without options ("format", "frame.chunks" and "framerate.auto") and,
/// instead, what the command line asks of every stream. What a check sets replaces both.
class Request {
 public:
  Request();

  Request &set(const char *key, bool value);
  Request &set(const char *key, guint32 value);
  Request &set(const char *key, zel_pair32u value);

  zel_map *map() const { return map_.get(); }

 private:
  std::shared_ptr<zel_map> map_;
};

/// A setting whose value is the word of an enumeration.
struct Enumeration {
  const char *setting;  ///< empty: none, the library only tells values
  Entry<GType (*)()> Library::*type;
};
extern const std::vector<Enumeration> enumerations;

/// The number that the command line asks for under the key, which is an unsigned or a word; none when it does not.
std::optional<guint32> asked_number(const std::string &key);

}  // namespace compliance

#endif
