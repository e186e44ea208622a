// The commands, by subject; each function adds its own to the command line.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <string>

#include "tools/loaded_file.h"

namespace cfgexctl {

// What the command line asks for: set by the command that was named.
struct Invocation {
  bool json = false;
  std::function<void(Report&)> run;
};

void AddCheckSchemaCommand(CLI::App& app, Invocation& invocation);
void AddCheckCommand(CLI::App& app, Invocation& invocation);
void AddReadCommands(CLI::App& app, Invocation& invocation);    // list, show, get, export
void AddGraphCommands(CLI::App& app, Invocation& invocation);   // referrers, graph
void AddChangeCommands(CLI::App& app, Invocation& invocation);  // set, new, import, copy, remove
void AddRestoreCommand(CLI::App& app, Invocation& invocation);

// The two files that most commands take first.
struct FileArguments {
  std::string schema;
  std::string file;
  bool unchecked = false;

  void AddTo(CLI::App& command);
  void AddUncheckedTo(CLI::App& command);  // --unchecked, for commands that only look

  // For commands that only look: the file must be valid, unless --unchecked was given.
  LoadedFile Open() const;
};

// `show --tree`: the instance and all that it reaches by references.
void ReportTree(const LoadedFile& file, const Element& instance, Report& report);

// Writes an output file as a whole, or adds to the report when no path is given.
void Deliver(const std::string& path, const std::string& content, Report& report);

}  // namespace cfgexctl
