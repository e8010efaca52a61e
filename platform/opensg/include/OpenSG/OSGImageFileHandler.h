#pragma once

#include <OpenSG/OSGImage.h>
#include <OpenSG/OSGPathHandler.h>

#include <iosfwd>
#include <list>
#include <map>
#include <string>
#include <vector>

OSG_BEGIN_NAMESPACE

class ImageFormat;

/// Reads and writes image files. One per process; not to be used by several threads at once.
///
/// | suffixes             | read                                               | written |
/// |----------------------|----------------------------------------------------|--------------------------------|
/// | png                  | all                                                | L, LA, RGB, RGBA of 8, 16
/// bits | | jpg jpeg jpe jfif    | grey, colour, CMYK; baseline and progressive       | L, RGB of 8 bits | |
/// tif tiff             | first page; 8 bits for each channel after reading  | L, LA, RGB, RGBA of 8 bits |
/// | tga targa            | palette, grey, colour; plain and run-length coded  | - | | bmp dib              |
/// 1, 4, 8, 16, 24, 32 bits, not compressed           | RGB of 8 bits, 24 bit          |
///
/// Writing the same image gives the same bytes. What the header of a file claims is held against the bytes
/// that there are before anything is allocated: an image has at most maxPixels pixels, and no more than its
/// format can pack into a file of that size. Every failure is one warning with the name and the reason.
class OSG_PLATFORM_API ImageFileHandler
{
public:
    static const UInt64 maxPixels = UInt64(1) << 28;
    static const UInt32 maxSide = 65536;

    ImageFileHandler(const ImageFileHandler&) = delete;
    ImageFileHandler& operator=(const ImageFileHandler&) = delete;

    static ImageFileHandler& the();
    /// the()->read(..) is the same as the().read(..).
    ImageFileHandler* operator->() { return this; }

    // -- Files --

    /// Reads a file. It is looked for by the path handler, if there is one, else as it is named, with either
    /// separator. The format is that of \a mimeType or of the suffix; where the first bytes of the file say
    /// otherwise, these.
    ///
    /// The image's name is then the file's absolute path; what was asked for and what was opened stands in
    /// its attachment fields "fileName" and "fullFilePath".
    ///
    /// \return null if the file cannot be read
    ImagePtr read(const Char8* fileName, const Char8* mimeType = nullptr);
    /// The same into an image that is there; it stays as it is if the file cannot be read.
    bool read(const ImagePtr& image, const Char8* fileName, const Char8* mimeType = nullptr);
    /// Writes a file in the format of \a mimeType or of the suffix. Nothing is touched if the format cannot
    /// hold the image; a file that cannot be written to its end is removed.
    bool write(const ImagePtr& image, const Char8* fileName, const Char8* mimeType = nullptr);

    // -- Streams --

    /// Up to the end of the stream. Null, or unchanged, on failure.
    ImagePtr read(std::istream& in, const std::string& mimeType);
    bool read(const ImagePtr& image, std::istream& in, const std::string& mimeType);
    bool write(const ImagePtr& image, std::ostream& out, const std::string& mimeType);

    // -- Memory --

    /// The image as a block in the form in which scene files keep compressed textures: 32 bytes that tell its
    /// kind, then a whole file of the type. Empty on failure. \param options  in place of those kept for the
    /// suffix; null for these
    std::vector<UInt8> store(const ImagePtr& image, const Char8* mimeType = "image/png",
                             const Char8* options = nullptr);
    /// Reads such a block; the image stays as it is on failure.
    bool restore(const ImagePtr& image, const UInt8* block, std::size_t size);

    // -- Types --

    enum { OSG_READ_SUPPORTED = 1, OSG_WRITE_SUPPORTED = 2 };
    /// Appends the suffixes of formats that can do what \a flags asks for.
    void getSuffixList(std::list<std::string>& suffixes,
                       UInt32 flags = OSG_READ_SUPPORTED | OSG_WRITE_SUPPORTED) const;
    /// "" for a name whose suffix is not known.
    std::string determineMimetypeFromName(const std::string& fileName) const;
    std::string determineMimetypeFromSuffix(const std::string& suffix) const;
    /// By the first bytes, which are not taken out of the stream.
    std::string determineMimetypeFromStream(std::istream& in) const;

    /// Kept for each suffix; "quality=75" (1 .. 100, 90 without) is what jpg looks for.
    bool setOptions(const Char8* suffix, const Char8* options);
    /// Null if nothing was set.
    const Char8* getOptions(const Char8* suffix) const;

    /// Null until one is set. Reading a scene sets that of the SceneFileHandler, so that images are looked
    /// for beside the scene.
    PathHandler* getPathHandler() { return _pathHandler; }
    void setPathHandler(PathHandler* pathHandler) { _pathHandler = pathHandler; }

private:
    ImageFileHandler() = default;
    ~ImageFileHandler() = delete;

    std::string findFile(const Char8* fileName) const;
    bool decode(const ImagePtr& image, const UInt8* data, std::size_t size, const ImageFormat* wanted,
                std::string& reason);
    bool encode(const ImagePtr& image, const ImageFormat& format, const Char8* givenOptions, std::string& out,
                std::string& reason) const;

    std::map<std::string, std::string> _options; ///< by suffix
    PathHandler* _pathHandler = nullptr;
};

OSG_END_NAMESPACE
