// cfgexctl from outside: command lines, exit codes, what is printed, and what becomes of files.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

#include "platform/os/encoding.h"
#include "tests/support/support.h"

namespace {

using Json = nlohmann::json;
using test::ReadBytes;
using test::WriteBytes;

struct Outcome {
  int code = -1;
  std::string out;
  std::string err;
};

std::string Replaced(std::string text, const std::string& from, const std::string& to) {
  const std::size_t at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  return at == text.npos ? text : text.replace(at, from.size(), to);
}

long LineOf(const std::string& text, const std::string& part) {
  return 1 + std::count(text.begin(), text.begin() + static_cast<long>(text.find(part)), '\n');
}

// The cases of a file in data/cfgexctl, which tells their form: fields between " | ", "\n" for a
// line end.
std::vector<std::vector<std::string>> Table(const std::string& name) {
  std::istringstream file(ReadBytes(test::Wide(CFGEX_TEST_DATA "/cfgexctl/" + name)));
  std::vector<std::vector<std::string>> rows;
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with('#')) continue;
    for (std::size_t at; (at = line.find("\\n")) != line.npos;) line.replace(at, 2, "\n");
    std::vector<std::string>& row = rows.emplace_back();
    for (std::size_t end; (end = line.find(" | ")) != line.npos; line.erase(0, end + 3))
      row.push_back(line.substr(0, end));
    row.push_back(line);
    std::replace(row.begin(), row.end(), std::string("-"), std::string());
  }
  EXPECT_GT(rows.size(), 5U) << name;
  return rows;
}

// A folder with the example's schema and configuration.
class Cfgexctl : public testing::Test {
 protected:
  Cfgexctl() {
    for (const char* name : {"building.xsd", "cfgex-types.xsd", "building.xml"})
      std::filesystem::copy(std::filesystem::path(CFGEX_EXAMPLES) / "building" / name,
                            folder.Root() / name);
    original = Read("building.xml");
  }

  // Runs a command line in the folder: "@" is the schema and the configuration, "SCHEMA" and "FILE"
  // one of them. `more` has the arguments that are no words.
  Outcome Run(const std::string& words, const std::vector<std::string>& more = {},
              const std::string& input = "/dev/null") {
    std::string line = "cd '" + folder.Root().string() + "' && '" CFGEXCTL "'";
    std::istringstream stream(words);
    for (std::string word; stream >> word;)
      line += word == "@"        ? " building.xsd building.xml"
              : word == "SCHEMA" ? " building.xsd"
              : word == "FILE"   ? " building.xml"
                                 : " '" + word + "'";
    for (const std::string& argument : more) line += " '" + argument + "'";
    line += " 2>stderr <'" + input + "'";
    Outcome outcome;
    std::FILE* pipe = popen(line.c_str(), "r");
    std::array<char, 4096> buffer;
    for (std::size_t count; (count = std::fread(buffer.data(), 1, buffer.size(), pipe)) > 0;)
      outcome.out.append(buffer.data(), count);
    const int status = pclose(pipe);
    outcome.code = WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + status;
    outcome.err = Read("stderr");
    std::filesystem::remove(Path("stderr"));
    return outcome;
  }
  Json RunJson(const std::string& words, int code, std::vector<std::string> more = {}) {
    more.push_back("--json");
    const Outcome outcome = Run(words, more);
    EXPECT_EQ(outcome.code, code) << outcome.out << outcome.err;
    const Json json = Json::parse(outcome.out, nullptr, false);
    EXPECT_TRUE(json.is_object()) << outcome.out;
    return json.is_object() ? json : Json::object();
  }
  Json FirstFinding(const std::string& words, int code) {
    const Json findings = RunJson(words, code)["findings"];
    EXPECT_FALSE(findings.empty()) << words;
    return findings.empty() ? Json::object() : findings[0];
  }
  std::string Get(const std::string& instance, const std::string& field) {
    return Run("get @ " + instance + " " + field).out;
  }

  std::string Path(const std::string& name) { return (folder.Root() / name).string(); }
  std::string Read(const std::string& name) { return ReadBytes(test::Wide(Path(name))); }
  void Write(const std::string& name, const std::string& bytes) {
    WriteBytes(test::Wide(Path(name)), bytes);
  }
  std::map<std::string, std::string> Everything() {
    std::map<std::string, std::string> files;
    for (const std::string& name : folder.Names()) files[name] = Read(name);
    return files;
  }

