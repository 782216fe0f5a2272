#include "trace_capture.h"

#include <algorithm>
#include <regex>
#include <sstream>

#include "trace/trace_client.h"

namespace q9::testing {

void TraceCapture::Configure() {
  env_.SetTrace({{"Level", "0xFFFFFFFF"}, {"Output", "DBG"}, {"Format", "SHORT"}});
  TraceClient::Start(env_.env, "q9cfgImp64x");
}

TraceCapture::~TraceCapture() { TraceClient::Stop(); }

std::vector<TraceLine> TraceCapture::Lines() const {
  // "time level IMP process module(file:line) function message": the function
  // label ends in ": ", and one blank stands between it and the message.
  static const std::regex record(R"(\S+ L([0-9A-F]+) \S+ \S+ ([^(]*)\(\S*\) (.*?: ) ?(.*))");
  std::vector<TraceLine> lines;
  std::istringstream output(env_.process.debug_output);
  std::smatch field;
  for (std::string text; std::getline(output, text);) {
    if (!std::regex_match(text, field, record)) continue;
    const auto level = static_cast<uint32_t>(std::stoul(field[1], nullptr, 16));
    lines.push_back({field[2], field[3], level, field[4]});
  }
  return lines;
}

bool TraceCapture::Has(std::string_view module, std::string_view function, uint32_t level,
                       std::string_view text) const {
  const std::vector<TraceLine> lines = Lines();
  return std::any_of(lines.begin(), lines.end(), [&](const TraceLine& line) {
    return line.module == module && line.function == function && line.level == level &&
           line.text == text;
  });
}

std::vector<std::string> TraceCapture::Messages(std::string_view function) const {
  std::vector<std::string> messages;
  for (const TraceLine& line : Lines()) {
    if (line.function == function) messages.push_back(line.text);
  }
  return messages;
}

}  // namespace q9::testing
