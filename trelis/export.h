#pragma once

/// Marks what the library exports; every other symbol is hidden. `TRELIS_BUILDING` is set while the
/// shared library itself is compiled, `TRELIS_STATIC` in all users of the static one.
#if defined(TRELIS_STATIC)
#define TRELIS_API
#elif defined(_WIN32)
#if defined(TRELIS_BUILDING)
#define TRELIS_API __declspec(dllexport)
#else
#define TRELIS_API __declspec(dllimport)
#endif
#else
#define TRELIS_API __attribute__((visibility("default")))
#endif
