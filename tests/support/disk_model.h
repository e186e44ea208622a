// What a disk may hold after the power went.
//
// A file's content is on the disk when the file was flushed; what a directory holds is when the
// directory was flushed. Short of that:
//   - content that was not flushed is there, or what was flushed before it, or nothing, or half of
//     it, or as many zeros, or half of it and zeros;
//   - each creation, renaming and removal in a directory has happened or has not, on its own, but
//     not before an earlier one of the same file or name. A renaming is never half done.
// Flushing a file says nothing of its name, and flushing a directory nothing of contents.
//
//   Recording recording = Record(root, [&] { ... });   what is done to files below `root` meanwhile
//   for (const DiskState& state : StatesOf(recording)) ...
#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "tests/support/support.h"

namespace test {

struct DiskEvent {
  enum Kind { kCreate, kContent, kSyncFile, kRename, kUnlink, kSyncDirectory };
  Kind kind;
  std::string name;  // of the file or directory, relative to the root
  std::string newName;
  std::string content;  // the whole of it
};

struct Recording {
  Files before;  // all of it on the disk
  std::vector<DiskEvent> events;
};

struct DiskState {
  Files files;
  bool isAtEnd;  // the power went after the last event
  friend auto operator<=>(const DiskState&, const DiskState&) = default;
};

Recording Record(const std::filesystem::path& root, const std::function<void()>& body);

// All that can be found after the power went at any moment; each once.
std::vector<DiskState> StatesOf(const Recording& recording);

}  // namespace test
