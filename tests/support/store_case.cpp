#include "tests/support/store_case.h"

#include <algorithm>
#include <map>

namespace test {
namespace {

namespace fs = std::filesystem;

// The first instance has attributes, and its name is CDATA.
std::string WithMore(std::string file) {
  const auto replace = [&file](std::string_view from, std::string_view to) {
    file.replace(file.find(from), from.size(), to);
  };
  replace("<P><InstanceId>a<", "<P Unit='m' Note='a &amp; b'><InstanceId>a<");
  replace("<Name>first<", "<Name><![CDATA[first]]><");
  return "<!--c--><?p i?>" + file;
}

const std::string kFirst = WithMore(Narrow(Configuration(
    {Item(L"P", L"a", L"<Name>first</Name>" + RefTo(L"Q", L"b")) +
         Item(L"P", L"s", L"<Name>source</Name>" + RefsTo({{L"Q", L"c"}, {L"R", L"d"}})) +
         Item(L"P", L"t", L"<Name>target</Name>" + PartRefTo(L"Q", L"e")),
     Item(L"Q", L"b") + Item(L"Q", L"c") + Item(L"Q", L"e"), Item(L"R", L"d")})));
const std::string kOlder =
    Narrow(Configuration({Item(L"P", L"a", L"<Name>older</Name>"), Item(L"Q", L"b")}));
const std::string kDamaged = kFirst.substr(0, kFirst.size() / 2);
const char* const kAlsoDamaged = "<Configuration><Wrong/></Configuration>";

template <class Body>
Ending Caught(Body&& body) {
  try {
    return body() ? Ending::kTrue : Ending::kFalse;
  } catch (const _com_error&) {
    return Ending::kRaised;
  } catch (const CCfgExException& failure) {
    return failure.GetErrorCode() == CFGEX_ERROR_OUT_OF_MEMORY ? Ending::kOutOfMemory
                                                               : Ending::kRaised;
  } catch (const std::bad_alloc&) {
    return Ending::kOutOfMemory;
  }
}

const std::wstring kNewOne =
    Document(L"n", {Item(L"P", L"n", L"<Name>new</Name>" + RefTo(L"R", L"m")), Item(L"R", L"m")});
// It leaves Q:b, brings Q:c once more with other content, and its own id in another category.
const std::wstring kReplacement =
    Document(L"a", {Item(L"P", L"a", L"<Name>other</Name>" + RefTo(L"Q", L"c")),
                    Item(L"Q", L"c", L"<Name>c</Name>" + RefTo(L"P", L"a")) + Item(L"Q", L"a")});
const std::wstring kTwin = Alone(L"n", L"<Name>first</Name>");

template <const std::wstring& kDocument>
Ending Setting(Stage& stage) {
  return Caught(
      [&] { return stage.Store().SetConfiguration(kDocument.c_str(), nullptr, nullptr); });
}

Ending Removing(Stage& stage) {
  return Caught([&] { return stage.Store().RemoveConfiguration(Alone(L"t").c_str(), nullptr); });
}

template <bool kDeep>
Ending Copying(Stage& stage) {
  return Caught(
      [&] { return stage.Store().CopyConfiguration(L"s", L"t", kDeep, nullptr, nullptr); });
}

Ending Reading(Stage& stage) {
  OS::x_wstring xml = L"kept";
  const Ending ending = Caught([&] { return stage.Store().GetConfiguration(L"s", L"P", xml); });
  stage.read = xml.str();
  const bool isClean = xml.empty() || xml == L"kept";
  return (ending == Ending::kTrue) == isClean ? Ending::kRaised : ending;
}

Ending Opening(Stage& stage) {
  return Caught([&] { return stage.Store().Initialize(stage.Path().c_str()); });
}

StoreCase OpeningOf(const char* name, const char* main, const char* backup = nullptr,
                    bool isLinked = false) {
  return {name, StoreCase::kOpening, Opening, Ending::kTrue, -1, main, backup, isLinked};
}

Ending Closing(Stage& stage) {
  return Caught([&] {
    stage.Close();
    return true;
  });
}

}  // namespace

std::string NameOfCase(const testing::TestParamInfo<StoreCase>& info) {
  std::string name = info.param.name;
  std::replace(name.begin(), name.end(), ' ', '_');
  return name;
}

const std::vector<StoreCase>& StoreCases() {
  using Case = StoreCase;
  const char* const first = kFirst.c_str();
  const char* const older = kOlder.c_str();
  const char* const damaged = kDamaged.c_str();
  static const std::vector<StoreCase> cases = {
      Case{"reading", Case::kReading, Reading},
      Case{"inserting", Case::kChanging, Setting<kNewOne>, Ending::kTrue},
      Case{"replacing", Case::kChanging, Setting<kReplacement>, Ending::kTrue},
      Case{"replacing through a link", Case::kChanging, Setting<kReplacement>, Ending::kTrue, 1,
           nullptr, nullptr, true},
      Case{"the tenth commit", Case::kChanging, Setting<kReplacement>, Ending::kTrue, 9},
      Case{"the twentieth commit", Case::kChanging, Removing, Ending::kRaised, 19},
      Case{"a commit that is not valid", Case::kChanging, Setting<kTwin>, Ending::kTrue, 1, nullptr,
           nullptr, false, true},
      Case{"removing", Case::kChanging, Removing},
      Case{"a shallow copy", Case::kChanging, Copying<false>},
      Case{"a deep copy", Case::kChanging, Copying<true>},
      Case{"a deep copy with the tenth commit", Case::kChanging, Copying<true>, Ending::kRaised, 8},
      OpeningOf("opening", first, older),
      OpeningOf("opening for the first time", first),
      OpeningOf("opening a damaged file", damaged, older),
      OpeningOf("opening a damaged file through a link", damaged, older, true),
      OpeningOf("opening a damaged file and backup", damaged, kAlsoDamaged),
      OpeningOf("opening a damaged file without backup", damaged),
      OpeningOf("opening with the file gone", nullptr, older),
      Case{"opening once more", Case::kOpening, Opening},
      Case{"closing", Case::kClosing, Closing},
      Case{"closing what is not valid", Case::kClosing, Closing, Ending::kTrue, 1, nullptr, nullptr,
           false, true},
  };
  return cases;
}

std::vector<StoreCase> OpeningCases() {
  std::vector<StoreCase> cases = StoreCases();
  std::erase_if(cases, [](const StoreCase& c) { return c.kind != StoreCase::kOpening; });
  return cases;
}

namespace {

CCfgOption& OptionFor(bool isStrict) {
  static const Folder folder(Folder::Place::kMemory);
  static CCfgOption options[2];
  CCfgOption& option = options[isStrict ? 1 : 0];
  if (option.GetSchemaCache() != nullptr) return option;
  std::string schema = isStrict ? SampleSchemaWith(kNamesDiffer) : kSampleSchema;
  schema.insert(schema.rfind("</xs:complexType>"),
                "<xs:attribute name='Unit' type='xs:string'/><xs:attribute name='Note'/>");
  const std::wstring path = folder.Path(isStrict ? L"strict.xsd" : L"plain.xsd");
  WriteBytes(path, schema);
  if (!option.Initialize(path.c_str())) throw std::runtime_error("the schema is refused");
  return option;
}

std::string ContentOf(CCfgConfigurationEx& store) {
  std::string content;
  for (const wchar_t* id : {L"a", L"s", L"t", L"k", L"n", L"u"}) {
    OS::x_wstring xml;
    if (!store.GetConfiguration(id, xml)) continue;
    const std::string text = Narrow(xml.str());
    content += text.substr(text.find('>') + 1) + "\n";  // without the header
  }
  return WithIdsNumbered(content);
}

}  // namespace

Stage::Stage(const StoreCase& storeCase)
    : m_Case(storeCase), m_Option(OptionFor(storeCase.isStrict)) {
  OptionFor(false);  // which ContentOf takes: what a test counts must not come up midway
  if (m_Case.isLinked) {
    fs::create_directory(m_Folder.Root() / "real");
    fs::create_symlink("real/../real/file.xml", m_Folder.Root() / "main.xml");
  }
  Make();
}

void Stage::Make() {
  const bool isOpen = m_Case.commits >= 0;
  if (isOpen) WriteBytes(Path(), kFirst);
  if (m_Case.main != nullptr) WriteBytes(Path(), m_Case.main);
  if (m_Case.backup != nullptr) WriteBytes(m_Folder.Path(L"main.backup.xml"), m_Case.backup);
  if (isOpen) {
    if (!Open()) throw std::runtime_error("the file is refused");
    for (int commit = 1; commit <= m_Case.commits; ++commit)
      if (!Set(L"k", std::to_wstring(commit))) throw std::runtime_error("no commit");
    if (m_Case.kind == StoreCase::kClosing && m_Case.isStrict)
      m_Store->SetConfiguration(kTwin.c_str(), nullptr, nullptr);
  } else {
    m_Store = std::make_unique<CCfgConfigurationEx>(m_Option);
  }
  m_Before = Read();
}

void Stage::Reset() {
  Close();
  Write({});
  Make();
}

bool Stage::Open() {
  m_Store = std::make_unique<CCfgConfigurationEx>(m_Option);
  const bool isMissing = !FileExists(Path());
  return m_Store->Initialize(Path().c_str()) || (isMissing && m_Store->Initialize(Path().c_str()));
}

bool Stage::Set(const std::wstring& id, const std::wstring& name) {
  const std::wstring fields = L"<Name>" + name + L"</Name>" + RefTo(L"Q", L"b");
  const std::wstring document = Document(id, {Item(L"P", id, fields), Item(L"Q", L"b")});
  return m_Store->SetConfiguration(document.c_str(), nullptr, nullptr);
}

std::string Stage::Content() { return ContentOf(*m_Store); }

namespace {

// The text of a bad file that was written from memory, in UTF-8; its characters are plain.
std::string FromUtf16(const std::string& bytes) {
  std::string text;
  for (std::size_t at = 0; at < bytes.size(); at += 2) text += bytes[at];
  return text;
}

}  // namespace

void Stage::CheckFiles() const {
  const Files files = Read();
  const auto main = m_Before.find(MainName());
  bool isMainKept = main == m_Before.end() || ContentOf(main->second, m_Case.isStrict);
  for (const auto& [name, content] : m_Before) EXPECT_TRUE(files.contains(name)) << name;
  for (const auto& [name, content] : files) {
    if (IsLeftover(name)) continue;
    const auto wasIn = [&, &text = content](const std::string& other) {
      return m_Before.contains(other) && m_Before.at(other) == text;
    };
    bool isWhole = wasIn(name);
    if (name != MainName()) {
      const bool isOfBackup = wasIn("main.backup.xml") && !name.ends_with(".tmp.xml");
      const bool isOfMemory = name.ends_with(".bad") && m_Case.kind == StoreCase::kClosing &&
                              ContentOf(FromUtf16(content));
      isWhole = isWhole || wasIn(MainName()) || isOfBackup || isOfMemory;
    } else if (m_Case.kind == StoreCase::kChanging) {
      isWhole = isWhole || ContentOf(content);
    } else if (m_Case.kind == StoreCase::kOpening) {
      isWhole = isWhole || wasIn("main.backup.xml");
    }
    EXPECT_TRUE(isWhole) << name << ": " << content;
    isMainKept = isMainKept || content == main->second;
  }
  EXPECT_TRUE(isMainKept) << "the only copy is gone";
}

void Stage::Write(const Files& files) {
  for (const auto& [name, content] : Read())
    if (!files.contains(name)) fs::remove(m_Folder.Root() / name);
  for (const auto& [name, content] : files) WriteBytes(m_Folder.Path(Wide(name)), content);
}

std::optional<std::string> ContentOf(const std::string& file, bool isStrict) {
  static std::map<std::string, std::optional<std::string>> known;
  const std::string key = (isStrict ? "strict " : "") + WithIdsNumbered(file);
  if (const auto found = known.find(key); found != known.end()) return found->second;
  const Folder folder(Folder::Place::kMemory);
  const std::wstring path = folder.Path(L"plain");  // no dot, no companions
  WriteBytes(path, file);
  CCfgConfigurationEx store(OptionFor(isStrict));
  std::optional<std::string> content;
  if (store.Initialize(path.c_str())) content = ContentOf(store);
  return known[key] = content;
}

std::string WithIdsNumbered(std::string_view text) {
  constexpr std::size_t kLength = 38;  // of a GUID in braces
  std::map<std::string, std::string> numbers;
  std::string result;
  std::size_t end = 0;  // of what is in the result
  for (std::size_t at = text.find('{'); at != text.npos; at = text.find('{', at + 1)) {
    if (at + kLength > text.size() || text[at + kLength - 1] != '}') continue;
    const std::string number = "#" + std::to_string(numbers.size());
    result += text.substr(end, at - end);
    result += numbers.try_emplace(std::string(text.substr(at, kLength)), number).first->second;
    end = at + kLength;
  }
  return result.append(text.substr(end));
}

bool IsLeftover(const std::string& name) { return name.find(".cfgex-new") != name.npos; }

}  // namespace test
