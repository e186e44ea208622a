// Embedded objects and references: views, copies, and the targets that travel along.

#include <gtest/gtest.h>

#include "tests/support/sample.h"

namespace {

using namespace test;

class ReferencesTest : public testing::Test {
 protected:
  CCfgInstance About(const std::wstring& id, const std::vector<std::wstring>& groups) {
    CCfgInstance instance(Document(id, groups).c_str(), sample.option);
    EXPECT_NE(instance.GetRawInterface(), nullptr) << Narrow(id);
    return instance;
  }
  static std::string LayoutOf(const CCfgInstance& instance) {
    return Sample::Layout(XmlOf(instance));
  }
  CCfgObject Object() const { return CCfgObject(sample.option); }
  CCfgInstance Instance() const { return CCfgInstance(sample.option); }

  Sample sample{{}};
};

TEST_F(ReferencesTest, AViewIsPartOfItsDocumentAndOutlivesItsParent) {
  CCfgObject view = Object();
  CCfgObject inner = Object();
  {
    CCfgInstance parent = About(
        L"a", {Item(L"P", L"a", L"<Part><Label>l</Label><Part><Label>i</Label></Part></Part>")});
    ASSERT_TRUE(parent.GetFieldValue(L"Part", view));
    ASSERT_TRUE(view.GetFieldValue(L"Part", inner));
    ASSERT_TRUE(inner.SetFieldValue(L"Label", L"changed"));
    EXPECT_NE(XmlOf(parent).find(L"<Label>changed</Label>"), std::wstring::npos);
  }
  EXPECT_TRUE(view.SetFieldValue(L"Label", L"later"));
  EXPECT_EQ(TextOf(view, L"Part/Label"), "changed");
  EXPECT_FALSE(view.SetFieldValue(L"Label", 5)) << "types are checked as in the parent";
}

TEST_F(ReferencesTest, AReplacedElementLivesOnInItsView) {
  CCfgInstance parent = About(L"a", {Item(L"P", L"a", L"<Part><Label>l</Label></Part>")});
  CCfgObject view = Object();
  ASSERT_TRUE(parent.GetFieldValue(L"Part", view));
  ASSERT_TRUE(parent.SetFieldValue(L"Part", view)) << "by a copy of itself";
  EXPECT_TRUE(view.SetFieldValue(L"Label", L"detached"));
  EXPECT_FALSE(view.SetFieldValue(L"Label", 5)) << "types are checked all the same";
  EXPECT_EQ(TextOf(view, L"Label"), "detached");
  CCfgObject fresh = Object();
  ASSERT_TRUE(parent.GetFieldValue(L"Part", fresh)) << "checked at once";
  EXPECT_EQ(TextOf(fresh, L"Label"), "l");
  CCfgInstance whole = Instance();
  ASSERT_TRUE(whole.Initialize(view.GetRawInterface(), true));
  ASSERT_FALSE(XmlOf(whole).empty()) << "its document is still there";
  EXPECT_EQ(XmlOf(whole).find(L"detached"), std::wstring::npos);
}

// Nobody asked for the element's type while it had its place.
TEST_F(ReferencesTest, AnElementKeepsTheTypeThatItHadWhenItWasCutOut) {
  CCfgInstance parent = About(L"a", {Item(L"P", L"a", L"<Part><Label>l</Label></Part>")});
  CCfgInstance unchecked = Instance();
  ASSERT_TRUE(unchecked.Initialize(parent.GetRawInterface(), false));
  CCfgObject view = Object();
  ASSERT_TRUE(unchecked.GetFieldValue(L"Part", view));
  ASSERT_TRUE(unchecked.SetFieldValue(L"Part", CCfgStringArray())) << "the element is replaced";
  ASSERT_TRUE(view.Initialize(view.GetRawInterface(), true));
  EXPECT_TRUE(view.SetFieldValue(L"Label", L"typed"));
  EXPECT_FALSE(view.SetFieldValue(L"Label", 5));
}

TEST_F(ReferencesTest, AnEmbeddedObjectIsCopiedUnderItsOwnName) {
  CCfgInstance source = About(L"b", {Item(L"P", L"b", PartRefTo(L"Q", L"q")), Item(L"Q", L"q")});
  CCfgInstance parent = About(L"a", {Item(L"P", L"a", L"<Part/><Parts><Item/></Parts>")});
  CCfgObject part = Object();
  ASSERT_TRUE(source.GetFieldValue(L"Part", part));
  ASSERT_TRUE(parent.SetFieldValue(L"Part", part));
  EXPECT_EQ(TextOf(parent, L"Part/Label"), "l");
  EXPECT_EQ(LayoutOf(parent), "[P:a]") << "references in it are not followed";
  ASSERT_TRUE(part.SetFieldValue(L"Label", L"source only"));
  EXPECT_EQ(TextOf(parent, L"Part/Label"), "l");

  CCfgObjectArray items;
  ASSERT_TRUE(parent.GetFieldValue(L"Parts", items));
  CCfgObject item = Object();
  items.GetItem(0, item);
  ASSERT_TRUE(parent.SetFieldValue(L"Part", item)) << "the field takes the object's name";
  EXPECT_EQ(TextOf(parent, L"Part/Label"), "none");
  EXPECT_FALSE(parent.SetFieldValue(L"Plain", part));
  EXPECT_FALSE(parent.SetFieldValue(L"Part", Object())) << "bound to nothing";
}

TEST_F(ReferencesTest, ArraysOfObjectsAreViewsToo) {
  CCfgInstance parent = About(
      L"a", {Item(L"P", L"a", L"<Parts><Item><Label>0</Label></Item><!-- c --><Item/></Parts>")});
  CCfgObjectArray items;
  ASSERT_TRUE(parent.GetFieldValue(L"Parts", items));
  ASSERT_TRUE(parent.GetFieldValue(L"Parts", items)) << "appends";
  ASSERT_EQ(items.GetItemCount(), 4U);
  CCfgObject item = Object();
  items.GetItem(0, item);
  ASSERT_TRUE(item.SetFieldValue(L"Label", L"x"));
  items.GetItem(2, item);
  EXPECT_EQ(TextOf(item, L"Label"), "x");
  EXPECT_FALSE(parent.SetFieldValue(L"Parts", items)) << "never written";
}

TEST_F(ReferencesTest, AReferenceLeadsToItsTargetInTheDocument) {
  CCfgInstance holder = About(
      L"a",
      {Item(L"P", L"a", RefTo(L"Q", L"q") + RefsTo({{L"Q", L"q"}, {L"Q", L"none"}, {L"P", L"a"}})),
       Item(L"Q", L"q", L"<Name>target</Name>")});
  CCfgInstance target = Instance();
  ASSERT_TRUE(holder.GetFieldValue(L"Ref", target));
  EXPECT_EQ(target.GetCategory(), L"Q");
  EXPECT_EQ(target.GetInstanceId(), L"q");
  CCfgInstanceArray targets;
  ASSERT_TRUE(holder.GetFieldValue(L"Refs", targets));
  EXPECT_EQ(targets.GetItemCount(), 2U) << "what dangles is passed over";

  for (const std::wstring& reference :
       {RefTo(L"Q", L"none"), RefTo(L"R", L"q"), std::wstring(L"<Ref/>"), RefTo(L"x y", L"q"),
        std::wstring(L"<Ref><InstanceId>q</InstanceId></Ref>")}) {
    CCfgInstance other = About(L"a", {Item(L"P", L"a", reference), Item(L"Q", L"q")});
    CCfgInstance kept(target);
    EXPECT_FALSE(other.GetFieldValue(L"Ref", kept)) << Narrow(reference);
    EXPECT_EQ(kept.GetInstanceId(), L"q");
  }
}

struct Setting {
  const char* what;
  std::vector<std::wstring> field;   // the document about "a"
  std::vector<std::wstring> source;  // that about "t"; empty for the instance of the field's own
  const char* layout;                // afterwards
};

TEST_F(ReferencesTest, ANewTargetBringsAllItReaches) {
  const std::vector<Setting> settings = {
      {"from another document",
       {Item(L"P", L"a", RefTo(L"Q", L"q")), Item(L"Q", L"q", RefTo(L"R", L"r")), Item(L"R", L"r")},
       {Item(L"Q", L"t", RefTo(L"R", L"s")), Item(L"R", L"s")},
       "[P:a][Q:q Q:t][][R:s]"},
      {"what the old target referred to goes, even if another field refers to it",
       {Item(L"P", L"a", RefTo(L"Q", L"q") + RefsTo({{L"R", L"r"}})),
        Item(L"Q", L"q", RefTo(L"R", L"r")), Item(L"R", L"r") + Item(L"R", L"x")},
       {Item(L"Q", L"t")},
       "[P:a][Q:q Q:t][R:x]"},
      {"the same target anew: replaced in place, the field as it was",
       {Item(L"P", L"a", RefTo(L"Q", L"t")), Item(L"Q", L"t") + Item(L"Q", L"z")},
       {Item(L"Q", L"t", L"<Name>new</Name>")},
       "[P:a][Q:t Q:z]"},
      {"within the document",
       {Item(L"P", L"a", RefTo(L"Q", L"q")), Item(L"Q", L"q") + Item(L"Q", L"t", RefTo(L"R", L"r")),
        Item(L"R", L"r")},
       {},
       "[P:a][Q:q Q:t][R:r]"},
      {"the old target reaches the holder, which stays",
       {Item(L"P", L"a", RefTo(L"Q", L"q")), Item(L"Q", L"q", RefTo(L"P", L"a"))},
       {Item(L"Q", L"t")},
       "[P:a][Q:q Q:t]"},
      {"the new target reaches the holder, which is not replaced",
       {Item(L"P", L"a", L"<Name>mine</Name>" + RefTo(L"Q", L""))},
       {Item(L"Q", L"t", RefTo(L"P", L"a")), Item(L"P", L"a", L"<Name>theirs</Name>")},
       "[P:a][Q:t]"},
      {"a cycle within the document",
       {Item(L"P", L"a", L"<Name>mine</Name>" + RefTo(L"Q", L"q")),
        Item(L"Q", L"q") + Item(L"Q", L"t", RefTo(L"P", L"a"))},
       {},
       "[P:a][Q:q Q:t]"},
  };
  for (const Setting& setting : settings) {
    CCfgInstance holder = About(L"a", setting.field);
    CCfgInstance target =
        setting.source.empty() ? About(L"t", setting.field) : About(L"t", setting.source);
    if (setting.source.empty()) {
      // The instance "t" as a view in the holder's own document.
      ASSERT_TRUE(holder.SetFieldValue(L"Ref", target));
      ASSERT_TRUE(holder.GetFieldValue(L"Ref", target));
    }
    ASSERT_TRUE(holder.SetFieldValue(L"Ref", target)) << setting.what;
    EXPECT_EQ(LayoutOf(holder), setting.layout) << setting.what;
    EXPECT_EQ(TextOf(holder, L"Ref/Category") + TextOf(holder, L"Ref/InstanceId"), "Qt")
        << setting.what;
    EXPECT_NE(TextOf(holder, L"Name"), "theirs") << setting.what;
    CCfgInstance read = Instance();
    EXPECT_TRUE(holder.GetFieldValue(L"Ref", read)) << setting.what;
  }
}

TEST_F(ReferencesTest, AReferenceIsNotSetToWhatHasNoId) {
  CCfgInstance holder = About(L"a", {Item(L"P", L"a", RefTo(L"Q", L"q") + L"<Link/><Part/>"),
                                     Item(L"Q", L"q", L"<Name>target</Name>")});
  CCfgObject part = Object();
  ASSERT_TRUE(holder.GetFieldValue(L"Part", part));
  CCfgInstance noId = Instance();
  ASSERT_TRUE(noId.Initialize(part.GetRawInterface(), true));
  CCfgInstance target = Instance();
  ASSERT_TRUE(holder.GetFieldValue(L"Ref", target));
  EXPECT_FALSE(holder.SetFieldValue(L"Ref", noId));
  EXPECT_FALSE(holder.SetFieldValue(L"Ref", Instance()));
  EXPECT_FALSE(holder.SetFieldValue(L"Link", target)) << "the field has no id";
  EXPECT_FALSE(holder.SetFieldValue(L"Refs", target)) << "no such field";
  EXPECT_EQ(LayoutOf(holder), "[P:a][Q:q]");
}

TEST_F(ReferencesTest, AnArrayOfReferencesIsRebuiltUnlessItNamesTheSame) {
  CCfgInstance holder = About(L"a", {Item(L"P", L"a", RefsTo({{L"Q", L"q"}})), Item(L"Q", L"q")});
  CCfgInstanceArray targets;
  ASSERT_TRUE(holder.GetFieldValue(L"Refs", targets));
  EXPECT_FALSE(holder.SetFieldValue(L"Refs", targets));
  targets.AddItem(About(L"t", {Item(L"R", L"t", RefTo(L"Q", L"u")), Item(L"Q", L"u")}));
  targets.AddItem(About(L"a", {Item(L"P", L"a")}));
  targets.AddItem(Instance());
  ASSERT_TRUE(holder.SetFieldValue(L"Refs", targets));
  EXPECT_EQ(LayoutOf(holder), "[P:a][Q:q Q:u][R:t]");
  EXPECT_NE(
      XmlOf(holder).find(L"<Refs><Item><Category>Q</Category><InstanceId>q</InstanceId></Item>"
                         L"<Item><Category>R</Category><InstanceId>t</InstanceId></Item>"
                         L"<Item><Category>P</Category><InstanceId>a</InstanceId></Item>"
                         L"<Item><Category/><InstanceId/></Item></Refs>"),
      std::wstring::npos);
  CCfgInstanceArray read;
  ASSERT_TRUE(holder.GetFieldValue(L"Refs", read));
  EXPECT_EQ(read.GetItemCount(), 3U);
  ASSERT_TRUE(holder.SetFieldValue(L"Refs", CCfgInstanceArray()));
  EXPECT_EQ(LayoutOf(holder), "[P:a][Q:q Q:u][R:t]") << "nothing is removed";
  EXPECT_FALSE(holder.SetFieldValue(L"Refs", CCfgInstanceArray())) << "both empty";
  EXPECT_FALSE(holder.SetFieldValue(L"Ref", targets)) << "no such field";
}

// Of an instance that several sources hold, the last one's form stays, whatever brought it in.
TEST_F(ReferencesTest, TheLastSourceOfAnArrayWins) {
  CCfgInstance holder = About(L"a", {Item(L"P", L"a", L"<Refs/>")});
  const auto source = [&](const std::wstring& id, const std::wstring& name) {
    return About(id, {Item(L"Q", id, id == L"2" ? L"" : RefTo(L"R", L"r")),
                      Item(L"R", L"r", L"<Name>" + name + L"</Name>")});
  };
  CCfgInstanceArray targets;
  targets.AddItem(source(L"1", L"first"));
  targets.AddItem(source(L"2", L"second"));
  ASSERT_TRUE(holder.SetFieldValue(L"Refs", targets));
  EXPECT_EQ(LayoutOf(holder), "[P:a][Q:1 Q:2][R:r]");
  CCfgInstanceArray read;
  ASSERT_TRUE(holder.GetFieldValue(L"Refs", read));
  CCfgInstance first = Instance();
  CCfgInstance reached = Instance();
  read.GetItem(0, first);
  ASSERT_TRUE(first.GetFieldValue(L"Ref", reached));
  EXPECT_EQ(TextOf(reached, L"Name"), "second");
}

TEST_F(ReferencesTest, TenThousandReferencesAreSetAndRead) {
  constexpr int kCount = 10000;
  CCfgInstance holder = About(L"a", {Item(L"P", L"a", L"<Refs/>")});
  CCfgInstanceArray targets;
  for (int i = 0; i < kCount; ++i)
    targets.AddItem(About(std::to_wstring(i), {Item(L"Q", std::to_wstring(i))}));
  ASSERT_TRUE(holder.SetFieldValue(L"Refs", targets));
  CCfgInstanceArray read;
  ASSERT_TRUE(holder.GetFieldValue(L"Refs", read));
  EXPECT_EQ(read.GetItemCount(), static_cast<std::size_t>(kCount));
  EXPECT_FALSE(holder.SetFieldValue(L"Refs", read));
}

}  // namespace
