#include "platform/posix/reg_file_parser.h"

#include <cstdint>
#include <optional>
#include <vector>

#include "platform/path.h"
#include "platform/utf_codecs.h"

namespace q9 {
namespace {

constexpr std::string_view kHeaderVersion5 = "Windows Registry Editor Version 5.00";
constexpr std::string_view kHeaderVersion4 = "REGEDIT4";
constexpr std::string_view kLocalMachine = "HKEY_LOCAL_MACHINE";

using Bytes = std::vector<uint8_t>;

// ---- Values --------------------------------------------------------------

bool IsStringType(uint32_t type) {
  return type == static_cast<uint32_t>(RegistryType::kString) ||
         type == static_cast<uint32_t>(RegistryType::kExpandString) ||
         type == static_cast<uint32_t>(RegistryType::kMultiString);
}

// The UTF-8 text of stored string data (see the header for multi-strings).
std::string TextOfStringData(uint32_t type, const Bytes& data) {
  const std::u32string all = DecodeUtf16Le(data.data(), data.size());
  if (type != static_cast<uint32_t>(RegistryType::kMultiString)) {
    return EncodeUtf8(std::u32string_view(all).substr(0, all.find(U'\0')));
  }
  std::u32string joined;
  size_t start = 0;
  while (start < all.size()) {
    size_t end = all.find(U'\0', start);
    if (end == std::u32string::npos) end = all.size();
    if (end == start) break;  // an empty entry ends the list
    if (!joined.empty()) joined += U'\0';
    joined.append(all, start, end - start);
    start = end + 1;
  }
  return EncodeUtf8(joined);
}

RegistryValue StringValue(std::string_view text) {
  const std::u32string decoded = DecodeUtf8(text);
  RegistryValue value;
  value.type = RegistryType::kString;
  value.text = EncodeUtf8(decoded);
  value.data = EncodeUtf16Le(decoded);
  value.data.insert(value.data.end(), {0, 0});
  return value;
}

RegistryValue DwordValue(uint32_t number) {
  RegistryValue value;
  value.type = RegistryType::kDword;
  for (int shift = 0; shift < 32; shift += 8) {
    value.data.push_back(static_cast<uint8_t>(number >> shift));
  }
  return value;
}

// A byte-list value. REGEDIT4 files write strings as 8-bit text; the registry
// holds them as UTF-16LE either way.
RegistryValue ByteListValue(uint32_t type, Bytes bytes, bool unicode_file) {
  RegistryValue value;
  value.type = static_cast<RegistryType>(type);
  if (IsStringType(type)) {
    if (!unicode_file) {
      bytes = EncodeUtf16Le(DecodeUtf8(std::string_view(
          reinterpret_cast<const char*>(bytes.data()), bytes.size())));
    }
    value.text = TextOfStringData(type, bytes);
  }
  value.data = std::move(bytes);
  return value;
}

// ---- Lexical helpers -----------------------------------------------------

bool IsBlank(char c) { return c == ' ' || c == '\t'; }

std::string_view SkipBlanks(std::string_view s) {
  while (!s.empty() && IsBlank(s.front())) s.remove_prefix(1);
  return s;
}

// True when only blanks, optionally followed by a comment, remain.
bool IsLineEnd(std::string_view rest) {
  rest = SkipBlanks(rest);
  return rest.empty() || rest.front() == ';';
}

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Reads 1 to `max_digits` hex digits from the front of `s`.
std::optional<uint32_t> TakeHex(std::string_view* s, size_t max_digits) {
  uint32_t number = 0;
  size_t digits = 0;
  while (!s->empty() && HexDigit(s->front()) >= 0) {
    if (++digits > max_digits) return std::nullopt;
    number = (number << 4) | static_cast<uint32_t>(HexDigit(s->front()));
    s->remove_prefix(1);
  }
  if (digits == 0) return std::nullopt;
  return number;
}

// Reads a quoted text whose opening quote starts `s`, undoing \\ and \".
std::optional<std::string> TakeQuoted(std::string_view* s) {
  std::string text;
  size_t i = 1;
  while (i < s->size()) {
    const char c = (*s)[i];
    if (c == '"') {
      s->remove_prefix(i + 1);
      return text;
    }
    if (c == '\\' && i + 1 < s->size() && ((*s)[i + 1] == '\\' || (*s)[i + 1] == '"')) {
      text += (*s)[i + 1];
      i += 2;
    } else {
      text += c;
      ++i;
    }
  }
  return std::nullopt;  // no closing quote
}

// Appends a comma-separated byte list to `bytes`. Sets `continues` when a
// trailing backslash carries the list on to the next line.
bool TakeByteList(std::string_view s, Bytes* bytes, bool* continues) {
  *continues = false;
  s = SkipBlanks(s);
  while (!IsLineEnd(s)) {
    if (s.front() == '\\') {
      *continues = true;
      return IsLineEnd(s.substr(1));
    }
    const std::optional<uint32_t> byte = TakeHex(&s, 2);
    if (!byte) return false;
    bytes->push_back(static_cast<uint8_t>(*byte));
    s = SkipBlanks(s);
    if (!s.empty() && s.front() == ',') s = SkipBlanks(s.substr(1));
    else if (!IsLineEnd(s) && s.front() != '\\') return false;
  }
  return true;
}

// Each line of `text`, cut at its first NUL.
template <typename Visit>
void ForEachLine(std::string_view text, Visit visit) {
  while (!text.empty()) {
    const size_t end = text.find_first_of("\r\n");
    std::string_view line = text.substr(0, end);
    visit(line.substr(0, line.find('\0')));
    if (end == std::string_view::npos) break;
    const size_t next = (text[end] == '\r' && end + 1 < text.size() && text[end + 1] == '\n')
                            ? end + 2
                            : end + 1;
    text.remove_prefix(next);
  }
}

// ---- The parser ----------------------------------------------------------

class RegFileParser {
 public:
  explicit RegFileParser(bool unicode_file) : unicode_file_(unicode_file) {}

