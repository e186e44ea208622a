#include "tests/support/mishap.h"

#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string_view>

namespace test {
namespace {

using namespace cfgex::internal;

constexpr int kEndedHere = 77;

struct State {
  Mishap::Kind kind = Mishap::kNone;
  int nth = 0;
  int places = 0;
  bool ending = false;
  std::optional<FaultPoint> failing;  // the kind of point that fails from now on
  std::vector<Mishap::Calls> calls;   // if there are any, only these are places
  std::vector<FaultPoint> points;
};
State g_State;

bool IsOn(const Passage& passage, const std::string& path) {
  if (path.empty()) return true;
  if (passage.path != nullptr) return std::string_view(passage.path).ends_with(path);
  std::error_code none;
  const std::string link = "/proc/self/fd/" + std::to_string(passage.descriptor);
  return std::filesystem::read_symlink(link, none).string().ends_with(path);
}

bool IsPlace(Passage& passage) {
  for (const Mishap::Calls& calls : g_State.calls) {
    if (passage.point != calls.point || !IsOn(passage, calls.path)) continue;
    passage.error = calls.error;
    return true;
  }
  if (!g_State.calls.empty()) return false;
  switch (g_State.kind) {
    case Mishap::kShort:
    case Mishap::kShortOnward:
    case Mishap::kEndAfterPart:
      return passage.size > 1;
    case Mishap::kEnd:
      return passage.path != nullptr || passage.descriptor >= 0;
    default:
      return true;
  }
}

bool OnPassage(Passage& passage) noexcept {
  State& state = g_State;
  if (state.ending) ::_exit(kEndedHere);
  const bool isPlace = IsPlace(passage);
  if (isPlace) ++state.places;
  const bool here = isPlace && state.places == state.nth;
  const bool after = isPlace && state.places >= state.nth;
  switch (state.kind) {
    case Mishap::kNone:
      state.points.push_back(passage.point);
      return false;
    case Mishap::kFail:
      return here;
    case Mishap::kFailOnward:
      return after;
    case Mishap::kFailOfItsKind:
      if (here) state.failing = passage.point;
      return state.failing == passage.point;
    case Mishap::kEnd:
      if (here) ::_exit(kEndedHere);
      return false;
    case Mishap::kShort:
    case Mishap::kEndAfterPart:
    case Mishap::kShortOnward:
      if (here || (after && state.kind == Mishap::kShortOnward)) passage.size /= 2;
      state.ending = here && state.kind == Mishap::kEndAfterPart;
      return false;
  }
  return false;
}

}  // namespace

Mishap::Mishap(Kind kind, int nth, const std::vector<Calls>& calls) {
  g_State = {};
  g_State.kind = kind;
  g_State.nth = nth;
  g_State.calls = calls;
  g_FaultHook = OnPassage;
}
Mishap::~Mishap() { g_FaultHook = nullptr; }
bool Mishap::Happened() const { return g_State.places > 0 && g_State.places >= g_State.nth; }
int Mishap::Passed() const { return g_State.places; }
const std::vector<FaultPoint>& Mishap::Points() const { return g_State.points; }

bool EndsInChild(Mishap::Kind kind, int nth, const std::function<void()>& body) {
  const pid_t child = ::fork();
  if (child < 0) throw std::runtime_error("fork");
  if (child == 0) {
    const Mishap mishap(kind, nth);
    body();
    ::_exit(0);
  }
  int status = -1;
  if (::waitpid(child, &status, 0) != child || !WIFEXITED(status) ||
      (WEXITSTATUS(status) != 0 && WEXITSTATUS(status) != kEndedHere))
    throw std::runtime_error("the child ended otherwise: " + std::to_string(status));
  return WEXITSTATUS(status) == kEndedHere;
}

}  // namespace test
