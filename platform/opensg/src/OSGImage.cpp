#include <OpenSG/OSGImage.h>

#include <OpenSG/OSGImageFileHandler.h>
#include <OpenSG/OSGImageGenericAtt.h>
#include <OpenSG/OSGLog.h>

#include <algorithm>
#include <cstring>
#include <limits>

OSG_BEGIN_NAMESPACE

OSG_FIELD_CONTAINER_INST(Image, nullptr)

// -- Formats ----------------------------------------------------------------------------------

namespace
{

struct FormatRow {
    UInt32 format;
    UInt32 components;
    UInt32 blockSize; ///< bytes of 4 x 4 pixels; 0: not compressed
    bool alpha;
    bool color;
};

constexpr FormatRow formatRows[] = {
    {Image::OSG_A_PF, 1, 0, true, false},      {Image::OSG_I_PF, 1, 0, true, false},
    {Image::OSG_L_PF, 1, 0, false, false},     {Image::OSG_LA_PF, 2, 0, true, false},
    {Image::OSG_RGB_PF, 3, 0, false, true},    {Image::OSG_RGBA_PF, 4, 0, true, true},
    {Image::OSG_BGR_PF, 3, 0, false, true},    {Image::OSG_BGRA_PF, 4, 0, true, true},
    {Image::OSG_RGB_DXT1, 3, 8, false, true},  {Image::OSG_RGBA_DXT1, 4, 8, true, true},
    {Image::OSG_RGBA_DXT3, 4, 16, true, true}, {Image::OSG_RGBA_DXT5, 4, 16, true, true},
};

const FormatRow* formatOf(UInt32 format)
{
    for (const FormatRow& row : formatRows) {
        if (row.format == format) {
            return &row;
        }
    }
    return nullptr;
}

/// Bytes of a channel; 0 for an unknown type.
UInt32 sizeOfType(Int32 dataType)
{
    switch (dataType) {
    case Image::OSG_UINT8_IMAGEDATA:
        return 1;
    case Image::OSG_UINT16_IMAGEDATA:
    case Image::OSG_INT16_IMAGEDATA:
    case Image::OSG_FLOAT16_IMAGEDATA:
        return 2;
    case Image::OSG_UINT32_IMAGEDATA:
    case Image::OSG_INT32_IMAGEDATA:
    case Image::OSG_FLOAT32_IMAGEDATA:
        return 4;
    default:
        return 0;
    }
}

constexpr UInt64 maxBytes = std::numeric_limits<Int32>::max();

UInt64 product(UInt64 a, UInt64 b)
{
    // Factors are below 2^32 as soon as one product has been cut.
    return std::min(a * std::min(b, maxBytes + 1), maxBytes + 1);
}

struct Extent {
    Int32 width;
    Int32 height;
    Int32 depth;
};

/// Bytes of one level; more than maxBytes for what is too large.
UInt64 levelSize(const FormatRow& format, UInt32 componentSize, const Extent& extent, UInt32 level)
{
    const auto side = [level](Int32 full) {
        return UInt64(level < 31 ? std::max(full >> level, Int32(1)) : Int32(1));
    };
    const UInt64 width = side(extent.width), height = side(extent.height), depth = side(extent.depth);
    if (format.blockSize != 0) {
        return product(product((width + 3) / 4 * format.blockSize, (height + 3) / 4), depth);
    }
    return product(product(width * format.components * componentSize, height), depth);
}

/// Bytes of the first \a levels levels. From the 32nd on all have the same size: numbers from files may be
/// large.
UInt64 levelsSize(const FormatRow& format, UInt32 componentSize, const Extent& extent, UInt32 levels)
{
    constexpr UInt32 different = 31;
    UInt64 size = 0;
    for (UInt32 level = 0; level < std::min(levels, different); ++level) {
        size = std::min(size + levelSize(format, componentSize, extent, level), maxBytes + 1);
    }
    if (levels > different) {
        size += product(levelSize(format, componentSize, extent, different), levels - different);
    }
    return std::min(size, maxBytes + 1);
}

Extent extentOf(const Image& image)
{
    return {image.getWidth(), image.getHeight(), image.getDepth()};
}

UInt64 frameBytes(const Image& image)
{
    const FormatRow* const format = formatOf(image.getPixelFormat());
    const UInt32 componentSize = sizeOfType(image.getDataType());
    const Extent extent = extentOf(image);
    if (!format || componentSize == 0 || extent.width < 1 || extent.height < 1 || extent.depth < 1 ||
        image.getMipMapCount() < 1 || image.getFrameCount() < 1 || image.getSideCount() < 1) {
        return 0;
    }
    return levelsSize(*format, componentSize, extent, UInt32(image.getMipMapCount()));
}

} // namespace

