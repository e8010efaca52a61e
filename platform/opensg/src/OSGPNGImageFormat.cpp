#include "OSGImageFormat.h"

#include <cmath>
#include <csetjmp>
#include <cstdio>
#include <cstring>

#include <png.h>

OSG_BEGIN_NAMESPACE

namespace
{

constexpr UInt32 maxChunkBytes = 8u << 20;

/// What the library's callbacks share with the caller.
struct PngState {
    Char8 error[128] = "";
    const UInt8* data = nullptr; ///< reading
    std::size_t left = 0;
    std::string* out = nullptr; ///< writing
};

void onError(png_structp png, png_const_charp message)
{
    PngState& state = *static_cast<PngState*>(png_get_error_ptr(png));
    std::snprintf(state.error, sizeof(state.error), "%s", message);
    png_longjmp(png, 1);
}

void onWarning(png_structp, png_const_charp) {}

void onRead(png_structp png, png_bytep target, png_size_t count)
{
    PngState& state = *static_cast<PngState*>(png_get_io_ptr(png));
    if (count > state.left) {
        png_error(png, "the file ends too early");
    }
    std::memcpy(target, state.data, count);
    state.data += count;
    state.left -= count;
}

void onWrite(png_structp png, png_bytep source, png_size_t count)
{
    PngState& state = *static_cast<PngState*>(png_get_io_ptr(png));
    bool done = true;
    try {
        state.out->append(reinterpret_cast<const Char8*>(source), count);
    } catch (const std::exception&) { // must not pass through the library
        done = false;
    }
    if (!done) {
        png_error(png, "out of memory");
    }
}

void onFlush(png_structp) {}

/// Runs a step that may end in onError(); false if it does. The step must not own anything: its frame is left
/// without destructors.
template <class StepT>
bool runs(png_structp png, const StepT& step)
{
    if (setjmp(png_jmpbuf(png))) {
        return false;
    }
    step();
    return true;
}

bool isLittleEndian()
{
    const UInt16 one = 1;
    UInt8 first;
    std::memcpy(&first, &one, 1);
    return first == 1;
}

// -- Read -------------------------------------------------------------------------------------

class PngReader
{
public:
    PngReader(const UInt8* data, std::size_t size)
    {
        _state.data = data;
        _state.left = size;
        _png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &_state, onError, onWarning);
        _info = _png ? png_create_info_struct(_png) : nullptr;
    }
    ~PngReader() { png_destroy_read_struct(&_png, &_info, nullptr); }
    PngReader(const PngReader&) = delete;
    PngReader& operator=(const PngReader&) = delete;

    bool read(DecodedImage& image, std::string& reason)
    {
        if (!_info) {
            reason = "out of memory";
            return false;
        }
        const std::size_t size = _state.left;
        // The densest stream packs 1032 bytes, each of up to 8 pixels, into one.
        const bool ok = runs(_png, [this] { readHeader(); }) &&
                        checkImageSize(_width, _height, size, 1032 * 8, reason) &&
                        runs(_png, [this] { chooseForm(); }) && readPixels(image);
        if (!ok && reason.empty()) {
            reason = _state.error;
        }
        return ok;
    }

private:
    void readHeader()
    {
#ifdef FUZZING_BUILD_MODE_UNSAFE_FOR_PRODUCTION
        png_set_crc_action(_png, PNG_CRC_QUIET_USE, PNG_CRC_QUIET_USE);
        png_set_option(_png, PNG_IGNORE_ADLER32, PNG_OPTION_ON);
#endif
        png_set_read_fn(_png, &_state, onRead);
        png_set_user_limits(_png, 0x7fffffff, 0x7fffffff); // checkImageSize() has the clearer message
        png_set_chunk_malloc_max(_png, maxChunkBytes);
        png_set_chunk_cache_max(_png, 128);
        png_read_info(_png, _info);
        _width = png_get_image_width(_png, _info);
        _height = png_get_image_height(_png, _info);
    }

    // Palettes and transparent colours become channels; bits of 1 to 16 for each channel become 8 or 16.
    void chooseForm()
    {
        png_set_expand(_png);
        if (isLittleEndian()) {
            png_set_swap(_png);
        }
        _passes = png_set_interlace_handling(_png);
        png_read_update_info(_png, _info);
        _channels = png_get_channels(_png, _info);
        _wide = png_get_bit_depth(_png, _info) == 16;
        _rowSize = png_get_rowbytes(_png, _info);
        png_uint_32 x = 0, y = 0;
        int unit = 0;
        if (png_get_pHYs(_png, _info, &x, &y, &unit) != 0 && unit == PNG_RESOLUTION_METER) {
            _resX = Real32(x * 0.0254);
            _resY = Real32(y * 0.0254);
        }
    }

