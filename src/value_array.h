// The list behind the six value arrays.
#pragma once

#include <cstddef>
#include <stdexcept>
#include <utility>
#include <vector>

#include "src/frame.h"

namespace cfgex::internal {

template <class Element>
class ValueArray : public CountedImpl {
 public:
  std::size_t GetItemCount() const { return m_Items.size(); }

  // `file` and `line` are those of the class that asks, for the exception.
  const Element& GetItem(std::size_t index, const wchar_t* file, int line) const {
    if (index >= m_Items.size()) throw CCfgExException(CFGEX_ERROR_INDEX_OUT_OF_RANGE, file, line);
    return m_Items[index];
  }

  void AddItem(const Element& value) { m_Items.push_back(value); }

  // The items may be handles, and destroying them runs other code: the list is emptied before.
  void Empty() { std::vector<Element>().swap(m_Items); }

 private:
  std::vector<Element> m_Items;
};

// A number in the width of the arrays.
template <class To, class From>
To In32Bits(From value) {
  if (!std::in_range<To>(value)) throw std::out_of_range("a number beyond 32 bits");
  return static_cast<To>(value);
}

}  // namespace cfgex::internal