  test::Folder folder;
  std::string original;
};

TEST_F(Cfgexctl, ExitCodesTellInvalidFromUsageFromMissingFromFailed) {
  const auto before = Everything();
  for (const auto& row : Table("commands.txt")) {
    const Outcome outcome = Run(row[0]);
    const std::string said = outcome.out + outcome.err;
    EXPECT_EQ(std::to_string(outcome.code), row[1]) << row[0] << "\n" << said;
    EXPECT_NE(said.find(row[2]), std::string::npos) << row[0] << "\n" << said;
  }
  EXPECT_EQ(Everything(), before);
}

TEST_F(Cfgexctl, NamesEveryFaultWithItsFieldValueAndRule) {
  for (const auto& row : Table("faults.txt")) {
    const std::string text = Replaced(original, row[0], row[1]);
    Write("building.xml", text);
    const Json finding = FirstFinding("check @", 1);
    const auto said = [&](const char* key) { return finding.value(key, ""); };
    EXPECT_EQ(said("category") + ":" + said("id") + " " + said("field"), row[2]) << finding;
    EXPECT_EQ(said("rule"), row[3]) << finding;
    EXPECT_NE(said("message"), "") << finding;
    EXPECT_TRUE(row[1].empty() || std::abs(finding.value("line", 0L) - LineOf(text, row[1])) < 2)
        << finding;
    EXPECT_TRUE(row[4].empty() || said("value") == row[4]) << finding;
  }
}

