#include "trace_capture.h"

#include <regex>
#include <sstream>

#include "trace/trace_client.h"

namespace q9::testing {

TraceCapture::TraceCapture() : own_env_(std::make_unique<TestEnv>()), env_(*own_env_) {
  Configure();
}

TraceCapture::TraceCapture(TestEnv& env) : env_(env) { Configure(); }

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

void TraceCapture::Clear() { env_.process.debug_output.clear(); }

bool TraceCapture::Has(std::string_view module, std::string_view function, uint32_t level,
                       std::string_view text) const {
  for (const TraceLine& line : Lines()) {
    if (line.module == module && line.function == function && line.level == level &&
        line.text == text) {
      return true;
    }
  }
  return false;
}

std::vector<std::string> TraceCapture::Messages(std::string_view function) const {
  std::vector<std::string> messages;
  for (const TraceLine& line : Lines()) {
    if (line.function == function) messages.push_back(line.text);
  }
  return messages;
}

}  // namespace q9::testing
