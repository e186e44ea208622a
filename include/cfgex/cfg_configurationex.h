/// @file
/// The store: one configuration file, always valid against the schema.
#pragma once

#include <vector>

#include "cfgex/cfg_Option.h"
#include "cfgex/export.h"
#include "cfgex/os_string.h"

/// Holds one configuration file as a document in memory. Instances leave and enter it as
/// stand-alone documents: the text of a `Configuration` element that carries the id of the instance
/// that it is about, the instance itself and everything that the instance reaches by references.
/// Nothing reaches the file unless the whole document has passed validation.
///
/// Beside the main file (say main.xml) stand main.backup.xml, the last main file known to be valid;
/// main.tmp.xml, the main file as it stood before every tenth commit; and main.N.bad, copies of
/// what failed validation. The names are the path up to its last dot with the new ending, so they
/// need a dot in the path and a stem that leaves the longest name below 260 characters; without
/// them the store works and has no companions. Of a longer path the first 259 characters count.
///
/// A handle: copies share one store. The last one to go refreshes the backup from the main file,
/// which it reads and validates first if another program has written it, or writes the document in
/// memory to a bad file if it has become invalid.
///
/// Threads: any thread may call any operation through its own copy of the handle; a recursive lock
/// runs them one at a time, readers too. Nothing guards the files against another process or a
/// second store on the same path.
///
/// Want of memory raises std::bad_alloc and is no verdict on any file: none is quarantined,
/// restored or refreshed as a backup. If it comes in the middle of a change, the store drops its
/// document and holds nothing until the next Initialize; the file stays as it was.
///
/// Optional vectors of ids may be null; they are appended to and never cleared.
class CFGEX_API CCfgConfigurationEx {
 public:
  /// A store without a configuration, for the schema of `option`; the process-wide holder by
  /// default. Raises CCfgExException, -92004, if it cannot be allocated.
  CCfgConfigurationEx(CCfgOption& option = *CCfgOption::Instance());
  /// @{
  /// Another handle of the store that `other` is one of.
  CCfgConfigurationEx(const CCfgConfigurationEx& other);
  CCfgConfigurationEx& operator=(const CCfgConfigurationEx& other);
  /// @}

  /// The last handle ends the store: the backup is refreshed, or a bad file written. Raises
  /// nothing: what cannot be written is not.
  virtual ~CCfgConfigurationEx();

  /// Loads the configuration file `path`, whose root must be `Configuration` and whose text must be
  /// valid against the schema. If it is not, the file is put aside as a bad file, the backup is put
  /// in its place, and loading is tried once more; a file that cannot be put aside stays. A file
  /// that cannot be read (its permissions, no descriptor, an I/O error; a directory, a symbolic
  /// link that leads nowhere) is not judged: the result is false, and no file is touched. True when
  /// a configuration is loaded. A configuration loaded before is dropped first, except when `path`
  /// is null: that gives false and changes nothing. A relative path counts from the working
  /// directory at each later operation, too.
  bool Initialize(const wchar_t* path);

  /// @{
  /// The stand-alone document of the instance with the id `instanceId`, in any category or in
  /// `category`; the first in document order if several have it. False when an argument is null,
  /// nothing is loaded, there is no such instance, the id holds a character that a header cannot
  /// carry (', ", & or <), or the finished document does not validate. `xml` is left alone, also
  /// when std::bad_alloc is raised, except in the last case: then it is emptied.
  bool GetConfiguration(const wchar_t* instanceId, OS::x_wstring& xml);
  bool GetConfiguration(const wchar_t* instanceId, const wchar_t* category, OS::x_wstring& xml);
  /// @}

  /// Stores the instance that the stand-alone document `xml` is about, with all that it reaches by
  /// references: it replaces the stored instance with its id, or is inserted. What the stored form
  /// reached leaves the store, whoever else refers to it, unless the new form brings it back. So a
  /// text that is older than the store takes things away: docs/shared-instances.md. The file is
  /// saved.
  ///
  /// True when the change stands in memory and the whole document is valid; also when only the save
  /// failed: the next successful commit saves this change with its own. False, and nothing
  /// changed, when `xml` is null, no well-formed text, invalid, or its `instance_id` names no
  /// instance in it, or when nothing is loaded. False, and the change stays in memory but not on
  /// disk, when the document as a whole is no longer valid; commits go on failing until a change
  /// makes it valid again.
  ///
  /// `changedIds` gets the id itself, then the ids that the old form reached, then those that the
  /// new one reaches, each group by category name and without repeating what the vector holds. It
  /// is unchanged after a false that changed nothing. `reservedIds` is neither read nor written.
  bool SetConfiguration(const wchar_t* xml, std::vector<OS::x_wstring>* changedIds,
                        std::vector<OS::x_wstring>* reservedIds);

  /// Removes the stored instance with the id that the stand-alone document `xml` is about, and all
  /// that the stored form reaches by references, whoever else refers to it; the fields in `xml` do
  /// not count. References from elsewhere stay and lead nowhere; docs/shared-instances.md says how
  /// to keep what others need. The file is saved.
  ///
  /// True when it is done and saved. False, and nothing changed, when `xml` is null, no well-formed
  /// text or invalid, or when its `instance_id` names no instance in it or in the store. False, and
  /// the removal stays in memory but not on disk, when the document as a whole is no longer valid.
  /// Raises _com_error when nothing is loaded and `xml` is good, and when the file cannot be saved:
  /// the removal then stays in memory, and the next successful commit saves it with its own change.
  ///
  /// `changedIds` gets the id itself, then those that it reached, by category name and without
  /// repeating what the vector holds. It is unchanged after a false that changed nothing.
  bool RemoveConfiguration(const wchar_t* xml, std::vector<OS::x_wstring>* changedIds);

  /// Makes the stored instance `targetId` a copy of the stored instance `sourceId` of the same
  /// category, and saves the file.
  /// - The target keeps its id and nothing else, and moves to the end of its category.
  /// - What its old form reached leaves the store as in RemoveConfiguration.
  /// - The source stays, with all that it reaches: in a deep copy always, unless the ids are equal;
  ///   in a shallow one if the old form reached the source. What else the two share, the shallow
  ///   copy brings back.
  /// - A shallow copy refers to what the source refers to.
  /// - A deep copy refers to copies of that, made at every depth under new ids: one copy of each
  ///   instance, however many references lead to it. References back to the source lead to the
  ///   target. A reference that leads nowhere gets a new default instance of its category, if the
  ///   schema makes one.
  ///
  /// True when the copy stands in memory, the document is valid and the file is saved. False, and
  /// nothing changed, when
  /// - an id is null or names no stored instance, or nothing is loaded,
  /// - the categories differ,
  /// - the stand-alone document of either is not valid,
  /// - `reservedIds` is not null: it is reserved and must be.
  ///
  /// False, and the target is gone from memory or changed there but not on disk, when the document
  /// with the copy is not valid. Raises _com_error when the file cannot be saved, as
  /// RemoveConfiguration does.
  ///
  /// `changedIds` gets `targetId`, then what the copy reaches. It is unchanged after a false that
  /// changed nothing.
  bool CopyConfiguration(const wchar_t* sourceId, const wchar_t* targetId, bool deep,
                         std::vector<OS::x_wstring>* changedIds,
                         std::vector<OS::x_wstring>* reservedIds);

 private:
  class CFGEX_PRIVATE CImpl;
  void _AddRef();
  void _Free();

  CImpl* m_pImpl;
};