  void ParseLine(std::string_view line);
  // Unfinished byte lists are dropped.
  RegistryHive Finish() { return std::move(hive_); }

 private:
  struct PendingByteList {
    std::string name;
    uint32_t type = 0;
    Bytes bytes;
  };

  void ParseKeyLine(std::string_view line);
  void ParseValueLine(std::string_view line);
  bool ContinueByteList(std::string_view line);
  void OpenKey(const std::string& folded_path);
  void DeleteKey(const std::string& folded_path);
  void Store(std::string name, std::optional<RegistryValue> value);

  const bool unicode_file_;
  RegistryHive hive_;
  RegistryValues* current_ = nullptr;  // the open key; null drops values
  std::optional<PendingByteList> pending_;
};

void RegFileParser::ParseLine(std::string_view line) {
  line = SkipBlanks(line);
  if (pending_) {
    if (!line.empty() && line.front() == ';') return;
    if (ContinueByteList(line)) return;
    pending_.reset();
  }
  if (line.empty()) return;
  if (line.front() == '[') ParseKeyLine(line);
  else if (line.front() == '"' || line.front() == '@') ParseValueLine(line);
}

void RegFileParser::ParseKeyLine(std::string_view line) {
  line.remove_prefix(1);
  if (!line.empty() && IsBlank(line.front())) return;
  const bool remove = line.starts_with('-');
  if (remove) line.remove_prefix(1);
  current_ = nullptr;
  const size_t close = line.rfind(']');
  if (close == std::string_view::npos) return;
  const std::string full = FoldedAscii(line.substr(0, close));
  if (!full.starts_with(kLocalMachine)) return;
  std::string_view path = std::string_view(full).substr(kLocalMachine.size());
  if (!path.empty()) {
    if (path.front() != '\\') return;  // another root such as HKEY_LOCAL_MACHINEX
    path.remove_prefix(1);
    if (path.empty() || path.back() == '\\' || path.find("\\\\") != std::string_view::npos) {
      return;
    }
  }
  if (remove) DeleteKey(std::string(path));
  else OpenKey(std::string(path));
}

void RegFileParser::OpenKey(const std::string& folded_path) {
  current_ = &hive_.keys[folded_path];
}

void RegFileParser::DeleteKey(const std::string& folded_path) {
  if (folded_path.empty()) {
    hive_.keys.clear();
    return;
  }
  hive_.keys.erase(folded_path);
  // Subkeys sort together after the prefix ("A\\B" may sort after "AB").
  const std::string prefix = folded_path + '\\';
  auto it = hive_.keys.lower_bound(prefix);
  while (it != hive_.keys.end() && it->first.starts_with(prefix)) it = hive_.keys.erase(it);
}

void RegFileParser::ParseValueLine(std::string_view line) {
  std::string name;
  if (line.front() == '@') {
    line.remove_prefix(1);
  } else {
    std::optional<std::string> quoted = TakeQuoted(&line);
    if (!quoted) return;
    name = std::move(*quoted);
  }
  line = SkipBlanks(line);
  if (line.empty() || line.front() != '=') return;
  line = SkipBlanks(line.substr(1));

  if (line.starts_with('-')) {
    if (IsLineEnd(line.substr(1))) Store(std::move(name), std::nullopt);
  } else if (line.starts_with('"')) {
    const std::optional<std::string> text = TakeQuoted(&line);
    if (text && IsLineEnd(line)) Store(std::move(name), StringValue(*text));
  } else if (line.starts_with("dword:")) {
    line.remove_prefix(6);
    const std::optional<uint32_t> number = TakeHex(&line, 8);
    if (number && IsLineEnd(line)) Store(std::move(name), DwordValue(*number));
  } else if (line.starts_with("hex")) {
    line.remove_prefix(3);
    uint32_t type = static_cast<uint32_t>(RegistryType::kBinary);
    if (line.starts_with('(')) {
      line.remove_prefix(1);
      const std::optional<uint32_t> tag = TakeHex(&line, 8);
      if (!tag || !line.starts_with(')')) return;
      type = *tag;
      line.remove_prefix(1);
    }
    if (!line.starts_with(':')) return;
    PendingByteList list{std::move(name), type, {}};
    bool continues = false;
    if (!TakeByteList(line.substr(1), &list.bytes, &continues)) return;
    if (continues) {
      pending_ = std::move(list);
    } else {
      Store(std::move(list.name), ByteListValue(list.type, std::move(list.bytes), unicode_file_));
    }
  }
}

bool RegFileParser::ContinueByteList(std::string_view line) {
  bool continues = false;
  if (line.empty() || !TakeByteList(line, &pending_->bytes, &continues)) return false;
  if (!continues) {
    PendingByteList list = std::move(*pending_);
    pending_.reset();
    Store(std::move(list.name), ByteListValue(list.type, std::move(list.bytes), unicode_file_));
  }
  return true;
}

// Sets the value, or deletes it when `value` is empty.
void RegFileParser::Store(std::string name, std::optional<RegistryValue> value) {
  if (current_ == nullptr) return;
  std::string folded = FoldedAscii(name);
  if (value) (*current_)[std::move(folded)] = std::move(*value);
  else current_->erase(folded);
}

// The file as UTF-8, without a byte order mark.
std::string DecodeFile(std::string_view bytes) {
  if (bytes.starts_with("\xFF\xFE")) {
    bytes.remove_prefix(2);
    return EncodeUtf8(
        DecodeUtf16Le(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()));
  }
  if (bytes.starts_with("\xEF\xBB\xBF")) bytes.remove_prefix(3);
  return std::string(bytes);
}

// The file's format version from its first line: 5, 4, or 0 when it is no
// registry file.
int HeaderVersion(std::string_view line) {
  line = SkipBlanks(line);
  while (!line.empty() && IsBlank(line.back())) line.remove_suffix(1);
  if (line == kHeaderVersion5) return 5;
  if (line == kHeaderVersion4) return 4;
  return 0;
}

}  // namespace

const RegistryValues* RegistryHive::FindKey(std::string_view key_path) const {
  const std::string folded = FoldedAscii(key_path);
  const auto it = keys.find(folded);
  if (it != keys.end()) return &it->second;
  // Parents are not stored (a deep key would cost quadratic memory); a key
  // exists without values when a key below it does.
  static const RegistryValues kNoValues;
  if (folded.empty()) return keys.empty() ? nullptr : &kNoValues;
  const std::string prefix = folded + '\\';
  const auto below = keys.lower_bound(prefix);
  return below != keys.end() && below->first.starts_with(prefix) ? &kNoValues : nullptr;
}

RegistryHive ParseRegFile(std::string_view bytes) {
  const std::string text = DecodeFile(bytes);
  std::optional<RegFileParser> parser;
  bool first = true;
  ForEachLine(text, [&](std::string_view line) {
    if (first) {
      first = false;
      const int version = HeaderVersion(line);
      if (version != 0) parser.emplace(/*unicode_file=*/version == 5);
    } else if (parser) {
      parser->ParseLine(line);
    }
  });
  return parser ? parser->Finish() : RegistryHive{};
}

}  // namespace q9
