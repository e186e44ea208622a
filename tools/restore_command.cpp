// restore: lists the copies and what differs, or replaces the file by one of them.

#include <optional>

#include "platform/os/file.h"
#include "tools/commands.h"
#include "tools/engine/system.h"
#include "tools/reserve_copies.h"

namespace cfgexctl {
namespace {

// A copy, or the file itself, as far as it can be read.
struct State {
  std::wstring condition;  // "valid", or what is wrong
  bool valid = false;
  std::optional<LoadedFile> file;
  std::optional<Content> content;
};

State StateOf(const CCfgOption& option, const std::wstring& path) {
  State state;
  try {
    state.file.emplace(ReadCopy(option, path));
    state.content = ContentOf(*state.file);
    const FaultList list = state.file->Validate(1);
    state.valid = list.total == 0;
    state.condition =
        state.valid ? L"valid" : L"not valid, " + Counted(list.total, L"fault", L"faults");
  } catch (const Stop& stop) {
    state.condition = stop.findings.empty()
                          ? stop.message
                          : L"damaged: " + OnOneLine(stop.findings.front().message);
    if (stop.code == kMissing) state.condition = L"not there";
  }
  return state;
}

void ListCopies(const Arguments& arguments, const CCfgOption& option, Report& report) {
  const std::wstring path = Wide(arguments.file);
  const State current = StateOf(option, path);
  report.Line(OnOneLine(path) + L": " + current.condition);
  report.data["file"] = arguments.file;
  report.data["state"] = Narrow(current.condition);
  report.data["valid"] = current.valid;
  report.data["copies"] = Json::array();
  const std::vector<Copy> copies = FindCopies(path);
  for (const Copy& copy : copies) {
    const State state = StateOf(option, copy.path);
    report.Line(L"");
    report.Line(copy.kind + L" " + OnOneLine(copy.path));
    report.Line(L"  written " + Wide(LocalTimeText(copy.written)) + L", " +
                Counted(copy.size, L"byte", L"bytes") + L", " + state.condition);
    Json json = {{"kind", Narrow(copy.kind)},
                 {"path", Narrow(copy.path)},
                 {"written", UniversalTimeText(copy.written)},
                 {"size", copy.size},
                 {"valid", state.valid},
                 {"state", Narrow(state.condition)}};
    if (state.content && current.content) {
      const Difference difference = Compare(*current.content, *state.content);
      report.Line(L"  compared with the file: " + Summary(difference));
      PrintNames(difference, L"  ", report);
      json["difference"] = AsJson(difference);
    } else if (state.content) {
      report.Line(L"  holds " + Counted(state.content->size(), L"instance", L"instances"));
      json["instances"] = state.content->size();
    }
    report.data["copies"].push_back(std::move(json));
  }
  if (copies.empty()) report.Line(L"There are no copies beside it.");
}

std::wstring ChosenPath(const Arguments& arguments) {
  std::wstring from = Wide(arguments.from);
  for (const Copy& copy : FindCopies(Wide(arguments.file))) {
    if (copy.kind == from && copy.kind != L"quarantine") return copy.path;
  }
  if (from == L"backup" || from == L"snapshot")
    throw Stop(kMissing, L"there is no " + from + L" of " + OnOneLine(Wide(arguments.file)));
  return from;
}

void PutCopyInPlace(const Arguments& arguments, const CCfgOption& option, Report& report) {
  const std::wstring path = Wide(arguments.file);
  const std::wstring from = ChosenPath(arguments);
  const std::string bytes = ReadFileBytes(from);
  const State state = StateOf(option, from);
  if (!state.valid && !arguments.force)
    throw Stop(kInvalid, OnOneLine(from) + L": " + state.condition +
                             L"; \"check\" names the faults, --force restores it nevertheless");
  const State current = StateOf(option, path);
  if (state.content && current.content) {
    const Difference difference = Compare(*current.content, *state.content);
    PrintNames(difference, L"", report);
    report.data.update(AsJson(difference));
  }
  report.data["from"] = Narrow(from);
  if (arguments.dryRun) {
    report.data["dryRun"] = true;
    report.Note(L"nothing was changed: this was a dry run");
    return;
  }
  const bool isThere = current.condition != L"not there";
  if (isThere) {
    const std::wstring kept = Quarantine(path);
    report.Line(L"what was there is kept as " + OnOneLine(kept));
    report.data["kept"] = Narrow(kept);
  }
  // The library does not read UTF-16 without a mark.
  if (state.file && state.file->Bytes().find('\0') != std::string::npos) {
    state.file->Root()->get_ownerDocument()->save(path);
  } else {
    ReplaceFile(path, bytes);
  }
  report.Line(OnOneLine(path) + L" holds the content of " + OnOneLine(from) + L" now");
}

}  // namespace

void Restore(const Arguments& arguments, Report& report) {
  const CCfgOption option = OpenSchema(Wide(arguments.schema));
  const Progress progress("comparing the copies of " + arguments.file);
  if (arguments.from.empty()) {
    ListCopies(arguments, option, report);
  } else {
    PutCopyInPlace(arguments, option, report);
  }
}

}  // namespace cfgexctl
