#include "kelvane/module/host/string_tree.h"

#include <iterator>
#include <limits>

namespace SatCommonUtils {

TStringTree::~TStringTree() = default;

bool TStringTree::InsertDouble(std::string name, int tag, int index, const double& value) {
  if (index < 0) return false;
  entries_.insert_or_assign({tag, index}, TEntry{std::move(name), value});
  return true;
}

bool TStringTree::GetDouble(int tag, int index, double* value) const {
  const auto found = entries_.find({tag, index});
  if (found == entries_.end()) return false;
  *value = found->second.Value;
  return true;
}

std::string TStringTree::GetName(int tag, int index) const {
  const auto found = entries_.find({tag, index});
  return found == entries_.end() ? std::string() : found->second.Name;
}

int TStringTree::Count(int tag) const {
  const auto first = entries_.lower_bound({tag, 0});
  const auto end = entries_.upper_bound({tag, std::numeric_limits<int>::max()});
  return static_cast<int>(std::distance(first, end));
}

}  // namespace SatCommonUtils
