#include "kelvane/numeric/vector.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <new>
#include <stdexcept>
#include <utility>

#include "kelvane/module/c_numeric_locale.h"
#include "kelvane/module/host/ini.h"
#include "kelvane/module/host/message.h"
#include "kelvane/module/host/runtime.h"
#include "kelvane/numeric/split.h"

namespace SatCommonUtils {

namespace {

using TElements = std::unique_ptr<double[]>;

TElements Zeros(std::size_t n) { return TElements(n == 0 ? nullptr : new double[n]()); }

TElements Copied(const double* src, std::size_t n) {
  TElements result(n == 0 ? nullptr : new double[n]);
  std::copy_n(src, n, result.get());
  return result;
}

/// False, `*v` unchanged, when the text holds no number.
bool Parse(const std::string& text, TVector* v) {
  const std::size_t count = Split(text.c_str(), VectorDelimiters, nullptr, 0, false);
  if (count == 0) return false;
  TVector read(count);
  Split(text.c_str(), VectorDelimiters, read.data, count, false);
  *v = std::move(read);
  return true;
}

/// `print(buffer, capacity, element)` writes one element as snprintf does.
template <class TPrint>
std::string Listed(const TVector& v, TPrint print) {
  const TCNumericLocale locale;
  // The longest element is -DBL_MAX with four decimals: 315 characters.
  char element[400];
  std::string text = "(";
  for (std::size_t i = 0; i < v.size; ++i) {
    if (i != 0) text += ';';
    print(element, sizeof element, v.data[i]);
    text += element;
  }
  return text += ')';
}

}  // namespace

TVector::TVector(std::size_t n) : size(n), data(Zeros(n).release()) {}

TVector::TVector(std::size_t n, std::size_t k) : TVector() {
  if (k >= n) {
    throw TKaMessage("SatCommonUtils::TVector::TVector(size_t, size_t): TVector index error");
  }
  Reset(n);
  data[k] = 1.0;
}

TVector::TVector(std::size_t n, double* src) : size(n), data(Copied(src, n).release()) {}

TVector::TVector(double x, double y, double z) : size(3), data(new double[3]{x, y, z}) {}

TVector::TVector(const TVector& other) : size(other.size), data(Copied(other.data, other.size).release()) {}

TVector::TVector(TVector&& other) noexcept
    : size(std::exchange(other.size, 0)), data(std::exchange(other.data, nullptr)) {}

TVector::TVector(const std::string& text) : TVector() {
  if (!Parse(text, this)) throw "TVector::TVector(const char* src)";
}

TVector::~TVector() { delete[] data; }

TVector& TVector::operator=(const TVector& other) {
  if (this == &other) return *this;
  if (size == other.size) {
    std::copy_n(other.data, size, data);
    return *this;
  }
  return *this = TVector(other);
}

TVector& TVector::operator=(TVector&& other) noexcept {
  TVector taken(std::move(other));
  std::swap(size, taken.size);
  std::swap(data, taken.data);
  return *this;
}

void TVector::ThrowIndexError() { throw std::runtime_error("double& TVector::operator[] (size_t index)"); }

TVector& TVector::operator+=(double value) {
  for (std::size_t i = 0; i < size; ++i) data[i] += value;
  return *this;
}

TVector& TVector::operator-=(double value) {
  for (std::size_t i = 0; i < size; ++i) data[i] -= value;
  return *this;
}

TVector& TVector::operator*=(double value) {
  for (std::size_t i = 0; i < size; ++i) data[i] *= value;
  return *this;
}

TVector& TVector::operator/=(double value) {
  for (std::size_t i = 0; i < size; ++i) data[i] /= value;
  return *this;
}

TVector& TVector::operator+=(const TVector& other) {
  for (std::size_t i = 0; i < size; ++i) data[i] += other.data[i];
  return *this;
}

TVector& TVector::operator-=(const TVector& other) {
  for (std::size_t i = 0; i < size; ++i) data[i] -= other.data[i];
  return *this;
}

TVector& TVector::FillWithZeroes() { return FillWithValue(0.0); }

TVector& TVector::FillWithValue(const double& value) {
  const double kept = value;
  std::fill_n(data, size, kept);
  return *this;
}

TVector& TVector::Reset(std::size_t n) {
  if (n == size) return FillWithZeroes();
  return *this = TVector(n);
}

bool TVector::Clip(std::size_t n) try {
  if (n == 0 || n > size) return false;
  if (n < size) *this = GetSubVector(0, n);
  return true;
} catch (const std::bad_alloc&) {
  return false;
}

TVector& TVector::Normalize() {
  const double norm = Norma();
  return norm > 0.0 ? *this /= norm : *this;
}

TVector& TVector::InsertSubVector(std::size_t pos, const TVector& what) {
  std::copy_n(what.data, what.size, data + pos);
  return *this;
}

TVector& TVector::FillFromBuffer(double* src) {
  std::copy_n(src, size, data);
  return *this;
}

TVector TVector::operator-() const {
  TVector result(*this);
  for (std::size_t i = 0; i < size; ++i) result.data[i] = -result.data[i];
  return result;
}

TVector TVector::GetSubVector(std::size_t first, std::size_t count) const { return {count, data + first}; }

double TVector::Norma() const {
  double sum = 0.0;
  for (std::size_t i = 0; i < size; ++i) sum += data[i] * data[i];
  return static_cast<double>(std::sqrt(static_cast<long double>(sum)));
}

double TVector::Norma1() const {
  double largest = -1.0;
  for (std::size_t i = 0; i < size; ++i) {
    const double value = std::fabs(data[i]);
    if (value > largest) largest = value;
  }
  return largest;
}

TVector TVector::GetNormalized() const {
  TVector result(*this);
  result.Normalize();
  return result;
}

bool TVector::IsNull() const {
  return std::all_of(data, data + size, [](double element) { return element == 0.0; });
}

std::string TVector::Output() const {
  return Listed(*this, [](char* buffer, std::size_t capacity, double element) {
    std::snprintf(buffer, capacity, "%9.4f", element);
  });
}

std::string TVector::GetString() const {
  return Listed(*this, [](char* buffer, std::size_t capacity, double element) {
    std::snprintf(buffer, capacity, "%.20lg", element);
  });
}

void TVector::DebugOutput() const { KaPrintDbgMsg(Output()); }

void TVector::DebugOutput(char* name) const { DebugOutput(std::string(name)); }

void TVector::DebugOutput(const std::string& name) const { KaPrintDbgMsg(name + ' ' + Output() + "\r\n"); }

std::size_t TVector::Put2Buffer(double* dst) const {
  std::copy_n(data, size, dst);
  return size;
}

double* TVector::Put2Buffer() const try {
  auto* const copy = new double[size];
  Put2Buffer(copy);
  return copy;
} catch (const std::bad_alloc&) {
  return nullptr;
}

bool TVector::InitializeFromXML(TKaXIniReader* reader, std::string key) try {
  return Parse(reader->ReadE<std::string>(reader->FindFE(key, 0)), this);
} catch (...) {
  return false;
}

bool TVector::SaveToXML(TKaXIniWriter* writer, std::string key) const try {
  return writer->WriteS<std::string>(key, GetString());
} catch (...) {
  return false;
}

TVector operator+(const TVector& a, const TVector& b) {
  TVector result(a);
  result += b;
  return result;
}

TVector operator-(const TVector& a, const TVector& b) {
  TVector result(a);
  result -= b;
  return result;
}

double operator*(const TVector& a, const TVector& b) {
  double sum = 0.0;
  for (std::size_t i = 0; i < a.size; ++i) sum += a.data[i] * b.data[i];
  return sum;
}

TVector operator^(const TVector& a, const TVector& b) {
  const double* const p = a.data;
  const double* const q = b.data;
  return {p[1] * q[2] - p[2] * q[1], p[2] * q[0] - p[0] * q[2], p[0] * q[1] - p[1] * q[0]};
}

TVector operator|(const TVector& a, const TVector& b) {
  TVector result(a.size + b.size);
  result.InsertSubVector(0, a);
  result.InsertSubVector(a.size, b);
  return result;
}

TVector operator+(const TVector& v, double d) {
  TVector result(v);
  result += d;
  return result;
}

TVector operator+(double d, const TVector& v) { return v + d; }

TVector operator-(const TVector& v, double d) {
  TVector result(v);
  result -= d;
  return result;
}

TVector operator*(const TVector& v, double d) {
  TVector result(v);
  result *= d;
  return result;
}

TVector operator*(double d, const TVector& v) { return v * d; }

TVector operator/(const TVector& v, double d) {
  TVector result(v);
  result /= d;
  return result;
}

}  // namespace SatCommonUtils
