/// \file
/// What the host says about the running process.
#pragma once

#include <string>

#include "kelvane/module/export.h"

/// Number of worker threads that the host allows; at least 1.
KELVANE_HOST_API int KaGetThreadsCount();

/// Takes a debug message as it stands, line ends included. Safe to call from several threads.
KELVANE_HOST_API void KaPrintDbgMsg(const std::string& text);

/// Start and stop of the host's data-container module, which must run before this library does. Each call
/// of the first is matched by one of the second.
extern "C" KELVANE_HOST_API void Init_KaDataContainer();
extern "C" KELVANE_HOST_API void Deinit_KaDataContainer();
