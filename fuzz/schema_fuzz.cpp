// Schema texts. Parts: the schema, then the files "a.xsd", "b.xsd" and "c.xsd" beside it.
//
// Holds:
// 1. A schema is taken or refused, in bounded time; a second try gives the same answer.
// 2. What compiles has a model: every item can be visited, chains of base types end, and elements
//    in a document find their declarations.
// 3. A generated default is empty or well-formed, has the name asked for, and is the same each
//    time. An instance or object that a category makes is bound, and an instance valid.

#include <set>

#include "fuzz/support.h"
#include "platform/dom/xml_schema.h"
#include "platform/schema/schema_model.h"
#include "tests/support/dom.h"

using namespace fuzz;
using namespace test;

namespace {

constexpr std::size_t kNames = 16;  // of elements and types that are looked at
constexpr int kElements = 20'000;   // that are generated for one input; what has begun goes on

int g_Elements = 0;
bool g_IsTaken = false;

class CountingCallback : public CXMLSchema::CSchemaElementCallback {
 public:
  explicit CountingCallback(bool omitsOptional) : m_OmitsOptional(omitsOptional) {}
  void OnStart() override { CHECK(m_Phase++ == 0, "OnStart"); }
  void OnEnd() override { CHECK(m_Phase++ == 1, "OnEnd"); }
  void OnElement(CSchemaElementInfo& info) override {
    CHECK(m_Phase == 1, "OnElement");
    ++g_Elements;
    const ComPtr<ISchemaElement> declaration = info.GetDeclaration();
    CHECK(static_cast<bool>(info.GetNode()), "no node");
    if (!declaration) return;
    CHECK(!declaration->get_minOccurs().empty(), "no minimum");
    // What is optional would go on for ever in a schema that contains itself.
    info.SetOmitted(declaration->get_minOccurs() == L"0" && (m_OmitsOptional || ++m_Optional > 50));
  }

