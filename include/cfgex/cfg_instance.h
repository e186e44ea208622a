/// @file
/// One item of the configuration.
#pragma once

#include "cfgex/cfg_object.h"
#include "cfgex/export.h"

/// An object with an identity: an element in a category, with an `InstanceId`. It is made from the
/// text that CCfgConfigurationEx::GetConfiguration gives, changed field by field in its private
/// document, and stored by handing its text to CCfgConfigurationEx::SetConfiguration.
///
/// All else is as in CCfgObject, whose handle this is.
class CFGEX_API CCfgInstance : public CCfgObject {
 public:
  /// @{
  /// Bound to nothing, or to the instance that the stand-alone document `xml` is about. The second
  /// always completes: a text that CCfgObject::Initialize refuses leaves the instance unbound.
  /// Both raise CCfgExException, -92004, if the state cannot be allocated.
  CCfgInstance(CCfgOption option = *CCfgOption::Instance());
  CCfgInstance(const wchar_t* xml, CCfgOption option = *CCfgOption::Instance());
  /// @}

  /// @{
  /// Another handle of the instance that `other` is one of.
  CCfgInstance(const CCfgInstance& other) = default;
  CCfgInstance& operator=(const CCfgInstance& other) = default;
  /// @}

  /// The last handle gives up the element.
  ~CCfgInstance() override;

  /// The name of the instance's element; empty when unbound.
  OS::x_wstring GetCategory() const;
  /// The text of the field `InstanceId`; empty when it cannot be read as an id.
  OS::x_wstring GetInstanceId() const;
  /// Writes the field `InstanceId` and the header's `instance_id`, and nothing else. False, and
  /// nothing changed, when `id` is null, holds what XML cannot carry, or there is no such field of
  /// the type "InstanceIdType". Whether the schema takes the id shows when the document is
  /// validated.
  /// - References to the old id keep it, in this document and in a store. Here they lead nowhere:
  ///   set them anew.
  /// - Stored under the new id it is a second instance. That with the old id stays in the store
  ///   until it is removed.
  /// - The header names the instance that the document is about. Through an instance that was read
  ///   from a reference, the document becomes one about that instance, and SetConfiguration stores
  ///   that one alone with what it reaches.
  bool SetInstanceId(const wchar_t* id);
  /// The text of the whole document that the instance lives in, without added white space. False,
  /// and `xml` unchanged, when unbound.
  bool GetXml(OS::x_wstring& xml) const;
  /// Writes that document to the file `path`, in UTF-8, without validating it; the file is replaced
  /// as a whole or not at all. False when `path` is null, the instance is unbound or the file
  /// cannot be written.
  bool SaveToFile(const wchar_t* path) const;
};