    bool readPixels(DecodedImage& image)
    {
        static constexpr UInt32 formats[] = {Image::OSG_L_PF, Image::OSG_LA_PF, Image::OSG_RGB_PF,
                                             Image::OSG_RGBA_PF};
        const UInt32 pixelSize = _channels * (_wide ? 2 : 1);
        if (_channels < 1 || _channels > 4 || _rowSize != std::size_t(_width) * pixelSize) {
            std::snprintf(_state.error, sizeof(_state.error), "%u channels are not supported", _channels);
            return false;
        }
        UInt8* const pixels = image.allocate(formats[_channels - 1], _width, _height, pixelSize);
        image.dataType = _wide ? Image::OSG_UINT16_IMAGEDATA : Image::OSG_UINT8_IMAGEDATA;
        image.resX = _resX;
        image.resY = _resY;
        if (_passes > 1) {
            std::memset(pixels, 0, std::size_t(_rowSize) * _height); // rows are merged with what is there
        }
        return runs(_png, [this, pixels] {
            for (int pass = 0; pass < _passes; ++pass) {
                for (UInt32 row = 0; row < _height; ++row) {
                    png_read_row(_png, pixels + _rowSize * (_height - 1 - row), nullptr);
                }
            }
            png_read_end(_png, nullptr);
        });
    }

    PngState _state;
    png_structp _png = nullptr;
    png_infop _info = nullptr;
    UInt32 _width = 0;
    UInt32 _height = 0;
    UInt32 _channels = 0;
    bool _wide = false;
    std::size_t _rowSize = 0;
    int _passes = 1;
    Real32 _resX = 0;
    Real32 _resY = 0;
};

bool decode(const UInt8* data, std::size_t size, DecodedImage& image, std::string& reason)
{
    return PngReader(data, size).read(image, reason);
}

bool matches(const UInt8* data, std::size_t size)
{
    return size >= 8 && png_sig_cmp(data, 0, 8) == 0;
}

// -- Write ------------------------------------------------------------------------------------

class PngWriter
{
public:
    explicit PngWriter(std::string& out)
    {
        _state.out = &out;
        _png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &_state, onError, onWarning);
        _info = _png ? png_create_info_struct(_png) : nullptr;
    }
    ~PngWriter() { png_destroy_write_struct(&_png, &_info); }
    PngWriter(const PngWriter&) = delete;
    PngWriter& operator=(const PngWriter&) = delete;

    bool write(const Image& image, int colorType, std::string& reason)
    {
        const UInt8* const pixels = image.getData();
        const bool done =
            _info && runs(_png, [this, &image, pixels, colorType] {
                const UInt32 width = UInt32(image.getWidth()), height = UInt32(image.getHeight());
                const bool wide = image.getDataType() == Image::OSG_UINT16_IMAGEDATA;
                png_set_write_fn(_png, &_state, onWrite, onFlush);
                png_set_user_limits(_png, 0x7fffffff, 0x7fffffff);
                png_set_compression_level(_png, 6);
                png_set_IHDR(_png, _info, width, height, wide ? 16 : 8, colorType, PNG_INTERLACE_NONE,
                             PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
                const UInt32 x = dotsOfMeter(image.getResX(), image), y = dotsOfMeter(image.getResY(), image);
                if (x != 0 && y != 0) {
                    png_set_pHYs(_png, _info, x, y, PNG_RESOLUTION_METER);
                }
                png_write_info(_png, _info);
                if (wide && isLittleEndian()) {
                    png_set_swap(_png);
                }
                if (image.getPixelFormat() == Image::OSG_BGR_PF ||
                    image.getPixelFormat() == Image::OSG_BGRA_PF) {
                    png_set_bgr(_png);
                }
                const std::size_t rowSize = std::size_t(width) * std::size_t(image.getBpp());
                for (UInt32 row = 0; row < height; ++row) {
                    png_write_row(_png, pixels + rowSize * (height - 1 - row));
                }
                png_write_end(_png, _info);
            });
        if (!done) {
            reason = _info ? _state.error : "out of memory";
        }
        return done;
    }

private:
    /// 0 if the image does not know.
    static UInt32 dotsOfMeter(Real32 resolution, const Image& image)
    {
        const Real64 unit = image.getResUnit() == 3 ? 0.01 : 0.0254; // centimetre, inch
        const Real64 dots = std::floor(Real64(resolution) / unit + 0.5);
        return dots >= 1 && dots < 1e9 ? UInt32(dots) : 0;
    }

    PngState _state;
    png_structp _png = nullptr;
    png_infop _info = nullptr;
};

bool encode(const Image& image, const std::string&, std::string& out, std::string& reason)
{
    int colorType = 0;
    switch (image.getPixelFormat()) {
    case Image::OSG_L_PF:
        colorType = PNG_COLOR_TYPE_GRAY;
        break;
    case Image::OSG_LA_PF:
        colorType = PNG_COLOR_TYPE_GRAY_ALPHA;
        break;
    case Image::OSG_RGB_PF:
    case Image::OSG_BGR_PF:
        colorType = PNG_COLOR_TYPE_RGB;
        break;
    case Image::OSG_RGBA_PF:
    case Image::OSG_BGRA_PF:
        colorType = PNG_COLOR_TYPE_RGB_ALPHA;
        break;
    default:
        reason = "PNG has no pixel format " + std::to_string(image.getPixelFormat());
        return false;
    }
    if (image.getDataType() != Image::OSG_UINT8_IMAGEDATA &&
        image.getDataType() != Image::OSG_UINT16_IMAGEDATA) {
        reason = "PNG has 8 or 16 bits for each channel";
        return false;
    }
    return PngWriter(out).write(image, colorType, reason);
}

} // namespace

const ImageFormat pngImageFormat = {"image/png", "png", matches, decode, encode};

OSG_END_NAMESPACE
