#include "cfgex/cfg_object.h"

#include <limits>

#include "src/cfg_object_impl.h"

CFGEX_DEFINE_HANDLE(CCfgObject)

CCfgObject::CCfgObject(CCfgOption option)
    : m_pImpl(MakeImpl<CImpl>(L"cfg_object", __LINE__, option)) {}

CCfgObject::CCfgObject(const wchar_t* xml, CCfgOption option) : CCfgObject(option) {
  m_pImpl->Initialize(xml);
}

bool CCfgObject::Initialize(const wchar_t* xml) { return m_pImpl->Initialize(xml); }
bool CCfgObject::Initialize(IUnknown* element, bool checkTypes) {
  return m_pImpl->Initialize(element, checkTypes);
}
IUnknown* CCfgObject::GetRawInterface() const { return m_pImpl->m_pRoot.get(); }

OS::x_wstring CCfgObject::GetCategory() const { return m_pImpl->GetCategory(); }
OS::x_wstring CCfgObject::GetInstanceId() const { return m_pImpl->GetInstanceId(); }
bool CCfgObject::SetInstanceId(const wchar_t* id) { return m_pImpl->SetInstanceId(id); }
bool CCfgObject::GetXml(OS::x_wstring& xml) const { return m_pImpl->GetXml(xml); }
bool CCfgObject::SaveToFile(const wchar_t* path) const { return m_pImpl->SaveToFile(path); }

bool CCfgObject::SetFieldValue(const wchar_t* name, const CVar& value) {
  return m_pImpl->SetValue(name, value);
}
bool CCfgObject::SetFieldValue(const wchar_t* name, int value) {
  return m_pImpl->SetValue(name, value);
}
bool CCfgObject::SetFieldValue(const wchar_t* name, long value) {
  return std::in_range<int>(value) && m_pImpl->SetValue(name, static_cast<int>(value));
}
bool CCfgObject::SetFieldValue(const wchar_t* name, unsigned int value) {
  return m_pImpl->SetValue(name, value);
}
bool CCfgObject::SetFieldValue(const wchar_t* name, unsigned long value) {
  return std::in_range<unsigned int>(value) &&
         m_pImpl->SetValue(name, static_cast<unsigned int>(value));
}
bool CCfgObject::SetFieldValue(const wchar_t* name, bool value) {
  return m_pImpl->SetValue(name, value);
}
bool CCfgObject::SetFieldValue(const wchar_t* name, const wchar_t* value) {
  return m_pImpl->SetValue(name, value);
}
bool CCfgObject::SetFieldValue(const wchar_t* name, const OS::x_wstring& value) {
  return m_pImpl->SetValue(name, value);
}
bool CCfgObject::SetFieldValue(const wchar_t* name, const OS::CTime& value) {
  return m_pImpl->SetValue(name, value);
}
bool CCfgObject::SetFieldValue(const wchar_t* name, const tm& value) {
  return m_pImpl->SetValue(name, value);
}

namespace {

// The 64-bit form of a 32-bit overload.
template <class Narrow, class WideType, class Impl>
bool ReadWide(const Impl& object, const wchar_t* name, WideType& value) {
  Narrow narrow = 0;
  if (!object.GetValue(name, narrow)) return false;
  value = narrow;
  return true;
}

}  // namespace

bool CCfgObject::GetFieldValue(const wchar_t* name, CVar& value) const {
  return m_pImpl->GetValue(name, value);
}
bool CCfgObject::GetFieldValue(const wchar_t* name, int& value) const {
  return m_pImpl->GetValue(name, value);
}
bool CCfgObject::GetFieldValue(const wchar_t* name, long& value) const {
  return ReadWide<int>(*m_pImpl, name, value);
}
bool CCfgObject::GetFieldValue(const wchar_t* name, unsigned int& value) const {
  return m_pImpl->GetValue(name, value);
}
bool CCfgObject::GetFieldValue(const wchar_t* name, unsigned long& value) const {
  return ReadWide<unsigned int>(*m_pImpl, name, value);
}
bool CCfgObject::GetFieldValue(const wchar_t* name, bool& value) const {
  return m_pImpl->GetValue(name, value);
}
bool CCfgObject::GetFieldValue(const wchar_t* name, OS::x_wstring& value) const {
  return m_pImpl->GetValue(name, value);
}
bool CCfgObject::GetFieldValue(const wchar_t* name, OS::CTime& value) const {
  return m_pImpl->GetValue(name, value);
}
bool CCfgObject::GetFieldValue(const wchar_t* name, tm& value) const {
  return m_pImpl->GetValue(name, value);
}

bool CCfgObject::SetFieldValue(const wchar_t* name, const CCfgIntegerArray& value) {
  return m_pImpl->SetValue(name, value);
}
bool CCfgObject::SetFieldValue(const wchar_t* name, const CCfgUnsignedIntegerArray& value) {
  return m_pImpl->SetValue(name, value);
}
bool CCfgObject::SetFieldValue(const wchar_t* name, const CCfgBooleanArray& value) {
  return m_pImpl->SetValue(name, value);
}
bool CCfgObject::SetFieldValue(const wchar_t* name, const CCfgStringArray& value) {
  return m_pImpl->SetValue(name, value);
}
bool CCfgObject::SetFieldValue(const wchar_t* name, const std::vector<OS::x_wstring>& value) {
  return m_pImpl->SetValue(name, value);
}
bool CCfgObject::SetFieldValue(const wchar_t* name, const CCfgObject& value) {
  return m_pImpl->SetValue(name, value);
}
bool CCfgObject::SetFieldValue(const wchar_t* /*name*/, const CCfgObjectArray& /*value*/) {
  return false;
}
bool CCfgObject::SetFieldValue(const wchar_t* name, const CCfgInstance& value) {
  return m_pImpl->SetValue(name, value);
}
bool CCfgObject::SetFieldValue(const wchar_t* name, const CCfgInstanceArray& value) {
  return m_pImpl->SetValue(name, value);
}
bool CCfgObject::GetFieldValue(const wchar_t* name, CCfgIntegerArray& value) const {
  return m_pImpl->GetValue(name, value);
}
bool CCfgObject::GetFieldValue(const wchar_t* name, CCfgUnsignedIntegerArray& value) const {
  return m_pImpl->GetValue(name, value);
}
bool CCfgObject::GetFieldValue(const wchar_t* name, CCfgBooleanArray& value) const {
  return m_pImpl->GetValue(name, value);
}
bool CCfgObject::GetFieldValue(const wchar_t* name, CCfgStringArray& value) const {
  return m_pImpl->GetValue(name, value);
}
bool CCfgObject::GetFieldValue(const wchar_t* name, std::vector<OS::x_wstring>& value) const {
  return m_pImpl->GetValue(name, value);
}
bool CCfgObject::GetFieldValue(const wchar_t* name, CCfgObject& value) const {
  return m_pImpl->GetValue(name, value);
}
bool CCfgObject::GetFieldValue(const wchar_t* name, CCfgObjectArray& value) const {
  return m_pImpl->GetValue(name, value);
}
bool CCfgObject::GetFieldValue(const wchar_t* name, CCfgInstance& value) const {
  return m_pImpl->GetValue(name, value);
}
bool CCfgObject::GetFieldValue(const wchar_t* name, CCfgInstanceArray& value) const {
  return m_pImpl->GetValue(name, value);
}
