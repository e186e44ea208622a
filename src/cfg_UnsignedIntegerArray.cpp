#include "cfgex/cfg_UnsignedIntegerArray.h"

#include <cstdint>

#include "src/value_array.h"

class CCfgUnsignedIntegerArray::CImpl : public ValueArray<std::uint32_t> {};

CFGEX_DEFINE_HANDLE(CCfgUnsignedIntegerArray)

CCfgUnsignedIntegerArray::CCfgUnsignedIntegerArray()
    : m_pImpl(MakeImpl<CImpl>(L"cfg_UnsignedIntegerArray", __LINE__)) {}

std::size_t CCfgUnsignedIntegerArray::GetItemCount() const { return m_pImpl->GetItemCount(); }

unsigned long CCfgUnsignedIntegerArray::GetItem(std::size_t index) const {
  return m_pImpl->GetItem(index, L"cfg_UnsignedIntegerArray", __LINE__);
}

void CCfgUnsignedIntegerArray::AddItem(unsigned long value) {
  m_pImpl->AddItem(In32Bits<std::uint32_t>(value));
}

void CCfgUnsignedIntegerArray::Empty() { m_pImpl->Empty(); }
