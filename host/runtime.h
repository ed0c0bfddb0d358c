/// \file
/// What an application that runs on the reference host may set and ask: the services themselves are declared
/// in `kelvane/module/host/runtime.h`.
#pragma once

#include <functional>
#include <string>

#include "kelvane/module/export.h"

/// More threads than this are never reported.
inline constexpr int KaMostThreads = 1024;

/// Sets the number of worker threads that `KaGetThreadsCount` reports; 0 or less returns to the default:
/// the environment variable `KELVANE_THREADS` when it holds a whole number of at least 1, else as many
/// threads as there are processors for this process.
KELVANE_HOST_API void KaSetThreadsCount(int count);

/// Takes the debug messages from now on; an empty function returns to the default, which writes each on
/// a line of its own to standard error when the environment variable `KELVANE_DEBUG` is set and drops them
/// otherwise. The sink is called under a lock, one message at a time, and must not print a debug message
/// itself.
KELVANE_HOST_API void KaSetDbgMsgSink(std::function<void(const std::string&)> sink);

/// How many starts of the data-container module stand without their stop. The reference host keeps no data
/// containers: it only counts who needs them.
KELVANE_HOST_API int KaDataContainerUsers();

/// What this host is and its version, such as "reference host 1.4.2"; never null.
KELVANE_HOST_API const char* KaHostName();
