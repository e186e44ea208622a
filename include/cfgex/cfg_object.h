/// @file
/// The typed view of one XML element.
#pragma once

#include <concepts>
#include <ctime>
#include <type_traits>
#include <vector>

#include "cfgex/cfg_Option.h"
#include "cfgex/cvar.h"
#include "cfgex/export.h"
#include "cfgex/os_string.h"
#include "cfgex/os_time.h"
#include "cfgex/unknown.h"

class CCfgBooleanArray;
class CCfgInstance;
class CCfgInstanceArray;
class CCfgIntegerArray;
class CCfgObjectArray;
class CCfgStringArray;
class CCfgUnsignedIntegerArray;

/// A view of one element that the schema describes, with typed access to the fields below it. It
/// is an embedded object inside an instance, a fragment of its own, or, as CCfgInstance, a whole
/// instance. It has no tie to a store: a change reaches one only as text.
///
/// A handle: copies are one object, and a field set through one is seen through the other. The
/// object keeps its element and the element's document alive, also after the element was replaced
/// or removed; then it goes on reading and writing the detached element.
///
/// A field is whatever element a field name selects: the name is an XPath 1.0 expression
/// (https://www.w3.org/TR/xpath-10/) evaluated at the object's element, as a rule a child's name or
/// a path such as L"Outer/Inner"; the first match in document order counts. The field's type is
/// what the schema says about that element. Nothing creates a missing field. An expression that
/// takes more than 500 million steps selects nothing.
///
/// Threads: an object, and every object that shares its document, belongs to one thread at a time.
class CFGEX_API CCfgObject {
 public:
  /// An object bound to nothing. Raises CCfgExException, -92004, if it cannot be allocated.
  CCfgObject(CCfgOption option = *CCfgOption::Instance());
  /// @{
  /// Another handle of the object that `other` is one of.
  CCfgObject(const CCfgObject& other);
  CCfgObject& operator=(const CCfgObject& other);
  /// @}

  /// The last handle gives up the element.
  virtual ~CCfgObject();

  /// Binds the object to the instance that the stand-alone document `xml` is about, in a new
  /// private document. False when `xml` is null (nothing changes), when the holder is not
  /// initialised, or when the text is not well-formed, not valid, or its `instance_id` names no
  /// instance in it. An object that was bound by this operation is unbound after such a false; one
  /// that was bound to an element keeps it, unless it was the `instance_id` that named none.
  bool Initialize(const wchar_t* xml);
  /// Binds the object to an element of the XML platform, as GetRawInterface gives it, without a
  /// copy. `checkTypes` says whether field accesses hold the field's schema type against the
  /// overload. False, and the object unbound, when `element` is null or no element.
  bool Initialize(IUnknown* element, bool checkTypes);
  /// The element, or null when the object is bound to none. The caller gets no count of its own;
  /// the element lives as long as the object is bound to it.
  IUnknown* GetRawInterface() const;

  /// @{
  /// Writes a field. True when the element was written. False, and nothing changed, when the name
  /// is null or selects no element, the field's type is not the one that the overload writes, a
  /// `long` is beyond 32 bits, or the text is null or holds characters that XML cannot carry. The
  /// value is not held against the schema's further rules (patterns, ranges): that happens when the
  /// document is validated.
  ///
  /// The overloads write fields of these types, or of types derived from them in one step: whole
  /// numbers "integer" if signed and "nonNegativeInteger" if not, `bool` "boolean", texts "string",
  /// dates "dateTime".
  /// A CVar is written as its kind says: VT_I2, VT_I4 and VT_INT as `int`; VT_UI2, VT_UI4 and
  /// VT_UINT as `unsigned int`; VT_BOOL, VT_DATE; VT_BSTR, VT_LPSTR and VT_LPWSTR as text. Other
  /// kinds give false. Raises _com_error for a VT_LPSTR or VT_LPWSTR that does not convert to
  /// text.
  bool SetFieldValue(const wchar_t* name, const CVar& value);
  bool SetFieldValue(const wchar_t* name, int value);
  bool SetFieldValue(const wchar_t* name, long value);
  bool SetFieldValue(const wchar_t* name, unsigned int value);
  bool SetFieldValue(const wchar_t* name, unsigned long value);
  bool SetFieldValue(const wchar_t* name, bool value);
  bool SetFieldValue(const wchar_t* name, const wchar_t* value);
  bool SetFieldValue(const wchar_t* name, const OS::x_wstring& value);
  bool SetFieldValue(const wchar_t* name, const OS::CTime& value);
  bool SetFieldValue(const wchar_t* name, const tm& value);
  /// @}

  /// A pointer is no truth value. A narrow text goes in a CVar: see CVar::Shared.
  template <class T>
  requires(!std::same_as<std::remove_const_t<T>, wchar_t>) bool SetFieldValue(const wchar_t* name,
                                                                              T* value) = delete;

