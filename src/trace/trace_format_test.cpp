#include "trace/trace_format.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

namespace q9 {
namespace {

// A record with every field set.
const TraceRecordFields kSample = {
    .date = "2026-11-22", .time = "00:17:35", .process_id = 1234, .thread_id = 1235, .level = 64,
    .component = "IMP", .process = "q9cfgImp64x", .module = "FileOperator",
    .source_file = "/work/src/store/file_operator.cpp", .line = 120, .ticks = 987654321,
    .sequence = 42, .function = "CopyFiles: ", .message = ">> Start"};

std::string Format(TraceLayout layout, const TraceRecordFields& fields) {
  char buffer[kTraceRecordBufferSize];
  const size_t length = FormatTraceRecord(layout, fields, buffer);
  EXPECT_EQ(buffer[length], '\0');
  return std::string(buffer, length);
}

// The standard layout is held to the C library's formatter below.
TEST(TraceFormatTest, EachLayoutPlacesItsFields) {
  const TraceRecordFields& fields = kSample;
  EXPECT_EQ(Format(TraceLayout::kShort, fields),
            "00:17:35 L0040 IMP q9cfgImp64x FileOperator(file_operator.cpp:120) CopyFiles:  >> "
            "Start");
  EXPECT_EQ(Format(TraceLayout::kTime, fields),
            "2026-11-22 00:17:35 L0040 IMP FileOperator(file_operator.cpp:120) 987654321 "
            "CopyFiles:  >> Start");
  EXPECT_EQ(Format(TraceLayout::kText, fields), "CopyFiles:  >> Start");
}

// The layouts are applied without the C library's formatter for speed; they
// must give what snprintf gives, cut in the same place.
TEST(TraceFormatTest, MatchesTheCLibraryFormatterAndCutsLongRecords) {
  TraceRecordFields f = kSample;
  f.level = 0x1ABCD;
  f.process_id = 4000000000u;  // shows as a negative int, as with %d
  const std::string message(2000, 'z');
  for (const char* text : {"short", message.c_str()}) {
    f.message = text;
    char expected[kTraceRecordBufferSize];
    std::snprintf(expected, sizeof expected, "%s %s P%09dT%09d %s %s %s%s %s %s,%s %s %s", f.date,
                  f.time, static_cast<int>(f.process_id), static_cast<int>(f.thread_id), "L1ABCD",
                  f.component, f.module, "(file_operator.cpp:120)", f.process, "987654321", "42",
                  f.function, f.message);
    EXPECT_EQ(Format(TraceLayout::kStandard, f), expected);
  }
  EXPECT_EQ(Format(TraceLayout::kStandard, f).size(), kTraceRecordBufferSize - 1);
  EXPECT_EQ(Format(TraceLayout::kText, f).size(), kTraceRecordBufferSize - 1);
}

}  // namespace
}  // namespace q9
