#ifndef ZYOPENSGUBERMATERIAL_API_H
#define ZYOPENSGUBERMATERIAL_API_H

// ZYOPENSGUBERMATERIAL_BUILD is defined while the library itself is compiled.
#if defined(_WIN32)
#if defined(ZYOPENSGUBERMATERIAL_BUILD)
#define ZYOPENSGUBERMATERIAL_API __declspec(dllexport)
#else
#define ZYOPENSGUBERMATERIAL_API __declspec(dllimport)
#endif
#else
#define ZYOPENSGUBERMATERIAL_API __attribute__((visibility("default")))
#endif

#endif
