#include "trace/file_trace_output.h"

namespace q9 {
namespace {

// FNV-1a; 0 is kept for "nobody chose yet".
uint64_t BaseId(const std::string& base) {
  uint64_t hash = 1469598103934665603ull;
  for (const char c : base) {
    hash ^= static_cast<unsigned char>(c);
    hash *= 1099511628211ull;
  }
  return hash == 0 ? 1 : hash;
}

}  // namespace

std::string TraceFileName(const std::string& base, int index) {
  return base + std::to_string(index) + ".TRC";
}

FileTraceOutput::FileTraceOutput(FileSystem& files, std::string base, uint64_t max_bytes,
                                 TraceFileState* state)
    : files_(files), base_(std::move(base)), base_id_(BaseId(base_)), max_bytes_(max_bytes),
      state_(state) {}

bool FileTraceOutput::WriterIsActive() {
  if (state_->base_id != base_id_) return false;
  FileInfo current;
  return files_.GetFileInfo(CurrentFileName(), &current) == os_error::kSuccess &&
         current.size == state_->size;
}

void FileTraceOutput::ChooseCurrentFile() {
  // Modification times are coarse; while another process writes the pair,
  // its choice is the one that holds.
  if (WriterIsActive()) return;
  FileInfo first;
  FileInfo second;
  const bool has_first = files_.GetFileInfo(TraceFileName(base_, 1), &first) == os_error::kSuccess;
  const bool has_second =
      files_.GetFileInfo(TraceFileName(base_, 2), &second) == os_error::kSuccess;
  const bool take_second =
      has_second && (!has_first || second.modified_ns > first.modified_ns);
  const uint32_t index = take_second ? 2 : 1;
  const uint64_t size = take_second ? second.size : (has_first ? first.size : 0);
  if (state_->base_id != base_id_ || state_->index != index) ++state_->generation;
  state_->base_id = base_id_;
  state_->index = index;
  state_->size = size;
}

void FileTraceOutput::Reopen() {
  file_.reset();
  generation_ = state_->generation;
  opened_ = true;
  // A file that cannot be opened loses this generation's records; the tool
  // goes on.
  (void)files_.OpenWritable(CurrentFileName(), OpenMode::kAppend, &file_);
}

void FileTraceOutput::SwitchFile() {
  state_->index = state_->index == 1 ? 2 : 1;
  state_->size = 0;
  ++state_->generation;
  // Emptied through a descriptor of its own: records go through appending
  // ones only, which other writers' appends can never overwrite.
  std::unique_ptr<WritableFile> emptied;
  if (files_.OpenWritable(CurrentFileName(), OpenMode::kTruncate, &emptied) == os_error::kSuccess) {
    (void)emptied->Close();
  }
  Reopen();
}

std::string FileTraceOutput::CurrentFileName() const {
  return TraceFileName(base_, static_cast<int>(state_->index));
}

void FileTraceOutput::Write(uint32_t, std::string_view line) {
  // Another process with another base took the shared state over.
  if (state_->base_id != base_id_) ChooseCurrentFile();
  if (!opened_ || generation_ != state_->generation) Reopen();
  if (state_->size > 0 && state_->size + line.size() > max_bytes_) SwitchFile();
  if (file_ != nullptr && file_->Append(line) == os_error::kSuccess) state_->size += line.size();
}

}  // namespace q9
