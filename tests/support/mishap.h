// What goes wrong while an operation runs, at the N-th of the places where it can.
//
//   const Mishap mishap(Mishap::kFail, 3);   the third passage through any fault point fails
//   const Mishap mishap(Mishap::kFail, 3, {{FaultPoint::kRead, "/a.xml", EIO}});   the third
//   reading
//                                                          of a file whose path ends so fails
//   const FailCall fail(FaultPoint::kRead, 3);   the third reading of any file fails
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
constexpr int kStride = 29;
#else
constexpr int kStride = 1;
#endif

class Mishap {
 public:
  enum Kind {
    kNone,           // nothing: passages are counted and listed
    kFail,           // the N-th passage fails
    kFailOnward,     // so does all that comes after it
    kFailOfItsKind,  // so do all later passages through the point that is the N-th
    kShort,          // the N-th write of more than a byte does half of it
    kShortOnward,    // so do all that come after it
    kEnd,            // the process ends before the N-th call on files
    kEndAfterPart,   // it ends when the N-th write has done half of its bytes
  };
  // Passages through one point, where `error` is to be the reason of the failure. Calls on files
  // count only if the path ends with `path`.
  struct Calls {
    FaultPoint point;
    std::string path = {};
    int error = 0;
  };
  // Goes by these calls alone if there are any.
  Mishap(Kind kind, int nth, const std::vector<Calls>& calls = {});
  ~Mishap();
  Mishap(const Mishap&) = delete;
  Mishap& operator=(const Mishap&) = delete;

  // Whether there were N places of its kind. Stays true where the process should have ended.
  bool Happened() const;
  int Passed() const;  // the places so far, the N-th included
  // The points that were passed with kNone, in order.
  const std::vector<FaultPoint>& Points() const;
};

// Fails the `nth` passage through one point (from 1; 0 for none), or all from there on.
struct FailCall : Mishap {
  FailCall(FaultPoint point, int nth, bool onward = false)
      : Mishap(onward ? kFailOnward : kFail, nth, {{point}}) {}
};

// Runs `body` in a child of this process, with the mishap; gives whether the child ended by it.
bool EndsInChild(Mishap::Kind kind, int nth, const std::function<void()>& body);

}  // namespace test
