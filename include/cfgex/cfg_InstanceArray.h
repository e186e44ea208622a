/// @file
/// An array of instances.
#pragma once

#include <cstddef>

#include "cfgex/cfg_instance.h"
#include "cfgex/export.h"

/// A list that grows at its end. CCfgObject::GetFieldValue appends the instances that a field of
/// the type "ReferenceArrayType" refers to, each bound to its element, and passes over references
/// that lead nowhere: a change of a field through an item is a change of the document, and shows in
/// every other handle of that instance. SetFieldValue makes such a field refer to the items; items
/// of the same document are cut off from it by that.
///
/// A handle: copies share one list, and what is added or emptied through one shows through all.
///
/// Threads: handles of one list are not used from two threads at once if one of them changes it.
class CFGEX_API CCfgInstanceArray {
 public:
  /// An empty array. Raises CCfgExException, -92004, if it cannot be allocated.
  CCfgInstanceArray();
  /// @{
  /// Another handle of the list that `other` is one of.
  CCfgInstanceArray(const CCfgInstanceArray& other);
  CCfgInstanceArray& operator=(const CCfgInstanceArray& other);
  /// @}

  /// The last handle of a list ends it.
  virtual ~CCfgInstanceArray();

  /// How many items the list has.
  virtual std::size_t GetItemCount() const;
  /// Makes `item` another handle of the instance; what it held before is given up.
  /// `index` counts from 0; at GetItemCount() or beyond CCfgExException, -92003, is raised
  /// and `item` stays as it was.
  virtual void GetItem(std::size_t index, CCfgInstance& item) const;
  /// Appends another handle of the instance. Raises std::bad_alloc or std::length_error
  /// when the list cannot grow; it keeps its items then.
  virtual void AddItem(const CCfgInstance& value);
  /// Removes all items.
  virtual void Empty();

 private:
  class CFGEX_PRIVATE CImpl;
  void _AddRef();
  void _Free();

  CImpl* m_pImpl;
};
