// check: is a configuration file valid, and if not, what is wrong with it.

#include <map>
#include <unordered_map>

#include "platform/os/system.h"
#include "tools/commands.h"

namespace cfgexctl {
namespace {

// The findings in one file. The first kMostFindings of each kind are kept.
class Check {
 public:
  explicit Check(const LoadedFile& file) : m_File(file) {}

  void Faults();
  void Frame();       // what the library requires of a file beyond the schema
  void Header();      // of a stand-alone document
  void Identities();  // ids that occur twice, or cannot be found
  void References();  // what leads nowhere, what nothing refers to

  std::vector<Finding> findings;
  std::size_t errors = 0;
  std::size_t warnings = 0;

 private:
  void Add(const Element& element, bool isWarning, const char* rule, std::wstring message,
           std::wstring advice = {});

  const LoadedFile& m_File;
};

void Check::Add(const Element& element, bool isWarning, const char* rule, std::wstring message,
                std::wstring advice) {
  std::size_t& count = isWarning ? warnings : errors;
  if (++count > kMostFindings) return;
  Fault fault{.rule = rule, .message = std::move(message)};
  fault.element = element;
  fault.place = m_File.PlaceOf(element);
  fault.is_warning = isWarning;
  findings.push_back(Explain(fault, m_File.Path()));
  findings.back().advice = std::move(advice);
}

void Check::Faults() {
  const FaultList list = m_File.Validate(kMostFindings);
  findings = Explain(list, m_File.Path());
  errors = list.total;
}

void Check::Frame() {
  if (m_File.Root()->get_tagName() != L"Configuration")
    Add(m_File.Root(), false, "root", L"The root element is not Configuration.");
  if (m_File.Path().rfind(L'.') == std::wstring::npos)
    Add(m_File.Root(), true, "file name",
        L"The path has no dot, so the library keeps no backup beside it.");
}

void Check::Header() {
  const auto id = m_File.Root()->getAttribute(L"instance_id");
  if (!id) return;
  if (!FindInstanceElement(m_File.Root(), id->c_str(), L"*"))
    Add(m_File.Root(), false, "instance_id",
        L"This is the document of the instance " + Quoted(*id) + L", which is not in it.");
  unsigned long version[3] = {};
  m_File.Option().GetSchemaVersion(version[0], version[1], version[2]);
  constexpr const wchar_t* kNames[3] = {L"major_version", L"minor_version", L"revision"};
  for (std::size_t index = 0; index < 3; ++index) {
    const auto number = m_File.Root()->getAttribute(kNames[index]);
    if (!number) {
      Add(m_File.Root(), true, "version",
          L"The header has no " + std::wstring(kNames[index]) + L".");
    } else if (OS::_wtoi(number->c_str()) != static_cast<std::uint32_t>(version[index])) {
      Add(m_File.Root(), true, "version",
          L"The header's " + std::wstring(kNames[index]) + L" is " + OnOneLine(*number) +
              L", the schema's " + std::to_wstring(version[index]) + L".");
    }
  }
}

void Check::Identities() {
  std::unordered_map<std::wstring, Element> known;
  m_File.ForEachInstance([&](const Element& instance) {
    const std::wstring id = IdOf(instance);
    if (id.find_first_of(L"'\"&<") != std::wstring::npos)
      Add(instance, true, "id", L"The library finds no id with one of ' \" & < in it.");
    const auto [first, isNew] = known.emplace(id, instance);
    if (!isNew)
      Add(instance, true, "id twice",
          L"The id is already in line " + std::to_wstring(m_File.PlaceOf(first->second).line) +
              L", as a " + first->second->get_tagName() + L"; the library finds that one.");
  });
}

void Check::References() {
  std::unordered_map<std::wstring, Element> unreferenced;
  std::vector<std::wstring> order;
  std::unordered_map<std::wstring, std::wstring> categoryOf;
  const auto key = [](const std::wstring& category, const std::wstring& id) {
    return category + L":" + id;
  };
  m_File.ForEachInstance([&](const Element& instance) {
    const std::wstring id = IdOf(instance);
    categoryOf.emplace(id, instance->get_tagName());
    if (unreferenced.emplace(key(instance->get_tagName(), id), instance).second)
      order.push_back(key(instance->get_tagName(), id));
  });
  const auto all = unreferenced;
  m_File.ForEachInstance([&](const Element& instance) {
    for (const Edge& edge : ReferencesOf(instance)) {
      const std::wstring target = key(edge.target.category, edge.target.id);
      const auto found = all.find(target);
      if (found != all.end()) {
        if (!(found->second == instance)) unreferenced.erase(target);
        continue;
      }
      const auto other = categoryOf.find(edge.target.id);
      Add(edge.element, true, "dangling reference",
          L"There is no " + OnOneLine(edge.target.category) + L" " + Quoted(edge.target.id) +
              (other != categoryOf.end() ? L"; that id is a " + other->second + L"'s." : L"."));
    }
  });
  for (const std::wstring& name : order) {
    const auto found = unreferenced.find(name);
    if (found != unreferenced.end())
      Add(found->second, true, "unreferenced", L"Nothing refers to this instance.");
  }
}

}  // namespace

void CheckFile(const Arguments& arguments, Report& report) {
  const CCfgOption option = OpenSchema(Wide(arguments.schema));
  const std::wstring path = Wide(arguments.file);
  std::vector<Finding> findings;
  std::size_t errors = 0;
  std::size_t warnings = 0;
  try {
    const LoadedFile file(option, path);
    const Progress progress("checking " + arguments.file);
    Check check(file);
    check.Faults();
    check.Frame();
    check.Header();
    if (arguments.warnings || arguments.strict) {
      check.Identities();
      check.References();
    }
    findings = std::move(check.findings);
    errors = check.errors;
    warnings = check.warnings;
  } catch (const Stop& stop) {
    if (stop.code != kInvalid) throw;
    findings = stop.findings;
    errors = 1;
  }
  for (const Finding& finding : findings) report.Line(AsText(finding));
  const bool valid = errors == 0 && !(arguments.strict && warnings > 0);
  std::wstring summary = OnOneLine(path) + (errors == 0 ? L": valid" : L": not valid, ");
  if (errors > 0) summary += Counted(errors, L"fault", L"faults");
  if (warnings > 0) summary += L", " + Counted(warnings, L"warning", L"warnings");
  if (errors + warnings > findings.size())
    summary += L" (" + std::to_wstring(findings.size()) + L" shown)";
  report.Line(summary);
  report.code = valid ? kOk : kInvalid;
  report.data["file"] = arguments.file;
  report.data["errors"] = errors;
  report.data["warnings"] = warnings;
  report.data["findings"] = AsJson(findings);
}

}  // namespace cfgexctl
