// The object as a whole: how it is bound, its text, its identity.

#include "platform/schema/schema_model.h"
#include "src/cfg_object_impl.h"
#include "src/instance_document.h"

bool CCfgObject::CImpl::Initialize(const wchar_t* xml) {
  if (xml == nullptr) return false;
  if (m_bLoaded) {
    m_pRoot = nullptr;
    m_pDocument = nullptr;
    m_bLoaded = false;
  }
  Guarded([&] {
    const IncomingInstance incoming = ReadIncomingInstance(xml, m_Option);
    if (incoming.document) m_pDocument = incoming.document;
    // The object keeps the element that it was bound to until there is an id to look for.
    if (!incoming.id) return;
    m_pRoot = incoming.element;
    m_bLoaded = static_cast<bool>(m_pRoot);
  });
  return m_bLoaded;
}

bool CCfgObject::CImpl::Initialize(IUnknown* element, bool checkTypes) {
  m_pRoot = As<IXMLDOMElement>(element);
  m_bCheckTypes = checkTypes;
  return static_cast<bool>(m_pRoot);
}

OS::x_wstring CCfgObject::CImpl::GetCategory() const {
  OS::x_wstring category;
  Guarded([&] {
    if (m_pRoot) category = OS::x_wstring(m_pRoot->get_tagName());
  });
  return category;
}

bool CCfgObject::CImpl::GetXml(OS::x_wstring& xml) const {
  if (!m_pRoot) return false;
  bool result = false;
  Guarded([&] {
    xml = OS::x_wstring(m_pRoot->get_ownerDocument()->get_documentElement()->get_xml());
    result = true;
  });
  return result;
}

bool CCfgObject::CImpl::SaveToFile(const wchar_t* path) const {
  if (path == nullptr || !m_pRoot) return false;
  bool result = false;
  Guarded([&] {
    m_pRoot->get_ownerDocument()->save(path);
    result = true;
  });
  return result;
}

OS::x_wstring CCfgObject::CImpl::GetInstanceId() const {
  std::wstring id;
  GetFieldText(L"InstanceId", id, FieldType::kInstanceId, m_bCheckTypes);
  return OS::x_wstring(std::move(id));
}

bool CCfgObject::CImpl::SetInstanceId(const wchar_t* id) {
  if (id == nullptr) return false;
  if (!SetFieldText(L"InstanceId", id, FieldType::kInstanceId, m_bCheckTypes)) return false;
  bool result = false;
  Guarded([&] {
    const ComPtr<IXMLDOMElement> header = m_pRoot->get_ownerDocument()->get_documentElement();
    if (!header) return;
    header->setAttribute(L"instance_id", id);
    result = true;
  });
  return result;
}
