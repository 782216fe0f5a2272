#include "trace/trace_destination.h"

#include <algorithm>
#include <cstdio>

#include "platform/shared_objects.h"
#include "trace/file_trace_output.h"
#include "trace/trace_engine_output.h"
#include "trace/trace_ring.h"

namespace q9 {
namespace {

std::string_view WithoutLineEnd(std::string_view line) {
  if (!line.empty() && line.back() == '\n') line.remove_suffix(1);
  return line;
}

class DebuggerOutput final : public TraceOutput {
 public:
  explicit DebuggerOutput(Process& process) : process_(process) {}
  void Write(uint32_t, std::string_view line) override { process_.DebugOutput(line); }

 private:
  Process& process_;
};

// The trace device, opened at start-up.
class DeviceOutput final : public TraceOutput {
 public:
  explicit DeviceOutput(std::unique_ptr<WritableFile> device) : device_(std::move(device)) {}
  void Write(uint32_t, std::string_view line) override { (void)device_->Append(line); }

 private:
  std::unique_ptr<WritableFile> device_;
};

// A serial port, opened with the first record; one that cannot be opened
// takes no records until the configuration is read again.
class SerialOutput final : public TraceOutput {
 public:
  SerialOutput(SharedObjects& shared, std::string path) : shared_(shared), path_(std::move(path)) {}
  void Write(uint32_t, std::string_view line) override {
    if (!tried_) {
      tried_ = true;
      (void)shared_.OpenSerialPort(path_, &port_);
    }
    if (port_ != nullptr) (void)port_->Append(line);
  }

 private:
  SharedObjects& shared_;
  const std::string path_;
  std::unique_ptr<WritableFile> port_;
  bool tried_ = false;
};

class RingOutput final : public TraceOutput {
 public:
  RingOutput(std::unique_ptr<SharedMemory> memory, uint32_t slot_count)
      : memory_(std::move(memory)), slot_count_(slot_count) {}
  void Write(uint32_t, std::string_view line) override {
    AppendToTraceRing(memory_->address(), slot_count_, WithoutLineEnd(line));
  }

 private:
  std::unique_ptr<SharedMemory> memory_;
  const uint32_t slot_count_;
};

std::unique_ptr<TraceOutput> OpenDevice(const TraceOutputContext& context) {
  std::unique_ptr<WritableFile> device;
  const OsError error = context.env.shared().OpenDevice(context.names.vxd_device, &device);
  if (error == os_error::kSuccess) return std::make_unique<DeviceOutput>(std::move(device));
  ReportToDebugger(context.env.process(),
                   error == os_error::kNotSupported ? kVxdNotSupportedText : kVxdFailedText);
  return nullptr;
}

std::unique_ptr<TraceOutput> OpenFile(const TraceConfig& config,
                                      const TraceOutputContext& context) {
  auto output = std::make_unique<FileTraceOutput>(context.env.files(), TraceFileBase(config),
                                                  config.bytes_per_file, context.file_state);
  output->ChooseCurrentFile();
  return output;
}

std::unique_ptr<TraceOutput> OpenRing(const TraceConfig& config,
                                      const TraceOutputContext& context) {
  const size_t size = std::max(config.shared_memory_size, kTraceRingMinimumSize);
  std::unique_ptr<SharedMemory> memory;
  const OsError error = context.env.shared().MapSharedMemory(context.names.ring, size, true, &memory);
  const uint32_t slot_count =
      error == os_error::kSuccess ? PrepareTraceRing(memory->address(), memory->size()) : 0;
  if (slot_count == 0) {
    char text[96];
    std::snprintf(text, sizeof text, "ERROR: Can't create Q9SDD_Trace, GetLastError()=%d \n",
                  static_cast<int>(error));
    ReportToDebugger(context.env.process(), text);
    return nullptr;
  }
  return std::make_unique<RingOutput>(std::move(memory), slot_count);
}

}  // namespace

void ReportToDebugger(Process& process, std::string_view text) {
  if (!text.empty() && text.back() == '\n') {
    process.DebugOutput(text);
    return;
  }
  std::string line(text);
  line += '\n';
  process.DebugOutput(line);
}

std::unique_ptr<TraceOutput> OpenTraceOutput(const TraceConfig& config,
                                             const TraceOutputContext& context) {
  switch (config.output) {
    case TraceOutputKind::kVxd: return OpenDevice(context);
    case TraceOutputKind::kCom1:
      return std::make_unique<SerialOutput>(context.env.shared(), context.names.com1);
    case TraceOutputKind::kCom2:
      return std::make_unique<SerialOutput>(context.env.shared(), context.names.com2);
    case TraceOutputKind::kFile: return OpenFile(config, context);
    case TraceOutputKind::kSharedMemory: return OpenRing(config, context);
    case TraceOutputKind::kDebugger: return std::make_unique<DebuggerOutput>(context.env.process());
    case TraceOutputKind::kTraceEngine:
      return OpenTraceEngine(context.env, context.process_module);
    case TraceOutputKind::kPipe: break;
  }
  ReportToDebugger(context.env.process(), kNoHandlerText);
  return nullptr;
}

}  // namespace q9
