#include "cfgex/cfg_ObjectArray.h"

#include "src/value_array.h"

class CCfgObjectArray::CImpl : public ValueArray<CCfgObject> {};

CFGEX_DEFINE_HANDLE(CCfgObjectArray)

CCfgObjectArray::CCfgObjectArray() : m_pImpl(MakeImpl<CImpl>(L"cfg_ObjectArray", __LINE__)) {}

std::size_t CCfgObjectArray::GetItemCount() const { return m_pImpl->GetItemCount(); }

void CCfgObjectArray::GetItem(std::size_t index, CCfgObject& item) const {
  item = m_pImpl->GetItem(index, L"cfg_ObjectArray", __LINE__);
}

void CCfgObjectArray::AddItem(const CCfgObject& value) { m_pImpl->AddItem(value); }

void CCfgObjectArray::Empty() { m_pImpl->Empty(); }
