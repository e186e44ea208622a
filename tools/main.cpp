// cfgexctl: looks after configuration files and their schemas. The whole command line is here.
#include <CLI/CLI.hpp>
#include <functional>
#include <iostream>
#include <new>

#include "cfgex/cfgex.h"
#include "tools/commands.h"

namespace cfgexctl {
namespace {

constexpr const char* kFooter =
    "An instance is named by its id, or as CATEGORY:ID. A field is named by its path: Name,\n"
    "Comfort.Warmest, Tags[2]. Lists are given as JSON: '[\"one\", \"two\"]'.\n"
    "With --json every command answers in JSON, errors included.\n"
    "\n"
    "Exit codes: 0 done; 1 invalid; 2 usage; 3 not there; 4 failed.";

// The command that was named, ready to run.
using Invocation = std::function<void(Report&)>;

// Adds the commands, and what each of them takes in the order in which it is to be given.
class CommandLine {
 public:
  CommandLine(CLI::App& app, Invocation& invocation) : m_App(app), m_Invocation(invocation) {}

  void AddLooking();
  void AddChanging();

 private:
  void Add(const char* name, Command& run, const char* description) {
    m_Command = m_App.add_subcommand(name, description);
    m_Command->callback([this, &run] {
      m_Invocation = [this, &run](Report& report) { run(m_Arguments, report); };
    });
    Required("SCHEMA", m_Arguments.schema, "The XML Schema of the configuration");
  }
  void AddOfFile(const char* name, Command& run, const char* description) {
    Add(name, run, description);
    Required("FILE", m_Arguments.file, "The configuration file");
  }
  void AddChange(const char* name, Command& run, const char* description) {
    AddOfFile(name, run, description);
    Flag("--drop-reached", m_Arguments.dropReached,
         "Remove also what the old form reached by references, as the library does");
    DryRun();
  }

  void Required(const char* name, std::string& text, const char* description) {
    m_Command->add_option(name, text, description)->required();
  }
  template <class Texts>
  void Optional(const char* name, Texts& texts, const char* description) {
    m_Command->add_option(name, texts, description);
  }
  void Flag(const char* name, bool& flag, const char* description) {
    m_Command->add_flag(name, flag, description);
  }
  void Instance() { Required("INSTANCE", m_Arguments.instance, "Its id, or CATEGORY:ID"); }
  void Field() { Required("FIELD", m_Arguments.field, "The path of the field"); }
  void Output() {
    Optional("-o,--output", m_Arguments.output, "The file to write, instead of the output");
  }
  void Unchecked() {
    Flag("--unchecked", m_Arguments.unchecked, "Read the file even if it is not valid");
  }
  void DryRun() {
    Flag("-n,--dry-run", m_Arguments.dryRun, "Say what would change, and change nothing");
  }

  CLI::App& m_App;
  Invocation& m_Invocation;
  Arguments m_Arguments;
  CLI::App* m_Command = nullptr;  // the one that was added last
};

void CommandLine::AddLooking() {
  Add("check-schema", CheckSchema,
      "Check that a schema compiles and declares what the library requires");

  AddOfFile("check", CheckFile, "Check a configuration file, and name its faults");
  Flag("--warnings", m_Arguments.warnings,
       "Also name references that lead nowhere, ids that occur twice, and instances that nothing "
       "refers to");
  Flag("--strict", m_Arguments.strict, "The same, and take warnings for faults");

  AddOfFile("list", List, "List the categories, or the instances of one");
  Optional("CATEGORY", m_Arguments.category, "A category; * for all");
  Unchecked();

  AddOfFile("show", Show, "Show an instance with its fields");
  Instance();
  Flag("--tree", m_Arguments.tree, "Show what it reaches by references, in their order");
  Unchecked();

  AddOfFile("get", Get, "Print the value of a field");
  Instance();
  Field();
  Unchecked();

  AddOfFile("export", Export, "Write the document of an instance with all that it reaches");
  Instance();
  Output();

  AddOfFile("referrers", Referrers, "List who refers to an instance");
  Unchecked();
  Instance();

  AddOfFile("graph", Graph, "Write the references in Graphviz's language");
  Unchecked();
  Optional("INSTANCE", m_Arguments.instance, "Only this one, and what it reaches");
  Output();
}

void CommandLine::AddChanging() {
  AddChange("set", Set, "Change the value of a field");
  Instance();
  Field();
  Required("VALUE", m_Arguments.value,
           "The value; of a reference CATEGORY:ID, an id, or nothing; of a list JSON");

  AddChange("new", New, "Add a new instance, as the schema makes it");
  Required("CATEGORY", m_Arguments.category, "The category");
  Optional("FIELD=VALUE", m_Arguments.assignments, "Values of fields, as for \"set\"");
  Optional("--id", m_Arguments.target, "The id, instead of a new one");

  AddChange("import", Import, "Store the document of an instance");
  Required("DOCUMENT", m_Arguments.document, "A file that \"export\" wrote, or -");

  AddChange("copy", CopyTo, "Make an instance a copy of another");
  Required("SOURCE", m_Arguments.instance, "The instance to copy");
  Required("TARGET", m_Arguments.target, "The id of the copy, new or not");
  Flag("--deep", m_Arguments.deep, "Copy what it reaches as well, under new ids");

  AddChange("remove", Remove, "Remove an instance");
  Instance();

  AddOfFile("restore", Restore, "List the copies of a file, or restore one");
  Optional("--from", m_Arguments.from, "Restore this: backup, snapshot, or the path of any copy");
  Flag("--force", m_Arguments.force, "Also if it is not valid");
  DryRun();
}

int Parse(CLI::App& app, int count, char** arguments) {
  try {
    app.parse(count, arguments);
    return kOk;
  } catch (const CLI::ParseError& error) {
    const int code = app.exit(error);
    return code == 0 ? -1 : kUsage;  // help was asked for and printed
  }
}

int Run(const Invocation& invocation, bool asJson) {
  const auto failed = [&](const std::string& what) {
    return Print(Stop(kFailed, Wide(what)), asJson);
  };
  try {
    Report report;
    invocation(report);
    return Print(report, asJson);
  } catch (const Stop& stop) {
    return Print(stop, asJson);
  } catch (const OS::CException& error) {
    return failed(Narrow(error.GetErrorMsg().str()));
  } catch (const std::bad_alloc&) {
    return failed("out of memory");
  } catch (const std::exception& error) {
    return failed(error.what());
  }
}

int Main(int count, char** arguments) {
  CLI::App app("Looks after configuration files and their schemas.", "cfgexctl");
  app.set_version_flag("--version", std::string("cfgexctl ") + CFGEXCTL_VERSION);
  app.set_help_all_flag("--help-all", "Print the help of all commands");
  app.require_subcommand(1);
  app.fallthrough();
  app.footer(kFooter);
  bool asJson = false;
  app.add_flag("--json", asJson, "Answer in JSON, for scripts");
  Invocation invocation;
  CommandLine commands(app, invocation);
  commands.AddLooking();
  commands.AddChanging();

  const int parsed = Parse(app, count, arguments);
  if (parsed != kOk) return parsed == -1 ? kOk : parsed;
  return Run(invocation, asJson);
}

}  // namespace
}  // namespace cfgexctl

int main(int count, char** arguments) {
  try {
    return cfgexctl::Main(count, arguments);
  } catch (const std::exception& error) {
    std::cerr << "cfgexctl: " << error.what() << '\n';
    return cfgexctl::kFailed;
  }
}
