// The files of a schema, and why the library refuses them.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/dom/fault.h"

namespace cfgex::internal {

// Where a component of the schema is declared.
struct Origin {
  std::wstring file;
  Place place;
};

class SchemaFiles {
 public:
  // Reads the schema in the file with all that it includes, imports and redefines, and compiles it
  // as the library does. Faults are in Faults afterwards; none is raised.
  explicit SchemaFiles(const std::wstring& path);
  SchemaFiles(const SchemaFiles&) = delete;
  SchemaFiles& operator=(const SchemaFiles&) = delete;
  ~SchemaFiles();

  const std::vector<Fault>& Faults() const;
  bool IsUsable() const;  // no fault but warnings

  // The global component with this name, of the kind "element", "complexType" or "simpleType"; in
  // any file. With a `child`, the first element of that name declared somewhere in it. The file of
  // the schema, without a place, where there is none.
  Origin Find(std::string_view kind, const std::wstring& name,
              const std::wstring& child = {}) const;
  // The schema element of the main file, and an attribute of it.
  Origin Root() const;
  std::wstring RootAttribute(const char* name) const;

 private:
  class CImpl;
  std::unique_ptr<CImpl> m_pImpl;
};

}  // namespace cfgex::internal
