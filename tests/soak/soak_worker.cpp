#include "tests/soak/soak_worker.h"

#include <stdexcept>

#include "tests/support/sample.h"

namespace soak {
namespace {

using test::Document;
using test::Narrow;

void Require(bool holds, const char* what, const std::wstring& id) {
  if (!holds) throw std::runtime_error(std::string(what) + ": " + Narrow(id));
}

std::wstring ValueName(int value) { return L"n" + std::to_wstring(value); }

// Writes the value in all its places, and others besides.
void Fill(CCfgInstance& instance, int value, const std::wstring& id) {
  CCfgStringArray texts;
  for (int i = 0; i < value % 7; ++i) texts.AddItem(ValueName(i).c_str());
  const std::vector<OS::x_wstring> tags(static_cast<std::size_t>(value % 5), L"tag <&>");
  const bool written =
      instance.SetFieldValue(L"Name", ValueName(value).c_str()) &&
      instance.SetFieldValue(L"Count", value) &&
      instance.SetFieldValue(L"Size", static_cast<unsigned int>(value)) &&
      instance.SetFieldValue(L"On", value % 2 == 0) &&
      instance.SetFieldValue(L"When", OS::CTime(2024, 1, 1 + value % 28, 0, 0, 0)) &&
      instance.SetFieldValue(L"Texts", texts) && instance.SetFieldValue(L"Tags", tags);
  Require(written, "a field is not written", id);
}

// The value, from all its places.
int ValueOf(const CCfgInstance& instance, const std::wstring& id) {
  int count = -1;
  unsigned int size = 0;
  OS::x_wstring name;
  std::vector<OS::x_wstring> tags;
  CCfgStringArray texts;
  const bool isRead =
      instance.GetFieldValue(L"Count", count) && instance.GetFieldValue(L"Size", size) &&
      instance.GetFieldValue(L"Name", name) && instance.GetFieldValue(L"Tags", tags) &&
      instance.GetFieldValue(L"Texts", texts);
  Require(isRead, "a field is not read", id);
  const bool agree = count == static_cast<int>(size) && name == ValueName(count).c_str() &&
                     tags.size() == size % 5 && texts.GetItemCount() == size % 7;
  Require(agree, "fields that were written together differ", id);
  return count;
}

}  // namespace

std::wstring InstanceText(const std::wstring& category, const std::wstring& id, int value,
                          const std::wstring& referredTo) {
  const std::wstring number = std::to_wstring(value);
  std::wstring reference = test::RefTo(L"Q", referredTo);
  if (referredTo.empty()) reference = L"<Ref><Category/><InstanceId/></Ref>";
  std::wstring texts;
  for (int i = 0; i < value % 7; ++i) texts += L"<Item>" + ValueName(i) + L"</Item>";
  std::wstring tags;
  for (int i = 0; i < value % 5; ++i) tags += L"<Item>tag &lt;&amp;&gt;</Item>";
  return test::Item(category, id,
                    L"<Name>" + ValueName(value) + L"</Name><Count>" + number + L"</Count><Size>" +
                        number + L"</Size><On>true</On><When>2024-01-01T00:00:00Z</When><Level>" +
                        L"1</Level>" + reference +
                        L"<Part><Label>part</Label><Part><Label>inner</Label></Part></Part>"
                        L"<Texts>" +
                        texts + L"</Texts><Tags>" + tags + L"</Tags>");
}

std::wstring SharedId(int number) { return L"shared-" + std::to_wstring(number); }

Worker::Worker(int number, CCfgOption option)
    : m_Number(number),
      m_Option(option),
      m_Store(option),
      m_Random(static_cast<unsigned int>(number) + 1U) {}

std::wstring Worker::Id(wchar_t kind, int number) const {
  return L"w" + std::to_wstring(m_Number) + L"-" + kind + std::to_wstring(number);
}

std::wstring Worker::Get(const std::wstring& id) {
  OS::x_wstring xml;
  return m_Store.GetConfiguration(id.c_str(), xml) ? xml.str() : L"";
}

std::wstring Worker::PickPresent() {
  if (m_Present.empty()) return L"";
  return std::next(m_Present.begin(), Pick(static_cast<int>(m_Present.size())))->first;
}

void Worker::Check(const std::wstring& id, const Expected& expected) {
  const std::wstring xml = Get(id);
  Require(!xml.empty(), "an instance is missing", id);
  const CCfgInstance instance(xml.c_str(), m_Option);
  Require(instance.GetInstanceId() == id.c_str(), "another instance came", id);
  Require(ValueOf(instance, id) == expected.value, "an old value came", id);
  CCfgInstance target(m_Option);
  const bool comesAlong = instance.GetFieldValue(L"Ref", target);
  Require(comesAlong == m_Targets.contains(expected.referredTo), "a target is lost or back", id);
  if (comesAlong)
    Require(target.GetInstanceId() == expected.referredTo.c_str(), "another target came", id);
}

void Worker::CheckAll(CCfgConfigurationEx store) {
  m_Store = store;
  for (const auto& [id, expected] : m_Present) Check(id, expected);
  for (const std::wstring& id : m_Targets) Require(!Get(id).empty(), "a target is missing", id);
  for (const std::wstring& id : m_Created) Require(!Get(id).empty(), "a new one is missing", id);
  for (int number = 0; number < kOwnInstances; ++number)
    Require(m_Present.contains(Id(L'p', number)) == !Get(Id(L'p', number)).empty(), "it is there",
            Id(L'p', number));
}

// What a stored form referred to goes with it.
void Worker::ForgetTarget(const Expected& old) { m_Targets.erase(old.referredTo); }

void Worker::Write() {
  const std::wstring id = Id(L'p', Pick(kOwnInstances));
  Expected& expected = m_Present[id];
  ForgetTarget(expected);
  expected.value = ++m_NextValue;
  expected.referredTo = Pick(3) == 0 ? L"" : Id(L'q', Pick(kOwnInstances));
  std::vector<std::wstring> groups{InstanceText(L"P", id, 0, expected.referredTo)};
  if (!expected.referredTo.empty())
    groups.push_back(InstanceText(L"Q", expected.referredTo, m_NextValue));
  CCfgInstance instance(Document(id, groups).c_str(), m_Option);
  Fill(instance, expected.value, id);
  OS::x_wstring xml;
  test::Ids changed;
  Require(instance.GetXml(xml) && m_Store.SetConfiguration(xml, &changed, nullptr), "write", id);
  Require(!changed.empty() && changed.front() == id.c_str(), "changed ids", id);
  if (!expected.referredTo.empty()) m_Targets.insert(expected.referredTo);
}

void Worker::Read() {
  const std::wstring id = PickPresent();
  if (!id.empty()) Check(id, m_Present[id]);
}

void Worker::RemoveOne(const std::wstring& id) {
  const std::wstring xml = Get(id);
  Require(!xml.empty() && m_Store.RemoveConfiguration(xml.c_str(), nullptr), "remove", id);
  Require(Get(id).empty(), "it is still there", id);
}

void Worker::Remove() {
  const std::wstring id = PickPresent();
  if (id.empty()) return;
  RemoveOne(id);
  ForgetTarget(m_Present[id]);
  m_Present.erase(id);
}

void Worker::Copy(bool deep) {
  const std::wstring source = PickPresent();
  const std::wstring target = PickPresent();
  if (source.empty() || source == target) return;
  const Expected from = m_Present[source];
  const std::wstring oldTarget = m_Present[target].referredTo;
  const bool comesAlong = m_Targets.contains(from.referredTo);
  if (!m_Store.CopyConfiguration(source.c_str(), target.c_str(), deep, nullptr, nullptr))
    Require(false, deep ? "deep copy" : "shallow copy", target);
  // What the old form reached goes, whoever else refers to it but the source.
  m_Targets.erase(oldTarget);
  if (comesAlong) m_Targets.insert(from.referredTo);
  m_Present[target] = from;
  if (deep && !from.referredTo.empty()) {
    // The target is copied too; where it was missing, a default instance is made.
    const CCfgInstance copy(Get(target).c_str(), m_Option);
    CCfgInstance reached(m_Option);
    Require(copy.GetFieldValue(L"Ref", reached), "the copy of the target is missing", target);
    const std::wstring id = reached.GetInstanceId().str();
    Require(id != from.referredTo, "the copy has the target of its source", target);
    m_Targets.insert(id);
    m_Present[target].referredTo = id;
  }
  Check(target, m_Present[target]);
}

void Worker::Create() {
  if (m_Created.size() >= 3) {
    RemoveOne(*m_Created.begin());
    m_Created.erase(m_Created.begin());
    return;
  }
  CCfgCategory category(L"P", m_Option);
  CCfgInstance instance(m_Option);
  OS::x_wstring xml;
  Require(category.CreateInstance(instance) && instance.GetXml(xml), "create", L"");
  const std::wstring id = instance.GetInstanceId().str();
  Require(m_Store.SetConfiguration(xml, nullptr, nullptr), "insert", id);
  m_Created.insert(id);
}

// Views of objects outlive what they see, and one document's part goes into another's.
void Worker::EditObjects() {
  const std::wstring id = PickPresent();
  if (id.empty()) return;
  CCfgInstance instance(Get(id).c_str(), m_Option);
  CCfgObject part(m_Option);
  CCfgObject inner(m_Option);
  Require(instance.GetFieldValue(L"Part", part) && part.GetFieldValue(L"Part", inner), "part", id);
  CCfgInstance other(Document(L"o", {InstanceText(L"P", L"o", 1)}).c_str(), m_Option);
  CCfgObject otherPart(m_Option);
  Require(other.GetFieldValue(L"Part", otherPart), "part", id);
  Require(otherPart.SetFieldValue(L"Label", ValueName(m_NextValue).c_str()), "label", id);
  Require(instance.SetFieldValue(L"Part", otherPart), "part written", id);
  Require(inner.SetFieldValue(L"Label", L"detached"), "label of what was cut out", id);
  OS::x_wstring label;
  Require(instance.GetFieldValue(L"Part/Label", label) && label == ValueName(m_NextValue).c_str(),
          "label read", id);
  const CCfgInstance referred(Document(L"r", {InstanceText(L"Q", L"r", m_NextValue)}).c_str(),
                              m_Option);
  Require(instance.SetFieldValue(L"Ref", referred), "reference", id);
  CCfgInstance reached(m_Option);
  Require(instance.GetFieldValue(L"Ref", reached), "reference read", id);
}

// Others write it too: any whole value will do.
void Worker::WriteShared() {
  const std::wstring id = SharedId(Pick(kSharedInstances));
  const std::wstring xml = Get(id);
  Require(!xml.empty(), "a shared instance is missing", id);
  CCfgInstance instance(xml.c_str(), m_Option);
  ValueOf(instance, id);
  Fill(instance, ++m_NextValue, id);
  OS::x_wstring text;
  Require(instance.GetXml(text) && m_Store.SetConfiguration(text, nullptr, nullptr), "write", id);
}

void Worker::OfferInvalid() {
  const std::wstring id = PickPresent();
  if (id.empty()) return;
  CCfgInstance instance(Get(id).c_str(), m_Option);
  Require(instance.SetFieldValue(L"Level", 99), "level", id);
  OS::x_wstring text;
  Require(instance.GetXml(text), "text", id);
  Require(!m_Store.SetConfiguration(text, nullptr, nullptr), "an invalid one was taken", id);
  Require(!m_Store.SetConfiguration(text.str().substr(0, 100).c_str(), nullptr, nullptr),
          "half of a text was taken", id);
}

void Worker::DoOne() {
  const int dice = Pick(100);
  if (dice < 35) return Read();
  if (dice < 55) return Write();
  if (dice < 63) return WriteShared();
  if (dice < 70) return Remove();
  if (dice < 76) return Copy(false);
  if (dice < 82) return Copy(true);
  if (dice < 90) return EditObjects();
  if (dice < 95) return Create();
  OfferInvalid();
}

void Worker::Run(CCfgConfigurationEx store, long operations) {
  m_Store = store;
  for (long i = 0; i < operations; ++i) DoOne();
}

void Worker::Clear(CCfgConfigurationEx store) {
  m_Store = store;
  for (const auto& [id, expected] : m_Present) RemoveOne(id);
  m_Present.clear();
  for (const std::wstring& id : m_Targets)
    if (!Get(id).empty()) RemoveOne(id);
  m_Targets.clear();
  for (const std::wstring& id : m_Created) RemoveOne(id);
  m_Created.clear();
  // Nothing of the worker holds the store on.
  m_Store = CCfgConfigurationEx(m_Option);
}

}  // namespace soak
