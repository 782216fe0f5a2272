#include "trace/trace_ring.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace q9 {
namespace {

// Order, lapping and late readers are covered with the reader program.
TEST(TraceRingTest, KeepsAnExistingRingCutsLongRecordsAndRejectsOtherMemoryOrHeaders) {
  std::vector<unsigned char> memory(sizeof(TraceRingHeader) + 4 * sizeof(TraceRingSlot));
  ASSERT_EQ(PrepareTraceRing(memory.data(), memory.size()), 4u);
  AppendToTraceRing(memory.data(), 4, "kept");
  ASSERT_EQ(PrepareTraceRing(memory.data(), memory.size()), 4u);
  AppendToTraceRing(memory.data(), 4, std::string(1000, 'y'));
  std::vector<std::string> records;
  TraceRingReader reader(memory.data(), memory.size());
  EXPECT_EQ(reader.ReadNew([&](std::string_view r) { records.emplace_back(r); }), 0u);
  EXPECT_EQ(records,
            (std::vector<std::string>{"kept", std::string(sizeof(TraceRingSlot::text) - 1, 'y')}));

  EXPECT_FALSE(TraceRingReader(memory.data(), memory.size() - 1).valid());
  std::vector<unsigned char> zeros(kTraceRingMinimumSize, 0);
  EXPECT_FALSE(TraceRingReader(zeros.data(), zeros.size()).valid());
  EXPECT_EQ(PrepareTraceRing(zeros.data(), kTraceRingMinimumSize - 1), 0u);

  // Any process may scribble on the header; a reader that took the slot count
  // when it mapped the ring neither divides by zero nor leaves the mapping.
  auto* header = reinterpret_cast<TraceRingHeader*>(memory.data());
  records.clear();
  for (const uint32_t corrupt : {0u, 0xFFFFFFFFu}) {
    header->slot_count = corrupt;
    AppendToTraceRing(memory.data(), 4, "r" + std::to_string(corrupt));
    reader.ReadNew([&](std::string_view r) { records.emplace_back(r); });
  }
  EXPECT_EQ(records, (std::vector<std::string>{"r0", "r4294967295"}));
}

}  // namespace
}  // namespace q9
