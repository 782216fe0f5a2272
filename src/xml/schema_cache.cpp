#include "xml/schema_cache.h"

namespace q9 {

const CompiledSchema* SchemaCache::Find(const std::string& schema_path) const {
  const auto found = schemas_.find(schema_path);
  return found != schemas_.end() ? &found->second : nullptr;
}

const CompiledSchema& SchemaCache::Keep(const std::string& schema_path, CompiledSchema schema) {
  return schemas_.insert_or_assign(schema_path, std::move(schema)).first->second;
}

}  // namespace q9
