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
/// Beside the main file (say main.xml) are its companions:
/// - main.backup.xml, the last main file known to be valid,
/// - main.tmp.xml, the main file before the last tenth commit,
/// - main.N.bad, copies of what failed validation.
///
/// Their names are the path up to its last dot, with the new ending. So the path needs a dot, and
/// the longest name must have less than 260 characters. Otherwise the store works without
/// companions. Of a longer path the first 259 characters count.
///
/// A handle: copies share one store. When the last one goes, the backup is refreshed from the main
/// file. If another program has written that file, it is read and validated first. If the document
/// in memory has become invalid, it is written to a bad file instead.
///
/// Threads: any thread may call any operation through its own copy of the handle. A recursive lock
/// runs the operations one at a time, readers too. Nothing guards the files against another process
/// or a second store on the same path.
///
/// Lack of memory raises std::bad_alloc, and no file is judged by it: none is put aside, restored
/// or refreshed as a backup. If memory runs out in the middle of a change, the store drops its
/// document and holds nothing until the next Initialize. The file stays as it was.
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

  /// Loads the configuration file `path`. Its root must be `Configuration`, and its text must be
  /// valid against the schema. True when a configuration is loaded.
  /// - A null `path` gives false and changes nothing. Otherwise a configuration loaded before is
  ///   dropped first.
  /// - A file that is no such text is put aside as a bad file. The backup takes its place, and
  ///   loading is tried once more. A file that cannot be put aside stays.
  /// - A file that cannot be read (its permissions, no descriptor, an I/O error; a directory, a
  ///   symbolic link that leads nowhere) is not judged: the result is false, and no file is
  ///   touched.
  /// - A relative path counts from the working directory of each moment, in later operations too.
  bool Initialize(const wchar_t* path);

  /// @{
  /// The stand-alone document of the instance with the id `instanceId`, in any category or in
  /// `category`; the first in document order if several have it. False when
  /// - an argument is null, nothing is loaded, or there is no such instance,
  /// - the id holds a character that a header cannot carry (', ", & or <),
  /// - the finished document does not validate.
  ///
  /// In the last case `xml` is emptied. Otherwise it is unchanged after false and after
  /// std::bad_alloc.
  bool GetConfiguration(const wchar_t* instanceId, OS::x_wstring& xml);
  bool GetConfiguration(const wchar_t* instanceId, const wchar_t* category, OS::x_wstring& xml);
  /// @}

  /// Stores the instance that the stand-alone document `xml` is about, with all that it reaches by
  /// references, and saves the file.
  /// - The instance replaces the stored one with its id, or is inserted.
  /// - What the stored form reached leaves the store, whoever else refers to it, unless the new
  ///   form brings it back. So a text that is older than the store takes things away:
  ///   docs/shared-instances.md.
  ///
  /// True when the change is in memory and the whole document is valid. This includes a failed
  /// save: the next successful commit saves this change with its own.
  ///
  /// False, and nothing changed, when
  /// - `xml` is null, not well-formed or invalid, or its `instance_id` names no instance in it,
  /// - nothing is loaded.
  ///
  /// False, and the change stays in memory but not on disk, when the document as a whole is no
  /// longer valid. Commits go on failing until a change makes it valid again.
  ///
  /// `changedIds` gets the id itself, then the ids that the old form reached, then those that the
  /// new one reaches. Each group is ordered by category name and leaves out what the vector holds
  /// already. The vector is unchanged after a false that changed nothing. `reservedIds` is neither
  /// read nor written.
  bool SetConfiguration(const wchar_t* xml, std::vector<OS::x_wstring>* changedIds,
                        std::vector<OS::x_wstring>* reservedIds);

  /// Removes the stored instance that the stand-alone document `xml` is about, and saves the file.
  /// - Only the `instance_id` of `xml` counts, not its fields.
  /// - All that the stored form reaches by references leaves the store too, whoever else refers to
  ///   it. docs/shared-instances.md says how to keep what others need.
  /// - References from elsewhere stay and lead nowhere.
  ///
  /// True when it is done and saved. False, and nothing changed, when
  /// - `xml` is null, not well-formed or invalid,
  /// - its `instance_id` names no instance in it or in the store.
  ///
  /// False, and the removal stays in memory but not on disk, when the document as a whole is no
  /// longer valid. Raises _com_error when
  /// - nothing is loaded and `xml` is good,
  /// - the file cannot be saved: the removal stays in memory, and the next successful commit saves
  ///   it with its own change.
  ///
  /// `changedIds` gets the id itself, then those that it reached, ordered by category name and
  /// without what the vector holds already. The vector is unchanged after a false that changed
  /// nothing.
  bool RemoveConfiguration(const wchar_t* xml, std::vector<OS::x_wstring>* changedIds);

  /// Makes the stored instance `targetId` a copy of the stored instance `sourceId` of the same
  /// category, and saves the file.
  /// - The target keeps its id and nothing else, and moves to the end of its category.
  /// - What its old form reached leaves the store as in RemoveConfiguration.
  ///
  /// A shallow copy:
  /// - It refers to what the source refers to.
  /// - If the old form reached the source, the source stays, with all that it reaches.
  /// - What else the two share, the copy brings back.
  ///
  /// A deep copy:
  /// - It refers to copies of what the source refers to, made at every depth under new ids. Each
  ///   instance is copied once, however many references lead to it.
  /// - References back to the source lead to the target.
  /// - A reference that leads nowhere gets a new default instance of its category, if the schema
  ///   makes one.
  /// - The source stays, with all that it reaches, unless the ids are equal.
  ///
  /// True when the copy is in memory, the document is valid and the file is saved. False, and
  /// nothing changed, when
  /// - an id is null or names no stored instance, or nothing is loaded,
  /// - the categories differ,
  /// - the stand-alone document of either is not valid,
  /// - `reservedIds`, which is reserved, is not null.
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
