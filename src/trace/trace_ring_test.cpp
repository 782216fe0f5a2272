#include "trace/trace_ring.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace q9 {
namespace {

// A ring of `slots` slots in ordinary memory.
struct Ring {
  explicit Ring(size_t slots) : memory(sizeof(TraceRingHeader) + slots * sizeof(TraceRingSlot)) {
    EXPECT_TRUE(PrepareTraceRing(memory.data(), memory.size()));
  }
  void* data() { return memory.data(); }
  std::vector<unsigned char> memory;
};

std::vector<std::string> ReadAll(TraceRingReader& reader, uint64_t* lost) {
  std::vector<std::string> records;
  *lost = reader.ReadNew([&](std::string_view text) { records.emplace_back(text); });
  return records;
}

TEST(TraceRingTest, ReaderSeesRecordsInOrderAsTheyArrive) {
  Ring ring(8);
  TraceRingReader reader(ring.data(), ring.memory.size());
  ASSERT_TRUE(reader.valid());
  uint64_t lost = 0;
  EXPECT_TRUE(ReadAll(reader, &lost).empty());
  AppendToTraceRing(ring.data(), "first");
  AppendToTraceRing(ring.data(), "second");
  EXPECT_EQ(ReadAll(reader, &lost), (std::vector<std::string>{"first", "second"}));
  EXPECT_EQ(lost, 0u);
  AppendToTraceRing(ring.data(), "third");
  EXPECT_EQ(ReadAll(reader, &lost), (std::vector<std::string>{"third"}));
}

TEST(TraceRingTest, LappedRecordsAreCountedAsLost) {
  Ring ring(4);
  TraceRingReader reader(ring.data(), ring.memory.size());
  for (int i = 1; i <= 10; ++i) AppendToTraceRing(ring.data(), "r" + std::to_string(i));
  uint64_t lost = 0;
  EXPECT_EQ(ReadAll(reader, &lost), (std::vector<std::string>{"r7", "r8", "r9", "r10"}));
  EXPECT_EQ(lost, 6u);

  // A reader that starts late begins with the oldest record still held.
  TraceRingReader late(ring.data(), ring.memory.size());
  EXPECT_EQ(ReadAll(late, &lost), (std::vector<std::string>{"r7", "r8", "r9", "r10"}));
  EXPECT_EQ(lost, 0u);
}

TEST(TraceRingTest, KeepsAnExistingRingCutsLongRecordsAndRejectsOtherMemory) {
  Ring ring(4);
  AppendToTraceRing(ring.data(), "kept");
  EXPECT_TRUE(PrepareTraceRing(ring.data(), ring.memory.size()));
  AppendToTraceRing(ring.data(), std::string(1000, 'y'));
  TraceRingReader reader(ring.data(), ring.memory.size());
  uint64_t lost = 0;
  EXPECT_EQ(ReadAll(reader, &lost),
            (std::vector<std::string>{"kept", std::string(sizeof(TraceRingSlot::text) - 1, 'y')}));

  EXPECT_FALSE(TraceRingReader(ring.data(), ring.memory.size() - 1).valid());
  std::vector<unsigned char> zeros(kTraceRingMinimumSize, 0);
  EXPECT_FALSE(TraceRingReader(zeros.data(), zeros.size()).valid());
  EXPECT_FALSE(PrepareTraceRing(zeros.data(), kTraceRingMinimumSize - 1));
}

}  // namespace
}  // namespace q9
