// What all handle classes have in common: sharing, assignment, the end, the failed allocation.

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "cfgex/cfgex.h"
#include "tests/support/support.h"

namespace {

using namespace test;

template <class Handle>
class HandleTest : public testing::Test {};

using Handles =
    testing::Types<CCfgOption, CCfgConfigurationEx, CCfgCategory, CCfgObject, CCfgInstance,
                   CCfgBooleanArray, CCfgIntegerArray, CCfgUnsignedIntegerArray, CCfgStringArray,
                   CCfgObjectArray, CCfgInstanceArray>;

TYPED_TEST_SUITE(HandleTest, Handles);

// A use after free or a leak in any order of ends is the address sanitizer's to find.
TYPED_TEST(HandleTest, SharesItsStateUntilTheLastOneGoes) {
  std::vector<TypeParam> handles(1);
  handles.push_back(handles.front());
  const TypeParam third(handles.back());
  handles.front() = TypeParam();
  handles.erase(handles.begin());
  TypeParam& self = handles.front();
  const TypeParam& same = self;
  self = same;
  handles.clear();
  TypeParam fourth(third);
  fourth = TypeParam();
  fourth = third;
}

TYPED_TEST(HandleTest, RaisesWhenItsStateCannotBeAllocated) {
  CCfgOption::Instance();  // made by the default arguments otherwise
  const FailCall fail(FaultPoint::kCImpl, 1);
  EXPECT_THROW(TypeParam(), CCfgExException);
}

TEST(SharedHandleTest, CopiesOfAnArrayAreOneList) {
  CCfgIntegerArray a;
  CCfgIntegerArray b;
  b = a;
  b.AddItem(-1);
  EXPECT_EQ(a.GetItem(0), -1);
  a.Empty();
  EXPECT_EQ(b.GetItemCount(), 0U);
}

// The assigned handle is an item of the list that the assignment ends.
TEST(SharedHandleTest, AssignsFromWithinTheStateThatItGivesUp) {
  CCfgObjectArray outer;
  CCfgObject item;
  outer.AddItem(item);
  outer.GetItem(0, item);
  CCfgObject object(item);
  outer = CCfgObjectArray();
  object = item;
  EXPECT_EQ(object.GetRawInterface(), nullptr);
}

}  // namespace
