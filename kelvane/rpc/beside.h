/// \file
/// Work beside the calling thread's own (internal).
#pragma once

#include <future>
#include <system_error>
#include <utility>

namespace SatCommonUtils {

/// Starts work in a thread that sleeps when it is done; later in the one that asks for the result, when the
/// system gives none.
template <class Work>
auto StartBeside(Work work) -> std::future<decltype(work())> {
  try {
    return std::async(std::launch::async, work);
  } catch (const std::system_error&) {
    return std::async(std::launch::deferred, std::move(work));
  }
}

}  // namespace SatCommonUtils
