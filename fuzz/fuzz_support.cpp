#include "fuzz_support.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <random>

#include "xml/xml_library.h"

namespace q9::fuzz {

const std::string& SandboxFolder() {
  static const std::string folder = [] {
    std::random_device random;
    const auto path = std::filesystem::temp_directory_path() /
                      ("q9fuzz-" + std::to_string(random()) + std::to_string(random()));
    std::filesystem::create_directories(path);
    return path.string();
  }();
  return folder;
}

std::string WriteSandboxFile(const std::string& relative, std::string_view contents) {
  const std::filesystem::path path = std::filesystem::path(SandboxFolder()) / relative;
  std::filesystem::create_directories(path.parent_path());
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(contents.data(), static_cast<std::streamsize>(contents.size()));
  return path.string();
}

std::vector<std::string> SplitInput(const uint8_t* data, size_t size, size_t max_parts) {
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  std::vector<std::string> parts;
  size_t start = 0;
  while (parts.size() + 1 < max_parts) {
    const size_t end = input.find('\0', start);
    if (end == std::string_view::npos) break;
    parts.emplace_back(input.substr(start, end - start));
    start = end + 1;
  }
  parts.emplace_back(input.substr(std::min(start, input.size())));
  return parts;
}

bool XmlCanCarry(std::string_view text) {
  for (size_t i = 0; i < text.size();) {
    const auto lead = static_cast<unsigned char>(text[i]);
    size_t length = 1;
    uint32_t code = lead;
    if (lead >= 0x80) {
      if (lead >= 0xC2 && lead <= 0xDF) length = 2, code = lead & 0x1F;
      else if (lead >= 0xE0 && lead <= 0xEF) length = 3, code = lead & 0x0F;
      else if (lead >= 0xF0 && lead <= 0xF4) length = 4, code = lead & 0x07;
      else return false;
      if (i + length > text.size()) return false;
      for (size_t k = 1; k < length; ++k) {
        const auto next = static_cast<unsigned char>(text[i + k]);
        if ((next & 0xC0) != 0x80) return false;
        code = (code << 6) | (next & 0x3F);
      }
      const uint32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000};
      if (code < smallest[length] || code > 0x10FFFF) return false;
      if ((code >= 0xD800 && code <= 0xDFFF) || code == 0xFFFE || code == 0xFFFF) return false;
    } else if (code < 0x20 && code != '\t' && code != '\n' && code != '\r') {
      return false;
    }
    i += length;
  }
  return true;
}

bool DeclaresUnwritableEncoding(std::string_view document) {
  std::string upper(document);
  for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return upper.find("UTF-7") != std::string::npos || upper.find("UTF7") != std::string::npos ||
         upper.find("2022") != std::string::npos;
}

Env& FuzzEnv() {
  static Env& env = [] () -> Env& {
    InitializeXmlLibrary();
    return Env::Default();
  }();
  return env;
}

}  // namespace q9::fuzz
