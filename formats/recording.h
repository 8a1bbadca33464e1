// A recording: every call that crossed between a program and libzel, in the order in which the calls returned.
//
// The file (docs/recording-format.md) is a CBOR sequence: data items one after the other, with nothing around them. The
// first says what was recorded; every other item is a map whose first key says what it is. A file that ends within an
// item was cut off there: the items before it are whole.
#ifndef ZEL_FORMATS_RECORDING_H
#define ZEL_FORMATS_RECORDING_H

#include <array>
#include <cstdint>
#include <string_view>

namespace formats {

inline constexpr std::uint32_t kRecordingVersion = 1;

// ---- The first key of an item, and what its value is -------------------------------------------------------------

inline constexpr std::string_view kItemHead = "zel-recording";  ///< the first item; the format's version
inline constexpr std::string_view kItemCall = "call";           ///< a call that returned; its name
inline constexpr std::string_view kItemPoll = "poll";        ///< a poll on a stream's descriptors; what poll() returned
inline constexpr std::string_view kItemSignal = "signal";    ///< a handler of the program got a signal; its number
inline constexpr std::string_view kItemRelease = "release";  ///< an object was finalised; its id
inline constexpr std::string_view kItemLost = "lost";        ///< items are missing here; how many
inline constexpr std::string_view kItemEnd = "end";          ///< the last item: what the program ended with, "exit"

// ---- The keys of the first item ----------------------------------------------------------------------------------

inline constexpr std::string_view kKeyLibrary = "library";    ///< text: the library's file
inline constexpr std::string_view kKeyMachine = "machine";    ///< text: as uname has it, "armv7l"
inline constexpr std::string_view kKeyBits = "bits";          ///< of a pointer there
inline constexpr std::string_view kKeyProgram = "program";    ///< array of texts: the command line
inline constexpr std::string_view kKeyPictures = "pictures";  ///< boolean: whether chunks have their bytes
inline constexpr std::string_view kKeyClock = "clock";        ///< ns: CLOCK_MONOTONIC where "at" is 0
inline constexpr std::string_view kKeyUtc = "utc";            ///< us since the Unix epoch, at the same moment

// ---- The keys of the other items ---------------------------------------------------------------------------------

inline constexpr std::string_view kKeyThread = "thread";  ///< which of the program's threads, from 1
inline constexpr std::string_view kKeyAt = "at";          ///< ns since the recording's start
inline constexpr std::string_view kKeyTook = "took";      ///< ns, until the call returned
inline constexpr std::string_view kKeyWith = "with";      ///< array: the arguments; the error's address is left out
inline constexpr std::string_view kKeyGave = "gave";      ///< the result; left out when the call returns nothing
inline constexpr std::string_view kKeySlot = "slot";      ///< text: kSlotNone or kSlotHeld; else left out
inline constexpr std::string_view kKeyError = "error";    ///< map: the error that the call left
inline constexpr std::string_view kKeyErrno = "errno";    ///< Linux's number, where the call changed it or failed
inline constexpr std::string_view kKeySet = "set";        ///< array of [id, is event's, events, revents], see kItemPoll
inline constexpr std::string_view kKeyTimes = "times";    ///< how many equal polls these are; left out when it is one
inline constexpr std::string_view kKeyDuring = "during";  ///< text: the call, or "poll", that the signal interrupted
inline constexpr std::string_view kKeyBytes = "bytes";    ///< how many bytes of items are missing
inline constexpr std::string_view kKeyUntil = "until";    ///< ns: when the last of them was lost
inline constexpr std::string_view kKeyStatus = "status";  ///< what the program exited with

// What the error slot of a call was, where that was not the address of a null pointer.
inline constexpr std::string_view kSlotNone = "none";  ///< a null pointer: the program wanted no error
inline constexpr std::string_view kSlotHeld = "held";  ///< there was an error already

// An error; also the argument of zel_error_is_expected.
inline constexpr std::string_view kErrorDomain = "domain";  ///< text
inline constexpr std::string_view kErrorCode = "code";
inline constexpr std::string_view kErrorText = "text";

// A chunk.
inline constexpr std::string_view kChunkSize = "size";
inline constexpr std::string_view kChunkMark = "mark";    ///< left out when it is 0
inline constexpr std::string_view kChunkData = "data";    ///< bytes; null: the program was given no pointer
inline constexpr std::string_view kChunkHash = "xxh64";   ///< instead of the bytes where pictures are left out
inline constexpr std::string_view kChunkAgain = "again";  ///< instead of the bytes: those of this chunk, from 0, of the
                                                          ///< same frame once more

// What a function that names a type gives, the first time; later the name alone, a text.
inline constexpr std::string_view kTypeName = "name";
inline constexpr std::string_view kTypeValues = "values";  ///< array of [number, name, nick]

/// What poll is called in "during".
inline constexpr std::string_view kDuringPoll = "poll";

// ---- The calls ---------------------------------------------------------------------------------------------------

/// What a call does to the object that its first argument is.
enum class CallClass : std::uint8_t {
  kStep,    ///< changes something: has its place in the object's order
  kGetter,  ///< only looks: may be made more or less often
  kFetch,   ///< the one when it gives something, the other when it gives nothing
};

/// A call of the interface. One letter for each argument, and for the result:
///     m map   s stream   b buffer or frame      an object's id, counted from 1 over all types; or null
///     B the address of a buffer                  the buffer's id, or null
///     k text                                     text; bytes when it is no UTF-8; null
///     K texts up to NULL                         array of these
///     i int   u unsigned   d double              numbers; a truth value is an int
///     p pair   q quad                            array of numbers
///     v variant                                  array of its type and its bytes (little-endian), or null
///     r reserved pointer                         null, or its number
///     e the address of an error                  map, see kErrorDomain; or null
///     c chunk   t type   Q error domain (text)   results only
///     D nothing; the text that the call printed  result only
///     - nothing                                  result only
struct RecordedCall {
  std::string_view name;
  std::string_view arguments;  ///< the error's address, which most calls take last, is left out
  char result;
  CallClass kind;
  bool can_fail = false;  ///< takes the address of an error
};

inline constexpr std::array kRecordedCalls = {
    RecordedCall{"zel_map_new", "", 'm', CallClass::kStep},
    RecordedCall{"zel_map_set_boolean", "mki", '-', CallClass::kStep},
    RecordedCall{"zel_map_set_uint32", "mku", '-', CallClass::kStep},
    RecordedCall{"zel_map_set_double", "mkd", '-', CallClass::kStep},
    RecordedCall{"zel_map_set_string", "mkk", '-', CallClass::kStep},
    RecordedCall{"zel_map_set_pair32u", "mkp", '-', CallClass::kStep},
    RecordedCall{"zel_map_set_quad32u", "mkq", '-', CallClass::kStep},
    RecordedCall{"zel_map_get_boolean", "mki", 'i', CallClass::kGetter},
    RecordedCall{"zel_map_get_uint32", "mku", 'u', CallClass::kGetter},
    RecordedCall{"zel_map_get_double", "mkd", 'd', CallClass::kGetter},
    RecordedCall{"zel_map_get_variant", "mkv", 'v', CallClass::kGetter},
    RecordedCall{"zel_map_contains_va", "mK", 'i', CallClass::kGetter},
    RecordedCall{"zel_map_copy_value", "mkk", '-', CallClass::kStep},
    RecordedCall{"zel_map_remove_prefix", "mk", '-', CallClass::kStep},
    RecordedCall{"zel_map_merge", "mm", '-', CallClass::kStep},
    RecordedCall{"zel_map_dump", "m", 'D', CallClass::kGetter},
    RecordedCall{"zel_stream_new", "mr", 's', CallClass::kStep, true},
    RecordedCall{"zel_stream_get_fd", "s", 'i', CallClass::kGetter, true},
    RecordedCall{"zel_stream_get_event_fd", "s", 'i', CallClass::kGetter, true},
    RecordedCall{"zel_stream_get_id", "s", 'u', CallClass::kGetter},
    RecordedCall{"zel_stream_get_info", "s", 'm', CallClass::kStep, true},
    RecordedCall{"zel_stream_get_settings", "s", 'm', CallClass::kStep, true},
    RecordedCall{"zel_stream_start", "s", 'i', CallClass::kStep, true},
    RecordedCall{"zel_stream_play", "sr", 'i', CallClass::kStep, true},
    RecordedCall{"zel_stream_stop", "s", 'i', CallClass::kStep},
    RecordedCall{"zel_stream_force_key_frame", "s", 'i', CallClass::kStep, true},
    RecordedCall{"zel_stream_get_event", "s", 'm', CallClass::kFetch, true},
    RecordedCall{"zel_stream_buffer_alloc", "sr", 'b', CallClass::kStep, true},
    RecordedCall{"zel_stream_buffer_enqueue", "sb", 'i', CallClass::kStep, true},
    RecordedCall{"zel_stream_get_buffer", "s", 'b', CallClass::kFetch, true},
    RecordedCall{"zel_stream_buffer_unref", "sB", 'i', CallClass::kStep, true},
    RecordedCall{"zel_buffer_get_frame", "b", 'b', CallClass::kGetter},
    RecordedCall{"zel_buffer_get_capacity", "b", 'u', CallClass::kGetter},
    RecordedCall{"zel_buffer_get_id", "b", 'u', CallClass::kGetter},
    RecordedCall{"zel_buffer_is_contiguous", "b", 'i', CallClass::kGetter},
    RecordedCall{"zel_frame_get_size", "b", 'u', CallClass::kGetter},
    RecordedCall{"zel_frame_get_header_size", "b", 'i', CallClass::kGetter},
    RecordedCall{"zel_frame_get_frame_type", "b", 'u', CallClass::kGetter},
    RecordedCall{"zel_frame_get_sequence_nbr", "b", 'u', CallClass::kGetter},
    RecordedCall{"zel_frame_get_timestamp", "b", 'u', CallClass::kGetter},
    RecordedCall{"zel_frame_get_utc_timestamp", "b", 'u', CallClass::kGetter},
    RecordedCall{"zel_frame_get_custom_timestamp", "b", 'u', CallClass::kGetter},
    RecordedCall{"zel_frame_is_key", "b", 'i', CallClass::kGetter},
    RecordedCall{"zel_frame_shown", "b", 'i', CallClass::kGetter},
    RecordedCall{"zel_frame_is_segment_start", "b", 'i', CallClass::kGetter},
    RecordedCall{"zel_frame_get_extra_info", "b", 'm', CallClass::kGetter},
    RecordedCall{"zel_frame_take_chunk", "b", 'c', CallClass::kStep, true},
    RecordedCall{"zel_frame_take_chunk_ex", "bu", 'c', CallClass::kStep},
    RecordedCall{"zel_format_get_type", "", 't', CallClass::kGetter},
    RecordedCall{"zel_h264_profile_get_type", "", 't', CallClass::kGetter},
    RecordedCall{"zel_h265_profile_get_type", "", 't', CallClass::kGetter},
    RecordedCall{"zel_rate_control_mode_get_type", "", 't', CallClass::kGetter},
    RecordedCall{"zel_rate_control_priority_get_type", "", 't', CallClass::kGetter},
    RecordedCall{"zel_timestamp_get_type", "", 't', CallClass::kGetter},
    RecordedCall{"zel_buffer_access_get_type", "", 't', CallClass::kGetter},
    RecordedCall{"zel_buffer_strategy_get_type", "", 't', CallClass::kGetter},
    RecordedCall{"zel_lumostream_profile_get_type", "", 't', CallClass::kGetter},
    RecordedCall{"zel_lumostream_gdr_get_type", "", 't', CallClass::kGetter},
    RecordedCall{"zel_frame_type_get_type", "", 't', CallClass::kGetter},
    RecordedCall{"zel_error_quark", "", 'Q', CallClass::kGetter},
    RecordedCall{"zel_error_is_expected", "e", 'i', CallClass::kGetter},
};

/// The row of a call; the number of rows for a name that is no call's.
constexpr std::size_t call_number(std::string_view name) {
  std::size_t number = 0;
  while (number < kRecordedCalls.size() && kRecordedCalls[number].name != name)
    ++number;
  return number;
}

}  // namespace formats

#endif
