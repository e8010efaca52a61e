#include "OSGImageFormat.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

#include <tiffio.h>

OSG_BEGIN_NAMESPACE

namespace
{

/// The library may not take more at once; sizes of images have been checked by then.
constexpr tmsize_t maxBlock = tmsize_t(2000) << 20;

/// A file in memory and the first thing that was wrong with it.
struct TifState {
    const UInt8* data = nullptr; ///< reading
    std::string* out = nullptr;  ///< writing
    std::size_t size = 0;
    std::size_t position = 0;
    std::string error;
};

tmsize_t readBytes(thandle_t handle, void* target, tmsize_t count)
{
    TifState& state = *static_cast<TifState*>(handle);
    const std::size_t left = state.position < state.size ? state.size - state.position : 0;
    const std::size_t taken = std::min(left, count > 0 ? std::size_t(count) : 0);
    const UInt8* const data = state.out ? reinterpret_cast<const UInt8*>(state.out->data()) : state.data;
    if (taken != 0) {
        std::memcpy(target, data + state.position, taken);
    }
    state.position += taken;
    return tmsize_t(taken);
}

tmsize_t writeBytes(thandle_t handle, void* source, tmsize_t count)
{
    TifState& state = *static_cast<TifState*>(handle);
    if (!state.out || count <= 0) {
        return 0;
    }
    const std::size_t end = state.position + std::size_t(count);
    try {
        if (state.out->size() < end) {
            state.out->resize(end);
        }
    } catch (const std::exception&) { // must not pass through the library
        return 0;
    }
    std::memcpy(&(*state.out)[state.position], source, std::size_t(count));
    state.position = end;
    state.size = state.out->size();
    return count;
}

toff_t seek(thandle_t handle, toff_t offset, int whence)
{
    TifState& state = *static_cast<TifState*>(handle);
    const std::size_t base = whence == SEEK_SET ? 0 : (whence == SEEK_CUR ? state.position : state.size);
    state.position = base + std::size_t(offset);
    return state.position;
}

int close(thandle_t)
{
    return 0;
}

toff_t sizeOf(thandle_t handle)
{
    return static_cast<TifState*>(handle)->size;
}

int onError(TIFF*, void* user, const char* module, const char* format, va_list arguments)
{
    std::string& error = static_cast<TifState*>(user)->error;
    if (error.empty()) {
        Char8 text[200];
        std::vsnprintf(text, sizeof(text), format, arguments);
        error = module && *module ? std::string(module) + ": " + text : text;
    }
    return 1;
}

int onWarning(TIFF*, void*, const char*, const char*, va_list)
{
    return 1;
}

struct TifCloser {
    void operator()(TIFF* tif) const { TIFFClose(tif); }
    void operator()(TIFFOpenOptions* options) const { TIFFOpenOptionsFree(options); }
};
typedef std::unique_ptr<TIFF, TifCloser> TifFile;

TifFile open(TifState& state, const Char8* mode)
{
    const std::unique_ptr<TIFFOpenOptions, TifCloser> options(TIFFOpenOptionsAlloc());
    TIFFOpenOptionsSetMaxSingleMemAlloc(options.get(), maxBlock);
    TIFFOpenOptionsSetErrorHandlerExtR(options.get(), onError, &state);
    TIFFOpenOptionsSetWarningHandlerExtR(options.get(), onWarning, &state);
    return TifFile(TIFFClientOpenExt("image", mode, &state, readBytes, writeBytes, seek, close, sizeOf,
                                     nullptr, nullptr, options.get()));
}

// -- Read -------------------------------------------------------------------------------------

template <class T>
T tagOf(TIFF* tif, UInt32 tag, T absent)
{
    T value = absent;
    return TIFFGetFieldDefaulted(tif, tag, &value) ? value : absent;
}

UInt32 formatOf(UInt32 channels)
{
    static constexpr UInt32 formats[] = {Image::OSG_L_PF, Image::OSG_LA_PF, Image::OSG_RGB_PF,
                                         Image::OSG_RGBA_PF};
    return formats[channels - 1];
}

/// Rows as they are, for files that hold them so: 8 bits, channels side by side, from the top down.
bool readRows(TIFF* tif, UInt32 width, UInt32 height, UInt32 channels, DecodedImage& image)
{
    const std::size_t rowSize = std::size_t(width) * channels;
    UInt8* const pixels = image.allocate(formatOf(channels), width, height, channels);
    for (UInt32 row = 0; row < height; ++row) {
        if (TIFFReadScanline(tif, pixels + rowSize * (height - 1 - row), row, 0) < 0) {
            return false;
        }
    }
    return true;
}

/// All other kinds through the library's conversion into RGBA of 8 bits, alpha multiplied in.
bool readConverted(TIFF* tif, UInt32 width, UInt32 height, UInt32 channels, DecodedImage& image)
{
    const std::size_t count = std::size_t(width) * height;
    std::vector<UInt32> colors(count);
    if (!TIFFReadRGBAImageOriented(tif, width, height, colors.data(), ORIENTATION_BOTLEFT, 1)) {
        return false;
    }
    UInt8* out = image.allocate(formatOf(channels), width, height, channels);
    for (const UInt32 color : colors) {
        *out++ = UInt8(TIFFGetR(color));
        if (channels > 2) {
            *out++ = UInt8(TIFFGetG(color));
            *out++ = UInt8(TIFFGetB(color));
        }
        if (channels % 2 == 0) {
            *out++ = UInt8(TIFFGetA(color));
        }
    }
    return true;
}

bool decode(const UInt8* data, std::size_t size, DecodedImage& image, std::string& reason)
{
    TifState state;
    state.data = data;
    state.size = size;
    const TifFile tif = open(state, "rm");
    bool ok = tif != nullptr;
    if (ok) {
        const UInt32 width = tagOf<uint32_t>(tif.get(), TIFFTAG_IMAGEWIDTH, 0);
        const UInt32 height = tagOf<uint32_t>(tif.get(), TIFFTAG_IMAGELENGTH, 0);
        const UInt32 samples = tagOf<uint16_t>(tif.get(), TIFFTAG_SAMPLESPERPIXEL, 1);
        const UInt32 photometric = tagOf<uint16_t>(tif.get(), TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
        // A white row of a fax takes one bit, whatever its length.
        if (!checkImageSize(width, height, size, UInt64(1) << 17, reason)) {
            return false;
        }
        const bool grey = photometric == PHOTOMETRIC_MINISBLACK || photometric == PHOTOMETRIC_MINISWHITE;
        const bool alpha = samples == (grey ? 2u : 4u) && photometric != PHOTOMETRIC_SEPARATED;
        const UInt32 channels = (grey ? 1u : 3u) + (alpha ? 1u : 0u);
        const bool plain = (photometric == PHOTOMETRIC_MINISBLACK || photometric == PHOTOMETRIC_RGB) &&
                           samples == channels && tagOf<uint16_t>(tif.get(), TIFFTAG_BITSPERSAMPLE, 1) == 8 &&
                           tagOf<uint16_t>(tif.get(), TIFFTAG_PLANARCONFIG, 1) == PLANARCONFIG_CONTIG &&
                           tagOf<uint16_t>(tif.get(), TIFFTAG_ORIENTATION, 1) == ORIENTATION_TOPLEFT &&
                           tagOf<uint16_t>(tif.get(), TIFFTAG_SAMPLEFORMAT, 1) == SAMPLEFORMAT_UINT &&
                           !TIFFIsTiled(tif.get()) &&
                           TIFFScanlineSize(tif.get()) == tmsize_t(width) * tmsize_t(channels);
        const UInt32 unit = tagOf<uint16_t>(tif.get(), TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
        const Real32 dots = unit == RESUNIT_INCH ? 1.f : (unit == RESUNIT_CENTIMETER ? 2.54f : 0.f);
        image.resX = dots * tagOf<Real32>(tif.get(), TIFFTAG_XRESOLUTION, 0.f);
        image.resY = dots * tagOf<Real32>(tif.get(), TIFFTAG_YRESOLUTION, 0.f);
        ok = plain ? readRows(tif.get(), width, height, channels, image)
                   : readConverted(tif.get(), width, height, channels, image);
    }
    if (!ok) {
        reason = state.error.empty() ? "not a TIFF file that can be read" : state.error;
    }
    return ok;
}

bool matches(const UInt8* data, std::size_t size)
{
    return size >= 4 && (std::memcmp(data, "II*\0", 4) == 0 || std::memcmp(data, "MM\0*", 4) == 0 ||
                         std::memcmp(data, "II+\0", 4) == 0 || std::memcmp(data, "MM\0+", 4) == 0);
}

// -- Write ------------------------------------------------------------------------------------

bool writeAll(TIFF* tif, const Image& image, UInt32 channels)
{
    const UInt32 width = UInt32(image.getWidth()), height = UInt32(image.getHeight());
    TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, width);
    TIFFSetField(tif, TIFFTAG_IMAGELENGTH, height);
    TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, channels);
    TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, 8);
    TIFFSetField(tif, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
    TIFFSetField(tif, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, channels < 3 ? PHOTOMETRIC_MINISBLACK : PHOTOMETRIC_RGB);
    TIFFSetField(tif, TIFFTAG_COMPRESSION, COMPRESSION_LZW);
    if (channels % 2 == 0) {
        const uint16_t alpha = EXTRASAMPLE_UNASSALPHA;
        TIFFSetField(tif, TIFFTAG_EXTRASAMPLES, 1, &alpha);
    }
    if (image.getResX() > 0 && image.getResY() > 0) {
        TIFFSetField(tif, TIFFTAG_RESOLUTIONUNIT,
                     image.getResUnit() == 3 ? RESUNIT_CENTIMETER : RESUNIT_INCH);
        TIFFSetField(tif, TIFFTAG_XRESOLUTION, Real64(image.getResX()));
        TIFFSetField(tif, TIFFTAG_YRESOLUTION, Real64(image.getResY()));
    }
    TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, TIFFDefaultStripSize(tif, 0));

