#include "cfgex/cfg_BooleanArray.h"

#include <cstdint>

#include "src/value_array.h"

class CCfgBooleanArray::CImpl : public ValueArray<std::int32_t> {};

CFGEX_DEFINE_HANDLE(CCfgBooleanArray)

CCfgBooleanArray::CCfgBooleanArray() : m_pImpl(MakeImpl<CImpl>(L"cfg_BooleanArray", __LINE__)) {}

std::size_t CCfgBooleanArray::GetItemCount() const { return m_pImpl->GetItemCount(); }

bool CCfgBooleanArray::GetItem(std::size_t index) const {
  return m_pImpl->GetItem(index, L"cfg_BooleanArray", __LINE__) != 0;
}

void CCfgBooleanArray::AddItem(bool value) { m_pImpl->AddItem(value ? 1 : 0); }

void CCfgBooleanArray::Empty() { m_pImpl->Empty(); }
