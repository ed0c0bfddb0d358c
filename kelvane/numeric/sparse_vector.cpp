#include "kelvane/numeric/sparse_vector.h"

#include <iterator>
#include <limits>
#include <stdexcept>
#include <utility>

#include "kelvane/numeric/split.h"
#include "kelvane/numeric/vector.h"

namespace SatCommonUtils {

namespace {

using TElements = std::map<std::size_t, double>;

/// Appends a range of elements with their indices put up by `shift`, which wraps around to put them down.
void Append(TElements::const_iterator begin, TElements::const_iterator end, std::size_t shift,
            TElements* elements) {
  for (; begin != end; ++begin) elements->emplace_hint(elements->end(), begin->first + shift, begin->second);
}

}  // namespace

TSparseVector::TSparseVector(std::size_t size, std::size_t pos) : size_(size) {
  if (pos >= size) throw std::runtime_error("TSparseVector::TSparseVector(size_t size, size_t pos)");
  elements_.emplace(pos, 1.0);
}

TSparseVector::TSparseVector(std::size_t size, double* values) : size_(size) {
  for (std::size_t i = 0; i < size; ++i) {
    if (values[i] != 0.0) elements_.emplace_hint(elements_.end(), i, values[i]);
  }
}

TSparseVector::TSparseVector(const std::string& text) {
  TVector values(Split(text.c_str(), VectorDelimiters, nullptr, 0, false));
  Split(text.c_str(), VectorDelimiters, values.data, values.size, false);
  *this = TSparseVector(values.size, values.data);
}

void TSparseVector::Swap(TSparseVector* other) noexcept {
  std::swap(size_, other->size_);
  elements_.swap(other->elements_);
}

TSparseVector& TSparseVector::operator=(TSparseVector&& other) noexcept {
  TSparseVector taken(std::move(other));
  Swap(&taken);
  return *this;
}

void TSparseVector::Reset(std::size_t size) {
  elements_.clear();
  size_ = size;
}

void TSparseVector::Resize(std::size_t size) {
  elements_.erase(elements_.lower_bound(size), elements_.end());
  size_ = size;
}

void TSparseVector::Require(std::size_t index) const {
  if (index >= size_) throw std::runtime_error("double& TSparseVector::operator[](size_t index)");
}

double& TSparseVector::operator[](std::size_t index) {
  Require(index);
  return elements_[index];
}

double TSparseVector::operator()(std::size_t index) const {
  Require(index);
  const auto found = elements_.find(index);
  return found == elements_.end() ? 0.0 : found->second;
}

TSparseVector TSparseVector::operator-() const {
  TSparseVector result(*this);
  for (auto& element : result.elements_) element.second = -element.second;
  return result;
}

TSparseVector& TSparseVector::operator+=(const double& value) {
  const double kept = value;
  for (auto& element : elements_) element.second += kept;
  return *this;
}

TSparseVector& TSparseVector::operator-=(const double& value) {
  const double kept = value;
  for (auto& element : elements_) element.second -= kept;
  return *this;
}

TSparseVector& TSparseVector::operator*=(const double& value) {
  const double kept = value;
  for (auto& element : elements_) element.second *= kept;
  return *this;
}

TSparseVector& TSparseVector::operator/=(const double& value) {
  const double kept = value;
  for (auto& element : elements_) element.second /= kept;
  return *this;
}

void TSparseVector::Compress() {
  for (auto element = elements_.begin(); element != elements_.end();) {
    element = element->second == 0.0 ? elements_.erase(element) : std::next(element);
  }
}

TSparseVector TSparseVector::GetSubVector(std::size_t first_pos, std::size_t length) const {
  TSparseVector result(length);
  if (length == 0) return result;
  // The sum of the two may be more than an index can hold.
  if (length > size_ || first_pos > size_ - length) {
    throw std::runtime_error(
        "TSparseVector TSparseVector::GetSubVector(size_t first_pos, size_t length) const");
  }
  Append(elements_.lower_bound(first_pos), elements_.lower_bound(first_pos + length), 0 - first_pos,
         &result.elements_);
  return result;
}

void TSparseVector::InsertSubVector(std::size_t begin_pos, const TSparseVector& what) {
  if (begin_pos > size_ || what.size_ > std::numeric_limits<std::size_t>::max() - size_) {
    throw std::runtime_error(
        "void TSparseVector::InsertSubVector(size_t begin_pos, const TSparseVector& what)");
  }
  TSparseVector result(size_ + what.size_);
  const auto moved = elements_.lower_bound(begin_pos);
  Append(elements_.begin(), moved, 0, &result.elements_);
  Append(what.elements_.begin(), what.elements_.end(), begin_pos, &result.elements_);
  Append(moved, elements_.end(), what.size_, &result.elements_);
  result.Compress();
  *this = std::move(result);
}

}  // namespace SatCommonUtils
