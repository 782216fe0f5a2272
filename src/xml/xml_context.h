// What one run of the tool keeps of the XML layer. The Installer owns one and
// hands it to every operation that reads or writes templates, so whatever is
// expensive to build (compiled schemas, facts read from templates) is built
// once per run and never shared between runs. Not thread-safe: the tool runs
// on one thread.
#pragma once

#include <memory>

#include "platform/env.h"
#include "xml/template_facts.h"

namespace q9 {

class SchemaCache;

class XmlContext {
 public:
  explicit XmlContext(Env& env);
  ~XmlContext();
  XmlContext(const XmlContext&) = delete;
  XmlContext& operator=(const XmlContext&) = delete;

  // Every template is read and written through this Env.
  Env& env() const { return env_; }
  // The schemas compiled in this run; ValidateFile fills it.
  SchemaCache& schemas() const { return *schemas_; }
  // Identity and version values of templates, read once per file version.
  TemplateFacts& facts() { return facts_; }

 private:
  Env& env_;
  std::unique_ptr<SchemaCache> schemas_;
  TemplateFacts facts_{*this};
};

}  // namespace q9
