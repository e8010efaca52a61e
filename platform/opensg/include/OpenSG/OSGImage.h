#pragma once

#include <OpenSG/OSGAttachmentContainer.h>
#include <OpenSG/OSGGL.h>

#include <string>

OSG_BEGIN_NAMESPACE

OSG_FC_HANDLE(Image, AttachmentContainerPtr)

/// Pixels: sides, in them frames, mipmap levels, layers, rows from the bottom up, columns, channels. Nothing
/// stands between rows.
///
/// The functions that change an image (set, reformat, read, ...) edit it by themselves, and either do all of
/// their work or leave the image as it was. The fields are there for files and for looking at: what is set
/// through them one by one need not fit together; isValid() tells.
class OSG_PLATFORM_API Image : public AttachmentContainer
{
    OSG_FIELD_CONTAINER(Image, AttachmentContainer)

    enum PixelFormat {
        OSG_INVALID_PF = 0,
        OSG_A_PF = GL_ALPHA,
        OSG_I_PF = GL_INTENSITY,
        OSG_L_PF = GL_LUMINANCE,
        OSG_LA_PF = GL_LUMINANCE_ALPHA,
        OSG_RGB_PF = GL_RGB,
        OSG_RGBA_PF = GL_RGBA,
        OSG_BGR_PF = GL_BGR,
        OSG_BGRA_PF = GL_BGRA,
        OSG_RGB_DXT1 = 0x83f0,
        OSG_RGBA_DXT1 = 0x83f1,
        OSG_RGBA_DXT3 = 0x83f2,
        OSG_RGBA_DXT5 = 0x83f3
    };
    enum Type {
        OSG_INVALID_IMAGEDATATYPE = 0,
        OSG_UINT8_IMAGEDATA = GL_UNSIGNED_BYTE,
        OSG_UINT16_IMAGEDATA = GL_UNSIGNED_SHORT,
        OSG_UINT32_IMAGEDATA = GL_UNSIGNED_INT,
        OSG_FLOAT32_IMAGEDATA = GL_FLOAT,
        OSG_FLOAT16_IMAGEDATA = 0x140b,
        OSG_INT16_IMAGEDATA = GL_SHORT,
        OSG_INT32_IMAGEDATA = GL_INT
    };

    // -- Fields --

    OSG_SFIELD(2, Dimension, dimension, Int32, 0)
    OSG_SFIELD(3, Width, width, Int32, 0)
    OSG_SFIELD(4, Height, height, Int32, 1)
    OSG_SFIELD(5, Depth, depth, Int32, 1)
    /// Bytes of a pixel.
    OSG_SFIELD(6, Bpp, bpp, Int32, 1)
    OSG_SFIELD(7, MipMapCount, mipMapCount, Int32, 1)
    OSG_SFIELD(8, FrameCount, frameCount, Int32, 1)
    OSG_SFIELD(9, FrameDelay, frameDelay, Time, 0.0)
    OSG_SFIELD(10, PixelFormat, pixelFormat, UInt32, OSG_INVALID_PF)
    OSG_MFIELD(11, Pixel, pixel, UInt8)
    /// Bytes of a frame with its mipmap levels.
    OSG_SFIELD_INTERNAL(12, FrameSize, frameSize, Int32, 0)
    /// File name; not the same as a Name attachment.
    OSG_SFIELD(13, Name, name, String, )
    OSG_SFIELD(14, DataType, dataType, Int32, OSG_UINT8_IMAGEDATA)
    /// Bytes of a channel.
    OSG_SFIELD_INTERNAL(15, ComponentSize, componentSize, Int32, 1)
    OSG_SFIELD(16, SideCount, sideCount, Int32, 1)
    /// Bytes of a side with its frames.
    OSG_SFIELD_INTERNAL(17, SideSize, sideSize, Int32, 0)
    OSG_SFIELD(18, ForceCompressedData, forceCompressedData, Bool, false)
    OSG_SFIELD(19, ForceAlphaChannel, forceAlphaChannel, Bool, false)
    OSG_SFIELD(20, ForceColorChannel, forceColorChannel, Bool, false)
    OSG_SFIELD(21, ForceAlphaBinary, forceAlphaBinary, Bool, false)
    /// Pixels for each unit of length; 0: not known.
    OSG_SFIELD(22, ResX, resX, Real32, 72.f)
    OSG_SFIELD(23, ResY, resY, Real32, 72.f)
    /// The unit of length, 2: inch.
    OSG_SFIELD(24, ResUnit, resUnit, UInt16, 2)

