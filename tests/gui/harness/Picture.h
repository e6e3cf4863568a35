// Pictures of a window: pixels in memory, PNG files and the comparison with a kept reference.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

namespace gui {

struct Colour {
    int r = 0;
    int g = 0;
    int b = 0;
};

bool operator==(Colour left, Colour right);
// Largest difference of one channel, 0 to 255.
int Distance(Colour left, Colour right);
std::string ToString(Colour colour);
// GoogleTest shows colours through this.
std::ostream& operator<<(std::ostream& out, Colour colour);

struct Point {
    int x = 0;
    int y = 0;
};

// Window pixels with the origin at the top left, as the toolkit counts them.
struct Rect {
    float x = 0;
    float y = 0;
    float w = 0;
    float h = 0;

    Point Centre() const;
    // Whole pixels inside the left edge, at half height: free of the border and of centred text.
    Point InnerLeft(int inset) const;
};

class Picture {
public:
    Picture() = default;
    Picture(int width, int height, Colour fill = {});

    static Picture FromPng(const std::string& path);
    void SavePng(const std::string& path) const;

    int Width() const { return width_; }
    int Height() const { return height_; }
    Colour At(Point at) const;
    void Set(Point at, Colour colour);
    Picture Cut(Rect area) const;
    // Number of pixels in the area that are exactly this colour.
    int Count(Rect area, Colour colour) const;

private:
    int width_ = 0;
    int height_ = 0;
    std::vector<std::uint8_t> bytes_;  // red, green, blue for each pixel
};

bool operator==(const Picture& left, const Picture& right);

struct Difference {
    bool sameSize = false;
    int pixels = 0;   // pixels with a channel further off than the tolerance
    int largest = 0;  // largest difference of one channel
    Picture shown;    // the differences, white where a pixel is off
};

Difference Compare(const Picture& actual, const Picture& expected, int tolerance);

}  // namespace gui
