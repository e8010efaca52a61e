#include "kelda/KFileIO.h"

#include "io/AsciiReader.h"
#include "io/AsciiWriter.h"
#include "io/BinaryReader.h"
#include "io/BinaryWriter.h"
#include "io/ForeignImport.h"
#include "io/SafeFile.h"
#include "io/SceneBuilder.h"
#include "io/SceneWalk.h"
#include "kelda/KGlobal.h"
#include "kelda/KLibrary.h"
#include "kelda/testing/KFaults.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <new>
#include <sys/stat.h>
#include <unistd.h>

using namespace kelda;

namespace
{

constexpr const char* kAscii = "keldaAscii";
constexpr const char* kBinary = "keldaBinary";

// -- Messages -------------------------------------------------------------------------------------

/// One line, whatever stood in the file.
std::string oneLine(std::string text)
{
    for (char& c : text)
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f)
            c = ' ';
    return text;
}

KStatus failed(const std::string& text, KStatus::KStatusCode code = KStatus::kFailure)
{
    KGlobal::displayError(oneLine(text));
    return code;
}

void showNotes(const std::string& name, const std::vector<std::string>& notes, bool asWarning)
{
    for (const std::string& note : notes) {
        const std::string line = oneLine(name + ": " + note);
        if (asWarning)
            KGlobal::displayWarning(line);
        else
            KGlobal::displayInfo(line);
    }
}

// -- Files ----------------------------------------------------------------------------------------

enum class Form { Ascii, Binary, Other };

/// A file open for reading, closed with the object.
class SourceFile
{
public:
    SourceFile() = default;
    ~SourceFile()
    {
        if (_file >= 0)
            ::close(_file);
    }
    SourceFile(const SourceFile&) = delete;
    SourceFile& operator=(const SourceFile&) = delete;

    /// False: `error` is a whole sentence.
    bool open(const std::string& path, std::string& error)
    {
        // A pipe would be waited for; nothing but regular files is read anyway.
        _file = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        struct stat about;
        if (_file < 0 || ::fstat(_file, &about) != 0) {
            error = path + ": cannot be opened: " + std::strerror(errno);
            return false;
        }
        if (!S_ISREG(about.st_mode)) {
            error = path + ": cannot be opened: " +
                    (S_ISDIR(about.st_mode) ? "it is a directory" : "it is not a regular file");
            return false;
        }
        _size = static_cast<uint64_t>(about.st_size);
        return true;
    }

    int descriptor() const { return _file; }

    Form form() const
    {
        char start[32];
        const ssize_t count = ::pread(_file, start, sizeof start, 0);
        const std::string_view text(start, count > 0 ? static_cast<size_t>(count) : 0);
        if (looksLikeAscii(text))
            return Form::Ascii;
        return looksLikeBinary(text) ? Form::Binary : Form::Other;
    }

    bool readAll(PodVector<char>& out, std::string& error) const
    {
        out.resize(_size);
        size_t done = 0;
        while (done < out.size()) {
            const ssize_t got =
                ::pread(_file, out.data() + done, out.size() - done, static_cast<off_t>(done));
            if (got < 0 && errno == EINTR)
                continue;
            if (got < 0) {
                error = std::string("cannot be read: ") + std::strerror(errno);
                return false;
            }
            if (got == 0)
                break; // became shorter; the parser will say what is missing
            done += static_cast<size_t>(got);
        }
        out.resize(done);
        return true;
    }

private:
    int _file = -1;
    uint64_t _size = 0;
};

/// The one place where a name with backslashes is translated.
std::string pathToRead(const KString& file)
{
    std::string path = file.str();
    if (path.find('\\') != std::string::npos && ::access(path.c_str(), F_OK) != 0)
        std::replace(path.begin(), path.end(), '\\', '/');
    return path;
}

std::string absolute(const std::string& path)
{
    std::string out = path;
    if (char* real = ::realpath(path.c_str(), nullptr)) {
        out = real;
        std::free(real);
    }
    return out;
}

