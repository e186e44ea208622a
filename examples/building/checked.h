// The library's operations as the program uses them, each with its result checked.
#pragma once

#include <cfgex/cfgex.h>

#include <filesystem>
#include <initializer_list>
#include <string>
#include <vector>

namespace demo {

using IdList = std::vector<OS::x_wstring>;

// Stops the program. A false result has no reason with it, so the caller says what was being done.
struct Surprise {
  std::wstring what;
};

void Require(bool done, const std::wstring& what);

// The schema, loaded as long as this object lives. Stores and instances must not outlive it.
class Library {
 public:
  explicit Library(const std::filesystem::path& schema);
  ~Library();
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;
};

CCfgConfigurationEx OpenStore(const std::filesystem::path& config);

// An instance, as a private copy: changes reach the store only through StoreInstance.
CCfgInstance OpenInstance(CCfgConfigurationEx& store, const OS::x_wstring& id,
                          const OS::x_wstring& category);

// A new instance with the schema's defaults. It has an id already; this gives it a readable one.
CCfgInstance NewInstance(const wchar_t* category, const wchar_t* id);

// Stores the instance with all that it refers to. Returns the ids of what was written.
IdList StoreInstance(CCfgConfigurationEx& store, const CCfgInstance& instance);

// The text in which an instance is read from the store and stored.
OS::x_wstring TextOf(const CCfgInstance& instance);

// A required field, read as the type that the schema declares for it.
template <class T>
T Field(const CCfgObject& object, const std::wstring& name) {
  T value{};
  Require(object.GetFieldValue(name.c_str(), value), L"cannot read the field " + name);
  return value;
}

template <class T>
void Change(CCfgObject& object, const wchar_t* name, const T& value) {
  Require(object.SetFieldValue(name, value), std::wstring(L"cannot write the field ") + name);
}

// An array to be put into a field.
template <class Array, class Item>
Array ArrayOf(std::initializer_list<Item> items) {
  Array array;
  for (const Item& item : items) array.AddItem(item);
  return array;
}

// The instances that an array of references leads to.
std::vector<CCfgInstance> Targets(const CCfgObject& object, const wchar_t* field);

std::wstring NameOf(const CCfgInstance& instance);

// The bytes of a file.
std::string Content(const std::filesystem::path& file);

}  // namespace demo
