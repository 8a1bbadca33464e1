// The calls about errors.
#include "common/errors.h"

#include "api/call.h"

using namespace camera;

ZEL_EXPORT GQuark zel_error_quark(void) {
  return run_call("zel_error_quark", CallKind::kOrdinary, kUnsigned, nullptr, {},
                  [](GError **) -> guint32 { return error_domain(); });
}

ZEL_EXPORT gboolean zel_error_is_expected(GError **error) {
  const GError *held = error != nullptr ? *error : nullptr;
  const std::string_view message = held != nullptr ? held->message : "";
  return run_call("zel_error_is_expected", CallKind::kOrdinary, kTruth, nullptr,
                  {{"code", std::int64_t{held != nullptr ? held->code : 0}}, {"message", message}},
                  [&](GError **) -> gboolean { return is_expected(held) ? TRUE : FALSE; });
}
