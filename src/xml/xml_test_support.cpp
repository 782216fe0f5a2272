#include "xml/xml_test_support.h"

#include <cstdarg>
#include <cstdio>
#include <filesystem>

#include "trace/trace.h"

namespace q9 {
namespace {

std::vector<testing::TraceLine>& Records() {
  static std::vector<testing::TraceLine> records;
  return records;
}

}  // namespace

// The test binary links these instead of the trace client, so every record
// the code under test writes is kept for the assertions.
bool TraceLevelEnabled(uint32_t) { return true; }

void TraceRecord(const TraceSite& site, uint32_t level, const char*, int, const char* format, ...) {
  char text[4096];
  va_list args;
  va_start(args, format);
  std::vsnprintf(text, sizeof text, format, args);
  va_end(args);
  Records().push_back({site.module, site.function, level, text});
}

namespace testing {

const std::vector<TraceLine>& CapturedTraces() { return Records(); }
void ClearTraces() { Records().clear(); }

bool HasTrace(std::string_view function, uint32_t level, std::string_view text) {
  for (const TraceLine& line : Records()) {
    if (line.function == function && line.level == level && line.text == text &&
        line.module == "q9xmlHelper") {
      return true;
    }
  }
  return false;
}

EnvWithFiles::EnvWithFiles(FileSystem& files)
    : env_(files, Env::Default().registry(), Env::Default().folders(), Env::Default().libraries(),
           Env::Default().shared(), Env::Default().clock(), Env::Default().process()) {}

std::vector<std::string> LeftoverTemporaryFiles(const std::string& dir) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(dir)) {
    const std::string name = entry.path().filename().string();
    if (name.rfind(".q9tmp-", 0) == 0) names.push_back(name);
  }
  return names;
}

}  // namespace testing
}  // namespace q9
