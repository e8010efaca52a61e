#pragma once

// What a program sees of libKelda: everything marked KELDA_API, nothing else.
#if defined(_WIN32)
#if defined(KELDA_BUILD)
#define KELDA_API __declspec(dllexport)
#else
#define KELDA_API __declspec(dllimport)
#endif
#else
#define KELDA_API __attribute__((visibility("default")))
#endif