std::string inSmallLetters(std::string text)
{
    for (char& c : text)
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    return text;
}

std::string lowerSuffix(const std::string& path)
{
    const size_t dot = path.find_last_of("./");
    if (dot == std::string::npos || path[dot] == '/')
        return "";
    return inSmallLetters(path.substr(dot + 1));
}

/// "ka" or "kb".
bool isOwnSuffix(const std::string& suffix)
{
    return suffix == "ka" || suffix == "kb";
}

bool isKnownType(const char* type)
{
    return !type || !*type || std::strcmp(type, kAscii) == 0 || std::strcmp(type, kBinary) == 0;
}

/// False: `error` names the file, the place and the reason.
bool readScene(const SourceFile& source, Form form, const std::string& path, SceneBuilder& builder,
               std::string& error)
{
    if (form == Form::Binary) {
        if (readBinary(source.descriptor(), builder, error))
            return true;
        error = path + ": " + error;
        return false;
    }
    PodVector<char> text;
    if (!source.readAll(text, error)) {
        error = path + ": " + error;
        return false;
    }
    const std::string_view script(text.data(), text.size());
    ScriptError problem;
    if (readAscii(script, builder, problem))
        return true;
    error = describe(problem, script, path);
    return false;
}

/// Why a file whose content is of neither form is not read, or success when `type` agrees with the content.
bool agrees(Form form, const char* type, const std::string& path, std::string& error)
{
    if (form == Form::Other) {
        error = path + ": is neither an ASCII nor a binary Kelda scene";
        return false;
    }
    const char* const found = form == Form::Ascii ? kAscii : kBinary;
    if (type && *type && std::strcmp(type, found) != 0) {
        error = path + ": is of the type " + found + ", not " + type;
        return false;
    }
    return true;
}

KStatus openScene(const std::string& path, const char* type)
{
    Scene& scene = Scene::current();
    SourceFile source;
    std::string error;
    if (!source.open(path, error))
        return failed(error);
    const Form form = source.form();
    if (!agrees(form, type, path, error))
        return failed(error);
    SceneBuilder builder(scene, false);
    if (!readScene(source, form, path, builder, error)) {
        scene.clear();
        return failed(error);
    }
    scene.setFileName(absolute(path));
    showNotes(path, builder.notes(), true);
    return KStatus::kSuccess;
}

KStatus importScene(const std::string& path, const char* type)
{
    SourceFile source;
    std::string error;
    if (!source.open(path, error))
        return failed(error);
    const Form form = source.form();
    const std::string suffix = lowerSuffix(path);
    const bool isForeign = form == Form::Other && !isOwnSuffix(suffix);
    if (isForeign && !isForeignSuffix(suffix))
        return failed(path + ": cannot be imported: files with " +
                      (suffix.empty() ? "no suffix" : "the suffix \"" + suffix + "\"") +
                      " are of no known format");
    if (!isForeign && !agrees(form, type, path, error))
        return failed(error);

    SceneBuilder builder(Scene::current(), true);
    std::error_code ignored;
    const std::string fullPath = std::filesystem::absolute(path, ignored).string();
    builder.setImportedFile(fullPath);
    std::vector<std::string> notes;
    std::shared_ptr<ImageFolder> images;
    bool done = false;
    try {
        if (isForeign) {
            done = readForeign(fullPath, builder, notes, error, images);
            error = path + ": cannot be imported: " + error;
        } else {
            done = readScene(source, form, path, builder, error);
        }
    } catch (const std::bad_alloc&) {
        builder.undo();
        throw;
    }
    if (!done) {
        builder.undo();
        return failed(error);
    }
    if (images)
        Scene::current().keepUntilCleared(std::move(images));
    showNotes(path, notes, false);
    showNotes(path, builder.notes(), true);
    return KStatus::kSuccess;
}

