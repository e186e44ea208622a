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

/// A view of one element that the schema describes, with typed access to the fields below it. The
/// element is an embedded object inside an instance, a fragment of its own, or, as CCfgInstance, a
/// whole instance. An object has no tie to a store: a change reaches a store only as text.
///
/// A handle: copies are one object, and a field set through one is seen through the other. The
/// object keeps its element and the element's document alive. After the element was replaced or
/// removed, the object goes on reading and writing the detached element.
///
/// Fields:
/// - A field is the element that a field name selects. The name is an XPath 1.0 expression
///   (https://www.w3.org/TR/xpath-10/) evaluated at the object's element, as a rule a child's name
///   or a path such as L"Outer/Inner". The first match in document order counts.
/// - An expression that takes more than 500 million steps selects nothing.
/// - The field's type is what the schema says about the element.
/// - Nothing creates a missing field.
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
  /// private document. False when
  /// - `xml` is null: nothing changes,
  /// - the holder is not initialised, or the text is not well-formed or not valid: an object that
  ///   was bound by this operation is unbound, one that was bound to an element keeps it,
  /// - the `instance_id` of the text names no instance in it: the object is unbound.
  bool Initialize(const wchar_t* xml);
  /// Binds the object to an element of the XML platform, as GetRawInterface gives it, without a
  /// copy. False, and the object unbound, when `element` is null or no element.
  ///
  /// `checkTypes` says whether field accesses compare the field's schema type with the overload.
  /// Without the check, every scalar and array overload writes any element, and reads every element
  /// whose text converts. Only a CVar is still read by the field's type: see GetFieldValue.
  bool Initialize(IUnknown* element, bool checkTypes);
  /// The element, or null when the object is bound to none. The caller gets no count of its own;
  /// the element lives as long as the object is bound to it.
  IUnknown* GetRawInterface() const;

  /// @{
  /// Writes a field. True when the element was written. False, and nothing changed, when
  /// - `name` is null or selects no element,
  /// - the field's type is not one that the overload writes,
  /// - a `long` is beyond 32 bits,
  /// - the text is null or holds characters that XML cannot carry.
  ///
  /// Patterns, ranges and other rules of the schema count when the document is validated, not here.
  ///
  /// A field has one of these types if its declared type has this name or is derived, in one step,
  /// from that type alone:
  /// - "string": texts,
  /// - "integer": `int` and `long`,
  /// - "nonNegativeInteger": `unsigned int` and `unsigned long`; being one step from "integer"
  ///   itself, `int` and `long` as well, also if they are negative,
  /// - "boolean": `bool`,
  /// - "dateTime": OS::CTime and `tm`.
  ///
  /// A CVar is written as its kind says, without a conversion between kinds:
  /// - VT_I2, VT_I4 and VT_INT as `int`,
  /// - VT_UI2, VT_UI4 and VT_UINT as `unsigned int`,
  /// - VT_BOOL as `bool`, VT_DATE as `tm`,
  /// - VT_BSTR, VT_LPSTR and VT_LPWSTR as text; a VT_LPSTR or VT_LPWSTR that is null or not UTF-8
  ///   raises _com_error, whatever the field is,
  /// - all other kinds are false, those of 8 and 64 bits and VT_ERROR among them.
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
  /// Reads a field into `value`. False when
  /// - `name` is null or selects no element,
  /// - the field's type is not one that the overload reads (as for writing),
  /// - the text is no value of 32 bits, no boolean or no date.
  ///
  /// After false `value` is unchanged, with one exception: a `tm` whose field is no date holds
  /// zeros and what could be read of the date.
  ///
  /// A CVar gets its kind from the name of the field's own type:
  /// - "string" gives VT_BSTR, "integer" VT_I4, "nonNegativeInteger" VT_UI4, "boolean" VT_BOOL,
  ///   "dateTime" VT_DATE.
  /// - The kind that the CVar had before does not count: a VT_I2 becomes VT_I4. But a VT_ERROR or
  ///   VT_BOOL keeps its kind if the field is an "integer".
  /// - A derived type is false. So is an element of unknown type, such as everything that
  ///   CCfgCategory::CreateObject made. Both also hold in an object without type checks.
  ///
  /// A date has no zone: what follows the seconds in the text is ignored. Years from 1900 on are
  /// read as written. An earlier year is taken for a `tm_year` and comes 1900 years late.
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
  /// Array fields: the element of the field holds one child element per value, written as `Item`.
  /// The types are "IntegerArrayType", "UnsigedIntegerArrayType", "BooleanArrayType" and
  /// "StringArrayType" (for vectors too), or derived from these in one step.
  ///
  /// Writing replaces the field's element by a new one without attributes, even if the values are
  /// the same. Objects bound to the old element keep it. False, and nothing changed, as for the
  /// scalar overloads.
  ///
  /// Reading replaces the items of an array, and appends to a vector.
  /// - False, and `value` unchanged, when `name` is null or selects no element, or the type is
  ///   another.
  /// - An item of a boolean array is true if it reads "true", and false for all else, "1" included.
  /// - An item of the two integer arrays that is no number of 32 bits raises _com_error. The array
  ///   then holds the items before it.
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
  /// Reading binds `value` to the field's element, without a copy: a change through `value` is a
  /// change of this object's document. Reading an array appends an object per child element.
  /// - False, and `value` unchanged, when `name` is null or selects no element, or the type is
  ///   another.
  /// - One exception: an object without type checks leaves a single `value` unbound if it has no
  ///   such field.
  ///
  /// Writing replaces the field's element by a deep copy of the element of `value`.
  /// - The field takes that element's name, which should therefore be the field's own.
  /// - References in `value` are not followed.
  /// - False, and nothing changed, for the causes of a false reading, and when `value` is bound to
  ///   nothing.
  /// - An array of embedded objects cannot be written: that is false, always.
  bool SetFieldValue(const wchar_t* name, const CCfgObject& value);
  bool GetFieldValue(const wchar_t* name, CCfgObject& value) const;
  bool SetFieldValue(const wchar_t* name, const CCfgObjectArray& value);
  bool GetFieldValue(const wchar_t* name, CCfgObjectArray& value) const;
  /// @}

  /// @{
  /// References to instances in this object's document: fields of the type "ReferenceType" (in an
  /// array, "ReferenceArrayType"), with the children `InstanceId` and `Category` (in each `Item`).
  ///
  /// Reading binds `value` to the target, without a copy. An array gets one more instance for each
  /// target found; references that lead nowhere are passed over. False, and `value` unchanged, when
  /// - `name` is null or selects no element,
  /// - the type is another,
  /// - the target of a single reference is not in the document.
  ///
  /// Writing looks at the field's shape, not at its type. False, and nothing changed, when
  /// - `name` is null or selects no element,
  /// - `value` or the field has no `InstanceId`.
  ///
  /// Writing one reference, to a `value` in another document, also if the field has its id already:
  /// - What the old target reaches is removed, whoever else refers to it. The old target stays.
  /// - Copies of `value` and of all that it reaches come in, and replace what has their ids here.
  ///
  /// Writing one reference, to a `value` in this document:
  /// - If the field has its id already, nothing happens.
  /// - Otherwise every instance that `value` reaches is replaced by a copy of itself. Nothing is
  ///   removed.
  ///
  /// The field then has the id of `value`. It gets its category too, unless it had the id before.
  ///
  /// Writing an array:
  /// - If the field has the same ids in the same order, nothing happens, and the result is
  ///   **false**.
  /// - Otherwise the field's element is replaced. Each instance comes in with all that it reaches.
  ///   Those of this document, and all that they reach, are replaced by copies of themselves.
  ///   Nothing is removed.
  /// - An instance without an id makes an `Item` that refers to nothing.
  ///
  /// In both cases:
  /// - The instance that holds the field is never removed or replaced.
  /// - If an operation of the platform fails on the way, the result is false, and what was removed
  ///   or brought in until then stays so.
  /// - **Objects bound to a removed or replaced instance are cut off**, the instances in an array
  ///   `value` included. They keep their old elements: setting a field through one is true, and
  ///   does not reach the document. After writing a reference, read every referenced instance anew,
  ///   from this object on.
  bool SetFieldValue(const wchar_t* name, const CCfgInstance& value);
  bool GetFieldValue(const wchar_t* name, CCfgInstance& value) const;
  bool SetFieldValue(const wchar_t* name, const CCfgInstanceArray& value);
  bool GetFieldValue(const wchar_t* name, CCfgInstanceArray& value) const;
  /// @}

 protected:
  /// @{
  /// What CCfgInstance opens to callers; the contracts are there.
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
