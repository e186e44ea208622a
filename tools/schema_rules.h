// What the library asks of a schema beyond being one: docs/schema-guide.md, as findings.
#pragma once

#include "tools/engine/schema_files.h"
#include "tools/finding.h"

namespace cfgexctl {

// Holds a schema that compiles against what the library asks for.
std::vector<Finding> HoldAgainstLibrary(const std::wstring& path, const SchemaFiles& files);

}  // namespace cfgexctl
