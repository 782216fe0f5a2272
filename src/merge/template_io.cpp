#include "merge/template_io.h"

#include "xml/template_namespace.h"

namespace q9 {

ResultCode LoadTemplate(XmlContext& xml, const std::string& path, TemplateDocument* document,
                        TwinLoad* twin) {
  const std::string file = ApplyFileNameRule(path);
  const ResultCode size = CheckFileSize(xml, file);
  if (size != PGSP_OK) return size;
  const ResultCode loaded = TemplateDocument::Load(xml, file, document, nullptr, twin);
  if (loaded == PGSP_OK && document->loaded()) xml.facts().Loaded(path, *document);
  return loaded;
}

}  // namespace q9
