#include "tests/support/mishap.h"

#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <stdexcept>
#include <utility>

#include "platform/os/fault_point.h"

namespace test {
namespace {

using namespace cfgex::internal;

constexpr int kEndedHere = 77;

struct State {
  Mishap::Kind kind = Mishap::kNone;
  int nth = 0;
  int places = 0;
  bool ending = false;
  std::string failing;  // the kind of point that fails from now on
  Mishap::Calls calls;  // if any are named, only these are places
  std::vector<std::string> passed;
};
State g_State;

bool IsOn(const FaultPoint& point, const std::string& path) {
  if (point.path != nullptr) return point.path == path;
  std::error_code none;
  const std::string link = "/proc/self/fd/" + std::to_string(point.descriptor);
  return point.descriptor >= 0 && std::filesystem::read_symlink(link, none) == path;
}

bool IsPlace(const FaultPoint& point) {
  const Mishap::Calls& calls = g_State.calls;
  if (!calls.operation.empty())
    return point.operation == calls.operation && IsOn(point, calls.path);
  switch (g_State.kind) {
    case Mishap::kShort:
    case Mishap::kShortOnward:
    case Mishap::kEndAfterPart:
      return point.size > 1;
    case Mishap::kEnd:
      return point.path != nullptr || point.descriptor >= 0;
    default:
      return true;
  }
}

bool OnPassage(FaultPoint& point) noexcept {
  State& state = g_State;
  state.passed.emplace_back(point.operation);
  if (state.ending) ::_exit(kEndedHere);
  if (IsPlace(point)) ++state.places;
  const bool here = IsPlace(point) && state.places == state.nth;
  const bool after = IsPlace(point) && state.places >= state.nth;
  switch (state.kind) {
    case Mishap::kNone:
      return false;
    case Mishap::kFail:
      point.error = state.calls.error;
      return here || (state.nth == 0 && IsPlace(point));
    case Mishap::kFailOnward:
      return after;
    case Mishap::kFailOfItsKind:
      if (here) state.failing = point.operation;
      return state.failing == point.operation;
    case Mishap::kEnd:
      if (here) ::_exit(kEndedHere);
      return false;
    case Mishap::kShort:
    case Mishap::kEndAfterPart:
    case Mishap::kShortOnward:
      if (here || (after && state.kind == Mishap::kShortOnward)) point.size /= 2;
      state.ending = here && state.kind == Mishap::kEndAfterPart;
      return false;
  }
  return false;
}

}  // namespace

Mishap::Mishap(Kind kind, int nth) {
  g_State = {};
  g_State.kind = kind;
  g_State.nth = nth;
  g_FaultHook = OnPassage;
}
Mishap::Mishap(Calls calls, int nth) : Mishap(kFail, nth) { g_State.calls = std::move(calls); }
Mishap::~Mishap() { g_FaultHook = nullptr; }
bool Mishap::Happened() const { return g_State.places > 0 && g_State.places >= g_State.nth; }
const std::vector<std::string>& Mishap::Passed() const { return g_State.passed; }

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
