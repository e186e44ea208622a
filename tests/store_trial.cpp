#include "tests/store_trial.h"

#include <algorithm>
#include <functional>
#include <tuple>

#include "platform/dom/create_object.h"
#include "platform/dom/dom.h"

namespace test::model {

Dice::Dice(unsigned seed, std::string_view bytes) : m_Bytes(bytes) {
  for (const char c : bytes) seed = seed * 31 + static_cast<unsigned char>(c);
  m_Engine.seed(seed);
}

size_t Dice::Below(size_t end) {
  if (end == 0) return 0;
  if (m_Used < m_Bytes.size()) return static_cast<unsigned char>(m_Bytes[m_Used++]) % end;
  return m_Engine() % end;
}

Pair Dice::Name() {
  const size_t i = Below(12);
  const std::wstring id =
      OneIn(30) ? (OneIn(2) ? L"it's" : L"x&y") : std::wstring{L"abcdefghijkl"[i]};
  return {OneIn(12) ? Category() : std::wstring{L"PQR"[i % 3]}, id};
}

const Instance* Dice::Any(const Picture& picture) {
  std::vector<const Instance*> all;
  for (const Group& group : picture)
    for (const Instance& instance : group) all.push_back(&instance);
  if (all.empty()) return nullptr;
  return all[Below(OneIn(2) ? std::min<size_t>(3, all.size()) : all.size())];  // some are favoured
}

Reference Dice::AnyReference(const Picture& picture) {
  Reference reference = {L"", L"", static_cast<Where>(Below(5))};
  const Instance* target = Any(picture);
  if (target == nullptr || OneIn(5)) {
    std::tie(reference.category, reference.id) = Name();
    if (OneIn(10)) reference.id.clear();
    static const wchar_t* const kOdd[] = {kNoCategory, L"", L"x y", L"*", L"Z"};
    if (OneIn(5)) reference.category = kOdd[Below(5)];
  } else {
    reference.category = target->category;
    reference.id = target->id;
  }
  return reference;
}

void Dice::Connect(Instance& instance, const Picture& picture, size_t atMost) {
  for (size_t n = Below(atMost + 1); n > 0; --n)
    instance.references.push_back(AnyReference(picture));
  if (OneIn(15)) instance.references.push_back({instance.category, instance.id, Where::kRefs});
  Arrange(instance);
}

std::wstring Dice::AnyText() {
  return OneIn(4) ? L"" : OneIn(4) ? L"\u00e9 & <" : L"n" + std::to_wstring(Below(99));
}

Dress Dice::AnyDress() {
  if (OneIn(3)) return {};
  return {Below(kDresses), AnyUri()};
}

Frame AnyFrame(Dice& dice) {
  static const size_t kLengths[] = {0, 10, 40000, 100000};
  return {dice.OneIn(3) ? kLengths[dice.Below(4)] : 0, dice.OneIn(3),
          dice.OneIn(3) ? L"" : dice.AnyUri()};
}

Picture AnyStart(Dice& dice) {
  Picture start;
  start.resize(1 + dice.Below(5));
  std::set<Pair> names;
  for (size_t n = dice.Below(13); n > 0; --n) names.insert(dice.Name());
  for (const auto& [category, id] : names)
    start[dice.Below(start.size())].push_back({category, id, dice.AnyText(), {}, dice.AnyDress()});
  const Picture targets = start;
  for (Group& group : start)
    for (Instance& instance : group) dice.Connect(instance, targets, 3);
  return start;
}

namespace {

std::wstring Joined(const std::vector<std::wstring>& groups, const wchar_t* firstInGroup = L"") {
  std::wstring text;
  for (const std::wstring& group : groups)
    text += L"<Category>" + (firstInGroup + group) + L"</Category>";
  return text;
}

std::wstring Declarations(const std::wstring& uri) {
  return L" xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance'" +
         (uri.empty() ? L"" : L" xmlns:p='" + uri + L"'");
}

// Whether one category and id occur twice.
bool HasTwins(const Picture& picture) {
  std::set<Pair> seen;
  for (const Group& group : picture)
    for (const Instance& instance : group)
      if (!seen.emplace(instance.category, instance.id).second) return true;
  return false;
}

}  // namespace

Trial::Trial(const Sequence& sequence)
    : m_Frame(sequence.frame),
      m_Sample({}, kSampleSchema, Folder::Place::kMemory),
      m_Model(sequence.start),
      m_Disk(m_Model),
      m_Backup(m_Model),
      m_GroupComments(m_Frame.comments ? m_Model.size() : 0) {
  Say("start  " + std::to_string(m_Frame.prolog) + (m_Frame.comments ? " comments " : " ") +
      Narrow(m_Frame.uri) + " " + Show(m_Model));
  m_Sample.store.reset();
  WriteBytes(m_Sample.configFile, Narrow(FileText(m_Model, true)));
  m_Sample.Reopen();
  try {
    Compare();
    for (const Operation& operation : sequence.operations) {
      if (Failed()) break;
      Do(operation);
      if (!Failed()) Compare();
    }
  } catch (const std::exception& failure) {
    Differ("raised", "nothing", failure.what());
  }
}

void Trial::Differ(const std::string& what, const std::string& model, const std::string& library) {
  if (!Failed())
    m_Difference = what + "\n    model:   " + model + "\n    library: " + library + "\n";
}

void Trial::Expect(const std::string& what, const std::wstring& model,
                   const std::wstring& library) {
  if (model != library) Differ(what, Narrow(model), Narrow(library));
}

// The file, and the answer for every id; for one of them also in each category.
void Trial::Compare() {
  if (m_Disk) Expect("the file", Canonical(FileText(*m_Disk)), FileXml());
  std::set<std::wstring> asked = {L"a", L"none", L"it's"};
  for (const Group& group : m_Model)
    for (const Instance& instance : group) asked.insert(instance.id);
  for (const std::wstring& id : asked) CompareReading(id, L"*");
  for (const wchar_t category : {L'P', L'Q', L'R'})
    CompareReading(*std::next(asked.begin(), static_cast<ptrdiff_t>(m_Step % asked.size())),
                   {category});
  ++m_Step;
}

void Trial::CompareReading(const std::wstring& id, const std::wstring& category) {
  const std::optional<Picture> document = Read(m_Model, id, category);
  OS::x_wstring xml = L"nothing";
  const bool done = category == L"*"
                        ? m_Sample.store->GetConfiguration(id.c_str(), xml)
                        : m_Sample.store->GetConfiguration(id.c_str(), category.c_str(), xml);
  const std::wstring expected =
      !document ? L"nothing"
                : Canonical(
                      L"<Configuration xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\""
                      L" xsi:noNamespaceSchemaLocation=\"" +
                      m_Sample.schemaFile + L"\" instance_id=\"" + id +
                      L"\" major_version=\"1\" minor_version=\"2\" revision=\"3\">" +
                      Joined(Render(*document)) + L"</Configuration>");
  Expect("reading " + Narrow(category + L":" + id), (document ? L"true " : L"false ") + expected,
         done ? L"true " + Canonical(xml.str()) : L"false " + xml.str());
}

void Trial::Do(const Operation& operation) {
  Dice dice(operation.seed, operation.bytes);
  if (operation.kind == Operation::kReopen) return Reopen();
  if (operation.kind == Operation::kTouch) return Touch(dice);
  const Instance* stored = dice.OneIn(12) ? nullptr : dice.Any(m_Model);
  const Instance instance = stored != nullptr ? *stored : Instance{L"P", L"none", L"", {}};
  IdList expected;
  for (size_t n = dice.Below(3); n > 0; --n) expected.push_back(dice.Name().second);
  Ids changed(expected.begin(), expected.end());
  Picture next = m_Model;
  bool isExpected = false;
  std::function<bool()> call;
  CCfgConfigurationEx& store = *m_Sample.store;
  const bool deep = operation.kind == Operation::kDeep;
  if (deep || operation.kind == Operation::kShallow) {
    const std::wstring target = PickTarget(dice, instance);
    const bool reserve = dice.OneIn(20);
    isExpected = !reserve && Copy(next, instance.id, target, deep, expected);
    call = [&, target, reserve] {
      Say((deep ? "deep copy  " : "copy  ") + Narrow(instance.id + L" to " + target) +
          (reserve ? "  with reserved ids" : ""));
      Ids reserved;
      return store.CopyConfiguration(instance.id.c_str(), target.c_str(), deep, &changed,
                                     reserve ? &reserved : nullptr);
    };
  } else {
    std::wstring id = instance.id;
    Picture document = {{{dice.Category(), id, L"", {}}}};
    const bool remove = operation.kind == Operation::kRemove;
    if (!remove) {
      if (operation.kind == Operation::kWrite && Read(m_Model, id)) {
        document = *Read(m_Model, id);
      } else {
        const auto [category, fresh] = dice.Name();
        document = {{{category, fresh, dice.AnyText(), {}, dice.AnyDress()}}};
        id = fresh;
      }
      for (size_t n = dice.Below(5); n > 0; --n) Change(dice, document);
    }
    if (dice.OneIn(25)) id = L"other";
    isExpected = (remove ? Remove : Write)(next, document, id, expected);
    const std::wstring uri = dice.OneIn(3) ? L"" : dice.AnyUri();
    call = [&, document, id, remove, uri] {
      Say((remove ? "remove  " : "write  ") + Narrow(id) + "  " + Narrow(uri) + " " +
          Show(document));
      std::wstring xml = Document(id == L"x&y" ? L"x&amp;y" : id, Render(document, uri));
      xml.insert(xml.find(L" instance_id"), Declarations(uri));
      Ids reserved = {L"r"};  // which a write does not look at
      return remove ? store.RemoveConfiguration(xml.c_str(), &changed)
                    : store.SetConfiguration(xml.c_str(), &changed, &reserved);
    };
  }
  if (HasTwins(next)) return;  // a write under another category; nothing is promised from there on
  const bool done = call();
  m_Model = next;
  if (isExpected && deep) TakeNewIds(expected);
  if (isExpected) m_Disk = m_Model;
  Expect("result", isExpected ? L"true" : L"false", done ? L"true" : L"false");
  const std::string reported = Join(Ids(expected.begin(), expected.end()));
  if (reported != Join(changed)) Differ("changed ids", reported, Join(changed));
}

// What another program wrote is taken over if it is good, and else put back from the backup.
void Trial::Reopen() {
  Say("reopen");
  if (m_Disk) m_Backup = *m_Disk;
  m_Disk = m_Model = m_Backup;
  m_Sample.Reopen();
}

// Another program writes the file. The store goes on with what it has, and its next save replaces
// that.
void Trial::Touch(Dice& dice) {
  const bool damages = dice.OneIn(2);
  Say(damages ? "the file is damaged" : "the file is written by another program");
  m_Disk.reset();
  if (damages) return WriteBytes(m_Sample.configFile, "<Configuration>");
  Picture picture = m_Model;
  if (!picture.empty()) picture[dice.Below(picture.size())].clear();
  WriteBytes(m_Sample.configFile, Narrow(FileText(picture)));
  m_Disk = picture;
}

std::wstring Trial::PickTarget(Dice& dice, const Instance& source) {
  if (dice.OneIn(12)) return source.id;
  if (dice.OneIn(12)) return L"other";
  const Instance* target = nullptr;
  for (int tries = 0; tries < 5; ++tries) {
    target = dice.Any(m_Model);
    if (target != nullptr && target->category == source.category && target->id != source.id) break;
  }
  return target != nullptr ? target->id : L"none";
}

void Trial::Change(Dice& dice, Picture& document) {
  Group& group = document[dice.Below(document.size())];
  if (group.empty()) return;
  Instance& instance = group[dice.Below(group.size())];
  switch (dice.Below(9)) {
    case 0:
      instance.name = dice.AnyText();
      break;
    case 1:
      if (!dice.OneIn(4)) instance.references.clear();
      break;
    case 2:
      if (!instance.references.empty()) instance.references.pop_back();
      break;
    case 3:
      dice.Connect(instance, document, 3);
      break;
    case 4:
      dice.Connect(instance, m_Model, 2);
      break;
    case 5:
      if (dice.OneIn(6)) instance.category = dice.Category();
      break;
    case 6:
      if (&instance != &document[0][0]) group.erase(group.begin() + (&instance - group.data()));
      break;
    case 7:
      instance.dress = dice.AnyDress();
      break;
    default: {
      const auto [category, id] = dice.Name();
      if (Find(document, id, category) != nullptr) break;
      instance.references.push_back({category, id, static_cast<Where>(dice.Below(5))});
      Arrange(instance);
      Instance companion = {category, id, dice.AnyText(), {}, dice.AnyDress()};
      dice.Connect(companion, document, 2);
      if (dice.OneIn(2))
        document.push_back({companion});
      else
        group.push_back(companion);
    }
  }
}

// Gives the place holders of the model the ids that stand in their places in the file.
void Trial::TakeNewIds(IdList& expected) {
  const std::wstring model = ModelXml();
  const std::wstring file = FileXml();
  std::map<std::wstring, std::wstring> names;
  for (size_t m = 0, f = 0; m < model.size() && f < file.size(); ++m, ++f) {
    if (model[m] == L'?') {
      const size_t modelEnd = model.find(L'<', m);
      const size_t fileEnd = std::min(file.find(L'<', f), file.size());
      names.emplace(model.substr(m, modelEnd - m), file.substr(f, fileEnd - f));
      m = modelEnd;
      f = fileEnd;
    } else if (model[m] != file[f]) {
      return;  // the comparison will tell
    }
  }
  for (const auto& [placeHolder, id] : names)
    if (!m_Known.insert(id).second) Differ("new ids", "all differ", Narrow(id) + " again");
  Rename(m_Model, expected, names);
}

std::wstring Trial::FileText(const Picture& picture, bool isNew) const {
  std::wstring text = L"<Configuration" + Declarations(m_Frame.uri) + L">";
  if (m_Frame.prolog > 0) text = L"<!--" + std::wstring(m_Frame.prolog, L'p') + L"-->" + text;
  if (m_Frame.comments) text += L"<?root?>";
  // Where they are among the groups is not looked at.
  const wchar_t* const comment = L"<!--group-->";
  for (size_t i = 0; !isNew && i < m_GroupComments; ++i) text += comment;
  const bool within = isNew && m_Frame.comments;
  text += Joined(Render(picture, m_Frame.uri), within ? comment : L"") + L"</Configuration>";
  return m_Frame.comments ? text + L"<!--end-->" : text;
}

std::wstring Trial::FileXml() const { return Canonical(Wide(ReadBytes(m_Sample.configFile))); }

}  // namespace test::model
