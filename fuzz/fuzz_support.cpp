#include "fuzz_support.h"

#include <algorithm>
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

Env& FuzzEnv() {
  static Env& env = [] () -> Env& {
    InitializeXmlLibrary();
    return Env::Default();
  }();
  return env;
}

}  // namespace q9::fuzz
