// The state behind CCfgObject, and its operations.
//
// States: empty (no m_pRoot), bound to an element (m_pRoot), loaded (m_pRoot and m_bLoaded). All
// operations test m_pRoot; m_bLoaded says only that Initialize(text) made the document.
#pragma once

#include <string>
#include <vector>

#include "cfgex/cfg_BooleanArray.h"
#include "cfgex/cfg_InstanceArray.h"
#include "cfgex/cfg_IntegerArray.h"
#include "cfgex/cfg_ObjectArray.h"
#include "cfgex/cfg_StringArray.h"
#include "cfgex/cfg_UnsignedIntegerArray.h"
#include "cfgex/cfg_instance.h"
#include "cfgex/cfg_object.h"
#include "platform/dom/dom.h"
#include "src/field_type.h"
#include "src/frame.h"

namespace cfgex::internal {
using TextList = std::vector<std::wstring>;

// Calls `visit` for each element of the list, which may change meanwhile.
template <class Visit>
void ForEachElement(const ComPtr<IXMLDOMNodeList>& list, Visit&& visit) {
  for (long index = 0; index < list->get_length(); ++index)
    if (const auto element = As<IXMLDOMElement>(list->get_item(index))) visit(element);
}

}  // namespace cfgex::internal

class CCfgObject::CImpl : public CountedImpl {
 public:
  explicit CImpl(const CCfgOption& option) : m_Option(option) {}

  // The object as a whole.
  bool Initialize(const wchar_t* xml);
  bool Initialize(IUnknown* element, bool checkTypes);
  OS::x_wstring GetCategory() const;
  bool GetXml(OS::x_wstring& xml) const;
  bool SaveToFile(const wchar_t* path) const;
  OS::x_wstring GetInstanceId() const;
  bool SetInstanceId(const wchar_t* id);

  // The four paths to a field. Each gives false, with nothing changed, when the object is empty,
  // the name selects no element, or, with `check`, the field's declared type does not fit
  // `expected`.
  bool GetFieldText(const wchar_t* name, std::wstring& value, FieldType expected, bool check) const;
  bool SetFieldText(const wchar_t* name, const std::wstring& value, FieldType expected, bool check);
  // Appends the texts of the field's child elements to `items`.
  bool GetFieldItems(const wchar_t* name, TextList& items, FieldType expected, bool check) const;
  // Replaces the field's element by a new one with an `Item` per text.
  bool SetFieldItems(const wchar_t* name, const TextList& items, FieldType expected, bool check);
  // The field's declared type, by its name; kUnknown if the library does not know the name.
  FieldType GetFieldType(const wchar_t* name) const;

  // The first element that the name selects, or none, as for a null name; with `check`, none also
  // if its declared type does not fit. Raises _com_error for a malformed name.
  ComPtr<IXMLDOMElement> SelectField(const wchar_t* name) const;
  ComPtr<IXMLDOMElement> SelectField(const wchar_t* name, FieldType expected, bool check) const;

  // The scalar overloads.
  bool SetValue(const wchar_t* name, const CVar& value);
  bool SetValue(const wchar_t* name, int value);
  bool SetValue(const wchar_t* name, unsigned int value);
  bool SetValue(const wchar_t* name, bool value);
  bool SetValue(const wchar_t* name, const wchar_t* value);
  bool SetValue(const wchar_t* name, const OS::x_wstring& value);
  bool SetValue(const wchar_t* name, const OS::CTime& value);
  bool SetValue(const wchar_t* name, const tm& value);
  bool GetValue(const wchar_t* name, CVar& value) const;
  bool GetValue(const wchar_t* name, int& value) const;
  bool GetValue(const wchar_t* name, unsigned int& value) const;
  bool GetValue(const wchar_t* name, bool& value) const;
  bool GetValue(const wchar_t* name, OS::x_wstring& value) const;
  bool GetValue(const wchar_t* name, OS::CTime& value) const;
  bool GetValue(const wchar_t* name, tm& value) const;

  // The array overloads.
  bool SetValue(const wchar_t* name, const CCfgIntegerArray& value);
  bool SetValue(const wchar_t* name, const CCfgUnsignedIntegerArray& value);
  bool SetValue(const wchar_t* name, const CCfgBooleanArray& value);
  bool SetValue(const wchar_t* name, const CCfgStringArray& value);
  bool SetValue(const wchar_t* name, const std::vector<OS::x_wstring>& value);
  bool GetValue(const wchar_t* name, CCfgIntegerArray& value) const;
  bool GetValue(const wchar_t* name, CCfgUnsignedIntegerArray& value) const;
  bool GetValue(const wchar_t* name, CCfgBooleanArray& value) const;
  bool GetValue(const wchar_t* name, CCfgStringArray& value) const;
  bool GetValue(const wchar_t* name, std::vector<OS::x_wstring>& value) const;

  // The overloads for embedded objects and for references.
  bool SetValue(const wchar_t* name, const CCfgObject& value);
  bool SetValue(const wchar_t* name, const CCfgInstance& value);
  bool SetValue(const wchar_t* name, const CCfgInstanceArray& value);
  bool GetValue(const wchar_t* name, CCfgObject& value) const;
  bool GetValue(const wchar_t* name, CCfgObjectArray& value) const;
  bool GetValue(const wchar_t* name, CCfgInstance& value) const;
  bool GetValue(const wchar_t* name, CCfgInstanceArray& value) const;

  CCfgOption m_Option;
  ComPtr<IXMLDOMDocument2> m_pDocument;
  bool m_bLoaded = false;
  bool m_bCheckTypes = true;
  ComPtr<IXMLDOMElement> m_pRoot;
};
