// Expected text: the installed font baked by the toolkit's own baker and drawn here in software, to compare with what
// is on the screen.
#pragma once

#include <memory>
#include <string>

#include "Picture.h"

namespace gui {

enum class Align { Left, Centred };

class Lettering {
public:
    // pixels: height of the font, the form's font size times the scale factor.
    explicit Lettering(float pixels);
    ~Lettering();
    Lettering(const Lettering&) = delete;
    Lettering& operator=(const Lettering&) = delete;

    float Width(const std::string& text) const;
    // The text as the toolkit sets it into a cell: in the middle of its height, cut where the cell ends.
    Picture Draw(Rect cell, const std::string& text, Align align, Colour ink, Colour paper) const;

private:
    struct Font;
    std::unique_ptr<Font> font_;
};

}  // namespace gui