 private:
  const bool m_OmitsOptional;
  int m_Phase = 0;
  int m_Optional = 0;
};

std::set<std::wstring> NamesIn(const ComPtr<IXMLDOMDocument2>& document) {
  std::set<std::wstring> names = {L"missing"};
  const ComPtr<IXMLDOMNodeList> found = document->selectNodes(L"//@name");
  for (long i = 0; i < found->get_length() && names.size() < kNames; ++i)
    names.insert(found->get_item(i)->get_text());
  return names;
}

std::wstring Generate(const std::wstring& schema, const std::wstring& name, const wchar_t* scope,
                      bool omitsOptional) {
  if (g_Elements > kElements) return L"";
  CXMLSchema generator;
  if (!generator.LoadSchema(schema.c_str())) return L"";
  CountingCallback callback(omitsOptional);
  try {
    return generator.CreateXmlInstance(name.c_str(), callback, scope);
  } catch (const _com_error&) {
    CHECK(!g_IsTaken, "the generator failed on a schema that compiles");  // names may be no names
    return L"";
  }
}

void CheckGenerated(const std::wstring& schema, const std::wstring& name, const wchar_t* scope) {
  for (const bool omitsOptional : {true, false}) {
    const std::wstring text = Generate(schema, name, scope, omitsOptional);
    if (text.empty()) continue;
    if (g_Elements <= kElements)
      CHECK(text == Generate(schema, name, scope, omitsOptional), Show(text));
    const DocumentPtr document = NewDocument();
    if (!document->loadXML(text)) {
      // A target namespace that is no URI is one that no document can be in.
      CHECK(text.find(L" xmlns=") != text.npos, Show(text));
      continue;
    }
    const std::wstring tag = document->get_documentElement()->get_tagName();
    const std::size_t colon = tag.find(L':');
    CHECK(tag.substr(colon == tag.npos ? 0 : colon + 1) == name, Show(name) + "\n" + Show(text));
  }
}

void VisitTypes(const ComPtr<ISchema>& schema) {
  const ComPtr<ISchemaItemCollection> types = schema->get_types();
  for (long i = 0; i < types->get_length(); ++i) {
    const ComPtr<ISchemaItem> item = types->get_item(i);
    CHECK(!item->get_name().empty(), "a global type without a name");
    CHECK(static_cast<bool>(types->itemByName(item->get_name())), Show(item->get_name()));
    auto type = As<ISchemaType>(item);
    for (int steps = 0; type; ++steps) {
      CHECK(steps < 2000, "base types without an end");
      const ComPtr<ISchemaItemCollection> bases = type->get_baseTypes();
      type = bases && bases->get_length() > 0 ? As<ISchemaType>(bases->get_item(0)) : nullptr;
    }
  }
  CHECK(!types->get_item(types->get_length()), "an item past the end");
}

// Asks for the declaration of every element in a default instance.
void VisitDeclarations(const CCfgOption& option, const std::wstring& text) {
  const DocumentPtr document = NewDocument();
  const auto cache = As<IXMLDOMSchemaCollection2>(option.GetSchemaCache());
  document->putref_schemas(cache);
  if (!document->loadXML(text)) return;
  const ComPtr<IXMLDOMNodeList> all = document->selectNodes(L"//*");
  for (long i = 0; i < all->get_length() && i < 100; ++i) {
    const ComPtr<ISchemaItem> declaration = cache->getDeclaration(all->get_item(i));
    if (const auto element = As<ISchemaElement>(declaration)) {
      element->get_defaultValue();
      if (const ComPtr<ISchemaType> type = element->get_type()) type->get_baseTypes();
    }
  }
  document->validate();
}

void VisitCategory(const CCfgOption& option, const std::wstring& name) {
  CCfgCategory category(name.c_str(), option);
  CCfgInstance instance(option);
  if (category.CreateInstance(instance)) {
    OS::x_wstring xml;
    CHECK(instance.GetXml(xml), Show(name));
    CHECK(instance.GetCategory() == name.c_str(), Show(xml.str()));
    CHECK(CCfgInstance(xml.c_str(), option).GetRawInterface() != nullptr, Show(xml.str()));
  } else {
    CHECK(instance.GetRawInterface() == nullptr, Show(name));
  }
  CCfgObject object(option);
  const bool made = category.CreateObject(name.c_str(), object);
  CHECK(made == (object.GetRawInterface() != nullptr), Show(name));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  static const Folder s_Folder;
  const std::vector<std::string> parts = Split({reinterpret_cast<const char*>(data), size});
  static const wchar_t* const kFiles[] = {L"main.xsd", L"a.xsd", L"b.xsd", L"c.xsd"};
  for (std::size_t n = 0; n < std::size(kFiles); ++n) {
    std::filesystem::remove(Narrow(s_Folder.Path(kFiles[n])));
    if (n < parts.size()) WriteBytes(s_Folder.Path(kFiles[n]), parts[n]);
  }
  const std::wstring schema = s_Folder.Path(kFiles[0]);
  g_Elements = 0;

  CCfgOption option;
  const bool taken = option.Initialize(schema.c_str());
  CHECK(taken == (option.GetSchemaCache() != nullptr), "the cache");
  g_IsTaken = taken;
  CHECK(CCfgOption().Initialize(schema.c_str()) == taken, "another answer");

  CXMLSchema generator;
  const bool loaded = generator.LoadSchema(schema.c_str());
  CHECK(loaded || !taken, "compiled, but without a model for the generator");
  if (!loaded) return 0;

  const DocumentPtr document = NewDocument();
  CHECK(document->load(schema), "loaded, but not well-formed");
  const std::set<std::wstring> names = NamesIn(document);
  const std::wstring* scope = nullptr;
  for (const std::wstring& name : names) {
    CheckGenerated(schema, name, nullptr);
    if (scope != nullptr) CheckGenerated(schema, name, scope->c_str());
    scope = &name;
  }
  if (!taken) return 0;
  const auto cache = As<IXMLDOMSchemaCollection2>(option.GetSchemaCache());
  VisitTypes(cache->getSchema(option.GetTargetNamespace().str()));
  for (const std::wstring& name : names) {
    if (g_Elements <= kElements) VisitCategory(option, name);
    VisitDeclarations(option, Generate(schema, name, nullptr, false));
  }
  return 0;
}
