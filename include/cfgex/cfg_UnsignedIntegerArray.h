/// @file
/// An array of unsigned whole numbers of 32 bits.
#pragma once

#include <cstddef>

#include "cfgex/export.h"

/// A list that grows at its end. CCfgObject::SetFieldValue writes its items into a field of the
/// type "UnsigedIntegerArrayType"; GetFieldValue replaces its items by those of such a field. An
/// item of the field that is no number of 32 bits raises _com_error there; the list then has the
/// items before it. The items are copies of the values, without a tie to a document.
///
/// A handle: copies share one list, and what is added or emptied through one shows through all.
///
/// Threads: handles of one list are not used from two threads at once if one of them changes it.
class CFGEX_API CCfgUnsignedIntegerArray {
 public:
  /// An empty array. Raises CCfgExException, -92004, if it cannot be allocated.
  CCfgUnsignedIntegerArray();
  /// @{
  /// Another handle of the list that `other` is one of.
  CCfgUnsignedIntegerArray(const CCfgUnsignedIntegerArray& other);
  CCfgUnsignedIntegerArray& operator=(const CCfgUnsignedIntegerArray& other);
  /// @}

  /// The last handle of a list ends it.
  virtual ~CCfgUnsignedIntegerArray();

  /// How many items the list has.
  virtual std::size_t GetItemCount() const;
  /// The item.
  /// `index` counts from 0; at GetItemCount() or beyond CCfgExException, -92003, is raised.
  virtual unsigned long GetItem(std::size_t index) const;
  /// Appends a number. Raises std::out_of_range for one beyond 32 bits. Raises std::bad_alloc or
  /// std::length_error when the list cannot grow; it keeps its items then.
  virtual void AddItem(unsigned long value);
  /// Removes all items.
  virtual void Empty();

 private:
  class CFGEX_PRIVATE CImpl;
  void _AddRef();
  void _Free();

  CImpl* m_pImpl;
};
