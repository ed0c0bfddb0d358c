#include "kelvane/numeric/polynomial.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

#include "kelvane/module/host/ini.h"
#include "kelvane/module/host/string_tree.h"
#include "kelvane/module/host/text.h"
#include "kelvane/module/ini_sections.h"
#include "kelvane/numeric/rounded.h"
#include "kelvane/numeric/split.h"

namespace SatCommonUtils {

namespace {

constexpr const char* Delimiters = "();,";
constexpr const char* OrderKey = "PolynomeOrder";
constexpr const char* CoefsSection = "PolynomeCoefs";

/// Stands above the highest coefficient of the shorter of two polynomials.
double CoefOrZero(const std::vector<double>& coefs, std::size_t i) {
  return i < coefs.size() ? coefs[i] : 0.0;
}

/// Reads the two items of the current section; false, or an exception, when anything is missing or no number.
bool ReadItems(TKaXIniReader* reader, std::vector<double>* coefs) {
  const int order = reader->ReadE<int>(reader->FindFE(OrderKey, 0));
  return ReadSection(reader, CoefsSection, [&] {
    // Grows with what is there: the order in a damaged file claims any amount of memory.
    for (int i = 0; i <= order; ++i) {
      coefs->push_back(reader->ReadE<double>(reader->FindFE(std::to_string(i), 0)));
    }
    return !coefs->empty();
  });
}

bool WriteCoefs(TKaXIniWriter* writer, const std::vector<double>& coefs) {
  return WriteSection(writer, CoefsSection, [&] {
    for (std::size_t i = 0; i < coefs.size(); ++i) {
      if (!writer->WriteS<double>(std::to_string(i), coefs[i])) return false;
    }
    return true;
  });
}

}  // namespace

TPolynome::TPolynome(int order, const double* coefs) {
  if (order < 0) throw "TPolynome::TPolynome(int, const double*)";
  Reset(order);
  if (coefs != nullptr) std::copy_n(coefs, coefs_.size(), coefs_.begin());
}

TPolynome::TPolynome(const TVector& src) : coefs_(src.data, src.data + src.size) {
  if (coefs_.empty()) throw "TPolynome::TPolynome(const TVector& src)";
}

TPolynome::TPolynome(const std::vector<double>& src) : coefs_(src) {
  if (src.empty()) throw "TPolynome::TPolynome(const vector<double>& src)";
}

TPolynome::TPolynome(const std::string& text) { Initialize(text); }

TPolynome::TPolynome(TStringTree* src, int tag) : coefs_(static_cast<std::size_t>(src->Count(tag))) {
  int index = 0;
  for (double& coef : coefs_) {
    if (!src->GetDouble(tag, index++, &coef)) throw "TPolynome::TPolynome(TStringTree *src, int tag)";
  }
}

void TPolynome::Reset(int new_order) {
  coefs_.clear();
  if (new_order < 0) throw "void TPolynome::Reset(int new_order)";
  coefs_.resize(static_cast<std::size_t>(new_order) + 1);
}

bool TPolynome::Initialize(int order, const double* coefs) try {
  Reset(order);
  if (coefs != nullptr) std::copy_n(coefs, coefs_.size(), coefs_.begin());
  return true;
} catch (...) {
  return false;
}

bool TPolynome::Initialize(const std::string& text) {
  Reset(0);
  const std::size_t count = Split(text.c_str(), Delimiters, nullptr, 0, true);
  if (count == 0) return false;
  coefs_.resize(count);
  Split(text.c_str(), Delimiters, coefs_.data(), count, true);
  return true;
}

bool TPolynome::Initialize(const std::vector<double>& src, bool reverse) {
  if (src.empty()) return false;
  coefs_ = src;
  if (reverse) std::reverse(coefs_.begin(), coefs_.end());
  return true;
}

std::string TPolynome::GetCoefsString() const {
  std::string text = "(";
  for (std::size_t i = coefs_.size(); i-- > 0;) {
    text += Tessarin::ssprintf("%.20lg", coefs_[i]);
    if (i > 0) text += ';';
  }
  return text + ')';
}

double* TPolynome::GetCoefs(int& count) const {
  count = Order() + 1;
  double* const coefs = new double[coefs_.size()];
  std::copy(coefs_.begin(), coefs_.end(), coefs);
  return coefs;
}

int TPolynome::GetCoefs(double* dst, int size) const {
  if (size <= Order()) return 0;
  std::fill(std::copy(coefs_.begin(), coefs_.end(), dst), dst + size, 0.0);
  return Order() + 1;
}

double TPolynome::GetValue(double x) const {
  if (coefs_.empty()) return 0.0;
  double value = coefs_[0];
  double power = 1.0;
  for (std::size_t i = 1; i < coefs_.size(); ++i) {
    power *= x;
    value += coefs_[i] * power;
  }
  return value;
}

TPolynome TPolynome::Derivative() const {
  TPolynome derivative(*this);
  derivative.coefs_.clear();
  for (std::size_t i = 1; i < coefs_.size(); ++i) {
    derivative.coefs_.push_back(static_cast<double>(i) * coefs_[i]);
  }
  return derivative;
}

TPolynome TPolynome::operator-() const {
  TPolynome negative(*this);
  for (double& coef : negative.coefs_) coef = -coef;
  return negative;
}

TPolynome& TPolynome::operator*=(double factor) {
  for (double& coef : coefs_) coef *= factor;
  return *this;
}

TPolynome& TPolynome::operator/=(double divisor) {
  for (double& coef : coefs_) coef /= divisor;
  return *this;
}

TPolynome& TPolynome::operator+=(const TPolynome& other) {
  coefs_.resize(std::max(coefs_.size(), other.coefs_.size()));
  for (std::size_t i = 0; i < other.coefs_.size(); ++i) coefs_[i] += other.coefs_[i];
  return *this;
}

TPolynome& TPolynome::operator-=(const TPolynome& other) {
  coefs_.resize(std::max(coefs_.size(), other.coefs_.size()));
  for (std::size_t i = 0; i < other.coefs_.size(); ++i) coefs_[i] -= other.coefs_[i];
  return *this;
}

bool TPolynome::operator==(const TPolynome& other) const { return coefs_ == other.coefs_; }

bool TPolynome::ApproximatelyEqual(const TPolynome& other, const double& tol) const {
  const std::size_t count = std::max(coefs_.size(), other.coefs_.size());
  for (std::size_t i = 0; i < count; ++i) {
    if (!(std::fabs(CoefOrZero(coefs_, i) - CoefOrZero(other.coefs_, i)) < tol)) return false;
  }
  return true;
}

bool TPolynome::IsNull() const {
  return std::all_of(coefs_.begin(), coefs_.end(), [](double coef) { return coef == 0.0; });
}

void TPolynome::Optimize() {
  while (coefs_.size() > 1 && coefs_.back() == 0.0) coefs_.pop_back();
  coefs_.shrink_to_fit();
}

bool TPolynome::WriteToTree(TStringTree* tree, int tag, std::string name) const {
  int index = 0;
  for (const double& coef : coefs_) {
    if (!tree->InsertDouble(name + std::to_string(index), tag, index, coef)) return false;
    ++index;
  }
  return true;
}

bool TPolynome::InitializeFromXML(TKaXIniReader* reader, std::string key) try {
  std::vector<double> coefs;
  if (!ReadSection(reader, key, [&] { return ReadItems(reader, &coefs); })) return false;
  coefs_ = std::move(coefs);
  return true;
} catch (...) {
  return false;
}

bool TPolynome::SaveToXML(TKaXIniWriter* writer, std::string key) const try {
  return WriteSection(writer, key,
                      [&] { return writer->WriteS<int>(OrderKey, Order()) && WriteCoefs(writer, coefs_); });
} catch (...) {
  return false;
}

void LinearSubstitution(TPolynome* p, double a, double b, TPolynome* result) {
  const std::vector<double>& coefs = p->coefs_;
  std::vector<double> composed;
  for (std::size_t k = 0; k < coefs.size(); ++k) {
    double binomial = 1.0;
    double sum = 0.0;
    for (std::size_t i = k; i < coefs.size(); ++i) {
      sum += binomial * rounded::pow(b, static_cast<double>(i - k)) * coefs[i];
      binomial = binomial * static_cast<double>(i + 1) / static_cast<double>(i + 1 - k);
    }
    composed.push_back(rounded::pow(a, static_cast<double>(k)) * sum);
  }
  result->coefs_ = std::move(composed);
}

}  // namespace SatCommonUtils
