/// \file
/// The host's tree of named numeric entries.
#pragma once

#include <map>
#include <string>
#include <utility>

#include "kelvane/module/export.h"

namespace SatCommonUtils {

/// Named numbers, each found by a tag (what the record is) and an index (which of its numbers).
class KELVANE_HOST_API TStringTree {
 public:
  virtual ~TStringTree();

  /// Stores a number under its name, tag and index, replacing one that stood there. False, and nothing is
  /// stored, for a negative index.
  virtual bool InsertDouble(std::string name, int tag, int index, const double& value);
  /// Reads the number at tag and index; false, `*value` unchanged, when there is none.
  virtual bool GetDouble(int tag, int index, double* value) const;
  /// The name given to the number at tag and index; empty when there is none.
  virtual std::string GetName(int tag, int index) const;
  /// How many numbers carry the tag.
  virtual int Count(int tag) const;

 private:
  struct TEntry {
    std::string Name;
    double Value;
  };
  std::map<std::pair<int, int>, TEntry> entries_;
};

}  // namespace SatCommonUtils
