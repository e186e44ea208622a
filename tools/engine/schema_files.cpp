#include "tools/engine/schema_files.h"

#include <libxml/uri.h>

#include <algorithm>
#include <deque>
#include <new>
#include <unordered_set>

#include "platform/dom/fault_rules.h"
#include "platform/os/encoding.h"
#include "platform/os/file.h"
#include "platform/schema/schema_cache.h"
#include "platform/schema/schema_documents.h"
#include "platform/schema/schema_file.h"
#include "platform/schema/schema_reader.h"
#include "platform/tree/engine.h"
#include "platform/tree/namespaces.h"
#include "platform/tree/tree_walk.h"
#include "tools/engine/system.h"

namespace cfgex::internal {
namespace {

// The first fault of one file.
class FirstComplaint final : public ParseObserver {
 public:
  Fault fault{.rule = "well-formed", .message = L"This is no XML."};

  void OnStart() noexcept override { m_Has = false; }
  void OnElement(xmlParserCtxt* /*c_parser*/) noexcept override {}
  void OnError(xmlParserCtxt* /*c_parser*/, const xmlError& error) noexcept override {
    if (m_Has || error.level < XML_ERR_ERROR) return;
    Take([&] {
      fault.rule = RuleOf(error);
      fault.message = MessageOf(error);
      fault.place = {error.line, error.int2};
    });
  }
  void OnRefused(xmlParserCtxt* c_parser, ParseRefusal refusal) noexcept override {
    if (m_Has) return;
    Take([&] {
      fault = FaultOf(refusal);
      if (c_parser != nullptr && c_parser->input != nullptr)
        fault.place = {c_parser->input->line, c_parser->input->col};
    });
  }
  void OnPart(XmlDocPtr /*part*/) noexcept override {}

 private:
  template <class F>
  void Take(F&& fill) noexcept {
    m_Has = true;
    try {
      fill();
    } catch (const std::bad_alloc&) {
      fault.rule.clear();
    }
  }
  bool m_Has = false;
};

struct File {
  std::string path;
  XmlDocPtr doc;
};

std::string NameOf(const xmlNode* c_component) { return TokenAttribute(c_component, "name"); }

}  // namespace

class SchemaFiles::CImpl {
 public:
  explicit CImpl(const std::wstring& path) : m_Path(path) {}

  void Read();
  Origin Find(std::string_view kind, const std::wstring& name, const std::wstring& child) const;

  std::vector<Fault> faults;
  std::deque<File> files;  // the main one first
  const std::wstring& Path() const { return m_Path; }

 private:
  void ReadFile(const std::string& path, const File* from, const xmlNode* c_link);
  void FollowLinks(const File& file);
  void Compile();
  static void TakeError(void* self, EngineError* error) noexcept;
  // The path of a file as it is shown: the main one as it was given.
  std::wstring Shown(const std::string& path) const;

