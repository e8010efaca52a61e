#include "OSGImageFormat.h"

#include <algorithm>
#include <cstring>

OSG_BEGIN_NAMESPACE

namespace
{

// All numbers are little-endian; rows begin at multiples of 4 bytes.

UInt32 u16(const UInt8* p)
{
    return UInt32(p[0]) | UInt32(p[1]) << 8;
}

UInt32 u32(const UInt8* p)
{
    return u16(p) | u16(p + 2) << 16;
}

constexpr std::size_t fileHeaderSize = 14;
constexpr UInt32 oldHeaderSize = 12;
constexpr UInt32 infoHeaderSize = 40;
enum Compression : UInt32 { NotCompressed = 0, BitFields = 3, AlphaBitFields = 6 };

/// A channel within a pixel of 16 or 32 bits.
struct Channel {
    UInt32 mask = 0;
    UInt32 shift = 0;
    UInt32 largest = 0;

    Channel() {}
    explicit Channel(UInt32 newMask) : mask(newMask)
    {
        while (mask != 0 && (mask >> shift & 1) == 0) {
            ++shift;
        }
        largest = mask >> shift;
    }
    UInt8 of(UInt32 pixel) const
    {
        return largest == 0 ? UInt8(0)
                            : UInt8((UInt64((pixel & mask) >> shift) * 255 + largest / 2) / largest);
    }
};

class BmpReader
{
public:
    BmpReader(const UInt8* data, std::size_t size) : _data(data), _size(size) {}

    bool read(DecodedImage& image, std::string& reason)
    {
        return readHeader(reason) && readPixels(image, reason);
    }

private:
    bool readHeader(std::string& reason)
    {
        if (_size < fileHeaderSize + oldHeaderSize) {
            reason = "the file ends within its header";
            return false;
        }
        const UInt8* const p = _data + fileHeaderSize;
        const UInt32 headerSize = u32(p);
        const bool old = headerSize == oldHeaderSize;
        if ((!old && headerSize < infoHeaderSize) || headerSize > _size - fileHeaderSize) {
            reason = "a header of " + std::to_string(headerSize) + " bytes is not known";
            return false;
        }
        if (old) {
            _width = u16(p + 4);
            _height = u16(p + 6);
            _bits = u16(p + 10);
        } else {
            _width = u32(p + 4);
            _height = u32(p + 8);
            _bits = u16(p + 14);
            _compression = u32(p + 16);
            _fromTop = (_height & 0x80000000u) != 0;
            if (_fromTop) {
                _height = 0u - _height;
            }
        }
        const bool masks = _compression == BitFields || _compression == AlphaBitFields;
        if (_compression != NotCompressed && !(masks && (_bits == 16 || _bits == 32))) {
            reason = "compression " + std::to_string(_compression) + " is not supported";
            return false;
        }
        std::size_t paletteAt = fileHeaderSize + headerSize;
        switch (_bits) {
        case 1:
        case 4:
        case 8: {
            const UInt32 used = old ? 0 : u32(p + 32);
            _paletteEntry = old ? 3 : 4;
            _paletteCount = used != 0 ? std::min(used, UInt32(1) << _bits) : UInt32(1) << _bits;
            if (_size - paletteAt < std::size_t(_paletteCount) * _paletteEntry) {
                reason = "the file ends within its colour map";
                return false;
            }
            _palette = _data + paletteAt;
            break;
        }
        case 16:
            setChannels(0x7c00, 0x3e0, 0x1f, 0);
            break;
        case 24:
            break;
        case 32:
            setChannels(0xff0000, 0xff00, 0xff, 0);
            break;
        default:
            reason = std::to_string(_bits) + " bits for each pixel are not known";
            return false;
        }
        if (masks) {
            // Newer headers hold the masks; behind the old one they follow.
            const std::size_t at = fileHeaderSize + infoHeaderSize;
            const bool withAlpha = headerSize >= 56 || _compression == AlphaBitFields;
            if (_size - at < (withAlpha ? 16u : 12u)) {
                reason = "the file ends within its header";
                return false;
            }
            setChannels(u32(_data + at), u32(_data + at + 4), u32(_data + at + 8),
                        withAlpha ? u32(_data + at + 12) : 0);
        }
        _pixelsAt = u32(_data + 10);
        return true;
    }

    void setChannels(UInt32 red, UInt32 green, UInt32 blue, UInt32 alpha)
    {
        _channels[0] = Channel(red);
        _channels[1] = Channel(green);
        _channels[2] = Channel(blue);
        _channels[3] = Channel(alpha);
    }