    const std::size_t rowSize = std::size_t(width) * channels;
    std::vector<UInt8> row(rowSize); // the library may change what it is given
    for (UInt32 i = 0; i < height; ++i) {
        std::memcpy(row.data(), image.getData() + rowSize * (height - 1 - i), rowSize);
        if (TIFFWriteScanline(tif, row.data(), i, 0) < 0) {
            return false;
        }
    }
    return TIFFFlush(tif) != 0;
}

bool encode(const Image& image, const std::string&, std::string& out, std::string& reason)
{
    const UInt32 format = image.getPixelFormat();
    const bool fits = format == Image::OSG_L_PF || format == Image::OSG_LA_PF ||
                      format == Image::OSG_RGB_PF || format == Image::OSG_RGBA_PF;
    if (!fits || image.getDataType() != Image::OSG_UINT8_IMAGEDATA) {
        reason = "TIFF is written of grey and RGB, with or without alpha, of 8 bits only";
        return false;
    }
    TifState state;
    state.out = &out;
    // Little-endian, so that the bytes are the same everywhere.
    TifFile tif = open(state, "wl");
    const bool done = tif && writeAll(tif.get(), image, image.getComponents());
    tif.reset(); // writes what is left
    if (!done || !state.error.empty()) {
        reason = state.error.empty() ? "out of memory" : state.error;
        return false;
    }
    return true;
}

} // namespace

const ImageFormat tifImageFormat = {"image/tiff", "tif tiff", matches, decode, encode};

OSG_END_NAMESPACE
