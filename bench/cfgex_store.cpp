#include "bench/cfgex_store.h"

#include <map>
#include <utility>

#include "platform/os/encoding.h"
#include "src/cfg_configurationex_impl.h"

namespace bench {
namespace {

// An explicit instantiation may name what is private: the one way to the store's own operations.
struct ImplOf {
  friend auto& Impl(const ImplOf& tag, CCfgConfigurationEx& store);
};
template <auto Member>
struct Opened {
  friend auto& Impl(const ImplOf&, CCfgConfigurationEx& store) { return *(store.*Member); }
};
template struct Opened<&CCfgConfigurationEx::m_pImpl>;

}  // namespace

std::wstring Wide(std::string_view text) { return FromUtf8(text); }

void UseLibrary() {
  static const bool used = CCfgEx_Initialization(Schema().wstring().c_str());
  Require(used, "load the schema");
}

CCfgConfigurationEx OpenStore(const std::string& subject, std::size_t size,
                              const std::string& xml) {
  UseLibrary();
  const auto path = Directory(subject, size) / "main.xml";
  WriteFile(path, xml);
  CCfgConfigurationEx store;
  Require(store.Initialize(path.wstring().c_str()), "open a store");
  return store;
}

CCfgConfigurationEx& SharedStore(std::size_t size, const std::string& subject) {
  static std::map<std::pair<std::size_t, std::string>, CCfgConfigurationEx> stores;
  const std::pair key(size, subject);
  auto found = stores.find(key);
  if (found == stores.end()) {
    found = stores.emplace(key, OpenStore(subject, size, Xml(size))).first;
    // The first commit after opening makes the index and the text of the file. That is not part of
    // the cost of a commit.
    const OS::x_wstring rule(Wide(ChangedRules(size).front()));
    Require(found->second.SetConfiguration(rule, nullptr, nullptr), "commit a rule at first");
  }
  return found->second;
}

OS::x_wstring Read(CCfgConfigurationEx& store, const std::wstring& id, const wchar_t* category) {
  OS::x_wstring xml;
  Require(store.GetConfiguration(id.c_str(), category, xml), "read an instance");
  return xml;
}

bool SetWithoutSaving(CCfgConfigurationEx& store, const OS::x_wstring& xml) {
  return Impl(ImplOf{}, store).SetConfiguration(xml.c_str(), nullptr, nullptr, false);
}

}  // namespace bench
