// The FILE destination: two files "<base>1.TRC" and "<base>2.TRC" written in
// turn. When the next record would take the current file past its maximum
// size, writing goes on in the other file, emptied first.
//
// Every process that traces to the same base shares which file is current and
// its size through the trace section, so writers in several processes switch
// together and never interleave within a record (each record is one append,
// under the trace mutex).
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/env.h"
#include "trace/trace_output.h"
#include "trace/trace_section.h"

namespace q9 {

// "%s%d.TRC" with the base and `index` (1 or 2).
std::string TraceFileName(const std::string& base, int index);

class FileTraceOutput final : public TraceOutput {
 public:
  // `state` is shared with the other writers (or private to this process)
  // and must outlive the output.
  FileTraceOutput(FileSystem& files, std::string base, uint64_t max_bytes, TraceFileState* state);

  // Chooses the file written first: the only one that exists, else the one
  // modified last (file 1 on equal times or when neither exists), and makes
  // it the current file of every writer. When the shared state shows another
  // writer on this pair (its file has the size the state records), that
  // writer's file is kept; the trace section forgets the state once no
  // process uses it, so only a live writer's choice is kept. Call under the
  // trace mutex.
  void ChooseCurrentFile();

  void Write(uint32_t, std::string_view line) override;

 private:
  bool WriterIsActive();
  std::string CurrentFileName() const;
  void Reopen();
  void SwitchFile();

  FileSystem& files_;
  const std::string base_;
  const uint64_t base_id_;
  const uint64_t max_bytes_;
  TraceFileState* state_;
  std::unique_ptr<WritableFile> file_;
  uint32_t generation_ = 0;
  bool opened_ = false;  // the current generation was opened (or tried)
};

}  // namespace q9
