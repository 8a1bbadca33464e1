// Takes coded video apart, far enough to compare what a container holds with what was put in.
//
// `format` is a value of the interface: 0 H.264, 1 H.265, 2 JPEG, 10 AV1.
#ifndef ZEL_CLIENT_TESTS_MEDIA_CODED_UNITS_H
#define ZEL_CLIENT_TESTS_MEDIA_CODED_UNITS_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// The pieces that a container may frame differently: the NAL units of H.264 and H.265 without start codes, the OBUs of
/// AV1 without temporal delimiters, all of any other stream.
std::vector<std::string> coded_units(std::uint32_t format, const std::string &raw);

/// The same pieces of what Matroska stores, where NAL units have a length of four bytes before them in place of the
/// start code.
std::vector<std::string> stored_units(std::uint32_t format, const std::string &stored);

/// Bytes before the first picture data of an H.264, H.265 or AV1 frame: parameter sets, sequence header.
std::size_t header_size(std::uint32_t format, std::string_view frame);

#endif
