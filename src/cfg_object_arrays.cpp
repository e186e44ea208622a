// The array overloads: between whole arrays and the `Item` children of one element.

#include "src/cfg_object_impl.h"

namespace {

// How each array is written and read: its field type, the text of a value, the value of a text.
struct IntegerItems {
  static constexpr FieldType kType = FieldType::kIntegerArray;
  static std::wstring ToText(long value) {
    return static_cast<const wchar_t*>(CVar(static_cast<int>(value)));
  }
  static long FromText(const std::wstring& text) { return static_cast<int>(CVar(text.c_str())); }
};

struct UnsignedIntegerItems {
  static constexpr FieldType kType = FieldType::kUnsignedIntegerArray;
  static std::wstring ToText(unsigned long value) {
    return static_cast<const wchar_t*>(CVar(static_cast<unsigned int>(value)));
  }
  static unsigned long FromText(const std::wstring& text) {
    return static_cast<unsigned int>(CVar(text.c_str()));
  }
};

struct BooleanItems {
  static constexpr FieldType kType = FieldType::kBooleanArray;
  static std::wstring ToText(bool value) { return value ? L"true" : L"false"; }
  static bool FromText(const std::wstring& text) { return text == L"true"; }
};

struct StringItems {
  static constexpr FieldType kType = FieldType::kStringArray;
  static std::wstring ToText(const OS::x_wstring& value) { return value.c_str(); }
  static OS::x_wstring FromText(const std::wstring& text) { return OS::x_wstring(text); }
};

template <class Items, class Object, class Array>
bool SetArray(Object& object, const wchar_t* name, const Array& value) {
  TextList texts;
  const std::size_t count = value.GetItemCount();
  texts.reserve(count);
  for (std::size_t index = 0; index < count; ++index)
    texts.push_back(Items::ToText(value.GetItem(index)));
  return object.SetFieldItems(name, texts, Items::kType, object.m_bCheckTypes);
}

template <class Items, class Object, class Array>
bool GetArray(const Object& object, const wchar_t* name, Array& value) {
  TextList texts;
  if (!object.GetFieldItems(name, texts, Items::kType, object.m_bCheckTypes)) return false;
  value.Empty();
  for (const std::wstring& text : texts) value.AddItem(Items::FromText(text));
  return true;
}

}  // namespace

bool CCfgObject::CImpl::SetValue(const wchar_t* name, const CCfgIntegerArray& value) {
  return SetArray<IntegerItems>(*this, name, value);
}
bool CCfgObject::CImpl::SetValue(const wchar_t* name, const CCfgUnsignedIntegerArray& value) {
  return SetArray<UnsignedIntegerItems>(*this, name, value);
}
bool CCfgObject::CImpl::SetValue(const wchar_t* name, const CCfgBooleanArray& value) {
  return SetArray<BooleanItems>(*this, name, value);
}
bool CCfgObject::CImpl::SetValue(const wchar_t* name, const CCfgStringArray& value) {
  return SetArray<StringItems>(*this, name, value);
}

bool CCfgObject::CImpl::GetValue(const wchar_t* name, CCfgIntegerArray& value) const {
  return GetArray<IntegerItems>(*this, name, value);
}
bool CCfgObject::CImpl::GetValue(const wchar_t* name, CCfgUnsignedIntegerArray& value) const {
  return GetArray<UnsignedIntegerItems>(*this, name, value);
}
bool CCfgObject::CImpl::GetValue(const wchar_t* name, CCfgBooleanArray& value) const {
  return GetArray<BooleanItems>(*this, name, value);
}
bool CCfgObject::CImpl::GetValue(const wchar_t* name, CCfgStringArray& value) const {
  return GetArray<StringItems>(*this, name, value);
}

bool CCfgObject::CImpl::SetValue(const wchar_t* name, const std::vector<OS::x_wstring>& value) {
  TextList texts;
  texts.reserve(value.size());
  for (const OS::x_wstring& text : value) texts.push_back(StringItems::ToText(text));
  return SetFieldItems(name, texts, StringItems::kType, m_bCheckTypes);
}

// Unlike the array classes, a vector keeps what it holds.
bool CCfgObject::CImpl::GetValue(const wchar_t* name, std::vector<OS::x_wstring>& value) const {
  TextList texts;
  if (!GetFieldItems(name, texts, StringItems::kType, m_bCheckTypes)) return false;
  for (std::wstring& text : texts) value.emplace_back(std::move(text));
  return true;
}
