// An error slot that a test owns.
#ifndef ZEL_CLIENT_TESTS_SUPPORT_ERROR_SLOT_H
#define ZEL_CLIENT_TESTS_SUPPORT_ERROR_SLOT_H

#include <string>

#include "zel/zel.h"

/// Frees its error at the end of the test.
class ErrorSlot {
 public:
  ErrorSlot() = default;
  ~ErrorSlot() { g_clear_error(&error_); }
  ErrorSlot(const ErrorSlot &) = delete;
  ErrorSlot &operator=(const ErrorSlot &) = delete;

  /// What an operation is given.
  GError **address() { return &error_; }

  /// The error that it left, or null.
  const GError *get() const { return error_; }

  /// "domain/code: message", or "none"; empties the slot for the next operation.
  std::string take() {
    std::string text = "none";
    if (error_ != nullptr) {
      text =
          std::string(g_quark_to_string(error_->domain)) + "/" + std::to_string(error_->code) + ": " + error_->message;
    }
    g_clear_error(&error_);
    return text;
  }

 private:
  GError *error_ = nullptr;
};

#endif
