#include "tools/change.h"

#include "platform/dom/create_object.h"
#include "platform/os/file.h"
#include "src/config_file_set.h"
#include "src/instance_document.h"

namespace cfgexctl {

Change::Change(const Arguments& arguments)
    : m_Arguments(arguments),
      m_File(arguments.OpenValid()),
      m_Work(m_File),
      m_Before(ContentOf(m_File)) {}

CCfgInstance Change::Take(const Element& instance) {
  OS::x_wstring xml;
  if (!Store().GetConfiguration(IdOf(instance).c_str(), instance->get_tagName().c_str(), xml))
    throw Stop(kInvalid, L"the document of " + NameOf(instance) + L" is not valid");
  return {xml, m_File.Option()};
}

void Change::Put(const CCfgInstance& instance) {
  OS::x_wstring xml;
  if (!instance.GetXml(xml)) throw Stop(kFailed, L"the instance gives no text");
  Put(xml.str());
}

namespace {

// The faults of a document that is in no file: its lines are of no use.
std::vector<Finding> FaultsOfText(const std::wstring& xml, const CCfgOption& option) {
  const ExplainedDocument document = ExplainedDocument::FromText(xml);
  std::vector<Finding> findings;
  if (document.Refusal()) {
    findings.push_back(Explain(*document.Refusal(), L""));
  } else {
    findings = Explain(
        document.Validate(As<IXMLDOMSchemaCollection2>(option.GetSchemaCache()), kMostFindings),
        L"");
  }
  for (Finding& finding : findings) finding.place = {};
  return findings;
}

}  // namespace

void Change::Put(const std::wstring& xml) {
  if (Store().SetConfiguration(xml.c_str(), nullptr, nullptr)) return;
  std::vector<Finding> findings = FaultsOfText(xml, m_File.Option());
  if (findings.empty()) StopRefused(L"the configuration would not be valid any more");
  throw Stop(kInvalid, L"the schema refuses this; nothing was changed", std::move(findings));
}

void Change::StopRefused(const std::wstring& what) {
  std::vector<Finding> findings;
  if (const auto invalid = m_Work.CloseAndTakeInvalid())
    findings = FaultsOfText(*invalid, m_File.Option());
  throw Stop(kInvalid, what + L"; nothing was changed", std::move(findings));
}

LoadedFile Change::Result() const {
  std::string bytes = m_Work.Bytes();
  ExplainedDocument document = ExplainedDocument::FromBytes(bytes, m_File.Path());
  return {m_File.Option(), m_File.Path(), std::move(bytes), std::move(document)};
}

// Puts back what was lost as an application would: as the document of an instance with all that it
// reaches. The document is read from a store with the lost and the changed instances, so the
// changed ones keep their new form.
void Change::PutBack(const std::vector<InstanceName>& lost) {
  const LoadedFile merged = Result();
  const auto document = merged.Root()->get_ownerDocument();
  const auto group = document->createElement(L"Category");
  for (const InstanceName& name : lost) {
    const Element old = m_File.Target(name);
    if (old) group->appendChild(old->cloneNode(true));
  }
  merged.Root()->appendChild(group);
  const PrivateFolder folder;
  const std::wstring path = folder.Path(L"merged.xml");
  document->save(path);
  PrivateStore source(m_File.Option(), ReadFileBytes(path));
  for (const auto& [category, id] : lost) {
    OS::x_wstring xml;
    if (Store().GetConfiguration(id.c_str(), category.c_str(), xml)) continue;
    if (!source.Store().GetConfiguration(id.c_str(), category.c_str(), xml) ||
        !Store().SetConfiguration(xml, nullptr, nullptr))
      StopRefused(L"the change would take " + category + L" " + Quoted(id) +
                  L" along, which cannot be kept; --drop-reached removes it");
  }
}

void Change::Finish(const std::set<InstanceName>& leaving, Report& report) {
  const Progress progress("comparing with " + m_Arguments.file);
  Difference difference = Compare(m_Before, ContentOf(Result()));
  if (!m_Arguments.dropReached) {
    std::vector<InstanceName> lost;
    for (const InstanceName& name : difference.removed) {
      if (!leaving.contains(name)) lost.push_back(name);
    }
    if (!lost.empty()) {
      PutBack(lost);
      difference = Compare(m_Before, ContentOf(Result()));
    }
  }
  report.data.update(AsJson(difference));
  PrintNames(difference, L"", report);
  if (m_Arguments.dryRun) {
    report.data["dryRun"] = true;
    report.Note(L"nothing was changed: this was a dry run");
  } else if (difference.IsNone()) {
    report.Note(L"nothing to change");
  } else {
    PutInPlace(m_File, m_Work.Bytes(), report);
  }
}

void PutInPlace(const LoadedFile& file, std::string_view content, Report& report) {
  FileState now;
  if (ReadFileBytes(file.Path(), &now) != file.Bytes())
    throw Stop(kFailed, OnOneLine(file.Path()) +
                            L" was changed by somebody else meanwhile; nothing was written");
  CConfigFileSet names;
  if (names.DeriveFileNames(file.Path().c_str())) {
    if (!names.CopyToBackup(now.identity))
      throw Stop(kFailed,
                 OnOneLine(names.GetBackupFile()) + L" cannot be written; nothing was changed");
    report.data["backup"] = Narrow(names.GetBackupFile());
  } else {
    report.Note(L"no backup was made: the path has no dot, or is too long");
  }
  ReplaceFile(file.Path(), content);
}

}  // namespace cfgexctl
