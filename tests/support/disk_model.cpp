#include "tests/support/disk_model.h"

#include <optional>
#include <set>
#include <stdexcept>

#include "platform/os/fault_point.h"
#include "tests/support/support.h"

namespace test {
namespace {

namespace fs = std::filesystem;

// --- Recording
//
// A call passes before it is made. What it did is looked up at the next passage, so that only what
// really happened is recorded, however it was written.

struct Recorder {
  fs::path root;
  Recording recording;
  std::set<std::string> names;
  // The call under way.
  std::optional<FaultPoint> point;
  std::string name;
  std::string newName;

  std::string Relative(const fs::path& path) const {
    return fs::relative(fs::canonical(path.parent_path()) / path.filename(), root).string();
  }
  std::string NameOf(int descriptor) const {
    std::error_code none;
    return fs::read_symlink("/proc/self/fd/" + std::to_string(descriptor), none)
        .lexically_relative(root)
        .string();
  }
  bool Exists(const std::string& file) const { return fs::exists(root / file); }
  void Add(DiskEvent::Kind kind, std::string content = {}) {
    recording.events.push_back({kind, name, newName, std::move(content)});
  }
  void Settle();
  void Pass(const Passage& passage);
};
Recorder g_Recorder;

void Recorder::Settle() {
  if (point == FaultPoint::kOpen && Exists(name) && names.insert(name).second) {
    Add(DiskEvent::kCreate);
  } else if (point == FaultPoint::kWrite || point == FaultPoint::kFtruncate) {
    Add(DiskEvent::kContent, ReadBytes(Wide((root / name).string())));
  } else if ((point == FaultPoint::kRename || point == FaultPoint::kRenameat2) && !Exists(name)) {
    names.erase(name);
    names.insert(newName);
    Add(DiskEvent::kRename);
  } else if (point == FaultPoint::kUnlink && !Exists(name)) {
    names.erase(name);
    Add(DiskEvent::kUnlink);
  } else if (point == FaultPoint::kFsync) {
    Add(fs::is_directory(root / name) ? DiskEvent::kSyncDirectory : DiskEvent::kSyncFile);
  }
  point.reset();
}

void Recorder::Pass(const Passage& passage) {
  Settle();
  if (passage.path == nullptr && passage.descriptor < 0) return;
  if (passage.point == FaultPoint::kOpen &&
      (*passage.path == '\0' || fs::is_directory(passage.path)))
    return;
  point = passage.point;
  name = passage.path != nullptr ? Relative(passage.path) : NameOf(passage.descriptor);
  newName = passage.newPath != nullptr ? Relative(passage.newPath) : "";
  if (name.starts_with("..")) point.reset();
}

bool OnPassage(Passage& passage) noexcept {
  g_Recorder.Pass(passage);
  return false;
}

// --- The model

struct File {
  std::string onDisk;
  std::string content;
};

struct DirectoryChange {
  DiskEvent event;
  std::size_t file;
};

struct Disk {
  std::vector<File> files;
  std::map<std::string, std::size_t> names;  // as the process sees it
  std::map<std::string, std::size_t> namesOnDisk;
  std::vector<DirectoryChange> pending;