// -- Set --------------------------------------------------------------------------------------

bool Image::set(UInt32 pixelFormat, Int32 width, Int32 height, Int32 depth, Int32 mipMapCount,
                Int32 frameCount, Time frameDelay, const UInt8* data, Int32 dataType, bool allocMem,
                Int32 sideCount)
{
    const FormatRow* const format = formatOf(pixelFormat);
    const UInt32 componentSize = sizeOfType(dataType);
    if (!format || componentSize == 0) {
        SWARNING << "Image::set: pixel format " << pixelFormat << " with data type " << dataType
                 << " is not known" << std::endl;
        return false;
    }
    const Extent extent = {std::max(width, 1), std::max(height, 1), std::max(depth, 1)};
    const UInt32 levels = UInt32(std::max(mipMapCount, 1));
    const UInt64 frame = levelsSize(*format, componentSize, extent, levels);
    const UInt64 side = product(frame, UInt64(std::max(frameCount, 1)));
    const UInt64 all = product(side, UInt64(std::max(sideCount, 1)));
    if (all > maxBytes) {
        SWARNING << "Image::set: an image of " << extent.width << " x " << extent.height << " x "
                 << extent.depth << " pixels is too large" << std::endl;
        return false;
    }

    MFUInt8 pixel;
    if (allocMem) {
        if (data) {
            std::memcpy(pixel.resizeForOverwrite(std::size_t(all)), data, std::size_t(all));
        } else {
            pixel.resize(std::size_t(all));
        }
    }
    _mfPixel.swap(pixel);
    _sfPixelFormat.setValue(pixelFormat);
    _sfDataType.setValue(dataType);
    _sfWidth.setValue(extent.width);
    _sfHeight.setValue(extent.height);
    _sfDepth.setValue(extent.depth);
    _sfMipMapCount.setValue(Int32(levels));
    _sfFrameCount.setValue(std::max(frameCount, 1));
    _sfFrameDelay.setValue(frameDelay);
    _sfSideCount.setValue(std::max(sideCount, 1));
    updateSizes();
    return allocMem;
}

bool Image::set(const ImagePtr& image)
{
    if (!image) {
        SWARNING << "Image::set: no image" << std::endl;
        return false;
    }
    if (image.getCPtr() == this) {
        return true;
    }
    for (UInt32 id = DimensionFieldId; id <= ResUnitFieldId; ++id) {
        getField(id)->setAbstrValue(*image->getField(id));
    }
    return true;
}

bool Image::setData(const UInt8* data)
{
    const UInt32 size = getSize();
    if (size == 0) {
        SWARNING << "Image::setData: the image has no format yet" << std::endl;
        return false;
    }
    _mfPixel.resize(size);
    if (data) {
        std::memmove(_mfPixel.data(), data, size);
    } else {
        clear();
    }
    return true;
}

void Image::clearData()
{
    MFUInt8().swap(_mfPixel);
}

void Image::clear(UInt8 value)
{
    std::fill(_mfPixel.begin(), _mfPixel.end(), value);
}

void Image::changed(BitVector mask, UInt32 origin)
{
    updateSizes();
    Inherited::changed(mask, origin);
}

// What follows from sizes and format.
void Image::updateSizes()
{
    const FormatRow* const format = formatOf(getPixelFormat());
    const UInt32 componentSize = sizeOfType(getDataType());
    if (!format || componentSize == 0) {
        return;
    }
    _sfComponentSize.setValue(Int32(componentSize));
    _sfBpp.setValue(Int32(format->components * componentSize));
    _sfDimension.setValue(getDepth() > 1 ? 3 : (getHeight() > 1 ? 2 : 1));
    _sfFrameSize.setValue(Int32(getSize(true, false, false)));
    _sfSideSize.setValue(Int32(getSize(true, true, false)));
}

