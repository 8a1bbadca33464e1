// The names of the interface's functions, without "zel_", in the order of its header.
#ifndef ZEL_COMPLIANCE_FUNCTIONS_H
#define ZEL_COMPLIANCE_FUNCTIONS_H

/// Calls X(name) for every function of zel.h: names become text and types only by the preprocessor.
#define ZEL_FUNCTIONS(X)            \
  X(map_new)                        \
  X(map_set_boolean)                \
  X(map_set_uint32)                 \
  X(map_set_double)                 \
  X(map_set_string)                 \
  X(map_set_pair32u)                \
  X(map_set_quad32u)                \
  X(map_get_boolean)                \
  X(map_get_uint32)                 \
  X(map_get_double)                 \
  X(map_get_variant)                \
  X(map_contains_va)                \
  X(map_copy_value)                 \
  X(map_remove_prefix)              \
  X(map_merge)                      \
  X(map_dump)                       \
  X(stream_new)                     \
  X(stream_get_fd)                  \
  X(stream_get_event_fd)            \
  X(stream_get_id)                  \
  X(stream_get_info)                \
  X(stream_get_settings)            \
  X(stream_start)                   \
  X(stream_play)                    \
  X(stream_stop)                    \
  X(stream_force_key_frame)         \
  X(stream_get_event)               \
  X(stream_buffer_alloc)            \
  X(stream_buffer_enqueue)          \
  X(stream_get_buffer)              \
  X(stream_buffer_unref)            \
  X(buffer_get_frame)               \
  X(buffer_get_capacity)            \
  X(buffer_get_id)                  \
  X(buffer_is_contiguous)           \
  X(frame_get_size)                 \
  X(frame_get_header_size)          \
  X(frame_get_frame_type)           \
  X(frame_get_sequence_nbr)         \
  X(frame_get_timestamp)            \
  X(frame_get_utc_timestamp)        \
  X(frame_get_custom_timestamp)     \
  X(frame_is_key)                   \
  X(frame_shown)                    \
  X(frame_is_segment_start)         \
  X(frame_get_extra_info)           \
  X(frame_take_chunk)               \
  X(frame_take_chunk_ex)            \
  X(format_get_type)                \
  X(h264_profile_get_type)          \
  X(h265_profile_get_type)          \
  X(rate_control_mode_get_type)     \
  X(rate_control_priority_get_type) \
  X(timestamp_get_type)             \
  X(buffer_access_get_type)         \
  X(buffer_strategy_get_type)       \
  X(lumostream_profile_get_type)    \
  X(lumostream_gdr_get_type)        \
  X(frame_type_get_type)            \
  X(error_quark)                    \
  X(error_is_expected)

#endif
