#include "src/regenerate_ids.h"

#include <map>
#include <set>
#include <unordered_set>
#include <utility>
#include <vector>

#include "cfgex/cfg_category.h"
#include "src/frame.h"
#include "src/instance_id.h"
#include "src/paths.h"
#include "src/reference_walk.h"

namespace cfgex::internal {
namespace {

using Element = ComPtr<IXMLDOMElement>;

// All instances are found under their old ids before any is renamed: a path with an old id would
// find a renamed instance no more, as if it did not exist.
class Regeneration {
 public:
  Regeneration(Element root, const std::function<bool(const std::wstring&)>& isTaken,
               CCfgOption& option)
      : m_Root(std::move(root)), m_IsTaken(isTaken), m_Option(option) {}

  void Run(const InstanceName& start, const wchar_t* copyId) {
    const Element startElement =
        FindInstanceElement(m_Root, start.id.c_str(), start.category.c_str());
    if (!startElement) return;
    const InstanceName startName{startElement->get_tagName(), start.id};
    m_NewIds[startName] = copyId;
    Collect(startName);
    while (!m_ToWalk.empty()) {
      const InstanceName next = std::move(m_ToWalk.back());
      m_ToWalk.pop_back();
      Guarded([&] { Visit(next); });
    }
    for (const auto& [idElement, target] : m_References) {
      const auto renamed = m_NewIds.find(target);
      if (renamed != m_NewIds.end()) idElement->put_text(renamed->second);
    }
    for (const auto& [idElement, newId] : m_Instances) idElement->put_text(newId);
  }

 private:
  // Notes the references of one instance, and their targets for a visit.
  void Collect(const InstanceName& instance) {
    const ComPtr<IXMLDOMNodeList> ids = IdsInInstance(m_Root, instance.category, instance.id);
    const long length = ids->get_length();
    for (long index = 0; index < length; ++index) {
      const auto idElement = As<IXMLDOMElement>(ids->get_item(index));
      std::optional<InstanceName> target = ReadReference(idElement);
      if (!target) continue;
      if (m_Seen.insert(*target).second) m_ToWalk.push_back(*target);
      m_References.emplace_back(idElement, *std::move(target));
    }
  }

  void Visit(const InstanceName& target) {
    if (m_NewIds.contains(target)) return;
    const std::wstring newId = MakeInstanceId(
        [&](const std::wstring& id) { return m_Used.contains(id) || m_IsTaken(id); });
    m_Used.insert(newId);
    const Element element = FindReferencedInstance(m_Root, target);
    if (element) {
      const auto idElement = As<IXMLDOMElement>(element->selectSingleNode(L"InstanceId"));
      if (!idElement) return;
      m_NewIds[target] = newId;
      m_Instances.emplace_back(idElement, newId);
      Collect(target);
    } else if (AddDefaultInstance(target.category, newId)) {
      m_NewIds[target] = newId;
    }
  }

  // References in a default instance lead nowhere and are left alone.
  bool AddDefaultInstance(const std::wstring& category, const std::wstring& newId) {
    CCfgCategory maker(category.c_str(), m_Option);
    CCfgInstance instance(m_Option);
    if (!maker.CreateInstance(instance)) return false;
    instance.SetInstanceId(newId.c_str());
    ReceivingElement(m_Root, category)->appendChild(As<IXMLDOMElement>(instance.GetRawInterface()));
    return true;
  }

  const Element m_Root;
  const std::function<bool(const std::wstring&)>& m_IsTaken;
  CCfgOption& m_Option;
  std::map<InstanceName, std::wstring> m_NewIds;
  std::unordered_set<std::wstring> m_Used;  // the new ids
  std::set<InstanceName> m_Seen;            // noted for a visit
  std::vector<InstanceName> m_ToWalk;
  std::vector<std::pair<Element, InstanceName>> m_References;  // the id element, what it names
  std::vector<std::pair<Element, std::wstring>> m_Instances;   // the id element, the new id
};

}  // namespace

void RegenerateReferenceIds(const ComPtr<IXMLDOMElement>& root, const wchar_t* instanceId,
                            const wchar_t* category, const wchar_t* copyId,
                            const std::function<bool(const std::wstring&)>& isTaken,
                            CCfgOption& option) {
  Guarded([&] { Regeneration(root, isTaken, option).Run({category, instanceId}, copyId); });
}

}  // namespace cfgex::internal
