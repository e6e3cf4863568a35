#include "Picture.h"

#include <png.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <map>
#include <stdexcept>

namespace gui {
namespace {

// The simplified interface of libpng keeps its state in this record; freeing it twice does no harm.
struct PngImage {
    png_image image{};
    PngImage() {
        image.version = PNG_IMAGE_VERSION;
        image.format = PNG_FORMAT_RGB;
    }
    ~PngImage() { png_image_free(&image); }
};

}  // namespace

bool operator==(Colour left, Colour right) {
    return left.r == right.r && left.g == right.g && left.b == right.b;
}

int Distance(Colour left, Colour right) {
    return std::max({std::abs(left.r - right.r), std::abs(left.g - right.g), std::abs(left.b - right.b)});
}

std::string ToString(Colour colour) {
    return "(" + std::to_string(colour.r) + ", " + std::to_string(colour.g) + ", " + std::to_string(colour.b) + ")";
}

std::ostream& operator<<(std::ostream& out, Colour colour) {
    return out << ToString(colour);
}

Point Rect::Centre() const {
    return {static_cast<int>(x + w / 2), static_cast<int>(y + h / 2)};
}

Point Rect::InnerLeft(int inset) const {
    return {static_cast<int>(x) + inset, static_cast<int>(y + h / 2)};
}

Picture::Picture(int width, int height, Colour fill)
    : width_(width), height_(height), bytes_(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 3) {
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            Set({x, y}, fill);
        }
    }
}

Picture Picture::FromPng(const std::string& path) {
    PngImage png;
    if (!png_image_begin_read_from_file(&png.image, path.c_str())) {
        throw std::runtime_error("cannot read the picture " + path + ": " + png.image.message);
    }
    png.image.format = PNG_FORMAT_RGB;
    Picture picture(static_cast<int>(png.image.width), static_cast<int>(png.image.height));
    if (!png_image_finish_read(&png.image, nullptr, picture.bytes_.data(), 0, nullptr)) {
        throw std::runtime_error("cannot read the picture " + path + ": " + png.image.message);
    }
    return picture;
}

// The form has few colours: as indices into a palette its picture takes a fraction of the room.
void Picture::SavePng(const std::string& path) const {
    std::map<std::array<png_byte, 3>, png_byte> indices;
    std::vector<png_byte> palette;
    std::vector<png_byte> pixels;
    constexpr std::size_t kPaletteSize = 256;
    for (std::size_t i = 0; i < bytes_.size() && indices.size() <= kPaletteSize; i += 3) {
        const std::array<png_byte, 3> colour{bytes_[i], bytes_[i + 1], bytes_[i + 2]};
        const auto [found, added] = indices.emplace(colour, static_cast<png_byte>(indices.size()));
        if (added) {
            palette.insert(palette.end(), colour.begin(), colour.end());
        }
        pixels.push_back(found->second);
    }
    PngImage png;
    png.image.width = static_cast<png_uint_32>(width_);
    png.image.height = static_cast<png_uint_32>(height_);
    const bool indexed = indices.size() <= kPaletteSize;
    if (indexed) {
        png.image.format = PNG_FORMAT_RGB_COLORMAP;
        png.image.colormap_entries = static_cast<png_uint_32>(indices.size());
    }
    const void* data = indexed ? pixels.data() : bytes_.data();
    if (!png_image_write_to_file(&png.image, path.c_str(), 0, data, 0, indexed ? palette.data() : nullptr)) {
        throw std::runtime_error("cannot write the picture " + path + ": " + png.image.message);
    }
}

Colour Picture::At(Point at) const {
    if (at.x < 0 || at.y < 0 || at.x >= width_ || at.y >= height_) {
        throw std::out_of_range("pixel outside of the picture");
    }
    const std::size_t i =
        3 * (static_cast<std::size_t>(at.y) * static_cast<std::size_t>(width_) + static_cast<std::size_t>(at.x));
    return {bytes_[i], bytes_[i + 1], bytes_[i + 2]};
}

void Picture::Set(Point at, Colour colour) {
    const std::size_t i =
        3 * (static_cast<std::size_t>(at.y) * static_cast<std::size_t>(width_) + static_cast<std::size_t>(at.x));
    bytes_[i] = static_cast<std::uint8_t>(colour.r);
    bytes_[i + 1] = static_cast<std::uint8_t>(colour.g);
    bytes_[i + 2] = static_cast<std::uint8_t>(colour.b);
}

Picture Picture::Cut(Rect area) const {
    const int left = static_cast<int>(area.x);
    const int top = static_cast<int>(area.y);
    Picture part(static_cast<int>(area.w), static_cast<int>(area.h));
    for (int y = 0; y < part.height_; ++y) {
        for (int x = 0; x < part.width_; ++x) {
            part.Set({x, y}, At({left + x, top + y}));
        }
    }
    return part;
}

int Picture::Count(Rect area, Colour colour) const {
    int count = 0;
    for (int y = static_cast<int>(area.y); y < static_cast<int>(area.y + area.h); ++y) {
        for (int x = static_cast<int>(area.x); x < static_cast<int>(area.x + area.w); ++x) {
            count += At({x, y}) == colour ? 1 : 0;
        }
    }
    return count;
}

bool operator==(const Picture& left, const Picture& right) {
    const Difference difference = Compare(left, right, 0);
    return difference.sameSize && difference.pixels == 0;
}

Difference Compare(const Picture& actual, const Picture& expected, int tolerance) {
    Difference difference;
    difference.sameSize = actual.Width() == expected.Width() && actual.Height() == expected.Height();
    if (!difference.sameSize) {
        return difference;
    }
    difference.shown = Picture(actual.Width(), actual.Height());
    for (int y = 0; y < actual.Height(); ++y) {
        for (int x = 0; x < actual.Width(); ++x) {
            const int distance = Distance(actual.At({x, y}), expected.At({x, y}));
            difference.largest = std::max(difference.largest, distance);
            if (distance > tolerance) {
                ++difference.pixels;
                difference.shown.Set({x, y}, {255, 255, 255});
            }
        }
    }
    return difference;
}

}  // namespace gui