KStatus save(const std::string& path, const char* type)
{
    const std::string suffix = lowerSuffix(path);
    const bool byName = !type || !*type;
    if (byName && !isOwnSuffix(suffix))
        return failed(path +
                          ": cannot be saved: its suffix is neither \"ka\" nor \"kb\" and no type is given",
                      KStatus::kInvalidParameter);
    const bool isAscii = byName ? suffix == "ka" : std::strcmp(type, kAscii) == 0;

    SafeFile file;
    std::string error;
    if (!file.open(path))
        return failed(path + ": " + file.error());
    Scene& scene = Scene::current();
    bool done = false;
    if (isAscii) {
        AsciiWriter writer(file);
        done = walkScene(scene, writer, error);
    } else {
        BinaryWriter writer(file);
        done = walkScene(scene, writer, error);
    }
    if (!done)
        return failed(path + ": " + error);
    if (!file.commit())
        return failed(path + ": " + file.error());
    scene.setFileName(absolute(path));
    return KStatus::kSuccess;
}

} // namespace

// -- KFileIO --------------------------------------------------------------------------------------

KStatus KFileIO::newFile(bool)
{
    if (!KLibrary::isInitialized())
        return KStatus::kNotInitialized;
    KFaults::note("KFileIO::newFile");
    if (KFaults::hit("KFileIO::newFile"))
        return failed("the scene cannot be emptied");
    Scene::current().clear();
    return KStatus::kSuccess;
}

KStatus KFileIO::open(const KString& file, const char* type, bool, ReferenceMode, bool)
{
    if (!KLibrary::isInitialized())
        return KStatus::kNotInitialized;
    const std::string path = pathToRead(file);
    Scene::current().clear();
    if (KFaults::hit("KFileIO::open"))
        return failed(path + ": cannot be opened");
    if (!isKnownType(type))
        return failed(path + ": cannot be opened: there is no file type \"" + type + "\"",
                      KStatus::kInvalidParameter);
    try {
        return openScene(path, type);
    } catch (const std::bad_alloc&) {
        Scene::current().clear();
        return failed(path + ": cannot be opened: there is not enough memory", KStatus::kInsufficientMemory);
    }
}

KStatus KFileIO::import(const KString& file, const char* type, bool, const char* nameSpace)
{
    if (!KLibrary::isInitialized())
        return KStatus::kNotInitialized;
    const std::string path = pathToRead(file);
    if (KFaults::hit("KFileIO::import"))
        return failed(path + ": cannot be imported");
    if (nameSpace && *nameSpace)
        return failed(path + ": cannot be imported: there are no namespaces", KStatus::kInvalidParameter);
    if (!isKnownType(type))
        return failed(path + ": cannot be imported: there is no file type \"" + type + "\"",
                      KStatus::kInvalidParameter);
    try {
        return importScene(path, type);
    } catch (const std::bad_alloc&) {
        return failed(path + ": cannot be imported: there is not enough memory",
                      KStatus::kInsufficientMemory);
    }
}

bool KFileIO::isImportable(const KString& suffix)
{
    const std::string& text = suffix.str();
    const std::string wanted = inSmallLetters(text.compare(0, 1, ".") == 0 ? text.substr(1) : text);
    return isOwnSuffix(wanted) || isForeignSuffix(wanted);
}

void KFileIO::importableSuffixes(KStringArray& suffixes)
{
    std::vector<std::string> all = foreignSuffixes();
    for (const char* own : {"ka", "kb"})
        all.insert(std::lower_bound(all.begin(), all.end(), own), own);
    suffixes.assign(all.begin(), all.end());
}

KStatus KFileIO::saveAs(const KString& file, const char* type, bool)
{
    if (!KLibrary::isInitialized())
        return KStatus::kNotInitialized;
    const std::string& path = file.str();
    if (KFaults::hit("KFileIO::saveAs"))
        return failed(path + ": cannot be saved");
    if (!isKnownType(type))
        return failed(path + ": cannot be saved: there is no file type \"" + type + "\"",
                      KStatus::kInvalidParameter);
    try {
        return save(path, type);
    } catch (const std::bad_alloc&) {
        return failed(path + ": cannot be saved: there is not enough memory", KStatus::kInsufficientMemory);
    }
}
