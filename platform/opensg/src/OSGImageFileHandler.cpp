#include <OpenSG/OSGImageFileHandler.h>

#include "OSGImageFormat.h"

#include <OpenSG/OSGLog.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <istream>
#include <limits>
#include <ostream>
#include <sstream>

OSG_BEGIN_NAMESPACE

const UInt64 ImageFileHandler::maxPixels;
const UInt32 ImageFileHandler::maxSide;

// -- Formats ----------------------------------------------------------------------------------

namespace
{

/// TGA has nothing to be known by and comes last.
const ImageFormat* const formats[] = {&pngImageFormat, &jpgImageFormat, &tifImageFormat, &bmpImageFormat,
                                      &tgaImageFormat};

constexpr std::size_t lengthOfMagic = 32;

std::string lowered(std::string text)
{
    for (Char8& ch : text) {
        ch = Char8(std::tolower(UChar8(ch)));
    }
    return text;
}

const ImageFormat* formatOfSuffix(const std::string& suffix)
{
    const std::string wanted = lowered(suffix);
    for (const ImageFormat* format : formats) {
        if (format->hasSuffix(wanted)) {
            return format;
        }
    }
    return nullptr;
}

const ImageFormat* formatOfName(const std::string& fileName)
{
    const std::size_t dot = fileName.find_last_of("./\\");
    return dot == std::string::npos || fileName[dot] != '.' ? nullptr
                                                            : formatOfSuffix(fileName.substr(dot + 1));
}

const ImageFormat* formatOfMimeType(const std::string& mimeType)
{
    for (const ImageFormat* format : formats) {
        if (mimeType == format->mimeType) {
            return format;
        }
    }
    return nullptr;
}

const ImageFormat* formatOfContent(const UInt8* data, std::size_t size)
{
    for (const ImageFormat* format : formats) {
        if (format->matches && format->matches(data, size)) {
            return format;
        }
    }
    return nullptr;
}

/// By the type if one is given, else by the name.
const ImageFormat* formatFor(const Char8* mimeType, const std::string& fileName)
{
    return mimeType && *mimeType ? formatOfMimeType(mimeType) : formatOfName(fileName);
}

template <class FunctionT>
void forEachSuffix(const ImageFormat& format, const FunctionT& function)
{
    std::istringstream words(format.suffixes);
    std::string word;
    while (words >> word) {
        function(word);
    }
}

std::string firstSuffix(const ImageFormat& format)
{
    const std::string all = format.suffixes;
    return all.substr(0, all.find(' '));
}

// Takes no more memory than the stream says that it still has, where it knows.
bool readAll(std::istream& in, std::vector<UInt8>& data)
{
    std::size_t known = 0;
    const std::istream::pos_type here = in.tellg();
    if (here != std::istream::pos_type(-1) && in.seekg(0, std::ios::end)) {
        const std::streamoff rest = in.tellg() - here;
        in.seekg(here);
        known = rest > 0 ? std::size_t(rest) : 0;
    }
    in.clear();
    constexpr std::size_t block = std::size_t(1) << 16;
    while (in) {
        const std::size_t size = data.size();
        // One byte more: reading beyond the end is how to see it.
        data.resize(size < known ? known + 1 : size + std::max(size, block));
        in.read(reinterpret_cast<Char8*>(data.data()) + size, std::streamsize(data.size() - size));
        data.resize(size + std::size_t(in.gcount()));
    }
    return !in.bad();
}

void warnOfRead(const std::string& name, const std::string& reason)
{
    SWARNING << "ImageFileHandler: could not read \"" << name << "\": " << reason << std::endl;
}

void warnOfWrite(const std::string& name, const std::string& reason)
{
    SWARNING << "ImageFileHandler: could not write \"" << name << "\": " << reason << std::endl;
}

const Char8* textOf(const Char8* text)
{
    return text ? text : "";
}

} // namespace

bool ImageFormat::hasSuffix(const std::string& suffix) const
{
    bool found = false;
    forEachSuffix(*this, [&](const std::string& own) { found = found || own == suffix; });
    return found;
}

bool checkImageSize(UInt64 width, UInt64 height, std::size_t bytes, UInt64 pixelsOfByte, std::string& reason)
{
    const std::string claim =
        "the header claims " + std::to_string(width) + " x " + std::to_string(height) + " pixels";
    if (width == 0 || height == 0) {
        reason = claim;
        return false;
    }
    if (width > ImageFileHandler::maxSide || height > ImageFileHandler::maxSide ||
        width * height > ImageFileHandler::maxPixels) {
        reason = claim + ", more than are supported";
        return false;
    }
    // Very small images may be stored in next to nothing.
    if (width * height > 4096 && width * height / pixelsOfByte > bytes) {
        reason = claim + ", " + std::to_string(bytes) + " bytes cannot hold them";
        return false;
    }
    return true;
}

