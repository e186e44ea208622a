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
  CCfgObject PartOf(const CCfgObject& parent) const {
    CCfgObject part(sample.option);
    EXPECT_TRUE(parent.GetFieldValue(L"Part", part));
    return part;
  }
  CCfgInstance TargetOf(const CCfgInstance& holder) const {
    CCfgInstance target(sample.option);
    EXPECT_TRUE(holder.GetFieldValue(L"Ref", target));
    return target;
  }
  template <class Array>
  static Array ArrayIn(const CCfgInstance& holder, const wchar_t* field) {
    Array array;
    EXPECT_TRUE(holder.GetFieldValue(field, array));
    return array;
  }

  Sample sample{{}};
};

TEST_F(ReferencesTest, AViewIsPartOfItsDocumentAndOutlivesItsParent) {
  CCfgObject view(sample.option);
  {
    CCfgInstance parent = About(
        L"a", {Item(L"P", L"a", L"<Part><Label>l</Label><Part><Label>i</Label></Part></Part>")});
    view = PartOf(parent);
    ASSERT_TRUE(PartOf(view).SetFieldValue(L"Label", L"changed"));
    EXPECT_NE(XmlOf(parent).find(L"<Label>changed</Label>"), std::wstring::npos);
  }
  EXPECT_TRUE(view.SetFieldValue(L"Label", L"later"));
  EXPECT_EQ(TextOf(view, L"Part/Label"), "changed");
  EXPECT_FALSE(view.SetFieldValue(L"Label", 5)) << "types are checked as in the parent";
}

TEST_F(ReferencesTest, AReplacedElementLivesOnInItsView) {
  CCfgInstance parent = About(L"a", {Item(L"P", L"a", L"<Part><Label>l</Label></Part>")});
  CCfgObject view = PartOf(parent);
  ASSERT_TRUE(parent.SetFieldValue(L"Part", view)) << "by a copy of itself";
  EXPECT_TRUE(view.SetFieldValue(L"Label", L"detached"));
  EXPECT_FALSE(view.SetFieldValue(L"Label", 5)) << "types are checked all the same";
  EXPECT_EQ(TextOf(view, L"Label"), "detached");
  EXPECT_EQ(TextOf(PartOf(parent), L"Label"), "l") << "types are checked at once";
  CCfgInstance whole(sample.option);
  ASSERT_TRUE(whole.Initialize(view.GetRawInterface(), true));
  ASSERT_FALSE(XmlOf(whole).empty()) << "its document is still there";
  EXPECT_EQ(XmlOf(whole).find(L"detached"), std::wstring::npos);
}

// Nobody asked for the element's type while it had its place.
TEST_F(ReferencesTest, AnElementKeepsTheTypeThatItHadWhenItWasCutOut) {
  CCfgInstance parent = About(L"a", {Item(L"P", L"a", L"<Part><Label>l</Label></Part>")});
  CCfgInstance unchecked(sample.option);
  ASSERT_TRUE(unchecked.Initialize(parent.GetRawInterface(), false));
  CCfgObject view = PartOf(unchecked);
  ASSERT_TRUE(unchecked.SetFieldValue(L"Part", CCfgStringArray())) << "the element is replaced";
  ASSERT_TRUE(view.Initialize(view.GetRawInterface(), true));
  EXPECT_TRUE(view.SetFieldValue(L"Label", L"typed"));
  EXPECT_FALSE(view.SetFieldValue(L"Label", 5));
}

TEST_F(ReferencesTest, AnEmbeddedObjectIsCopiedUnderItsOwnName) {
  CCfgInstance source = About(L"b", {Item(L"P", L"b", PartRefTo(L"Q", L"q")), Item(L"Q", L"q")});
  CCfgInstance parent = About(L"a", {Item(L"P", L"a", L"<Part/><Parts><Item/></Parts>")});
  CCfgObject part = PartOf(source);
  ASSERT_TRUE(parent.SetFieldValue(L"Part", part));
  EXPECT_EQ(TextOf(parent, L"Part/Label"), "l");
  EXPECT_EQ(LayoutOf(parent), "[P:a]") << "references in it are not followed";
  ASSERT_TRUE(part.SetFieldValue(L"Label", L"source only"));
  EXPECT_EQ(TextOf(parent, L"Part/Label"), "l");

  CCfgObject item(sample.option);
  ArrayIn<CCfgObjectArray>(parent, L"Parts").GetItem(0, item);
  ASSERT_TRUE(parent.SetFieldValue(L"Part", item)) << "the field takes the object's name";
  EXPECT_EQ(TextOf(parent, L"Part/Label"), "none");
  EXPECT_FALSE(parent.SetFieldValue(L"Plain", part));
  EXPECT_FALSE(parent.SetFieldValue(L"Part", CCfgObject(sample.option))) << "bound to nothing";
}

