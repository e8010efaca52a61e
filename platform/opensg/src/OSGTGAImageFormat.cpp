#include "OSGImageFormat.h"

#include <algorithm>
#include <cstring>

OSG_BEGIN_NAMESPACE

namespace
{

// All numbers are little-endian. Pixels are blue, green, red, alpha.

UInt32 u16(const UInt8* p)
{
    return UInt32(p[0]) | UInt32(p[1]) << 8;
}

constexpr std::size_t headerSize = 18;

struct TgaHeader {
    UInt32 idLength;
    bool hasMap;
    UInt32 kind; ///< 1 palette, 2 colour, 3 grey
    bool runs;   ///< run-length coded
    UInt32 mapFirst;
    UInt32 mapCount;
    UInt32 mapBits;
    UInt32 width;
    UInt32 height;
    UInt32 bits;
    UInt32 alphaBits;
    bool fromRight;
    bool fromTop;

    explicit TgaHeader(const UInt8* p)
        : idLength(p[0]), hasMap(p[1] == 1), kind(p[2] & 7), runs((p[2] & 8) != 0), mapFirst(u16(p + 3)),
          mapCount(u16(p + 5)), mapBits(p[7]), width(u16(p + 12)), height(u16(p + 14)), bits(p[16]),
          alphaBits(p[17] & 15), fromRight((p[17] & 0x10) != 0), fromTop((p[17] & 0x20) != 0)
    {
    }
};

bool isPossible(const UInt8* p)
{
    const TgaHeader header(p);
    if (p[1] > 1 || (p[2] & ~UInt32(8)) != header.kind || (p[17] & 0xc0) != 0) {
        return false;
    }
    const auto isColor = [](UInt32 bits) { return bits == 15 || bits == 16 || bits == 24 || bits == 32; };
    switch (header.kind) {
    case 1:
        return header.hasMap && (header.bits == 8 || header.bits == 16) && isColor(header.mapBits);
    case 2:
        return isColor(header.bits);
    case 3:
        return header.bits == 8 || header.bits == 16;
    default:
        return false;
    }
}

/// Channels of a colour of so many bits. The one bit of alpha that 16 may hold is in use by very few programs
/// and 0 in the files of all others: it is left out.
UInt32 channelsOf(UInt32 colorBits)
{
    return colorBits == 32 ? 4 : 3;
}

/// Turns a stored colour into its channels.
void storeColor(const UInt8* source, UInt32 colorBits, UInt8* target)
{
    if (colorBits < 24) {
        const UInt32 value = u16(source);
        const auto widen = [](UInt32 five) { return UInt8(five << 3 | five >> 2); };
        target[0] = widen(value >> 10 & 31);
        target[1] = widen(value >> 5 & 31);
        target[2] = widen(value & 31);
        return;
    }
    target[0] = source[2];
    target[1] = source[1];
    target[2] = source[0];
    if (colorBits == 32) {
        target[3] = source[3];
    }
}

class TgaReader
{
public:
    TgaReader(const UInt8* data, std::size_t size) : _pos(data), _end(data + size), _header(data) {}

    bool read(DecodedImage& image, std::string& reason)
    {
        _pos += headerSize;
        const std::size_t mapEntry = (_header.mapBits + 7) / 8;
        const std::size_t mapSize = _header.hasMap ? _header.mapCount * mapEntry : 0;
        if (std::size_t(_end - _pos) < _header.idLength + mapSize) {
            reason = "the file ends within its colour map";
            return false;
        }
        _map = _pos + _header.idLength;
        _pos = _map + mapSize;
        _entry = (_header.bits + 7) / 8;
        // A run of 128 pixels takes one byte and a pixel.
        if (!checkImageSize(_header.width, _header.height, std::size_t(_end - _pos), _header.runs ? 64 : 1,
                            reason)) {
            return false;
        }

        const UInt32 colorBits = _header.kind == 1 ? _header.mapBits : _header.bits;
        _channels = _header.kind == 3 ? _header.bits / 8 : channelsOf(colorBits);
        static constexpr UInt32 formats[] = {Image::OSG_L_PF, Image::OSG_LA_PF, Image::OSG_RGB_PF,
                                             Image::OSG_RGBA_PF};
        _pixels = image.allocate(formats[_channels - 1], _header.width, _header.height, _channels);
        if (!(_header.runs ? readRuns(reason) : readPlain(reason))) {
            return false;
        }
        turn();
        return true;
    }

private:
    std::size_t left() const { return std::size_t(_end - _pos); }
    std::size_t pixelCount() const { return std::size_t(_header.width) * _header.height; }