ImageFileHandler& ImageFileHandler::the()
{
    static ImageFileHandler* const handler = new ImageFileHandler;
    return *handler;
}

// -- Memory -----------------------------------------------------------------------------------

bool ImageFileHandler::decode(const ImagePtr& image, const UInt8* data, std::size_t size,
                              const ImageFormat* wanted, std::string& reason)
{
    const ImageFormat* const found = formatOfContent(data, size);
    const ImageFormat* const format = found ? found : wanted;
    if (!format) {
        reason = "no image format is known for it";
        return false;
    }
    DecodedImage decoded;
    try {
        if (!format->decode(data, size, decoded, reason)) {
            return false;
        }
    } catch (const std::bad_alloc&) {
        reason = "out of memory";
        return false;
    }
    if (decoded.pixel.size() > UInt32(std::numeric_limits<Int32>::max())) {
        reason = "the image is too large";
        return false;
    }
    image->set(decoded.pixelFormat, decoded.width, decoded.height, 1, 1, 1, 0.0, nullptr, decoded.dataType,
               false);
    image->getPixel().swap(decoded.pixel);
    const CPEditor edit(image, Image::ResXFieldMask | Image::ResYFieldMask | Image::ResUnitFieldMask);
    image->setResX(decoded.resX);
    image->setResY(decoded.resY);
    image->setResUnit(2);
    return true;
}

bool ImageFileHandler::encode(const ImagePtr& image, const ImageFormat& format, const Char8* givenOptions,
                              std::string& out, std::string& reason) const
{
    if (!format.encode) {
        reason = std::string(format.mimeType) + " cannot be written";
        return false;
    }
    if (!image || !image->isValid()) {
        reason = "the image has no pixels";
        return false;
    }
    if (image->getDepth() > 1) {
        reason = "the image has more than one layer";
        return false;
    }
    std::string options = textOf(givenOptions);
    forEachSuffix(format, [&](const std::string& suffix) {
        const Char8* const stored = getOptions(suffix.c_str());
        if (stored && options.empty()) {
            options = stored;
        }
    });
    return format.encode(*image, options, out, reason);
}

namespace
{

// In front of a stored image: the suffix, then numbers of two bytes, the most significant one first.
constexpr std::size_t suffixSize = 8;
constexpr std::size_t headSize = 32;

void put16(std::vector<UInt8>& block, Int64 value)
{
    block.push_back(UInt8(value >> 8 & 0xff));
    block.push_back(UInt8(value & 0xff));
}

} // namespace

std::vector<UInt8> ImageFileHandler::store(const ImagePtr& image, const Char8* mimeType, const Char8* options)
{
    std::vector<UInt8> block;
    const ImageFormat* const format = formatOfMimeType(textOf(mimeType));
    std::string data, reason = "no image format is known for it";
    if (!format || !encode(image, *format, options, data, reason)) {
        warnOfWrite(textOf(mimeType), reason);
        return block;
    }
    block.reserve(headSize + data.size());
    const std::string suffix = firstSuffix(*format);
    block.assign(suffix.begin(), suffix.end());
    block.resize(suffixSize, 0);
    put16(block, image->getPixelFormat());
    put16(block, image->getWidth());
    put16(block, image->getHeight());
    put16(block, image->getDepth());
    put16(block, image->getMipMapCount());
    put16(block, image->getFrameCount());
    put16(block, Int64(image->getFrameDelay() * 1000)); // ms
    put16(block, image->getSideCount());
    put16(block, image->getDataType());
    block.resize(headSize, 0);
    block.insert(block.end(), data.begin(), data.end());
    return block;
}

bool ImageFileHandler::restore(const ImagePtr& image, const UInt8* block, std::size_t size)
{
    std::string reason = "the block is too short";
    std::string name = "stored image";
    if (block && size > headSize) {
        const std::string suffix(reinterpret_cast<const Char8*>(block),
                                 std::find(block, block + suffixSize, UInt8(0)) - block);
        // What the head says of sizes is in the data as well.
        if (decode(image, block + headSize, size - headSize, formatOfSuffix(suffix), reason)) {
            return true;
        }
    }
    warnOfRead(name, reason);
    return false;
}

// -- Files ------------------------------------------------------------------------------------

std::string ImageFileHandler::findFile(const Char8* fileName) const
{
    if (_pathHandler) {
        return _pathHandler->findFile(fileName);
    }
    PathHandler here;
    here.push_frontCurrentDir();
    return here.findFile(fileName);
}

ImagePtr ImageFileHandler::read(const Char8* fileName, const Char8* mimeType)
{
    ImagePtr image = Image::create();
    if (!read(image, fileName, mimeType)) {
        subRefCP(image);
        return NullFC;
    }
    return image;
}