  /// @{
  /// Reads a field into `value`. False, and `value` unchanged, when the name is null or selects no
  /// element, the field's type is not the one that the overload reads (as above), or the text is
  /// no value of 32 bits, no boolean or no date. One exception: after a date text that does not
  /// scan, a `tm` holds zeros and what was scanned.
  /// A CVar gets its kind from the field's type, which must be exactly "string", "integer",
  /// "boolean", "dateTime" or "nonNegativeInteger": VT_BSTR, VT_I4, VT_BOOL, VT_DATE, VT_UI4.
  /// An "integer" keeps the CVar's kind if that is VT_I4, VT_ERROR or VT_BOOL.
  /// A date has no zone: what follows the seconds in the text is ignored.
  bool GetFieldValue(const wchar_t* name, CVar& value) const;
  bool GetFieldValue(const wchar_t* name, int& value) const;
  bool GetFieldValue(const wchar_t* name, long& value) const;
  bool GetFieldValue(const wchar_t* name, unsigned int& value) const;
  bool GetFieldValue(const wchar_t* name, unsigned long& value) const;
  bool GetFieldValue(const wchar_t* name, bool& value) const;
  bool GetFieldValue(const wchar_t* name, OS::x_wstring& value) const;
  bool GetFieldValue(const wchar_t* name, OS::CTime& value) const;
  bool GetFieldValue(const wchar_t* name, tm& value) const;
  /// @}

  /// @{
  /// Array fields. The element of the field holds one child element per value, written as `Item`.
  /// The types are "IntegerArrayType", "UnsigedIntegerArrayType", "BooleanArrayType" and
  /// "StringArrayType", or derived from these in one step; results are as for the scalar overloads.
  ///
  /// Writing puts a new element in the field's place, without attributes; objects bound to the old
  /// one go on with that. Reading replaces the array's items, but appends to a vector. The two
  /// integer arrays raise _com_error for an item that is no number of 32 bits and then hold the
  /// items before it; an item of a boolean array is true if it reads "true" and false otherwise.
  bool SetFieldValue(const wchar_t* name, const CCfgIntegerArray& value);
  bool SetFieldValue(const wchar_t* name, const CCfgUnsignedIntegerArray& value);
  bool SetFieldValue(const wchar_t* name, const CCfgBooleanArray& value);
  bool SetFieldValue(const wchar_t* name, const CCfgStringArray& value);
  bool SetFieldValue(const wchar_t* name, const std::vector<OS::x_wstring>& value);
  bool GetFieldValue(const wchar_t* name, CCfgIntegerArray& value) const;
  bool GetFieldValue(const wchar_t* name, CCfgUnsignedIntegerArray& value) const;
  bool GetFieldValue(const wchar_t* name, CCfgBooleanArray& value) const;
  bool GetFieldValue(const wchar_t* name, CCfgStringArray& value) const;
  bool GetFieldValue(const wchar_t* name, std::vector<OS::x_wstring>& value) const;
  /// @}

  /// @{
  /// Embedded objects: fields of a named type that derives from "EmbeddedObjectType" (in an array,
  /// from "EmbeddedObjectArrayType") directly.
  ///
  /// Reading binds `value` to the field's element, without a copy: a change through it is a change
  /// of this object's document. Reading an array appends an object per child element. Writing puts
  /// a deep copy of the object's element in the field's place; the field takes that element's name,
  /// so it should be the field's own. References in it are not followed. False also when `value` is
  /// bound to nothing. An array of embedded objects cannot be written: that is false, always. An
  /// object without type checks leaves `value` unbound where it has no such field.
  bool SetFieldValue(const wchar_t* name, const CCfgObject& value);
  bool GetFieldValue(const wchar_t* name, CCfgObject& value) const;
  bool SetFieldValue(const wchar_t* name, const CCfgObjectArray& value);
  bool GetFieldValue(const wchar_t* name, CCfgObjectArray& value) const;
  /// @}

  /// @{
  /// References to instances in this object's document: fields of the type "ReferenceType" (in an
  /// array, "ReferenceArrayType"), with the children `InstanceId` and `Category` (in each `Item`).
  ///
  /// Reading binds `value` to the target, as for embedded objects; false when it is not in the
  /// document. Reading an array appends an instance per target found and passes over the others.
  ///
  /// Writing makes the field refer to `value` and brings the instance, with all that it
  /// reaches, into this document if it comes from another; what is here already is replaced. The
  /// field's type is not looked at, only its shape. A single reference that names this id already
  /// keeps its category. If a single reference changes to a target from another document, or the
  /// target comes anew from one, what the old target referred to is removed, whoever else refers to
  /// it; the old target stays. An array that names the same ids in the same order is left alone,
  /// and that is false; otherwise its element is replaced, and nothing is removed. The instance
  /// that holds the field is never removed or replaced. After a failure on the way, what was
  /// removed or brought stays so. False also when `value`, or the field, has no `InstanceId`; in an
  /// array such an instance makes an empty reference.
  bool SetFieldValue(const wchar_t* name, const CCfgInstance& value);
  bool GetFieldValue(const wchar_t* name, CCfgInstance& value) const;
  bool SetFieldValue(const wchar_t* name, const CCfgInstanceArray& value);
  bool GetFieldValue(const wchar_t* name, CCfgInstanceArray& value) const;
  /// @}

 protected:
  /// @{
  /// What CCfgInstance opens to callers; the contracts stand there.
  CCfgObject(const wchar_t* xml, CCfgOption option = *CCfgOption::Instance());
  OS::x_wstring GetCategory() const;
  OS::x_wstring GetInstanceId() const;
  bool SetInstanceId(const wchar_t* id);
  bool GetXml(OS::x_wstring& xml) const;
  bool SaveToFile(const wchar_t* path) const;
  /// @}

 private:
  class CFGEX_PRIVATE CImpl;
  void _AddRef();
  void _Free();

  CImpl* m_pImpl;
};
