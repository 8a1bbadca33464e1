// How arguments and results stand in the recording: each C type has a snapshot(), taken while the value is there, and
// an encode() of that.
#ifndef ZEL_RECORDER_VALUES_H
#define ZEL_RECORDER_VALUES_H

#include <bit>
#include <cstring>
#include <string_view>

#include "recorder/shim/objects.h"
#include "recorder/shim/recording.h"
#include "zel/zel.h"

namespace recorder {

static_assert(std::endian::native == std::endian::little, "variants stand in the file as they lie in memory");

// ---- Snapshots ---------------------------------------------------------------------------------------------------

/// An object; 0: null.
struct ObjectNumber {
  std::uint32_t id;
};

/// A text; null or any bytes.
struct Text {
  const gchar *text;
};

/// A reserved pointer.
struct Reserved {
  std::uintptr_t number;
};

/// An error's address. Calls leave it out of their arguments.
struct ErrorSlot {
  GError **slot;
};

/// An error; null: none.
struct Failure {
  const GError *error;
};

/// A variant that stays until it is encoded; null: none.
struct Variant {
  GVariant *variant;
};

/// A variant that the library may take over. One that is larger is told by its type alone.
struct VariantCopy {
  bool is_there = false;
  char type[32] = {};
  std::uint8_t bytes[64] = {};
  std::size_t size = 0;
};

inline ObjectNumber snapshot(const zel_map *map) {
  return {object_id(const_cast<zel_map *>(map))};
}
inline ObjectNumber snapshot(zel_stream *stream) {
  return {object_id(stream)};
}
inline ObjectNumber snapshot(zel_buffer *buffer) {
  return {object_id(buffer)};
}
inline ObjectNumber snapshot(zel_buffer **buffer) {
  return {buffer != nullptr ? object_id(*buffer) : 0};
}
inline Text snapshot(const gchar *text) {
  return {text};
}
inline Reserved snapshot(gpointer pointer) {
  return {reinterpret_cast<std::uintptr_t>(pointer)};
}
inline ErrorSlot snapshot(GError **slot) {
  return {slot};
}
VariantCopy snapshot(GVariant *variant);
template <std::integral Number>
Number snapshot(Number number) {
  return number;
}
inline double snapshot(double number) {
  return number;
}
inline zel_pair32u snapshot(zel_pair32u pair) {
  return pair;
}
inline zel_quad32u snapshot(zel_quad32u quad) {
  return quad;
}

// ---- Encoding ----------------------------------------------------------------------------------------------------

template <typename Sink>
void encode(Sink &sink, ObjectNumber object) {
  if (object.id == 0) {
    formats::put_cbor_byte(sink, formats::kCborNull);
  } else {
    formats::put_cbor_number(sink, object.id);
  }
}

template <typename Sink>
void encode(Sink &sink, Text text) {
  if (text.text == nullptr) {
    formats::put_cbor_byte(sink, formats::kCborNull);
    return;
  }
  const std::size_t length = std::strlen(text.text);
  if (g_utf8_validate(text.text, static_cast<gssize>(length), nullptr) != FALSE) {
    formats::put_cbor_text(sink, {text.text, length});
  } else {
    formats::put_cbor_bytes(sink, text.text, length);
  }
}

template <typename Sink>
void encode(Sink &sink, Reserved reserved) {
  if (reserved.number == 0) {
    formats::put_cbor_byte(sink, formats::kCborNull);
  } else {
    formats::put_cbor_number(sink, reserved.number);
  }
}

template <typename Sink>
void encode(Sink &sink, Failure failure) {
  if (failure.error == nullptr) {
    formats::put_cbor_byte(sink, formats::kCborNull);
    return;
  }
  formats::put_cbor_head(sink, formats::CborMajor::kMap, 3);
  formats::put_cbor_text(sink, formats::kErrorDomain);
  encode(sink, Text{g_quark_to_string(failure.error->domain)});
  put_field(sink, formats::kErrorCode, failure.error->code);
  formats::put_cbor_text(sink, formats::kErrorText);
  encode(sink, Text{failure.error->message});
}

template <typename Sink>
void encode_variant(Sink &sink, const char *type, const void *bytes, std::size_t size) {
  formats::put_cbor_head(sink, formats::CborMajor::kArray, 2);
  formats::put_cbor_text(sink, type);
  formats::put_cbor_bytes(sink, bytes, size);
}

template <typename Sink>
void encode(Sink &sink, Variant value) {
  if (value.variant == nullptr) {
    formats::put_cbor_byte(sink, formats::kCborNull);
    return;
  }
  encode_variant(sink, g_variant_get_type_string(value.variant), g_variant_get_data(value.variant),
                 g_variant_get_size(value.variant));
}

template <typename Sink>
void encode(Sink &sink, const VariantCopy &copy) {
  if (!copy.is_there) {
    formats::put_cbor_byte(sink, formats::kCborNull);
  } else {
    encode_variant(sink, copy.type, copy.bytes, copy.size);
  }
}

template <typename Sink, std::integral Number>
void encode(Sink &sink, Number number) {
  formats::put_cbor_number(sink, number);
}

template <typename Sink>
void encode(Sink &sink, double number) {
  formats::put_cbor_double(sink, number);
}

template <typename Sink>
void encode(Sink &sink, zel_pair32u pair) {
  formats::put_cbor_head(sink, formats::CborMajor::kArray, 2);
  for (const guint32 number : {pair.first, pair.second})
    formats::put_cbor_number(sink, number);
}

template <typename Sink>
void encode(Sink &sink, zel_quad32u quad) {
  formats::put_cbor_head(sink, formats::CborMajor::kArray, 4);
  for (const guint32 number : {quad.first, quad.second, quad.third, quad.fourth})
    formats::put_cbor_number(sink, number);
}

}  // namespace recorder

#endif
