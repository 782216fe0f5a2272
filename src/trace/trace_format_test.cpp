#include "trace/trace_format.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

namespace q9 {
namespace {

TraceRecordFields SampleFields() {
  TraceRecordFields fields;
  fields.date = "2026-11-22";
  fields.time = "00:17:35";
  fields.process_id = 1234;
  fields.thread_id = 1235;
  fields.level = 64;
  fields.component = "IMP";
  fields.process = "q9cfgImp64x";
  fields.module = "FileOperator";
  fields.source_file = "/work/src/store/file_operator.cpp";
  fields.line = 120;
  fields.ticks = 987654321;
  fields.sequence = 42;
  fields.function = "CopyFiles: ";
  fields.message = ">> Start";
  return fields;
}

std::string Format(TraceLayout layout, const TraceRecordFields& fields) {
  char buffer[kTraceRecordBufferSize];
  const size_t length = FormatTraceRecord(layout, fields, buffer);
  EXPECT_EQ(buffer[length], '\0');
  return std::string(buffer, length);
}

TEST(TraceFormatTest, EachLayoutPlacesItsFields) {
  const TraceRecordFields fields = SampleFields();
  EXPECT_EQ(Format(TraceLayout::kShort, fields),
            "00:17:35 L0040 IMP q9cfgImp64x FileOperator(file_operator.cpp:120) CopyFiles:  >> "
            "Start");
  EXPECT_EQ(Format(TraceLayout::kStandard, fields),
            "2026-11-22 00:17:35 P000001234T000001235 L0040 IMP "
            "FileOperator(file_operator.cpp:120) q9cfgImp64x 987654321,42 CopyFiles:  >> Start");
  EXPECT_EQ(Format(TraceLayout::kTime, fields),
            "2026-11-22 00:17:35 L0040 IMP FileOperator(file_operator.cpp:120) 987654321 "
            "CopyFiles:  >> Start");
  EXPECT_EQ(Format(TraceLayout::kText, fields), "CopyFiles:  >> Start");
}

TEST(TraceFormatTest, LongMessageIsCutToTheBuffer) {
  TraceRecordFields fields = SampleFields();
  const std::string message(2000, 'x');
  fields.message = message.c_str();
  for (const TraceLayout layout : {TraceLayout::kShort, TraceLayout::kStandard,
                                   TraceLayout::kTime, TraceLayout::kText}) {
    const std::string record = Format(layout, fields);
    EXPECT_EQ(record.size(), kTraceRecordBufferSize - 1);
    EXPECT_EQ(record.back(), 'x');
  }
  const std::string long_file = "/" + std::string(300, 'd') + "/" + std::string(300, 's') + ".cpp";
  fields.source_file = long_file.c_str();
  EXPECT_EQ(Format(TraceLayout::kStandard, fields).size(), kTraceRecordBufferSize - 1);
}

// The layouts are applied without the C library's formatter for speed; they
// must give exactly what snprintf gives, cut in the same place.
TEST(TraceFormatTest, MatchesTheCLibraryFormatterIncludingWhereItCuts) {
  TraceRecordFields fields = SampleFields();
  fields.level = 0x1ABCD;
  fields.process_id = 4000000000u;  // shows as a negative int, as with %d
  const std::string message(380, 'z');
  for (const char* text : {"short", message.c_str()}) {
    fields.message = text;
    char expected[kTraceRecordBufferSize];
    std::snprintf(expected, sizeof expected,
                  "%s %s P%09dT%09d %s %s %s%s %s %s,%s %s %s", fields.date, fields.time,
                  static_cast<int>(fields.process_id), static_cast<int>(fields.thread_id),
                  "L1ABCD", fields.component, fields.module, "(file_operator.cpp:120)",
                  fields.process, "987654321", "42", fields.function, fields.message);
    EXPECT_EQ(Format(TraceLayout::kStandard, fields), expected);
    std::snprintf(expected, sizeof expected, "%s %s %s %s %s%s %s %s %s", fields.date,
                  fields.time, "L1ABCD", fields.component, fields.module,
                  "(file_operator.cpp:120)", "987654321", fields.function, fields.message);
    EXPECT_EQ(Format(TraceLayout::kTime, fields), expected);
  }
}

}  // namespace
}  // namespace q9
