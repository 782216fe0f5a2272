#include "trace/trace_ring.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace q9 {
namespace {

// Order, lapping and late readers are covered with the reader program.
TEST(TraceRingTest, KeepsAnExistingRingCutsLongRecordsAndRejectsOtherMemory) {
  std::vector<unsigned char> memory(sizeof(TraceRingHeader) + 4 * sizeof(TraceRingSlot));
  ASSERT_TRUE(PrepareTraceRing(memory.data(), memory.size()));
  AppendToTraceRing(memory.data(), "kept");
  ASSERT_TRUE(PrepareTraceRing(memory.data(), memory.size()));
  AppendToTraceRing(memory.data(), std::string(1000, 'y'));
  std::vector<std::string> records;
  TraceRingReader reader(memory.data(), memory.size());
  EXPECT_EQ(reader.ReadNew([&](std::string_view r) { records.emplace_back(r); }), 0u);
  EXPECT_EQ(records,
            (std::vector<std::string>{"kept", std::string(sizeof(TraceRingSlot::text) - 1, 'y')}));

  EXPECT_FALSE(TraceRingReader(memory.data(), memory.size() - 1).valid());
  std::vector<unsigned char> zeros(kTraceRingMinimumSize, 0);
  EXPECT_FALSE(TraceRingReader(zeros.data(), zeros.size()).valid());
  EXPECT_FALSE(PrepareTraceRing(zeros.data(), kTraceRingMinimumSize - 1));
}

}  // namespace
}  // namespace q9
