#include "platform/posix/errno_map.h"

#include <cerrno>

#include <gtest/gtest.h>

#include "temp_dir.h"

namespace q9 {
namespace {

TEST(ErrnoMapTest, MissingParentFolderIsThreeAndTheTableGivesTheWindowsNumbers) {
  testing::TempDir dir;
  EXPECT_EQ(OsErrorFromErrno(ENOENT, dir.Path("missing.xml")), 2);
  EXPECT_EQ(OsErrorFromErrno(ENOENT, dir.Path("no/missing.xml")), 3);
  EXPECT_EQ(OsErrorFromErrno(ENOENT), 2);

  const std::pair<int, OsError> table[] = {
      {0, 0},         {EACCES, 5},        {EPERM, 5},   {EEXIST, 183},    {ENOTEMPTY, 145},
      {ENOSPC, 112},  {EROFS, 19},        {EBUSY, 32},  {ETXTBSY, 32},    {ENAMETOOLONG, 206},
      {ENOTDIR, 267}, {EINVAL, 87},       {EIO, 1117},  {EXDEV, 31},      {ELOOP, 31},
  };
  for (const auto& [err, expected] : table) EXPECT_EQ(OsErrorFromErrno(err), expected) << err;
}

}  // namespace
}  // namespace q9
