#include "platform/utf_codecs.h"

namespace q9 {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

void AppendUtf8(char32_t c, std::string* out) {
  if (c < 0x80) {
    *out += static_cast<char>(c);
  } else if (c < 0x800) {
    *out += static_cast<char>(0xC0 | (c >> 6));
    *out += static_cast<char>(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    *out += static_cast<char>(0xE0 | (c >> 12));
    *out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    *out += static_cast<char>(0x80 | (c & 0x3F));
  } else {
    *out += static_cast<char>(0xF0 | (c >> 18));
    *out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
    *out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    *out += static_cast<char>(0x80 | (c & 0x3F));
  }
}

void AppendUtf16Le(char32_t c, std::vector<uint8_t>* out) {
  const auto unit = [out](uint32_t u) {
    out->push_back(static_cast<uint8_t>(u & 0xFF));
    out->push_back(static_cast<uint8_t>(u >> 8));
  };
  if (c < 0x10000) {
    unit(c);
  } else {
    c -= 0x10000;
    unit(0xD800 | (c >> 10));
    unit(0xDC00 | (c & 0x3FF));
  }
}

}  // namespace

std::u32string DecodeUtf8(std::string_view text) {
  std::u32string out;
  size_t i = 0;
  while (i < text.size()) {
    const auto byte = [&](size_t k) { return static_cast<uint8_t>(text[k]); };
    const uint8_t lead = byte(i);
    size_t length = 0;
    char32_t c = 0;
    char32_t minimum = 0;
    if (lead < 0x80) {
      length = 1, c = lead;
    } else if ((lead & 0xE0) == 0xC0) {
      length = 2, c = lead & 0x1F, minimum = 0x80;
    } else if ((lead & 0xF0) == 0xE0) {
      length = 3, c = lead & 0x0F, minimum = 0x800;
    } else if ((lead & 0xF8) == 0xF0) {
      length = 4, c = lead & 0x07, minimum = 0x10000;
    }
    bool valid = length != 0 && i + length <= text.size();
    for (size_t k = 1; valid && k < length; ++k) {
      valid = (byte(i + k) & 0xC0) == 0x80;
      c = (c << 6) | (byte(i + k) & 0x3F);
    }
    valid = valid && c >= minimum && c <= 0x10FFFF && !(c >= 0xD800 && c <= 0xDFFF);
    out += valid ? c : kReplacement;
    i += valid ? length : 1;
  }
  return out;
}

std::u32string DecodeUtf16Le(const uint8_t* data, size_t size) {
  std::u32string out;
  const size_t units = size / 2;
  const auto unit = [data](size_t k) -> char32_t { return data[2 * k] | (data[2 * k + 1] << 8); };
  for (size_t k = 0; k < units; ++k) {
    const char32_t u = unit(k);
    if (u >= 0xD800 && u <= 0xDBFF && k + 1 < units && unit(k + 1) >= 0xDC00 &&
        unit(k + 1) <= 0xDFFF) {
      out += 0x10000 + ((u - 0xD800) << 10) + (unit(k + 1) - 0xDC00);
      ++k;
    } else {
      out += (u >= 0xD800 && u <= 0xDFFF) ? kReplacement : u;
    }
  }
  return out;
}

std::string EncodeUtf8(std::u32string_view text) {
  std::string out;
  for (char32_t c : text) AppendUtf8(c, &out);
  return out;
}

std::vector<uint8_t> EncodeUtf16Le(std::u32string_view text) {
  std::vector<uint8_t> out;
  for (char32_t c : text) AppendUtf16Le(c, &out);
  return out;
}

}  // namespace q9
