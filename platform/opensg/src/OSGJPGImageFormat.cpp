#include "OSGImageFormat.h"

#include <OpenSG/OSGImageFileHandler.h>

#include <algorithm>
#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <jpeglib.h>

#include <jerror.h>

OSG_BEGIN_NAMESPACE

namespace
{

/// A file of one image has a handful of scans; each costs a pass over all of it.
constexpr int maxScans = 200;
/// Progressive files are kept whole while they are decoded, 2 bytes for each coefficient.
constexpr long maxMemory = 2000L << 20;

struct JpgError : jpeg_error_mgr {
    std::jmp_buf jump;
    Char8 text[JMSG_LENGTH_MAX];
};

[[noreturn]] void onError(j_common_ptr jpg)
{
    JpgError& error = *static_cast<JpgError*>(jpg->err);
    error.format_message(jpg, error.text);
    std::longjmp(error.jump, 1);
}

void onMessage(j_common_ptr jpg, int level)
{
    // All other warnings are about data that can be decoded all the same.
    if (level < 0 && jpg->err->msg_code == JWRN_JPEG_EOF) {
        onError(jpg);
    }
}

void onOutput(j_common_ptr) {}

void setUp(JpgError& error, j_common_ptr jpg)
{
    jpg->err = jpeg_std_error(&error);
    error.error_exit = onError;
    error.emit_message = onMessage;
    error.output_message = onOutput;
    error.text[0] = '\0';
}

/// Runs a step that may end in onError(); false if it does. The step must not own anything: its frame is left
/// without destructors.
template <class StepT>
bool runs(JpgError& error, const StepT& step)
{
    if (setjmp(error.jump)) {
        return false;
    }
    step();
    return true;
}

// -- Read -------------------------------------------------------------------------------------

void onProgress(j_common_ptr jpg)
{
    if (reinterpret_cast<j_decompress_ptr>(jpg)->input_scan_number > maxScans) {
        JpgError& error = *static_cast<JpgError*>(jpg->err);
        std::snprintf(error.text, sizeof(error.text), "more than %d scans", maxScans);
        std::longjmp(error.jump, 1);
    }
}

class JpgReader
{
public:
    JpgReader() { std::memset(&_jpg, 0, sizeof(_jpg)); }
    ~JpgReader() { jpeg_destroy_decompress(&_jpg); }
    JpgReader(const JpgReader&) = delete;
    JpgReader& operator=(const JpgReader&) = delete;

    bool read(const UInt8* data, std::size_t size, DecodedImage& image, std::string& reason)
    {
        setUp(_error, reinterpret_cast<j_common_ptr>(&_jpg));
        // A block of 8 x 8 pixels takes some bits; runs of empty ones take less.
        const bool ok = runs(_error, [this, data, size] { readHeader(data, size); }) &&
                        checkImageSize(_jpg.image_width, _jpg.image_height, size, 4096, reason) &&
                        runs(_error, [this] { start(); }) && readPixels(image);
        if (!ok && reason.empty()) {
            reason = _error.text;
        }
        return ok;
    }

private:
    void readHeader(const UInt8* data, std::size_t size)
    {
        jpeg_create_decompress(&_jpg);
        _jpg.mem->max_memory_to_use = maxMemory;
        std::memset(&_progress, 0, sizeof(_progress));
        _progress.progress_monitor = onProgress;
        _jpg.progress = &_progress;
        jpeg_mem_src(&_jpg, const_cast<UInt8*>(data), static_cast<unsigned long>(size));
        jpeg_read_header(&_jpg, TRUE);
    }

    void start()
    {
        switch (_jpg.jpeg_color_space) {
        case JCS_GRAYSCALE:
            _jpg.out_color_space = JCS_GRAYSCALE;
            break;
        case JCS_CMYK:
        case JCS_YCCK:
            _jpg.out_color_space = JCS_CMYK;
            break;
        default:
            _jpg.out_color_space = JCS_RGB;
            break;
        }
        jpeg_start_decompress(&_jpg);
    }

    bool readPixels(DecodedImage& image)
    {
        const UInt32 channels = _jpg.output_components == 1 ? 1 : 3;
        const std::size_t rowSize = std::size_t(_jpg.output_width) * channels;
        UInt8* const pixels = image.allocate(channels == 1 ? Image::OSG_L_PF : Image::OSG_RGB_PF,
                                             _jpg.output_width, _jpg.output_height, channels);
        std::vector<UInt8> inks; // a row of four
        if (_jpg.output_components == 4) {
            inks.resize(std::size_t(_jpg.output_width) * 4);
        }
        const Real32 dots = _jpg.density_unit == 1 ? 1.f : (_jpg.density_unit == 2 ? 2.54f : 0.f);
        image.resX = dots * Real32(_jpg.X_density);
        image.resY = dots * Real32(_jpg.Y_density);
        UInt8* const row = inks.data();
        return runs(_error, [this, pixels, rowSize, row] {
            while (_jpg.output_scanline < _jpg.output_height) {
                UInt8* const target = pixels + rowSize * (_jpg.output_height - 1 - _jpg.output_scanline);
                JSAMPROW rows[1] = {row ? row : target};
                jpeg_read_scanlines(&_jpg, rows, 1);
                if (row) {
                    mixInks(row, target);
                }
            }
            jpeg_finish_decompress(&_jpg);
        });
    }

