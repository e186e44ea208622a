/// @file
/// An array of objects.
#pragma once

#include <cstddef>

#include "cfgex/cfg_object.h"
#include "cfgex/export.h"

/// A list that grows at its end. CCfgObject::GetFieldValue appends the objects of a field whose
/// type derives from "EmbeddedObjectArrayType", each bound to its element: a change of a field
/// through an item is a change of the document, and shows in every other handle of that object.
/// SetFieldValue writes no such array: it is false.
///
/// A handle: copies share one list, and what is added or emptied through one shows through all.
///
/// Threads: handles of one list are not used from two threads at once if one of them changes it.
class CFGEX_API CCfgObjectArray {
 public:
  /// An empty array. Raises CCfgExException, -92004, if it cannot be allocated.
  CCfgObjectArray();
  /// @{
  /// Another handle of the list that `other` is one of.
  CCfgObjectArray(const CCfgObjectArray& other);
  CCfgObjectArray& operator=(const CCfgObjectArray& other);
  /// @}

  /// The last handle of a list ends it.
  virtual ~CCfgObjectArray();

  /// How many items the list has.
  virtual std::size_t GetItemCount() const;
  /// Makes `item` another handle of the object; what it held before is given up.
  /// `index` counts from 0; at GetItemCount() or beyond CCfgExException, -92003, is raised
  /// and `item` stays as it was.
  virtual void GetItem(std::size_t index, CCfgObject& item) const;
  /// Appends another handle of the object. Raises std::bad_alloc or std::length_error
  /// when the list cannot grow; it keeps its items then.
  virtual void AddItem(const CCfgObject& value);
  /// Removes all items.
  virtual void Empty();

 private:
  class CFGEX_PRIVATE CImpl;
  void _AddRef();
  void _Free();

  CImpl* m_pImpl;
};