// -- Look -------------------------------------------------------------------------------------

UInt32 Image::getSize(bool withMipmap, bool withFrames, bool withSides) const
{
    UInt64 size = frameBytes(*this);
    if (size == 0) {
        return 0;
    }
    if (!withMipmap) {
        size = levelSize(*formatOf(getPixelFormat()), sizeOfType(getDataType()), extentOf(*this), 0);
    }
    size = product(size, withFrames ? UInt64(getFrameCount()) : 1);
    size = product(size, withSides ? UInt64(getSideCount()) : 1);
    return size <= maxBytes ? UInt32(size) : 0;
}

bool Image::isValid() const
{
    const UInt32 size = getSize();
    return size != 0 && size == _mfPixel.size();
}

UInt8* Image::getData(UInt32 mipmap, UInt32 frame, UInt32 side)
{
    if (!isValid() || Int64(mipmap) >= getMipMapCount() || Int64(frame) >= getFrameCount() ||
        Int64(side) >= getSideCount()) {
        return nullptr;
    }
    const UInt64 frameSize = frameBytes(*this);
    const UInt64 offset =
        (UInt64(side) * UInt64(getFrameCount()) + frame) * frameSize +
        levelsSize(*formatOf(getPixelFormat()), sizeOfType(getDataType()), extentOf(*this), mipmap);
    return _mfPixel.data() + offset;
}

UInt32 Image::getComponents() const
{
    const FormatRow* const format = formatOf(getPixelFormat());
    return format ? format->components : 0;
}

bool Image::hasAlphaChannel() const
{
    const FormatRow* const format = formatOf(getPixelFormat());
    return getForceAlphaChannel() || (format && format->alpha);
}

bool Image::hasColorChannel() const
{
    const FormatRow* const format = formatOf(getPixelFormat());
    return getForceColorChannel() || !format || format->color;
}

bool Image::operator==(const Image& other) const
{
    if (this == &other) {
        return true;
    }
    for (UInt32 id = DimensionFieldId; id <= ResUnitFieldId; ++id) {
        if (id != NameFieldId && !getField(id)->equals(*other.getField(id))) {
            return false;
        }
    }
    return true;
}

// -- Convert ----------------------------------------------------------------------------------

