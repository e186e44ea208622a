/// @file
/// A category: one kind of configuration item.
#pragma once

#include <vector>

#include "cfgex/cfg_Option.h"
#include "cfgex/cfg_instance.h"
#include "cfgex/cfg_object.h"
#include "cfgex/export.h"
#include "cfgex/os_string.h"

/// Names one element of the schema of which a configuration holds instances, and makes new
/// instances and objects from the schema. It knows no store: a new instance is stored by handing
/// its text to CCfgConfigurationEx::SetConfiguration.
///
/// A handle: copies share the name, and SetCategory through one changes what all of them make.
///
/// Threads: any number of threads may create through handles of their own or through one; a name is
/// not changed meanwhile.
class CFGEX_API CCfgCategory {
 public:
  /// @{
  /// A category without a name, or with one; a null name counts as none. Whether the schema knows
  /// the name shows when something is created. Both raise CCfgExException, -92004, if the state
  /// cannot be allocated.
  CCfgCategory(CCfgOption option = *CCfgOption::Instance());
  CCfgCategory(const wchar_t* category, CCfgOption option = *CCfgOption::Instance());
  /// @}

  /// @{
  /// Another handle of the category that `other` is one of.
  CCfgCategory(const CCfgCategory& other);
  CCfgCategory& operator=(const CCfgCategory& other);
  /// @}

  /// The last handle ends the state.
  virtual ~CCfgCategory();

  /// Makes a new instance from the schema, with a new id, and binds `instance` to it in a document
  /// of its own, which is valid. Required fields hold their default or fixed values, or the empty
  /// text; optional ones are left out. The id is a GUID in braces, or, if the system gives none,
  /// the tick count in at least eight characters.
  ///
  /// False, and `instance` as it was, when
  /// - the category has no name, or a name that the schema does not know,
  /// - the holder is not initialised, or the schema's file cannot be read any more,
  /// - the element has no direct child `InstanceId`,
  /// - what the schema's defaults make is not valid, since a required field has no default that is,
  /// - it has no end, since a required field contains itself.
  ///
  /// False, and `instance` as CCfgObject::Initialize leaves it, when `instance` has another holder
  /// and that does not take the text.
  bool CreateInstance(CCfgInstance& instance);

  /// Makes a fragment and binds `object` to it. False, and `object` as it was, when nothing can be
  /// made.
  /// - The fragment is of the element or type `objectName` that the schema declares below this
  ///   category (also in a type derived from that of an element there), or globally.
  /// - It is made as CreateInstance makes an instance, but has no id and is not validated.
  /// - Field accesses of `object` run without type checks. Reading a field into a CVar is false.
  bool CreateObject(const wchar_t* objectName, CCfgObject& object);

  /// The name; empty when there is none.
  OS::x_wstring GetCategory() const;
  /// Replaces the name; a null one clears it.
  void SetCategory(const wchar_t* category);

  /// False, always; `ids` is left alone. A category knows no store whose instances it could list.
  bool EnumAllInstance(std::vector<OS::x_wstring>& ids);

 private:
  class CFGEX_PRIVATE CImpl;
  void _AddRef();
  void _Free();

  CImpl* m_pImpl;
};
