// What a store over the sample schema must do, on a plain picture of its document: written for
// clearness, with no thought of cost. tests/store_model_test.cpp holds the library against it.
//
// A picture is the groups (`Category` elements) of a document in order, each its instances in
// order. It serves for the store, for stand-alone documents that come out of it, and for those that
// go into it.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace test::model {

// Where in its instance a reference stands. The rendering has them in this order: one at most in
// the fields Ref and Link, any number as items of Refs, in Part (the second in the inner Part of
// the first, and so on), and in items of Parts.
enum class Where { kRef, kLink, kRefs, kPart, kParts };

extern const wchar_t* const kNoCategory;  // stands for a missing child `Category`

struct Reference {
  std::wstring category;
  std::wstring id;
  Where where;
};

// What else an instance holds: XML content from a table, which must keep its meaning wherever the
// instance goes. Prefixes in it are bound to `uri`.
struct Dress {
  size_t kind = 0;  // below kDresses; 0 for none
  std::wstring uri;
};
extern const size_t kDresses;

struct Instance {
  std::wstring category;
  std::wstring id;
  std::wstring name;
  std::vector<Reference> references;
  Dress dress = {};
};

using Group = std::vector<Instance>;
using Picture = std::vector<Group>;
using Pair = std::pair<std::wstring, std::wstring>;  // category and id
using IdList = std::vector<std::wstring>;

// The instances that `category` (or "*", any) and `id` name: the first in document order, or none.
// What no path can express finds nothing: an id with an apostrophe, a category that is no name.
const Instance* Find(const Picture& picture, const std::wstring& id, const std::wstring& category);

// The stand-alone document of an instance; nothing if it is not there or no header can name it.
std::optional<Picture> Read(const Picture& store, const std::wstring& id,
                            const std::wstring& category = L"*");

// The operations of the store. `changed` gets the ids as the library appends them.
bool Write(Picture& store, const Picture& document, const std::wstring& id, IdList& changed);
bool Remove(Picture& store, const Picture& document, const std::wstring& id, IdList& changed);
// New ids of a deep copy are place holders that begin with "?", to be renamed.
bool Copy(Picture& store, const std::wstring& source, const std::wstring& target, bool deep,
          IdList& changed);
void Rename(Picture& store, IdList& changed, const std::map<std::wstring, std::wstring>& names);

// References in the order of the rendering, and no more of them than fit.
void Arrange(Instance& instance);
// The content of each group, as XML. Around it the prefix p is bound to `uri`, if to anything, and
// xsi as usual.
std::vector<std::wstring> Render(const Picture& picture, const std::wstring& uri = L"");
// What a text means: names and prefixes in values with their namespaces, no declarations, CDATA as
// text, attributes in order, no white space that is there for the layout. Comments outside of
// instances come after the rest.
std::wstring Canonical(const std::wstring& xml);
std::string Show(const Picture& picture);  // for people: each group in brackets

}  // namespace test::model