namespace
{

/// A pixel of any format, 8 bits for each channel.
struct Pixel {
    UInt8 red, green, blue, alpha;
};

UInt8 average(const Pixel& pixel)
{
    return UInt8((UInt32(pixel.red) + pixel.green + pixel.blue) / 3);
}

/// Reads pixels of one format; what is missing is as the table of reformat() has it.
template <UInt32 Format>
struct PixelReader;
template <>
struct PixelReader<Image::OSG_L_PF> {
    enum { Size = 1, Grey = 1 };
    static Pixel read(const UInt8* p) { return {p[0], p[0], p[0], p[0]}; }
    static UInt8 grey(const Pixel& pixel) { return pixel.red; }
};
template <>
struct PixelReader<Image::OSG_LA_PF> {
    enum { Size = 2, Grey = 1 };
    static Pixel read(const UInt8* p) { return {p[0], p[0], p[0], p[1]}; }
    static UInt8 grey(const Pixel& pixel) { return pixel.red; }
};
template <>
struct PixelReader<Image::OSG_RGB_PF> {
    enum { Size = 3, Grey = 0 };
    static Pixel read(const UInt8* p)
    {
        Pixel pixel = {p[0], p[1], p[2], 0};
        pixel.alpha = average(pixel);
        return pixel;
    }
    static UInt8 grey(const Pixel& pixel) { return average(pixel); }
};
template <>
struct PixelReader<Image::OSG_RGBA_PF> {
    enum { Size = 4, Grey = 0 };
    static Pixel read(const UInt8* p) { return {p[0], p[1], p[2], p[3]}; }
    static UInt8 grey(const Pixel& pixel) { return average(pixel); }
};
template <>
struct PixelReader<Image::OSG_BGR_PF> : PixelReader<Image::OSG_RGB_PF> {
    static Pixel read(const UInt8* p)
    {
        Pixel pixel = {p[2], p[1], p[0], 0};
        pixel.alpha = average(pixel);
        return pixel;
    }
};
template <>
struct PixelReader<Image::OSG_BGRA_PF> : PixelReader<Image::OSG_RGBA_PF> {
    static Pixel read(const UInt8* p) { return {p[2], p[1], p[0], p[3]}; }
};

template <class ReaderT>
void convertPixels(const UInt8* source, std::size_t count, UInt32 format, UInt8* target)
{
    for (std::size_t i = 0; i < count; ++i, source += ReaderT::Size) {
        const Pixel pixel = ReaderT::read(source);
        switch (format) {
        case Image::OSG_A_PF:
            *target++ = pixel.alpha;
            break;
        case Image::OSG_I_PF:
        case Image::OSG_L_PF:
            *target++ = ReaderT::grey(pixel);
            break;
        case Image::OSG_LA_PF:
            *target++ = ReaderT::grey(pixel);
            *target++ = pixel.alpha;
            break;
        case Image::OSG_RGB_PF:
        case Image::OSG_RGBA_PF:
            *target++ = pixel.red;
            *target++ = pixel.green;
            *target++ = pixel.blue;
            if (format == Image::OSG_RGBA_PF) {
                *target++ = pixel.alpha;
            }
            break;
        case Image::OSG_BGR_PF:
        case Image::OSG_BGRA_PF:
            *target++ = pixel.blue;
            *target++ = pixel.green;
            *target++ = pixel.red;
            if (format == Image::OSG_BGRA_PF) {
                *target++ = pixel.alpha;
            }
            break;
        default:
            break;
        }
    }
}

/// Channels of the first level of the first frame as 8 bits; the image's own where they are.
const UInt8* channelsOf(const Image& image, std::vector<UInt8>& store)
{
    const UInt8* const data = image.getData();
    if (image.getDataType() == Image::OSG_UINT8_IMAGEDATA) {
        return data;
    }
    const std::size_t size = sizeOfType(image.getDataType());
    store.resize(image.getSize(false, false, false) / size);
    for (std::size_t i = 0; i < store.size(); ++i) {
        const UInt8* const from = data + i * size;
        switch (image.getDataType()) {
        case Image::OSG_UINT16_IMAGEDATA: {
            UInt16 value;
            std::memcpy(&value, from, sizeof(value));
            store[i] = UInt8(value >> 8);
            break;
        }
        case Image::OSG_UINT32_IMAGEDATA: {
            UInt32 value;
            std::memcpy(&value, from, sizeof(value));
            store[i] = UInt8(value >> 24);
            break;
        }
        case Image::OSG_FLOAT32_IMAGEDATA: {
            Real32 value;
            std::memcpy(&value, from, sizeof(value));
            store[i] = value >= 1.f ? UInt8(255) : (value > 0.f ? UInt8(value * 255.f + .5f) : UInt8(0));
            break;
        }
        default:
            return nullptr;
        }
    }
    return store.data();
}

} // namespace

bool Image::reformat(UInt32 pixelFormat, ImagePtr destination)
{
    const FormatRow* const from = formatOf(getPixelFormat());
    const FormatRow* const to = formatOf(pixelFormat);
    if (!from || !to || from->blockSize != 0 || to->blockSize != 0 || !isValid()) {
        SWARNING << "Image::reformat: no pixels that could be turned from format " << getPixelFormat()
                 << " into " << pixelFormat << std::endl;
        return false;
    }
    const bool inPlace = !destination || destination.getCPtr() == this;
    if (getPixelFormat() == pixelFormat) {
        return !inPlace && destination->set(ImagePtr(*this));
    }
    std::vector<UInt8> store;
    const UInt8* const source = channelsOf(*this, store);
    if (!source) {
        SWARNING << "Image::reformat: data type " << getDataType() << " is not supported" << std::endl;
        return false;
    }

    const std::size_t count = std::size_t(getWidth()) * std::size_t(getHeight()) * std::size_t(getDepth());
    std::vector<UInt8> target(count * to->components);
    switch (getPixelFormat()) {
    case OSG_LA_PF:
        convertPixels<PixelReader<OSG_LA_PF>>(source, count, pixelFormat, target.data());
        break;
    case OSG_RGB_PF:
        convertPixels<PixelReader<OSG_RGB_PF>>(source, count, pixelFormat, target.data());
        break;
    case OSG_RGBA_PF:
        convertPixels<PixelReader<OSG_RGBA_PF>>(source, count, pixelFormat, target.data());
        break;
    case OSG_BGR_PF:
        convertPixels<PixelReader<OSG_BGR_PF>>(source, count, pixelFormat, target.data());
        break;
    case OSG_BGRA_PF:
        convertPixels<PixelReader<OSG_BGRA_PF>>(source, count, pixelFormat, target.data());
        break;
    default:
        convertPixels<PixelReader<OSG_L_PF>>(source, count, pixelFormat, target.data());
        break;
    }
    Image& result = inPlace ? *this : *destination;
    return result.set(pixelFormat, getWidth(), getHeight(), getDepth(), 1, 1, 0.0, target.data());
}