TEST_F(ReferencesTest, ArraysOfObjectsAreViewsToo) {
  CCfgInstance parent = About(
      L"a", {Item(L"P", L"a", L"<Parts><Item><Label>0</Label></Item><!-- c --><Item/></Parts>")});
  auto items = ArrayIn<CCfgObjectArray>(parent, L"Parts");
  ASSERT_TRUE(parent.GetFieldValue(L"Parts", items)) << "appends";
  ASSERT_EQ(items.GetItemCount(), 4U);
  CCfgObject item(sample.option);
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
  const CCfgInstance target = TargetOf(holder);
  EXPECT_EQ(target.GetCategory(), L"Q");
  EXPECT_EQ(target.GetInstanceId(), L"q");
  EXPECT_EQ(ArrayIn<CCfgInstanceArray>(holder, L"Refs").GetItemCount(), 2U)
      << "what dangles is passed over";

  for (const std::wstring& reference :
       {RefTo(L"Q", L"none"), RefTo(L"R", L"q"), std::wstring(L"<Ref/>"), RefTo(L"x y", L"q"),
        std::wstring(L"<Ref><InstanceId>q</InstanceId></Ref>")}) {
    CCfgInstance other = About(L"a", {Item(L"P", L"a", reference), Item(L"Q", L"q")});
    CCfgInstance kept(target);
    EXPECT_FALSE(other.GetFieldValue(L"Ref", kept)) << Narrow(reference);
    EXPECT_EQ(kept.GetInstanceId(), L"q");
  }
}

TEST_F(ReferencesTest, ANewTargetBringsAllItReaches) {
  const struct {
    const char* what;
    std::vector<std::wstring> field;   // the document about "a"
    std::vector<std::wstring> source;  // that about "t"; empty for the instance of the field's own
    const char* layout;                // afterwards
  } settings[] = {
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
  for (const auto& setting : settings) {
    SCOPED_TRACE(setting.what);
    const bool isOwn = setting.source.empty();
    CCfgInstance holder = About(L"a", setting.field);
    CCfgInstance target = About(L"t", isOwn ? setting.field : setting.source);
    if (isOwn) {
      // The instance "t" as a view in the holder's own document.
      ASSERT_TRUE(holder.SetFieldValue(L"Ref", target));
      target = TargetOf(holder);
    }
    ASSERT_TRUE(holder.SetFieldValue(L"Ref", target));
    EXPECT_EQ(LayoutOf(holder), setting.layout);
    EXPECT_EQ(TextOf(holder, L"Ref/Category") + TextOf(holder, L"Ref/InstanceId"), "Qt");
    EXPECT_NE(TextOf(holder, L"Name"), "theirs");
    TargetOf(holder);
  }
}

TEST_F(ReferencesTest, AReferenceIsNotSetToWhatHasNoId) {
  CCfgInstance holder = About(L"a", {Item(L"P", L"a", RefTo(L"Q", L"q") + L"<Link/><Part/>"),
                                     Item(L"Q", L"q", L"<Name>target</Name>")});
  CCfgInstance noId(sample.option);
  ASSERT_TRUE(noId.Initialize(PartOf(holder).GetRawInterface(), true));
  const CCfgInstance target = TargetOf(holder);
  EXPECT_FALSE(holder.SetFieldValue(L"Ref", noId));
  EXPECT_FALSE(holder.SetFieldValue(L"Ref", CCfgInstance(sample.option)));
  EXPECT_FALSE(holder.SetFieldValue(L"Link", target)) << "the field has no id";
  EXPECT_FALSE(holder.SetFieldValue(L"Refs", target)) << "no such field";
  EXPECT_EQ(LayoutOf(holder), "[P:a][Q:q]");
}

TEST_F(ReferencesTest, AnArrayOfReferencesIsRebuiltUnlessItNamesTheSame) {
  CCfgInstance holder = About(L"a", {Item(L"P", L"a", RefsTo({{L"Q", L"q"}})), Item(L"Q", L"q")});
  auto targets = ArrayIn<CCfgInstanceArray>(holder, L"Refs");
  EXPECT_FALSE(holder.SetFieldValue(L"Refs", targets));
  targets.AddItem(About(L"t", {Item(L"R", L"t", RefTo(L"Q", L"u")), Item(L"Q", L"u")}));
  targets.AddItem(About(L"a", {Item(L"P", L"a")}));
  targets.AddItem(CCfgInstance(sample.option));
  ASSERT_TRUE(holder.SetFieldValue(L"Refs", targets));
  EXPECT_EQ(LayoutOf(holder), "[P:a][Q:q Q:u][R:t]");
  EXPECT_NE(
      XmlOf(holder).find(L"<Refs><Item><Category>Q</Category><InstanceId>q</InstanceId></Item>"
                         L"<Item><Category>R</Category><InstanceId>t</InstanceId></Item>"
                         L"<Item><Category>P</Category><InstanceId>a</InstanceId></Item>"
                         L"<Item><Category/><InstanceId/></Item></Refs>"),
      std::wstring::npos);
  EXPECT_EQ(ArrayIn<CCfgInstanceArray>(holder, L"Refs").GetItemCount(), 3U);
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
  CCfgInstance first(sample.option);
  ArrayIn<CCfgInstanceArray>(holder, L"Refs").GetItem(0, first);
  EXPECT_EQ(TextOf(TargetOf(first), L"Name"), "second");
}

TEST_F(ReferencesTest, TenThousandReferencesAreSetAndRead) {
  constexpr int kCount = 10000;
  CCfgInstance holder = About(L"a", {Item(L"P", L"a", L"<Refs/>")});
  CCfgInstanceArray targets;
  for (int i = 0; i < kCount; ++i)
    targets.AddItem(About(std::to_wstring(i), {Item(L"Q", std::to_wstring(i))}));
  ASSERT_TRUE(holder.SetFieldValue(L"Refs", targets));
  const auto read = ArrayIn<CCfgInstanceArray>(holder, L"Refs");
  EXPECT_EQ(read.GetItemCount(), static_cast<std::size_t>(kCount));
  EXPECT_FALSE(holder.SetFieldValue(L"Refs", read));
}

}  // namespace
