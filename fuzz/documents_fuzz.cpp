// Stand-alone documents into an open store. Parts: the letter of the schema with, behind it, a
// configuration to begin with (its own if that is not valid); then one part per operation, whose
// first letter says what happens to the rest: S set, R remove, C shallow copy and D deep copy of
// the id before the first blank over the id behind it, O reopen.
//
// Holds after every operation:
// 1. The file is valid by the engine's word alone, and a store that opens it gives the same
// answers,
//    unless memory holds what the file may not.
// 2. A refused operation leaves the file as it was, and the answers too, unless the whole document
//    has become invalid, which takes a schema with rules that tie its parts together.
// 3. A document that the engine finds invalid is refused. One that was set is what the store gives
//    for its id.

#include <algorithm>

#include "fuzz/support.h"

using namespace fuzz;
using namespace test;

namespace {

constexpr std::size_t kNames = 12;  // of instances that are asked for

class Trial {
 public:
  Trial(Kit& kit, const std::string& start) : m_Kit(kit), m_Main(kit.Path(L"main.xml")) {
    kit.Clear();
    WriteBytes(m_Main, start);
    if (start.empty() || !kit.IsValidFile(m_Main)) WriteBytes(m_Main, kit.start);
    Reopen();
    Know();
    m_Answers = Take(*m_Store, m_Names);
    m_Bytes = ReadBytes(m_Main);
  }

  void Do(char kind, const std::string& rest) {
    if (kind == 'O') return CheckReopened();
    const std::wstring text = Text(rest);
    Ids changed = {L"before"};
    const bool done = kind == 'S' || kind == 'R' ? Hand(kind == 'S', text, changed)
                                                 : Copy(kind == 'D', text, changed);
    CHECK(changed[0] == L"before", "the ids are appended");
    if (done) {
      Know();
      m_Bytes = ReadBytes(m_Main);
      m_Answers = Take(*m_Store, m_Names);
      m_IsSaved = true;
      CHECK(m_Kit.IsValidFile(m_Main), m_Bytes);
    } else {
      CHECK(ReadBytes(m_Main) == m_Bytes, "refused, but the file is another");
      const Snapshot after = Take(*m_Store, m_Names);
      if (!m_Kit.hasTies) CHECK(after == m_Answers, Difference(m_Answers, after));
      if (after != m_Answers) m_IsSaved = false;
      m_Answers = after;
    }
  }

  void CheckReopened() {
    Reopen();
    const Snapshot reopened = Take(*m_Store, m_Names);
    if (m_IsSaved) CHECK(reopened == m_Answers, Difference(m_Answers, reopened));
    m_Answers = reopened;
    m_IsSaved = true;
  }

 private:
  bool Hand(bool set, const std::wstring& text, Ids& changed) {
    const CCfgInstance incoming(text.c_str(), m_Kit.option);
    const OS::x_wstring id = incoming.GetInstanceId();
    const bool done = set ? m_Store->SetConfiguration(text.c_str(), &changed, nullptr)
                          : m_Store->RemoveConfiguration(text.c_str(), &changed);
    if (!done) return false;
    CHECK(m_Kit.IsValidText(text), "an invalid document was taken");
    CHECK(incoming.GetRawInterface() != nullptr, "taken, but no instance");
    CHECK(changed.size() > 1 && changed[1] == id, "the id itself comes first");
    if (set) CheckSet(incoming, id.str());
    return true;
  }

  bool Copy(bool deep, const std::wstring& text, Ids& changed) {
    const std::size_t blank = std::min(text.find(L' '), text.size());
    const std::wstring source = text.substr(0, blank);
    const std::wstring target = text.substr(std::min(blank + 1, text.size()));
    if (!m_Store->CopyConfiguration(source.c_str(), target.c_str(), deep, &changed, nullptr))
      return false;
    CHECK(changed.size() > 1 && changed[1] == target.c_str(), "the target comes first");
    return true;
  }

  void Reopen() {
    m_Store.reset();
    m_Store = std::make_unique<CCfgConfigurationEx>(m_Kit.option);
    CHECK(m_Store->Initialize(m_Main.c_str()), ReadBytes(m_Main));
  }

  void Know() {
    for (const Pair& name : m_Kit.Contents(m_Main))
      if (m_Names.size() < kNames) m_Names.insert(name);
  }

  // What was set is what the store gives. Where several have the id, which of them is not told.
  void CheckSet(const CCfgInstance& incoming, const std::wstring& id) {
    const OS::x_wstring category = incoming.GetCategory();
    const std::size_t count = m_Kit.Contents(m_Main).count({category.str(), id});
    CHECK(count > 0, "set, but not in the file");
    OS::x_wstring xml;
    if (count > 1 || !m_Store->GetConfiguration(id.c_str(), category.c_str(), xml)) return;
    const CCfgInstance stored(xml.c_str(), m_Kit.option);
    if (stored.GetCategory() == category)
      CHECK(ElementXml(stored) == ElementXml(incoming), Show(ElementXml(stored)));
  }

  Kit& m_Kit;
  const std::wstring m_Main;
  std::unique_ptr<CCfgConfigurationEx> m_Store;
  std::set<Pair> m_Names;
  Snapshot m_Answers;
  std::string m_Bytes;
  bool m_IsSaved = true;  // whether memory holds what the file holds
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  const std::vector<std::string> parts = Split({reinterpret_cast<const char*>(data), size});
  Kit& kit = Kit::For(parts[0].empty() ? 's' : parts[0][0]);
  Trial trial(kit, parts[0].empty() ? "" : parts[0].substr(1));
  for (std::size_t n = 1; n < parts.size() && n <= 12; ++n)
    if (!parts[n].empty()) trial.Do(parts[n][0], parts[n].substr(1));
  trial.CheckReopened();
  return 0;
}
