#include "checked.h"

#include <cstddef>
#include <fstream>
#include <iterator>

namespace fs = std::filesystem;

namespace demo {

void Require(bool done, const std::wstring& what) {
  if (!done) throw Surprise{what};
}

Library::Library(const fs::path& schema) {
  Require(CCfgEx_Initialization(schema.wstring().c_str()), L"the schema was not accepted");
}

Library::~Library() { CCfgEx_Uninitialization(); }

CCfgConfigurationEx OpenStore(const fs::path& config) {
  CCfgConfigurationEx store;
  Require(store.Initialize(config.wstring().c_str()),
          L"neither the configuration nor its backup could be loaded");
  return store;
}

CCfgInstance OpenInstance(CCfgConfigurationEx& store, const OS::x_wstring& id,
                          const OS::x_wstring& category) {
  OS::x_wstring xml;
  Require(store.GetConfiguration(id, category, xml),
          L"there is no " + category.str() + L" " + id.str());
  CCfgInstance instance(xml);
  Require(instance.GetRawInterface() != nullptr, L"cannot use the text of " + id.str());
  return instance;
}

CCfgInstance NewInstance(const wchar_t* category, const wchar_t* id) {
  CCfgInstance instance;
  Require(CCfgCategory(category).CreateInstance(instance),
          std::wstring(L"the schema makes no new ") + category);
  Require(instance.SetInstanceId(id), std::wstring(L"cannot give the id ") + id);
  return instance;
}

IdList StoreInstance(CCfgConfigurationEx& store, const CCfgInstance& instance) {
  IdList ids;
  Require(store.SetConfiguration(TextOf(instance), &ids, nullptr),
          instance.GetInstanceId().str() + L" was refused");
  return ids;
}

OS::x_wstring TextOf(const CCfgInstance& instance) {
  OS::x_wstring xml;
  Require(instance.GetXml(xml), L"an instance gives no text");
  return xml;
}

std::vector<CCfgInstance> Targets(const CCfgObject& object, const wchar_t* field) {
  const auto array = Field<CCfgInstanceArray>(object, field);
  std::vector<CCfgInstance> targets(array.GetItemCount());
  for (std::size_t i = 0; i < targets.size(); ++i) array.GetItem(i, targets[i]);
  return targets;
}

std::wstring NameOf(const CCfgInstance& instance) {
  return Field<OS::x_wstring>(instance, L"Name").str();
}

std::string Content(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  Require(in.is_open(), L"cannot read " + file.filename().wstring());
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

}  // namespace demo
