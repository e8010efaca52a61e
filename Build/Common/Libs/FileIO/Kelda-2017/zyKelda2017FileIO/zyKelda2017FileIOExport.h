#pragma once

/// Marks what the module exports: its classes and nothing of their insides.
#if defined(_WIN32)
#if defined(ZYKELDA2017FILEIO_BUILD)
#define ZYKELDA2017FILEIO_API __declspec(dllexport)
#else
#define ZYKELDA2017FILEIO_API __declspec(dllimport)
#endif
#else
#define ZYKELDA2017FILEIO_API __attribute__((visibility("default")))
#endif
