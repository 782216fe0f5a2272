#include "trace_reader.h"

#include <chrono>
#include <cstdlib>
#include <memory>
#include <thread>

#include "trace/trace_ring.h"
#include "trace/trace_section.h"

namespace q9 {
namespace {

constexpr char kUsage[] =
    "usage: q9trace-reader [--dump | --reconfigure] [--name NAME] [--section NAME] "
    "[--interval MS]\n";

struct ReaderOptions {
  bool dump = false;
  bool reconfigure = false;
  std::string ring = kTraceRingName;
  std::string section = kTraceSectionName;
  int interval_ms = 100;
};

bool ParseOptions(const std::vector<std::string>& args, ReaderOptions* options) {
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string& arg = args[i];
    const bool has_value = i + 1 < args.size();
    if (arg == "--dump") {
      options->dump = true;
    } else if (arg == "--reconfigure") {
      options->reconfigure = true;
    } else if (arg == "--name" && has_value) {
      options->ring = args[++i];
    } else if (arg == "--section" && has_value) {
      options->section = args[++i];
    } else if (arg == "--interval" && has_value) {
      options->interval_ms = std::atoi(args[++i].c_str());
      if (options->interval_ms <= 0) return false;
    } else {
      return false;
    }
  }
  return true;
}

// Prints what the reader has not shown yet; reports records lost to writers
// that went round the ring faster than the reader looked.
void PrintNew(TraceRingReader& reader, std::ostream& out, std::ostream& err) {
  const uint64_t lost = reader.ReadNew([&](std::string_view record) { out << record << '\n'; });
  out.flush();
  if (lost > 0) err << "q9trace-reader: " << lost << " records overwritten before they were read\n";
}

// The ring being followed, mapped for reading only.
struct FollowedRing {
  std::unique_ptr<SharedMemory> memory;
  std::unique_ptr<TraceRingReader> reader;
};

// Maps the ring under `name`; false while there is none (it appears with the
// first process that traces to it).
bool MapRing(SharedObjects& shared, const std::string& name, FollowedRing* ring) {
  std::unique_ptr<SharedMemory> memory;
  if (shared.MapSharedMemoryReadOnly(name, &memory) != os_error::kSuccess) return false;
  auto reader = std::make_unique<TraceRingReader>(memory->address(), memory->size());
  if (!reader->valid()) return false;
  *ring = FollowedRing{std::move(memory), std::move(reader)};
  return true;
}

// True when the name now stands for another object: a writer removed the
// ring and made a new one.
bool Replaced(SharedObjects& shared, const std::string& name, const FollowedRing& ring) {
  std::unique_ptr<SharedMemory> latest;
  return shared.MapSharedMemoryReadOnly(name, &latest) == os_error::kSuccess &&
         latest->object_id() != ring.memory->object_id();
}

int Follow(const ReaderOptions& options, SharedObjects& shared, std::ostream& out,
           std::ostream& err, const std::function<bool()>& keep_following) {
  FollowedRing ring;
  while (keep_following()) {
    // A ring set up anew may have another size than the mapping.
    if (ring.reader != nullptr &&
        (ring.reader->Restarted() || Replaced(shared, options.ring, ring))) {
      ring = FollowedRing{};
    }
    if (ring.reader != nullptr || MapRing(shared, options.ring, &ring)) {
      PrintNew(*ring.reader, out, err);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(options.interval_ms));
  }
  return 0;
}

int Dump(const ReaderOptions& options, SharedObjects& shared, std::ostream& out,
         std::ostream& err) {
  std::unique_ptr<SharedMemory> memory;
  const OsError error = shared.MapSharedMemoryReadOnly(options.ring, &memory);
  if (error != os_error::kSuccess) {
    err << "q9trace-reader: cannot open " << options.ring << " (error " << error << ")\n";
    return 1;
  }
  TraceRingReader reader(memory->address(), memory->size());
  if (!reader.valid()) {
    err << "q9trace-reader: " << options.ring << " holds no trace records\n";
    return 1;
  }
  PrintNew(reader, out, err);
  return 0;
}

}  // namespace

int RunTraceReader(const std::vector<std::string>& args, SharedObjects& shared, std::ostream& out,
                   std::ostream& err, const std::function<bool()>& keep_following) {
  ReaderOptions options;
  if (!ParseOptions(args, &options) || (options.dump && options.reconfigure)) {
    err << kUsage;
    return 2;
  }
  if (options.reconfigure) {
    const OsError error = SignalTraceReconfiguration(shared, options.section);
    if (error == os_error::kSuccess) return 0;
    err << "q9trace-reader: cannot open " << options.section << " (error " << error << ")\n";
    return 1;
  }
  if (options.dump) return Dump(options, shared, out, err);
  return Follow(options, shared, out, err, keep_following);
}

}  // namespace q9
