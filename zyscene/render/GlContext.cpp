#include "GlContext.h"

#include <EGL/egl.h>
#include <EGL/eglext.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>

namespace zyscene::render
{

// -- EGL ---------------------------------------------------------------------------------------------------

namespace
{
constexpr char libraryName[] = "libEGL.so.1";

bool hasWord(const char* words, const char* word)
{
    const std::size_t length = std::strlen(word);
    for (const char* at = words; at != nullptr && (at = std::strstr(at, word)) != nullptr; at += length) {
        const bool starts = at == words || at[-1] == ' ';
        if (starts && (at[length] == ' ' || at[length] == '\0'))
            return true;
    }
    return false;
}
} // namespace

#define ZYSCENE_EGL_FUNCTIONS(X)                                                                             \
    X(BindAPI)                                                                                               \
    X(CreateContext)                                                                                         \
    X(DestroyContext)                                                                                        \
    X(GetProcAddress)                                                                                        \
    X(Initialize)                                                                                            \
    X(MakeCurrent)                                                                                           \
    X(QueryString)

struct GlContext::Egl {
#define ZYSCENE_EGL_MEMBER(name) decltype(&::egl##name) name = nullptr;
    ZYSCENE_EGL_FUNCTIONS(ZYSCENE_EGL_MEMBER)
#undef ZYSCENE_EGL_MEMBER

    EGLDisplay display = EGL_NO_DISPLAY;
    EGLContext context = EGL_NO_CONTEXT;

    std::string load();
};

std::string GlContext::Egl::load()
{
    // Never closed: drivers leave threads and exit handlers behind.
    void* const library = ::dlopen(libraryName, RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        const char* const reason = ::dlerror();
        return std::string("EGL cannot be loaded: ") + (reason != nullptr ? reason : libraryName);
    }
    bool complete = true;
    const auto find = [&](auto& function, const char* name) {
        void* const address = ::dlsym(library, name);
        std::memcpy(&function, &address, sizeof(function));
        complete = complete && address != nullptr;
    };
#define ZYSCENE_EGL_FIND(name) find(name, "egl" #name);
    ZYSCENE_EGL_FUNCTIONS(ZYSCENE_EGL_FIND)
#undef ZYSCENE_EGL_FIND
    return complete ? std::string() : std::string(libraryName) + " is no EGL library";
}

// -- Context -----------------------------------------------------------------------------------------------

std::unique_ptr<GlContext> GlContext::create(std::string& problem)
{
    std::unique_ptr<GlContext> context(new GlContext);
    problem = context->open();
    if (problem.empty())
        problem = context->loadFunctions();
    if (problem.empty())
        problem = context->checkVersion();
    return problem.empty() ? std::move(context) : nullptr;
}

GlContext::~GlContext()
{
    if (!_egl || _egl->display == EGL_NO_DISPLAY)
        return;
    _egl->MakeCurrent(_egl->display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
    if (_egl->context != EGL_NO_CONTEXT)
        _egl->DestroyContext(_egl->display, _egl->context);
    // The display stays open, and with it the driver loaded: it serves the next context, and leak checkers
    // can name what it keeps.
}

std::string GlContext::open()
{
    _egl = std::make_unique<Egl>();
    std::string problem = _egl->load();
    if (!problem.empty())
        return problem;

    // The same picture on every machine: the graphics card is not asked, unless the user's environment does.
    ::setenv("LIBGL_ALWAYS_SOFTWARE", "1", 0);

    const char* const extensions = _egl->QueryString(EGL_NO_DISPLAY, EGL_EXTENSIONS);
    const auto getDisplay =
        reinterpret_cast<PFNEGLGETPLATFORMDISPLAYEXTPROC>(_egl->GetProcAddress("eglGetPlatformDisplayEXT"));
    if (getDisplay == nullptr || !hasWord(extensions, "EGL_MESA_platform_surfaceless"))
        return "no EGL driver that draws without a display is installed";

    _egl->display = getDisplay(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr);
    if (_egl->display == EGL_NO_DISPLAY || !_egl->Initialize(_egl->display, nullptr, nullptr)) {
        _egl->display = EGL_NO_DISPLAY;
        return "the EGL driver does not start";
    }
    const char* const features = _egl->QueryString(_egl->display, EGL_EXTENSIONS);
    if (!hasWord(features, "EGL_KHR_surfaceless_context") ||
        !hasWord(features, "EGL_KHR_no_config_context") || !_egl->BindAPI(EGL_OPENGL_API))
        return "the EGL driver has no OpenGL without surfaces";

    // Without attributes: the compatibility profile, which alone has the fixed functions.
    _egl->context = _egl->CreateContext(_egl->display, EGL_NO_CONFIG_KHR, EGL_NO_CONTEXT, nullptr);
    if (_egl->context == EGL_NO_CONTEXT ||
        !_egl->MakeCurrent(_egl->display, EGL_NO_SURFACE, EGL_NO_SURFACE, _egl->context))
        return "the EGL driver gives no OpenGL context";
    return {};
}

std::string GlContext::loadFunctions()
{
    const char* missing = nullptr;
    const auto find = [&](auto& function, const char* name) {
        const auto address = _egl->GetProcAddress(name);
        std::memcpy(&function, &address, sizeof(function));
        if (address == nullptr)
            missing = name;
    };
#define ZYSCENE_GL_FIND(name) find(_gl.name, "gl" #name);
    ZYSCENE_GL_FUNCTIONS(ZYSCENE_GL_FIND)
#undef ZYSCENE_GL_FIND
    return missing == nullptr ? std::string() : std::string("OpenGL has no function ") + missing;
}

std::string GlContext::checkVersion()
{
    const auto text = [this](GLenum name) {
        const GLubyte* const value = _gl.GetString(name);
        return value != nullptr ? std::string(reinterpret_cast<const char*>(value)) : std::string();
    };
    const std::string version = text(GL_VERSION);
    const GLint major = _gl.integer(GL_MAJOR_VERSION); // not known to older ones: 0
    const GLint minor = _gl.integer(GL_MINOR_VERSION);
    if (major < 3)
        return "OpenGL " + version + " is too old: 3.0 is needed";
    const bool hasProfiles = major > 3 || minor >= 2;
    if (hasProfiles && (_gl.integer(GL_CONTEXT_PROFILE_MASK) & GL_CONTEXT_CORE_PROFILE_BIT) != 0)
        return "OpenGL " + version + " lacks the compatibility profile";

    GLint viewport[2] = {0, 0};
    _gl.GetIntegerv(GL_MAX_VIEWPORT_DIMS, viewport);
    _maxSide = static_cast<unsigned int>(std::max(0, std::min(viewport[0], viewport[1])));
    _gl.takeErrors();
    return {};
}

} // namespace zyscene::render