    /// One pixel of the file as channels of the image.
    bool convert(const UInt8* source, UInt8* target, std::string& reason) const
    {
        if (_header.kind == 1) {
            const UInt32 index = _header.bits == 8 ? source[0] : u16(source);
            if (index < _header.mapFirst || index - _header.mapFirst >= _header.mapCount) {
                reason = "colour " + std::to_string(index) + " is not in the colour map";
                return false;
            }
            const std::size_t mapEntry = (_header.mapBits + 7) / 8;
            storeColor(_map + (index - _header.mapFirst) * mapEntry, _header.mapBits, target);
        } else if (_header.kind == 2) {
            storeColor(source, _header.bits, target);
        } else {
            std::memcpy(target, source, _channels);
        }
        return true;
    }

    bool readPlain(std::string& reason)
    {
        if (left() / _entry < pixelCount()) {
            reason = "the file ends within its pixels";
            return false;
        }
        UInt8* target = _pixels;
        for (std::size_t i = pixelCount(); i > 0; --i, _pos += _entry, target += _channels) {
            if (!convert(_pos, target, reason)) {
                return false;
            }
        }
        return true;
    }

    bool readRuns(std::string& reason)
    {
        UInt8* target = _pixels;
        for (std::size_t missing = pixelCount(); missing > 0;) {
            if (left() < 1) {
                reason = "the file ends within its pixels";
                return false;
            }
            const UInt8 head = *_pos++;
            const bool repeated = (head & 0x80) != 0;
            const std::size_t count = std::min(std::size_t(head & 0x7f) + 1, missing);
            if (left() < (repeated ? 1 : count) * _entry) {
                reason = "the file ends within its pixels";
                return false;
            }
            for (std::size_t i = 0; i < count; ++i, target += _channels) {
                if (repeated && i > 0) {
                    std::memcpy(target, target - _channels, _channels);
                    continue;
                }
                if (!convert(_pos, target, reason)) {
                    return false;
                }
                _pos += _entry;
            }
            missing -= count;
        }
        return true;
    }

    // To rows from the bottom up, from left to right.
    void turn()
    {
        const std::size_t rowSize = std::size_t(_header.width) * _channels;
        if (_header.fromTop) {
            for (UInt32 low = 0, high = _header.height - 1; low < high; ++low, --high) {
                std::swap_ranges(_pixels + low * rowSize, _pixels + (low + 1) * rowSize,
                                 _pixels + high * rowSize);
            }
        }
        if (_header.fromRight) {
            for (UInt32 row = 0; row < _header.height; ++row) {
                UInt8* left = _pixels + row * rowSize;
                UInt8* right = left + rowSize - _channels;
                for (; left < right; left += _channels, right -= _channels) {
                    std::swap_ranges(left, left + _channels, right);
                }
            }
        }
    }

    const UInt8* _pos;
    const UInt8* const _end;
    const TgaHeader _header;
    const UInt8* _map = nullptr;
    std::size_t _entry = 0; ///< bytes of a stored pixel
    UInt32 _channels = 0;
    UInt8* _pixels = nullptr;
};

bool decode(const UInt8* data, std::size_t size, DecodedImage& image, std::string& reason)
{
    if (size < headerSize || !isPossible(data)) {
        reason = "not a TGA file of a kind that is known";
        return false;
    }
    return TgaReader(data, size).read(image, reason);
}

} // namespace

const ImageFormat tgaImageFormat = {"image/x-targa", "tga targa", nullptr, decode, nullptr};

OSG_END_NAMESPACE
