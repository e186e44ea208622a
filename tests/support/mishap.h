// What goes wrong while an operation runs, at the N-th of the places where it can.
//
//   const Mishap mishap(Mishap::kFail, 3);   the third passage through any fault point fails
//   const Mishap mishap({FaultPoint::kRead, "/d/a.xml", EIO}, 3);   that file's third reading fails
//
// Single threads only. The kinds that end the process are for a child: see EndsInChild.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "platform/os/fault_point.h"

namespace test {

using cfgex::internal::FaultPoint;

// How far apart the places are that a sweep goes through.
#ifdef CFGEX_TEST_SAMPLE
constexpr int kStride = 11;
#else
constexpr int kStride = 1;
#endif

class Mishap {
 public:
  enum Kind {
    kNone,           // nothing: passages are counted
    kFail,           // the N-th passage fails
    kFailOnward,     // so does all that comes after it
    kFailOfItsKind,  // so do all later passages through the point that is the N-th
    kShort,          // the N-th write of more than a byte does half of it
    kShortOnward,    // so do all that come after it
    kEnd,            // the process ends before the N-th call on files
    kEndAfterPart,   // it ends when the N-th write has done half of its bytes
  };
  // Calls of the system on the file at `path`, which fail with `error`.
  struct Calls {
    FaultPoint point;
    std::string path;
    int error = 0;
  };
  Mishap(Kind kind, int nth);
  Mishap(Calls calls, int nth);  // all of them if `nth` is 0
  ~Mishap();
  Mishap(const Mishap&) = delete;
  Mishap& operator=(const Mishap&) = delete;

  // Whether there were N places of its kind. Stays true where the process should have ended.
  bool Happened() const;
  // The points that were passed, in order.
  const std::vector<FaultPoint>& Passed() const;
};

// Runs `body` in a child of this process, with the mishap; gives whether the child ended by it.
bool EndsInChild(Mishap::Kind kind, int nth, const std::function<void()>& body);

}  // namespace test
