#include "cfgex/cfg_IntegerArray.h"

#include <cstdint>

#include "src/value_array.h"

class CCfgIntegerArray::CImpl : public ValueArray<std::int32_t> {};

CFGEX_DEFINE_HANDLE(CCfgIntegerArray)

CCfgIntegerArray::CCfgIntegerArray() : m_pImpl(MakeImpl<CImpl>(L"cfg_IntegerArray", __LINE__)) {}

std::size_t CCfgIntegerArray::GetItemCount() const { return m_pImpl->GetItemCount(); }

long CCfgIntegerArray::GetItem(std::size_t index) const {
  return m_pImpl->GetItem(index, L"cfg_IntegerArray", __LINE__);
}

void CCfgIntegerArray::AddItem(long value) { m_pImpl->AddItem(In32Bits<std::int32_t>(value)); }

void CCfgIntegerArray::Empty() { m_pImpl->Empty(); }
