#pragma once

/// COMMON_LOG_EXPORT marks what a shared build of the library shows; everything else is compiled hidden.
/// The build defines COMMON_LOG_TRACE_BUILDS while it compiles a shared library, and COMMON_LOG_TRACE_SHARED for those
/// who link one, so that a user sets neither by hand.
#if defined(_WIN32)
#if defined(COMMON_LOG_TRACE_BUILDS)
#define COMMON_LOG_EXPORT __declspec(dllexport)
#elif defined(COMMON_LOG_TRACE_SHARED)
#define COMMON_LOG_EXPORT __declspec(dllimport)
#else
#define COMMON_LOG_EXPORT
#endif
#else
#define COMMON_LOG_EXPORT __attribute__((visibility("default")))
#endif
