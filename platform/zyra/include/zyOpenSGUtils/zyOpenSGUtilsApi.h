#ifndef ZYOPENSGUTILS_API_H
#define ZYOPENSGUTILS_API_H

// ZYOPENSGUTILS_BUILD is defined while the library itself is compiled.
#if defined(_WIN32)
#if defined(ZYOPENSGUTILS_BUILD)
#define ZYOPENSGUTILS_API __declspec(dllexport)
#else
#define ZYOPENSGUTILS_API __declspec(dllimport)
#endif
#else
#define ZYOPENSGUTILS_API __attribute__((visibility("default")))
#endif

#endif
