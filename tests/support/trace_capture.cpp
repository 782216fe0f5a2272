#include "trace_capture.h"

#include <cstdlib>

#include "trace/trace_client.h"

namespace q9::testing {
namespace {

// One short-layout record: "time level IMP process module(file:line)
// function message", the function label ending in ": ".
bool ParseShortRecord(std::string_view record, TraceLine* line) {
  size_t pos = 0;
  std::string_view fields[5];
  for (std::string_view& field : fields) {
    const size_t blank = record.find(' ', pos);
    if (blank == std::string_view::npos) return false;
    field = record.substr(pos, blank - pos);
    pos = blank + 1;
  }
  const std::string_view site = fields[4];
  line->module = std::string(site.substr(0, site.find('(')));
  line->level = static_cast<uint32_t>(std::strtoul(std::string(fields[1].substr(1)).c_str(),
                                                   nullptr, 16));
  const std::string_view rest = record.substr(pos);
  const size_t label_end = rest.find(": ");
  if (label_end == std::string_view::npos) return false;
  line->function = std::string(rest.substr(0, label_end + 2));
  // The layout puts one blank between the label and the message.
  const std::string_view message = rest.substr(label_end + 2);
  line->text = std::string(message.starts_with(' ') ? message.substr(1) : message);
  return true;
}

}  // namespace

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
  std::vector<TraceLine> lines;
  const std::string& output = env_.process.debug_output;
  size_t start = 0;
  while (start < output.size()) {
    size_t end = output.find('\n', start);
    if (end == std::string::npos) end = output.size();
    TraceLine line;
    if (ParseShortRecord(std::string_view(output).substr(start, end - start), &line)) {
      lines.push_back(std::move(line));
    }
    start = end + 1;
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
