#include "trace/trace_config.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

#include "platform/path.h"

namespace q9 {
namespace {

// Values are read into a buffer of this size, terminator included; a longer
// one does not fit and is not read.
constexpr size_t kValueBufferSize = 260;
constexpr char kDefaultFileBase[] = "/tmp/Q9FILE";

std::string_view TrimBlanks(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
  return text;
}

bool ReadString(const RegistryKey& key, std::string_view name, std::string* text) {
  RegistryValue value;
  if (!key.QueryValue(name, &value) || value.type != RegistryType::kString) return false;
  if (value.text.empty() || value.text.size() >= kValueBufferSize) return false;
  *text = value.text;
  return true;
}

// Decimal number (saturated when too large), or 0 when the text holds none
// or a negative one.
uint64_t ParsePositiveDecimal(const std::string& text) {
  const long long value = std::strtoll(text.c_str(), nullptr, 10);
  return value > 0 ? static_cast<uint64_t>(value) : 0;
}

void ReadOutputSettings(const RegistryKey& key, TraceConfig* config) {
  std::string text;
  if (config->output == TraceOutputKind::kSharedMemory) {
    if (ReadString(key, "sm_size", &text)) {
      const uint64_t size = ParsePositiveDecimal(text);
      if (size > 0) {
        config->shared_memory_size =
            static_cast<size_t>(std::min<uint64_t>(size, TraceConfig::kMaxSharedMemorySize));
      }
    }
  }
  if (config->output == TraceOutputKind::kFile) {
    if (ReadString(key, "Byte/File", &text)) {
      const uint64_t bytes = ParsePositiveDecimal(text);
      if (bytes > 0) config->bytes_per_file = bytes;
    }
    ReadString(key, "Path", &config->path);
    ReadString(key, "FileName", &config->file_name);
  }
}

}  // namespace

TraceFilterList TraceFilterList::Parse(std::string_view text) {
  TraceFilterList list;
  while (!text.empty() && list.entries_.size() < kMaxEntries) {
    const size_t end = text.find(';');
    const std::string_view entry = TrimBlanks(text.substr(0, end));
    if (!entry.empty()) list.entries_.emplace_back(entry);
    if (end == std::string_view::npos) break;
    text.remove_prefix(end + 1);
  }
  return list;
}

bool TraceFilterList::HasName(std::string_view name) const {
  for (const std::string& entry : entries_) {
    if (EqualsIgnoreCase(entry, name)) return true;
  }
  return false;
}

bool TraceFilterList::OccursIn(std::string_view text) const {
  for (const std::string& entry : entries_) {
    if (text.find(entry) != std::string_view::npos) return true;
  }
  return false;
}

uint32_t ParseTraceLevel(const std::string& text) {
  constexpr uint64_t kMax = std::numeric_limits<uint32_t>::max();
  // strtoull negates a leading minus in 64 bits; cut to 32 bits that is the
  // value a 32-bit strtoul gives ("-1" is every level). Numbers beyond 32
  // bits saturate, either way.
  const uint64_t value = std::strtoull(text.c_str(), nullptr, 0);
  const size_t first = text.find_first_not_of(" \t");
  const bool negative = first != std::string::npos && text[first] == '-';
  const uint64_t magnitude = negative ? uint64_t{0} - value : value;
  return magnitude > kMax ? static_cast<uint32_t>(kMax) : static_cast<uint32_t>(value);
}

TraceLayout ParseTraceLayout(const std::string& text) {
  if (EqualsIgnoreCase(text, "SHORT")) return TraceLayout::kShort;
  if (EqualsIgnoreCase(text, "TIME")) return TraceLayout::kTime;
  if (EqualsIgnoreCase(text, "TEXT")) return TraceLayout::kText;
  return TraceLayout::kStandard;
}

bool ParseTraceOutput(const std::string& text, TraceOutputKind* output) {
  static constexpr struct {
    const char* name;
    TraceOutputKind kind;
  } kOutputs[] = {
      {"VXD", TraceOutputKind::kVxd},          {"COM1", TraceOutputKind::kCom1},
      {"COM2", TraceOutputKind::kCom2},        {"PIPE", TraceOutputKind::kPipe},
      {"FILE", TraceOutputKind::kFile},        {"SM", TraceOutputKind::kSharedMemory},
      {"DBG", TraceOutputKind::kDebugger},     {"Q9TRACEENGINE", TraceOutputKind::kTraceEngine},
  };
  for (const auto& known : kOutputs) {
    if (EqualsIgnoreCase(text, known.name)) {
      *output = known.kind;
      return true;
    }
  }
  return false;
}

TraceConfig ReadTraceConfig(Registry& registry) {
  TraceConfig config;
  std::unique_ptr<RegistryKey> key;
  if (!registry.OpenKey(kTraceConfigKey, &key)) return config;
  config.key_present = true;
  std::string text;
  if (ReadString(*key, "Consult", &text)) {
    config.consult_seconds = static_cast<uint32_t>(
        std::min<uint64_t>(ParsePositiveDecimal(text), std::numeric_limits<uint32_t>::max()));
  }
  if (ReadString(*key, "FctName", &text)) config.functions = TraceFilterList::Parse(text);
  if (ReadString(*key, "Format", &text)) config.layout = ParseTraceLayout(text);
  if (ReadString(*key, "Level", &text)) config.level_mask = ParseTraceLevel(text);
  if (ReadString(*key, "Module", &text)) config.modules = TraceFilterList::Parse(text);
  if (ReadString(*key, "String", &text)) config.texts = TraceFilterList::Parse(text);
  if (ReadString(*key, "TraceId", &text)) config.trace_ids = TraceFilterList::Parse(text);
  if (ReadString(*key, "Output", &text)) ParseTraceOutput(text, &config.output);
  ReadOutputSettings(*key, &config);
  return config;
}

std::string TraceFileBase(const TraceConfig& config) {
  if (config.path.empty() && config.file_name.empty()) return kDefaultFileBase;
  if (!config.path.empty() && config.path.back() == kPathSeparator) {
    return config.path + config.file_name;
  }
  return JoinPath(config.path, config.file_name);
}

}  // namespace q9
