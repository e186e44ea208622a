// check-schema: does a schema compile, and does it declare what the library requires.

#include <algorithm>

#include "tools/commands.h"
#include "tools/schema_rules.h"

namespace cfgexctl {

void CheckSchema(const Arguments& arguments, Report& report) {
  const std::wstring path = Wide(arguments.schema);
  ReadFileBytes(path);  // missing is not invalid
  const Progress progress("checking " + arguments.schema);
  const SchemaFiles files(path);
  std::vector<Finding> findings;
  for (const Fault& fault : files.Faults()) findings.push_back(Explain(fault, path));
  if (files.IsUsable()) {
    for (Finding& finding : HoldAgainstLibrary(path, files)) findings.push_back(std::move(finding));
  }
  const auto warnings = static_cast<std::size_t>(std::count_if(
      findings.begin(), findings.end(), [](const Finding& finding) { return finding.is_warning; }));
  const std::size_t errors = findings.size() - warnings;
  for (const Finding& finding : findings) report.Line(AsText(finding));
  std::wstring summary = OnOneLine(path) + (errors == 0 ? L": usable" : L": not usable, ");
  if (errors > 0) summary += Counted(errors, L"fault", L"faults");
  if (warnings > 0) summary += L", " + Counted(warnings, L"warning", L"warnings");
  report.Line(summary);
  report.code = errors == 0 ? kOk : kInvalid;
  report.data["schema"] = arguments.schema;
  report.data["errors"] = errors;
  report.data["warnings"] = warnings;
  report.data["findings"] = AsJson(findings);
}

}  // namespace cfgexctl
