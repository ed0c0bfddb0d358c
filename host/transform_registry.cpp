#include <cmath>
#include <functional>
#include <map>
#include <mutex>
#include <string>

#include "kelvane/module/host/message.h"
#include "kelvane/module/host/transform.h"

namespace {

struct TRegistry {
  std::mutex Mutex;
  std::map<std::string, TKa2DTransform::TFactory, std::less<>> Factories;
};

TRegistry& Registry() {
  static TRegistry registry;
  return registry;
}

bool IsFinite(const xy_d& point) { return std::isfinite(point.x) && std::isfinite(point.y); }

/// Maps points within one array or between two. Where the results lie farther apart than the points, the
/// last point goes first: in one array no result then overwrites a point that is still to be mapped.
template <class TMap>
void MapPoints(const xy_d* from, std::size_t count, std::size_t from_step, xy_d* to, std::size_t to_step,
               TMap map) {
  for (std::size_t done = 0; done < count; ++done) {
    const std::size_t i = to_step > from_step ? count - 1 - done : done;
    to[i * to_step] = map(from[i * from_step]);
  }
}

}  // namespace

void TKa2DTransform::TSerializer::RegisterName(const char* name, TFactory factory) {
  TRegistry& registry = Registry();
  const std::lock_guard<std::mutex> lock(registry.Mutex);
  if (!registry.Factories.emplace(name, factory).second) {
    throw TKaMessage("the transform name \"" + std::string(name) + "\" is registered already");
  }
}

void TKa2DTransform::TSerializer::UnregisterName(const char* name) {
  TRegistry& registry = Registry();
  const std::lock_guard<std::mutex> lock(registry.Mutex);
  const auto found = registry.Factories.find(name);
  if (found != registry.Factories.end()) registry.Factories.erase(found);
}

var_a<TKa2DTransform*> TKa2DTransform::TSerializer::CreateByName(const char* name) {
  TFactory factory = nullptr;
  {
    TRegistry& registry = Registry();
    const std::lock_guard<std::mutex> lock(registry.Mutex);
    const auto found = registry.Factories.find(name);
    if (found != registry.Factories.end()) factory = found->second;
  }
  // Unlocked: a factory may ask the registry for the parts of its transform.
  return factory == nullptr ? nullptr : factory();
}

TKa2DTransform::~TKa2DTransform() = default;

bool TKa2DTransform::GetTraCoordB(const xy_d& from, xy_d& to) const {
  to = GetTraCoord(from);
  return IsFinite(to);
}

bool TKa2DTransform::GetInverseTraCoordB(const xy_d& to, xy_d& from) const {
  from = GetInverseTraCoord(to);
  return IsFinite(from);
}

void TKa2DTransform::GetTraCoordM(const xy_d* from, size_t count, size_t fromStep, xy_d* to,
                                  size_t toStep) const {
  MapPoints(from, count, fromStep, to, toStep, [this](const xy_d& point) { return GetTraCoord(point); });
}

void TKa2DTransform::GetInverseTraCoordM(const xy_d* to, size_t count, size_t toStep, xy_d* from,
                                         size_t fromStep) const {
  MapPoints(to, count, toStep, from, fromStep,
            [this](const xy_d& point) { return GetInverseTraCoord(point); });
}

unsigned TKa2DTransform::GetTransformFlags() const { return HasDirect | HasInverse; }

double TKa2DTransform::GetTransformTime(bool) const { return 1.0; }

bool TKa2DTransform::GetMatrix(matr3x3*) const { return false; }

bool TKa2DTransform::GetInverseMatrix(matr3x3*) const { return false; }
