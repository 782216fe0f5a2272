// Conversions between UTF-8, the program's strings, and UTF-16LE, the form
// Windows keeps text in (registry data, and every API call of the Windows
// build). Decoding never fails: what is not valid becomes U+FFFD.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace q9 {

// Code points of UTF-8 text; each byte that starts no valid sequence
// (overlong forms and surrogates included) becomes one U+FFFD.
std::u32string DecodeUtf8(std::string_view text);
// Code points of UTF-16LE bytes; an odd last byte is ignored and unpaired
// surrogates become U+FFFD.
std::u32string DecodeUtf16Le(const uint8_t* data, size_t size);
std::string EncodeUtf8(std::u32string_view text);
std::vector<uint8_t> EncodeUtf16Le(std::u32string_view text);

}  // namespace q9