    void mixInks(const UInt8* row, UInt8* target) const
    {
        const bool inverted = _jpg.saw_Adobe_marker != 0; // as Adobe's programs write them
        for (UInt32 x = 0; x < _jpg.output_width; ++x, row += 4) {
            const UInt32 light = inverted ? row[3] : 255u - row[3];
            for (UInt32 i = 0; i < 3; ++i) {
                const UInt32 value = inverted ? row[i] : 255u - row[i];
                *target++ = UInt8((value * light + 127) / 255);
            }
        }
    }

    jpeg_decompress_struct _jpg;
    jpeg_progress_mgr _progress;
    JpgError _error;
};

bool decode(const UInt8* data, std::size_t size, DecodedImage& image, std::string& reason)
{
    return JpgReader().read(data, size, image, reason);
}

bool matches(const UInt8* data, std::size_t size)
{
    return size >= 3 && data[0] == 0xff && data[1] == 0xd8 && data[2] == 0xff;
}

// -- Write ------------------------------------------------------------------------------------

class JpgWriter
{
public:
    JpgWriter() { std::memset(&_jpg, 0, sizeof(_jpg)); }
    ~JpgWriter()
    {
        jpeg_destroy_compress(&_jpg);
        std::free(_buffer);
    }
    JpgWriter(const JpgWriter&) = delete;
    JpgWriter& operator=(const JpgWriter&) = delete;

    bool write(const Image& image, int quality, std::string& out, std::string& reason)
    {
        setUp(_error, reinterpret_cast<j_common_ptr>(&_jpg));
        const bool done = runs(_error, [this, &image, quality] { compress(image, quality); });
        if (done) {
            out.assign(reinterpret_cast<const Char8*>(_buffer), _size);
        } else {
            reason = _error.text;
        }
        return done;
    }

private:
    void compress(const Image& image, int quality)
    {
        jpeg_create_compress(&_jpg);
        jpeg_mem_dest(&_jpg, &_buffer, &_size);
        const int channels = image.getBpp();
        _jpg.image_width = JDIMENSION(image.getWidth());
        _jpg.image_height = JDIMENSION(image.getHeight());
        _jpg.input_components = channels;
        _jpg.in_color_space = channels == 1 ? JCS_GRAYSCALE : JCS_RGB;
        jpeg_set_defaults(&_jpg);
        jpeg_set_quality(&_jpg, quality, TRUE);
        if (image.getResX() >= 1 && image.getResX() <= 0xffff && image.getResY() >= 1 &&
            image.getResY() <= 0xffff) {
            _jpg.density_unit = image.getResUnit() == 3 ? 2 : 1;
            _jpg.X_density = UInt16(image.getResX() + 0.5f);
            _jpg.Y_density = UInt16(image.getResY() + 0.5f);
        }
        jpeg_start_compress(&_jpg, TRUE);
        const std::size_t rowSize = std::size_t(image.getWidth()) * std::size_t(channels);
        const UInt8* const pixels = image.getData();
        while (_jpg.next_scanline < _jpg.image_height) {
            JSAMPROW rows[1] = {
                const_cast<UInt8*>(pixels + rowSize * (_jpg.image_height - 1 - _jpg.next_scanline))};
            jpeg_write_scanlines(&_jpg, rows, 1);
        }
        jpeg_finish_compress(&_jpg);
    }

    jpeg_compress_struct _jpg;
    JpgError _error;
    unsigned char* _buffer = nullptr;
    unsigned long _size = 0;
};

bool encode(const Image& image, const std::string& options, std::string& out, std::string& reason)
{
    const bool fits =
        image.getPixelFormat() == Image::OSG_L_PF || image.getPixelFormat() == Image::OSG_RGB_PF;
    if (!fits || image.getDataType() != Image::OSG_UINT8_IMAGEDATA) {
        reason = "JPEG has grey or RGB of 8 bits only";
        return false;
    }
    const std::string key = "quality=";
    const std::size_t at = options.find(key);
    const int asked = at == std::string::npos ? 90 : std::atoi(options.c_str() + at + key.size());
    return JpgWriter().write(image, std::min(std::max(asked, 1), 100), out, reason);
}

} // namespace

const ImageFormat jpgImageFormat = {"image/jpeg", "jpg jpeg jpe jfif", matches, decode, encode};

OSG_END_NAMESPACE
