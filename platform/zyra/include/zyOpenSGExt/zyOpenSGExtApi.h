#ifndef ZYOPENSGEXT_API_H
#define ZYOPENSGEXT_API_H

// ZYOPENSGEXT_BUILD is defined while the library itself is compiled.
#if defined(_WIN32)
#if defined(ZYOPENSGEXT_BUILD)
#define ZYOPENSGEXT_API __declspec(dllexport)
#else
#define ZYOPENSGEXT_API __declspec(dllimport)
#endif
#else
#define ZYOPENSGEXT_API __attribute__((visibility("default")))
#endif

#endif
