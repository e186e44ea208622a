#include "cfgex/cfg_InstanceArray.h"

#include "src/value_array.h"

class CCfgInstanceArray::CImpl : public ValueArray<CCfgInstance> {};

CFGEX_DEFINE_HANDLE(CCfgInstanceArray)

CCfgInstanceArray::CCfgInstanceArray() : m_pImpl(MakeImpl<CImpl>(L"cfg_InstanceArray", __LINE__)) {}

std::size_t CCfgInstanceArray::GetItemCount() const { return m_pImpl->GetItemCount(); }

void CCfgInstanceArray::GetItem(std::size_t index, CCfgInstance& item) const {
  item = m_pImpl->GetItem(index, L"cfg_InstanceArray", __LINE__);
}

void CCfgInstanceArray::AddItem(const CCfgInstance& value) { m_pImpl->AddItem(value); }

void CCfgInstanceArray::Empty() { m_pImpl->Empty(); }