  std::wstring m_Path;
  std::unordered_set<std::string> m_Known;
};

std::wstring SchemaFiles::CImpl::Shown(const std::string& path) const {
  return files.empty() || path == files.front().path ? m_Path : LenientText(path.c_str());
}

void SchemaFiles::CImpl::ReadFile(const std::string& path, const File* from,
                                  const xmlNode* c_link) {
  if (!m_Known.insert(path).second || m_Known.size() > kMaxSchemaDocuments) return;
  std::string bytes;
  if (ReadWholeFile(FromUtf8(path), bytes) != Reading::kDone) {
    const ReadFailure why = WhyUnreadable(FromUtf8(path));
    Fault fault{.rule = "file", .message = LenientText(path.c_str()) + L": " + why.reason};
    fault.file = from != nullptr ? Shown(from->path) : m_Path;
    if (c_link != nullptr) fault.place.line = xmlGetLineNo(c_link);
    faults.push_back(std::move(fault));
    return;
  }
  FirstComplaint complaint;
  XmlDocPtr doc = ParseXml(bytes, TextEncoding::kDeclared, UriOfPath(path), &complaint);
  files.push_back({path, std::move(doc)});
  if (files.back().doc != nullptr) return;
  complaint.fault.file = Shown(path);
  faults.push_back(std::move(complaint.fault));
}

void SchemaFiles::CImpl::FollowLinks(const File& file) {
  const xmlNode* c_root = file.doc != nullptr ? xmlDocGetRootElement(file.doc.get()) : nullptr;
  if (c_root == nullptr) return;
  for (const xmlNode* c_child = c_root->children; c_child != nullptr; c_child = c_child->next) {
    if (!IsSchemaLink(c_child)) continue;
    try {
      ReadFile(PathOfLink(c_child), &file, c_child);
    } catch (const _com_error& error) {
      faults.push_back({.rule = "file",
                        .message = LenientText(error.what()),
                        .file = Shown(file.path),
                        .place = {xmlGetLineNo(c_child), 0}});
    }
  }
}

void SchemaFiles::CImpl::TakeError(void* self, EngineError* error) noexcept {
  auto& impl = *static_cast<CImpl*>(self);
  if (error == nullptr || error->level < XML_ERR_WARNING) return;
  try {
    Fault fault{.rule = "schema", .message = MessageOf(*error)};
    std::string path;
    if (error->file != nullptr) {
      const std::unique_ptr<char, decltype(xmlFree)> plain(
          xmlURIUnescapeString(error->file, 0, nullptr), xmlFree);
      if (plain != nullptr) path = plain.get();
    }
    fault.file = path.empty() ? impl.m_Path : impl.Shown(path);
    fault.place.line = error->line;
    fault.is_warning = error->level == XML_ERR_WARNING;
    impl.faults.push_back(std::move(fault));
  } catch (const std::bad_alloc&) {  // NOLINT(bugprone-empty-catch): the schema is refused anyhow
  }
}

void SchemaFiles::CImpl::Compile() {
  const xmlNode* c_root = xmlDocGetRootElement(files.front().doc.get());
  if (!IsXsdElement(c_root, "schema")) {
    faults.push_back({.rule = "schema",
                      .message = L"The root element is no xs:schema.",
                      .file = m_Path,
                      .place = {xmlGetLineNo(c_root), 0}});
    return;
  }
  try {
    // In the library's order, since the engine may not come to an end on what the library refuses.
    SchemaDocuments documents(files.front().doc.get());
    const auto file = MakeCounted<SchemaFile>();
    ReadSchema(documents, file->model);
    const XmlDocPtr document = documents.TakeMain();
    const XmlSchemaPtr schema = AskEngine([&] {
      faults.clear();
      return CompileSchema(document.get(), &CImpl::TakeError, this);
    });
    const bool explained = std::any_of(faults.begin(), faults.end(),
                                       [](const Fault& fault) { return !fault.is_warning; });
    if (schema == nullptr && !explained)
      faults.push_back({.rule = "schema", .message = L"The schema is refused.", .file = m_Path});
  } catch (const _com_error& error) {
    faults.push_back({.rule = "schema", .message = LenientText(error.what()), .file = m_Path});
  }
}

void SchemaFiles::CImpl::Read() {
  const EngineScope scope;
  ReadFile(AbsolutePath(ToUtf8(m_Path)), nullptr, nullptr);
  for (std::size_t index = 0; index < files.size(); ++index) FollowLinks(files[index]);
  if (faults.empty()) Compile();
}

Origin SchemaFiles::CImpl::Find(std::string_view kind, const std::wstring& name,
                                const std::wstring& child) const {
  const std::string wanted = ToUtf8(name);
  const std::string wantedChild = ToUtf8(child);
  for (const File& file : files) {
    const xmlNode* c_root = file.doc != nullptr ? xmlDocGetRootElement(file.doc.get()) : nullptr;
    if (c_root == nullptr) continue;
    for (const xmlNode* c_node = c_root->children; c_node != nullptr; c_node = c_node->next) {
      if (!IsXsdElement(c_node, kind) || NameOf(c_node) != wanted) continue;
      const xmlNode* c_found = c_node;
      for (const xmlNode* c_part = c_node; !child.empty() && c_part != nullptr;
           c_part = NextInTree(c_part, c_node)) {
        if (c_part == c_node || !IsXsdElement(c_part, "element")) continue;
        if (NameOf(c_part) != wantedChild && TokenAttribute(c_part, "ref") != wantedChild) continue;
        c_found = c_part;
        break;
      }
      return {Shown(file.path), {xmlGetLineNo(c_found), 0}};
    }
  }
  return {m_Path, {}};
}

SchemaFiles::SchemaFiles(const std::wstring& path) : m_pImpl(std::make_unique<CImpl>(path)) {
  m_pImpl->Read();
}
SchemaFiles::~SchemaFiles() = default;

const std::vector<Fault>& SchemaFiles::Faults() const { return m_pImpl->faults; }

bool SchemaFiles::IsUsable() const {
  return std::all_of(m_pImpl->faults.begin(), m_pImpl->faults.end(),
                     [](const Fault& fault) { return fault.is_warning; });
}

Origin SchemaFiles::Find(std::string_view kind, const std::wstring& name,
                         const std::wstring& child) const {
  return m_pImpl->Find(kind, name, child);
}

Origin SchemaFiles::Root() const {
  Origin origin{m_pImpl->Path(), {}};
  if (!m_pImpl->files.empty() && m_pImpl->files.front().doc != nullptr)
    origin.place.line = xmlGetLineNo(xmlDocGetRootElement(m_pImpl->files.front().doc.get()));
  return origin;
}

std::wstring SchemaFiles::RootAttribute(const char* name) const {
  if (m_pImpl->files.empty() || m_pImpl->files.front().doc == nullptr) return {};
  return FromUtf8(RawAttribute(xmlDocGetRootElement(m_pImpl->files.front().doc.get()), name));
}

}  // namespace cfgex::internal
