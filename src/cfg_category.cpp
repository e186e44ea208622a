#include "cfgex/cfg_category.h"

#include <optional>

#include "platform/dom/xml_schema.h"
#include "src/frame.h"
#include "src/instance_document.h"
#include "src/instance_id.h"

class CCfgCategory::CImpl : public CountedImpl {
 public:
  CImpl(const wchar_t* category, const CCfgOption& option) : m_Option(option) {
    SetCategory(category);
  }

  void SetCategory(const wchar_t* category) {
    m_Category = category != nullptr ? std::optional<std::wstring>(category) : std::nullopt;
  }

  bool CreateInstance(CCfgInstance& instance);
  bool CreateObject(const wchar_t* objectName, CCfgObject& object);

  std::optional<std::wstring> m_Category;
  CCfgOption m_Option;

 private:
  class CCreateDefaultCCfgObjectCallback;

  std::wstring Generate(const wchar_t* name, const wchar_t* scope);
};

// Decides for each element of the schema whether a default object has it, and with which text.
class CCfgCategory::CImpl::CCreateDefaultCCfgObjectCallback
    : public CXMLSchema::CSchemaElementCallback {
 public:
  void OnStart() override {}
  void OnEnd() override {}

  // Leaves optional elements out, and empties what has neither a default nor a fixed value.
  void OnElement(CSchemaElementInfo& info) override {
    info.SetOmitted(false);
    const ComPtr<ISchemaElement> declaration = info.GetDeclaration();
    if (!declaration) return;
    if (declaration->get_minOccurs() == L"0") {
      info.SetOmitted(true);
      return;
    }
    const ComPtr<IXMLDOMNode> node = info.GetNode();
    if (!node) return;
    if (declaration->get_defaultValue().empty() && declaration->get_fixedValue().empty())
      node->put_text(L"");
  }
};

std::wstring CCfgCategory::CImpl::Generate(const wchar_t* name, const wchar_t* scope) {
  CXMLSchema schema;
  CCreateDefaultCCfgObjectCallback callback;
  schema.LoadSchema(m_Option.GetSchemaFile());
  return schema.CreateXmlInstance(name, callback, scope);
}

bool CCfgCategory::CImpl::CreateInstance(CCfgInstance& instance) {
  if (!m_Category || m_Category->empty()) return false;
  return Succeeds([&] {
    const std::wstring text = Generate(m_Category->c_str(), nullptr);
    const ComPtr<IXMLDOMDocument2> generated = NewDocument(m_Option);
    if (!generated || !generated->loadXML(text)) return false;
    const std::wstring newId = MakeInstanceId();
    const ComPtr<IXMLDOMElement> element = generated->get_documentElement();
    const auto idElement = As<IXMLDOMElement>(element->selectSingleNode(L"InstanceId"));
    if (!idElement) return false;
    idElement->put_text(newId);

    const ComPtr<IXMLDOMElement> header = CreateHeaderDocument(newId.c_str(), m_Option);
    if (!header) return false;
    const ComPtr<IXMLDOMElement> group = generated->createElement(L"Category");
    group->appendChild(element);
    header->appendChild(group);
    const std::wstring xml = header->get_xml();
    std::wstring reason;
    if (!ParseInstanceDocument(xml.c_str(), m_Option, reason)) return false;
    return instance.Initialize(xml.c_str());
  });
}

// The document has no schema, so the object checks no types.
bool CCfgCategory::CImpl::CreateObject(const wchar_t* objectName, CCfgObject& object) {
  if (!m_Category || m_Category->empty()) return false;
  return Succeeds([&] {
    const std::wstring text = Generate(objectName, m_Category->c_str());
    const ComPtr<IXMLDOMDocument2> document = NewDocument();
    if (!document || !document->loadXML(text)) return false;
    return object.Initialize(document->get_documentElement().get(), false);
  });
}

CFGEX_DEFINE_HANDLE(CCfgCategory)

CCfgCategory::CCfgCategory(CCfgOption option) : CCfgCategory(nullptr, option) {}

CCfgCategory::CCfgCategory(const wchar_t* category, CCfgOption option)
    : m_pImpl(MakeImpl<CImpl>(L"cfg_category", __LINE__, category, option)) {}

bool CCfgCategory::CreateInstance(CCfgInstance& instance) {
  return m_pImpl->CreateInstance(instance);
}

bool CCfgCategory::CreateObject(const wchar_t* objectName, CCfgObject& object) {
  return m_pImpl->CreateObject(objectName, object);
}

OS::x_wstring CCfgCategory::GetCategory() const {
  return OS::x_wstring(m_pImpl->m_Category.value_or(L""));
}

void CCfgCategory::SetCategory(const wchar_t* category) { m_pImpl->SetCategory(category); }

bool CCfgCategory::EnumAllInstance(std::vector<OS::x_wstring>& /*ids*/) { return false; }