TEST_F(Cfgexctl, NamesAllFaultsAndTheirLinesBeyondWhatTheEngineCounts) {
  std::string text =
      Replaced(original, "<Configuration>", "<Configuration>" + std::string(70'000, '\n'));
  text = Replaced(text, "<Floors>4<", "<Floors>four<");
  text = Replaced(text, "<Floors>7<", "\n<Floors\n>seven<");
  text = Replaced(text, "<RestPosition>0<", "<RestPosition>101<");
  Write("building.xml", text);
  const Json findings = RunJson("check @", 1)["findings"];
  ASSERT_EQ(findings.size(), 3U) << findings;
  EXPECT_EQ(findings[0]["line"], LineOf(text, "<Floors\n"));
  EXPECT_EQ(findings[1]["line"], LineOf(text, "<Floors>four"));
  EXPECT_EQ(findings[1]["column"], 7);
  EXPECT_EQ(findings[2]["line"], LineOf(text, "<RestPosition>101"));
  EXPECT_EQ(findings[2]["rule"], "maxInclusive");
}

TEST_F(Cfgexctl, WarnsOfReferencesAndIdsOnRequest) {
  std::string text =
      Replaced(original, "<InstanceId>user-facility-manager<", "<InstanceId>zone-server-room<");
  text = Replaced(text, "<InstanceId>schedule-always-on<", "<InstanceId>calendar-germany<");
  Write("building.xml", text);
  EXPECT_EQ(RunJson("check @", 0)["findings"].size(), 0U);
  std::map<std::string, std::string> fields;
  const Json strict = RunJson("check @ --strict", 1);
  for (const Json& finding : strict["findings"])
    fields[finding["rule"]] += finding.value("field", "-") + " ";
  EXPECT_NE(fields["dangling reference"].find("Contact "), std::string::npos);
  EXPECT_TRUE(fields.contains("unreferenced"));
  EXPECT_FALSE(fields.contains("id twice"));
  Write("building.xml",
        Replaced(text, "<InstanceId>sensor-server-room-temperature</InstanceId>\n      <Name>",
                 "<InstanceId>calendar-germany</InstanceId>\n      <Name>"));
  const Outcome outcome = Run("check @ --warnings");
  EXPECT_EQ(outcome.code, 0);
  EXPECT_NE(outcome.out.find("[id twice]"), std::string::npos);
}

TEST_F(Cfgexctl, ExplainsHostileInputAndTouchesNothing) {
  std::string deep;
  for (int level = 0; level < 100'000; ++level) deep += "<a>";
  const std::size_t site = original.find("<Site>");
  const struct {
    std::string bytes, rule;
  } kCases[] = {
      {"", "empty"},
      {"hello", "no XML"},
      {std::string("\0\1\2\3", 4), "no XML"},
      {original.substr(0, original.size() / 2), "truncated"},
      {Replaced(original, "Harbour", "H\xE9rbour"), "encoding"},
      {Replaced(original, "UTF-8", "KLINGON"), "encoding"},
      {Replaced(original, "Harbour", "&harbour;"), "entity"},
      {Replaced(original, "Harbour", std::string(1, '\0')), "character"},
      {std::string("<Configuration>\n\1"), "character"},
      {deep, "nesting"},
      {"<!DOCTYPE Configuration [<!ENTITY a SYSTEM '/etc/passwd'>]><Configuration>&a;",
       "document type"},
      {"<x:Configuration/>", "namespace"},
      {Replaced(original, "<Site>", "<Sight>"), "end tag"},
      {"<Other/>", "unknown element"},
      // an element of the schema, but no configuration
      {original.substr(site, original.find("</Site>") + std::strlen("</Site>") - site),
       "unknown element"},
  };
  for (const auto& each : kCases) {
    Write("building.xml", each.bytes);
    const auto before = Everything();
    for (const char* words : {"check @", "list @", "show @ a", "export @ a", "graph @",
                              "set @ a b c", "new @ Zone", "import @ FILE"})
      EXPECT_EQ(FirstFinding(words, 1)["rule"], each.rule) << words;
    EXPECT_EQ(Run("check-schema FILE").code, 1) << each.rule;
    EXPECT_EQ(Run("restore @").code, 0) << each.rule;
    EXPECT_EQ(Everything(), before) << each.rule;
  }
}

TEST_F(Cfgexctl, ReadsAnInvalidFileOnlyWhenAskedTo) {
  Write("building.xml", Replaced(original, "<Floors>7<", "<Floors>seven<"));
  EXPECT_EQ(Run("get @ site-harbour-house Floors").code, 1);
  EXPECT_EQ(Run("get @ site-harbour-house Floors --unchecked").out, "seven\n");
}

TEST_F(Cfgexctl, SetsFieldsOfEveryKind) {
  const std::string name = "Brücke <&> \xF0\x9D\x84\x9E";
  const struct {
    std::string field, value;
    Json read;
  } kCases[] = {
      {"Name", name, name},
      {"Floor", "-3", -3},
      {"Area", "4294967295", 4294967295},
      {"Enabled", "false", false},
      {"LastInspection", "2026-11-23T01:02:03Z", "2026-11-23T01:02:03Z"},
      {"Comfort.Warmest", "251", 251},
      {"Tags", "[\"a\", \"b\"]", {"a", "b"}},
      {"Tags[2]", "c", "c"},
      {"Tags", "[]", Json::array()},
      {"Schedule", "", nullptr},
      {"Sensors",
       "[\"sensor-server-room-humidity\"]",
       {{{"category", "Sensor"}, {"id", "sensor-server-room-humidity"}}}},
  };
  for (const auto& each : kCases) {
    RunJson("set @ zone-server-room " + each.field, 0, {each.value});
    EXPECT_EQ(RunJson("get @ zone-server-room " + each.field, 0)["value"], each.read);
  }
  EXPECT_EQ(Run("check @").code, 0);
}

TEST_F(Cfgexctl, RefusesValuesByNamingTheRule) {
  const struct {
    std::string field, value, says;
  } kCases[] = {
      {"Floor", "high", "[type]"},
      {"Floor", "4294967296", "32 bits"},
      {"Area", "-1", "[type]"},
      {"Kind", "dungeon", "[enumeration]"},
      {"Comfort.HumidityLimit", "101", "[maxInclusive]"},
      {"Enabled", "maybe", "[type]"},
      {"Name", std::string(81, 'x'), "[maxLength]"},
      {"Tags", "[1]", "no text"},
  };
  const auto before = Everything();
  for (const auto& each : kCases) {
    const Outcome outcome = Run("set @ zone-server-room " + each.field, {each.value});
    EXPECT_TRUE(outcome.code == 1 || outcome.code == 2) << each.field;
    EXPECT_NE(outcome.err.find(each.says), std::string::npos) << outcome.err;
  }
  EXPECT_EQ(Everything(), before);
}

// The library lets go of what the old form of an instance reached.
TEST_F(Cfgexctl, ChangesKeepWhatTheyWereNotAskedToRemove) {
  const std::string set = "set @ zone-server-room Controller";
  EXPECT_EQ(RunJson(set, 0, {"", "-n"})["changed"].size(), 1U);
  EXPECT_EQ(Read("building.xml"), original);

  const Json report = RunJson(set, 0, {""});
  EXPECT_EQ(report["removed"].size(), 0U);
  EXPECT_EQ(report["changed"].size(), 1U);
  EXPECT_EQ(Read("building.backup.xml"), original);
  EXPECT_EQ(Get("zone-server-room", "Controller"), "\n");
  EXPECT_EQ(Get("controller-server-room", "Zones[1]"), "Zone:zone-server-room\n");

  Write("building.xml", original);
  EXPECT_EQ(RunJson(set, 0, {"", "--drop-reached"})["removed"],
            Json::parse(R"([{"category": "Controller", "id": "controller-server-room"}])"));
  EXPECT_EQ(Run("show @ controller-server-room").code, 3);
}

TEST_F(Cfgexctl, MakesCopiesExportsImportsAndRemoves) {
  EXPECT_EQ(Run("new @ Zone Name=Hall Tags=[\"x\"] --id hall").code, 0);
  EXPECT_EQ(Get("hall", "Tags[1]"), "x\n");
  const std::string id = RunJson("new @ User", 0)["id"];
  EXPECT_EQ(id.size(), 38U);

  EXPECT_EQ(RunJson("copy @ zone-server-room hall", 0)["changed"].size(), 1U);
  EXPECT_EQ(Get("hall", "Sensors[1]"), "Sensor:sensor-server-room-temperature\n");
  const Json deep = RunJson("copy @ zone-server-room deep --deep", 0);
  EXPECT_GT(deep["added"].size(), 5U);
  EXPECT_EQ(deep["removed"].size(), 0U);
  EXPECT_NE(Get("deep", "Sensors[1]"), Get("hall", "Sensors[1]"));

  EXPECT_EQ(Run("export @ hall -o hall.xml").code, 0);
  EXPECT_EQ(Read("hall.xml"), Run("export @ hall").out);
  const Json removed = RunJson("remove @ hall", 0);
  EXPECT_EQ(removed["removed"].size(), 1U);
  EXPECT_EQ(Run("show @ hall").code, 3);
  EXPECT_EQ(Run("import @ -", {}, "hall.xml").code, 0);
  EXPECT_EQ(Get("hall", "Name"), Get("zone-server-room", "Name"));
  EXPECT_EQ(Run("check SCHEMA hall.xml").code, 0);

  Write("hall.xml", Replaced(Read("hall.xml"), "<Floor>", "<Floor>x"));
  EXPECT_EQ(FirstFinding("import @ hall.xml", 1)["field"], "Floor");
  EXPECT_GT(RunJson("remove @ hall --drop-reached", 0)["removed"].size(), 5U);
}

TEST_F(Cfgexctl, NothingIsChangedWithoutABackup) {
  std::filesystem::create_directory(Path("building.backup.xml"));
  const Outcome outcome = Run("set @ zone-server-room Floor 4");
  EXPECT_EQ(outcome.code, 4);
  EXPECT_EQ(Read("building.xml"), original);
}

// Its private folder tells when the command has read the file. It then waits for its document.
TEST_F(Cfgexctl, OverwritesNobodysChangeAndLeavesNothingWhenItIsEnded) {
  const std::string document =
      Replaced(Run("export @ zone-server-room").out, "<Floor>-1<", "<Floor>-2<");
  const std::string changed = original + "<!-- by somebody else -->";
  const std::filesystem::path temporary = Path("temporary");
  std::filesystem::create_directory(temporary);
  for (const bool isEnded : {true, false}) {
    std::array<int, 2> pipe;
    ASSERT_EQ(::pipe2(pipe.data(), O_CLOEXEC), 0);
    const pid_t command = ::fork();
    if (command == 0) {
      ::dup2(pipe[0], STDIN_FILENO);
      ::dup2(::open(Path("stderr").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), STDERR_FILENO);
      ::setenv("TMPDIR", temporary.c_str(), 1);
      ::execl(CFGEXCTL, CFGEXCTL, "import", Path("building.xsd").c_str(),
              Path("building.xml").c_str(), "-", nullptr);
      ::_exit(127);
    }
    ::close(pipe[0]);
    int status = 0;
    while (std::filesystem::is_empty(temporary) && ::waitpid(command, &status, WNOHANG) == 0)
      ::usleep(1000);
    if (isEnded) {
      ::kill(command, SIGTERM);
    } else {
      Write("building.xml", changed);
      EXPECT_EQ(::write(pipe[1], document.data(), document.size()), std::ssize(document));
    }
    ::close(pipe[1]);
    ASSERT_EQ(::waitpid(command, &status, 0), command);
    EXPECT_TRUE(std::filesystem::is_empty(temporary));
    EXPECT_EQ(WIFSIGNALED(status) ? WTERMSIG(status) : 0, isEnded ? SIGTERM : 0);
    if (isEnded) continue;
    EXPECT_EQ(WEXITSTATUS(status), 4);
    EXPECT_NE(Read("stderr").find("by somebody else meanwhile"), std::string::npos);
    EXPECT_EQ(Read("building.xml"), changed);
  }
}

TEST_F(Cfgexctl, RestoresACopyAndKeepsWhatItReplaces) {
  Run("set @ zone-server-room Floor 4");
  const std::string damaged = Read("building.xml").substr(0, 1000);
  Write("building.xml", damaged);
  // As the library puts aside what became invalid in memory.
  const std::string invalid =
      Replaced(original.substr(original.find("<Configuration")), "<Floors>7<", "<Floors>seven<");
  Write("building.12.bad", ToUtf16Le(test::Wide(invalid)));
  Write("building.other.bad", "no copy");

  const Json list = RunJson("restore @", 0);
  EXPECT_FALSE(list["valid"]);
  ASSERT_EQ(list["copies"].size(), 2U) << list;
  EXPECT_EQ(list["copies"][0]["kind"], "backup");
  EXPECT_EQ(list["copies"][0]["valid"], true);
  EXPECT_EQ(list["copies"][1]["kind"], "quarantine");
  EXPECT_EQ(list["copies"][1]["state"], "not valid, 1 fault");

  EXPECT_EQ(Run("restore @ --from building.12.bad").code, 1);
  EXPECT_EQ(Read("building.xml"), damaged);
  EXPECT_EQ(Run("restore @ --from building.12.bad --force").code, 0);
  EXPECT_EQ(FirstFinding("check @", 1)["value"], "seven");

  const Json report = RunJson("restore @ --from backup", 0);
  EXPECT_EQ(Read("building.xml"), original);
  EXPECT_EQ(report["changed"].size(), 1U);
  EXPECT_NE(Read(report["kept"].get<std::string>()).find("seven"), std::string::npos);
}

TEST_F(Cfgexctl, ExplainsWhatASchemaLacks) {
  const std::string schema = Read("building.xsd");
  for (const auto& row : Table("schemas.txt")) {
    Write("building.xsd", Replaced(schema, row[0], row[1]));
    const Json finding = FirstFinding("check-schema SCHEMA", row[3] == "error" ? 1 : 0);
    EXPECT_TRUE(row[2].empty() || finding["rule"] == row[2]) << finding;
    EXPECT_EQ(finding["level"], row[3]) << finding;
    EXPECT_GT(finding.value("line", 0), 0) << finding;
    EXPECT_NE(finding["file"].get<std::string>().find(".xsd"), std::string::npos);
  }
  // A schema that does not compile is explained to whoever needs it.
  Write("building.xsd",
        "<xs:schema xmlns:xs=\"http://www.w3.org/2001/XMLSchema\">\n<xs:elemen/></xs:schema>");
  EXPECT_EQ(FirstFinding("get @ a b", 1)["line"], 2);
}

TEST_F(Cfgexctl, ManPageAndCompletionKnowEveryCommandAndOption) {
  std::istringstream help(Run("--help-all").out);
  std::set<std::string> words;
  for (std::string line; std::getline(help, line);) {
    const std::size_t option = line.find("--");
    if (option != std::string::npos && line.starts_with("  "))
      words.insert(line.substr(option, line.find_first_of(" ,", option) - option));
    if (!line.empty() && line[0] >= 'a' && line[0] <= 'z' && line.find(' ') == std::string::npos)
      words.insert(line);
  }
  ASSERT_GT(words.size(), 20U);
  std::string page = test::Narrow(test::Wide(ReadBytes(test::Wide(CFGEXCTL_MAN_PAGE))));
  page.erase(std::remove(page.begin(), page.end(), '\\'), page.end());
  const std::string completion = ReadBytes(test::Wide(CFGEXCTL_COMPLETION));
  for (const std::string& word : words) {
    EXPECT_NE(page.find(word), std::string::npos) << word;
    EXPECT_NE(completion.find(word), std::string::npos) << word;
  }
}

}  // namespace
