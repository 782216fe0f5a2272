#include "trace/trace_format.h"

#include <charconv>
#include <cstring>
#include <initializer_list>
#include <string_view>

#include "platform/path.h"

namespace q9 {
namespace {

constexpr char kShortLayout[] = "%s %s %s %s %s%s %s %s";
constexpr char kStandardLayout[] = "%s %s P%09dT%09d %s %s %s%s %s %s,%s %s %s";
constexpr char kTimeLayout[] = "%s %s %s %s %s%s %s %s %s";
constexpr char kTextLayout[] = "%s %s";

// Appends to a fixed buffer and drops whatever does not fit, keeping room
// for the terminator.
class BoundedText {
 public:
  BoundedText(char* buffer, size_t size) : buffer_(buffer), end_(buffer + size - 1), at_(buffer) {}

  void Append(std::string_view text) {
    const size_t room = static_cast<size_t>(end_ - at_);
    const size_t n = text.size() < room ? text.size() : room;
    std::memcpy(at_, text.data(), n);
    at_ += n;
  }
  void Append(char c) {
    if (at_ < end_) *at_++ = c;
  }
  size_t Finish() {
    *at_ = '\0';
    return static_cast<size_t>(at_ - buffer_);
  }

 private:
  char* buffer_;
  char* end_;
  char* at_;
};

// The decimal text of `value` in `out`.
std::string_view Decimal(uint64_t value, char (&out)[24]) {
  const auto result = std::to_chars(out, out + sizeof out, value);
  return std::string_view(out, static_cast<size_t>(result.ptr - out));
}

// "%09d": at least nine digits, zero-padded after the sign.
void AppendPadded(BoundedText& text, int value) {
  char digits[24];
  const bool negative = value < 0;
  const uint64_t magnitude = negative ? uint64_t{0} - static_cast<uint64_t>(static_cast<int64_t>(value))
                                      : static_cast<uint64_t>(value);
  const std::string_view number = Decimal(magnitude, digits);
  if (negative) text.Append('-');
  for (size_t width = number.size() + (negative ? 1 : 0); width < 9; ++width) text.Append('0');
  text.Append(number);
}

// "L" and the level in at least four upper-case hex digits.
std::string_view LevelText(uint32_t level, char (&out)[12]) {
  char digits[8];
  const size_t n = static_cast<size_t>(std::to_chars(digits, digits + sizeof digits, level, 16).ptr - digits);
  size_t at = 0;
  out[at++] = 'L';
  for (size_t width = n; width < 4; ++width) out[at++] = '0';
  for (size_t i = 0; i < n; ++i) {
    const char c = digits[i];
    out[at++] = (c >= 'a' && c <= 'f') ? static_cast<char>(c - 'a' + 'A') : c;
  }
  return std::string_view(out, at);
}

// One argument of a layout: a text for "%s" or a number for "%09d".
struct LayoutArgument {
  LayoutArgument(std::string_view t) : text(t) {}  // NOLINT: reads like printf
  LayoutArgument(const char* t) : text(t) {}       // NOLINT
  LayoutArgument(int n) : number(n), is_number(true) {}  // NOLINT
  std::string_view text;
  int number = 0;
  bool is_number = false;
};

// Applies a layout of the table in trace_format.h. Its only conversions are
// "%s" and "%09d", so this gives what snprintf(buffer, size, layout, ...)
// gives, cut in the same place, at a fraction of its cost.
size_t ApplyLayout(char* buffer, size_t size, const char* layout,
                   std::initializer_list<LayoutArgument> arguments) {
  BoundedText text(buffer, size);
  const LayoutArgument* argument = arguments.begin();
  for (const char* p = layout; *p != '\0'; ++p) {
    if (*p != '%') {
      text.Append(*p);
      continue;
    }
    if (p[1] == '0') {  // "%09d"
      AppendPadded(text, argument->number);
      p += 3;
    } else {
      text.Append(argument->text);
      p += 1;
    }
    ++argument;
  }
  return text.Finish();
}

}  // namespace

size_t FormatTraceRecord(TraceLayout layout, const TraceRecordFields& f,
                         char (&buffer)[kTraceRecordBufferSize]) {
  constexpr size_t kSize = kTraceRecordBufferSize;
  if (layout == TraceLayout::kText) {
    return ApplyLayout(buffer, kSize, kTextLayout, {f.function, f.message});
  }
  char level_text[12];
  const std::string_view level = LevelText(f.level, level_text);

  char location_text[128];
  char line_digits[24];
  BoundedText location(location_text, sizeof location_text);
  location.Append('(');
  location.Append(BaseName(f.source_file));
  location.Append(':');
  location.Append(Decimal(static_cast<uint64_t>(f.line < 0 ? 0 : f.line), line_digits));
  location.Append(')');
  const std::string_view where(location_text, location.Finish());

  char ticks_digits[24];
  const std::string_view ticks = Decimal(f.ticks, ticks_digits);
  switch (layout) {
    case TraceLayout::kShort:
      return ApplyLayout(buffer, kSize, kShortLayout,
                         {f.time, level, f.component, f.process, f.module, where, f.function,
                          f.message});
    case TraceLayout::kTime:
      return ApplyLayout(buffer, kSize, kTimeLayout,
                         {f.date, f.time, level, f.component, f.module, where, ticks, f.function,
                          f.message});
    default: {
      char sequence_digits[24];
      return ApplyLayout(buffer, kSize, kStandardLayout,
                         {f.date, f.time, static_cast<int>(f.process_id),
                          static_cast<int>(f.thread_id), level, f.component, f.module, where,
                          f.process, ticks, Decimal(f.sequence, sequence_digits), f.function,
                          f.message});
    }
  }
}

}  // namespace q9
