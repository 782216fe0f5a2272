#include "xml_test_support.h"

#include <filesystem>

namespace q9::testing {
namespace {

TraceCapture& Capture() {
  static TraceCapture capture;
  return capture;
}

}  // namespace

std::vector<TraceLine> CapturedTraces() { return Capture().Lines(); }
void ClearTraces() { Capture().Clear(); }

bool HasTrace(std::string_view function, uint32_t level, std::string_view text) {
  return Capture().Has("q9xmlHelper", function, level, text);
}

std::vector<std::string> LeftoverTemporaryFiles(const std::string& dir) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(dir)) {
    const std::string name = entry.path().filename().string();
    if (name.rfind(".q9tmp-", 0) == 0) names.push_back(name);
  }
  return names;
}

}  // namespace q9::testing