bool Image::scale(Int32 width, Int32 height, Int32 depth, ImagePtr destination)
{
    const FormatRow* const format = formatOf(getPixelFormat());
    if (!format || format->blockSize != 0 || !isValid()) {
        SWARNING << "Image::scale: no pixels that could be scaled" << std::endl;
        return false;
    }
    const Extent extent = {std::max(width, 1), std::max(height, 1), std::max(depth, 1)};
    const std::size_t pixelSize = std::size_t(getBpp());
    const UInt64 size = levelSize(*format, sizeOfType(getDataType()), extent, 0);
    if (size > maxBytes) {
        SWARNING << "Image::scale: an image of " << extent.width << " x " << extent.height << " x "
                 << extent.depth << " pixels is too large" << std::endl;
        return false;
    }
    std::vector<UInt8> target(static_cast<std::size_t>(size));
    const UInt8* const source = getData();
    UInt8* out = target.data();
    const auto nearest = [](Int32 i, Int32 count, Int32 sourceCount) {
        return std::size_t(UInt64(i) * UInt64(sourceCount) / UInt64(count));
    };
    for (Int32 z = 0; z < extent.depth; ++z) {
        const std::size_t layer = nearest(z, extent.depth, getDepth()) * std::size_t(getHeight());
        for (Int32 y = 0; y < extent.height; ++y) {
            const std::size_t row =
                (layer + nearest(y, extent.height, getHeight())) * std::size_t(getWidth());
            for (Int32 x = 0; x < extent.width; ++x, out += pixelSize) {
                std::memcpy(out, source + (row + nearest(x, extent.width, getWidth())) * pixelSize,
                            pixelSize);
            }
        }
    }
    Image& result = destination ? *destination : *this;
    return result.set(getPixelFormat(), extent.width, extent.height, extent.depth, 1, 1, 0.0, target.data(),
                      getDataType());
}

// -- Files ------------------------------------------------------------------------------------

bool Image::read(const Char8* fileName)
{
    return ImageFileHandler::the().read(ImagePtr(*this), fileName);
}

bool Image::write(const Char8* fileName)
{
    return ImageFileHandler::the().write(ImagePtr(*this), fileName);
}

// -- Texts ------------------------------------------------------------------------------------

OSG_FIELD_CONTAINER_INST(ImageGenericAtt, nullptr)

std::string* ImageGenericAtt::findText(const std::string& key)
{
    const auto found = _texts.find(key);
    return found == _texts.end() ? nullptr : &found->second;
}

std::string* Image::findAttachmentField(const std::string& key) const
{
    const auto texts = ImageGenericAttPtr::dcast(findAttachment(ImageGenericAtt::getClassType()));
    return texts ? texts->findText(key) : nullptr;
}

void Image::setAttachmentField(const std::string& key, const std::string& value)
{
    auto texts = ImageGenericAttPtr::dcast(findAttachment(ImageGenericAtt::getClassType()));
    if (!texts) {
        texts = ImageGenericAtt::create();
        if (!texts) {
            return; // after osgExit
        }
        const CPEditor edit(ImagePtr(*this), AttachmentsFieldMask);
        addAttachment(texts);
    }
    texts->setText(key, value);
}

OSG_END_NAMESPACE
