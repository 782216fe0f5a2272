// Named objects shared between processes of the communication stack (the
// trace section, its mutex and the shared-memory trace output).
#pragma once

namespace q9 {

class SharedObjects {
 public:
  virtual ~SharedObjects() = default;
};

}  // namespace q9
