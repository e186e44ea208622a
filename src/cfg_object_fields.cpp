// From a field name to its element, and the four paths that read and write what it holds.

#include "platform/schema/schema_model.h"
#include "src/cfg_object_impl.h"
#include "src/element_declaration.h"

ComPtr<IXMLDOMElement> CCfgObject::CImpl::SelectField(const wchar_t* name) const {
  if (!m_pRoot || name == nullptr) return nullptr;
  return As<IXMLDOMElement>(m_pRoot->selectSingleNode(name));
}

ComPtr<IXMLDOMElement> CCfgObject::CImpl::SelectField(const wchar_t* name, FieldType expected,
                                                      bool check) const {
  ComPtr<IXMLDOMElement> element = SelectField(name);
  return !check || CheckFieldType(element, expected) ? element : nullptr;
}

FieldType CCfgObject::CImpl::GetFieldType(const wchar_t* name) const {
  FieldType type = FieldType::kUnknown;
  Guarded([&] {
    if (const ComPtr<ISchemaElement> declaration = DeclarationOf(SelectField(name)))
      type = FieldTypeFromName(declaration->get_type()->get_name());
  });
  return type;
}

bool CCfgObject::CImpl::GetFieldText(const wchar_t* name, std::wstring& value, FieldType expected,
                                     bool check) const {
  return Succeeds([&] {
    const ComPtr<IXMLDOMElement> element = SelectField(name, expected, check);
    if (!element) return false;
    value = element->get_text();
    return true;
  });
}

bool CCfgObject::CImpl::SetFieldText(const wchar_t* name, const std::wstring& value,
                                     FieldType expected, bool check) {
  return Succeeds([&] {
    const ComPtr<IXMLDOMElement> element = SelectField(name, expected, check);
    if (!element) return false;
    element->put_text(value);
    return true;
  });
}

bool CCfgObject::CImpl::GetFieldItems(const wchar_t* name, TextList& items, FieldType expected,
                                      bool check) const {
  return Succeeds([&] {
    const ComPtr<IXMLDOMElement> element = SelectField(name, expected, check);
    if (!element) return false;
    ForEachElement(element->get_childNodes(),
                   [&](const auto& item) { items.push_back(item->get_text()); });
    return true;
  });
}

bool CCfgObject::CImpl::SetFieldItems(const wchar_t* name, const TextList& items,
                                      FieldType expected, bool check) {
  return Succeeds([&] {
    const ComPtr<IXMLDOMElement> element = SelectField(name, expected, check);
    if (!element) return false;
    const ComPtr<IXMLDOMDocument2> document = m_pRoot->get_ownerDocument();
    const ComPtr<IXMLDOMElement> replacement = document->createElement(element->get_tagName());
    for (const std::wstring& text : items) {
      const ComPtr<IXMLDOMElement> item = document->createElement(L"Item");
      item->put_text(text);
      replacement->appendChild(item);
    }
    element->get_parentNode()->replaceChild(replacement, element);
    return true;
  });
}
