// cfgexctl: looks after configuration files and their schemas.
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

int Parse(CLI::App& app, int count, char** arguments) {
  try {
    app.parse(count, arguments);
    return kOk;
  } catch (const CLI::ParseError& error) {
    const int code = app.exit(error);
    return code == 0 ? -1 : kUsage;  // help was asked for and printed
  }
}

int Run(const Invocation& invocation) {
  const auto failed = [&](const std::string& what) {
    return Print(Stop(kFailed, Wide(what)), invocation.json);
  };
  try {
    Report report;
    invocation.run(report);
    return Print(report, invocation.json);
  } catch (const Stop& stop) {
    return Print(stop, invocation.json);
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
  Invocation invocation;
  app.add_flag("--json", invocation.json, "Answer in JSON, for scripts");
  AddCheckSchemaCommand(app, invocation);
  AddCheckCommand(app, invocation);
  AddReadCommands(app, invocation);
  AddGraphCommands(app, invocation);
  AddChangeCommands(app, invocation);
  AddRestoreCommand(app, invocation);

  const int parsed = Parse(app, count, arguments);
  if (parsed != kOk) return parsed == -1 ? kOk : parsed;
  return Run(invocation);
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
