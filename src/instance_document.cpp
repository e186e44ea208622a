#include "src/instance_document.h"

#include <cstdint>
#include <string_view>

#include "platform/dom/create_object.h"
#include "platform/schema/schema_model.h"
#include "src/frame.h"
#include "src/prog_id.h"
#include "src/reference_walk.h"

namespace cfgex::internal {
namespace {

constexpr const wchar_t* kXsiNamespace = L"http://www.w3.org/2001/XMLSchema-instance";
constexpr const wchar_t* kSchemaLocation = L"xsi:noNamespaceSchemaLocation";

// A parser reads a tab or line end in an attribute as a blank unless it is written as a number.
std::wstring WithBlanksNumbered(const wchar_t* value) {
  std::wstring result;
  for (; *value != L'\0'; ++value) {
    if (*value == L'\t' || *value == L'\n' || *value == L'\r') {
      result += L"&#" + std::to_wstring(static_cast<int>(*value)) + L";";
    } else {
      result += *value;
    }
  }
  return result;
}

// A value with one of these characters ends the attribute, or a parser takes it for a reference,
// and the header then names another instance.
bool FitsIntoHeader(std::wstring_view value) {
  return value.find_first_of(L"\"&<") == std::wstring_view::npos;
}

}  // namespace

ComPtr<IXMLDOMDocument2> NewDocument() {
  auto document = CreateObject<IXMLDOMDocument2>(SelectDomProgId());
  if (!document) return nullptr;
  document->put_resolveExternals(true);
  document->put_async(false);
  document->put_validateOnParse(false);
  return document;
}

ComPtr<IXMLDOMDocument2> NewDocument(const CCfgOption& option) {
  ComPtr<IXMLDOMDocument2> document = NewDocument();
  const auto schemas = As<IXMLDOMSchemaCollection2>(option.GetSchemaCache());
  if (!document || !schemas) return nullptr;
  document->putref_schemas(schemas);
  return document;
}

bool ValidateDocument(const ComPtr<IXMLDOMDocument2>& document, std::wstring& failureText) {
  if (!document) return false;
  return Succeeds([&] {
    const ComPtr<IXMLDOMParseError> error = document->validate();
    if (error->get_errorCode() == 0) return true;
    failureText = L"At line " + std::to_wstring(error->get_line()) + L"\n" + error->get_reason();
    return false;
  });
}

ComPtr<IXMLDOMElement> CreateHeaderDocument(const wchar_t* instanceId, CCfgOption& option) {
  if (instanceId == nullptr) instanceId = L"";
  const OS::x_wstring schemaFile = option.GetSchemaFile();
  if (!FitsIntoHeader(instanceId) || !FitsIntoHeader(schemaFile.str())) return nullptr;
  unsigned long major = 0;
  unsigned long minor = 0;
  unsigned long revision = 0;
  option.GetSchemaVersion(major, minor, revision);
  ComPtr<IXMLDOMElement> root;
  Guarded([&] {
    const ComPtr<IXMLDOMDocument2> document = NewDocument(option);
    if (!document) return;

    OS::x_wstring text;
    text.Format(
        L"<Configuration xmlns:xsi=\"%s\" xsi:noNamespaceSchemaLocation=\"%s\" instance_id=\"%s\""
        L" major_version=\"%d\" minor_version=\"%d\" revision=\"%d\"/>",
        kXsiNamespace, WithBlanksNumbered(schemaFile).c_str(),
        WithBlanksNumbered(instanceId).c_str(), static_cast<std::uint32_t>(major),
        static_cast<std::uint32_t>(minor), static_cast<std::uint32_t>(revision));
    if (!document->loadXML(text.str())) return;
    std::wstring reason;
    if (!ValidateDocument(document, reason)) return;
    root = document->get_documentElement();
  });
  return root;
}

bool ParseInstanceDocument(const wchar_t* text, const CCfgOption& option,
                           std::wstring& failureText) {
  if (text == nullptr) return false;
  return Succeeds([&] {
    const ComPtr<IXMLDOMDocument2> document = NewDocument(option);
    if (!document || !document->loadXML(text)) return false;
    return ValidateDocument(document, failureText);
  });
}

void ApplySchemaLocation(const ComPtr<IXMLDOMElement>& root, CCfgOption& option) {
  const OS::x_wstring schemaFile = option.GetSchemaFile();
  const bool isReplaced = Succeeds([&] {
    AttributeText(root->getAttribute(kSchemaLocation));
    root->setAttribute(kSchemaLocation, schemaFile.str());
    return true;
  });
  if (isReplaced) return;
  Guarded([&] {
    const ComPtr<IXMLDOMDocument2> document = root->get_ownerDocument();
    root->setAttribute(L"xmlns:xsi", kXsiNamespace);
    const auto attribute = As<IXMLDOMAttribute>(
        document->createNode(DomNodeType::kAttribute, kSchemaLocation, kXsiNamespace));
    if (attribute) {
      root->setAttributeNode(attribute);
      root->setAttribute(kSchemaLocation, schemaFile.str());
    }
  });
}

IncomingInstance ReadIncomingInstance(const wchar_t* xml, CCfgOption& option) {
  IncomingInstance incoming;
  incoming.document = NewDocument(option);
  if (!incoming.document || !incoming.document->loadXML(xml)) return incoming;
  const ComPtr<IXMLDOMElement> root = incoming.document->get_documentElement();
  ApplySchemaLocation(root, option);
  std::wstring reason;
  if (!ValidateDocument(incoming.document, reason)) return incoming;
  incoming.id = root->getAttribute(L"instance_id");
  if (incoming.id) incoming.element = FindInstanceElement(root, incoming.id->c_str(), L"*");
  return incoming;
}

}  // namespace cfgex::internal
