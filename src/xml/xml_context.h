// What one run of the tool keeps of the XML layer. The Installer owns one and
// hands it to every operation that reads or writes templates, so whatever is
// expensive to build (compiled schemas, facts read from templates) is built
// once per run and never shared between runs. Not thread-safe: the tool runs
// on one thread.
#pragma once

#include "platform/env.h"

namespace q9 {

class XmlContext {
 public:
  explicit XmlContext(Env& env) : env_(env) {}
  XmlContext(const XmlContext&) = delete;
  XmlContext& operator=(const XmlContext&) = delete;

  // Every template is read and written through this Env.
  Env& env() const { return env_; }

 private:
  Env& env_;
};

}  // namespace q9
