// Walking a folder by index with EnumFile, as the store operations do: once
// on the plain file system (every call lists the folder again) and once on
// the caching one the program runs on.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <string>

#include "platform/caching_file_system.h"
#include "store/file_operator.h"

namespace q9 {
namespace {

// A fresh folder under /tmp holding `count` empty templates; removed at the end.
class FileFolder {
 public:
  explicit FileFolder(int count) {
    root_ = std::filesystem::temp_directory_path() /
            ("q9enum-" + std::to_string(std::random_device()()));
    std::filesystem::create_directory(root_);
    for (int i = 0; i < count; ++i) {
      std::ofstream(root_ / ("Template" + std::to_string(i) + ".xml"));
    }
  }
  FileFolder(const FileFolder&) = delete;
  FileFolder& operator=(const FileFolder&) = delete;
  ~FileFolder() { std::filesystem::remove_all(root_); }
  std::string path() const { return root_.string(); }

 private:
  std::filesystem::path root_;
};

void WalkByIndex(benchmark::State& state, bool cached) {
  const int count = static_cast<int>(state.range(0));
  const FileFolder folder(count);
  Env& real = Env::Default();
  for (auto _ : state) {
    // A new cache each round, so every round pays for its first listing.
    CachingFileSystem caching(real.files());
    FileSystem& files = cached ? static_cast<FileSystem&>(caching) : real.files();
    Env env(files, real.registry(), real.folders(), real.libraries(), real.shared(),
            real.clock(), real.process());
    XmlContext xml(env);
    const StorePaths paths(env, folder.path(), folder.path());
    FileOperator operations(env, xml, paths);
    std::string name;
    uint32_t index = 0;
    while (operations.EnumFile(folder.path(), index, &name) == PGSP_OK) ++index;
    if (index != static_cast<uint32_t>(count)) state.SkipWithError("walk ended early");
  }
  state.SetComplexityN(count);
}

void BM_EnumFileWalkPlain(benchmark::State& state) { WalkByIndex(state, false); }
void BM_EnumFileWalkCached(benchmark::State& state) { WalkByIndex(state, true); }

BENCHMARK(BM_EnumFileWalkPlain)->Arg(250)->Arg(500)->Arg(1000)->Arg(2000)
    ->Unit(benchmark::kMillisecond)->Complexity();
BENCHMARK(BM_EnumFileWalkCached)->Arg(250)->Arg(500)->Arg(1000)->Arg(2000)
    ->Unit(benchmark::kMillisecond)->Complexity();

}  // namespace
}  // namespace q9

BENCHMARK_MAIN();
