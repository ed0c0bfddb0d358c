/// \file
/// Visibility of the library's interface. Everything is compiled with hidden visibility; what carries
/// `KELVANE_API` is exported from libKelvane, what carries `KELVANE_HOST_API` is a service of the host,
/// exported from the host's library and called by this one.
#pragma once

/// Exported from libKelvane: part of its interface, and of its SONAME's promise.
#define KELVANE_API __attribute__((visibility("default")))
/// Exported from the library of the host.
#define KELVANE_HOST_API __attribute__((visibility("default")))