  explicit Disk(const Files& before) {
    for (const auto& [name, content] : before) {
      names[name] = namesOnDisk[name] = files.size();
      files.push_back({content, content});
    }
  }
  void Do(const DiskEvent& event);
  void AddStates(bool isAtEnd, std::set<DiskState>& states) const;
  void AddContents(std::map<std::string, std::size_t> found, bool isAtEnd,
                   std::set<DiskState>& states) const;
};

void Apply(const DirectoryChange& change, std::map<std::string, std::size_t>& names) {
  if (change.event.kind != DiskEvent::kCreate) names.erase(change.event.name);
  if (change.event.kind == DiskEvent::kCreate) names[change.event.name] = change.file;
  if (change.event.kind == DiskEvent::kRename) names[change.event.newName] = change.file;
}

void Disk::Do(const DiskEvent& event) {
  switch (event.kind) {
    case DiskEvent::kContent:
      files[names.at(event.name)].content = event.content;
      break;
    case DiskEvent::kSyncFile: {
      File& file = files[names.at(event.name)];
      file.onDisk = file.content;
      break;
    }
    case DiskEvent::kSyncDirectory: {
      const auto isHere = [&](const DirectoryChange& change) {
        const std::string parent = fs::path(change.event.name).parent_path().string();
        return parent == (event.name == "." ? "" : event.name);
      };
      for (const DirectoryChange& change : pending)
        if (isHere(change)) Apply(change, namesOnDisk);
      std::erase_if(pending, isHere);
      break;
    }
    case DiskEvent::kCreate:
      names[event.name] = files.size();
      files.emplace_back();
      [[fallthrough]];
    case DiskEvent::kRename:
    case DiskEvent::kUnlink:
      pending.push_back({event, names.at(event.name)});
      Apply(pending.back(), names);
      break;
  }
}

bool Touches(const DirectoryChange& change, const std::string& name) {
  return !name.empty() && (change.event.name == name || change.event.newName == name);
}

// Whether one must not happen before the other.
bool AreTied(const DirectoryChange& a, const DirectoryChange& b) {
  return a.file == b.file || Touches(a, b.event.name) || Touches(a, b.event.newName);
}

std::set<std::string> ContentsOf(const File& file) {
  if (file.content == file.onDisk) return {file.content};
  const std::size_t size = file.content.size();
  const std::string half = file.content.substr(0, size / 2);
  return {file.onDisk,
          "",
          file.content,
          half,
          std::string(size, '\0'),
          half + std::string(size - half.size(), '\0')};
}

void Disk::AddContents(std::map<std::string, std::size_t> found, bool isAtEnd,
                       std::set<DiskState>& states) const {
  std::vector<DiskState> made = {{{}, isAtEnd}};
  for (const auto& [name, file] : found) {
    std::vector<DiskState> next;
    for (const std::string& content : ContentsOf(files[file])) {
      for (DiskState state : made) {
        state.files[name] = content;
        next.push_back(std::move(state));
      }
    }
    made = std::move(next);
  }
  states.insert(made.begin(), made.end());
}

void Disk::AddStates(bool isAtEnd, std::set<DiskState>& states) const {
  if (pending.size() > 12) throw std::runtime_error("too much was not flushed");
  for (unsigned long set = 0; set < 1UL << pending.size(); ++set) {
    const auto isIn = [set](std::size_t i) { return (set >> i & 1) != 0; };
    bool isPossible = true;
    for (std::size_t late = 0; late < pending.size(); ++late)
      for (std::size_t early = 0; early < late; ++early)
        if (isIn(late) && !isIn(early) && AreTied(pending[early], pending[late]))
          isPossible = false;
    if (!isPossible) continue;
    std::map<std::string, std::size_t> found = namesOnDisk;
    for (std::size_t i = 0; i < pending.size(); ++i)
      if (isIn(i)) Apply(pending[i], found);
    AddContents(std::move(found), isAtEnd, states);
  }
}

}  // namespace

Recording Record(const fs::path& root, const std::function<void()>& body) {
  g_Recorder = {};
  g_Recorder.root = fs::canonical(root);
  g_Recorder.recording.before = Folder::ReadBelow(g_Recorder.root);
  for (const auto& [name, content] : g_Recorder.recording.before) g_Recorder.names.insert(name);
  g_FaultHook = OnPassage;
  body();
  g_FaultHook = nullptr;
  g_Recorder.Settle();
  return g_Recorder.recording;
}

std::vector<DiskState> StatesOf(const Recording& recording) {
  std::set<DiskState> states;
  Disk disk(recording.before);
  disk.AddStates(recording.events.empty(), states);
  for (std::size_t i = 0; i < recording.events.size(); ++i) {
    disk.Do(recording.events[i]);
    disk.AddStates(i + 1 == recording.events.size(), states);
  }
  return {states.begin(), states.end()};
}

}  // namespace test
