// The .reg parser on any bytes: no crash, no undefined behaviour, no endless
// loop, and every key it read is found again under any letter case.
#include <cctype>
#include <cstdlib>

#include "platform/posix/reg_file_parser.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const q9::RegistryHive hive = q9::ParseRegFile(bytes);
  for (const auto& [path, values] : hive.keys) {
    std::string lower = path;
    for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    if (hive.FindKey(path) != &values || hive.FindKey(lower) != &values) std::abort();
  }
  return 0;
}
