/// \file
/// Files that are written whole or not at all.
#pragma once

#include <string>
#include <string_view>

#include "kelvane/module/export.h"

namespace SatCommonUtils {

/// What may stand at the place of a file that is written.
enum class TE_FilePlace {
  Any,  ///< a regular file too, which is replaced; of a symbolic link the file that it leads to
  Free  ///< nothing
};

/// A file written beside its place, in the same folder under a name that nobody can foresee. It has no other
/// name until it takes its place, and is removed if it never does. A process that is stopped meanwhile may
/// leave one of these, ".kelvane-" and digits, which is in nobody's way.
///
/// Failures are thrown as `TKaMessage`: the path as it was given, and the system's reason.
class KELVANE_API TFileReplacement {
 public:
  /// Writes the file and brings it to the disk. It gets the rights of the one that it will replace, else
  /// those of any new file. Refuses, besides what the system does, a place where something else than a
  /// regular file stands, and a link to no file.
  TFileReplacement(const std::string& path, std::string_view bytes, TE_FilePlace place);
  /// Takes over the file; `other` has nothing to put in place, or to clear away, then.
  TFileReplacement(TFileReplacement&& other) noexcept;
  TFileReplacement& operator=(TFileReplacement&&) = delete;
  ~TFileReplacement();

  /// Called once: takes the place, in one step of the system's. On failure what stands there stays.
  void TakePlace();

  /// The place to be taken, not the temporary name.
  const std::string& Path() const { return path_; }

 private:
  std::string path_;
  std::string target_;
  std::string beside_;  ///< empty when nothing is to be removed any more
  TE_FilePlace place_;
};

}  // namespace SatCommonUtils
