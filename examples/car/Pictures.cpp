#include "Pictures.h"

#include <OpenSG/OSGImage.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <map>
#include <stdexcept>
#include <vector>

namespace
{
struct Color {
    std::uint8_t red, green, blue, alpha;
};

const Color white = {255, 255, 255, 255};
const Color black = {20, 20, 20, 255};
const Color clear = {255, 255, 255, 0};

/// Pixels in rows from the bottom up.
class Picture
{
public:
    Picture(int width, int height, const Color& color)
        : _width(width), _height(height), _pixels(static_cast<std::size_t>(width) * height, color)
    {
    }

    int width() const { return _width; }
    int height() const { return _height; }
    void set(int x, int y, const Color& color)
    {
        if (x >= 0 && x < _width && y >= 0 && y < _height)
            _pixels[static_cast<std::size_t>(y) * _width + x] = color;
    }
    void rectangle(int x, int y, int width, int height, const Color& color)
    {
        for (int row = y; row < y + height; ++row) {
            for (int column = x; column < x + width; ++column)
                set(column, row, color);
        }
    }
    void frame(int x, int y, int width, int height, int line, const Color& color)
    {
        rectangle(x, y, width, line, color);
        rectangle(x, y + height - line, width, line, color);
        rectangle(x, y, line, height, color);
        rectangle(x + width - line, y, line, height, color);
    }
    void disc(double x, double y, double radius, const Color& color)
    {
        for (int row = 0; row < _height; ++row) {
            for (int column = 0; column < _width; ++column) {
                if (std::hypot(column + 0.5 - x, row + 0.5 - y) <= radius)
                    set(column, row, color);
            }
        }
    }
    /// Writes in letters of 5 x 7 squares, each of so many pixels, with one square between them.
    void write(const std::string& text, int x, int y, int square, const Color& color);

    /// @param channels 1: grey, 3: no alpha, 4
    void save(const std::string& file, int channels) const;

private:
    int _width;
    int _height;
    std::vector<Color> _pixels;
};

void Picture::write(const std::string& text, int x, int y, int square, const Color& color)
{
    // Rows from the top down, the leftmost square in the fifth bit.
    static const std::map<char, std::array<unsigned, 7>> letters = {
        {'0', {14, 17, 19, 21, 25, 17, 14}}, {'1', {4, 12, 4, 4, 4, 4, 14}},
        {'2', {14, 17, 1, 2, 4, 8, 31}},     {'7', {31, 1, 2, 4, 8, 8, 8}},
        {'A', {14, 17, 17, 31, 17, 17, 17}}, {'I', {14, 4, 4, 4, 4, 4, 14}},
        {'T', {31, 4, 4, 4, 4, 4, 4}},       {'X', {17, 17, 10, 4, 10, 17, 17}},
        {'Y', {17, 17, 10, 4, 4, 4, 4}},     {'Z', {31, 1, 2, 4, 8, 16, 31}},
        {' ', {0, 0, 0, 0, 0, 0, 0}},
    };
    for (const char character : text) {
        const std::array<unsigned, 7>& rows = letters.at(character);
        for (int row = 0; row < 7; ++row) {
            for (int column = 0; column < 5; ++column) {
                if ((rows[static_cast<std::size_t>(row)] >> (4 - column) & 1u) != 0)
                    rectangle(x + column * square, y + (6 - row) * square, square, square, color);
            }
        }
        x += 6 * square;
    }
}

void Picture::save(const std::string& file, int channels) const
{
    std::vector<osg::UInt8> bytes;
    for (const Color& pixel : _pixels) {
        const osg::UInt8 all[] = {pixel.red, pixel.green, pixel.blue, pixel.alpha};
        bytes.insert(bytes.end(), all, all + channels);
    }
    const osg::Image::PixelFormat format = channels == 1   ? osg::Image::OSG_L_PF
                                           : channels == 3 ? osg::Image::OSG_RGB_PF
                                                           : osg::Image::OSG_RGBA_PF;
    osg::ImagePtr image = osg::Image::create();
    osg::addRefCP(image);
    const bool saved =
        image->set(format, _width, _height, 1, 1, 1, 0, bytes.data()) && image->write(file.c_str());
    osg::subRefCP(image);
    if (!saved)
        throw std::runtime_error("cannot save " + file);
}

Picture numberPlate()
{
    Picture picture(192, 44, white);
    picture.frame(0, 0, 192, 44, 3, black);
    picture.rectangle(3, 3, 18, 38, {30, 60, 170, 255});
    picture.write("ZY 2017", 27, 8, 4, black);
    return picture;
}

Picture cloth()
{
    Picture picture(16, 16, {120, 110, 95, 255});
    picture.rectangle(0, 0, 8, 8, {100, 90, 76, 255});
    picture.rectangle(8, 8, 8, 8, {100, 90, 76, 255});
    picture.rectangle(0, 7, 16, 1, {160, 60, 40, 255});
    return picture;
}

/// The car from the side, 420 x 140 centimetres: darker towards the sills, with the joints of doors and lids.
Picture panels()
{
    Picture picture(256, 86, white);
    for (int y = 0; y < 30; ++y) {
        const auto grey = static_cast<std::uint8_t>(165 + 3 * y);
        picture.rectangle(0, y, picture.width(), 1, {grey, grey, grey, 255});
    }
    const Color joint = {90, 90, 90, 255};
    for (const int x : {70, 165, 176})
        picture.rectangle(x, 14, 1, 41, joint);
    picture.rectangle(70, 14, 96, 1, joint);
    picture.rectangle(0, 40, picture.width(), 1, {225, 225, 225, 255});
    return picture;
}

/// The car from above, 420 x 180 centimetres: two broad stripes along it.
Picture stripes()
{
    Picture picture(32, 128, white);
    picture.rectangle(0, 47, 32, 11, {60, 60, 70, 255});
    picture.rectangle(0, 70, 32, 11, {60, 60, 70, 255});
    return picture;
}

Picture seven()
{
    Picture picture(96, 96, clear);
    picture.disc(48, 48, 46, black);
    picture.disc(48, 48, 42, white);
    picture.write("7", 23, 13, 10, black);
    return picture;
}

Picture taxi()
{
    Picture picture(132, 40, {250, 205, 40, 255});
    picture.frame(0, 0, 132, 40, 2, black);
    picture.write("TAXI", 20, 6, 4, black);
    return picture;
}
/// What lies on the ground, 580 x 300 centimetres: dark below the car, fading out around it.
Picture shade()
{
    Picture picture(116, 60, clear);
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x) {
            const double beside = std::max(0.0, std::abs(x - 57.5) - 38);
            const double before = std::max(0.0, std::abs(y - 29.5) - 14);
            const double fading = std::max(0.0, 1 - std::hypot(beside, before) / 14);
            picture.set(x, y, {0, 0, 0, static_cast<std::uint8_t>(170 * fading * fading)});
        }
    }
    return picture;
}
} // namespace

void savePictures(const std::string& folder)
{
    numberPlate().save(folder + "/number.png", 3);
    cloth().save(folder + "/cloth.png", 3);
    panels().save(folder + "/panels.png", 1);
    stripes().save(folder + "/stripes.png", 3);
    seven().save(folder + "/seven.png", 4);
    taxi().save(folder + "/taxi.png", 3);
    shade().save(folder + "/shade.png", 4);
}
