#pragma once

#include <OpenSG/OSGImage.h>

#include <cstddef>
#include <string>

OSG_BEGIN_NAMESPACE

/// What a decoder found, rows from the bottom up.
struct DecodedImage {
    UInt32 pixelFormat = Image::OSG_INVALID_PF;
    Int32 width = 0;
    Int32 height = 0;
    Int32 dataType = Image::OSG_UINT8_IMAGEDATA;
    Real32 resX = 0; ///< pixels for each inch; 0: not known
    Real32 resY = 0;
    MFUInt8 pixel;

    /// Room for all pixels, not initialised. Sizes and formats have been checked before.
    UInt8* allocate(UInt32 newFormat, UInt32 newWidth, UInt32 newHeight, UInt32 bytesOfPixel)
    {
        pixelFormat = newFormat;
        width = Int32(newWidth);
        height = Int32(newHeight);
        return pixel.resizeForOverwrite(std::size_t(newWidth) * newHeight * bytesOfPixel);
    }
};

/// One kind of image file. Files are decoded from and encoded into memory.
class ImageFormat
{
public:
    const Char8* mimeType;
    /// Lower case, separated by blanks; the first one is the usual one.
    const Char8* suffixes;
    /// Whether the first bytes are those of such a file; null if they tell nothing.
    bool (*matches)(const UInt8* data, std::size_t size);
    /// False, with the reason, for what is no such file.
    bool (*decode)(const UInt8* data, std::size_t size, DecodedImage& image, std::string& reason);
    /// Null if it cannot be written. \a image has pixels, one layer of them. False, with the reason, if its
    /// format does not fit.
    bool (*encode)(const Image& image, const std::string& options, std::string& out, std::string& reason);

    bool hasSuffix(const std::string& suffix) const;
};

extern const ImageFormat bmpImageFormat;
extern const ImageFormat jpgImageFormat;
extern const ImageFormat pngImageFormat;
extern const ImageFormat tgaImageFormat;
extern const ImageFormat tifImageFormat;

/// Whether an image of this size, 8 bytes a pixel at most, may be allocated: within the bounds of the
/// handler, and no more than \a pixelsOfByte pixels for each of the \a bytes that are left to hold them.
bool checkImageSize(UInt64 width, UInt64 height, std::size_t bytes, UInt64 pixelsOfByte, std::string& reason);

OSG_END_NAMESPACE