    bool readPixels(DecodedImage& image, std::string& reason)
    {
        const std::size_t left = _pixelsAt < _size ? _size - _pixelsAt : 0;
        if (!checkImageSize(_width, _height, left, 8, reason)) {
            return false;
        }
        const std::size_t stored = (std::size_t(_width) * _bits + 31) / 32 * 4;
        // The last row need not be filled up.
        const std::size_t lastRow = (std::size_t(_width) * _bits + 7) / 8;
        if (left < lastRow || (left - lastRow) / stored < _height - 1) {
            reason = "the file ends within its pixels";
            return false;
        }
        const bool alpha = _channels[3].mask != 0;
        const UInt32 pixelSize = alpha ? 4 : 3;
        UInt8* const pixels =
            image.allocate(alpha ? Image::OSG_RGBA_PF : Image::OSG_RGB_PF, _width, _height, pixelSize);
        for (UInt32 row = 0; row < _height; ++row) {
            const UInt32 place = _fromTop ? _height - 1 - row : row;
            if (!readRow(_data + _pixelsAt + row * stored, pixels + std::size_t(place) * _width * pixelSize,
                         reason)) {
                return false;
            }
        }
        return true;
    }

    bool readRow(const UInt8* source, UInt8* target, std::string& reason) const
    {
        for (UInt32 x = 0; x < _width; ++x) {
            if (_bits <= 8) {
                const UInt32 bit = x * _bits;
                const UInt32 index = source[bit / 8] >> (8 - _bits - bit % 8) & ((1u << _bits) - 1);
                if (index >= _paletteCount) {
                    reason = "colour " + std::to_string(index) + " is not in the colour map";
                    return false;
                }
                const UInt8* const color = _palette + std::size_t(index) * _paletteEntry;
                *target++ = color[2];
                *target++ = color[1];
                *target++ = color[0];
            } else if (_bits == 24) {
                *target++ = source[3 * std::size_t(x) + 2];
                *target++ = source[3 * std::size_t(x) + 1];
                *target++ = source[3 * std::size_t(x)];
            } else {
                const UInt32 pixel =
                    _bits == 16 ? u16(source + 2 * std::size_t(x)) : u32(source + 4 * std::size_t(x));
                for (UInt32 i = 0; i < (_channels[3].mask != 0 ? 4u : 3u); ++i) {
                    *target++ = _channels[i].of(pixel);
                }
            }
        }
        return true;
    }

    const UInt8* const _data;
    const std::size_t _size;
    UInt32 _width = 0;
    UInt32 _height = 0;
    UInt32 _bits = 0;
    UInt32 _compression = NotCompressed;
    bool _fromTop = false;
    const UInt8* _palette = nullptr;
    UInt32 _paletteEntry = 0;
    UInt32 _paletteCount = 0;
    std::size_t _pixelsAt = 0;
    Channel _channels[4]; ///< red, green, blue, alpha
};

bool decode(const UInt8* data, std::size_t size, DecodedImage& image, std::string& reason)
{
    if (size < 2 || std::memcmp(data, "BM", 2) != 0) {
        reason = "not a BMP file";
        return false;
    }
    return BmpReader(data, size).read(image, reason);
}

bool matches(const UInt8* data, std::size_t size)
{
    return size >= fileHeaderSize + oldHeaderSize && std::memcmp(data, "BM", 2) == 0;
}

// -- Write ------------------------------------------------------------------------------------

void append16(std::string& out, UInt32 value)
{
    out += Char8(value & 0xff);
    out += Char8(value >> 8 & 0xff);
}

void append32(std::string& out, UInt32 value)
{
    append16(out, value & 0xffff);
    append16(out, value >> 16);
}

bool encode(const Image& image, const std::string&, std::string& out, std::string& reason)
{
    if (image.getPixelFormat() != Image::OSG_RGB_PF || image.getDataType() != Image::OSG_UINT8_IMAGEDATA) {
        reason = "BMP is written of RGB of 8 bits only";
        return false;
    }
    const UInt32 width = UInt32(image.getWidth()), height = UInt32(image.getHeight());
    const std::size_t rowSize = std::size_t(width) * 3, stored = (rowSize + 3) / 4 * 4;
    const UInt32 pixelsAt = UInt32(fileHeaderSize) + infoHeaderSize;
    const UInt64 size = pixelsAt + UInt64(stored) * height;
    if (size > 0xffffffffu) {
        reason = "the image is too large for BMP";
        return false;
    }
    out.reserve(std::size_t(size));
    out += "BM";
    append32(out, UInt32(size));
    append32(out, 0);
    append32(out, pixelsAt);
    append32(out, infoHeaderSize);
    append32(out, width);
    append32(out, height);
    append16(out, 1); // planes
    append16(out, 24);
    append32(out, NotCompressed);
    append32(out, UInt32(size) - pixelsAt);
    append32(out, 2835); // dots for each metre: 72 for each inch
    append32(out, 2835);
    append32(out, 0); // no colour map
    append32(out, 0);
    const UInt8* source = image.getData();
    for (UInt32 row = 0; row < height; ++row) {
        for (UInt32 x = 0; x < width; ++x, source += 3) {
            out += Char8(source[2]);
            out += Char8(source[1]);
            out += Char8(source[0]);
        }
        out.append(stored - rowSize, '\0');
    }
    return true;
}

} // namespace

const ImageFormat bmpImageFormat = {"image/bmp", "bmp dib", matches, decode, encode};

OSG_END_NAMESPACE
