#include "cfgex/cfg_StringArray.h"

#include "src/value_array.h"

class CCfgStringArray::CImpl : public ValueArray<OS::x_wstring> {};

CFGEX_DEFINE_HANDLE(CCfgStringArray)

CCfgStringArray::CCfgStringArray() : m_pImpl(MakeImpl<CImpl>(L"cfg_StringArray", __LINE__)) {}

std::size_t CCfgStringArray::GetItemCount() const { return m_pImpl->GetItemCount(); }

OS::x_wstring CCfgStringArray::GetItem(std::size_t index) const {
  return m_pImpl->GetItem(index, L"cfg_StringArray", __LINE__);
}

void CCfgStringArray::AddItem(const OS::x_wstring& value) { m_pImpl->AddItem(value); }

void CCfgStringArray::Empty() { m_pImpl->Empty(); }
