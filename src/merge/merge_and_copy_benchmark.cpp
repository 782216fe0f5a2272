// MergeAndCopyTemplates over generated stores (tools/store-generator), on the
// caching file system the program runs on: into an empty meta tree, and into
// one that holds the same templates already, so that every file is merged.
// The store lies under $Q9_BENCH_DIR (default /dev/shm, where a flush costs
// nothing). Each run is one merge; --benchmark_repetitions=3 gives medians,
// and scripts/merge_benchmark.sh sets the floor beside them.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <string>
#include <unistd.h>

#include "log/install_log.h"
#include "merge/merge_and_copy.h"
#include "platform/caching_file_system.h"
#include "platform/path.h"
#include "store/file_operator.h"
#include "store/store_paths.h"
#include "store_generator.h"
#include "xml/xml_context.h"

namespace q9 {
namespace {

class NullFile : public WritableFile {
 public:
  OsError Append(std::string_view) override { return 0; }
  OsError Flush() override { return 0; }
  OsError Close() override { return 0; }
};

// Counts the writes that end in an atomic replace of a file.
class CountingFileSystem : public FileSystem {
 public:
  explicit CountingFileSystem(FileSystem& base) : base_(base) {}
  int saves = 0;

  void LookUpNamesIn(FolderNames* names) override { base_.LookUpNamesIn(names); }
  OsError ListDirectory(const std::string& d, std::vector<DirEntry>* e) override {
    return base_.ListDirectory(d, e);
  }
  OsError ListDirectoryShared(const std::string& d,
                              std::shared_ptr<const std::vector<DirEntry>>* e) override {
    return base_.ListDirectoryShared(d, e);
  }
  OsError GetFileInfo(const std::string& p, FileInfo* i) override { return base_.GetFileInfo(p, i); }
  OsError SetReadOnly(const std::string& p, bool r) override { return base_.SetReadOnly(p, r); }
  OsError CreateDirectory(const std::string& p) override { return base_.CreateDirectory(p); }
  OsError DeleteFile(const std::string& p) override { return base_.DeleteFile(p); }
  OsError CopyFile(const std::string& f, const std::string& t, bool o) override {
    ++saves;
    return base_.CopyFile(f, t, o);
  }
  OsError CopyTree(const std::string& f, const std::string& t) override { return base_.CopyTree(f, t); }
  OsError DeleteTree(const std::string& p) override { return base_.DeleteTree(p); }
  OsError ReadFileAtMost(const std::string& p, uint64_t limit, std::string* c) override {
    return base_.ReadFileAtMost(p, limit, c);
  }
  OsError WriteFileAtomic(const std::string& p, std::string_view c) override {
    ++saves;
    return base_.WriteFileAtomic(p, c);
  }
  OsError OpenSequential(const std::string& p, std::unique_ptr<SequentialFile>* f) override {
    return base_.OpenSequential(p, f);
  }
  OsError OpenWritable(const std::string& p, OpenMode m, std::unique_ptr<WritableFile>* f) override {
    return base_.OpenWritable(p, m, f);
  }
  void ConfineLinksBelow(std::vector<std::string> roots) override {
    base_.ConfineLinksBelow(std::move(roots));
  }

 private:
  FileSystem& base_;
};

const char* const kKinds[] = {"DefaultLogDevices", "Protocols", "Boards"};

void Check(bool ok, const char* what) {
  if (!ok) {
    std::fprintf(stderr, "merge benchmark: %s failed\n", what);
    std::abort();
  }
}

// Empties the meta kind folders, or fills them from `snapshot` when given.
void ResetMeta(FileSystem& fs, const std::string& root, const std::string& snapshot) {
  const std::string meta = JoinPath(root, "meta");
  for (const char* kind : kKinds) {
    (void)fs.DeleteTree(JoinPath(meta, kind));
    if (snapshot.empty()) {
      Check(fs.CreateDirectory(JoinPath(meta, kind)) == 0, "creating a meta folder");
    } else {
      Check(fs.CopyTree(JoinPath(snapshot, kind), JoinPath(meta, kind)) == 0, "restoring meta");
    }
  }
}

// One run of the program's merge on a fresh cache and context.
ResultCode MergeOnce(const std::string& root, int* saves) {
  Env& real = Env::Default();
  CountingFileSystem counting(real.files());
  CachingFileSystem cached(counting);
  Env env(cached, real.registry(), real.folders(), real.libraries(), real.shared(), real.clock(),
          real.process());
  InstallLog log(env, std::make_unique<NullFile>());
  XmlContext xml(env);
  StorePaths paths(env, JoinPath(root, "data"), root);
  FileOperator files(env, xml, paths);
  Merger merger(log, files);
  const ResultCode result = merger.MergeAndCopyTemplates(root);
  *saves = counting.saves;
  return result;
}

void BM_MergeAndCopyTemplates(benchmark::State& state, bool prefilled) {
  const int count = static_cast<int>(state.range(0));
  const char* base = std::getenv("Q9_BENCH_DIR");
  const std::string root = std::string(base != nullptr ? base : "/dev/shm") + "/q9-merge-bench-" +
                           std::to_string(::getpid());
  FileSystem& fs = Env::Default().files();
  (void)fs.DeleteTree(root);
  Check(GenerateStore(Env::Default(), Q9_SAMPLE_STORE, root, count) == 0, "generating the store");
  (void)fs.CreateDirectory(JoinPath(root, "data"));
  ResetMeta(fs, root, "");
  std::string snapshot;
  int saves = 0;
  if (prefilled) {
    Check(MergeOnce(root, &saves) == PGSP_OK, "filling meta");
    snapshot = JoinPath(root, "meta.filled");
    Check(fs.CopyTree(JoinPath(root, "meta"), snapshot) == 0, "keeping meta");
  }
  for (auto _ : state) {
    state.PauseTiming();
    ResetMeta(fs, root, snapshot);
    state.ResumeTiming();
    Check(MergeOnce(root, &saves) == PGSP_OK, "the merge");
  }
  state.counters["atomic_saves"] = saves;
  (void)fs.DeleteTree(root);
}

BENCHMARK_CAPTURE(BM_MergeAndCopyTemplates, into_empty_meta, false)
    ->Arg(1000)->Arg(2000)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK_CAPTURE(BM_MergeAndCopyTemplates, into_filled_meta, true)
    ->Arg(1000)->Arg(2000)->Unit(benchmark::kMillisecond)->Iterations(1);

}  // namespace
}  // namespace q9

BENCHMARK_MAIN();
