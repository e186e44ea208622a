#include "tools/loaded_file.h"

#include "tools/engine/schema_files.h"
#include "tools/engine/system.h"

namespace cfgexctl {

namespace {

[[noreturn]] void StopUnreadable(const std::wstring& path) {
  const ReadFailure why = WhyUnreadable(path);
  throw Stop(why.is_missing ? kMissing : kFailed, OnOneLine(path) + L": " + why.reason);
}

ExplainedDocument ReadDocument(const std::string& bytes, const std::wstring& path) {
  const Progress progress("reading " + Narrow(path));
  return ExplainedDocument::FromBytes(bytes, path);
}

}  // namespace

std::string ReadFileBytes(const std::wstring& path, FileState* state) {
  std::string bytes;
  if (ReadWholeFile(path, bytes, state) != Reading::kDone) StopUnreadable(path);
  return bytes;
}

CCfgOption OpenSchema(const std::wstring& path) {
  const Progress progress("compiling " + Narrow(path));
  CCfgOption option;
  if (option.Initialize(path.c_str())) return option;
  ReadFileBytes(path);
  const SchemaFiles files(path);
  std::vector<Finding> findings;
  for (const Fault& fault : files.Faults()) findings.push_back(Explain(fault, path));
  throw Stop(kInvalid, OnOneLine(path) + L": this schema is not accepted", std::move(findings));
}

LoadedFile::LoadedFile(CCfgOption option, const std::wstring& path)
    : LoadedFile(option, path, ReadFileBytes(path), ExplainedDocument::FromText(L"")) {}

LoadedFile::LoadedFile(CCfgOption option, const std::wstring& path, std::string bytes,
                       ExplainedDocument document)
    : m_Option(option),
      m_Path(path),
      m_Bytes(std::move(bytes)),
      m_Document(document.Document() ? std::move(document) : ReadDocument(m_Bytes, path)) {
  if (m_Document.Refusal()) {
    throw Stop(kInvalid, OnOneLine(path) + L": this is no configuration file",
               {Explain(*m_Document.Refusal(), path)});
  }
  m_Document.Document()->putref_schemas(As<IXMLDOMSchemaCollection2>(m_Option.GetSchemaCache()));
  m_Root = m_Document.Document()->get_documentElement();
}

FaultList LoadedFile::Validate(std::size_t limit) const {
  const Progress progress("checking " + Narrow(m_Path));
  FaultList list =
      m_Document.Validate(As<IXMLDOMSchemaCollection2>(m_Option.GetSchemaCache()), limit);
  // The schema may accept other roots; the library does not.
  if (list.total == 0 && !m_Root->selectSingleNode(L"/Configuration")) {
    list.faults.push_back({.rule = "unknown element",
                           .message = L"The root is '" + m_Root->get_tagName() +
                                      L"', that of a configuration file is 'Configuration'.",
                           .place = PlaceOf(m_Root),
                           .element = m_Root});
    list.total = 1;
  }
  return list;
}

void LoadedFile::RequireValid(std::wstring_view hint) const {
  constexpr std::size_t kFew = 3;
  const FaultList list = Validate(kFew);
  if (list.total == 0) return;
  throw Stop(kInvalid,
             OnOneLine(m_Path) + L": not valid, " + Counted(list.total, L"fault", L"faults") +
                 L"; " + std::wstring(hint),
             Explain(list, m_Path));
}

void LoadedFile::ForEachInstance(const std::function<void(const Element&)>& visit) const {
  for (const Element& group : ChildElements(m_Root)) {
    if (group->get_tagName() != L"Category") continue;
    const auto nodes = group->get_childNodes();
    const long length = nodes->get_length();
    for (long index = 0; index < length; ++index) {
      if (const auto instance = As<IXMLDOMElement>(nodes->get_item(index))) visit(instance);
    }
  }
}

InstanceName ParseName(const std::wstring& name) {
  const std::size_t colon = name.find(L':');
  if (colon == std::wstring::npos) return {L"", name};
  return {name.substr(0, colon), name.substr(colon + 1)};
}

// An id may contain a colon, so the whole text is tried as an id first.
Element LoadedFile::TryFind(const std::wstring& name) const {
  if (Element whole = FindInstanceElement(m_Root, name.c_str(), L"*")) return whole;
  const InstanceName parts = ParseName(name);
  return parts.category.empty() ? nullptr : Target(parts);
}

Element LoadedFile::Find(const std::wstring& name) const {
  if (Element found = TryFind(name)) return found;
  throw Stop(kMissing, L"there is no instance " + Quoted(name) + L" in " + OnOneLine(m_Path));
}

Element LoadedFile::Target(const InstanceName& reference) const {
  return FindReferencedInstance(m_Root, reference);
}

std::vector<Edge> ReferencesOf(const Element& instance) {
  std::vector<Edge> edges;
  const auto ids = instance->selectNodes(L".//InstanceId");
  const long length = ids->get_length();
  for (long index = 0; index < length; ++index) {
    const auto id = ids->get_item(index);
    auto reference = ReadReference(id);
    if (!reference) continue;
    const auto element = As<IXMLDOMElement>(id->get_parentNode());
    edges.push_back({instance, Locate(element).field, element, std::move(*reference)});
  }
  return edges;
}

std::wstring NameOf(const Element& instance) {
  return instance->get_tagName() + L" " + Quoted(IdOf(instance));
}

Json JsonName(const std::wstring& category, const std::wstring& id) {
  return {{"category", Narrow(category)}, {"id", Narrow(id)}};
}
Json JsonName(const Element& instance) { return JsonName(instance->get_tagName(), IdOf(instance)); }

}  // namespace cfgexctl