    // -- Set --

    /// Sizes below 1 become 1. \a data is copied; null gives zeroed pixels. False, and nothing changes, for a
    /// format or data type that is not known, or an image of 2 GB and more. Without \a allocMem there are no
    /// pixels, and the result is false.
    bool set(UInt32 pixelFormat, Int32 width, Int32 height = 1, Int32 depth = 1, Int32 mipMapCount = 1,
             Int32 frameCount = 1, Time frameDelay = 0.0, const UInt8* data = nullptr,
             Int32 dataType = OSG_UINT8_IMAGEDATA, bool allocMem = true, Int32 sideCount = 1);
    /// Takes over everything but the attachments. False for null.
    bool set(const ImagePtr& image);
    /// Copies all pixels, getSize() bytes; null zeroes them. False without a format.
    bool setData(const UInt8* data);
    /// Drops the pixels; the sizes stay.
    void clearData();
    /// Sets every byte.
    void clear(UInt8 value = 0);

    // -- Look --

    /// Whether there are pixels, and as many of them as sizes and format say.
    bool isValid() const;
    /// Null without pixels or beyond the last one.
    UInt8* getData(UInt32 mipmap = 0, UInt32 frame = 0, UInt32 side = 0);
    const UInt8* getData(UInt32 mipmap = 0, UInt32 frame = 0, UInt32 side = 0) const
    {
        return const_cast<Image*>(this)->getData(mipmap, frame, side);
    }
    /// Bytes of the pixels that sizes and format call for; 0 without a format.
    UInt32 getSize(bool withMipmap = true, bool withFrames = true, bool withSides = true) const;
    /// Channels of a pixel.
    UInt32 getComponents() const;
    /// By the format, or because it is forced.
    bool hasAlphaChannel() const;
    /// By the format, or because it is forced. True for an image without a format, too.
    bool hasColorChannel() const;
    /// All pixels and what they mean; names and attachments do not count.
    bool operator==(const Image& other) const;
    bool operator!=(const Image& other) const { return !(*this == other); }

    // -- Convert --

    /// Turns the first level of the first frame into 8 bits in another format: in place, or into \a
    /// destination.
    ///
    /// | from \ to | A   | I   | L   | LA       | RGB   | RGBA        |
    /// |-----------|-----|-----|-----|----------|-------|-------------|
    /// | A, I, L v | v   | v   | v   | v, v     | v v v | v v v, v    |
    /// | LA        | a   | l   | l   | l, a     | l l l | l l l, a    |
    /// | RGB, BGR  | avg | avg | avg | avg, avg | r g b | r g b, avg  |
    /// | RGBA, BGRA| a   | avg | avg | avg, a   | r g b | r g b, a    |
    ///
    /// avg is the sum of the three divided by 3, cut. That a channel that is missing becomes an alpha of its
    /// grey and not of 255 is deliberate: grey maps come out as masks that way.
    ///
    /// False, and nothing changes, for compressed or unknown formats, without pixels, and in place where the
    /// format is that already.
    bool reformat(UInt32 pixelFormat, ImagePtr destination = NullFC);
    /// Takes the nearest pixels, in place or into \a destination; first level of the first frame, no
    /// compressed formats.
    bool scale(Int32 width, Int32 height = 1, Int32 depth = 1, ImagePtr destination = NullFC);

    // -- Files, see ImageFileHandler --

    bool read(const Char8* fileName);
    bool write(const Char8* fileName);

    // -- Texts --

    /// Null if there is none. See ImageGenericAtt.
    std::string* findAttachmentField(const std::string& key) const;
    void setAttachmentField(const std::string& key, const std::string& value);

    void changed(BitVector mask, UInt32 origin) override;

protected:
    Image() {}
    Image(const Image&) = default;

private:
    void updateSizes();
};

OSG_END_NAMESPACE
