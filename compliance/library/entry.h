// One function of the library, called through the pointer that was found under its name.
#ifndef ZEL_COMPLIANCE_ENTRY_H
#define ZEL_COMPLIANCE_ENTRY_H

#include <stdexcept>
#include <string>

namespace compliance {

/// Says that the library lacks the function.
class MissingFunction : public std::runtime_error {
 public:
  explicit MissingFunction(const char *name) : std::runtime_error(std::string(name) + " is missing from the library") {}
};

/// Notes what this process calls now, for the account of a crash or a hang. `name` stays valid.
void note_call(const char *name);

/// Every call is noted, and throws MissingFunction when there is no such function.
template <typename Pointer>
class Entry;

template <typename Result, typename... Arguments>
class Entry<Result (*)(Arguments...)> {
 public:
  using Pointer = Result (*)(Arguments...);

  explicit Entry(const char *name) : name_(name) {}
  const char *name() const { return name_; }
  void set(void *address) { pointer_ = reinterpret_cast<Pointer>(address); }

  Result operator()(Arguments... arguments) const {
    if (pointer_ == nullptr) throw MissingFunction(name_);
    note_call(name_);
    return pointer_(arguments...);
  }

 private:
  const char *name_;
  Pointer pointer_ = nullptr;
};

template <typename Result, typename... Arguments>
class Entry<Result (*)(Arguments..., ...)> {
 public:
  using Pointer = Result (*)(Arguments..., ...);

  explicit Entry(const char *name) : name_(name) {}
  const char *name() const { return name_; }
  void set(void *address) { pointer_ = reinterpret_cast<Pointer>(address); }

  template <typename... More>
  Result operator()(Arguments... arguments, More... more) const {
    if (pointer_ == nullptr) throw MissingFunction(name_);
    note_call(name_);
    return pointer_(arguments..., more...);
  }

 private:
  const char *name_;
  Pointer pointer_ = nullptr;
};

}  // namespace compliance

#endif