bool ImageFileHandler::read(const ImagePtr& image, const Char8* fileName, const Char8* mimeType)
{
    const std::string asked = textOf(fileName);
    if (!image || asked.empty()) {
        warnOfRead(asked, image ? "it has no name" : "there is no image to read it into");
        return false;
    }
    const std::string path = findFile(asked.c_str());
    if (path.empty()) {
        warnOfRead(asked, "there is no such file");
        return false;
    }
    std::ifstream in(path, std::ios::in | std::ios::binary);
    std::vector<UInt8> data;
    std::string reason;
    if (!in || !readAll(in, data)) {
        warnOfRead(path, "it could not be opened and read to its end");
        return false;
    }
    if (!decode(image, data.data(), data.size(), formatFor(mimeType, path), reason)) {
        warnOfRead(path, reason);
        return false;
    }

    std::error_code error;
    const std::filesystem::path absolute = std::filesystem::absolute(path, error);
    {
        const CPEditor edit(image, Image::NameFieldMask);
        image->setName(error ? path : absolute.lexically_normal().string());
    }
    image->setAttachmentField("fileName", asked);
    image->setAttachmentField("fullFilePath", path);
    return true;
}

bool ImageFileHandler::write(const ImagePtr& image, const Char8* fileName, const Char8* mimeType)
{
    const std::string path = PathHandler::nativeName(textOf(fileName));
    const ImageFormat* const format = formatFor(mimeType, path);
    std::string data, reason = "no image format is known for it";
    if (!format || !encode(image, *format, nullptr, data, reason)) {
        warnOfWrite(path, reason);
        return false;
    }
    std::ofstream out(path, std::ios::out | std::ios::binary | std::ios::trunc);
    if (!out) {
        warnOfWrite(path, "it could not be opened");
        return false;
    }
    out.write(data.data(), std::streamsize(data.size()));
    out.close();
    if (!out) {
        warnOfWrite(path, "not all of it could be written");
        std::remove(path.c_str());
        return false;
    }
    return true;
}

// -- Streams ----------------------------------------------------------------------------------

ImagePtr ImageFileHandler::read(std::istream& in, const std::string& mimeType)
{
    ImagePtr image = Image::create();
    if (!read(image, in, mimeType)) {
        subRefCP(image);
        return NullFC;
    }
    return image;
}

bool ImageFileHandler::read(const ImagePtr& image, std::istream& in, const std::string& mimeType)
{
    std::vector<UInt8> data;
    std::string reason = "the stream could not be read to its end";
    if (!image || !readAll(in, data) ||
        !decode(image, data.data(), data.size(), formatOfMimeType(mimeType), reason)) {
        warnOfRead("stream", image ? reason : "there is no image to read it into");
        return false;
    }
    return true;
}

bool ImageFileHandler::write(const ImagePtr& image, std::ostream& out, const std::string& mimeType)
{
    const ImageFormat* const format = formatOfMimeType(mimeType);
    std::string data, reason = "no image format is known for it";
    if (!format || !encode(image, *format, nullptr, data, reason)) {
        warnOfWrite("stream", reason);
        return false;
    }
    out.write(data.data(), std::streamsize(data.size()));
    if (!out) {
        warnOfWrite("stream", "not all of it could be written");
        return false;
    }
    return true;
}

// -- Types ------------------------------------------------------------------------------------

void ImageFileHandler::getSuffixList(std::list<std::string>& suffixes, UInt32 flags) const
{
    for (const ImageFormat* format : formats) {
        const bool fits =
            (flags & OSG_READ_SUPPORTED) != 0 || ((flags & OSG_WRITE_SUPPORTED) != 0 && format->encode);
        if (fits) {
            forEachSuffix(*format, [&](const std::string& suffix) { suffixes.push_back(suffix); });
        }
    }
}

std::string ImageFileHandler::determineMimetypeFromName(const std::string& fileName) const
{
    const ImageFormat* const format = formatOfName(fileName);
    return format ? format->mimeType : "";
}

std::string ImageFileHandler::determineMimetypeFromSuffix(const std::string& suffix) const
{
    const ImageFormat* const format = formatOfSuffix(suffix);
    return format ? format->mimeType : "";
}

std::string ImageFileHandler::determineMimetypeFromStream(std::istream& in) const
{
    const std::istream::pos_type here = in.tellg();
    UInt8 magic[lengthOfMagic];
    in.read(reinterpret_cast<Char8*>(magic), sizeof(magic));
    const std::size_t size = std::size_t(in.gcount());
    in.clear();
    in.seekg(here);
    const ImageFormat* const format = formatOfContent(magic, size);
    return format ? format->mimeType : "";
}

bool ImageFileHandler::setOptions(const Char8* suffix, const Char8* options)
{
    if (!suffix || !options || !formatOfSuffix(suffix)) {
        return false;
    }
    _options[lowered(suffix)] = options;
    return true;
}

const Char8* ImageFileHandler::getOptions(const Char8* suffix) const
{
    const auto found = _options.find(lowered(textOf(suffix)));
    return found == _options.end() ? nullptr : found->second.c_str();
}

OSG_END_NAMESPACE
