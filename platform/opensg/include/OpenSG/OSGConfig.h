#pragma once

/// Release of the scene-graph interface, two hexadecimal digits for each of major, minor and release.
#define OSG_VERSION 0x010800

/// The library's namespace: osg::X and OSG::X are the same.
#define OSG osg

#define OSG_BEGIN_NAMESPACE                                                                                  \
    namespace osg                                                                                            \
    {
#define OSG_END_NAMESPACE }
#define OSG_USING_NAMESPACE                                                                                  \
    namespace osg                                                                                            \
    {                                                                                                        \
    }                                                                                                        \
    using namespace osg;

/// Marks what the shared library exports. OSG_BUILD is defined while the library itself is compiled.
#if defined(_WIN32)
#if defined(OSG_BUILD)
#define OSG_PLATFORM_API __declspec(dllexport)
#else
#define OSG_PLATFORM_API __declspec(dllimport)
#endif
#else
#define OSG_PLATFORM_API __attribute__((visibility("default")))
#endif
