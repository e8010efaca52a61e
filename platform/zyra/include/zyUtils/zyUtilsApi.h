#ifndef ZYUTILS_API_H
#define ZYUTILS_API_H

// ZYUTILS_BUILD is defined while the library itself is compiled.
#if defined(_WIN32)
#if defined(ZYUTILS_BUILD)
#define ZYUTILS_API __declspec(dllexport)
#else
#define ZYUTILS_API __declspec(dllimport)
#endif
#else
#define ZYUTILS_API __attribute__((visibility("default")))
#endif

#endif
