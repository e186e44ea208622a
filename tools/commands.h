// The commands, by subject, and their part of the command line (main.cpp).
#pragma once

#include <string>
#include <vector>

#include "tools/loaded_file.h"

namespace cfgexctl {

// Each command has a part of these.
struct Arguments {
  std::string schema;
  std::string file;
  std::string category;
  std::string instance;
  std::string target;
  std::string field;
  std::string value;
  std::vector<std::string> assignments;
  std::string document;
  std::string output;
  std::string from;
  bool unchecked = false;
  bool tree = false;
  bool warnings = false;
  bool strict = false;
  bool deep = false;
  bool dropReached = false;
  bool force = false;
  bool dryRun = false;

  // For commands that only look: the file must be valid, unless --unchecked was given.
  LoadedFile Open() const;
  // For commands that change: the file must be valid.
  LoadedFile OpenValid() const;
};

using Command = void(const Arguments& arguments, Report& report);

Command CheckSchema;                       // check_schema_command.cpp
Command CheckFile;                         // check_command.cpp
Command List, Show, Get, Export;           // read_commands.cpp
Command Referrers, Graph;                  // graph_commands.cpp
Command Set, New, Import, CopyTo, Remove;  // change_commands.cpp
Command Restore;                           // restore_command.cpp

// `show --tree`: the instance and all that it reaches by references.
void ReportTree(const LoadedFile& file, const Element& instance, Report& report);

// Writes an output file as a whole, or adds to the report when no path is given.
void Deliver(const std::string& path, const std::string& content, Report& report);

}  // namespace cfgexctl
