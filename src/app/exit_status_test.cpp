#include "app/exit_status.h"

#include <gtest/gtest.h>

namespace q9 {
namespace {

TEST(ExitStatusTest, KeepsTheLowByteButNeverTurnsAFailureIntoZero) {
  const std::pair<ResultCode, int> cases[] = {
      {0, 0},     {5, 5},       {255, 255}, {8512, 64},  // 0x2140
      {256, 255}, {8704, 255},  {-1, 255},  {-256, 255},
  };
  for (const auto& [result, status] : cases) EXPECT_EQ(ExitStatus(result), status) << result;
}

}  // namespace
}  // namespace q9
