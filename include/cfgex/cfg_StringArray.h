/// @file
/// An array of texts.
#pragma once

#include <cstddef>

#include "cfgex/export.h"
#include "cfgex/os_string.h"

/// A list that grows at its end. CCfgObject::SetFieldValue writes its items into a field of the
/// type "StringArrayType"; GetFieldValue replaces its items by those of such a field. A vector of
/// texts does the same, but GetFieldValue appends to it. The items are copies of the values,
/// without a tie to a document.
///
/// A handle: copies share one list, and what is added or emptied through one shows through all.
///
/// Threads: handles of one list are not used from two threads at once if one of them changes it.
class CFGEX_API CCfgStringArray {
 public:
  /// An empty array. Raises CCfgExException, -92004, if it cannot be allocated.
  CCfgStringArray();
  /// @{
  /// Another handle of the list that `other` is one of.
  CCfgStringArray(const CCfgStringArray& other);
  CCfgStringArray& operator=(const CCfgStringArray& other);
  /// @}

  /// The last handle of a list ends it.
  virtual ~CCfgStringArray();

  /// How many items the list has.
  virtual std::size_t GetItemCount() const;
  /// A copy of the item.
  /// `index` counts from 0; at GetItemCount() or beyond CCfgExException, -92003, is raised.
  virtual OS::x_wstring GetItem(std::size_t index) const;
  /// Appends a copy of the text. Raises std::bad_alloc or std::length_error
  /// when the list cannot grow; it keeps its items then.
  virtual void AddItem(const OS::x_wstring& value);
  /// Removes all items.
  virtual void Empty();

 private:
  class CFGEX_PRIVATE CImpl;
  void _AddRef();
  void _Free();

  CImpl* m_pImpl;
};
