// Version and export macros of the service registry library.
//
// This library is a subset of the CppMicroServices 3.8 framework API (same header names,
// namespace, signatures and observable behaviour for the parts this project uses). When a real
// CppMicroServices 3.8 installation is found at configure time it is used instead and this
// folder is not built.
#pragma once

#define US_FRAMEWORK_VERSION_MAJOR 3
#define US_FRAMEWORK_VERSION_MINOR 8
#define US_FRAMEWORK_VERSION_PATCH 12
#define US_FRAMEWORK_VERSION_STR "3.8.12"

#define CppMicroServices_VERSION_MAJOR US_FRAMEWORK_VERSION_MAJOR
#define CppMicroServices_VERSION_MINOR US_FRAMEWORK_VERSION_MINOR
#define CppMicroServices_VERSION_PATCH US_FRAMEWORK_VERSION_PATCH
#define CppMicroServices_VERSION_STR US_FRAMEWORK_VERSION_STR

#define US_VERSION_MAJOR US_FRAMEWORK_VERSION_MAJOR
#define US_VERSION_MINOR US_FRAMEWORK_VERSION_MINOR
#define US_VERSION_PATCH US_FRAMEWORK_VERSION_PATCH

// Events are delivered on the thread that registers, modifies or unregisters a service.
#define US_ENABLE_THREADING_SUPPORT

// The library is built with hidden visibility; the public classes are exported one by one.
#define US_Framework_EXPORT __attribute__((visibility("default")))

#define US_DEPRECATED [[deprecated]]
