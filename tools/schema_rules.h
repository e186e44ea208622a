// What the library requires of a schema (docs/schema-guide.md), as findings.
#pragma once

#include "tools/engine/schema_files.h"
#include "tools/finding.h"

namespace cfgexctl {

// Checks a schema that compiles.
std::vector<Finding> HoldAgainstLibrary(const std::wstring& path, const SchemaFiles& files);

}  // namespace cfgexctl
