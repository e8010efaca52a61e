#ifndef ZYINTERFACES_API_H
#define ZYINTERFACES_API_H

// ZYINTERFACES_BUILD is defined while the library itself is compiled.
#if defined(_WIN32)
#if defined(ZYINTERFACES_BUILD)
#define ZYINTERFACES_API __declspec(dllexport)
#else
#define ZYINTERFACES_API __declspec(dllimport)
#endif
#else
#define ZYINTERFACES_API __attribute__((visibility("default")))
#endif

#endif
