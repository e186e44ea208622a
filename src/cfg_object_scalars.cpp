// The scalar overloads: between typed values and the text of one element.

#include <cwchar>

#include "src/cfg_object_impl.h"

namespace {

constexpr const wchar_t* kDateTimeFormat = L"%Y-%m-%dT%H:%M:%SZ";
constexpr const wchar_t* kDateTimePattern = L"%d-%d-%dT%d:%d:%d";

std::wstring NumberText(const CVar& number) { return static_cast<const wchar_t*>(number); }

// Converts the text into a value of the kind; false if it is not one.
bool Convert(const std::wstring& text, VARTYPE kind, VARIANT& value) {
  bool result = false;
  Guarded([&] {
    const CVar variant(text.c_str());
    result = OS::VariantChangeType(value, variant.GetVariant(), 0, kind) >= 0;
  });
  return result;
}

}  // namespace

bool CCfgObject::CImpl::SetValue(const wchar_t* name, int value) {
  if (name == nullptr) return false;
  return SetFieldText(name, NumberText(value), FieldType::kInteger, m_bCheckTypes);
}

bool CCfgObject::CImpl::SetValue(const wchar_t* name, unsigned int value) {
  if (name == nullptr) return false;
  return SetFieldText(name, NumberText(value), FieldType::kNonNegativeInteger, m_bCheckTypes);
}

bool CCfgObject::CImpl::SetValue(const wchar_t* name, bool value) {
  if (name == nullptr) return false;
  return SetFieldText(name, value ? L"true" : L"false", FieldType::kBoolean, m_bCheckTypes);
}

bool CCfgObject::CImpl::SetValue(const wchar_t* name, const wchar_t* value) {
  if (name == nullptr || value == nullptr) return false;
  return SetFieldText(name, value, FieldType::kString, m_bCheckTypes);
}

bool CCfgObject::CImpl::SetValue(const wchar_t* name, const OS::x_wstring& value) {
  return SetValue(name, value.c_str());
}

bool CCfgObject::CImpl::SetValue(const wchar_t* name, const OS::CTime& value) {
  if (name == nullptr) return false;
  return SetFieldText(name, value.Format(kDateTimeFormat).str(), FieldType::kDateTime,
                      m_bCheckTypes);
}

bool CCfgObject::CImpl::SetValue(const wchar_t* name, const tm& value) {
  return SetValue(name, OS::CTime(value));
}

// The kind of the value alone chooses the overload; the field's type then accepts or refuses it.
bool CCfgObject::CImpl::SetValue(const wchar_t* name, const CVar& value) {
  if (name == nullptr) return false;
  switch (value.GetKind()) {
    case VT_I2:
      return SetValue(name, static_cast<int>(static_cast<short>(value)));
    case VT_I4:
    case VT_INT:
      return SetValue(name, static_cast<int>(value));
    case VT_UI2:
      return SetValue(name, static_cast<unsigned int>(static_cast<unsigned short>(value)));
    case VT_UI4:
    case VT_UINT:
      return SetValue(name, static_cast<unsigned int>(value));
    case VT_BOOL:
      return SetValue(name, static_cast<bool>(value));
    case VT_DATE:
      return SetValue(name, static_cast<tm>(value));
    case VT_BSTR:
    case VT_LPSTR:
    case VT_LPWSTR:
      return SetValue(name, static_cast<const wchar_t*>(value));
    default:
      return false;
  }
}

bool CCfgObject::CImpl::GetValue(const wchar_t* name, int& value) const {
  if (name == nullptr) return false;
  std::wstring text;
  VARIANT converted;
  if (!GetFieldText(name, text, FieldType::kInteger, m_bCheckTypes)) return false;
  if (!Convert(text, VT_I4, converted)) return false;
  value = converted.lVal;
  return true;
}

bool CCfgObject::CImpl::GetValue(const wchar_t* name, unsigned int& value) const {
  if (name == nullptr) return false;
  std::wstring text;
  VARIANT converted;
  if (!GetFieldText(name, text, FieldType::kNonNegativeInteger, m_bCheckTypes)) return false;
  if (!Convert(text, VT_UI4, converted)) return false;
  value = converted.ulVal;
  return true;
}

bool CCfgObject::CImpl::GetValue(const wchar_t* name, bool& value) const {
  if (name == nullptr) return false;
  std::wstring text;
  VARIANT converted;
  if (!GetFieldText(name, text, FieldType::kBoolean, m_bCheckTypes)) return false;
  if (!Convert(text, VT_BOOL, converted)) return false;
  value = converted.boolVal != VARIANT_FALSE;
  return true;
}

bool CCfgObject::CImpl::GetValue(const wchar_t* name, OS::x_wstring& value) const {
  if (name == nullptr) return false;
  std::wstring text;
  if (!GetFieldText(name, text, FieldType::kString, m_bCheckTypes)) return false;
  value = OS::x_wstring(std::move(text));
  return true;
}

bool CCfgObject::CImpl::GetValue(const wchar_t* name, tm& value) const {
  if (name == nullptr) return false;
  std::wstring text;
  if (!GetFieldText(name, text, FieldType::kDateTime, m_bCheckTypes)) return false;
  value = tm{};
  const int scanned = std::swscanf(text.c_str(), kDateTimePattern, &value.tm_year, &value.tm_mon,
                                   &value.tm_mday, &value.tm_hour, &value.tm_min, &value.tm_sec);
  if (scanned != 6) return false;
  if (value.tm_year >= 1900) value.tm_year -= 1900;
  if (value.tm_mon >= 1) value.tm_mon -= 1;
  value.tm_isdst = -1;
  return true;
}

bool CCfgObject::CImpl::GetValue(const wchar_t* name, OS::CTime& value) const {
  tm fields;
  if (!GetValue(name, fields)) return false;
  value = OS::CTime(fields);
  return true;
}

namespace {

// Reads with the overload for T; on success `value` becomes what `make` makes of it.
template <class T, class Impl, class Make>
bool ReadInto(const Impl& object, const wchar_t* name, CVar& value, Make&& make) {
  T read{};
  if (!object.GetValue(name, read)) return false;
  value = make(read);
  return true;
}

// A number goes into a variant of one of three kinds without changing the kind.
CVar NumberKeepingKind(int number, VARTYPE kind) {
  if (kind == VT_BOOL) return number != 0;
  return CVar::FromInt(number, kind == VT_ERROR ? VT_ERROR : VT_I4);
}

}  // namespace

bool CCfgObject::CImpl::GetValue(const wchar_t* name, CVar& value) const {
  if (name == nullptr) return false;
  const auto same = [](const auto& read) { return CVar(read); };
  switch (GetFieldType(name)) {
    case FieldType::kString:
      return ReadInto<OS::x_wstring>(*this, name, value, same);
    case FieldType::kInteger:
      return ReadInto<int>(*this, name, value, [kind = value.GetKind()](int number) {
        return NumberKeepingKind(number, kind);
      });
    case FieldType::kBoolean:
      return ReadInto<bool>(*this, name, value, same);
    case FieldType::kDateTime:
      return ReadInto<tm>(*this, name, value, same);
    case FieldType::kNonNegativeInteger:
      return ReadInto<unsigned int>(*this, name, value, same);
    default:
      return false;
  }
}
